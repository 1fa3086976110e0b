#pragma once

// Ids of several servers share one 64-bit space: the server's number sits
// above the low 40 bits. The primary server is number 0, so its ids are
// already global. Negative ids (local pending messages) pass through encode
// untouched, which keeps them out of every server's range.

#include <QtGlobal>

namespace IDCodec {

inline constexpr int shift = 40;
inline constexpr qint64 mask = 0xFFFFFFFFFF;

// Shifts through unsigned arithmetic so that large or negative server numbers
// wrap instead of overflowing.
constexpr qint64 encode(qint64 real, int server) {
    if (server == 0 || real < 0) return real;
    const quint64 high = quint64(qint64(server)) << shift;
    return qint64(quint64(real & mask) | high);
}

// Arithmetic shift: a pending (negative) id gives -1.
constexpr int serverId(qint64 id) {
    return int(id >> shift);
}

struct Decoded {
    int server = 0;
    qint64 real = 0;
    constexpr bool operator==(const Decoded&) const = default;
};

constexpr Decoded decode(qint64 id) {
    const int server = serverId(id);
    return {server, server == 0 ? id : id & mask};
}

} // namespace IDCodec
