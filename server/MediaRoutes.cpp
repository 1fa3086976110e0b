// Media: a single upload that becomes a message, blobs that an album message
// names afterwards, the files behind both (with byte ranges), and voice
// transcripts. The speech engine is chosen at start: "none" transcribes
// nothing; "test" writes a fixed text after a delay, as a real engine would
// answer after the upload, so clients can exercise the whole road.
#include "Activity.h"
#include "Events.h"
#include "Files.h"
#include "Records.h"
#include "Routes.h"

#include <QJsonDocument>
#include <QRegularExpression>
#include <QTimer>

namespace {

bool hasEngine(const Context& ctx) {
    return ctx.options.transcriber == QLatin1String("test");
}

const QStringList kKinds{QStringLiteral("image"), QStringLiteral("file"), QStringLiteral("audio"),
                         QStringLiteral("video")};

QString queryText(const HttpRequest& req, const QString& key) {
    return req.query.queryItemValue(key, QUrl::FullyDecoded);
}

QString requireKind(const QString& kind) {
    if (!kKinds.contains(kind))
        throw HttpError(400, QStringLiteral("kind must be image, file, audio or video"));
    return kind;
}

// The front has already refused bodies above the upload limit.
QByteArray requireUpload(const HttpRequest& req) {
    if (req.rawBody.isEmpty()) throw HttpError(400, QStringLiteral("the upload is empty"));
    return req.rawBody;
}

QJsonObject mediaJson(const QString& kind, qint64 number, std::optional<qint64> w,
                      std::optional<qint64> h, const QString& name) {
    QJsonObject media{{QStringLiteral("kind"), kind},
                      {QStringLiteral("url"), files::mediaUrl(number)}};
    if (w) media.insert(QStringLiteral("width"), *w);
    if (h) media.insert(QStringLiteral("height"), *h);
    if (!name.isEmpty()) media.insert(QStringLiteral("name"), name);
    return media;
}

QByteArray compact(const QJsonObject& o) {
    return QJsonDocument(o).toJson(QJsonDocument::Compact);
}
QByteArray compact(const QJsonArray& a) {
    return QJsonDocument(a).toJson(QJsonDocument::Compact);
}

MessageRow newMessage(const ChatRow& chat, const HttpRequest& req, const QString& text) {
    MessageRow draft;
    draft.chatId = chat.id;
    draft.senderId = req.me().userId;
    draft.senderName = req.me().username;
    // An empty caption is an empty text, never a missing one.
    draft.text = text.isNull()
                     ? QStringLiteral("")
                     : body::limitLength(text, limits::kMessage, QStringLiteral("the caption"));
    return draft;
}

void transcribeLater(Context& ctx, qint64 messageId) {
    if (!hasEngine(ctx)) return;
    Context* context = &ctx;
    // The hub lives exactly as long as the context, so the timer dies with both.
    QTimer::singleShot(ctx.options.transcribeDelayMs, &ctx.hub, [context, messageId] {
        const auto m = context->db.message(messageId);
        if (!m || m->transcript) return;
        context->db.setTranscript(messageId, transcription::kTestTranscript);
        events::message(*context, *context->db.message(messageId),
                        QStringLiteral("messageUpdated"));
    });
}

HttpReply uploadMedia(Context& ctx, const HttpRequest& req) {
    const ChatRow chat = activity::requireMember(ctx, req.id(), req.me().userId);
    const QString kind = requireKind(queryText(req, QStringLiteral("kind")));
    const qint64 number = files::storeMedia(ctx.options.dataDir, requireUpload(req),
                                            queryText(req, QStringLiteral("ext")));
    const QString caption = queryText(req, QStringLiteral("caption"));
    // A file's caption is its name, shown on the file's chip.
    const bool isFile = kind == QLatin1String("file");
    MessageRow draft = newMessage(chat, req, isFile ? QString() : caption);
    draft.media = compact(mediaJson(kind, number, body::queryInt(req.query, QStringLiteral("w")),
                                    body::queryInt(req.query, QStringLiteral("h")),
                                    isFile ? caption : QString()));
    const MessageRow stored = ctx.db.insertMessage(draft);
    events::message(ctx, stored);
    const bool clientTranscribes =
        queryText(req, QStringLiteral("client_transcribe")) == QLatin1String("true");
    if (kind == QLatin1String("audio") && !clientTranscribes) transcribeLater(ctx, stored.id);
    return HttpReply::json(records::message(ctx.db, stored));
}

HttpReply uploadBlob(Context& ctx, const HttpRequest& req) {
    activity::requireMember(ctx, req.id(), req.me().userId);
    requireKind(queryText(req, QStringLiteral("kind")));
    const QString ext = queryText(req, QStringLiteral("ext"));
    const qint64 number = files::storeMedia(ctx.options.dataDir, requireUpload(req), ext);
    return HttpReply::json(
        QJsonObject{{QStringLiteral("file"), QStringLiteral("%1.%2").arg(number).arg(ext)}});
}

// "<n>.<ext>" as uploadBlob named it, for a file that exists.
qint64 requireBlob(Context& ctx, const QString& file) {
    static const QRegularExpression pattern(
        QStringLiteral("^([1-9][0-9]{0,15})\\.([a-z0-9]{1,10})$"));
    const auto match = pattern.match(file);
    const qint64 number = match.hasMatch() ? match.captured(1).toLongLong() : 0;
    if (!number || files::mediaExt(ctx.options.dataDir, number) != match.captured(2))
        throw HttpError(400, QStringLiteral("unknown file %1").arg(file));
    return number;
}

QJsonObject albumItem(Context& ctx, const QJsonValue& value) {
    if (!value.isObject()) throw HttpError(400, QStringLiteral("items must be objects"));
    const QJsonObject item = value.toObject();
    const QString kind = requireKind(body::requireString(item, QStringLiteral("kind")));
    const qint64 number = requireBlob(ctx, body::requireString(item, QStringLiteral("file")));
    return mediaJson(kind, number, body::optInt(item, QStringLiteral("w")),
                     body::optInt(item, QStringLiteral("h")),
                     body::optString(item, QStringLiteral("name")).value_or(QString()));
}

HttpReply sendAlbum(Context& ctx, const HttpRequest& req) {
    const ChatRow chat = activity::requireMember(ctx, req.id(), req.me().userId);
    const QJsonValue items = req.body.value(QStringLiteral("items"));
    if (!items.isArray() || items.toArray().isEmpty())
        throw HttpError(400, QStringLiteral("items must be a list of at least one attachment"));
    QJsonArray album;
    for (const QJsonValue& value : items.toArray())
        album.append(albumItem(ctx, value));
    MessageRow draft = newMessage(
        chat, req, body::optString(req.body, QStringLiteral("caption")).value_or(QString()));
    draft.album = compact(album);
    const MessageRow stored = ctx.db.insertMessage(draft);
    events::message(ctx, stored);
    return HttpReply::json(records::message(ctx.db, stored));
}

HttpReply serveMedia(Context& ctx, const HttpRequest& req) {
    const auto ext = files::mediaExt(ctx.options.dataDir, req.id());
    const auto bytes = files::loadMedia(ctx.options.dataDir, req.id());
    if (!ext || !bytes) throw HttpError(404, QStringLiteral("no such file"));
    const qint64 size = bytes->size();
    const files::ByteRange range = files::byteRange(req.range, size);
    HttpReply reply{range.status, {}, files::contentType(*ext), {{"Accept-Ranges", "bytes"}}};
    if (range.status == 416) {
        reply.headers.append({"Content-Range", "bytes */" + QByteArray::number(size)});
        return reply;
    }
    reply.body = bytes->mid(range.first, range.last - range.first + 1);
    if (range.status == 206)
        reply.headers.append({"Content-Range", QStringLiteral("bytes %1-%2/%3")
                                                   .arg(range.first)
                                                   .arg(range.last)
                                                   .arg(size)
                                                   .toLatin1()});
    return reply;
}

HttpReply setTranscript(Context& ctx, const HttpRequest& req) {
    const auto m = ctx.db.message(req.id());
    if (!m || !ctx.db.role(m->chatId, req.me().userId))
        throw HttpError(404, QStringLiteral("no such message"));
    if (m->senderId != req.me().userId)
        throw HttpError(403, QStringLiteral("only the sender can set a transcript"));
    const QString text = body::requireString(req.body, QStringLiteral("transcript")).trimmed();
    // The client had no transcript after all: the server transcribes, if it can.
    if (text.isEmpty() && body::optBool(req.body, QStringLiteral("fallback")).value_or(false))
        transcribeLater(ctx, m->id);
    else
        ctx.db.setTranscript(m->id, text);
    const MessageRow updated = *ctx.db.message(m->id);
    events::message(ctx, updated, QStringLiteral("messageUpdated"));
    return HttpReply::json(records::message(ctx.db, updated));
}

HttpReply transcribe(Context& ctx, const HttpRequest& req) {
    requireUpload(req);
    const QString text = hasEngine(ctx) ? transcription::kTestTranscript : QString();
    return HttpReply::json(QJsonObject{{QStringLiteral("text"), text}});
}

} // namespace

void addMediaRoutes(Router& router, Context& ctx) {
    using A = Router::Access;
    using B = Router::Body;
    router.add(
        "POST", QStringLiteral("api/chats/<id>/media"), A::Caller,
        [&ctx](const HttpRequest& r) { return uploadMedia(ctx, r); }, B::Raw);
    router.add(
        "POST", QStringLiteral("api/chats/<id>/blob"), A::Caller,
        [&ctx](const HttpRequest& r) { return uploadBlob(ctx, r); }, B::Raw);
    router.post(QStringLiteral("api/chats/<id>/album"),
                [&ctx](const HttpRequest& r) { return sendAlbum(ctx, r); });
    // Media load without a token (image views cannot send one): the numbers are unguessable.
    router.add("GET", QStringLiteral("media/<id>"), A::Public,
               [&ctx](const HttpRequest& r) { return serveMedia(ctx, r); });
    router.post(QStringLiteral("api/messages/<id>/transcript"),
                [&ctx](const HttpRequest& r) { return setTranscript(ctx, r); });
    router.add(
        "POST", QStringLiteral("api/transcribe"), A::Caller,
        [&ctx](const HttpRequest& r) { return transcribe(ctx, r); }, B::Raw);
}
