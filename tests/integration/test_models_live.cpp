#include "conversations/TimelineRows.h"
#include "core/Notifier.h"
#include "store/Store.h"
#include "support/Accounts.h"
#include "support/ClientEnv.h"
#include "support/ServerProcess.h"
#include "ui/ChatListModel.h"
#include "ui/ComposerModel.h"
#include "ui/TimelineModel.h"

#include <QAbstractItemModelTester>
#include <QBuffer>
#include <QImage>
#include <QSignalSpy>
#include <QTest>

namespace {
QByteArray png(int w, int h) {
    QImage image(w, h, QImage::Format_RGB32);
    image.fill(Qt::red);
    QByteArray out;
    QBuffer buffer(&out);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return out;
}

QList<qint64> rowIds(const TimelineModel& model) {
    QList<qint64> ids;
    for (int r = 0; r < model.rowCount(); ++r)
        if (model.index(r).data(TimelineModel::KindRole) != "day")
            ids << model.index(r).data(TimelineModel::MessageIdRole).toLongLong();
    return ids;
}
} // namespace

// The view models on a live session: the model testers watch while the
// server's events, pages and the person's own sends change the store.
class TestModelsLive : public QObject {
    Q_OBJECT

    std::unique_ptr<ServerProcess> server;
    std::unique_ptr<ClientEnv> env;
    std::unique_ptr<Store> alice;
    std::optional<Account> bob;

private slots:
    void initTestCase() {
        server = std::make_unique<ServerProcess>();
        QVERIFY2(server->start(), qPrintable(server->errorString()));
    }

    void init() {
        env = std::make_unique<ClientEnv>();
        alice = launchSignedIn(*server, "alice");
        alice->setNotifier(std::make_shared<RecordingNotifier>());
        bob = signIn(*server, "bob");
    }

    void cleanup() {
        alice.reset();
        env.reset();
    }

    void modelsFollowALiveConversation() {
        TimelineModel timeline(alice.get());
        ChatListModel list(alice.get());
        QAbstractItemModelTester timelineTester(
            &timeline, QAbstractItemModelTester::FailureReportingMode::QtTest);
        QAbstractItemModelTester listTester(&list,
                                            QAbstractItemModelTester::FailureReportingMode::QtTest);
        QSignalSpy timelineResets(&timeline, &QAbstractItemModel::modelReset);
        QSignalSpy listResets(&list, &QAbstractItemModel::modelReset);

        const ChatSummary quiet = await(bob->api.createGroup("Quiet", {alice->me()->id}));
        const ChatSummary busy = await(bob->api.createGroup("Busy", {alice->me()->id}));
        QTRY_COMPARE_WITH_TIMEOUT(list.rowCount(), 2, 5000);
        for (int i = 0; i < 60; ++i)
            await(bob->api.send(busy.id, QString("m%1").arg(i)));
        QTRY_COMPARE_WITH_TIMEOUT(list.chatIdAt(0), busy.id, 5000);

        alice->setSelectedChatId(busy.id);
        await(alice->openChat(busy.id));
        QCOMPARE(timelineResets.size(), 1); // the switch, and nothing since
        QCOMPARE(rowIds(timeline).size(), 50);
        timeline.loadOlder();
        QTRY_COMPARE_WITH_TIMEOUT(rowIds(timeline).size(), 60, 5000);

        // Live traffic: a new message, an edit and a delete, and one of our own.
        const Message fresh = await(bob->api.send(busy.id, "fresh"));
        QTRY_COMPARE_WITH_TIMEOUT(rowIds(timeline).first(), fresh.id, 5000);
        await(bob->api.edit(fresh.id, "fresh, edited"));
        QTRY_COMPARE_WITH_TIMEOUT(timeline.index(0).data(TimelineModel::TextRole).toString(),
                                  "fresh, edited", 5000);
        await(bob->api.deleteMessage(fresh.id));
        QTRY_VERIFY_WITH_TIMEOUT(!rowIds(timeline).contains(fresh.id), 5000);
        await(alice->sendMessage(busy.id, "mine"));
        QCOMPARE(timeline.index(0).data(TimelineModel::IsMineRole).toBool(), true);
        QTRY_COMPARE_WITH_TIMEOUT(timeline.index(0).data(TimelineModel::ReadStateRole).toString(),
                                  "sent", 5000);
        QVERIFY(await(bob->api.markRead(busy.id, alice->messages()[busy.id].last().id)));
        QTRY_COMPARE_WITH_TIMEOUT(timeline.index(0).data(TimelineModel::ReadStateRole).toString(),
                                  "read", 5000);

        // The quiet conversation comes to the top of the list with one move.
        QSignalSpy moves(&list, &QAbstractItemModel::rowsMoved);
        await(bob->api.send(quiet.id, "hello?"));
        QTRY_COMPARE_WITH_TIMEOUT(list.chatIdAt(0), quiet.id, 5000);
        QCOMPARE(moves.size(), 1);
        QCOMPARE(list.index(0).data(ChatListModel::PreviewRole).toString(), "hello?");
        QCOMPARE(list.index(0).data(ChatListModel::UnreadRole).toInt(), 1);

        // The rows match the rules applied from scratch.
        const auto rows = chatViewRows(chatViewMessages(alice->messages()[busy.id]),
                                       chatShowsSenders(*alice, busy.id), alice->me()->id);
        QCOMPARE(timeline.rowCount(), rows.size());
        QCOMPARE(timelineResets.size(), 1);
        QCOMPARE(listResets.size(), 0);
    }

