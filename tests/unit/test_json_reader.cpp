// The reader decoders against the QJsonDocument ones: the same bytes give
// equal records or both fail, and the outcome is the one the rules ask for.
#include "model/Models.h"

#include <QTest>
#include <functional>

namespace {

enum class Outcome { Accepted, Rejected, Disagree, Differ };

template <typename T>
Outcome bothPaths(const QByteArray& bytes) {
    std::optional<T> viaReader = json::tryDecode<T>(bytes);
    std::optional<T> viaDocument;
    try {
        viaDocument = json::decodeViaDocument<T>(bytes);
    } catch (const DecodeError&) {
    }
    if (viaReader.has_value() != viaDocument.has_value()) return Outcome::Disagree;
    if (!viaReader) return Outcome::Rejected;
    return *viaReader == *viaDocument ? Outcome::Accepted : Outcome::Differ;
}

Outcome bothPaths(const QByteArray& record, const QByteArray& bytes) {
    static const QMap<QByteArray, std::function<Outcome(const QByteArray&)>> byName{
        {"User", bothPaths<User>},
        {"Message", bothPaths<Message>},
        {"ChatSummary", bothPaths<ChatSummary>},
        {"NotifPrefs", bothPaths<NotifPrefs>},
        {"ClaudeHost", bothPaths<ClaudeHost>},
        {"BootstrapResponse", bothPaths<BootstrapResponse>},
        {"MessagesResponse", bothPaths<MessagesResponse>},
        {"WsEvent", bothPaths<WsEvent>},
    };
    return byName.value(record)(bytes);
}

QByteArray user(const QByteArray& extra) {
    return R"({"id":7,"username":"ana")" + (extra.isEmpty() ? "" : "," + extra) + "}";
}

QByteArray message(const QByteArray& extra) {
    return R"({"id":10,"chatId":3,"senderId":7,"senderName":"ana","text":"hi","createdAt":5)" +
           (extra.isEmpty() ? "" : "," + extra) + "}";
}

QByteArray nested(int depth) {
    return QByteArray(depth, '[') + QByteArray(depth, ']');
}

const char* const prefs = R"({"directMessages":{"level":"Banner","sound":true},
    "groupMessages":{"level":"Badge","sound":false},"mentions":{"level":"None","sound":true},
    "calls":{"level":"Banner","sound":true},"communityPosts":{"level":"Banner","sound":true},
    "muteAll":false})";

const char* const frame =
    R"({"type":"message","message":{"id":12,"chatId":3,"senderId":7,"senderName":"ana",)"
    R"("text":"line\none \u00e9\ud83d\ude00","createdAt":5,"replyTo":{"id":1,"senderId":2,)"
    R"("senderName":"bo","text":"q"},"reactions":[{"emoji":"x","userIds":[7,8]}],)"
    R"("album":[{"kind":"image","url":"/a.jpg","width":4}],"editedAt":null}})";

// About 400 kB shaped like a real bootstrap.
QByteArray bigBootstrap() {
    QJsonArray users;
    QJsonArray chats;
    for (int i = 1; i <= 400; ++i) {
        const QJsonObject u{{"id", i},
                            {"username", QString("person %1").arg(i)},
                            {"lastSeen", qint64(1700000000000) + i},
                            {"lat", i / 7.0}};
        users.append(u);
        const QJsonObject last{{"id", i * 100},      {"chatId", i},        {"senderId", i},
                               {"senderName", "pé"}, {"text", "a\n\"b\""}, {"createdAt", i}};
        chats.append(QJsonObject{{"id", i},
                                 {"kind", i % 3 ? "direct" : "group"},
                                 {"members", QJsonArray{u, u}},
                                 {"lastMessage", last},
                                 {"createdAt", i},
                                 {"tavikAgent", i % 2 == 0},
                                 {"unread", i % 4}});
    }
    const QJsonObject root{{"me", users.first()},
                           {"users", users},
                           {"chats", chats},
                           {"botIds", QJsonArray{2, 3}},
                           {"builds", QJsonObject{{"1", QJsonObject{{"state", "queued"}}}}}};
    return QJsonDocument(root).toJson(QJsonDocument::Indented);
}

} // namespace

