#pragma once

// Everything a client-side integration test needs around a Store: a fresh
// preferences file, pins read from it, a device key in a private file, and
// the well-known servers pointed at a closed port unless a test says otherwise.

#include "support/TestSupport.h"

#include <QCoroTask>
#include <QTemporaryDir>

class ClientEnv {
public:
    ClientEnv();
    ~ClientEnv();
    QString keyPath() const;
    // A second device: another key file, the same preferences.
    void useKeyFile(const QString& path);

private:
    ScopedPrefs m_prefs;
    QTemporaryDir m_keys;
};

// Runs a coroutine to completion from a test (nested event loop).
template <typename T>
T await(QCoro::Task<T>&& task) {
    return QCoro::waitFor(std::move(task));
}

inline void await(QCoro::Task<>&& task) { QCoro::waitFor(std::move(task)); }

// The text of whatever a coroutine threw, or "no error".
template <typename T>
QString failureOf(QCoro::Task<T>&& task) {
    try {
        QCoro::waitFor(std::move(task));
    } catch (const std::exception& e) {
        return QString::fromUtf8(e.what());
    }
    return QStringLiteral("no error");
}

inline const char* kClosedServer = "http://127.0.0.1:1";
