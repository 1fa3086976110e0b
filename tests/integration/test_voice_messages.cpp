#include "agent/MarkerConfig.h"
#include "store/Store.h"
#include "support/Accounts.h"
#include "support/AudioProbe.h"
#include "support/ClientEnv.h"
#include "support/FakeAudio.h"
#include "support/ServerProcess.h"
#include "voice/AudioPlayer.h"
#include "voice/VoiceRecording.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSignalSpy>
#include <QTest>

namespace {
const QString kTestTranscript =
    QStringLiteral("This is the test engine's transcript of a voice message.");

struct Fetched {
    int status = 0;
    QByteArray body;
    QByteArray contentRange;
    QByteArray acceptRanges;
};

Fetched fetch(const QUrl& url, const QByteArray& range = {}) {
    static QNetworkAccessManager manager;
    QNetworkRequest request(url);
    if (!range.isEmpty()) request.setRawHeader("Range", range);
    QNetworkReply* reply = manager.get(request);
    QSignalSpy done(reply, &QNetworkReply::finished);
    if (!reply->isFinished()) done.wait(10000);
    Fetched f{reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), reply->readAll(),
              reply->rawHeader("Content-Range"), reply->rawHeader("Accept-Ranges")};
    reply->deleteLater();
    return f;
}
} // namespace

// Voice messages end to end: recorded over a fake input with the real encoder,
// sent to the real server, transcribed by its test engine, served in ranges, played.
class TestVoiceMessages : public QObject {
    Q_OBJECT

    std::unique_ptr<ServerProcess> server;
    std::unique_ptr<ClientEnv> env;
    std::unique_ptr<Store> alice;
    std::unique_ptr<FakeBackend> backend;
    ChatSummary chat;
    double now = 100.0;

    QList<Message> history() const { return alice->messages().value(chat.id); }

    // Records `seconds` of a sine for the open conversation and sends it.
    void recordAndSend(VoiceRecording& voice, double seconds, bool priority = false) {
        voice.begin(chat.id, QStringLiteral("Voice test"));
        QTRY_VERIFY_WITH_TIMEOUT(backend->capture->running, 5000);
        backend->capture->feedSine(seconds);
        now += seconds;
        voice.finishAndSend(priority);
    }

private slots:
    void initTestCase() {
        ServerProcess::Options options;
        options.extraArgs = {"--transcriber", "test", "--transcribe-delay-ms", "300"};
        server = std::make_unique<ServerProcess>(options);
        QVERIFY2(server->start(), qPrintable(server->errorString()));
    }

    void init() {
        env = std::make_unique<ClientEnv>();
        alice = launchSignedIn(*server, "alice");
        const Account bob = signIn(*server, "bob");
        chat = await(bob.api.createGroup(QTest::currentTestFunction(), {alice->me()->id}));
        QTRY_VERIFY_WITH_TIMEOUT(alice->chat(chat.id), 5000);
        await(alice->openChat(chat.id));
        backend = std::make_unique<FakeBackend>();
    }

    void cleanup() {
        alice.reset();
        env.reset();
    }

    void aRecordingIsSentAndTheServerTranscribesIt() {
        VoiceRecording voice([this] { return backend.get(); });
        voice.setStore(alice.get());
        voice.recorder()->setClock([this] { return now; });
        recordAndSend(voice, 1.5);
        QCOMPARE(voice.activeChatIdOrZero(), 0);
        QTRY_VERIFY_WITH_TIMEOUT(!history().isEmpty() && history().last().id > 0, 10000);
        const Message sent = history().last();
        QCOMPARE(sent.media->kind, QStringLiteral("audio"));
        QTRY_COMPARE_WITH_TIMEOUT(history().last().transcript.value_or(QString()), kTestTranscript,
                                  10000);

        // What the server kept is the file that was recorded.
        const QUrl url = *alice->mediaURL(*sent.media);
        const QUrl plain = QUrl(server->httpUrl()).resolved(QUrl(url.path()));
        const Fetched whole = fetch(plain);
        QCOMPARE(whole.status, 200);
        QCOMPARE(whole.acceptRanges, QByteArray("bytes"));
        QTemporaryDir dir;
        QFile copy(dir.filePath("copy.m4a"));
        QVERIFY(copy.open(QIODevice::WriteOnly));
        copy.write(whole.body);
        copy.close();
        QVERIFY(std::abs(probeAudio(copy.fileName()).seconds - 1.5) <= 0.05);

        const qint64 size = whole.body.size();
        const Fetched head = fetch(plain, "bytes=0-9");
        QCOMPARE(head.status, 206);
        QCOMPARE(head.body, whole.body.left(10));
        QCOMPARE(head.contentRange, "bytes 0-9/" + QByteArray::number(size));
        const Fetched tail = fetch(plain, "bytes=-5");
        QCOMPARE(tail.body, whole.body.right(5));
        QCOMPARE(fetch(plain, "bytes=100-").body, whole.body.mid(100));
        const Fetched past = fetch(plain, "bytes=" + QByteArray::number(size) + "-");
        QCOMPARE(past.status, 416);
        QCOMPARE(past.contentRange, "bytes */" + QByteArray::number(size));
        QCOMPARE(fetch(plain, "bytes=0-1,4-5").status, 200); // several ranges: the whole file
    }

