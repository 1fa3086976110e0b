#include "agent/MarkerConfig.h"
#include "conversations/Fmt.h"
#include "conversations/TimelineRows.h"
#include "store/Store.h"
#include "support/Frames.h"
#include "support/ShadowRows.h"
#include "support/StoreSeam.h"
#include "support/TestSupport.h"
#include "ui/ChatListModel.h"
#include "ui/ComposerModel.h"
#include "ui/SortedBlocks.h"
#include "ui/TimelineModel.h"
#include "ui/UserProfileModel.h"

#include <QAbstractItemModelTester>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QTest>

namespace {
const User me = person(1, "me");
const User ann = person(2, "ann");
const User bob = person(3, "bob");
const User bot = person(9, "agent");
constexpr qint64 chatId = 40;
constexpr qint64 dayMs = 86400000;

// The same from the rules applied to the whole history at once.
// Bubbles of one run: same sender, same day, no system note among them.
bool sameRun(const Message& a, const Message& b) {
    return a.senderId == b.senderId && Fmt::dayKey(a.createdAt) == Fmt::dayKey(b.createdAt) &&
           !a.isSystemNote() && !b.isSystemNote();
}

QStringList expectedRows(const Store& store) {
    const QList<Message> msgs = chatViewMessages(store.messages().value(chatId));
    const auto rows = chatViewRows(msgs, chatShowsSenders(store, chatId), store.me()->id);
    QHash<qint64, QString> edges;
    for (qsizetype j = 0; j < msgs.size(); ++j) {
        const bool start = j == 0 || !sameRun(msgs[j - 1], msgs[j]);
        const bool end = j + 1 == msgs.size() || !sameRun(msgs[j], msgs[j + 1]);
        edges.insert(msgs[j].id, QStringLiteral(":%1%2").arg(start).arg(end));
    }
    QStringList out;
    for (auto it = rows.crbegin(); it != rows.crend(); ++it) {
        const bool isDay = it->kind == ChatRowItem::Kind::day;
        out << QStringLiteral("%1:%2:%3%4")
                   .arg(isDay ? "day" : "msg")
                   .arg(isDay ? 0 : it->message.id)
                   .arg(it->showSender)
                   .arg(isDay ? QString() : edges.value(it->message.id));
    }
    return out;
}

QString timelineRow(const QModelIndex& i) {
    const bool isDay = i.data(TimelineModel::KindRole).toString() == "day";
    const QString edges = isDay ? QString()
                                : QStringLiteral(":%1%2")
                                      .arg(i.data(TimelineModel::GroupStartRole).toBool())
                                      .arg(i.data(TimelineModel::GroupEndRole).toBool());
    return QStringLiteral("%1:%2:%3%4")
        .arg(isDay ? "day" : "msg")
        .arg(isDay ? 0 : i.data(TimelineModel::MessageIdRole).toLongLong())
        .arg(i.data(TimelineModel::ShowSenderRole).toBool())
        .arg(edges);
}

QList<qint64> listOrder(const ChatListModel& model) {
    QList<qint64> out;
    for (int r = 0; r < model.rowCount(); ++r)
        out << model.chatIdAt(r);
    return out;
}
} // namespace

// The view models follow the store row by row: every change must leave them
// exactly where a rebuild from scratch would, with consistent model signals.
class TestViewModels : public QObject {
    Q_OBJECT

    std::unique_ptr<ScopedPrefs> prefs;
    std::unique_ptr<Store> store;

    void seedStore() {
        seam(store).me() = me;
        seam(store).users() = {me, ann, bob, bot};
        seam(store).botIds() = {bot.id};
        seam(store).chats() = {conversation(chatId, {me, ann, bob, bot}, true, "Team")};
    }

private slots:
    void init() {
        prefs = std::make_unique<ScopedPrefs>();
        Loc::setCurrent(AppLanguage::en);
        store = std::make_unique<Store>();
        seedStore();
    }
    void cleanup() {
        store.reset();
        prefs.reset();
    }

