#include "agent/MarkerConfig.h"
#include "conversations/ChatPreview.h"
#include "conversations/Fmt.h"
#include "conversations/Geocoder.h"
#include "conversations/SpeechLanguage.h"
#include "conversations/TimelineRows.h"
#include "model/Config.h"
#include "store/Store.h"
#include "support/Frames.h"
#include "support/StoreSeam.h"
#include "support/TestSupport.h"

#include <QTest>

namespace {
const User me = person(1, "me");
const User ann = person(2, "ann");
const User bot = person(9, "agent");
constexpr qint64 day = 86400000;

// Rows as one line: "|" a day separator, a message by its id, "*" before an
// id whose sender is named.
QString shape(const QList<ChatRowItem>& rows) {
    QStringList out;
    for (const ChatRowItem& r : rows)
        out << (r.kind == ChatRowItem::Kind::day
                    ? QStringLiteral("|")
                    : (r.showSender ? QStringLiteral("*") : QString()) +
                          QString::number(r.message.id));
    return out.join(u' ');
}

qint64 noonDaysAgo(int days) {
    QDateTime t(QDate::currentDate().addDays(-days), QTime(12, 0));
    return t.toMSecsSinceEpoch();
}
} // namespace

// The pure rules of conversations: what a view lists and in which order,
// the list's preview line, dates as people read them, and the facts the
// store derives from reads, typing and roles.
class TestConversationRules : public QObject {
    Q_OBJECT

    std::unique_ptr<ScopedPrefs> prefs;

private slots:
    void init() {
        prefs = std::make_unique<ScopedPrefs>();
        Loc::setCurrent(AppLanguage::en);
    }
    void cleanup() { prefs.reset(); }

    void speechLanguageFollowsTheAppThenTheSystem() {
        QCOMPARE(speechLanguageCode("fr", {"de-DE"}), "fr");
        QCOMPARE(speechLanguageCode({}, {"it-IT", "en-US"}), "it");
        QCOMPARE(speechLanguageCode({}, {}), "en");
        // The POSIX locale names no language: not "C".
        QCOMPARE(speechLanguageCode({}, {"C"}), "en");
        QCOMPARE(speechLanguageCode({}, {"C", "de"}), "de");
    }

    void viewMessagesSortPendingFirstAndHideTraffic() {
        const QString control = Config::ccControlPrefix.toString() + "{}";
        const QList<Message> history = {
            textMessage(5, 7, ann, "five", 10), textMessage(6, 7, bot, control, 11),
            textMessage(8, 7, bot, "💭 Claude is working", 12), textMessage(9, 7, ann, "nine", 13),
            textMessage(-1, 7, me, "pending", 14)};
        QList<qint64> ids;
        for (const Message& m : chatViewMessages(history))
            ids << m.id;
        QCOMPARE(ids, (QList<qint64>{-1, 5, 9}));
    }

    void rows_data() {
        QTest::addColumn<QList<Message>>("msgs");
        QTest::addColumn<bool>("showsSenders");
        QTest::addColumn<QString>("expected");
        const qint64 today = noonDaysAgo(0);
        const qint64 yesterday = noonDaysAgo(1);
        QTest::newRow("one day, runs by sender")
            << QList<Message>{textMessage(1, 7, ann, "a", today),
                              textMessage(2, 7, ann, "b", today), textMessage(3, 7, me, "c", today),
                              textMessage(4, 7, ann, "d", today)}
            << true << "| *1 2 3 *4";
        QTest::newRow("a new day names the sender again")
            << QList<Message>{textMessage(1, 7, ann, "a", yesterday),
                              textMessage(2, 7, ann, "b", today)}
            << true << "| *1 | *2";
        QTest::newRow("direct conversations name nobody")
            << QList<Message>{textMessage(1, 7, ann, "a", yesterday),
                              textMessage(2, 7, ann, "b", today)}
            << false << "| 1 | 2";
        // A pending copy sorts first: it opens the rows of its day.
        QTest::newRow("pending before older days")
            << chatViewMessages({textMessage(1, 7, ann, "a", yesterday),
                                 textMessage(-1, 7, me, "p", today),
                                 textMessage(2, 7, ann, "b", today)})
            << true << "| -1 | *1 | *2";
        QTest::newRow("empty") << QList<Message>{} << true << "";
    }

