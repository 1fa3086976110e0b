#pragma once

#include <QString>
#include <exception>

// Every failure the client raises carries a text that can be shown as it is.
class Error : public std::exception {
public:
    explicit Error(QString message) : m_message(std::move(message)), m_utf8(m_message.toUtf8()) {}
    const char* what() const noexcept override { return m_utf8.constData(); }
    const QString& description() const { return m_message; }

private:
    QString m_message;
    QByteArray m_utf8;
};

// A reply or frame that does not match its record. Technical text, not for people.
class DecodeError : public Error {
public:
    using Error::Error;
};

// A server or transport failure worded for the person using the app.
class ApiError : public Error {
public:
    using Error::Error;
    const QString& message() const { return description(); }
};

// A transport failure as the network layer reported it (raw uploads pass these through).
class UrlError : public Error {
public:
    enum class Code {
        CannotFindHost,
        DnsLookupFailed,
        CannotConnectToHost,
        NetworkConnectionLost,
        NotConnectedToInternet,
        TimedOut,
        Cancelled,
        SecureConnectionFailed,
        Other,
    };
    UrlError(Code code, QString description) : Error(std::move(description)), m_code(code) {}
    Code code() const { return m_code; }

private:
    Code m_code;
};

// The description of whatever a caller caught, for lastError and toasts.
inline QString describeError(const std::exception& e) {
    if (auto* err = dynamic_cast<const Error*>(&e)) return err->description();
    return QString::fromUtf8(e.what());
}
