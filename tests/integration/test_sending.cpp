#include "agent/MarkerConfig.h"
#include "core/Notifier.h"
#include "store/Store.h"
#include "support/Accounts.h"
#include "support/ClientEnv.h"
#include "support/ServerClient.h"
#include "support/ServerProcess.h"

#include <QDir>
#include <QTemporaryFile>
#include <QTest>

namespace {
const QString standIn = QStringLiteral("This is the test engine's transcript of a voice message.");

QByteArray jpegBytes() {
    return QByteArray("\xFF\xD8\xFF\xE0 not really a photo", 24);
}

Store::MediaUpload upload(QString ext, QString caption = {}, QString kind = "image") {
    Store::MediaUpload item;
    item.data = jpegBytes();
    item.kind = kind;
    item.ext = ext;
    item.caption = caption;
    item.width = 4;
    item.height = 3;
    return item;
}

int count(const QList<Message>& list, const std::function<bool(const Message&)>& test) {
    return int(std::count_if(list.begin(), list.end(), test));
}
} // namespace

// Every way a message leaves the client, against the real server.
class TestSending : public QObject {
    Q_OBJECT

    std::unique_ptr<ServerProcess> server;
    std::unique_ptr<ClientEnv> env;
    std::unique_ptr<Store> alice;
    std::optional<Account> bob;
    ChatSummary chat;

    QList<Message> history() const { return alice->messages().value(chat.id); }
    qint64 lastId() { return history().isEmpty() ? 0 : history().last().id; }
    int mediaFiles() const {
        return int(QDir(server->dataDir() + "/media").entryList(QDir::Files).size());
    }

private slots:
    void initTestCase() {
        ServerProcess::Options options;
        options.extraArgs = {"--transcriber", "test", "--transcribe-delay-ms", "50"};
        server = std::make_unique<ServerProcess>(options);
        QVERIFY2(server->start(), qPrintable(server->errorString()));
    }

    void init() {
        env = std::make_unique<ClientEnv>();
        alice = launchSignedIn(*server, "alice");
        alice->setNotifier(std::make_shared<RecordingNotifier>());
        bob = signIn(*server, "bob");
        chat = await(bob->api.createGroup(QTest::currentTestFunction(), {alice->me()->id}));
        QTRY_VERIFY_WITH_TIMEOUT(alice->chat(chat.id), 5000);
        await(alice->openChat(chat.id));
    }

    void cleanup() {
        alice.reset();
        env.reset();
    }

    void twoQuickSendsEachKeepTheirCopy() {
        auto first = alice->sendMessage(chat.id, "one");
        auto second = alice->sendMessage(chat.id, "two");
        QCOMPARE(history().size(), 2);
        QCOMPARE(history()[0].id, -1);
        QCOMPARE(history()[1].id, -2);
        QVERIFY(history()[1].isPending);
        QCOMPARE(alice->chat(chat.id)->lastMessage->id, -2);
        await(std::move(second));
        await(std::move(first));
        QCOMPARE(history().size(), 2);
        QCOMPARE(count(history(), [](const Message& m) { return m.id < 0; }), 0);
        QCOMPARE(count(history(), [](const Message& m) { return m.text == "one"; }), 1);
        QCOMPARE(count(history(), [](const Message& m) { return m.text == "two"; }), 1);
        QCOMPARE(alice->nextTempId(), -3);
    }

    // The server pushes its copy over the socket before it answers the post;
    // whichever the client handles first, the conversation holds it once.
    void serverCopyAndReplyLeaveOneCopy() {
        int eventFirst = 0;
        for (int i = 0; i < 12; ++i) {
            bool realSeenWhilePending = false;
            const auto watch =
                connect(alice.get(), &Store::timelineChanged, this, [&](qint64 id, TimelineChange) {
                    if (id != chat.id) return;
                    const bool pending =
                        count(history(), [](const Message& m) { return m.id < 0; }) > 0;
                    const bool real = count(history(), [&](const Message& m) {
                                          return m.id > 0 && m.text == QString::number(i);
                                      }) > 0;
                    realSeenWhilePending = realSeenWhilePending || (pending && real);
                });
            await(alice->sendMessage(chat.id, QString::number(i)));
            disconnect(watch);
            QTest::qWait(30); // an event still on its way must not add a second copy
            QCOMPARE(
                count(history(), [&](const Message& m) { return m.text == QString::number(i); }),
                1);
            eventFirst += realSeenWhilePending;
        }
        qInfo("the server's copy arrived before the reply in %d of 12 sends", eventFirst);
        QVERIFY(eventFirst > 0); // the case this test is about did happen
        QCOMPARE(count(history(), [](const Message& m) { return m.id < 0; }), 0);
    }