    void rows() {
        QFETCH(QList<Message>, msgs);
        QFETCH(bool, showsSenders);
        QFETCH(QString, expected);
        QCOMPARE(shape(chatViewRows(msgs, showsSenders, me.id)), expected);
    }

    void rowsWithoutAUserNameEverySender() {
        const QList<Message> msgs = {textMessage(1, 7, me, "a", noonDaysAgo(0))};
        QCOMPARE(shape(chatViewRows(msgs, true, std::nullopt)), "| *1");
    }

    void sendersShowWithTwoPeopleNotWithABot() {
        Store store;
        seam(store).me() = me;
        seam(store).agentId() = bot.id;
        seam(store).chats() = {conversation(7, {me, bot}), conversation(8, {me, ann}, true),
                               conversation(9, {me, ann, bot}, true)};
        QVERIFY(!chatShowsSenders(store, 7));
        QVERIFY(chatShowsSenders(store, 8));
        QVERIFY(chatShowsSenders(store, 9));
        QVERIFY(!chatShowsSenders(store, 10)); // unknown, no fallback
        const ChatSummary gone = conversation(10, {me, ann});
        QVERIFY(chatShowsSenders(store, 10, &gone));
    }

    void days() {
        QCOMPARE(Fmt::day(noonDaysAgo(0)), "Today");
        QCOMPARE(Fmt::day(noonDaysAgo(1)), "Yesterday");
        const QString older =
            Fmt::day(QDateTime(QDate(2021, 3, 12), QTime(9, 0)).toMSecsSinceEpoch());
        QVERIFY2(older.contains("2021") && older.contains("12"), qPrintable(older));
        QCOMPARE(Fmt::dayKey(noonDaysAgo(0)), Fmt::dayKey(noonDaysAgo(0) + 3600000));
        QVERIFY(Fmt::dayKey(noonDaysAgo(0)) != Fmt::dayKey(noonDaysAgo(1)));
        Loc::setCurrent(AppLanguage::de);
        QCOMPARE(Fmt::day(noonDaysAgo(0)), "Heute");
        Loc::setCurrent(AppLanguage::en);
        QCOMPARE(Fmt::day(noonDaysAgo(0)), "Today");
    }

    void ago_data() {
        QTest::addColumn<qint64>("secondsAgo");
        QTest::addColumn<QString>("expected");
        QTest::newRow("now") << qint64(30) << "now";
        QTest::newRow("minutes") << qint64(5 * 60 + 59) << "5 minutes ago";
        QTest::newRow("one hour") << qint64(3600) << "1 hour ago";
        QTest::newRow("days") << qint64(3 * 86400) << "3 days ago";
    }

    void ago() {
        QFETCH(qint64, secondsAgo);
        QFETCH(QString, expected);
        const qint64 now = 1700000000000;
        QCOMPARE(Fmt::ago(now - secondsAgo * 1000, now), expected);
    }

    void preview_data() {
        QTest::addColumn<Message>("message");
        QTest::addColumn<QString>("expected");
        Message audio = textMessage(1, 7, ann, "", 1);
        audio.media = MediaInfo{"audio", "/media/1", {}, {}, {}};
        Message transcribed = audio;
        transcribed.transcript = "call me back";
        Message photo = textMessage(1, 7, ann, "", 1);
        photo.album = QList<MediaInfo>{MediaInfo{"image", "/media/2", {}, {}, {}}};
        Message captioned = photo;
        captioned.text = "see https://www.example.com/x";
        QTest::newRow("voice, empty transcript") << audio << "🎤 Voice message";
        QTest::newRow("voice with transcript") << transcribed << "🎤 call me back";
        QTest::newRow("album without caption") << photo << "📷 Photo";
        QTest::newRow("caption with a short link") << captioned << "see example.com/x";
        QTest::newRow("control") << textMessage(1, 7, bot,
                                                Config::ccControlPrefix.toString() + "{}", 1)
                                 << "";
        QTest::newRow("working") << textMessage(1, 7, bot, "💭 Claude is working…", 1) << "";
        QTest::newRow("system note")
            << textMessage(1, 7, bot, Config::ccSystemPrefix.toString() + "Session restarted", 1)
            << "Session restarted";
    }

