#pragma once

// Trust by key continuity. Once a server's public-key fingerprint is known,
// TLS from that host and port is accepted only with that key, self-signed or
// not, and plain http addresses of it are upgraded to https.

#include <QHash>
#include <QMutex>
#include <QSslCertificate>
#include <QString>
#include <QUrl>
#include <optional>

class QNetworkReply;
class QNetworkRequest;
class QWebSocket;
class QSslConfiguration;

class PinRegistry {
public:
    static PinRegistry& shared();
    // Reads the pins again from the preferences store (tests switch stores).
    void reload();

    static QString hostPort(const QUrl& url);
    std::optional<QString> pin(const QString& hostPort) const;
    void setPin(const QString& fingerprint, const QString& hostPort);
    void removePin(const QString& hostPort);
    QHash<QString, QString> allPins() const;
    QUrl upgraded(const QUrl& url) const;

private:
    PinRegistry();
    void store(const QHash<QString, QString>& pins, bool changedTrust);
    mutable QMutex m_lock;
    QHash<QString, QString> m_pins;
};

namespace PinningDelegate {

// Base64 of SHA-256 over the leaf certificate's subjectPublicKey bits.
std::optional<QString> fingerprint(const QSslCertificate& leaf);

// With a pin, ordinary chain validation is switched off for this request and
// replaced by the key comparison (so a self-signed server passes); a key
// mismatch aborts before any request data leaves.
void prepare(QNetworkRequest& request);
void attach(QNetworkReply* reply);
void prepare(QWebSocket* socket, const QUrl& url);

// True when the reply was refused because the server's key did not match.
bool refusedByPin(const QNetworkReply* reply);

} // namespace PinningDelegate
