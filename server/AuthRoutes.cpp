// Sign-in: by configured name, as a guest through an invite code, and by a
// device key (register, challenge, signed login); plus the server's identity.
#include "Crypto.h"
#include "Events.h"
#include "Records.h"
#include "Routes.h"

namespace {

constexpr qint64 kNonceLifetimeMs = 5 * 60 * 1000;
constexpr qint64 kPairCodeLifetimeMs = 10 * 60 * 1000;

QJsonObject loginReply(const QString& token, const UserRow& user) {
    return QJsonObject{{QStringLiteral("token"), token},
                       {QStringLiteral("user"), records::user(user)}};
}

// The configured spelling of an allowed name, if the name is allowed.
std::optional<QString> allowedName(const ServerOptions& opts, const QString& name) {
    QStringList allowed = opts.names + opts.bots;
    if (!opts.owner.isEmpty()) allowed.push_back(opts.owner);
    for (const QString& candidate : allowed)
        if (candidate.compare(name, Qt::CaseInsensitive) == 0) return candidate;
    return std::nullopt;
}

// The account an allowed name signs in to: the owner's by id, the others by name.
std::optional<UserRow> accountFor(Context& ctx, const QString& allowed) {
    if (ctx.ownerId != 0 && allowed.compare(ctx.options.owner, Qt::CaseInsensitive) == 0)
        return ctx.db.user(ctx.ownerId);
    return ctx.db.userByName(allowed);
}

HttpReply nameLogin(Context& ctx, const HttpRequest& req) {
    QString name = body::requireString(req.body, QStringLiteral("username")).trimmed();
    // Inside the private network the network itself identifies the owner:
    // a program on this machine, not a web page that reached it by a rebound name.
    const bool loopbackOwner = name.isEmpty() && ctx.options.loopbackOwner &&
                               !ctx.options.owner.isEmpty() && req.isLocalJson();
    if (loopbackOwner) name = ctx.options.owner;
    const auto allowed = allowedName(ctx.options, name);
    if (name.isEmpty() || !allowed)
        throw HttpError(403, QStringLiteral("This name isn't authorized on this server"));
    auto user = accountFor(ctx, *allowed);
    const bool configuredBot = ctx.options.bots.contains(*allowed);
    if (user && (user->isGuest || user->isBot != configuredBot))
        throw HttpError(403, QStringLiteral("This name isn't authorized on this server"));
    if (!user) {
        user = ctx.db.createUser(*allowed, false, configuredBot);
        events::userJoined(ctx, *user);
    }
    // Once a device key guards the account, its name alone no longer opens it.
    if (!loopbackOwner && ctx.db.hasDeviceKey(user->id))
        throw HttpError(403, QStringLiteral("This account signs in with its device key — pair this "
                                            "device from one that is already signed in"));
    const TokenKind kind = loopbackOwner ? TokenKind::Loopback : TokenKind::Name;
    return HttpReply::json(loginReply(ctx.db.createToken(user->id, kind), *user));
}

UserRow guestFor(Context& ctx, const QString& name, qint64 chatId) {
    // A guest comes back with its own token or device key; a name and the
    // shared code would let anyone holding the code become that guest.
    if (ctx.db.userByName(name))
        throw HttpError(409, QStringLiteral("That name is taken — choose another"));
    const UserRow guest = ctx.db.createUser(name, true, false);
    ctx.db.addMember(chatId, guest.id, QStringLiteral("User"));
    events::userJoined(ctx, guest);
    events::chat(ctx, chatId, QStringLiteral("chatUpdated"));
    return guest;
}

HttpReply guestLogin(Context& ctx, const HttpRequest& req) {
    const QString name = body::requireString(req.body, QStringLiteral("name")).trimmed();
    const QString code = body::requireString(req.body, QStringLiteral("code")).trimmed();
    if (name.isEmpty() || name.size() > limits::kName)
        throw HttpError(400,
                        QStringLiteral("Enter a name of at most %1 characters").arg(limits::kName));
    const auto chat = ctx.db.chatByInviteCode(code);
    if (!chat) throw HttpError(403, QStringLiteral("This invite code is not valid"));
    const UserRow guest = guestFor(ctx, name, chat->id);
    QJsonObject reply = loginReply(ctx.db.createToken(guest.id, TokenKind::Guest), guest);
    reply.insert(QStringLiteral("chatId"), chat->id);
    return HttpReply::json(reply);
}

// A device key as the canonical Base64 of a valid P-256 point; 400 otherwise.
QString requireDeviceKey(const QJsonObject& body) {
    const QString text = body::requireString(body, QStringLiteral("pubkey"));
    const auto decoded =
        QByteArray::fromBase64Encoding(text.toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded || !crypto::isP256PublicKey(decoded.decoded))
        throw HttpError(400, QStringLiteral("pubkey is not a P-256 public key"));
    return QString::fromLatin1(decoded.decoded.toBase64());
}

QJsonObject keyAuthReply(Context& ctx, const UserRow& user, qint64 keyId) {
    QJsonObject reply = loginReply(ctx.db.createToken(user.id, TokenKind::Key, keyId), user);
    reply.insert(QStringLiteral("fingerprint"), ctx.identity.fingerprint);
    return reply;
}

HttpReply keyRegister(Context& ctx, const HttpRequest& req) {
    const QString pubkey = requireDeviceKey(req.body);
    const QString label = body::optString(req.body, QStringLiteral("label")).value_or(QString());
    const auto keyId = ctx.db.bindDeviceKey(req.me().userId, pubkey, label);
    if (!keyId) throw HttpError(409, QStringLiteral("This device key belongs to another account"));
    ctx.db.revokeNameTokens(req.me().userId);
    const auto user = ctx.db.user(req.me().userId);
    return HttpReply::json(keyAuthReply(ctx, *user, *keyId));
}

HttpReply keyChallenge(Context& ctx, const HttpRequest& req) {
    const QString pubkey = requireDeviceKey(req.body);
    if (!ctx.db.deviceKey(pubkey)) throw HttpError(401, QStringLiteral("unknown device key"));
    const qint64 now = Storage::now();
    for (auto it = ctx.nonces.begin(); it != ctx.nonces.end();)
        it = now - it->issuedAt > kNonceLifetimeMs ? ctx.nonces.erase(it) : std::next(it);
    const QString nonce = crypto::randomToken();
    ctx.nonces.insert(pubkey, PendingNonce{nonce, now});
    return HttpReply::json(QJsonObject{{QStringLiteral("nonce"), nonce}});
}

HttpReply keyLogin(Context& ctx, const HttpRequest& req) {
    const QString pubkey = requireDeviceKey(req.body);
    const QString signature = body::requireString(req.body, QStringLiteral("signature"));
    // Each challenge answers one attempt, right or wrong.
    const std::optional<PendingNonce> pending =
        ctx.nonces.contains(pubkey) ? std::optional(ctx.nonces.take(pubkey)) : std::nullopt;
    if (!pending || Storage::now() - pending->issuedAt > kNonceLifetimeMs)
        throw HttpError(401, QStringLiteral("no open challenge for this key"));
    const auto sig = QByteArray::fromBase64Encoding(signature.toLatin1(),
                                                    QByteArray::AbortOnBase64DecodingErrors);
    const QByteArray point = QByteArray::fromBase64(pubkey.toLatin1());
    if (!sig || !crypto::verifyP256(point, pending->nonce.toUtf8(), sig.decoded))
        throw HttpError(401, QStringLiteral("the signature does not match this key"));
    const auto key = ctx.db.deviceKey(pubkey);
    const auto user = key ? ctx.db.user(key->second) : std::nullopt;
    if (!user) throw HttpError(401, QStringLiteral("unknown device key"));
    return HttpReply::json(keyAuthReply(ctx, *user, key->first));
}

// A second device of a signed-in person redeems the code with its own key.
HttpReply pairCode(Context& ctx, const HttpRequest& req) {
    if (req.me().isGuest)
        throw HttpError(403,
                        QStringLiteral("a guest's account stays on the device it joined from"));
    const qint64 now = Storage::now();
    for (auto it = ctx.pairCodes.begin(); it != ctx.pairCodes.end();)
        it = now - it->issuedAt > kPairCodeLifetimeMs ? ctx.pairCodes.erase(it) : std::next(it);
    // Short enough to type: 10 characters without look-alikes.
    static const QString alphabet = QStringLiteral("ABCDEFGHJKLMNPQRSTUVWXYZ23456789");
    const QByteArray random = QByteArray::fromBase64(crypto::randomToken(16).toLatin1());
    QString code;
    for (int i = 0; i < 10; ++i)
        code.push_back(alphabet[quint8(random.at(i % random.size())) % alphabet.size()]);
    ctx.pairCodes.insert(code, PendingPair{req.me().userId, now});
    return HttpReply::json(
        QJsonObject{{QStringLiteral("code"), code},
                    {QStringLiteral("expiresInSeconds"), kPairCodeLifetimeMs / 1000},
                    {QStringLiteral("fingerprint"), ctx.identity.fingerprint}});
}

HttpReply pair(Context& ctx, const HttpRequest& req) {
    const QString code = body::requireString(req.body, QStringLiteral("code")).trimmed().toUpper();
    const QString pubkey = requireDeviceKey(req.body);
    const QString label = body::optString(req.body, QStringLiteral("label")).value_or(QString());
    // One use, right or wrong key.
    const std::optional<PendingPair> pending =
        ctx.pairCodes.contains(code) ? std::optional(ctx.pairCodes.take(code)) : std::nullopt;
    if (!pending || Storage::now() - pending->issuedAt > kPairCodeLifetimeMs)
        throw HttpError(401, QStringLiteral("This pairing code is not valid"));
    const auto keyId = ctx.db.bindDeviceKey(pending->userId, pubkey, label);
    if (!keyId) throw HttpError(409, QStringLiteral("This device key belongs to another account"));
    ctx.db.revokeNameTokens(pending->userId);
    const auto user = ctx.db.user(pending->userId);
    if (!user) throw HttpError(401, QStringLiteral("This pairing code is not valid"));
    return HttpReply::json(keyAuthReply(ctx, *user, *keyId));
}

HttpReply serverIdentity(Context& ctx) {
    return HttpReply::json(QJsonObject{
        {QStringLiteral("fingerprint"), ctx.identity.fingerprint},
        {QStringLiteral("pubkey"), QString::fromLatin1(ctx.identity.publicKey.toBase64())},
        {QStringLiteral("platform"), ctx.options.platform},
    });
}

} // namespace