    void failedSendRemovesOnlyItsOwnCopy() {
        auto good = alice->sendMessage(chat.id, "fine");
        auto bad = alice->sendMessage(chat.id, "   "); // the server refuses an empty message
        QCOMPARE(history().size(), 2);
        await(std::move(bad));
        QCOMPARE(alice->lastError(), "the message is empty");
        QVERIFY(count(history(), [](const Message& m) { return m.id == -2; }) == 0);
        await(std::move(good));
        QCOMPARE(history().size(), 1);
        QCOMPARE(history().first().text, "fine");
        QVERIFY(history().first().id > 0);
    }

    void priorityAndReplies() {
        const Message asked = await(bob->api.send(chat.id, "question?"));
        QTRY_COMPARE_WITH_TIMEOUT(lastId(), asked.id, 5000);
        auto send = alice->sendMessage(chat.id, "stop and do this", history().last(), true);
        const Message local = history().last();
        QVERIFY(local.isPending);
        QVERIFY(local.text.startsWith(Config::ccPriorityPrefix));
        QCOMPARE(local.replyTo->id, asked.id);
        await(std::move(send));
        const Message stored = history().last();
        QVERIFY(stored.id > 0);
        QVERIFY(stored.isPriority());
        QCOMPARE(stored.replyTo->id, asked.id);
    }

    void batchOfOneIsASingleUpload() {
        const int before = mediaFiles();
        await(alice->sendMediaBatch(chat.id, {upload("jpg", "just one")}));
        QCOMPARE(mediaFiles(), before + 1);
        const Message sent = history().last();
        QVERIFY(sent.media && !sent.album);
        QCOMPARE(sent.text, "just one");
        QCOMPARE(sent.media->width, 4);
        QVERIFY(!alice->lastError());
    }

    void albumOfTwoWhenOneUploadFails() {
        const int before = mediaFiles();
        QList<double> progress;
        connect(alice.get(), &Store::uploadsChanged, this, [&](qint64 id) {
            QCOMPARE(id, chat.id);
            progress << (alice->uploads().contains(id) ? alice->uploads()[id].fraction() : -1.0);
        });
        // "J!" is no extension the server accepts: that upload fails.
        await(alice->sendMediaBatch(
            chat.id, {upload("J!", "caption of a failed item"), upload("jpg"), upload("png")}));
        disconnect(alice.get(), &Store::uploadsChanged, this, nullptr);
        // Forward through the three items, then gone once the album is sent.
        QVERIFY(progress.size() >= 4);
        QCOMPARE(progress.last(), -1.0);
        progress.removeLast();
        QVERIFY(std::is_sorted(progress.begin(), progress.end()));
        QVERIFY(progress.last() > 0.66);
        QVERIFY(alice->uploads().isEmpty());
        QCOMPARE(mediaFiles(), before + 2);
        const Message album = history().last();
        QVERIFY(album.album);
        QCOMPARE(album.album->size(), 2);
        QCOMPARE(album.text, "caption of a failed item");
        QVERIFY(!alice->lastError()); // the album's success clears it
        const auto url = alice->mediaURL(album.album->first());
        // Resolved against this server's address, whichever scheme the pin chose.
        QVERIFY(url && url->path().startsWith("/media/") && url->port() == server->port());
        QCOMPARE(ServerClient(server->httpUrl()).get(url->path().mid(1)).body, jpegBytes());
    }

