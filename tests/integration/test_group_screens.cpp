#include "store/Store.h"
#include "support/Accounts.h"
#include "support/ClientEnv.h"
#include "support/ServerProcess.h"
#include "ui/GroupSettingsModel.h"
#include "ui/PeopleModel.h"
#include "ui/UserProfileModel.h"

#include <QImage>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace {
QVariant cell(const QAbstractItemModel& model, int row, const QByteArray& name) {
    return model.data(model.index(row, 0), model.roleNames().key(name, -1));
}

QStringList column(const QAbstractItemModel& model, const QByteArray& name) {
    QStringList out;
    for (int row = 0; row < model.rowCount(); ++row)
        out << cell(model, row, name).toString();
    return out;
}

// The role the group's settings show for one member, or empty when not a member.
QString roleOf(const GroupSettingsModel& group, const QString& name) {
    const int row = int(column(group, "name").indexOf(name));
    return row < 0 ? QString() : cell(group, row, "groupRole").toString();
}

bool settled(const GroupSettingsModel& group) {
    return QTest::qWaitFor([&] { return !group.busy(); }, 10000);
}

bool isDirectWith(const Store& store, qint64 chatId, qint64 userId) {
    const ChatSummary* chat = store.chat(chatId);
    return chat && !chat->isGroup() &&
           std::any_of(chat->members.begin(), chat->members.end(),
                       [userId](const User& u) { return u.id == userId; });
}
} // namespace

// A group's settings, the people section and another person's profile,
// driven through their view models by two clients of the real server: what
// one does in a group, the other sees.
class TestGroupScreens : public QObject {
    Q_OBJECT

    std::unique_ptr<ServerProcess> server;
    std::unique_ptr<ClientEnv> env;
    std::unique_ptr<Store> alice, bob;
    std::optional<Account> carol, dave;

private slots:
    void initTestCase() {
        ServerProcess::Options options;
        options.names << "dave";
        server = std::make_unique<ServerProcess>(options);
        QVERIFY2(server->start(), qPrintable(server->errorString()));
        carol = signIn(*server, "carol");
        dave = signIn(*server, "dave");
    }

    void init() {
        env = std::make_unique<ClientEnv>();
        alice = launchSignedIn(*server, "alice");
        bob = launchSignedIn(*server, "bob");
        QVERIFY(alice->me() && bob->me());
    }

    void cleanup() {
        bob.reset();
        alice.reset();
        env.reset();
    }

    void everyChangeReachesTheOtherClient() {
        const auto made = await(alice->createGroup("Crew", {bob->me()->id, carol->user.id}));
        QVERIFY(made);
        const qint64 id = made->id;
        QTRY_VERIFY_WITH_TIMEOUT(bob->chat(id), 5000);
        GroupSettingsModel mine(alice.get()), theirs(bob.get());
        mine.open(id);
        theirs.open(id);
        QTRY_VERIFY_WITH_TIMEOUT(mine.isOwner() && mine.canManage(), 5000);
        QTRY_COMPARE_WITH_TIMEOUT(roleOf(theirs, "alice"), QString("Owner"), 5000);
        QVERIFY(!theirs.canManage());
        QCOMPARE(column(mine, "name"), QStringList({"alice", "bob", "carol"})); // owner first

        mine.rename("  Crew two ");
        QVERIFY(settled(mine));
        QCOMPARE(mine.title(), "Crew two");
        QTRY_COMPARE_WITH_TIMEOUT(theirs.title(), QString("Crew two"), 5000);

        // Only people outside the group are offered; a member cannot add anyone.
        mine.setCandidateSearch(" DA ");
        QCOMPARE(mine.candidates().size(), 1);
        QCOMPARE(mine.candidates().first().toMap().value("name").toString(), "dave");
        QVERIFY(theirs.candidates().isEmpty());
        mine.addMembers({dave->user.id});
        QVERIFY(settled(mine));
        QTRY_COMPARE_WITH_TIMEOUT(theirs.rowCount(), 4, 5000);

        // The role travels apart from the group: bob's client learns it and
        // may now remove people.
        mine.setAdmin(bob->me()->id, true);
        QVERIFY(settled(mine));
        QCOMPARE(mine.errorText(), QString());
        QTRY_VERIFY_WITH_TIMEOUT(theirs.canManage(), 5000);
        QCOMPARE(roleOf(theirs, "bob"), "Admin");
        QCOMPARE(column(theirs, "name").mid(0, 2), QStringList({"alice", "bob"}));
        theirs.removeMember(carol->user.id);
        QVERIFY(settled(theirs));
        QTRY_COMPARE_WITH_TIMEOUT(roleOf(mine, "carol"), QString(), 5000);
        QCOMPARE(mine.rowCount(), 3);

        mine.setAdmin(bob->me()->id, false);
        QVERIFY(settled(mine));
        QTRY_VERIFY_WITH_TIMEOUT(!theirs.canManage(), 5000);
        QCOMPARE(roleOf(theirs, "bob"), "User");

        // The owner stays; bob leaves, and both clients see him gone.
        mine.leave();
        QVERIFY(!mine.busy());
        QSignalSpy left(&theirs, &GroupSettingsModel::left);
        theirs.leave();
        QVERIFY(settled(theirs));
        QVERIFY(!theirs.exists());
        QCOMPARE(left.count(), 1);
        QVERIFY(!bob->chat(id));
        QTRY_COMPARE_WITH_TIMEOUT(roleOf(mine, "bob"), QString(), 5000);
        QCOMPARE(column(mine, "name"), QStringList({"alice", "dave"}));
    }

