#include "net/Download.h"
#include "net/Pinning.h"
#include "store/Store.h"
#include "support/Accounts.h"
#include "support/ClientEnv.h"
#include "support/ServerProcess.h"
#include "ui/ComposerModel.h"
#include "ui/MediaTransfers.h"
#include "ui/TimelineModel.h"

#include <QBuffer>
#include <QDesktopServices>
#include <QFile>
#include <QNetworkAccessManager>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <algorithm>

namespace {

// Incompressible bytes, large enough to arrive in many pieces.
QByteArray randomBytes(qsizetype size) {
    QByteArray data(size, Qt::Uninitialized);
    QRandomGenerator generator(1234);
    for (char& c : data)
        c = char(generator.bounded(256));
    return data;
}

QByteArray readAll(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

// Records what the app hands to the desktop instead of launching anything.
class DesktopStandIn : public QObject {
    Q_OBJECT
public:
    QList<QUrl> opened;
public slots:
    void open(const QUrl& url) { opened.push_back(url); }
};

// Files in messages, fetched on command against the real server: saved to a
// chosen place or opened, over the pinned TLS link of the signed-in store.
class TestMediaTransfers : public QObject {
    Q_OBJECT

    std::unique_ptr<ServerProcess> server;
    std::unique_ptr<ClientEnv> env;
    std::unique_ptr<Store> alice;
    std::unique_ptr<TimelineModel> timeline;
    std::unique_ptr<MediaTransfers> transfers;
    std::optional<Account> bob;
    ChatSummary chat;
    QTemporaryDir folder;

    // The file chip of the newest file message on alice's screen.
    QVariantMap newestFile() {
        for (int row = 0; row < timeline->rowCount(); ++row) {
            const QVariantMap file =
                timeline->data(timeline->index(row), TimelineModel::FileRole).toMap();
            if (!file.isEmpty()) return file;
        }
        return {};
    }

    QVariantMap bobSends(const QByteArray& data, const QString& name) {
        Api::MediaUpload meta;
        meta.kind = "file";
        meta.ext = "bin";
        meta.caption = name;
        await(bob->api.uploadMedia(chat.id, data, meta));
        if (!QTest::qWaitFor([&] { return newestFile().value("name") == name; }, 5000))
            qWarning("the file did not reach alice's timeline");
        return newestFile();
    }

private slots:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        server = std::make_unique<ServerProcess>();
        QVERIFY2(server->start(), qPrintable(server->errorString()));
    }

    void init() {
        env = std::make_unique<ClientEnv>();
        alice = launchSignedIn(*server, "alice");
        bob = signIn(*server, "bob");
        chat = await(bob->api.createGroup(QTest::currentTestFunction(), {alice->me()->id}));
        QTRY_VERIFY_WITH_TIMEOUT(alice->chat(chat.id), 5000);
        alice->setSelectedChatId(chat.id);
        await(alice->openChat(chat.id));
        timeline = std::make_unique<TimelineModel>(alice.get());
        transfers = std::make_unique<MediaTransfers>(alice.get());
    }

    void cleanup() {
        transfers.reset();
        timeline.reset();
        alice.reset();
        env.reset();
    }

    void fileSentByOneClientIsSavedByAnotherByteForByte() {
        // The signed-in store speaks TLS to a pinned key; the file comes that way too.
        QCOMPARE(alice->api()->base.scheme(), QStringLiteral("https"));
        const QByteArray original = randomBytes(3 * 1024 * 1024 + 17);
        const QVariantMap file = bobSends(original, "measurements.bin");
        const QString url = file.value("url").toString();
        QCOMPARE(QUrl(url).scheme(), QStringLiteral("https"));

        QList<double> fractions;
        connect(transfers.get(), &MediaTransfers::progressChanged, this, [&] {
            if (transfers->progress().contains(url))
                fractions.push_back(transfers->progress().value(url).toDouble());
        });
        QSignalSpy saved(transfers.get(), &MediaTransfers::saved);
        const QString target = folder.filePath("saved/measurements.bin");
        QVERIFY(QDir().mkpath(folder.filePath("saved")));
        transfers->save(url, QUrl::fromLocalFile(target));
        transfers->save(url, QUrl::fromLocalFile(target + ".twice")); // already under way
        QVERIFY(saved.wait(20000));
        QCOMPARE(saved.size(), 1);
        QCOMPARE(saved.first().at(1).toString(), target);
        QVERIFY(readAll(target) == original);
        QVERIFY(!QFile::exists(target + ".twice"));
        // The bubble saw the transfer move, and it is gone once done.
        QVERIFY(!fractions.isEmpty());
        QVERIFY(std::is_sorted(fractions.begin(), fractions.end()));
        QVERIFY(std::any_of(fractions.begin(), fractions.end(),
                            [](double f) { return f > 0 && f < 1; }));
        QVERIFY(transfers->progress().isEmpty());
        QCOMPARE(alice->toast().value_or(QString()), QStringLiteral("Saved"));
    }

    // The other way round: alice's composer sends a file with a typed caption;
    // bob gets the file first, then the caption, and his copy is the same bytes.
    void composedFileWithCaptionReachesTheOtherPerson() {
        ComposerModel composer(alice.get());
        const QByteArray original = randomBytes(400 * 1024);
        composer.addFileData("Plan v2.PDF", original);
        composer.setImageCaption("  The plan, as discussed  ");
        QSignalSpy sent(&composer, &ComposerModel::sent);
        composer.sendPendingFiles();
        QVERIFY(composer.pendingFiles().isEmpty());
        QVERIFY(sent.wait(20000));

        const QList<Message> history = await(bob->api.messages(chat.id, std::nullopt));
        QCOMPARE(history.size(), 2);
        QVERIFY(history[0].media && history[0].media->kind == "file");
        QCOMPARE(history[0].media->name.value_or(""), QStringLiteral("Plan v2.PDF"));
        QCOMPARE(history[1].text, QStringLiteral("The plan, as discussed"));
        QVERIFY(!history[1].media);

        QBuffer copy;
        copy.open(QIODevice::WriteOnly);
        const qint64 bytes =
            await(downloadTo(QUrl(server->httpUrl()).resolved(QUrl(history[0].media->url)), copy));
        QCOMPARE(bytes, original.size());
        QVERIFY(copy.data() == original);
    }

    void failedSaveLeavesNoFileAndSaysWhy() {
        const QVariantMap file = bobSends(randomBytes(64 * 1024), "secret.bin");
        const QString url = file.value("url").toString();
        const QString hostPort = PinRegistry::hostPort(QUrl(url));
        const QString pin = *PinRegistry::shared().pin(hostPort);
        QSignalSpy failed(transfers.get(), &MediaTransfers::failed);

        // Another key answering at the pinned address: nothing is written.
        PinRegistry::shared().setPin(QStringLiteral("bm90IHRoZSBzZXJ2ZXIncyBrZXk="), hostPort);
        Api::session().clearConnectionCache(); // a new connection, as after a restart
        const QString target = folder.filePath("refused.bin");
        transfers->save(url, QUrl::fromLocalFile(target));
        QVERIFY(failed.wait(15000));
        PinRegistry::shared().setPin(pin, hostPort);
        QVERIFY(!QFile::exists(target));
        QVERIFY(alice->lastError().value_or("").contains("identity"));

        // A file the server no longer has: an existing file at the target stays as it was.
        QFile existing(target);
        QVERIFY(existing.open(QIODevice::WriteOnly) && existing.write("keep me") == 7);
        existing.close();
        transfers->save(QUrl(url).resolved(QUrl("/media/999999")).toString(),
                        QUrl::fromLocalFile(target));
        QVERIFY(failed.wait(15000));
        QVERIFY(failed.last().at(1).toString().contains("no longer"));
        QCOMPARE(readAll(target), QByteArray("keep me"));
        QVERIFY(transfers->progress().isEmpty());
    }

    void openFetchesOnceAndHandsTheFileToTheDesktop() {
        const QByteArray original = randomBytes(200 * 1024);
        const QString url = bobSends(original, "../notes.txt").value("url").toString();
        DesktopStandIn desktop;
        QDesktopServices::setUrlHandler("file", &desktop, "open");
        QSignalSpy opened(transfers.get(), &MediaTransfers::opened);
        transfers->open(url, "../notes.txt");
        QVERIFY(opened.wait(15000));
        QCOMPARE(desktop.opened.size(), 1);
        const QString path = desktop.opened.first().toLocalFile();
        QVERIFY(path.endsWith("/notes.txt"));
        QVERIFY(path.startsWith(QStandardPaths::writableLocation(QStandardPaths::CacheLocation)));
        QVERIFY(readAll(path) == original);

        // The second time it is the cached file, with no fetch.
        QSignalSpy moved(transfers.get(), &MediaTransfers::progressChanged);
        transfers->open(url, "../notes.txt");
        QCOMPARE(desktop.opened.size(), 2);
        QCOMPARE(desktop.opened.last().toLocalFile(), path);
        QCOMPARE(moved.size(), 0);
        QDesktopServices::unsetUrlHandler("file");
        QFile::remove(path);
    }
};

QTEST_MAIN(TestMediaTransfers)
#include "test_media_transfers.moc"
