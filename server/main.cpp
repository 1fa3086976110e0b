#include "Options.h"
#include "Server.h"

#include <QCoreApplication>
#include <csignal>
#include <cstdio>
#include <sys/stat.h>

int main(int argc, char* argv[]) {
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("velmarin-server"));
    int exitCode = 0;
    const auto options = parseOptions(QCoreApplication::arguments(), exitCode);
    if (!options) return exitCode;
    // Tokens, keys, messages and the agent account's secret: every file this
    // process makes is its own account's alone.
    ::umask(077);
    // A client that vanishes mid-write must not take the server down.
    std::signal(SIGPIPE, SIG_IGN);
    try {
        Server server(*options);
        if (const QString error = server.listen(); !error.isEmpty()) {
            std::fprintf(stderr, "velmarin-server: cannot listen on %s\n", qPrintable(error));
            return 3;
        }
        std::printf("velmarin-server ready port=%u http-port=%u fingerprint=%s\n",
                    unsigned(server.port()), unsigned(server.httpPort()),
                    qPrintable(server.fingerprint()));
        std::fflush(stdout);
        return QCoreApplication::exec();
    } catch (const std::exception& e) {
        std::fprintf(stderr, "velmarin-server: %s\n", e.what());
        return 1;
    }
}