    // Random traffic through the dispatcher and the store's own operations,
    // checked against the rules after every step.
    void timelineFollowsRandomTraffic() {
        TimelineModel model(store.get());
        QAbstractItemModelTester tester(&model,
                                        QAbstractItemModelTester::FailureReportingMode::QtTest);
        store->setSelectedChatId(chatId);
        QCOMPARE(model.chatId(), chatId);
        QSignalSpy resets(&model, &QAbstractItemModel::modelReset);
        ShadowRows shadow(&model, timelineRow);
        const quint32 seed = QRandomGenerator::global()->generate();
        QRandomGenerator generator(seed);
        auto* random = &generator;
        const qint64 start = QDateTime::currentMSecsSinceEpoch() - 60 * dayMs;
        // A first page, as openChat stores it.
        QList<Message> page;
        for (qint64 id = 100; id < 130; ++id)
            page << textMessage(id, chatId, id % 3 ? ann : bob, "m", start + id * 3600000);
        seam(store).messages()[chatId] = page;
        emit store->timelineChanged(chatId, {TimelineChange::reset, 0, int(page.size())});
        QCOMPARE(shadow.rows, expectedRows(*store));
        qint64 nextId = 130;
        qint64 olderId = 99;
        QList<qint64> outstanding;
        for (int step = 0; step < 400; ++step) {
            const QList<Message> now = store->messages().value(chatId);
            const int action = int(random->bounded(8));
            const User& from = QList<User>{me, ann, bob, bot}[random->bounded(4)];
            const qint64 at = start + nextId * 8 * 3600000; // a new day every third message
            if (action == 0 || action == 1) {               // live message
                const QString text =
                    random->bounded(5) == 0 ? Config::ccControlPrefix.toString() + "{}" : "hi";
                store->handleEvent(messageFrame(textMessage(nextId++, chatId, from, text, at)), 0);
            } else if (action == 2 && !now.isEmpty()) { // edit
                Message edited = now[random->bounded(int(now.size()))];
                if (edited.id > 0) {
                    edited.text = random->bounded(3) == 0 ? "💭 Claude is working" : "edited";
                    store->handleEvent(messageFrame(edited, "messageEdited"), 0);
                }
            } else if (action == 3 && !now.isEmpty()) { // delete
                const Message gone = now[random->bounded(int(now.size()))];
                store->removeMessage(chatId, gone.id);
            } else if (action == 4) { // a send's pending copy
                Message pending =
                    textMessage(seam(store).nextTempId()--, chatId, me, "sending", at);
                pending.isPending = true;
                seam(store).messages()[chatId].push_back(pending);
                emit store->timelineChanged(chatId, {TimelineChange::inserted, int(now.size()), 1});
                outstanding << pending.id;
            } else if (action == 7 && !outstanding.isEmpty()) { // its reply replaces it
                store->removeMessage(chatId, outstanding.takeFirst());
                store->upsertMessage(textMessage(nextId++, chatId, me, "sent", at));
            } else if (action == 5) { // an older page
                QList<Message> older;
                for (int k = 0; k < 3 && olderId > 0; ++k)
                    older.prepend(textMessage(olderId--, chatId, ann, "old", start - k * dayMs));
                seam(store).messages()[chatId] = older + store->messages()[chatId];
                emit store->timelineChanged(chatId,
                                            {TimelineChange::inserted, 0, int(older.size())});
            } else if (action == 6) { // a member leaves or returns: who is named changes
                ChatSummary c = *store->chat(chatId);
                if (c.members.size() > 3)
                    c.members.removeLast(), c.members.removeLast();
                else
                    c.members = {me, ann, bob, bot};
                store->upsertChat(c);
            }
            const QStringList expected = expectedRows(*store);
            if (shadow.rows != expected)
                QFAIL(qPrintable(
                    QStringLiteral("seed %1 step %2 action %3").arg(seed).arg(step).arg(action)));
        }
        QCOMPARE(resets.size(), 0); // traffic never resets the model
        store->setSelectedChatId(std::nullopt);
        QCOMPARE(model.rowCount(), 0);
        QCOMPARE(resets.size(), 1); // switching the conversation does
    }

    // The live path: one new message at a time, across days, and edits in place.
    void liveMessagesAcrossDays() {
        TimelineModel model(store.get());
        QAbstractItemModelTester tester(&model,
                                        QAbstractItemModelTester::FailureReportingMode::QtTest);
        ShadowRows shadow(&model, timelineRow);
        ShadowRows texts(&model, [](const QModelIndex& i) {
            return i.data(TimelineModel::TextRole).toString();
        });
        seam(store).messages()[chatId] = {};
        store->setSelectedChatId(chatId);
        const qint64 start = QDateTime::currentMSecsSinceEpoch() - 10 * dayMs;
        const QList<User> senders = {ann, ann, bob, bob, me, ann, ann, ann, bob};
        for (int i = 0; i < senders.size(); ++i) {
            // Two messages a day: every other one opens a new day, often by the same sender.
            store->handleEvent(
                messageFrame(textMessage(i + 1, chatId, senders[i], "m", start + i * dayMs / 2)),
                0);
            QCOMPARE(shadow.rows, expectedRows(*store));
        }
        for (int i = 1; i <= senders.size(); i += 2) {
            Message edited = seam(store).messages()[chatId][i - 1];
            edited.text = "edited";
            store->handleEvent(messageFrame(edited, "messageEdited"), 0);
            QCOMPARE(shadow.rows, expectedRows(*store));
            QCOMPARE(texts.rows[model.rowOfMessage(i)], "edited"); // the view was told
        }
    }