    void groupPicture() {
        const auto made = await(alice->createGroup("Pictured", {bob->me()->id}));
        QVERIFY(made);
        QTRY_VERIFY_WITH_TIMEOUT(bob->chat(made->id), 5000);
        GroupSettingsModel mine(alice.get()), theirs(bob.get());
        mine.open(made->id);
        theirs.open(made->id);
        QVERIFY(theirs.avatarUrl().isEmpty());

        QTemporaryDir dir;
        const QString notAPicture = dir.filePath("notes.png");
        QFile file(notAPicture);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write("plain text") > 0);
        file.close();
        mine.setPicture(QUrl::fromLocalFile(notAPicture));
        QCOMPARE(mine.errorText(), "Unsupported image format");
        mine.setPicture(QUrl::fromLocalFile(dir.filePath("missing.png")));
        QCOMPARE(mine.errorText(), "Could not read file");

        QImage image(640, 480, QImage::Format_RGB32);
        image.fill(Qt::darkMagenta);
        const QString picture = dir.filePath("crew.png");
        QVERIFY(image.save(picture));
        mine.setPicture(QUrl::fromLocalFile(picture));
        QVERIFY(settled(mine));
        QCOMPARE(mine.errorText(), QString());
        QVERIFY(!mine.avatarUrl().isEmpty());
        QTRY_VERIFY_WITH_TIMEOUT(!theirs.avatarUrl().isEmpty(), 5000);
    }

    void settingsOfEachKindOfConversation() {
        GroupSettingsModel settings(alice.get());
        const auto group = await(alice->createGroup("Kinds", {bob->me()->id}));
        const auto direct = await(alice->startDirect(*bob->me()));
        QVERIFY(group && direct);
        QCOMPARE(settings.openSettingsOf(group->id), "group");
        QCOMPARE(settings.chatId(), group->id);
        QCOMPARE(settings.openSettingsOf(direct->id), "person");
        QVERIFY(alice->profileUser() && alice->profileUser()->id == bob->me()->id);
        await(alice->openSavedMessages());
        QCOMPARE(settings.openSettingsOf(*alice->savedChatId()), QString());
        QCOMPARE(settings.openSettingsOf(999999), QString());
    }

    void peopleAndTheirProfiles() {
        PeopleModel people(alice.get());
        QTRY_VERIFY_WITH_TIMEOUT(column(people, "name").contains("dave"), 5000);
        const QStringList everyone = column(people, "name");
        QVERIFY(!everyone.contains("alice"));
        QVERIFY(std::is_sorted(everyone.begin(), everyone.end()));
        QCOMPARE(people.serverCount(), 1);
        people.setSearch(" CAR ");
        QCOMPARE(column(people, "name"), QStringList{"carol"});
        people.setSearch({});

        // Bob's client is connected: online, and what device it was.
        UserProfileModel profile(alice.get());
        people.showProfile(bob->me()->id);
        QCOMPARE(profile.userId(), bob->me()->id);
        QTRY_COMPARE_WITH_TIMEOUT(profile.presence(), QString("Online"), 5000);
        QTRY_VERIFY_WITH_TIMEOUT(!profile.lastConnected().isEmpty(), 5000);
        QVERIFY2(profile.lastConnected().startsWith("Last connected: Mac · app "),
                 qPrintable(profile.lastConnected()));
        QCOMPARE(profile.deviceIcon(), "laptopcomputer");
        // Carol never had a client: nothing to tell, and the last person's device is gone.
        people.showProfile(carol->user.id);
        QCOMPARE(profile.lastConnected(), QString());
        QVERIFY(!profile.online());

        profile.startConversation();
        QTRY_VERIFY_WITH_TIMEOUT(!alice->profileUser(), 5000);
        QVERIFY(alice->selectedChatId());
        QVERIFY(isDirectWith(*alice, *alice->selectedChatId(), carol->user.id));

        alice->setSection(AppSection::contacts);
        QSignalSpy opened(&people, &PeopleModel::opened);
        people.message(dave->user.id);
        QTRY_VERIFY_WITH_TIMEOUT(!people.busy(), 5000);
        QVERIFY(isDirectWith(*alice, *alice->selectedChatId(), dave->user.id));
        QCOMPARE(alice->section(), AppSection::people);
        QCOMPARE(opened.count(), 1);

        people.openSavedMessages();
        QTRY_VERIFY_WITH_TIMEOUT(!people.busy(), 5000);
        QVERIFY(alice->isSavedMessages(*alice->chat(*alice->selectedChatId())));

        // No agent on this server: the sheet says why.
        QVERIFY(people.agents().isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestGroupScreens)
#include "test_group_screens.moc"