    void preview() {
        QFETCH(Message, message);
        QFETCH(QString, expected);
        QCOMPARE(previewBody(message), expected);
    }

    void notificationStyle_data() {
        QTest::addColumn<NotifLevel>("direct");
        QTest::addColumn<NotifLevel>("group");
        QTest::addColumn<bool>("muteAll");
        QTest::addColumn<NotificationStyle>("expected");
        QTest::newRow("default") << NotifLevel::banner << NotifLevel::banner << false
                                 << NotificationStyle::banner;
        QTest::newRow("any banner")
            << NotifLevel::none << NotifLevel::banner << false << NotificationStyle::banner;
        QTest::newRow("badge only")
            << NotifLevel::badge << NotifLevel::none << false << NotificationStyle::badge;
        QTest::newRow("mute all") << NotifLevel::banner << NotifLevel::banner << true
                                  << NotificationStyle::off;
    }

    void notificationStyle() {
        QFETCH(NotifLevel, direct);
        QFETCH(NotifLevel, group);
        QFETCH(bool, muteAll);
        QFETCH(NotificationStyle, expected);
        Store store;
        seam(store).notifPrefs().directMessages.level = direct;
        seam(store).notifPrefs().groupMessages.level = group;
        seam(store).notifPrefs().mentions.level = NotifLevel::none;
        seam(store).notifPrefs().muteAll = muteAll;
        QCOMPARE(store.notificationStyle(), expected);
    }

    void readsAndUnread() {
        Store store;
        seam(store).me() = me;
        seam(store).chats() = {conversation(7, {me, ann, person(3, "cy")}, true)};
        seam(store).messages()[7] = {textMessage(10, 7, ann, "a", 1),
                                     textMessage(11, 7, me, "b", 2),
                                     textMessage(12, 7, bot, Config::ccControlPrefix.toString(), 3),
                                     textMessage(13, 7, ann, "c", 4)};
        seam(store).reads()[7] = {{me.id, 10}, {ann.id, 11}, {3, 13}};
        seam(store).readAt()[7] = {{ann.id, 5000}};
        QCOMPARE(store.firstUnreadId(7), 13); // past my own and the control message
        QVERIFY(store.isReadByOthers(textMessage(11, 7, me, "b", 2)));
        QVERIFY(store.isReadByOthers(textMessage(13, 7, me, "b", 2)));
        QVERIFY(!store.isReadByOthers(textMessage(14, 7, me, "b", 2)));
        const auto receipts = store.readReceipts(textMessage(11, 7, me, "b", 2));
        QCOMPARE(receipts.size(), 2);
        QCOMPARE(receipts[0].user.id, ann.id); // with a time, before the one without
        QCOMPARE(receipts[0].at->toMSecsSinceEpoch(), 5000);
        QVERIFY(!receipts[1].at);
        seam(store).reads()[7][me.id] = 13;
        QVERIFY(!store.firstUnreadId(7));
        QVERIFY(!store.firstUnreadId(99));
    }