    void rolesOfABubble() {
        TimelineModel model(store.get());
        model.setFollowsSelection(false);
        Message quoted = textMessage(10, chatId, ann, "original *words*", 1000);
        Message reply = textMessage(11, chatId, me, "**bold** @ann", 2000);
        reply.replyTo = ReplySnippet{10, ann.id, "ann", quoted.text};
        Message file = textMessage(12, chatId, bob, "", 3000);
        file.media = MediaInfo{"file", "/media/5", {}, {}, QString("report.pdf")};
        file.forwardedFrom = ForwardInfo{ann.id, "ann"};
        Message note =
            textMessage(13, chatId, bot, Config::ccSystemPrefix.toString() + "Restarted", 4000);
        seam(store).messages()[chatId] = {quoted, reply, file, note};
        seam(store).reads()[chatId] = {{ann.id, 11}};
        model.setChatId(chatId);
        const QModelIndex r = model.index(model.rowOfMessage(11));
        QCOMPARE(r.data(TimelineModel::IsMineRole).toBool(), true);
        QCOMPARE(r.data(TimelineModel::ReadStateRole).toString(), "read");
        QVERIFY(r.data(TimelineModel::RichTextRole).toString().contains("<b>bold</b>") ||
                r.data(TimelineModel::RichTextRole).toString().contains("font-weight"));
        QCOMPARE(r.data(TimelineModel::ReplyRole).toMap().value("senderName").toString(), "ann");
        const QModelIndex f = model.index(model.rowOfMessage(12));
        QCOMPARE(f.data(TimelineModel::FileRole).toMap().value("name").toString(), "report.pdf");
        QCOMPARE(f.data(TimelineModel::ForwardedRole).toString(), "Forwarded from ann");
        QCOMPARE(f.data(TimelineModel::ReadStateRole).toString(), QString()); // not mine
        const QModelIndex n = model.index(model.rowOfMessage(13));
        QCOMPARE(n.data(TimelineModel::KindRole).toString(), "system");
        QCOMPARE(n.data(TimelineModel::SystemTextRole).toString(), "Restarted");
        QCOMPARE(model.index(model.rowCount() - 1).data(TimelineModel::KindRole).toString(), "day");
        QVERIFY(model.showsSenders());
    }

    void hugeTextAndWideTables() {
        TimelineModel model(store.get());
        QAbstractItemModelTester tester(&model,
                                        QAbstractItemModelTester::FailureReportingMode::QtTest);
        model.setFollowsSelection(false);
        model.setChatId(chatId);
        seam(store).messages()[chatId] = {};
        emit store->timelineChanged(chatId, {TimelineChange::reset, 0, 0});
        QString megabyte;
        megabyte.reserve(1 << 20);
        while (megabyte.size() < (1 << 20))
            megabyte += "word **bold** `code` @ann https://example.com/x\n";
        QStringList header, rule, cells;
        for (int c = 0; c < 500; ++c) {
            header << QStringLiteral("c%1").arg(c);
            rule << "---";
            cells << QStringLiteral("v%1").arg(c);
        }
        const QString table =
            "|" + header.join('|') + "|\n|" + rule.join('|') + "|\n|" + cells.join('|') + "|";
        store->handleEvent(messageFrame(textMessage(1, chatId, ann, megabyte, 1000)), 0);
        store->handleEvent(messageFrame(textMessage(2, chatId, ann, table, 2000)), 0);
        QCOMPARE(model.rowCount(), 3);
        const QModelIndex big = model.index(model.rowOfMessage(1));
        QVERIFY(big.data(TimelineModel::RichTextRole).toString().size() > megabyte.size());
        const QModelIndex wide = model.index(model.rowOfMessage(2));
        QVERIFY(wide.data(TimelineModel::HasTableRole).toBool());
        const QVariantList blocks = wide.data(TimelineModel::BlocksRole).toList();
        QCOMPARE(blocks.size(), 1);
        QCOMPARE(blocks.first().toMap().value("header").toStringList().size(), 500);
        QCOMPARE(blocks.first().toMap().value("rows").toList().first().toStringList().size(), 500);
    }

