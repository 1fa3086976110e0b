// The session views' models against the real server and its simulated agent
// host: starting a session from the folder browser, settings that reach the
// host, browsing and viewing files, saving CLAUDE.md and env files.
#include "agent/Files.h"
#include "support/Accounts.h"
#include "support/AgentTestKit.h"
#include "support/ClientEnv.h"
#include "support/ServerProcess.h"
#include "support/StoreSeam.h"
#include "ui/FolderBrowserModel.h"
#include "ui/RemoteFilesModel.h"
#include "ui/SessionSettingsModel.h"
#include "ui/TextFileEditorModel.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace {

QStringList names(const QVariantList& rows, const char* key = "name") {
    QStringList out;
    for (const QVariant& row : rows)
        out << row.toMap().value(QLatin1String(key)).toString();
    return out;
}

QByteArray readDisk(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<missing>");
}

void writeDisk(const QString& path, const QByteArray& data) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(data);
}

} // namespace

class TestSessionViews : public QObject {
    Q_OBJECT

    QTemporaryDir m_sandbox;
    std::unique_ptr<ServerProcess> m_server;
    std::unique_ptr<ClientEnv> m_env;
    std::unique_ptr<Store> m_store;
    std::unique_ptr<ServerClient> m_owner;
    qint64 m_session = 0;

    QString onDisk(const QString& relative) const { return m_sandbox.filePath(relative); }

    // What the host itself holds for the session.
    QJsonObject hostPrefs() {
        const auto reply =
            agentkit::request(*m_owner, agentkit::selfChat(*m_owner), QStringLiteral("getprefs"),
                              {}, {{QStringLiteral("chatId"), m_session}});
        return reply.value_or(QJsonObject());
    }

private slots:
    void initTestCase() {
        writeDisk(onDisk(QStringLiteral("proj/README.md")), "# Project\n\nHello from the Mac.\n");
        writeDisk(onDisk(QStringLiteral("proj/.env")), "API_URL=https://api.test\n");
        writeDisk(onDisk(QStringLiteral("proj/src/app.ts")), "export const x = 1;\n");
        // Over the viewer's cap, so it is cut.
        writeDisk(onDisk(QStringLiteral("proj/big.log")),
                  QByteArray(600 * 1024, 'a').replace(0, 4, "log\n"));
        m_server = std::make_unique<ServerProcess>(ServerProcess::Options{
            {QStringLiteral("bob")},
            QStringLiteral("owner"),
            {QStringLiteral("--agent-host"), QStringLiteral("--agent-pace-ms"),
             QStringLiteral("20"), QStringLiteral("--agent-sandbox"), m_sandbox.path()}});
        QVERIFY2(m_server->start(), qPrintable(m_server->errorString()));
        m_env = std::make_unique<ClientEnv>();
        m_store = launchSignedIn(*m_server, QStringLiteral("owner"));
        // The store's key now guards the owner: this client is a second device.
        m_owner = std::make_unique<ServerClient>(
            m_server->httpUrl(), *signIn(*m_server, QStringLiteral("owner")).api.token);
    }

    void cleanupTestCase() {
        m_store.reset();
        m_env.reset();
    }

    // Walk from home into the project, make a folder, come back up, and
    // start a session there with the access level chosen in the browser.
    void folderBrowserStartsASession() {
        FolderBrowserModel browser(m_store.get());
        QVERIFY(await(browser.list(QStringLiteral("~"), true)));
        QCOMPARE(browser.path(), "/");
        QVERIFY(!browser.hasParent());
        QVERIFY(names(browser.folders()).contains("proj"));

        QVERIFY(await(browser.list(QStringLiteral("/proj"), false)));
        QCOMPARE(browser.depth(), 2);
        QVERIFY(browser.hasParent());
        QCOMPARE(names(browser.folders()), QStringList{"src"});

        QVERIFY(await(browser.makeFolder(QStringLiteral("  fresh "))));
        QCOMPARE(browser.path(), "/proj/fresh");
        QVERIFY(QFileInfo(onDisk(QStringLiteral("proj/fresh"))).isDir());
        QVERIFY(browser.folders().isEmpty());
        browser.upLevel();
        QCOMPARE(browser.path(), "/proj");
        QCOMPARE(names(browser.folders()), (QStringList{"fresh", "src"}));

        browser.setPermission(QStringLiteral("dangerous"));
        browser.setPermission(QStringLiteral("bogus"));
        QCOMPARE(browser.permission(), "dangerous");
        const std::optional<qint64> chatId = await(browser.startSession());
        QVERIFY(chatId && *chatId > 0);
        m_session = *chatId;
        const ChatSummary* chat = m_store->chat(m_session);
        QVERIFY(chat);
        QVERIFY(m_store->isClaudeSessionChat(*chat));
        QCOMPARE(hostPrefs().value("perm").toString(), "dangerous");
        QCOMPARE(hostPrefs().value("workdir").toString(), "/proj");
    }

