#include "ui/LinkRouter.h"

#include "core/Localisation.h"
#include "store/Store.h"

namespace {
bool isScheme(const QUrl& url, QLatin1String host) {
    return url.scheme().compare(QLatin1String("velmarin"), Qt::CaseInsensitive) == 0 &&
           url.host().compare(host, Qt::CaseInsensitive) == 0;
}

// Path components after the leading "/", each still percent-encoded.
QStringList encodedComponents(const QUrl& url) {
    return url.path(QUrl::FullyEncoded).split(QLatin1Char('/'), Qt::SkipEmptyParts);
}
} // namespace

LinkRouter::LinkRouter(Store& store, CopyFn copy) : m_store(store), m_copy(std::move(copy)) {}

std::optional<QString> LinkRouter::copyText(const QUrl& url) {
    if (!isScheme(url, QLatin1String("copy"))) return std::nullopt;
    const QString joined = encodedComponents(url).join(QLatin1Char('/'));
    return QUrl::fromPercentEncoding(joined.toUtf8());
}

std::optional<QString> LinkRouter::userName(const QUrl& url) {
    if (!isScheme(url, QLatin1String("user"))) return std::nullopt;
    const QStringList parts = encodedComponents(url);
    if (parts.isEmpty()) return QString();
    return QUrl::fromPercentEncoding(parts.last().toUtf8());
}

bool LinkRouter::isInviteLink(const QUrl& url) {
    return isScheme(url, QLatin1String("join"));
}

LinkRouter::Outcome LinkRouter::open(const QUrl& url) {
    if (const auto name = userName(url)) {
        for (const User& user : std::as_const(m_store.users()))
            if (!name->isEmpty() && user.username == *name) {
                m_store.setProfileUser(user);
                return Outcome::handled;
            }
        return Outcome::discarded;
    }
    if (const auto text = copyText(url)) {
        if (!text->isEmpty()) {
            if (m_copy) m_copy(*text);
            m_store.showToast(L(QStringLiteral("Copied")));
        }
        return Outcome::handled;
    }
    if (isInviteLink(url)) {
        if (!m_invite) return Outcome::discarded;
        m_invite(url);
        return Outcome::handled;
    }
    return Outcome::system;
}
