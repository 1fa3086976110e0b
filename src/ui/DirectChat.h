#pragma once

// Writing to someone from outside the conversation list: the people section,
// a profile, the new AI chat sheet.

#include "model/Models.h"

#include <QCoroTask>
#include <QPointer>
#include <optional>

class Store;

// Finds or makes the direct conversation with `user` and shows it in the
// conversations section. Absent on failure; the store's lastError says why.
QCoro::Task<std::optional<qint64>> openDirectChat(QPointer<Store> store, User user);