    void typingNamesExpireAndStrangersAreSomeone() {
        Store store(StoreOptions{0.02}); // 5 s of typing lasts 100 ms
        seam(store).me() = me;
        seam(store).users() = {ann};
        seam(store).chats() = {conversation(7, {me, ann, person(3, "cy")}, true)};
        for (const User& u : {ann, person(3, "cy"), person(44, "ghost")})
            store.handleEvent(frameText({{"type", "typing"},
                                         {"chatId", 7},
                                         {"user", QJsonObject{{"id", u.id}, {"username", "?"}}}}),
                              0);
        QCOMPARE(store.typingNames(7), (QStringList{"ann", "cy", "someone"}));
        QTRY_COMPARE_WITH_TIMEOUT(store.typingNames(7), QStringList(), 2000);
    }

    void presence() {
        Store store;
        User seen = ann;
        QCOMPARE(store.presenceText(seen), "Offline");
        seen.lastSeen = QDateTime::currentMSecsSinceEpoch() - 2 * 3600 * 1000 - 1000;
        QCOMPARE(store.presenceText(seen), "Last seen 2 hours ago");
        seam(store).onlineUserIds().insert(ann.id);
        QVERIFY(store.isOnline(ann.id));
        QCOMPARE(store.presenceText(seen), "Online");
    }

    void rolesAndChannels() {
        Store store;
        seam(store).me() = me;
        seam(store).botIds() = {bot.id};
        QVERIFY(store.isAIChannel(conversation(7, {me, bot})));
        QVERIFY(!store.isAIChannel(conversation(8, {me, bot, ann}, true)));
        QVERIFY(!store.isAIChannel(conversation(9, {me})));
        QCOMPARE(store.groupRole(8, me.id), GroupRole::user);
        QVERIFY(!store.canManageGroup(8));
        seam(store).groupRoles()[8][me.id] = GroupRole::admin;
        QVERIFY(store.canManageGroup(8));
    }

    void toastsKeepTheirFullTime() {
        Store store(StoreOptions{0.2}); // 1.5 s becomes 300 ms
        store.showToast("first");
        QTest::qWait(200);
        store.showToast("second");
        QTest::qWait(150); // the first timer ends here and must leave "second" alone
        QCOMPARE(store.toast(), "second");
        QTRY_VERIFY_WITH_TIMEOUT(!store.toast(), 1000);
        QCOMPARE(store.toastId(), 2);
    }

    void nominatim_data() {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<bool>("found");
        QTest::addColumn<double>("lat");
        QTest::addColumn<double>("lon");
        QTest::newRow("first place")
            << QByteArray(R"([{"lat":"48.85","lon":"2.35"},{"lat":"1","lon":"1"}])") << true
            << 48.85 << 2.35;
        QTest::newRow("skips a bad place")
            << QByteArray(R"([{"lat":"x","lon":"2"},{"lat":"-33.9","lon":"151.2"}])") << true
            << -33.9 << 151.2;
        QTest::newRow("out of range")
            << QByteArray(R"([{"lat":"91","lon":"0"}])") << false << 0.0 << 0.0;
        QTest::newRow("numbers are not texts")
            << QByteArray(R"([{"lat":1,"lon":2}])") << false << 0.0 << 0.0;
        QTest::newRow("no match") << QByteArray("[]") << false << 0.0 << 0.0;
        QTest::newRow("not json") << QByteArray("<html>") << false << 0.0 << 0.0;
    }

    void nominatim() {
        QFETCH(QByteArray, body);
        QFETCH(bool, found);
        const auto point = parseNominatimReply(body);
        QCOMPARE(point.has_value(), found);
        if (!found) return;
        QFETCH(double, lat);
        QFETCH(double, lon);
        QCOMPARE(point->lat, lat);
        QCOMPARE(point->lon, lon);
    }

    void nominatimUrl() {
        const NominatimGeocoder geocoder(QUrl("https://geo.example/nominatim"));
        QCOMPARE(geocoder.searchUrl("10 Rue de Rivoli, Paris").toString(QUrl::FullyEncoded),
                 "https://geo.example/nominatim/"
                 "search?q=10%20Rue%20de%20Rivoli,%20Paris&format=json&limit=1");
    }
};

QTEST_GUILESS_MAIN(TestConversationRules)
#include "test_conversation_rules.moc"
