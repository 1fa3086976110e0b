#pragma once

// Everything a client-side integration test needs around a Store: a fresh
// preferences file, pins read from it, a device key in a private file, and
// the well-known servers pointed at a closed port unless a test says otherwise.

#include "support/TestSupport.h"

#include <QCoroTask>
#include <QEventLoop>
#include <exception>
#include <optional>
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

// Runs a coroutine to completion from a test in a nested event loop and
// rethrows what it threw. (QCoro::waitFor of this QCoro version never returns
// when the awaited task throws.)
template <typename T>
T await(QCoro::Task<T>&& task) {
    QEventLoop loop;
    std::optional<T> result;
    std::exception_ptr error;
    bool done = false;
    [](QCoro::Task<T> t, std::optional<T>* out, std::exception_ptr* err, bool* finished,
       QEventLoop* l) -> QCoro::Task<> {
        try {
            out->emplace(co_await t);
        } catch (...) {
            *err = std::current_exception();
        }
        *finished = true;
        l->quit();
    }(std::move(task), &result, &error, &done, &loop);
    if (!done) loop.exec();
    if (error) std::rethrow_exception(error);
    return std::move(*result);
}

inline void await(QCoro::Task<>&& task) {
    await([](QCoro::Task<> t) -> QCoro::Task<bool> {
        co_await t;
        co_return true;
    }(std::move(task)));
}

// The text of whatever a coroutine threw, or "no error".
template <typename T>
QString failureOf(QCoro::Task<T>&& task) {
    try {
        await(std::move(task));
    } catch (const std::exception& e) {
        return QString::fromUtf8(e.what());
    }
    return QStringLiteral("no error");
}

inline const char* kClosedServer = "http://127.0.0.1:1";