    void aShortPressSendsNothingAndPriorityIsMarked() {
        VoiceRecording voice([this] { return backend.get(); });
        voice.setStore(alice.get());
        voice.recorder()->setClock([this] { return now; });
        const qsizetype before = history().size();
        recordAndSend(voice, 0.3);
        QCOMPARE(voice.activeChatIdOrZero(), 0);
        recordAndSend(voice, 1.0, true);
        QTRY_VERIFY_WITH_TIMEOUT(history().size() == before + 1 && history().last().id > 0, 10000);
        QVERIFY(history().last().text.startsWith(Config::ccPriorityPrefix));
    }

    void armingThatGivesUpShowsTheToast() {
        VoiceRecording voice([this] { return backend.get(); });
        voice.setStore(alice.get());
        backend->capture->formats = {{0, 0}};
        QSignalSpy toasts(alice.get(), &Store::toastChanged);
        voice.begin(chat.id, QStringLiteral("Voice test"));
        QCOMPARE(voice.activeChatIdOrZero(), chat.id);
        // Another conversation cannot start while this one arms.
        voice.begin(chat.id + 1, QStringLiteral("Other"));
        QCOMPARE(voice.activeChatIdOrZero(), chat.id);
        QTRY_COMPARE_WITH_TIMEOUT(alice->toast().value_or(QString()),
                                  QStringLiteral("Microphone unavailable — try again"), 10000);
        QCOMPARE(voice.activeChatIdOrZero(), 0);
        QVERIFY(!voice.isRecording());
    }

    void playingOneMessageStopsAnother() {
        VoiceRecording voice([this] { return backend.get(); });
        voice.setStore(alice.get());
        voice.recorder()->setClock([this] { return now; });
        recordAndSend(voice, 1.0);
        QTRY_VERIFY_WITH_TIMEOUT(!history().isEmpty() && history().last().id > 0, 10000);
        recordAndSend(voice, 1.2);
        QTRY_VERIFY_WITH_TIMEOUT(history().size() == 2 && history().last().id > 0, 10000);
        const QUrl a = *alice->mediaURL(*history()[0].media);
        const QUrl b = *alice->mediaURL(*history()[1].media);
        QVERIFY(a != b);

        AudioPlayer player([this] { return backend.get(); });
        FakePlayer* out = backend->player;
        player.toggle(a);
        QCOMPARE(player.playingURL(), a);
        // Fetched through the pinned session into the cache, then played from disk.
        QTRY_VERIFY_WITH_TIMEOUT(!out->playing.isEmpty(), 10000);
        QVERIFY(std::abs(probeAudio(out->playing).seconds - 1.0) <= 0.05);
        player.toggle(b);
        QCOMPARE(player.playingURL(), b);
        QTRY_VERIFY_WITH_TIMEOUT(out->played.size() == 2 && !out->playing.isEmpty(), 10000);
        QVERIFY(std::abs(probeAudio(out->playing).seconds - 1.2) <= 0.05);
        player.seek(b, 0.5);
        QCOMPARE(out->at, 2000);
        player.seek(a, 0.9); // not the one playing: ignored
        QCOMPARE(out->at, 2000);
        player.toggle(b);
        QVERIFY(player.playingURL().isEmpty());
        QVERIFY(out->playing.isEmpty());
        // The end of the file stops it as well.
        player.toggle(a);
        QTRY_VERIFY_WITH_TIMEOUT(!out->playing.isEmpty(), 10000);
        out->onEnded();
        QVERIFY(player.playingURL().isEmpty());
    }
};

QTEST_MAIN(TestVoiceMessages)
#include "test_voice_messages.moc"