    void anyTextRenders() {
        TimelineModel model(store.get());
        model.setFollowsSelection(false);
        model.setChatId(chatId);
        seam(store).messages()[chatId] = {};
        auto* random = QRandomGenerator::global();
        const QString alphabet = QStringLiteral("ab *_~`|[]()<>@#\n\t-:é😀\u200d\x02CCMSG=");
        for (int i = 0; i < 200; ++i) {
            const int length = i < 5 ? i : int(random->bounded(i * 50));
            QString text;
            for (int k = 0; k < length; ++k)
                text += alphabet[random->bounded(int(alphabet.size()))];
            store->handleEvent(messageFrame(textMessage(i + 1, chatId, ann, text, 1000 + i)), 0);
        }
        for (int r = 0; r < model.rowCount(); ++r)
            for (int role : model.roleNames().keys())
                model.index(r).data(role);
        QVERIFY(model.rowCount() > 0);
    }

    void conversationListFollowsActivity() {
        seam(store).chats().clear();
        const User saved = me;
        ChatListModel model(store.get());
        QAbstractItemModelTester tester(&model,
                                        QAbstractItemModelTester::FailureReportingMode::QtTest);
        QSignalSpy resets(&model, &QAbstractItemModel::modelReset);
        ShadowRows shadow(&model, [](const QModelIndex& i) {
            return i.data(ChatListModel::ChatIdRole).toString() + ":" +
                   i.data(ChatListModel::PreviewRole).toString();
        });
        for (qint64 id = 1; id <= 6; ++id) {
            ChatSummary c = conversation(id, {me, id % 2 ? ann : bob});
            c.createdAt = 1000 * id;
            store->upsertChat(c);
        }
        store->upsertChat(conversation(50, {saved})); // saved messages: never listed
        store->upsertChat(conversation(51, {me, bot}));
        QCOMPARE(model.rowCount(), 7);
        QVERIFY(model.rowOf(50) < 0);
        // A person's message lifts its conversation to the top.
        store->handleEvent(messageFrame(textMessage(500, 3, bob, "hey", 90000)), 0);
        QCOMPARE(model.chatIdAt(0), 3);
        // A bot talking lately does not move its conversation above human activity.
        store->handleEvent(messageFrame(textMessage(499, 51, me, "go", 60000)), 0);
        store->handleEvent(messageFrame(textMessage(501, 51, bot, "busy", 95000)), 0);
        QCOMPARE(model.chatIdAt(1), 51);
        QCOMPARE(model.chatIdAt(0), 3);
        store->handleEvent(messageFrame(textMessage(502, 5, ann, "me too", 99000)), 0);
        QCOMPARE(listOrder(model).mid(0, 2), (QList<qint64>{5, 3}));
        store->removeChat(4);
        QVERIFY(model.rowOf(4) < 0);
        QCOMPARE(resets.size(), 0);
        // The same order as sorting from scratch.
        ChatListModel fresh(store.get());
        QCOMPARE(listOrder(model), listOrder(fresh));
        QStringList freshRows;
        for (int r = 0; r < fresh.rowCount(); ++r)
            freshRows << fresh.index(r).data(ChatListModel::ChatIdRole).toString() + ":" +
                             fresh.index(r).data(ChatListModel::PreviewRole).toString();
        QCOMPARE(shadow.rows, freshRows);
        model.setSearch("  ANN ");
        for (int r = 0; r < model.rowCount(); ++r)
            QCOMPARE(model.index(r).data(ChatListModel::TitleRole).toString(), "ann");
        QCOMPARE(model.rowCount(), 3);
    }

    // Blocks split and vanish as entries come and go; every answer must match
    // a plain sorted vector.
    void sortedBlocksMatchASortedVector() {
        SortedBlocks<int, std::less<int>> blocks;
        std::vector<int> reference;
        auto* random = QRandomGenerator::global();
        for (int step = 0; step < 20000; ++step) {
            const int value = int(random->bounded(5000));
            if (reference.empty() || random->bounded(3) != 0) {
                const auto at = std::lower_bound(reference.begin(), reference.end(), value);
                const int expected = int(at - reference.begin());
                reference.insert(at, value);
                QCOMPARE(blocks.insert(value), expected);
            } else {
                const int index = int(random->bounded(int(reference.size())));
                reference.erase(reference.begin() + index);
                blocks.removeAt(index);
            }
            QCOMPARE(blocks.size(), int(reference.size()));
            const int probe = int(random->bounded(5000));
            QCOMPARE(blocks.lowerBound(probe),
                     int(std::lower_bound(reference.begin(), reference.end(), probe) -
                         reference.begin()));
            if (!reference.empty()) {
                const int index = int(random->bounded(int(reference.size())));
                QCOMPARE(blocks.at(index), reference[size_t(index)]);
            }
        }
        blocks.assign(reference);
        for (int i = 0; i < int(reference.size()); ++i)
            QCOMPARE(blocks.at(i), reference[size_t(i)]);
    }

