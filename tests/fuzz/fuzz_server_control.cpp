// Control requests as the agent host receives them from people: any message
// text in a session conversation or in the owner's conversation with
// themselves. Input: a first byte that picks the conversation, then the text;
// a text without the control prefix gets it, so the JSON reader is reached.
#include "agent/AgentHost.h"

#include <QCoreApplication>
#include <QTemporaryDir>
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
    std::unique_ptr<AgentHost> host;
    qint64 ownerId = 0;
    qint64 selfChat = 0;
    qint64 session = 0;

    Harness() {
        options.dataDir = dir.path();
        options.owner = QStringLiteral("alice");
        options.agentSandbox = dir.filePath(QStringLiteral("sandbox"));
        identity = loadOrCreateIdentity(dir.path());
        db = std::make_unique<Storage>(dir.path());
        hub = std::make_unique<WsHub>(*db);
        ctx = std::make_unique<Context>(Context{options, identity, *db, *hub, {}, {}, {}});
        host = std::make_unique<AgentHost>(*ctx);
        ctx->agentHost = host.get();
        ownerId = db->createUser(QStringLiteral("alice"), false, false).id;
        selfChat = db->createChat(QStringLiteral("direct"), QString(), ownerId, {});
        QDir(options.agentSandbox).mkpath(QStringLiteral("proj/src"));
        session = host->openSession(ownerId, QStringLiteral("/proj"), QStringLiteral("ask"));
    }

    void request(uint8_t where, const QByteArray& bytes) {
        QString text = QString::fromUtf8(bytes);
        if (!text.startsWith(u'\x02'))
            text.prepend(QStringLiteral("\x02"
                                        "CCCTL"));
        MessageRow m;
        m.id = 1;
        m.chatId = where % 2 ? session : selfChat;
        m.senderId = ownerId;
        m.senderName = QStringLiteral("alice");
        m.text = text;
        host->handleControl(m);
    }
};

Harness& harness() {
    static int argc = 1;
    static char name[] = "fuzz_server_control";
    static char* argv[] = {name, nullptr};
    static QCoreApplication app(argc, argv);
    static Harness h;
    return h;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Harness& h = harness();
    if (size == 0) return 0;
    h.request(data[0], QByteArray(reinterpret_cast<const char*>(data) + 1, qsizetype(size - 1)));
    return 0;
}
