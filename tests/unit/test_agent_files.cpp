#include "agent/Files.h"
#include "store/Store.h"
#include "support/AgentFixtures.h"
#include "support/TestSupport.h"

#include <QCoroTask>
#include <QFile>
#include <QJsonArray>
#include <QTest>

using namespace fixtures;

namespace {
// A host that serves `text` in pieces of `piece` characters, or an error.
std::function<std::optional<QJsonObject>(const QJsonObject&)> reader(QString text, int piece,
                                                                     QString err = {}) {
    return [=](const QJsonObject& r) -> std::optional<QJsonObject> {
        if (!err.isEmpty()) return QJsonObject{{"err", err}};
        const qint64 offset = r.value("offset").toInteger();
        const QString part = text.mid(offset, piece);
        const qint64 next = offset + part.size();
        return QJsonObject{{"text", part}, {"next", next}, {"eof", next >= text.size()}};
    };
}
} // namespace

// Remote files over control requests: listings, chunked reads and writes.
class TestAgentFiles : public QObject {
    Q_OBJECT

    std::unique_ptr<ScopedPrefs> prefs;

private slots:
    void init() { prefs = std::make_unique<ScopedPrefs>(); }
    void cleanup() { prefs.reset(); }

    void chunksKeepCharactersWhole_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("maxBytes");
        QTest::addColumn<QStringList>("pieces");
        QTest::newRow("empty") << "" << 10 << QStringList{};
        QTest::newRow("ascii") << "abcde" << 2 << QStringList{"ab", "cd", "e"};
        QTest::newRow("two-byte at the edge") << "aaé" << 3 << QStringList{"aa", "é"};
        QTest::newRow("combining mark stays with its letter")
            << "ae\u0301" << 2 << QStringList{"a", "e\u0301"};
        QTest::newRow("a long cluster goes alone")
            << "a👨‍👩‍👧b" << 5 << QStringList{"a", "👨‍👩‍👧", "b"};
        QTest::newRow("surrogate pair") << "ab😀" << 5 << QStringList{"ab", "😀"};
    }

    void chunksKeepCharactersWhole() {
        QFETCH(QString, text);
        QFETCH(int, maxBytes);
        QFETCH(QStringList, pieces);
        QCOMPARE(Store::chunkUTF8(text, maxBytes), pieces);
    }

    void sixtyThousandBytesGoInThreeRequests() {
        // A three-byte character straddles the first 28000-byte boundary.
        QString text = QString(27999, 'a') + QStringLiteral("€");
        text += QString(60000 - text.toUtf8().size(), 'b');
        QCOMPARE(text.toUtf8().size(), 60000);
        const QList<CCWriteStep> plan = ccWritePlan(text);
        QCOMPARE(plan.size(), 3);
        QCOMPARE(plan[0].append, false);
        QCOMPARE(plan[1].append, true);
        QCOMPARE(plan[2].append, true);
        QCOMPARE(plan[0].content.toUtf8().size(), 27999);
        QVERIFY(plan[1].content.startsWith(QStringLiteral("€")));
        QString joined;
        for (const CCWriteStep& step : plan) {
            QVERIFY(step.content.toUtf8().size() <= 28000);
            joined += step.content;
        }
        QCOMPARE(joined, text);

        HostEcho echo;
        echo.host = [](const QJsonObject&) { return QJsonObject{{"ok", true}}; };
        auto store = storeOn(echo);
        QVERIFY(QCoro::waitFor(store->ccWriteClaudeMd(sessionId, text)));
        const auto requests = requestsFor(echo, "writeclaudemd");
        QCOMPARE(requests.size(), 3);
        QString received;
        for (int i = 0; i < 3; ++i) {
            QCOMPARE(requests[i].value("append").toBool(), i > 0);
            QCOMPARE(requests[i].value("chatId").toInteger(), sessionId);
            received += requests[i].value("content").toString();
        }
        QCOMPARE(received, text);
    }

    void emptiedFileIsOneEmptyRequest() {
        QCOMPARE(ccWritePlan(""), (QList<CCWriteStep>{{"", false}}));
        HostEcho echo;
        echo.host = [](const QJsonObject&) { return QJsonObject{{"ok", true}}; };
        auto store = storeOn(echo);
        QVERIFY(QCoro::waitFor(store->ccWriteEnvFile(sessionId, ".env", "")));
        QCOMPARE(echo.requests.size(), 1);
        QCOMPARE(echo.requests[0].value("name").toString(), ".env");
        QCOMPARE(echo.requests[0].value("content").toString(), "");
        QCOMPARE(echo.requests[0].value("append"), QJsonValue(false));
    }

    void firstRefusalEndsTheWrite() {
        HostEcho echo;
        int calls = 0;
        echo.host = [&calls](const QJsonObject&) { return QJsonObject{{"ok", ++calls < 2}}; };
        auto store = storeOn(echo);
        QVERIFY(!QCoro::waitFor(store->ccWriteClaudeMd(sessionId, QString(60000, 'x'))));
        QCOMPARE(echo.requests.size(), 2);
    }

    void wholeTextReads_data() {
        QTest::addColumn<QString>("err");
        QTest::addColumn<bool>("stuck");
        QTest::addColumn<QString>("expected"); // "nil" for no result
        QTest::addColumn<int>("requests");
        QTest::newRow("in pieces") << "" << false << "0123456789" << 4;
        QTest::newRow("nothing written yet") << "not a file" << false << "" << 1;
        QTest::newRow("other failure") << "permission denied" << false << "nil" << 1;
        QTest::newRow("a host that does not advance") << "" << true << "012" << 1;
    }

    void wholeTextReads() {
        QFETCH(QString, err);
        QFETCH(bool, stuck);
        QFETCH(QString, expected);
        QFETCH(int, requests);
        HostEcho echo;
        if (stuck)
            echo.host = [](const QJsonObject& r) {
                return QJsonObject{{"text", "012"}, {"next", r.value("offset")}, {"eof", false}};
            };
        else
            echo.host = reader("0123456789", 3, err);
        auto store = storeOn(echo);
        const auto text = QCoro::waitFor(store->ccReadClaudeMd(sessionId));
        QCOMPARE(text.value_or("nil"), expected);
        QCOMPARE(echo.requests.size(), requests);
        QCOMPARE(echo.requests.last().value("op").toString(), "readclaudemd");
    }

    void viewerReads_data() {
        QTest::addColumn<qint64>("size");
        QTest::addColumn<QString>("err");
        QTest::addColumn<bool>("truncated");
        QTest::addColumn<QString>("error"); // empty: none
        QTest::newRow("exactly the cap") << fileViewerCap << "" << false << "";
        QTest::newRow("over the cap") << fileViewerCap + 1 << "" << true << "";
        QTest::newRow("binary") << 10ll << "binary" << false << "binary";
    }

    void viewerReads() {
        QFETCH(qint64, size);
        QFETCH(QString, err);
        QFETCH(bool, truncated);
        QFETCH(QString, error);
        HostEcho echo;
        const qint64 piece = 131072;
        echo.host = [=](const QJsonObject& r) -> std::optional<QJsonObject> {
            if (!err.isEmpty()) return QJsonObject{{"err", err}};
            const qint64 offset = r.value("offset").toInteger();
            const qint64 next = std::min(size, offset + piece);
            return QJsonObject{{"text", QString(next - offset, 'x')},
                               {"next", next},
                               {"eof", next == size},
                               {"size", size}};
        };
        auto store = storeOn(echo);
        const CCFileView view = QCoro::waitFor(store->ccReadFileForViewer("/a", fileViewerCap));
        QCOMPARE(view.truncated, truncated);
        QCOMPARE(view.error.value_or(""), error);
        if (error.isEmpty()) QCOMPARE(view.text.size(), std::min(size, fileViewerCap));
    }

    void envFileNames_data() {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("name"); // empty: refused
        QTest::newRow("plain") << ".env"
                               << ".env";
        QTest::newRow("trimmed") << " \t.env.local "
                                 << ".env.local";
        QTest::newRow("prefix test only") << ".environment"
                                          << ".environment";
        QTest::newRow("no folders") << ".env/x"
                                    << "";
        QTest::newRow("wrong start") << "env"
                                     << "";
    }

    void envFileNames() {
        QFETCH(QString, typed);
        QFETCH(QString, name);
        QCOMPARE(validEnvFileName(typed).value_or(""), name);
    }

    void sizes_data() {
        QTest::addColumn<qint64>("bytes");
        QTest::addColumn<QString>("text");
        QTest::newRow("bytes") << 1023ll << "1023 B";
        QTest::newRow("fraction") << 1536ll << "1.5 KB";
        QTest::newRow("whole") << 10240ll << "10 KB";
        QTest::newRow("cap") << 524288ll << "512 KB";
        QTest::newRow("megabytes") << 5ll * 1024 * 1024 << "5.0 MB";
        QTest::newRow("no unit past GB") << 3ll * 1024 * 1024 * 1024 * 1024 << "3072 GB";
    }

    void sizes() {
        QFETCH(qint64, bytes);
        QFETCH(QString, text);
        QCOMPARE(sizeString(bytes), text);
    }

    void icons_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("icon");
        QTest::newRow("code") << "main.CPP"
                              << "chevron.left.forwardslash.chevron.right";
        QTest::newRow("config") << "Cargo.lock"
                                << "doc.text.fill";
        QTest::newRow("text") << "README.md"
                              << "doc.plaintext";
        QTest::newRow("image") << "a.heic"
                               << "photo";
        QTest::newRow("pdf") << "x.pdf"
                             << "doc.richtext";
        QTest::newRow("archive") << "x.tar.gz"
                                 << "archivebox";
        QTest::newRow("web") << "index.htm"
                             << "globe";
        QTest::newRow("dot file") << ".env"
                                  << "gearshape";
        QTest::newRow("other") << "Makefile"
                               << "doc";
    }

    void icons() {
        QFETCH(QString, name);
        QFETCH(QString, icon);
        QCOMPARE(fileIcon(name), icon);
    }

    void listings() {
        const QJsonObject ls{
            {"path", "/Users/me"},
            {"dirs",
             QJsonArray{QJsonObject{{"n", "src"},
                                    {"p", "/Users/me/src"},
                                    {"d", QJsonArray{QJsonObject{{"n", "a"}, {"p", "/a"}}}}}}}};
        const CCListing listing = listingFromReply(ls, "~");
        QCOMPARE(listing.path, "/Users/me");
        QVERIFY(!listing.parent);
        QCOMPARE(listing.dirs.size(), 1);
        QCOMPARE(listing.dirs[0].children->first().path, "/a");
        QCOMPARE(listingFromReply(QJsonObject{}, "~").path, "~");

        const QJsonObject lsdir{{"path", "/"},
                                {"entries", QJsonArray{QJsonObject{{"n", "etc"}, {"d", true}},
                                                       QJsonObject{{"n", "a.txt"}, {"s", 12}}}}};
        const auto dir = dirListingFromReply(lsdir, "/");
        QCOMPARE(dir->entries[0].path, "/etc");
        QVERIFY(dir->entries[0].isDir);
        QCOMPARE(dir->entries[1].size, 12);
        QVERIFY(!dir->truncated);
        QCOMPARE(entryPath("/srv/app", "x"), "/srv/app/x");
        QVERIFY(!dirListingFromReply({{"err", "no such folder"}}, "/x"));
        const auto blocked = dirListingFromReply({{"err", "blocked"},
                                                  {"blocked", true},
                                                  {"entries", QJsonArray{QJsonObject{{"n", "a"}}}}},
                                                 "/Users/me/Desktop");
        QVERIFY(blocked && blocked->blocked && blocked->entries.isEmpty());
    }

    void envFileList() {
        HostEcho echo;
        QJsonObject reply{{"files", QJsonArray{".env", ".env.local"}}};
        echo.host = [&reply](const QJsonObject&) { return reply; };
        auto store = storeOn(echo);
        QCOMPARE(QCoro::waitFor(store->ccListEnvFiles(sessionId)),
                 (QStringList{".env", ".env.local"}));
        reply = {{"files", QJsonArray{".env", 3}}};
        QCOMPARE(QCoro::waitFor(store->ccListEnvFiles(sessionId)), QStringList{});
        reply = {{"err", "no folder"}};
        QVERIFY(!QCoro::waitFor(store->ccListEnvFiles(sessionId)));
    }

    void newSessionTakesItsIdAsNumberOrText() {
        HostEcho echo;
        echo.host = [](const QJsonObject&) { return QJsonObject{{"chatId", "4242"}}; };
        auto store = storeOn(echo);
        const auto id =
            QCoro::waitFor(store->ccCreateSession("/srv/app", Config::CCPermission::dangerous));
        QCOMPARE(id, 4242);
        QCOMPARE(store->ccPermission(4242), Config::CCPermission::dangerous);
        QCOMPARE(echo.requests[0].value("path").toString(), "/srv/app");
        QCOMPARE(echo.requests[0].value("perm").toString(), "dangerous");
    }

    void downloadKeepsTheName() {
        HostEcho echo;
        echo.file = "file body";
        echo.host = [](const QJsonObject& r) -> std::optional<QJsonObject> {
            if (r.value("path").toString() == "/missing") return QJsonObject{{"err", "not found"}};
            return QJsonObject{{"url", "/files/1"}};
        };
        auto store = storeOn(echo);
        const auto url = QCoro::waitFor(store->ccDownloadFile(sessionId, "/srv/a.txt", "a.txt"));
        QVERIFY(url && url->isLocalFile());
        QCOMPARE(url->fileName(), "a.txt");
        QFile file(url->toLocalFile());
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), "file body");
        QVERIFY(!QCoro::waitFor(store->ccDownloadFile(sessionId, "/missing", "x")));
    }
};

QTEST_GUILESS_MAIN(TestAgentFiles)
#include "test_agent_files.moc"