class TestJsonReader : public QObject {
    Q_OBJECT

private slots:
    void sameOutcomeBothPaths_data() {
        QTest::addColumn<QByteArray>("record");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("accepted");
        auto row = [](const char* name, const char* record, const QByteArray& bytes, bool ok) {
            QTest::newRow(name) << QByteArray(record) << bytes << ok;
        };
        // Strings and escapes.
        row("all escapes", "User", user("\"email\":\"\\\"\\\\\\/\\b\\f\\n\\r\\t\\u00e9\\u20AC\""),
            true);
        row("surrogate pair", "User", user(R"("email":"\ud83d\ude00")"), true);
        row("lone high surrogate", "User", user(R"("email":"a\ud800b")"), true);
        row("lone low surrogate", "User", user(R"("email":"\udc00")"), true);
        row("raw multibyte", "User", user("\"email\":\"\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80\""),
            true);
        row("noncharacter", "User", user("\"email\":\"\xef\xbf\xbe\""), true);
        row("raw control characters", "User", user("\"email\":\"a\tb\x01\""), true);
        row("raw nul", "User", user(QByteArray("\"email\":\"a") + '\0' + "b\""), true);
        row("short \\u", "User", user(R"("email":"\u12")"), false);
        row("bad hex in \\u", "User", user(R"("email":"\u12G4")"), false);
        row("escaped key", "User", R"({"\u0069d":7,"user\u006eame":"ana"})", true);
        // Invalid UTF-8 anywhere, also where nothing reads it.
        row("invalid byte", "User", user("\"email\":\"\xff\""), false);
        row("overlong", "User", user("\"email\":\"\xc0\xaf\""), false);
        row("encoded surrogate", "User", user("\"email\":\"\xed\xa0\x80\""), false);
        row("truncated sequence", "User", user("\"email\":\"\xe2\x82\""), false);
        row("past U+10FFFF", "User", user("\"email\":\"\xf4\x90\x80\x80\""), false);
        row("lone continuation", "User", user("\"email\":\"\x80\""), false);
        row("invalid in unknown value", "User", user("\"x\":[\"\xc3\""), false);
        row("invalid in key", "User", user("\"\xfe\":1"), false);
        // Numbers.
        row("2^53+1 stays exact", "User", R"({"id":9007199254740993,"username":"a"})", true);
        row("int64 max", "User", R"({"id":9223372036854775807,"username":"a"})", true);
        row("int64 min", "User", R"({"id":-9223372036854775808,"username":"a"})", true);
        row("2^63 is not an int64", "User", R"({"id":9223372036854775808,"username":"a"})", false);
        row("below int64 rounds to min", "User", R"({"id":-9223372036854775809,"username":"a"})",
            true);
        row("-0", "User", R"({"id":-0,"username":"a"})", true);
        row("-0.0", "User", R"({"id":-0.0,"username":"a"})", true);
        row("1e2 for an int", "User", R"({"id":1e2,"username":"a"})", true);
        row("1.0 for an int", "User", R"({"id":1.0,"username":"a"})", true);
        row("1.5e1 for an int", "User", R"({"id":1.5e1,"username":"a"})", true);
        row("1.5 for an int", "User", R"({"id":1.5,"username":"a"})", false);
        row("1e-2 for an int", "User", R"({"id":1e-2,"username":"a"})", false);
        row("huge for an int", "User", R"({"id":1e300,"username":"a"})", false);
        row("int for a double", "User", user(R"("lat":3)"), true);
        row("25 digits for a double", "User", user(R"("lat":1234567890123456789012345)"), true);
        row(".5", "User", user(R"("lat":.5)"), true);
        row("-.5", "User", user(R"("lat":-.5)"), true);
        row("1.", "User", user(R"("lat":1.)"), true);
        row("subnormal", "User", user(R"("lat":4.9e-324)"), true);
        row("overflow", "User", user(R"("lat":1e400)"), false);
        row("underflow", "User", user(R"("lat":1e-400)"), false);
        row("leading zero", "User", user(R"("lat":01)"), false);
        row("plus sign", "User", user(R"("lat":+1)"), false);
        row("bare minus", "User", user(R"("lat":-)"), false);
        row("bare exponent", "User", user(R"("lat":1e)"), false);
        row("NaN", "User", user(R"("lat":NaN)"), false);
        row("Infinity", "User", user(R"("lat":-Infinity)"), false);
        row("bad number in unknown value", "User", user(R"("x":[1e999])"), false);
        // Required, optional, null, wrong type, unknown.
        row("null optional", "User", user(R"("avatarAt":null,"email":null)"), true);
        row("null required", "User", R"({"id":null,"username":"a"})", false);
        row("missing required", "User", R"({"id":7})", false);
        row("wrong type optional", "User", user(R"("email":3)"), false);
        row("wrong type required", "User", R"({"id":"7","username":"a"})", false);
        row("bool is not a number", "User", user(R"("lastSeen":true)"), false);
        row("nested unknown keys", "User", user(R"("x":{"y":[1,{"z":null}],"w":"v"},"e":[])"),
            true);
        // Duplicate keys: the last one counts, as in QJsonObject.
        row("duplicate last wins", "User", R"({"id":1,"username":"a","id":2})", true);
        row("bad then good", "User", R"({"id":"x","username":"a","id":2})", true);
        row("good then bad", "User", R"({"id":2,"username":"a","id":"x"})", false);
        row("value then null required", "User", R"({"id":2,"username":"a","id":null})", false);
        row("value then null optional", "User", user(R"("email":"e","email":null)"), true);
        row("bad then null optional", "User", user(R"("email":3,"email":null)"), true);
        row("escaped duplicate", "User", R"({"id":"x","username":"a","\u0069d":4})", true);
        row("record replaced whole", "Message",
            message(
                R"("media":{"kind":"k","url":"u","name":"n"},"media":{"kind":"k2","url":"u2"})"),
            true);
        row("bad record then good", "Message",
            message(
                R"("replyTo":{"id":1},"replyTo":{"id":1,"senderId":2,"senderName":"s","text":"t"})"),
            true);
        row("list replaced whole", "Message",
            message(R"("reactions":[{"emoji":"a","userIds":[1]}],"reactions":[])"), true);
        row("map duplicate bad then good", "ClaudeHost",
            R"({"online":true,"chatAccounts":{"1":3,"1":"a"}})", true);
        row("map duplicate good then bad", "ClaudeHost",
            R"({"online":true,"chatAccounts":{"1":"a","1":3}})", false);
        row("map value wrong type", "ClaudeHost", R"({"online":true,"chatAccounts":{"1":null}})",
            false);
        // Nesting.
        row("nesting at the limit", "User", user("\"x\":" + nested(1023)), true);
        row("nesting past the limit", "User", user("\"x\":" + nested(1024)), false);
        row("hostile nesting", "User", user("\"x\":" + QByteArray(200000, '[')), false);
        // Structure, whitespace, byte order mark, garbage.
        row("truncated", "Message", message("").chopped(1), false);
        row("trailing comma in object", "User", R"({"id":7,"username":"ana",})", false);
        row("trailing comma in array", "Message",
            message(R"("reactions":[{"emoji":"a","userIds":[1,]}])"), false);
        row("leading comma in array", "Message",
            message(R"("reactions":[,{"emoji":"a","userIds":[]}])"), false);
        row("missing colon", "User", R"({"id" 7,"username":"ana"})", false);
        row("missing comma", "User", R"({"id":7 "username":"ana"})", false);
        row("single quotes", "User", R"({'id':7,"username":"ana"})", false);
        row("all whitespace", "User",
            " \t\r\n{ \t\r\n\"id\" \n: 7 ,\r\"username\"\t:\"a\" \n} \t\r\n", true);
        row("vertical tab", "User", "\v" + user(""), false);
        row("byte order mark", "User", "\xef\xbb\xbf" + user(""), true);
        row("byte order mark twice", "User", "\xef\xbb\xbf\xef\xbb\xbf" + user(""), false);
        row("byte order mark alone", "User", "\xef\xbb\xbf", false);
        row("trailing garbage", "User", user("") + "x", false);
        row("second document", "User", user("") + user(""), false);
        row("trailing nul", "User", user("") + QByteArray(1, '\0'), false);
        row("root array", "User", "[" + user("") + "]", false);
        row("root string", "User", R"("ana")", false);
        row("empty", "User", "", false);
        row("literal typo", "User", user(R"("isGuest":tru)"), false);
        row("literal tail", "User", user(R"("isGuest":nulll)"), false);
        // Enumerations and the other records.
        row("notification levels", "NotifPrefs", prefs, true);
        row("lower-case level", "NotifPrefs", QByteArray(prefs).replace("\"None\"", "\"none\""),
            false);
        row("null level", "NotifPrefs", QByteArray(prefs).replace("\"None\"", "null"), false);
        row("null member", "ChatSummary",
            R"({"id":3,"kind":"direct","members":[null],"createdAt":5,"tavikAgent":false})", false);
        row("members not a list", "ChatSummary",
            R"({"id":3,"kind":"direct","members":{},"createdAt":5,"tavikAgent":false})", false);
        row("frame", "WsEvent", frame, true);
        row("frame without type", "WsEvent", QByteArray(frame).replace("\"type\"", "\"kind\""),
            false);
        row("frame with bad message", "WsEvent",
            QByteArray(frame).replace("\"chatId\":3", "\"chatId\":3.5"), false);
        row("messages page", "MessagesResponse",
            "{\"messages\":[" + message("") + "," + message("") + "]}", true);
        row("bootstrap", "BootstrapResponse", bigBootstrap(), true);
        row("bootstrap with bad chat", "BootstrapResponse",
            bigBootstrap().replace("\"tavikAgent\": true", "\"tavikAgent\": 1"), false);
    }

