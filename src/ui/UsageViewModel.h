#pragma once

// The usage screen and the rail's pies: each Claude account with its 5-hour
// and 7-day windows, whether use runs ahead of the time passed, the machines
// and conversations on it, and moving a conversation to another account.

#include <QDateTime>
#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QTimer>
#include <QVariantList>

#include <QCoroTask>
#include <QtQml/qqmlregistration.h>

class Store;
struct ClaudeAccount;
struct ClaudeUsageWindow;

class UsageViewModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("AppModel owns it")
    // One entry per account: {email, title, hasUsage, cards, clients, chats,
    // held, holder, mainEmail}; a card is {title, short, util, expected
    // (-1 without a reset), overPace, pill, countdown, resetClock}.
    Q_PROPERTY(QVariantList accounts READ accounts NOTIFY changed)
    Q_PROPERTY(bool empty READ empty NOTIFY changed)
    // The rail: {short, util, expected, overPace} for 5h and 7d of the main sign-in.
    Q_PROPERTY(QVariantList pies READ pies NOTIFY changed)
    Q_PROPERTY(QStringList knownAccounts READ knownAccounts NOTIFY changed)
    Q_PROPERTY(bool moving READ moving NOTIFY movingChanged)

public:
    explicit UsageViewModel(Store* store, QObject* parent = nullptr);

    QVariantList accounts() const;
    bool empty() const;
    QVariantList pies() const;
    QStringList knownAccounts() const;
    bool moving() const { return m_moving; }

    // Pins the clock; tests see pace at a moment of their choosing.
    void setNow(const QDateTime& now);
    QDateTime now() const;

    Q_INVOKABLE void moveChat(qint64 chatId, const QString& email);
    QCoro::Task<std::optional<QString>> move(qint64 chatId, QString email);

    static QVariantMap card(const QString& title, const QString& shortName, double windowSeconds,
                            const ClaudeUsageWindow& w, const QDateTime& now);

signals:
    void changed();
    void movingChanged();
    // Shown in the alert "Could not switch the account".
    void moveFailed(const QString& reason);

private:
    QVariantMap accountEntry(const ClaudeAccount& account) const;

    QPointer<Store> m_store;
    QTimer m_tick;
    std::optional<QDateTime> m_fixedNow;
    bool m_moving = false;
};
