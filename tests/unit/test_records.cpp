#include "model/Config.h"
#include "model/Models.h"

#include <QTest>

namespace {

QJsonObject obj(const char* text) {
    return QJsonDocument::fromJson(QByteArray(text)).object();
}

QByteArray bytes(const QJsonObject& o) { return QJsonDocument(o).toJson(QJsonDocument::Compact); }

template <typename T>
bool decodes(const QJsonObject& o) {
    return json::tryDecode<T>(bytes(o)).has_value();
}

QJsonObject userJson() { return obj(R"({"id":7,"username":"ana"})"); }

QJsonObject messageJson() {
    return obj(R"({"id":10,"chatId":3,"senderId":7,"senderName":"ana","text":"hi",
                   "createdAt":1700000000000})");
}

QJsonObject chatJson() {
    QJsonObject c = obj(R"({"id":3,"kind":"direct","createdAt":5,"tavikAgent":false})");
    c["members"] = QJsonArray{userJson()};
    return c;
}

QJsonObject catPref() { return obj(R"({"level":"Banner","sound":true})"); }

QJsonObject notifPrefsJson() {
    QJsonObject p;
    for (const char* k :
         {"directMessages", "groupMessages", "mentions", "calls", "communityPosts"})
        p[k] = catPref();
    p["muteAll"] = false;
    return p;
}

} // namespace

class TestRecords : public QObject {
    Q_OBJECT

private slots:
    // Each record: required keys fail when missing, null or mistyped; optional
    // keys may be missing or null; unknown keys are ignored.
    void requiredOptionalNullWrongTypeUnknown_data() {
        QTest::addColumn<QByteArray>("record");
        QTest::addColumn<QString>("key");
        QTest::addColumn<bool>("required");
        QTest::newRow("User.id") << QByteArray("User") << "id" << true;
        QTest::newRow("User.username") << QByteArray("User") << "username" << true;
        QTest::newRow("Message.id") << QByteArray("Message") << "id" << true;
        QTest::newRow("Message.chatId") << QByteArray("Message") << "chatId" << true;
        QTest::newRow("Message.senderId") << QByteArray("Message") << "senderId" << true;
        QTest::newRow("Message.senderName") << QByteArray("Message") << "senderName" << true;
        QTest::newRow("Message.text") << QByteArray("Message") << "text" << true;
        QTest::newRow("Message.createdAt") << QByteArray("Message") << "createdAt" << true;
        QTest::newRow("Chat.id") << QByteArray("ChatSummary") << "id" << true;
        QTest::newRow("Chat.kind") << QByteArray("ChatSummary") << "kind" << true;
        QTest::newRow("Chat.members") << QByteArray("ChatSummary") << "members" << true;
        QTest::newRow("Chat.createdAt") << QByteArray("ChatSummary") << "createdAt" << true;
        QTest::newRow("Chat.tavikAgent") << QByteArray("ChatSummary") << "tavikAgent" << true;
    }

    void requiredOptionalNullWrongTypeUnknown() {
        QFETCH(QByteArray, record);
        QFETCH(QString, key);
        QJsonObject base = record == "User"      ? userJson()
                           : record == "Message" ? messageJson()
                                                 : chatJson();
        auto check = [&](const QJsonObject& o) {
            if (record == "User") return decodes<User>(o);
            if (record == "Message") return decodes<Message>(o);
            return decodes<ChatSummary>(o);
        };
        QVERIFY(check(base));
        QJsonObject unknown = base;
        unknown["someFutureKey"] = QJsonArray{1, 2};
        QVERIFY(check(unknown));
        QJsonObject missing = base;
        missing.remove(key);
        QVERIFY(!check(missing));
        QJsonObject null = base;
        null[key] = QJsonValue::Null;
        QVERIFY(!check(null));
        QJsonObject wrong = base;
        wrong[key] = QJsonObject{};
        QVERIFY(!check(wrong));
    }

    void optionalKeysMayBeMissingOrNull() {
        QJsonObject u = userJson();
        u["avatarAt"] = QJsonValue::Null;
        u["lat"] = 1.5;
        const User user = json::decode<User>(bytes(u));
        QVERIFY(!user.avatarAt);
        QCOMPARE(*user.lat, 1.5);
        QVERIFY(!user.email);

        QJsonObject wrongOptional = userJson();
        wrongOptional["email"] = 3;
        QVERIFY(!decodes<User>(wrongOptional));
        QJsonObject fractionalId = userJson();
        fractionalId["id"] = 1.5;
        QVERIFY(!decodes<User>(fractionalId));
    }

