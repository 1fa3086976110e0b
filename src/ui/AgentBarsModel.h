#pragma once

// What the open agent session shows around its composer: the idle advice, the
// context gauge with the model and effort menus, the build bar, the working
// status with stop, the queue, the composer's agent icons, the deploy chip,
// and the badges of single bubbles. It follows the store's selection; the
// logic stays in the store, this only reads and forwards.

#include "agent/Status.h"
#include "model/Models.h"

#include <QColor>
#include <QHash>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <QUrl>
#include <QVariantList>
#include <QVariantMap>
#include <QtQml/qqmlregistration.h>
#include <functional>

class Store;

class AgentBarsModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("AppModel owns it")
    Q_PROPERTY(qint64 chatId READ chatId NOTIFY changed)
    Q_PROPERTY(bool isSession READ isSession NOTIFY changed)
    // Idle advice
    Q_PROPERTY(bool showIdleReset READ showIdleReset NOTIFY changed)
    // Context gauge
    Q_PROPERTY(bool hasContext READ hasContext NOTIFY changed)
    Q_PROPERTY(QString contextText READ contextText NOTIFY changed)
    Q_PROPERTY(double contextShare READ contextShare NOTIFY changed)
    Q_PROPERTY(QString contextPercent READ contextPercent NOTIFY changed)
    Q_PROPERTY(QColor contextColor READ contextColor NOTIFY changed)
    Q_PROPERTY(QString modelBadge READ modelBadge NOTIFY changed)
    Q_PROPERTY(QColor modelBadgeTint READ modelBadgeTint NOTIFY changed)
    Q_PROPERTY(QVariantList modelOptions READ modelOptions NOTIFY changed)
    Q_PROPERTY(QVariantList effortOptions READ effortOptions NOTIFY changed)
    // Build bar
    Q_PROPERTY(bool hasBuild READ hasBuild NOTIFY changed)
    Q_PROPERTY(QString buildLine READ buildLine NOTIFY changed)
    Q_PROPERTY(QString buildSymbol READ buildSymbol NOTIFY changed)
    Q_PROPERTY(int buildPercent READ buildPercent NOTIFY changed) // -1 without one
    Q_PROPERTY(bool buildActive READ buildActive NOTIFY changed)
    // Working status
    Q_PROPERTY(bool working READ working NOTIFY changed)
    Q_PROPERTY(QString statusLine READ statusLine NOTIFY changed)
    Q_PROPERTY(bool stopRequested READ stopRequested NOTIFY changed)
    Q_PROPERTY(bool chromeActive READ chromeActive NOTIFY changed)
    Q_PROPERTY(bool screenshotActive READ screenshotActive NOTIFY changed)
    // Queue
    Q_PROPERTY(int backlogCount READ backlogCount NOTIFY changed)
    Q_PROPERTY(QString backlogText READ backlogText NOTIFY changed)
    Q_PROPERTY(QVariantList backlog READ backlog NOTIFY changed) // [{id, text, priority}]
    // Composer icons
    Q_PROPERTY(bool showHealth READ isSession NOTIFY changed)
    Q_PROPERTY(bool showScreenshot READ showScreenshot NOTIFY changed)
    Q_PROPERTY(QVariantList healthPrompts READ healthPrompts CONSTANT) // [{title, icon}]
    // Deploy chip
    Q_PROPERTY(QVariantMap deploy READ deploy NOTIFY changed) // {word, symbol, label, isApp, fresh}

public:
    using UrlOpener = std::function<void(const QUrl&)>;

    explicit AgentBarsModel(Store* store, QObject* parent = nullptr);

    qint64 chatId() const { return m_chatId; }
    bool isSession() const;
    bool showIdleReset() const;
    bool hasContext() const;
    QString contextText() const;
    double contextShare() const;
    QString contextPercent() const;
    QColor contextColor() const;
    QString modelBadge() const;
    QColor modelBadgeTint() const;
    QVariantList modelOptions() const;
    QVariantList effortOptions() const;
    bool hasBuild() const;
    QString buildLine() const;
    QString buildSymbol() const;
    int buildPercent() const;
    bool buildActive() const;
    bool working() const;
    QString statusLine() const;
    bool stopRequested() const { return m_stop.showsStopping(); }
    bool chromeActive() const;
    bool screenshotActive() const;
    int backlogCount() const;
    QString backlogText() const;
    QVariantList backlog() const;
    bool showScreenshot() const;
    QVariantList healthPrompts() const;
    QVariantMap deploy() const;

    // The badge of one bubble of the open conversation: {status: "pending" |
    // "processing" | "", priority, id, answered: {id, senderName, text} or
    // absent}. Bubbles read it through the timeline's agentBadge role.
    QVariantMap badge(qint64 messageId);

    Q_INVOKABLE void dismissIdleReset();
    // Resets the session's context; with `keepRecent` the last 50 messages go
    // along as a digest.
    Q_INVOKABLE void resetContext(bool keepRecent);
    Q_INVOKABLE void setModel(const QString& modelId);
    Q_INVOKABLE void setEffort(const QString& raw);
    Q_INVOKABLE void stop();
    Q_INVOKABLE void sendNow(qint64 messageId);
    Q_INVOKABLE void sendHealthPrompt(int index);
    Q_INVOKABLE void requestScreenshot();
    // The text a queued message is edited from: its transcript for a voice
    // message, else what the bubble shows. Empty when it is not queued.
    Q_INVOKABLE QString backlogDraft(qint64 messageId) const;
    Q_INVOKABLE void openDeploy();
    // The deploy menu: [{title, icon, action}]; fixed French titles.
    Q_INVOKABLE QVariantList deployMenu() const;
    Q_INVOKABLE void deployMenuAction(const QString& action);

    // Where deploy links go; the desktop's handler unless replaced.
    void setUrlOpener(UrlOpener opener) { m_openUrl = std::move(opener); }

signals:
    void changed();
    // Any bubble's badge may read differently now.
    void badgesChanged();

private:
    struct BadgeIndex {
        quint64 epoch = ~quint64(0);
        qint64 chatId = 0;
        qsizetype orderedEnd = -1;         // end of the ascending real ids, -1 when out of order
        QHash<qint64, QVariantMap> badges; // computed this epoch
    };

    const ChatSummary* currentChat() const;
    std::optional<DeployTarget> shownDeploy() const;
    void follow(qint64 chatId);
    void refresh();
    void refreshBadges();
    void ensureIndex();
    const Message* findMessage(qint64 id, qsizetype* row) const;
    bool isPersonsPrompt(const Message& m) const;
    void scheduleGuessExpiry();
    // The queue, read once per state of the store.
    const QList<Message>& queued() const;
    QVariantMap computeBadge(const Message& m) const;
    QVariantMap answeredQuote(const Message& bubble) const;
    void openTarget(const DeployTarget& target);

    QPointer<Store> m_store;
    qint64 m_chatId = 0;
    bool m_idleDismissed = false;
    CCStopRequest m_stop;
    BadgeIndex m_index;
    mutable std::optional<QList<Message>> m_queue;
    QTimer m_clock; // the idle advice turns with time
    QTimer m_guessExpiry;
    UrlOpener m_openUrl;
};