    void composerSendsImagesAndFiles() {
        const ChatSummary chat = await(bob->api.createGroup("Media", {alice->me()->id}));
        QTRY_VERIFY_WITH_TIMEOUT(alice->chat(chat.id), 5000);
        alice->setSelectedChatId(chat.id);
        await(alice->openChat(chat.id));
        ComposerModel composer(alice.get());
        TimelineModel timeline(alice.get());
        QCOMPARE(composer.chatId(), chat.id);

        QVERIFY(composer.addImage(png(3000, 1000)));
        QVERIFY(composer.addImage(png(100, 200)));
        QCOMPARE(composer.sendImagesLabel(), "Send 2 Images");
        composer.setImageCaption("  two pictures \n");
        QSignalSpy sent(&composer, &ComposerModel::sent);
        composer.sendPendingImages(false);
        QVERIFY(composer.images().isEmpty());
        QVERIFY(composer.uploadingMedia());
        QTRY_COMPARE_WITH_TIMEOUT(sent.size(), 1, 10000);
        QVERIFY(!composer.uploadingMedia());
        const Message album = alice->messages()[chat.id].last();
        QCOMPARE(album.text, "two pictures");
        QCOMPARE(album.album->size(), 2);
        QCOMPARE(album.album->at(0).width, 1280); // compressed: longest side 1280
        QCOMPARE(album.album->at(0).height, 426);
        QCOMPARE(timeline.index(0).data(TimelineModel::AlbumRole).toList().size(), 2);

        composer.addFileData("Report.PDF", "%PDF-1.4");
        composer.setImageCaption("see attached");
        composer.sendPendingFiles();
        QTRY_COMPARE_WITH_TIMEOUT(sent.size(), 2, 10000);
        const QList<Message>& history = alice->messages().constFind(chat.id).value();
        QCOMPARE(history.last().text, "see attached"); // the caption follows on its own
        const Message file = history[history.size() - 2];
        QCOMPARE(file.media->kind, "file");
        QCOMPARE(file.media->name, "Report.PDF");
        QVERIFY(file.media->url.startsWith("/media/"));

        composer.setDraft("  hello  ");
        composer.send();
        QCOMPARE(composer.draft(), QString());
        QTRY_COMPARE_WITH_TIMEOUT(sent.size(), 3, 5000);
        QCOMPARE(history.last().text, "hello");
        composer.startEdit(history.last().id);
        QCOMPARE(composer.draft(), "hello");
        composer.setDraft("hello again");
        composer.send();
        QTRY_COMPARE_WITH_TIMEOUT(sent.size(), 4, 5000);
        QCOMPARE(alice->messages()[chat.id].last().text, "hello again");
        QVERIFY(!composer.editing());
    }
};

QTEST_MAIN(TestModelsLive)
#include "test_models_live.moc"
