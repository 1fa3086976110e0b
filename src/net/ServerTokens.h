#pragma once

// Which sign-in token goes with a request the client makes outside Api:
// pictures the views load straight from a server. The store publishes each
// server's address with its token; a request gets the token of the server
// whose address it lies under, and none when it lies under no server's, so
// one server's token never reaches another.

#include <QHash>
#include <QList>
#include <QMutex>
#include <QString>
#include <QUrl>
#include <optional>

class QNetworkRequest;

class ServerTokens {
public:
    struct Entry {
        QUrl base;
        QString token;
    };

    static ServerTokens& shared();

    // Replaces what `owner` published before; an empty list withdraws it.
    void publish(const void* owner, QList<Entry> entries);
    std::optional<QString> tokenFor(const QUrl& url) const;
    // Gives a fetch the token of its server, if it has one, and keeps its
    // redirects on that server.
    void authorize(QNetworkRequest& request) const;

private:
    ServerTokens() = default;
    mutable QMutex m_lock;
    QHash<const void*, QList<Entry>> m_published;
};
