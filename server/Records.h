#pragma once

#include "Storage.h"

#include <QJsonObject>

// The JSON that clients decode strictly: every required key is always
// written, optional ones only when they have a value.
namespace records {

QJsonObject user(const UserRow& u);
QJsonObject message(Storage& db, const MessageRow& m);
// One conversation as `viewerId` sees it (their unread count).
QJsonObject chat(Storage& db, const ChatRow& c, qint64 viewerId);

} // namespace records
