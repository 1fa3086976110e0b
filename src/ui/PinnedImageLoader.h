#pragma once

// Pictures in the views (media, avatars) come from the same servers as the
// API, whose certificates are often self-signed and pinned: the QML engine's
// network access goes through the same pin check as the API's requests, and
// carries the token of the server a picture comes from.

#include <QQmlNetworkAccessManagerFactory>

class PinnedNetworkFactory : public QQmlNetworkAccessManagerFactory {
public:
    QNetworkAccessManager* create(QObject* parent) override;
};