    // A host that does not answer: every view says so, and nothing typed is lost.
    void viewsWithoutAHost() {
        auto env = std::make_unique<ClientEnv>();
        ServerProcess bare;
        QVERIFY2(bare.start(), qPrintable(bare.errorString()));
        auto store = launchSignedIn(bare, QStringLiteral("alice"), 0.002);
        const qint64 chat = 42;

        FolderBrowserModel browser(store.get());
        QVERIFY(!await(browser.list(QStringLiteral("~"), true)));
        QVERIFY(browser.failed());
        QVERIFY(!browser.loading());
        QCOMPARE(browser.depth(), 0);
        QVERIFY(!await(browser.startSession()));

        TextFileEditorModel editor(store.get());
        editor.openClaudeMd(chat);
        QTRY_VERIFY_WITH_TIMEOUT(!editor.loading(), 10000);
        QVERIFY(editor.loadFailed());
        editor.setText(QStringLiteral("keep me"));
        QVERIFY(!await(editor.write()));
        QVERIFY(editor.saveFailed());
        QVERIFY(editor.dirty());
        QCOMPARE(editor.text(), "keep me");

        SessionSettingsModel settings(store.get());
        settings.setChatId(chat);
        await(settings.loadEnvFiles());
        QVERIFY(settings.envLoadFailed());
        QVERIFY(settings.envFiles().isEmpty());

        RemoteFilesModel files(store.get());
        await(files.view(QStringLiteral("/x.txt"), QStringLiteral("x.txt")));
        QCOMPARE(files.viewer().value("error").toString(), "unreachable");
        files.openExplorer(chat);
        QTRY_VERIFY_WITH_TIMEOUT(files.level().value("failed").toBool(), 10000);
        QCOMPARE(files.level().value("path").toString(), "~");
    }

    void settingsReachTheHost() {
        SessionSettingsModel settings(m_store.get());
        settings.setChatId(m_session);
        await(settings.sync());
        QVERIFY(settings.isSession());
        QCOMPARE(settings.workdir(), "/proj");

        // The header offers the sheet on the session, not on a talk with a person.
        ServerClient bob(m_server->httpUrl());
        QVERIFY(!bob.login(QStringLiteral("bob")).isEmpty());
        const qint64 direct = m_owner
                                  ->post(QStringLiteral("api/chats"),
                                         {{QStringLiteral("kind"), QStringLiteral("direct")},
                                          {QStringLiteral("userId"), agentkit::myId(bob)}})
                                  .json.value(QStringLiteral("id"))
                                  .toInteger();
        QTRY_VERIFY_WITH_TIMEOUT(m_store->chat(direct), 10000);
        m_store->setSelectedChatId(direct);
        QVERIFY(!settings.selectedIsSession());
        m_store->setSelectedChatId(m_session);
        QVERIFY(settings.selectedIsSession());
        QCOMPARE(settings.permission(), "dangerous");

        // The inherited entry comes first and names the model it stands for.
        const QVariantList models = settings.modelOptions();
        QVERIFY(models.size() > 1);
        QCOMPARE(models.first().toMap().value("value").toString(), QString());
        QVERIFY(models.first().toMap().value("label").toString().endsWith(" (default)"));
        const QString picked = models.last().toMap().value("value").toString();

        QSignalSpy changed(&settings, &SessionSettingsModel::prefsChanged);
        settings.setPermission(QStringLiteral("ask"));
        settings.setEffort(QStringLiteral("max"));
        settings.setModel(picked);
        settings.setChrome(true);
        // What the sheet shows at once is the choice, before the host answers.
        QCOMPARE(settings.effort(), "max");
        QCOMPARE(settings.model(), picked);
        QVERIFY(changed.size() >= 4);
        QTRY_VERIFY_WITH_TIMEOUT(m_store->pendingPrefSync().isEmpty(), 10000);
        QTRY_COMPARE_WITH_TIMEOUT(hostPrefs().value("chrome").toBool(), true, 10000);
        const QJsonObject host = hostPrefs();
        QCOMPARE(host.value("perm").toString(), "ask");
        QCOMPARE(host.value("effort").toString(), "max");
        QCOMPARE(host.value("model").toString(), picked);

        // Values the view cannot name are dropped; an unknown model stays pickable.
        settings.setEffort(QStringLiteral("ultra"));
        QCOMPARE(settings.effort(), "max");
        seam(m_store).ccModelChoices()[m_session] = QStringLiteral("claude-x");
        QCOMPARE(settings.modelOptions().last().toMap().value("label").toString(), "claude-x");
        seam(m_store).ccModelChoices()[m_session] = picked;
    }

