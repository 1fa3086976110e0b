// Requests and socket frames as velmarin-server receives them from outside.
// Input: a first line "METHOD path?query" and the body after it; or a first
// line "FRAME" and a WebSocket text frame after it. Requests run through the
// real route table against a real database, signed in as a member of a
// direct chat and of a group.
#include "Activity.h"
#include "Routes.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QUrl>
#include <cstdint>
#include <memory>

namespace {

struct Harness {
    QTemporaryDir dir;
    ServerOptions options;
    ServerIdentity identity;
    std::unique_ptr<Storage> db;
    std::unique_ptr<WsHub> hub;
    std::unique_ptr<Context> ctx;
    std::unique_ptr<Router> router;
    QString token;
    qint64 userId = 0;

    Harness() {
        options.dataDir = dir.path();
        options.names = QStringList{QStringLiteral("alice"), QStringLiteral("bob")};
        options.owner = QStringLiteral("alice");
        identity = loadOrCreateIdentity(dir.path());
        db = std::make_unique<Storage>(dir.path());
        hub = std::make_unique<WsHub>(*db);
        ctx = std::make_unique<Context>(Context{options, identity, *db, *hub, {}, {}, {}});
        router = std::make_unique<Router>([this](const QString& t) -> std::optional<Caller> {
            const auto u = db->userForToken(t, ctx->tokenMaxIdleMs());
            if (!u) return std::nullopt;
            return Caller{u->id, u->username, u->isGuest, u->isBot, t};
        });
        addAuthRoutes(*router, *ctx);
        addSessionRoutes(*router, *ctx);
        addChatRoutes(*router, *ctx);
        addMessageRoutes(*router, *ctx);
        addMessageActionRoutes(*router, *ctx);
        addMediaRoutes(*router, *ctx);
        addGroupRoutes(*router, *ctx);
        addAvatarRoutes(*router, *ctx);
        seed();
    }

    void seed() {
        const UserRow alice = db->createUser(QStringLiteral("alice"), false, false);
        const UserRow bob = db->createUser(QStringLiteral("bob"), false, false);
        userId = alice.id;
        token = db->createToken(alice.id, TokenKind::Name);
        const qint64 direct =
            db->createChat(QStringLiteral("direct"), QString(), alice.id, {bob.id});
        const qint64 group =
            db->createChat(QStringLiteral("group"), QStringLiteral("g"), alice.id, {bob.id});
        db->setInviteCode(group, QStringLiteral("code"));
        for (qint64 chat : {direct, group}) {
            MessageRow m;
            m.chatId = chat;
            m.senderId = bob.id;
            m.senderName = bob.username;
            m.text = QStringLiteral("hello");
            db->insertMessage(m);
        }
    }

    void request(const QByteArray& head, const QByteArray& body) {
        const qsizetype space = head.indexOf(' ');
        if (space <= 0) return;
        const QUrl url(QString::fromUtf8(head.mid(space + 1)));
        HttpRequest req;
        req.method = head.left(space);
        req.path = url.path();
        req.query = QUrlQuery(url);
        req.rawBody = body;
        req.peer = QHostAddress(QHostAddress::LocalHost);
        req.bearer = token;
        const HttpReply reply = router->dispatch(req);
        if (reply.status < 100 || reply.body.isEmpty()) abort();
    }

    void frame(const QByteArray& text) {
        const QJsonDocument doc = QJsonDocument::fromJson(text);
        if (!doc.isObject()) return;
        activity::handleFrame(*ctx, Connection{nullptr, userId, QStringLiteral("fuzz"), {}, false},
                              doc.object());
    }
};

Harness& harness() {
    static int argc = 1;
    static char name[] = "fuzz_server_request";
    static char* argv[] = {name, nullptr};
    static QCoreApplication app(argc, argv);
    static Harness h;
    return h;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Harness& h = harness();
    const QByteArray input(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const qsizetype newline = input.indexOf('\n');
    const QByteArray head = newline < 0 ? input : input.left(newline);
    const QByteArray rest = newline < 0 ? QByteArray() : input.mid(newline + 1);
    if (head.trimmed() == "FRAME")
        h.frame(rest);
    else
        h.request(head.trimmed(), rest);
    return 0;
}
