// Every record decoder over arbitrary bytes: a failure must be a DecodeError,
// never a crash, and a success must survive an encode/decode round trip.
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
    decodeOnly<WsEvent>(data);
    decodeOnly<GroupRolesResponse>(data);
    decodeOnly<MessagesResponse>(data);
    decodeOnly<TypingResponse>(data);
    decodeOnly<BuildsResponse>(data);
    return 0;
}