    void longConversationListUnderRandomTraffic() {
        seam(store).chats().clear();
        for (qint64 id = 1; id <= 700; ++id) {
            ChatSummary c =
                conversation(id, {me, person(1000 + id, QStringLiteral("p%1").arg(id))});
            c.createdAt = 1000 + id * 7 % 701;
            seam(store).chats() << c;
        }
        ChatListModel model(store.get());
        QAbstractItemModelTester tester(&model,
                                        QAbstractItemModelTester::FailureReportingMode::QtTest);
        auto read = [](const QModelIndex& i) {
            return i.data(ChatListModel::ChatIdRole).toString();
        };
        ShadowRows shadow(&model, read);
        auto* random = QRandomGenerator::global();
        qint64 nextId = 1;
        for (int step = 0; step < 1500; ++step) {
            const qint64 chat = 1 + random->bounded(720);
            const int action = int(random->bounded(10));
            if (action < 7) {
                store->handleEvent(messageFrame(textMessage(nextId++, chat, ann, "x",
                                                            5000 + random->bounded(100000))),
                                   0);
            } else if (action < 9) {
                store->upsertChat(
                    conversation(chat, {me, person(1000 + chat, QStringLiteral("p%1").arg(chat))}));
            } else {
                store->removeChat(chat);
            }
        }
        ChatListModel fresh(store.get());
        QStringList freshRows;
        for (int r = 0; r < fresh.rowCount(); ++r)
            freshRows << read(fresh.index(r));
        QCOMPARE(shadow.rows, freshRows);
        QCOMPARE(listOrder(model), listOrder(fresh));
    }

    void composerSendsWhatItStaged() {
        ComposerModel composer(store.get());
        store->setSelectedChatId(chatId);
        QCOMPARE(composer.chatId(), chatId);
        composer.setDraft("hello");
        QCOMPARE(store->chatDrafts().value(chatId), "hello");
        store->setSelectedChatId(std::nullopt);
        QCOMPARE(composer.draft(), QString());
        store->setSelectedChatId(chatId);
        QCOMPARE(composer.draft(), "hello"); // each conversation keeps its draft
        composer.addFileData("notes.TXT", "abc");
        composer.addFileData("archive", "xyz");
        QCOMPARE(composer.sendFilesLabel(), "Send 2 Files");
        QCOMPARE(composer.pendingFiles().first().toMap().value("size").toString(), "3 bytes");
        QVERIFY(!composer.addImage("not an image"));
        QCOMPARE(composer.pendingImages().size(), 0);
        composer.cancelFiles();
        QCOMPARE(composer.pendingFiles().size(), 0);
    }

    void lastConnectedDevice_data() {
        QTest::addColumn<QVariant>("device");
        QTest::addColumn<QVariant>("app");
        QTest::addColumn<QString>("icon");
        QTest::addColumn<QString>("text");
        QTest::newRow("mac") << QVariant("Mac") << QVariant("1.2 (34)") << "laptopcomputer"
                             << "Last connected: Mac · app 1.2 (34)";
        QTest::newRow("ipad") << QVariant("iPad") << QVariant() << "ipad"
                              << "Last connected: iPad";
        QTest::newRow("iphone") << QVariant("iPhone") << QVariant("") << "iphone"
                                << "Last connected: iPhone";
        QTest::newRow("linux") << QVariant("Linux") << QVariant() << "desktopcomputer"
                               << "Last connected: Linux";
        QTest::newRow("only the app") << QVariant() << QVariant("2.0 (1)") << "desktopcomputer"
                                      << "Last connected: Unknown · app 2.0 (1)";
        QTest::newRow("case matters") << QVariant("mac") << QVariant() << "desktopcomputer"
                                      << "Last connected: mac";
        QTest::newRow("nothing") << QVariant() << QVariant() << "desktopcomputer"
                                 << "";
    }
    void lastConnectedDevice() {
        QFETCH(QVariant, device);
        QFETCH(QVariant, app);
        QFETCH(QString, icon);
        QFETCH(QString, text);
        UserClient client;
        if (device.isValid()) client.lastDevice = device.toString();
        if (app.isValid()) client.lastClient = app.toString();
        QCOMPARE(UserProfileModel::deviceIconFor(client.lastDevice.value_or(QString())), icon);
        QCOMPARE(UserProfileModel::lastConnectedText(client), text);
    }
};

QTEST_MAIN(TestViewModels)
#include "test_view_models.moc"