    void largeIdsStayExact() {
        const QByteArray text = R"({"id":9007199254740993,"username":"big"})";
        QCOMPARE(json::decode<User>(text).id, Q_INT64_C(9007199254740993));
        User u;
        u.id = Q_INT64_C(3) << 40 | 5;
        u.username = "x";
        QCOMPARE(json::decode<User>(json::encode(u)).id, u.id);
    }

    void nestedFailureFailsTheWholeReply() {
        QJsonObject chat = chatJson();
        chat["members"] = QJsonArray{userJson(), obj(R"({"id":"8","username":"bo"})")};
        QJsonObject boot;
        boot["me"] = userJson();
        boot["users"] = QJsonArray{};
        boot["chats"] = QJsonArray{chat};
        QVERIFY(!decodes<BootstrapResponse>(boot));
        boot["chats"] = QJsonArray{chatJson()};
        QVERIFY(decodes<BootstrapResponse>(boot));
    }

    void pendingIsNeverReadOrWritten() {
        QJsonObject m = messageJson();
        m["isPending"] = true;
        const Message msg = json::decode<Message>(bytes(m));
        QVERIFY(!msg.isPending);
        Message pending = msg;
        pending.isPending = true;
        QVERIFY(!pending.toJson().contains("isPending"));
    }

    void notifPrefsNeedsEveryCategory() {
        QVERIFY(decodes<NotifPrefs>(notifPrefsJson()));
        QJsonObject lacking = notifPrefsJson();
        lacking.remove("communityPosts");
        QVERIFY(!decodes<NotifPrefs>(lacking));
        QJsonObject lowerLevel = notifPrefsJson();
        lowerLevel["mentions"] = obj(R"({"level":"banner","sound":true})");
        QVERIFY(!decodes<NotifPrefs>(lowerLevel));
        const NotifPrefs defaults;
        QCOMPARE(defaults.calls.level, NotifLevel::banner);
        QVERIFY(defaults.calls.sound);
        QVERIFY(!defaults.muteAll);
        QCOMPARE(json::decode<NotifPrefs>(json::encode(defaults)), defaults);
    }

