#include "ui/SingleInstance.h"

#include <QCryptographicHash>
#include <QLocalServer>
#include <QLocalSocket>
#include <unistd.h>

namespace {
// Messages are one line of UTF-8; a link longer than this is no link.
constexpr qint64 maxMessage = 64 * 1024;
} // namespace

SingleInstance::SingleInstance(const QString& key, QObject* parent)
    : QObject(parent), m_name(serverName(key)) {}

SingleInstance::~SingleInstance() = default;

QString SingleInstance::serverName(const QString& key) {
    const QByteArray digest =
        QCryptographicHash::hash(key.toUtf8(), QCryptographicHash::Sha256).toHex().left(16);
    return QStringLiteral("velmarin-%1-%2").arg(::getuid()).arg(QString::fromLatin1(digest));
}

bool SingleInstance::handOff(const QString& message, int timeoutMs) const {
    QLocalSocket socket;
    socket.connectToServer(m_name);
    if (!socket.waitForConnected(timeoutMs)) return false;
    socket.write(message.toUtf8() + '\n');
    if (!socket.waitForBytesWritten(timeoutMs)) return false;
    // The running app closes the link once it has read the line.
    socket.waitForDisconnected(timeoutMs);
    return true;
}

bool SingleInstance::listen() {
    if (m_server) return true;
    m_server = new QLocalServer(this);
    m_server->setSocketOptions(QLocalServer::UserAccessOption);
    if (!m_server->listen(m_name)) {
        // A socket file left by a crashed app: nobody answered handOff, so take it over.
        QLocalServer::removeServer(m_name);
        if (!m_server->listen(m_name)) return false;
    }
    connect(m_server, &QLocalServer::newConnection, this, &SingleInstance::acceptConnection);
    return true;
}

void SingleInstance::acceptConnection() {
    while (QLocalSocket* socket = m_server->nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
            if (!socket->canReadLine()) {
                if (socket->bytesAvailable() > maxMessage) socket->abort();
                return;
            }
            const QString message = QString::fromUtf8(socket->readLine(maxMessage)).trimmed();
            socket->disconnectFromServer();
            emit messageReceived(message);
        });
    }
}
