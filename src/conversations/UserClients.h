#pragma once

// The device and app a person last connected with, asked of their own server.

#include "model/Models.h"

#include <QCoroTask>
#include <QPointer>
#include <optional>

class Store;

// Absent when the person's server cannot be asked or did not answer.
QCoro::Task<std::optional<UserClient>> fetchUserClient(QPointer<Store> store, qint64 userId);
