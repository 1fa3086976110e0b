#pragma once

// Global ids: a server's number sits above the low 40 bits of a 64-bit id.
// The primary server is number 0, so its ids are already global. Negative
// ids are local pending messages and are never packed.

#include <QtGlobal>
#include <utility>

namespace IDCodec {

inline constexpr int shift = 40;
inline constexpr qint64 mask = 0xFFFFFFFFFFLL;

constexpr qint64 encode(qint64 real, int server) {
    if (server != 0 && real >= 0) return (real & mask) | (qint64(server) << shift);
    return real;
}

constexpr int serverId(qint64 id) { return int(id >> shift); }

constexpr std::pair<int, qint64> decode(qint64 id) {
    const int server = serverId(id);
    return {server, server == 0 ? id : (id & mask)};
}

} // namespace IDCodec
