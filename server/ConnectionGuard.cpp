#include "ConnectionGuard.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTcpSocket>
#include <QTimer>
#include <limits>
#include <utility>

namespace {

const QByteArray kHeadEnd = "\r\n\r\n";

QByteArray reasonPhrase(int status) {
    switch (status) {
    case 401:
        return "Unauthorized";
    case 408:
        return "Request Timeout";
    case 411:
        return "Length Required";
    case 413:
        return "Payload Too Large";
    case 431:
        return "Request Header Fields Too Large";
    default:
        return "Bad Request";
    }
}

// The head's fields; nullopt when it is not HTTP/1.x we can read.
std::optional<RequestHead> parseHead(const QByteArray& head) {
    const QList<QByteArray> lines = head.split('\n');
    const QList<QByteArray> start = lines.value(0).trimmed().split(' ');
    if (start.size() != 3 || !start[2].startsWith("HTTP/1.")) return std::nullopt;
    RequestHead out;
    out.method = start[0];
    out.target = QUrl(QString::fromLatin1(start[1]));
    std::optional<qint64> length;
    for (qsizetype i = 1; i < lines.size(); ++i) {
        const QByteArray line = lines[i].trimmed();
        const qsizetype colon = line.indexOf(':');
        if (colon <= 0) continue;
        const QByteArray name = line.left(colon).trimmed().toLower();
        const QByteArray value = line.mid(colon + 1).trimmed();
        if (name == "content-length") {
            bool ok = false;
            const qint64 n = value.toLongLong(&ok);
            if (!ok || n < 0 || (length && *length != n)) return std::nullopt;
            length = n;
        } else if (name == "transfer-encoding") {
            out.chunked = true;
        } else if (name == "upgrade") {
            out.upgrade = value.toLower().contains("websocket");
        } else if (name == "authorization" && value.startsWith("Bearer ")) {
            out.bearer = QString::fromUtf8(value.mid(7).trimmed());
        }
    }
    out.contentLength = length.value_or(0);
    return out;
}

} // namespace

void ConnectionGuard::watch(QTcpSocket* socket, const Screen& screen, int timeoutMs) {
    new ConnectionGuard(socket, screen, timeoutMs);
}

ConnectionGuard::ConnectionGuard(QTcpSocket* socket, const Screen& screen, int timeoutMs)
    : QObject(socket), m_socket(socket), m_screen(screen), m_timeoutMs(timeoutMs),
      m_deadline(new QTimer(this)) {
    m_deadline->setSingleShot(true);
    connect(m_deadline, &QTimer::timeout, m_socket, &QTcpSocket::abort);
    connect(m_socket, &QIODevice::readyRead, this, &ConnectionGuard::onReadable);
    // A client still taking in a long reply is not idle.
    connect(m_socket, &QIODevice::bytesWritten, this, [this] {
        if (m_bodyLeft < 0 && !m_refused) restartDeadline(m_timeoutMs);
    });
    restartDeadline(m_timeoutMs);
}

void ConnectionGuard::restartDeadline(qint64 ms) {
    m_deadline->start(static_cast<int>(std::min<qint64>(ms, std::numeric_limits<int>::max())));
}

void ConnectionGuard::onReadable() {
    if (!m_socket->isOpen()) return;
    // Qt's parser reads everything after this slot, so each byte shows here once.
    const QByteArray data = m_socket->peek(m_socket->bytesAvailable());
    qsizetype at = 0;
    while (at < data.size())
        if (!step(data, at)) return;
}

bool ConnectionGuard::step(const QByteArray& data, qsizetype& at) {
    if (m_bodyLeft >= 0) {
        const qint64 take = std::min<qint64>(m_bodyLeft, data.size() - at);
        at += take;
        m_bodyLeft -= take;
        if (m_bodyLeft == 0) {
            m_bodyLeft = -1;
            restartDeadline(m_timeoutMs);
        }
        return true;
    }
    // Look for the end of the head across the old tail and the new bytes.
    const qsizetype before = m_head.size();
    m_head.append(data.constData() + at, data.size() - at);
    const qsizetype end = m_head.indexOf(kHeadEnd, std::max<qsizetype>(0, before - 3));
    if (end < 0) {
        at = data.size();
        if (m_head.size() > kMaxHeadBytes) {
            refuse({431, QStringLiteral("the request head is too large")});
            return false;
        }
        return true;
    }
    at += end + kHeadEnd.size() - before;
    m_head.truncate(end);
    return finishHead();
}

bool ConnectionGuard::finishHead() {
    const QByteArray head = std::exchange(m_head, {});
    if (head.size() > kMaxHeadBytes) {
        refuse({431, QStringLiteral("the request head is too large")});
        return false;
    }
    const auto parsed = parseHead(head);
    if (!parsed) {
        refuse({400, QStringLiteral("malformed request")});
        return false;
    }
    if (const auto refusal = m_screen(*parsed)) {
        refuse(*refusal);
        return false;
    }
    if (parsed->upgrade) {
        // The WebSocket server takes the socket over from here.
        release();
        return false;
    }
    m_bodyLeft = parsed->contentLength;
    if (m_bodyLeft == 0) {
        m_bodyLeft = -1;
        restartDeadline(m_timeoutMs);
    } else {
        restartDeadline(m_timeoutMs + 1000 * (m_bodyLeft / kMinBodyBytesPerSecond));
    }
    return true;
}

void ConnectionGuard::refuse(const Refusal& refusal) {
    const QByteArray body = QJsonDocument(QJsonObject{{QStringLiteral("error"), refusal.message}})
                                .toJson(QJsonDocument::Compact);
    const QByteArray reply =
        "HTTP/1.1 " + QByteArray::number(refusal.status) + ' ' + reasonPhrase(refusal.status) +
        "\r\nContent-Type: application/json\r\nContent-Length: " + QByteArray::number(body.size()) +
        "\r\nConnection: close\r\n\r\n" + body;
    // Nobody after this slot may read the bytes that were refused, and the
    // socket stops taking more of them in.
    disconnect(m_socket, &QIODevice::readyRead, nullptr, nullptr);
    m_socket->setReadBufferSize(1);
    m_refused = true;
    m_socket->write(reply);
    m_socket->disconnectFromHost();
    // A peer that never reads its reply is not waited on for long.
    restartDeadline(std::min(m_timeoutMs, 5000));
}

void ConnectionGuard::release() {
    m_deadline->stop();
    disconnect(m_socket, &QIODevice::readyRead, this, nullptr);
    deleteLater();
}
