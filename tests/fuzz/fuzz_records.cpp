// Every record decoder over arbitrary bytes: a failure must be a DecodeError,
// never a crash, and a success must survive an encode/decode round trip.
// Records with a reader decoder are also decoded through QJsonDocument: both
// paths must accept the same inputs and produce equal records.
#include "model/Models.h"

#include <cstdint>
#include <cstdlib>

namespace {
template <typename T>
void roundTrip(const QByteArray& data) {
    std::optional<T> decoded;
    try {
        decoded = json::decode<T>(data);
    } catch (const DecodeError&) {
        return;
    }
    const T again = json::decode<T>(json::encode(*decoded));
    if (!(again == *decoded)) std::abort();
}

template <typename T>
void decodeOnly(const QByteArray& data) {
    try {
        (void)json::decode<T>(data);
    } catch (const DecodeError&) {
    }
}

// The one input the paths may disagree on: an escape JSON does not define,
// which QJsonDocument reads as the bare character and the reader refuses.
bool hasUnknownEscape(const QByteArray& data) {
    for (qsizetype i = 0; i + 1 < data.size(); ++i) {
        if (data[i] != '\\') continue;
        switch (data[i + 1]) {
        case '"':
        case '\\':
        case '/':
        case 'b':
        case 'f':
        case 'n':
        case 'r':
        case 't':
        case 'u':
            ++i;
            break;
        default:
            return true;
        }
    }
    return false;
}

template <typename T>
void bothPaths(const QByteArray& data) {
    std::optional<T> viaReader;
    std::optional<T> viaDocument;
    try {
        viaReader = json::readDocument<T>(data);
    } catch (const DecodeError&) {
    }
    try {
        viaDocument = json::decodeViaDocument<T>(data);
    } catch (const DecodeError&) {
    }
    if (viaReader.has_value() != viaDocument.has_value()) {
        if (!viaReader && hasUnknownEscape(data)) return;
        std::abort();
    }
    if (viaReader && !(*viaReader == *viaDocument)) std::abort();
}

template <typename... T>
void allBothPaths(const QByteArray& data) {
    (bothPaths<T>(data), ...);
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    const QByteArray data(reinterpret_cast<const char*>(bytes), qsizetype(size));
    roundTrip<User>(data);
    roundTrip<Message>(data);
    roundTrip<ChatSummary>(data);
    roundTrip<BootstrapResponse>(data);
    roundTrip<NotifPrefs>(data);
    roundTrip<ClaudeHost>(data);
    roundTrip<LoginResponse>(data);
    roundTrip<WsEvent>(data);
    roundTrip<MessagesResponse>(data);
    decodeOnly<GroupRolesResponse>(data);
    decodeOnly<TypingResponse>(data);
    decodeOnly<BuildsResponse>(data);
    allBothPaths<User, ReplySnippet, MediaInfo, Reaction, ForwardInfo, Message, ReadMark,
                 ChatSummary, ClaudeUsageWindow, ClaudeUsage, ClaudeNamedAccount, ClaudeHost,
                 CatPref, NotifPrefs, BuildStatus, BootstrapResponse, MessagesResponse, WsEvent>(
        data);
    return 0;
}