    void tooFewUploadsSendEveryItemSingly() {
        const int before = mediaFiles();
        Store::MediaUpload file = upload("txt", "typed caption", "file");
        file.name = "notes.txt";
        await(alice->sendMediaBatch(chat.id, {file, upload("J!"), upload("K!")}));
        // The one blob, then the same file again on its own; the others fail again.
        QCOMPARE(mediaFiles(), before + 2);
        QCOMPARE(count(history(), [](const Message& m) { return m.media || m.album; }), 1);
        QCOMPARE(history().last().media->name, "notes.txt"); // a file goes by its name
        QVERIFY(alice->lastError());
    }

    void voiceMessagesAndTranscripts() {
        QTemporaryFile recording;
        QVERIFY(recording.open());
        recording.setAutoRemove(false);
        const QString path = recording.fileName();
        recording.close();
        // On the device with nothing heard: the server is asked to transcribe after all.
        await(alice->sendVoiceMessage(chat.id, "m4a bytes", path, QString("  \n"),
                                      TranscriptionEngine::apple));
        QVERIFY(!QFile::exists(path));
        QCOMPARE(history().last().media->kind, "audio");
        QTRY_COMPARE_WITH_TIMEOUT(history().last().transcript, standIn, 5000);
        await(alice->sendVoiceMessage(chat.id, "m4a bytes", path, QString(" spoken words "),
                                      TranscriptionEngine::apple));
        QCOMPARE(history().last().transcript, "spoken words");
        // A server engine transcribes later and tells the conversation.
        await(alice->sendVoiceMessage(chat.id, "m4a bytes", path, std::nullopt,
                                      TranscriptionEngine::whisper, true));
        QVERIFY(history().last().text.startsWith(Config::ccPriorityPrefix));
        QTRY_COMPARE_WITH_TIMEOUT(history().last().transcript, standIn, 5000);
        QCOMPARE(await(alice->transcribeAudio("m4a bytes")), standIn);
    }

    void forwardEditDeleteAndPin() {
        const Message original = await(bob->api.send(chat.id, "worth passing on"));
        QTRY_COMPARE_WITH_TIMEOUT(lastId(), original.id, 5000);
        const ChatSummary other = await(bob->api.createGroup("Elsewhere", {alice->me()->id}));
        QTRY_VERIFY_WITH_TIMEOUT(alice->chat(other.id), 5000);
        QVERIFY(await(alice->forward(original, other.id)));
        QVERIFY(!alice->messages().contains(other.id)); // not loaded: only the summary changes
        QCOMPARE(alice->chat(other.id)->lastMessage->forwardedFrom->senderName, "bob");

        const Account carol = signIn(*server, "carol");
        const auto direct = await(alice->forward(original, carol.user));
        QVERIFY(direct);
        QCOMPARE(alice->chat(*direct)->lastMessage->text, original.text);

        await(alice->sendMessage(chat.id, "typo"));
        const Message mine = history().last();
        await(alice->editMessage(mine, "fixed"));
        QCOMPARE(history().last().text, "fixed");
        QVERIFY(history().last().editedAt);
        QCOMPARE(alice->chat(chat.id)->lastMessage->text, "fixed");
        await(alice->editMessage(original, "not mine to edit"));
        QCOMPARE(alice->lastError(), "only the sender can edit a message");
        QCOMPARE(history()[history().size() - 2].text, original.text);

        Message pending = mine;
        pending.id = -40;
        pending.isPending = true;
        // Pinning in a group is for its managers.
        await(bob->api.setGroupRole(chat.id, alice->me()->id, GroupRole::admin));
        alice->setLastError(std::nullopt);
        await(alice->setPinned(pending, true));
        QVERIFY(!alice->chat(chat.id)->pinnedMessage);
        QVERIFY(!alice->lastError());
        await(alice->setPinned(original, true));
        QCOMPARE(alice->chat(chat.id)->pinnedMessage->id, original.id);
        await(alice->setPinned(original, false));
        QVERIFY(!alice->chat(chat.id)->pinnedMessage);

        await(alice->deleteMessage(mine));
        QCOMPARE(count(history(), [&](const Message& m) { return m.id == mine.id; }), 0);
    }
};

QTEST_GUILESS_MAIN(TestSending)
#include "test_sending.moc"
