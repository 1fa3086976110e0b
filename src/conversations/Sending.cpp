// Every way a message leaves the client and every change to one that exists:
// text with an optimistic local copy, media singly or as an album, voice with
// its transcript, forwards, edits, deletes and pins.

#include "agent/MarkerConfig.h"
#include "conversations/SpeechLanguage.h"
#include "core/Logging.h"
#include "model/IDCodec.h"
#include "store/Store.h"

#include <QFile>

namespace {

// Removes a recording when the send that owns it ends, however it ends.
struct RemoveFileAtEnd {
    QString path;
    ~RemoveFileAtEnd() {
        if (!path.isEmpty()) QFile::remove(path);
    }
};

} // namespace

void Store::finishSend(Message reply, int server) {
    remap(reply, server);
    upsertMessage(reply);
    updateChatLast(reply);
    burstRefreshExtra(reply.chatId);
}

// MARK: Text

QCoro::Task<> Store::sendMessage(qint64 chatId, QString text, std::optional<Message> replyTo,
                                 bool priority) {
    QPointer<Store> self(this);
    const auto r = route(chatId);
    if (!r || !m_me) co_return;
    const QString body = priority ? Config::ccPriorityPrefix.toString() + text : text;
    const qint64 tempId = m_nextTempId--;
    Message local;
    local.id = tempId;
    local.chatId = chatId;
    local.senderId = m_me->id;
    local.senderName = m_me->username;
    local.text = body;
    if (replyTo)
        local.replyTo =
            ReplySnippet{replyTo->id, replyTo->senderId, replyTo->senderName, replyTo->text};
    local.createdAt = nowMs();
    local.isPending = true;
    QList<Message>& history = m_messages[chatId];
    history.push_back(local);
    emit timelineChanged(chatId, {TimelineChange::inserted, int(history.size()) - 1, 1});
    updateChatLast(local);
    bumpUserActivity(chatId, local.createdAt);
    if (const ChatSummary* c = chat(chatId); c && isClaudeSessionChat(*c))
        ccStartOptimisticWorking(chatId, local.createdAt);

    const std::optional<qint64> replyReal =
        replyTo ? std::optional(IDCodec::decode(replyTo->id).real) : std::nullopt;
    Message reply;
    try {
        auto call = r->api.send(r->real, body, replyReal);
        reply = co_await call;
    } catch (const std::exception& e) {
        if (!self) co_return;
        // Only this send's copy goes; nothing is retried or put back in the composer.
        removeMessage(chatId, tempId);
        setLastError(describeError(e));
        co_return;
    }
    if (!self) co_return;
    remap(reply, r->server);
    removeMessage(chatId, tempId);
    upsertMessage(reply);
    updateChatLast(reply);
    // Only once the server has the message does the run in progress stop, so
    // the session takes this one next.
    if (priority) co_await ccStopSession(chatId);
    if (self) burstRefreshExtra(chatId);
}

// MARK: Media

double Store::UploadState::fraction() const {
    const double part = total > 0 ? double(sent) / double(total) : 0.0;
    return std::clamp((item + part) / std::max(1, items), 0.0, 1.0);
}

void Store::setUpload(qint64 chatId, std::optional<UploadState> state) {
    if (state)
        m_uploads.insert(chatId, *state);
    else if (!m_uploads.remove(chatId))
        return;
    emit uploadsChanged(chatId);
}

Api::UploadProgress Store::uploadReporter(qint64 chatId, int item, int items) {
    return [self = QPointer<Store>(this), chatId, item, items](qint64 sent, qint64 total) {
        if (self) self->setUpload(chatId, UploadState{item, items, sent, total});
    };
}