void addAuthRoutes(Router& router, Context& ctx) {
    using A = Router::Access;
    router.add("POST", QStringLiteral("api/login"), A::Public,
               [&ctx](const HttpRequest& r) { return nameLogin(ctx, r); });
    router.add("POST", QStringLiteral("api/login/guest"), A::Public,
               [&ctx](const HttpRequest& r) { return guestLogin(ctx, r); });
    router.post(QStringLiteral("api/pair/code"),
                [&ctx](const HttpRequest& r) { return pairCode(ctx, r); });
    router.add("POST", QStringLiteral("api/pair"), A::Public,
               [&ctx](const HttpRequest& r) { return pair(ctx, r); });
    router.post(QStringLiteral("api/logout"), [&ctx](const HttpRequest& r) {
        ctx.db.revokeToken(r.me().token);
        return HttpReply::ok();
    });
    router.add("GET", QStringLiteral("api/server-identity"), A::Public,
               [&ctx](const HttpRequest&) { return serverIdentity(ctx); });
    router.post(QStringLiteral("api/key/register"),
                [&ctx](const HttpRequest& r) { return keyRegister(ctx, r); });
    router.add("POST", QStringLiteral("api/key/challenge"), A::Public,
               [&ctx](const HttpRequest& r) { return keyChallenge(ctx, r); });
    router.add("POST", QStringLiteral("api/key/login"), A::Public,
               [&ctx](const HttpRequest& r) { return keyLogin(ctx, r); });
}
