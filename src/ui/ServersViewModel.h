#pragma once

// The servers screen: the extra servers with their state, adding one by
// address, by invite (code@server) or by pairing code, removing one, and this
// device's own pairing code shown as a QR for another device.

#include <QAbstractListModel>
#include <QPointer>
#include <QUrl>
#include <QtQml/qqmlregistration.h>

class Store;

class ServersViewModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("AppModel owns it")
    Q_PROPERTY(int count READ rowCount NOTIFY countChanged)
    Q_PROPERTY(QString primaryUrl READ primaryUrl NOTIFY primaryChanged)
    Q_PROPERTY(bool busy READ busy NOTIFY busyChanged)
    // The failure of the last addition, in the person's words; empty when none.
    Q_PROPERTY(QString errorText READ errorText NOTIFY errorTextChanged)
    // The text read from a QR picture, for the field it belongs in.
    Q_PROPERTY(QString scanned READ scanned NOTIFY scannedChanged)
    // This device's pairing code: "", "loading", "ready" or "failed".
    Q_PROPERTY(QString pairingState READ pairingState NOTIFY pairingChanged)
    Q_PROPERTY(QString pairingCode READ pairingCode NOTIFY pairingChanged)
    Q_PROPERTY(QString pairingText READ pairingText NOTIFY pairingChanged)
    Q_PROPERTY(QString pairingImage READ pairingImage NOTIFY pairingChanged)

public:
    enum Role {
        ServerIdRole = Qt::UserRole + 1,
        NameRole,
        UrlRole,
        StateRole, // "status": "live", "polling", "down" or "connecting"
        ChatCountRole,
    };
    Q_ENUM(Role)

    explicit ServersViewModel(Store* store, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    QString primaryUrl() const;
    bool busy() const { return m_busy; }
    QString errorText() const { return m_error; }
    QString scanned() const { return m_scanned; }
    QString pairingState() const { return m_pairingState; }
    QString pairingCode() const { return m_pairingCode; }
    QString pairingText() const { return m_pairingText; }
    QString pairingImage() const { return m_pairingImage; }

    // A live link, else a server that answers polls, else one that does not
    // answer, else one not tried yet.
    static QString stateOf(const Store& store, int server);
    // An invite names its server after "@"; an address never starts with a
    // code followed by "@".
    static bool isInvite(const QString& input);

    // Asks the primary server for a one-use code and shows it as a QR.
    Q_INVOKABLE void requestPairingCode();
    Q_INVOKABLE void closePairing();
    // An address, or an invite in the form code@server.
    Q_INVOKABLE void add(const QString& input, const QString& name);
    // A pairing code or payload; the address field serves a bare code.
    Q_INVOKABLE void pair(const QString& input, const QString& urlField, const QString& name);
    Q_INVOKABLE void useQRImageFile(const QUrl& file);
    Q_INVOKABLE void pasteQRCode();
    Q_INVOKABLE void remove(int serverId);
    Q_INVOKABLE QString nameOf(int serverId) const;
    Q_INVOKABLE void clearError();

signals:
    void countChanged();
    void primaryChanged();
    void busyChanged();
    void errorTextChanged();
    void scannedChanged();
    void pairingChanged();
    // An addition went through: the sheet may close.
    void added();

private:
    void reload();
    void refreshStates();
    void setBusy(bool busy);
    void setError(const QString& error);
    void setScanned(const QString& text);
    void setPairing(const QString& state, const QString& code = {}, const QString& text = {});
    void finishAddition(bool ok, const QString& fallback);

    QPointer<Store> m_store;
    QList<int> m_servers;
    bool m_busy = false;
    QString m_error;
    QString m_scanned;
    QString m_pairingState;
    QString m_pairingCode;
    QString m_pairingText;
    QString m_pairingImage;
    int m_pairingGeneration = 0;
};
