#include "net/ServerTokens.h"

#include "net/Pinning.h"

#include <QNetworkRequest>

namespace {

// Compared as the request will go out: a pinned plain address moves onto TLS,
// and `..` segments cannot climb out of a server's path.
QUrl canonical(const QUrl& url) {
    return PinRegistry::shared().upgraded(url).adjusted(QUrl::NormalizePathSegments |
                                                        QUrl::RemoveUserInfo);
}

int portOf(const QUrl& url) {
    return url.port(url.scheme() == QLatin1String("https") ? 443 : 80);
}

// A server's path as a prefix that ends at a segment: "/chat" covers
// "/chat/api/…" and not "/chatter/…".
QString folderOf(const QUrl& base) {
    QString path = base.path(QUrl::FullyEncoded);
    if (!path.endsWith(QLatin1Char('/'))) path += QLatin1Char('/');
    return path;
}

bool covers(const QUrl& base, const QUrl& url) {
    return base.scheme() == url.scheme() && base.host() == url.host() &&
           portOf(base) == portOf(url) && url.path(QUrl::FullyEncoded).startsWith(folderOf(base));
}

} // namespace

ServerTokens& ServerTokens::shared() {
    static ServerTokens tokens;
    return tokens;
}

void ServerTokens::publish(const void* owner, QList<Entry> entries) {
    QMutexLocker lock(&m_lock);
    if (entries.isEmpty())
        m_published.remove(owner);
    else
        m_published.insert(owner, std::move(entries));
}

std::optional<QString> ServerTokens::tokenFor(const QUrl& url) const {
    const QUrl target = canonical(url);
    if (target.scheme() != QLatin1String("http") && target.scheme() != QLatin1String("https"))
        return std::nullopt;
    QMutexLocker lock(&m_lock);
    // The longest address wins: two servers may share a host under different paths.
    std::optional<QString> best;
    qsizetype bestLength = -1;
    for (const QList<Entry>& entries : m_published) {
        for (const Entry& entry : entries) {
            // A pin set since publishing moves the server onto TLS, its pictures too.
            const QUrl base = canonical(entry.base);
            const qsizetype length = folderOf(base).size();
            if (length > bestLength && covers(base, target)) {
                best = entry.token;
                bestLength = length;
            }
        }
    }
    return best;
}

void ServerTokens::authorize(QNetworkRequest& request) const {
    if (request.hasRawHeader("Authorization")) return;
    const auto token = tokenFor(request.url());
    if (!token) return;
    request.setRawHeader("Authorization", "Bearer " + token->toUtf8());
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         QNetworkRequest::SameOriginRedirectPolicy);
}
