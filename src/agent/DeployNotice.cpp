// Where a finished deploy is announced: a banner while the app is in front
// and another conversation is open, a system notification while it is in the
// background, nothing for the conversation on screen.

#include "core/Notifier.h"
#include "store/Store.h"

#include <QUuid>

void Store::showDeployReady(qint64 chatId, qint64 msgId, DeployTarget target, QString title,
                            QString body) {
    Q_UNUSED(target)
    if (appActive()) {
        if (selectedChatId() == chatId) return;
        setInAppBanner(
            InAppBanner{QUuid::createUuid(), chatId, title, QString(), body, std::nullopt});
        return;
    }
    SystemNotification n;
    n.identifier = QStringLiteral("deploy-%1-%2").arg(chatId).arg(msgId);
    n.title = title;
    n.body = body;
    n.sound = true;
    n.chatId = chatId;
    notifier().post(n);
}