    void explorerListsAndViews() {
        RemoteFilesModel files(m_store.get());
        files.openExplorer(m_session);
        QTRY_VERIFY_WITH_TIMEOUT(!files.level().value("loading").toBool(), 10000);
        QCOMPARE(files.level().value("path").toString(), "/proj");
        const QVariantList entries = files.level().value("entries").toList();
        // Folders first, as the host sends them; paths joined with one "/".
        QCOMPARE(names(entries).first(), "fresh");
        QVERIFY(names(entries).contains(".env"));
        QVERIFY(names(entries, "path").contains("/proj/README.md"));
        for (const QVariant& e : entries) {
            const QVariantMap entry = e.toMap();
            if (entry.value("name") == "big.log")
                QCOMPARE(entry.value("sizeText").toString(), "600 KB");
            if (entry.value("name") == ".env")
                QCOMPARE(entry.value("icon").toString(), "gearshape");
            if (entry.value("name") == "src")
                QCOMPARE(entry.value("icon").toString(), "folder.fill");
        }

        files.openDir(QStringLiteral("/proj/src"), QStringLiteral("src"));
        QCOMPARE(files.depth(), 2);
        QTRY_COMPARE_WITH_TIMEOUT(names(files.level().value("entries").toList()),
                                  QStringList{"app.ts"}, 10000);
        files.back();
        QCOMPARE(files.level().value("path").toString(), "/proj");

        // Only files can be selected.
        files.setSelecting(true);
        files.toggleSelected(QStringLiteral("/proj/src"));
        files.toggleSelected(QStringLiteral("/proj/README.md"));
        QCOMPARE(files.selectedCount(), 1);
        files.toggleSelected(QStringLiteral("/proj/README.md"));
        QCOMPARE(files.selectedCount(), 0);
    }

    void viewerReadsUpToTheCap_data() {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<bool>("truncated");
        QTest::addColumn<bool>("failed");
        QTest::newRow("small") << "/proj/README.md" << readDisk(onDisk("proj/README.md")) << false
                               << false;
        QTest::newRow("over the cap") << "/proj/big.log" << QByteArray() << true << false;
        QTest::newRow("missing") << "/proj/none.txt" << QByteArray() << false << true;
    }
    void viewerReadsUpToTheCap() {
        QFETCH(QString, path);
        QFETCH(QByteArray, text);
        QFETCH(bool, truncated);
        QFETCH(bool, failed);
        RemoteFilesModel files(m_store.get());
        await(files.view(path, QFileInfo(path).fileName()));
        const QVariantMap viewer = files.viewer();
        QCOMPARE(viewer.value("loading").toBool(), false);
        QCOMPARE(viewer.value("truncated").toBool(), truncated);
        QCOMPARE(!viewer.value("error").toString().isEmpty(), failed);
        if (!text.isEmpty()) QCOMPARE(viewer.value("text").toString().toUtf8(), text);
        if (truncated) {
            const qsizetype size = viewer.value("text").toString().size();
            QVERIFY(size >= fileViewerCap / 2 && size <= fileViewerCap + 64 * 1024);
            QVERIFY(size < 600 * 1024);
            QCOMPARE(viewer.value("capText").toString(), "512 KB");
        }
    }