    void groupRolesAreCapitalised() {
        const QByteArray good = R"({"groupRoles":[{"chatId":1,"userId":2,"role":"Owner"},
                                                  {"chatId":1,"userId":3,"role":"Admin"}]})";
        const auto roles = json::decode<GroupRolesResponse>(good);
        QCOMPARE(roles.groupRoles.size(), 2);
        QCOMPARE(roles.groupRoles[1].role, GroupRole::admin);
        const QByteArray bad = R"({"groupRoles":[{"chatId":1,"userId":2,"role":"Owner"},
                                                 {"chatId":1,"userId":3,"role":"owner"}]})";
        QVERIFY(!json::tryDecode<GroupRolesResponse>(bad));
    }

    void encodingOmitsAbsentFieldsAndRoundTrips() {
        QJsonObject m = messageJson();
        m["replyTo"] = obj(R"({"id":1,"senderId":2,"senderName":"x","text":"q"})");
        m["album"] = QJsonArray{obj(R"({"kind":"image","url":"/m/1.jpg","width":4,"height":3})")};
        m["reactions"] = QJsonArray{obj(R"({"emoji":"👍","userIds":[1,2]})")};
        const Message msg = json::decode<Message>(bytes(m));
        QCOMPARE(json::decode<Message>(json::encode(msg)), msg);
        QVERIFY(!msg.toJson().contains("media"));
        QVERIFY(!msg.toJson().contains("editedAt"));

        const QByteArray usage = R"({"fiveHour":{"utilization":42.5,"resets_at":"2026-11-22T10:00:00Z"}})";
        const ClaudeUsage u = json::decode<ClaudeUsage>(usage);
        QVERIFY(u.fiveHour->toJson().contains("resets_at"));
        QCOMPARE(json::decode<ClaudeUsage>(json::encode(u)), u);
    }

    void wsEventAndHostDecode() {
        const QByteArray typing = R"({"type":"typing","chatId":4,"user":{"id":2,"username":"b"},
                                      "device":"abc"})";
        const WsEvent e = json::decode<WsEvent>(typing);
        QCOMPARE(e.type, "typing");
        QCOMPARE(*e.chatId, 4);
        QCOMPARE(e.user->username, "b");
        QVERIFY(!json::tryDecode<WsEvent>(R"({"chatId":4})"));
        QVERIFY(!json::tryDecode<WsEvent>("not json"));
        QVERIFY(!json::tryDecode<WsEvent>(R"([1,2])"));

        const QByteArray host = R"({"online":true,"accounts":[{"email":"a@b"}],
                                    "chatAccounts":{"12":"a@b"}})";
        const ClaudeHost h = json::decode<ClaudeHost>(host);
        QCOMPARE(h.chatAccounts->value("12"), "a@b");
        QVERIFY(!json::tryDecode<ClaudeHost>(R"({"mac":"m"})"));
    }

    void chatDerivedValues() {
        ChatSummary c = json::decode<ChatSummary>(bytes(chatJson()));
        QVERIFY(!c.isGroup());
        QCOMPARE(c.activityAt(), 5);
        QCOMPARE(c.displayTitle(7), "ana (you)");
        c.title = QString();
        QCOMPARE(c.displayTitle(7), "ana (you)");
        c.members.push_back(User{8, "bo"});
        c.members.push_back(User{9, "cy"});
        QCOMPARE(c.displayTitle(7), "bo, cy");
        QCOMPARE(c.displayTitle(std::nullopt), "ana, bo, cy");
        c.title = "Team";
        QCOMPARE(c.displayTitle(7), "Team");
        c.title.reset();
        c.members.clear();
        QCOMPARE(c.displayTitle(7), "Conversation");
        c.lastMessage = json::decode<Message>(bytes(messageJson()));
        QCOMPARE(c.activityAt(), 1700000000000);
        c.kind = "group";
        QVERIFY(c.isGroup());
    }

    void buildStatusAndUsageDerivedValues() {
        BuildStatus queued{"queued", {}, {}};
        QVERIFY(queued.isWaiting());
        QVERIFY(!queued.isActive());
        BuildStatus upload{"building", 40, QString("Uploading to the store")};
        QVERIFY(upload.isShipping());
        BuildStatus compile{"building", 40, QString("Compiling")};
        QVERIFY(!compile.isShipping());
        QVERIFY(compile.isActive());
        BuildStatus quota{"building", {}, QString("Checking quotas")}; // "ota" inside a word
        QVERIFY(quota.labelLooksLikeDeploy());
        const BuildStatus deploying{"deploying", {}, {}};
        QVERIFY(deploying.isShipping());

        ClaudeUsageWindow w;
        QVERIFY(!w.resetDate());
        w.resetsAt = "2026-11-22T10:00:00.250Z";
        QCOMPARE(w.resetDate()->toMSecsSinceEpoch() % 1000, 250);
        w.resetsAt = "2026-11-22T10:00:00+01:00";
        QCOMPARE(w.resetDate()->toUTC().time().hour(), 9);
        w.resetsAt = "tomorrow";
        QVERIFY(!w.resetDate());
    }

    void decisionPrompt() {
        Message m;
        m.text = QString::fromUtf8("🔐 Allow rm -rf build?");
        QVERIFY(m.isDecisionPrompt());
        m.text = QString::fromUtf8("Allow? 🔐");
        QVERIFY(!m.isDecisionPrompt());
    }

    void localRecordsRoundTrip() {
        ServerProfile p{QUuid::createUuid(), 2, "Lab", "https://lab:8391", "tok", {}};
        QCOMPARE(json::decode<ServerProfile>(json::encode(p)), p);
        QJsonObject bad = p.toJson();
        bad["id"] = "not-a-uuid";
        QVERIFY(!decodes<ServerProfile>(bad));
        DeployTarget t{"web", "https://x.dev", {}};
        QCOMPARE(json::decode<DeployTarget>(json::encode(t)), t);
        QVERIFY(!t.isApp());
        WorkTask task;
        task.title = "ship";
        task.createdAt = QDateTime::fromMSecsSinceEpoch(1000);
        QCOMPARE(json::decode<WorkTask>(json::encode(task)), task);
    }

    void configEnumerations() {
        QCOMPARE(Config::permissionFromRaw("full"), Config::CCPermission::dangerous);
        QCOMPARE(Config::rawValue(*Config::permissionFromRaw("full")), "dangerous");
        QVERIFY(!Config::effortFromRaw("extreme"));
        QCOMPARE(Config::effortFromRaw("extreme").value_or(Config::defaultEffort),
                 Config::CCEffort::medium);
        QCOMPARE(Config::shortLabel(Config::CCEffort::xhigh), "xhi");
        QCOMPARE(Config::modelId(Config::CCModel::defaultModel), QString());
        QCOMPARE(Config::modelFromId("claude-haiku-4-5-20251001"), Config::CCModel::haiku);
        QCOMPARE(Config::fallbackModels().size(), 5);
        QCOMPARE(Config::fallbackModels()[1].id, "claude-sonnet-5");
    }
};

QTEST_GUILESS_MAIN(TestRecords)
#include "test_records.moc"