    void sameOutcomeBothPaths() {
        QFETCH(QByteArray, record);
        QFETCH(QByteArray, bytes);
        QFETCH(bool, accepted);
        QCOMPARE(bothPaths(record, bytes), accepted ? Outcome::Accepted : Outcome::Rejected);
    }

    void valuesComeThroughExactly() {
        const User u = json::decode<User>(
            "{\"id\":9007199254740993,\"lat\":-.5,\"email\":\"\\ud800\","
            "\"username\":\"a\\\"\\\\\\/\\b\\f\\n\\r\\t\\u00e9\\ud83d\\ude00x\"}");
        QCOMPARE(u.id, Q_INT64_C(9007199254740993));
        QCOMPARE(u.username, QString::fromUtf8("a\"\\/\b\f\n\r\t\xc3\xa9\xf0\x9f\x98\x80x"));
        QCOMPARE(*u.lat, -0.5);
        QCOMPARE(u.email->size(), 1);
        QVERIFY(u.email->at(0).isHighSurrogate());
        QCOMPARE(json::decode<User>(R"({"id":1e2,"username":"b","id":-0})").id, 0);
        QCOMPARE(json::decode<User>(R"({"id":1e2,"username":"b"})").id, 100);
        const auto host =
            json::decode<ClaudeHost>(R"({"online":true,"chatAccounts":{"1":"a","1":"b"}})");
        QCOMPARE(host.chatAccounts->value("1"), "b");
        const WsEvent e = json::decode<WsEvent>(frame);
        QCOMPARE(e.message->text, QString::fromUtf8("line\none \xc3\xa9\xf0\x9f\x98\x80"));
        QCOMPARE(e.message->reactions->at(0).userIds, (QList<qint64>{7, 8}));
        QVERIFY(!e.message->editedAt);
    }

