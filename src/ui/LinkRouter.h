#pragma once

// Links in the velmarin scheme that message text and other launches hand to
// the app: a person's profile, a text to copy, an invite to another server.

#include <QString>
#include <QUrl>
#include <functional>
#include <optional>

class Store;

class LinkRouter {
public:
    enum class Outcome { handled, discarded, system };

    using CopyFn = std::function<void(const QString&)>;
    using InviteFn = std::function<void(const QUrl&)>;

    LinkRouter(Store& store, CopyFn copy);

    // An invite link (velmarin://join?server=...) goes to this handler; without
    // one the link is dropped.
    void setInviteHandler(InviteFn handler) { m_invite = std::move(handler); }

    Outcome open(const QUrl& url);

    // velmarin://copy/<text>: the path after the host, percent-decoded.
    static std::optional<QString> copyText(const QUrl& url);
    // velmarin://user/<name>: the last path component.
    static std::optional<QString> userName(const QUrl& url);
    static bool isInviteLink(const QUrl& url);

private:
    Store& m_store;
    CopyFn m_copy;
    InviteFn m_invite;
};
