#include "net/Pinning.h"

#include "net/Api.h"
#include "store/Prefs.h"

#include <QCryptographicHash>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QSslConfiguration>
#include <QSslSocket>
#include <QWebSocket>
#include <openssl/x509.h>

namespace {
const QString pinsKey = QStringLiteral("serverPins");
const char* const refusedProperty = "velmarinPinRefused";

QHash<QString, QString> readPins() {
    QHash<QString, QString> pins;
    const QVariantMap stored = Prefs::shared().value(pinsKey).toMap();
    for (auto it = stored.begin(); it != stored.end(); ++it)
        pins.insert(it.key(), it->toString());
    return pins;
}
} // namespace

// MARK: PinRegistry

PinRegistry::PinRegistry() : m_pins(readPins()) {}

PinRegistry& PinRegistry::shared() {
    static PinRegistry registry;
    return registry;
}

void PinRegistry::reload() {
    QHash<QString, QString> pins = readPins();
    QMutexLocker lock(&m_lock);
    m_pins = std::move(pins);
}

QString PinRegistry::hostPort(const QUrl& url) {
    const QString scheme = url.scheme();
    const int fallback =
        (scheme == QLatin1String("https") || scheme == QLatin1String("wss")) ? 443 : 80;
    return url.host() + QLatin1Char(':') + QString::number(url.port(fallback));
}

std::optional<QString> PinRegistry::pin(const QString& hostPort) const {
    QMutexLocker lock(&m_lock);
    const auto it = m_pins.constFind(hostPort);
    if (it == m_pins.constEnd()) return std::nullopt;
    return *it;
}

void PinRegistry::setPin(const QString& fingerprint, const QString& hostPort) {
    QHash<QString, QString> copy;
    bool replaced = false;
    {
        QMutexLocker lock(&m_lock);
        replaced = m_pins.contains(hostPort) && m_pins.value(hostPort) != fingerprint;
        m_pins.insert(hostPort, fingerprint);
        copy = m_pins;
    }
    store(copy, replaced);
}

void PinRegistry::removePin(const QString& hostPort) {
    QHash<QString, QString> copy;
    bool removed = false;
    {
        QMutexLocker lock(&m_lock);
        removed = m_pins.remove(hostPort) > 0;
        copy = m_pins;
    }
    store(copy, removed);
}

QHash<QString, QString> PinRegistry::allPins() const {
    QMutexLocker lock(&m_lock);
    return m_pins;
}

void PinRegistry::store(const QHash<QString, QString>& pins, bool changedTrust) {
    QVariantMap map;
    for (auto it = pins.begin(); it != pins.end(); ++it)
        map.insert(it.key(), *it);
    Prefs::shared().setValue(pinsKey, map);
    // Pooled connections were verified against the old pin: new requests must
    // shake hands again. A first pin leaves them be: clearing the pool tears
    // down requests in flight, and a plain address moves to a pool of its own.
    if (changedTrust) Api::session().clearConnectionCache();
}

QUrl PinRegistry::upgraded(const QUrl& url) const {
    if (url.scheme() != QLatin1String("http")) return url;
    if (!pin(hostPort(url))) return url;
    QUrl out = url;
    out.setScheme(QStringLiteral("https"));
    // The pin is keyed on the plain port, and the server speaks TLS on it.
    if (url.port() == -1) out.setPort(80);
    return out;
}

// MARK: PinningDelegate

namespace PinningDelegate {

std::optional<QString> fingerprint(const QSslCertificate& leaf) {
    if (leaf.isNull()) return std::nullopt;
    const QByteArray der = leaf.toDer();
    const auto* cursor = reinterpret_cast<const unsigned char*>(der.constData());
    X509* cert = d2i_X509(nullptr, &cursor, der.size());
    if (!cert) return std::nullopt;
    std::optional<QString> result;
    if (const ASN1_BIT_STRING* bits = X509_get0_pubkey_bitstr(cert)) {
        const QByteArray key(reinterpret_cast<const char*>(ASN1_STRING_get0_data(bits)),
                             ASN1_STRING_length(bits));
        result = QString::fromLatin1(
            QCryptographicHash::hash(key, QCryptographicHash::Sha256).toBase64());
    }
    X509_free(cert);
    return result;
}

namespace {
QSslConfiguration pinnedConfiguration() {
    // No trusted roots: every handshake reports errors, so the key comparison
    // below always gets the last word, also for a chain that would validate.
    QSslConfiguration config = QSslConfiguration::defaultConfiguration();
    config.setCaCertificates({});
    config.setPeerVerifyMode(QSslSocket::VerifyPeer);
    return config;
}

// True when the certificate matches the pin; logs and false otherwise.
bool matches(const QString& hostPort, const QString& pin, const QSslCertificate& leaf) {
    if (fingerprint(leaf) == pin) return true;
    qWarning().noquote() << "PinningDelegate: KEY MISMATCH for" << hostPort
                         << QStringLiteral("— refusing connection");
    return false;
}

void refuse(QNetworkReply* reply) {
    reply->setProperty(refusedProperty, true);
    reply->abort();
}
} // namespace

void prepare(QNetworkRequest& request) {
    if (request.url().scheme() != QLatin1String("https")) return;
    if (PinRegistry::shared().pin(PinRegistry::hostPort(request.url())))
        request.setSslConfiguration(pinnedConfiguration());
}

void attach(QNetworkReply* reply) {
    const QString key = PinRegistry::hostPort(reply->url());
    QObject::connect(reply, &QNetworkReply::sslErrors, reply,
                     [reply, key](const QList<QSslError>&) {
                         const auto pin = PinRegistry::shared().pin(key);
                         if (!pin) return; // ordinary validation decides
                         if (matches(key, *pin, reply->sslConfiguration().peerCertificate()))
                             reply->ignoreSslErrors();
                         else
                             refuse(reply);
                     });
    QObject::connect(reply, &QNetworkReply::encrypted, reply, [reply, key] {
        const auto pin = PinRegistry::shared().pin(key);
        if (pin && !matches(key, *pin, reply->sslConfiguration().peerCertificate())) refuse(reply);
    });
}

void prepare(QWebSocket* socket, const QUrl& url) {
    if (url.scheme() != QLatin1String("wss") && url.scheme() != QLatin1String("https")) return;
    const QString key = PinRegistry::hostPort(url);
    if (!PinRegistry::shared().pin(key)) return;
    socket->setSslConfiguration(pinnedConfiguration());
    QObject::connect(socket, &QWebSocket::sslErrors, socket,
                     [socket, key](const QList<QSslError>&) {
                         const auto pin = PinRegistry::shared().pin(key);
                         // The live TLS socket is the web socket's child; its peer is the leaf.
                         auto* tls = socket->findChild<QSslSocket*>();
                         if (pin && tls && matches(key, *pin, tls->peerCertificate()))
                             socket->ignoreSslErrors();
                         else
                             socket->abort();
                     });
}

bool refusedByPin(const QNetworkReply* reply) {
    return reply->property(refusedProperty).toBool();
}

} // namespace PinningDelegate