QCoro::Task<> Store::sendMedia(qint64 chatId, QByteArray data, QString kind, QString ext,
                               QString caption, std::optional<qint64> width,
                               std::optional<qint64> height, int item, int items) {
    QPointer<Store> self(this);
    const auto r = route(chatId);
    if (!r) co_return;
    Api::MediaUpload meta;
    meta.kind = kind;
    meta.ext = ext;
    meta.caption = caption;
    meta.width = width;
    meta.height = height;
    meta.progress = uploadReporter(chatId, item, items);
    setUpload(chatId, UploadState{item, items, 0, data.size()});
    const bool last = item + 1 >= items;
    Message reply;
    try {
        auto call = r->api.uploadMedia(r->real, data, meta);
        reply = co_await call;
    } catch (const std::exception& e) {
        if (!self) co_return;
        setLastError(describeError(e));
        if (last) setUpload(chatId, std::nullopt);
        co_return;
    }
    if (!self) co_return;
    if (last) setUpload(chatId, std::nullopt);
    finishSend(reply, r->server);
    bumpUserActivity(chatId, std::nullopt);
    setLastError(std::nullopt);
}

QCoro::Task<> Store::sendMediaBatch(qint64 chatId, QList<MediaUpload> items) {
    QPointer<Store> self(this);
    const auto r = route(chatId);
    if (!r || items.isEmpty()) co_return;
    if (items.size() == 1) {
        const MediaUpload& one = items.first();
        auto single =
            sendMedia(chatId, one.data, one.kind, one.ext, one.caption, one.width, one.height);
        co_await single;
        co_return;
    }
    QString caption;
    for (const MediaUpload& item : std::as_const(items))
        if (!item.caption.isEmpty()) {
            caption = item.caption;
            break;
        }
    QList<Api::AlbumItem> uploaded;
    const int count = int(items.size());
    for (int k = 0; k < count; ++k) {
        const MediaUpload& item = items[k];
        setUpload(chatId, UploadState{k, count, 0, item.data.size()});
        try {
            auto reporter = uploadReporter(chatId, k, count);
            auto call = r->api.uploadBlob(r->real, item.data, item.kind, item.ext, reporter);
            const QString file = co_await call;
            uploaded.push_back({item.kind, file, item.width, item.height, item.name});
        } catch (const std::exception& e) {
            if (!self) co_return;
            setLastError(describeError(e)); // the others still go
        }
        if (!self) co_return;
    }
    if (uploaded.size() >= 2) {
        try {
            auto call = r->api.sendAlbum(r->real, caption, uploaded);
            const Message reply = co_await call;
            if (!self) co_return;
            setUpload(chatId, std::nullopt);
            finishSend(reply, r->server);
            bumpUserActivity(chatId, std::nullopt);
            setLastError(std::nullopt);
            co_return;
        } catch (const std::exception& e) {
            if (!self) co_return;
            setLastError(describeError(e));
        }
    }
    // Too few uploads for an album: every item goes on its own, uploaded ones again too.
    for (int k = 0; k < count; ++k) {
        const MediaUpload& item = items[k];
        const bool isFile = item.kind == QLatin1String("file");
        const QString itemCaption = isFile ? item.name.value_or(item.caption) : item.caption;
        auto single = sendMedia(chatId, item.data, item.kind, item.ext, itemCaption, item.width,
                                item.height, k, count);
        co_await single;
        if (!self) co_return;
    }
    setUpload(chatId, std::nullopt);
}

// MARK: Voice

