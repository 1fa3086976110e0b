#pragma once

// One running app per preferences file. A second launch hands its link (or
// nothing, to bring the window forward) to the running one and quits.

#include <QObject>
#include <QString>

class QLocalServer;

class SingleInstance : public QObject {
    Q_OBJECT

public:
    // `key` tells instances apart: launches with the same key share one app.
    explicit SingleInstance(const QString& key, QObject* parent = nullptr);
    ~SingleInstance() override;

    // The local socket name for a key.
    static QString serverName(const QString& key);

    // True when a running instance took the message; this process should then
    // quit. An empty message only asks it to come forward.
    bool handOff(const QString& message, int timeoutMs = 1000) const;
    // Starts answering later launches; false when the name cannot be taken.
    bool listen();

signals:
    void messageReceived(const QString& message);

private:
    void acceptConnection();

    QString m_name;
    QLocalServer* m_server = nullptr;
};