    void selectedFilesSaveIntoAFolder() {
        RemoteFilesModel files(m_store.get());
        files.openExplorer(m_session);
        QTRY_VERIFY_WITH_TIMEOUT(!files.level().value("loading").toBool(), 10000);
        files.setSelecting(true);
        files.toggleSelected(QStringLiteral("/proj/README.md"));
        files.toggleSelected(QStringLiteral("/proj/.env"));
        QSignalSpy ready(&files, &RemoteFilesModel::readyToSave);
        files.fetchSelected();
        QTRY_COMPARE_WITH_TIMEOUT(ready.size(), 1, 15000);
        QCOMPARE(files.downloaded().size(), 2);
        QTemporaryDir target;
        QVERIFY(files.saveInto(QUrl::fromLocalFile(target.path())));
        QCOMPARE(readDisk(target.filePath("README.md")), readDisk(onDisk("proj/README.md")));
        QCOMPARE(readDisk(target.filePath(".env")), readDisk(onDisk("proj/.env")));
        QVERIFY(!files.selecting());

        // A file that is not there: no save, the failure shows.
        QVERIFY(!await(files.fetch({CCEntry{"gone.txt", "/proj/gone.txt", false, 0}})));
        QVERIFY(files.saveFailed());
        QCOMPARE(files.saveCount(), 0);
    }

    void claudeMdIsWrittenWhole() {
        TextFileEditorModel editor(m_store.get());
        editor.openClaudeMd(m_session);
        QTRY_VERIFY_WITH_TIMEOUT(!editor.loading(), 10000);
        // Nothing written yet is an empty file, not a failure.
        QVERIFY(!editor.loadFailed());
        QCOMPARE(editor.text(), QString());
        QCOMPARE(editor.title(), "CLAUDE.md");

        // Long enough for several requests, with characters on the cuts.
        QString text = QStringLiteral("# Rules\n");
        while (text.toUtf8().size() < 70000)
            text += QStringLiteral("Ünïcødé 🚀 line\n");
        editor.setText(text);
        QVERIFY(editor.dirty());
        QVERIFY(await(editor.write()));
        QVERIFY(!editor.dirty());
        QCOMPARE(readDisk(onDisk("proj/CLAUDE.md")), text.toUtf8());

        TextFileEditorModel again(m_store.get());
        again.openClaudeMd(m_session);
        QTRY_VERIFY_WITH_TIMEOUT(!again.loading(), 15000);
        QCOMPARE(again.text(), text);

        // Emptying it really empties it.
        again.setText(QString());
        QVERIFY(await(again.write()));
        QCOMPARE(readDisk(onDisk("proj/CLAUDE.md")), QByteArray());
    }

    void envFilesAreListedAndSaved() {
        SessionSettingsModel settings(m_store.get());
        settings.setChatId(m_session);
        await(settings.loadEnvFiles());
        QVERIFY(settings.envLoaded());
        QVERIFY(!settings.envLoadFailed());
        QCOMPARE(settings.envFiles(), QStringList{".env"});

        QCOMPARE(settings.acceptedEnvFileName(QStringLiteral(" .env.local\t")), ".env.local");
        QCOMPARE(settings.acceptedEnvFileName(QStringLiteral(".env/x")), QString());
        QCOMPARE(settings.acceptedEnvFileName(QStringLiteral("env")), QString());
        QCOMPARE(settings.acceptedEnvFileName(QStringLiteral(".environment")), ".environment");

        TextFileEditorModel editor(m_store.get());
        editor.openEnvFile(m_session, QStringLiteral(".env.local"));
        QTRY_VERIFY_WITH_TIMEOUT(!editor.loading(), 10000);
        QCOMPARE(editor.text(), QString());
        editor.setText(QStringLiteral("DEBUG=1\n"));
        QSignalSpy saved(&editor, &TextFileEditorModel::saved);
        editor.save();
        QTRY_COMPARE_WITH_TIMEOUT(saved.size(), 1, 10000);
        QCOMPARE(readDisk(onDisk("proj/.env.local")), QByteArray("DEBUG=1\n"));
        await(settings.loadEnvFiles());
        QCOMPARE(settings.envFiles(), (QStringList{".env", ".env.local"}));

        // The existing file loads with its content.
        editor.openEnvFile(m_session, QStringLiteral(".env"));
        QTRY_VERIFY_WITH_TIMEOUT(!editor.loading(), 10000);
        QCOMPARE(editor.text().toUtf8(), readDisk(onDisk("proj/.env")));
        QVERIFY(!editor.dirty());
    }
};

QTEST_MAIN(TestSessionViews)
#include "test_session_views.moc"