QCoro::Task<> Store::sendVoiceMessage(qint64 chatId, QByteArray data, QString filePath,
                                      std::optional<QString> transcript, TranscriptionEngine engine,
                                      bool priority) {
    QPointer<Store> self(this);
    const RemoveFileAtEnd cleanup{filePath};
    const auto r = route(chatId);
    if (!r) co_return;
    const bool onDevice = isOnDevice(engine);
    Api::MediaUpload meta;
    meta.kind = QStringLiteral("audio");
    meta.ext = QStringLiteral("m4a");
    meta.caption = priority ? Config::ccPriorityPrefix.toString() : QString();
    meta.clientTranscribe = onDevice;
    if (!onDevice) {
        meta.engine = rawValue(engine);
        meta.lang = userSpeechLanguageCode();
    }
    Message uploaded;
    try {
        auto call = r->api.uploadMedia(r->real, data, meta);
        uploaded = co_await call;
    } catch (const std::exception& e) {
        if (self) setLastError(describeError(e));
        co_return;
    }
    if (!self) co_return;
    const qint64 realId = uploaded.id;
    remap(uploaded, r->server);
    upsertMessage(uploaded);
    updateChatLast(uploaded);
    setLastError(std::nullopt);
    if (onDevice) {
        const QString text = transcript.value_or(QString()).trimmed();
        // No transcript of our own: the server is asked to transcribe after all.
        const bool fallback = text.isEmpty();
        try {
            auto call = r->api.setTranscript(realId, text, fallback);
            Message withText = co_await call;
            if (!self) co_return;
            remap(withText, r->server);
            upsertMessage(withText);
        } catch (const std::exception&) {
            // The voice message stays as uploaded.
        }
    }
    if (!self) co_return;
    burstRefreshExtra(chatId);
    if (priority) co_await ccStopSession(chatId);
}

QCoro::Task<QString> Store::transcribeAudio(QByteArray data) {
    const auto primary = api();
    if (!primary) co_return QString();
    try {
        auto call = primary->transcribe(data);
        co_return co_await call;
    } catch (const std::exception& e) {
        qCDebug(lcConversations) << "transcription failed; the voice message goes without text:"
                                 << e.what();
        co_return QString();
    }
}

// MARK: Changes to existing messages (primary server, ids as they stand)

QCoro::Task<bool> Store::forward(Message message, qint64 toChatId) {
    QPointer<Store> self(this);
    const auto primary = api();
    if (!primary) co_return false;
    try {
        auto call = primary->forward(toChatId, message.id);
        const Message copy = co_await call;
        if (!self) co_return false;
        if (m_messages.contains(toChatId)) upsertMessage(copy);
        updateChatLast(copy);
        setLastError(std::nullopt);
        co_return true;
    } catch (const std::exception& e) {
        if (self) setLastError(describeError(e));
        co_return false;
    }
}

QCoro::Task<std::optional<qint64>> Store::forward(Message message, User toUser) {
    QPointer<Store> self(this);
    auto start = startDirect(toUser);
    const std::optional<ChatSummary> direct = co_await start;
    if (!self || !direct) co_return std::nullopt;
    auto send = forward(message, direct->id);
    const bool ok = co_await send;
    if (!ok) co_return std::nullopt;
    co_return direct->id;
}

QCoro::Task<> Store::editMessage(Message message, QString text) {
    QPointer<Store> self(this);
    const auto primary = api();
    if (!primary) co_return;
    try {
        auto call = primary->edit(message.id, text);
        const Message edited = co_await call;
        if (!self) co_return;
        upsertMessage(edited);
        refreshChatLastIfNeeded(edited);
    } catch (const std::exception& e) {
        if (self) setLastError(describeError(e));
    }
}

QCoro::Task<> Store::deleteMessage(Message message) {
    QPointer<Store> self(this);
    const auto primary = api();
    if (!primary) co_return;
    try {
        auto call = primary->deleteMessage(message.id);
        co_await call;
        if (!self) co_return;
        removeMessage(message.chatId, message.id);
    } catch (const std::exception& e) {
        if (self) setLastError(describeError(e));
    }
}

QCoro::Task<> Store::setPinned(Message message, bool pinned) {
    QPointer<Store> self(this);
    const auto primary = api();
    if (message.isPending || message.id <= 0 || !primary) co_return;
    try {
        auto call = primary->setPinned(message.id, pinned);
        const ChatSummary updated = co_await call;
        if (!self) co_return;
        upsertChat(updated);
    } catch (const std::exception& e) {
        if (self) setLastError(describeError(e));
    }
}