    // Cut anywhere, a frame is broken on both paths.
    void everyPrefixIsRejected() {
        const QByteArray whole(frame);
        for (qsizetype n = 0; n < whole.size(); ++n)
            QCOMPARE(bothPaths("WsEvent", whole.left(n)), Outcome::Rejected);
        QCOMPARE(bothPaths("WsEvent", whole), Outcome::Accepted);
    }

    // The one chosen difference: escapes JSON does not define are refused here,
    // while QJsonDocument reads "\q" as "q". It also shows which path decode takes.
    void unknownEscapesAreRefused() {
        const QByteArray text = user(R"("email":"\q")");
        QVERIFY(!json::tryDecode<User>(text));
        QCOMPARE(*json::decodeViaDocument<User>(text).email, "q");
        const QByteArray login = R"({"token":"t\q","user":{"id":1,"username":"a"}})";
        QCOMPARE(json::decode<LoginResponse>(login).token, "tq"); // no reader: document path
        static_assert(json::Readable<WsEvent> && json::Readable<BootstrapResponse>);
        static_assert(!json::Readable<LoginResponse> && !json::Readable<ServerProfile>);
    }

    void errorsSayWhatAndWhere_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("error");
        QTest::newRow("missing") << QByteArray(R"({"id":7})") << "key 'username' is missing";
        QTest::newRow("wrong type") << user(R"("email":3)") << "key 'email' is not a string";
        QTest::newRow("fraction") << QByteArray(R"({"id":7.5,"username":"a"})")
                                  << "key 'id' is not an integer";
        QTest::newRow("root") << QByteArray("[]") << "key '<root>' is not an object";
        QTest::newRow("syntax") << QByteArray(R"({"id":7,})")
                                << "invalid JSON: member expected after a comma at offset 8";
        QTest::newRow("depth") << user("\"x\":" + nested(1024))
                               << "invalid JSON: too deeply nested at offset 1053";
    }

    void errorsSayWhatAndWhere() {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, error);
        try {
            (void)json::decode<User>(bytes);
            QFAIL("decoded");
        } catch (const DecodeError& e) {
            QCOMPARE(e.description(), error);
        }
    }

    void nestedErrorNamesTheInnerKey() {
        try {
            (void)json::decode<WsEvent>(
                QByteArray(frame).replace("\"senderId\":2", "\"senderId\":\"2\""));
            QFAIL("decoded");
        } catch (const DecodeError& e) {
            QCOMPARE(e.description(), "key 'senderId' is not a number");
        }
    }

    // The pull interface on its own: types, numbers, skipping at any depth.
    void pullInterface() {
        json::JsonReader r(R"( {"a":[1,-2.5e1,true,null,"s",{"b":{}}],"c":18446744073709551616} )");
        QCOMPARE(r.peek(), json::JsonReader::Type::Object);
        r.beginObject();
        QVERIFY(r.nextKey());
        QVERIFY(r.rawKey() == "a");
        r.beginArray();
        QVERIFY(r.nextElement());
        const auto one = r.readNumber();
        QVERIFY(one.integral);
        QCOMPARE(one.integer, 1);
        QVERIFY(r.nextElement());
        const auto real = r.readNumber();
        QVERIFY(real.integral); // -25 is an integer
        QCOMPARE(real.integer, -25);
        QVERIFY(r.nextElement());
        QCOMPARE(r.peek(), json::JsonReader::Type::Bool);
        QVERIFY(r.readBool());
        QVERIFY(r.nextElement());
        r.skipValue();
        QVERIFY(r.nextElement());
        QCOMPARE(r.readString(), "s");
        QVERIFY(r.nextElement());
        r.skipValue();
        QVERIFY(!r.nextElement());
        QVERIFY(r.nextKey());
        const auto big = r.readNumber();
        QVERIFY(!big.integral);
        QCOMPARE(big.real, 18446744073709551616.0);
        QVERIFY(!r.nextKey());
        r.finish();
    }
};

QTEST_GUILESS_MAIN(TestJsonReader)
#include "test_json_reader.moc"
