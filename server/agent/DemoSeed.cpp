#include "agent/DemoSeed.h"

#include "agent/AgentHost.h"
#include "agent/DemoMedia.h"
#include "agent/HostMarkers.h"
#include "agent/Turns.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <stdexcept>

namespace {

constexpr qint64 kMinute = 60 * 1000;
// What the demo's first voice message says, as its transcript.
const QString kDemoTranscript = QStringLiteral(
    "The staging deploy looks good. Can you check the login page on mobile before we ship?");
// The session at work runs this many times slower than the others.
constexpr int kBusyPaceFactor = 4;

struct Person {
    const char* name;
    const char* competence;
    const char* email;
};

constexpr Person kPeople[] = {
    {"Maya", "Product design", "maya@velmarin.test"},
    {"Jonas", "Sync engine and storage", "jonas@velmarin.test"},
    {"Priya", "Payments and billing", "priya@velmarin.test"},
    {"Tom", "Release management", "tom@velmarin.test"},
};

class Seeder {
public:
    explicit Seeder(AgentHost& host)
        : m_host(host), m_db(host.context().db), m_now(Storage::now()) {}

    void run() {
        m_owner = *m_db.user(m_host.context().ownerId);
        for (const Person& p : kPeople) {
            const UserRow u = user(QLatin1String(p.name));
            m_db.updateProfile(u.id, {{QStringLiteral("competence"), QLatin1String(p.competence)},
                                      {QStringLiteral("email"), QLatin1String(p.email)}});
            m_people.push_back(u);
        }
        designGroup();
        releaseGroup();
        directChats();
        webSession();
        infraSession();
        mobileSession();
        usage();
        viewerFiles();
    }

private:
    UserRow user(const QString& name) {
        if (const auto existing = m_db.userByName(name)) return *existing;
        return m_db.createUser(name, false, false);
    }

    const UserRow& person(int index) const { return m_people[index]; }
    qint64 ago(int minutes) const { return m_now - minutes * kMinute; }

    MessageRow say(qint64 chatId, const UserRow& from, const QString& text, int minutesAgo,
                   std::optional<qint64> replyTo = std::nullopt, const QByteArray& album = {}) {
        MessageRow m;
        m.chatId = chatId;
        m.senderId = from.id;
        m.senderName = from.username;
        m.text = text;
        m.replyTo = replyTo;
        m.album = album;
        m.createdAt = ago(minutesAgo);
        return m_db.insertMessage(m);
    }

    MessageRow voiceNote(qint64 chatId, const UserRow& from, int index, int minutesAgo,
                         std::optional<QString> transcript) {
        const QString url = demomedia::voice(m_host.context().options.dataDir, index);
        MessageRow m;
        m.chatId = chatId;
        m.senderId = from.id;
        m.senderName = from.username;
        m.text = QStringLiteral("");
        m.media = QJsonDocument(QJsonObject{{QStringLiteral("kind"), QStringLiteral("audio")},
                                            {QStringLiteral("url"), url}})
                      .toJson(QJsonDocument::Compact);
        m.transcript = transcript;
        m.createdAt = ago(minutesAgo);
        return m_db.insertMessage(m);
    }

    // The owner has read everything up to `messageId`.
    void react(qint64 messageId, const QList<std::pair<QString, QList<qint64>>>& given) {
        for (const auto& [emoji, people] : given)
            for (const qint64 id : people)
                m_db.addReaction(messageId, id, emoji, m_now);
    }

    void readUpTo(qint64 chatId, qint64 messageId) {
        m_db.advanceRead(chatId, m_owner.id, messageId, m_now);
    }

    QByteArray album() {
        QJsonArray items;
        for (int i = 0; i < 3; ++i) {
            const demomedia::Picture picture =
                demomedia::landscape(m_host.context().options.dataDir, i);
            items.append(
                QJsonObject{{QStringLiteral("kind"), QStringLiteral("image")},
                            {QStringLiteral("url"), picture.url},
                            {QStringLiteral("width"), picture.width},
                            {QStringLiteral("height"), picture.height},
                            {QStringLiteral("name"), QStringLiteral("offsite-%1.jpg").arg(i + 1)}});
        }
        return QJsonDocument(items).toJson(QJsonDocument::Compact);
    }

    void designGroup() {
        const qint64 chat = m_db.createChat(QStringLiteral("group"), QStringLiteral("Design crew"),
                                            m_owner.id, {person(0).id, person(1).id, person(2).id});
        say(chat, person(0),
            QStringLiteral("Morning! The new onboarding mockups are up — feedback welcome 🙌"), 300);
        const MessageRow table =
            say(chat, person(1),
                QStringLiteral(
                    "Here is where the release stands:\n\n"
                    "| Area | Owner | Status |\n|---|---|---|\n"
                    "| Onboarding | Maya | ✅ done |\n| Sync engine | Jonas | 🟡 in review |\n"
                    "| Billing | Priya | 🔴 blocked |\n\n"
                    "The `sync_v2` flag stays off until the review is done."),
                290);
        say(chat, person(2),
            QStringLiteral("Billing waits for the API keys — see https://example.com/tickets/482 "
                           "and the [runbook](https://example.com/runbook)."),
            280);
        const MessageRow photos =
            say(chat, m_owner, QStringLiteral("Photos from the offsite ☀️"), 270, std::nullopt,
                album());
        react(table.id, {{QStringLiteral("👍"), {m_owner.id, person(0).id, person(2).id}},
                         {QStringLiteral("🔥"), {person(2).id}}});
        react(photos.id, {{QStringLiteral("❤️"), {person(0).id, person(1).id}},
                          {QStringLiteral("😂"), {person(2).id}}});
        say(chat, person(0), QStringLiteral("I'll take the review of `sync_v2` this afternoon."),
            260, table.id);
        const MessageRow last =
            say(chat, person(1),
                QStringLiteral("Thanks! `git switch review/sync-v2` gets you the branch."), 250);
        readUpTo(chat, last.id);
        // Two of the others have seen the photos: the owner's newest message shows it.
        m_db.advanceRead(chat, person(0).id, last.id, m_now);
        m_db.advanceRead(chat, person(1).id, last.id, m_now);
        m_db.updateChat(chat, {{QStringLiteral("pinned_message_id"), QVariant(table.id)}});
    }

    void releaseGroup() {
        const qint64 chat =
            m_db.createChat(QStringLiteral("group"), QStringLiteral("Release train"), m_owner.id,
                            {person(3).id, person(2).id});
        say(chat, person(3),
            QStringLiteral("The 2.4 release candidate is tagged. Changelog: "
                           "https://example.com/changelog"),
            95);
        const MessageRow mine =
            say(chat, m_owner,
                QStringLiteral("Great — I'll have Claude run the deploy to staging."), 90);
        say(chat, person(2),
            QStringLiteral("QA starts at 14:00. Ping me if anything breaks **before** that."), 45);
        say(chat, person(3), QStringLiteral("🚀"), 12);
        readUpTo(chat, mine.id);
    }

    void directChats() {
        const qint64 maya =
            m_db.createChat(QStringLiteral("direct"), QString(), m_owner.id, {person(0).id});
        say(maya, person(0), QStringLiteral("Are we still on for lunch on Thursday?"), 180);
        const MessageRow yes =
            say(maya, m_owner, QStringLiteral("Yes! 12:30 at the usual place."), 175);
        say(maya, person(0), QStringLiteral("Perfect 👍"), 20);
        readUpTo(maya, yes.id);
        voiceNote(maya, person(0), 0, 15, kDemoTranscript);
        const qint64 jonas =
            m_db.createChat(QStringLiteral("direct"), QString(), m_owner.id, {person(1).id});
        say(jonas, person(1), QStringLiteral("Could you review my PR when you have a minute?"),
            400);
        const MessageRow sure = say(jonas, m_owner, QStringLiteral("Sure, after standup."), 398);
        readUpTo(jonas, sure.id);
        // A voice message the server never transcribed.
        voiceNote(jonas, person(1), 1, 390, std::nullopt);
    }

    qint64 session(const QString& folder) {
        return m_host.openSession(m_owner.id, folder, QStringLiteral("ask"));
    }

    // An answer of the host from the past, with its marker lines.
    MessageRow answer(qint64 chat, qint64 forId, const QString& body, qint64 contextTokens,
                      int minutesAgo, const QString& extra = {}) {
        SessionState& s = m_host.session(chat);
        s.contextTokens = contextTokens;
        s.lastTurnAt = ago(minutesAgo);
        s.seenMark = forId;
        const QString id = QString::number(forId);
        const qint64 warm = contextTokens * 9 / 10;
        QStringList lines{
            body,
            QString(),
            marker::line(marker::forId, id),
            marker::line(marker::tokens, QStringLiteral("%1,%2,%3,%4")
                                             .arg(contextTokens)
                                             .arg(warm)
                                             .arg(contextTokens / 50)
                                             .arg(contextTokens - warm - contextTokens / 50)),
            turns::reportLines(m_host, s),
            marker::line(marker::done, id)};
        if (!extra.isEmpty()) lines << extra;
        return m_host.post(chat, lines.join(u'\n'), ago(minutesAgo));
    }

    void webSession() {
        const QString root = QStringLiteral("/projects/velmarin-web");
        putProject(root, {{"README.md", "# velmarin-web\n\nThe public website.\n"},
                          {"package.json",
                           "{\n  \"name\": \"velmarin-web\",\n  \"version\": \"2.4.0\"\n}\n"},
                          {".env", "API_URL=https://api.velmarin.test\n"},
                          {".env.local", "API_URL=http://127.0.0.1:8391\nDEBUG=1\n"},
                          {"src/app.ts", "export function start() {\n  console.log('hello');\n}\n"},
                          {"src/pages/settings.tsx", "export const Settings = () => null;\n"}});
        const qint64 chat = session(root);
        const MessageRow ask =
            say(chat, m_owner, QStringLiteral("Add a dark mode toggle to the settings page"), 200);
        answer(
            chat, ask.id,
            QStringLiteral("Added a **Dark mode** switch to `src/pages/settings.tsx`; it follows "
                           "the system until you touch it."),
            48200, 195);
        const MessageRow deploy =
            say(chat, m_owner, QStringLiteral("Build and deploy to staging"), 40);
        const QString url =
            m_host.publicBase() + QStringLiteral("/api/claude/preview?p=velmarin-web");
        answer(chat, deploy.id,
               QStringLiteral("Built **velmarin-web** and deployed it to staging."), 61500, 36,
               marker::deploy +
                   QStringLiteral(R"({"url":"%1","kind":"web","label":"Staging"})").arg(url));
        m_host.session(chat).buildLoop = true;
        readUpTo(chat, deploy.id);
    }

    void infraSession() {
        const QString root = QStringLiteral("/projects/infra");
        putProject(
            root, {{"docker-compose.yml", "services:\n  web:\n    image: nginx:1.25\n"},
                   {"nginx/site.conf", "server {\n  listen 80;\n  server_name velmarin.test;\n}\n"},
                   {"scripts/backup.sh", "#!/bin/sh\nrestic backup /srv\n"}});
        const qint64 chat = session(root);
        m_host.session(chat).account = QStringLiteral("team@velmarin.test");
        const MessageRow ask = say(
            chat, m_owner,
            QStringLiteral("Audit the nginx and docker setup, and write down what needs fixing"),
            150);
        const MessageRow done =
            answer(chat, ask.id,
                   QStringLiteral("Audit done. Three things to fix, by urgency:\n\n"
                                  "1. TLS is off on the public site — add a certificate\n"
                                  "2. `restic` backups have no retention policy\n"
                                  "3. nginx 1.25 misses two security releases"),
                   612400, 140);
        readUpTo(chat, done.id);
    }

    void mobileSession() {
        const QString root = QStringLiteral("/projects/mobile-app");
        putProject(root, {{"README.md", "# Mobile app\n"},
                          {"ios/App/PhotoPicker.swift", "final class PhotoPicker {}\n"},
                          {"CHANGELOG.md", "## 2.4\n- New onboarding\n"}});
        const qint64 chat = session(root);
        const MessageRow ci =
            say(chat, m_owner, QStringLiteral("Set up the CI pipeline for the iOS build"), 70);
        answer(chat, ci.id,
               QStringLiteral(
                   "The pipeline builds and tests every push; signing waits for the certificates."),
               35300, 64);
        SessionState& s = m_host.session(chat);
        for (const char* text : {"Fix the crash when the photo picker is cancelled",
                                 "Then add a unit test for it", "And update the changelog"})
            s.queue.push_back(say(chat, m_owner, QLatin1String(text), 2).id);
        s.paceFactor = kBusyPaceFactor;
        s.effort = QStringLiteral("high");
    }

    void putProject(const QString& root,
                    std::initializer_list<std::pair<const char*, const char*>> files) {
        const Sandbox& box = m_host.sandbox();
        box.put(Sandbox::join(root, QStringLiteral("CLAUDE.md")),
                QStringLiteral("# %1\n\nKeep changes small and run the tests before you answer.\n")
                    .arg(root.section(u'/', -1))
                    .toUtf8());
        for (const auto& [name, content] : files)
            box.put(Sandbox::join(root, QLatin1String(name)), QByteArray(content));
    }

    // Files for the file views: a production env file beside the others, and a
    // build log larger than the viewer shows.
    void viewerFiles() {
        const Sandbox& box = m_host.sandbox();
        const QString root = QStringLiteral("/projects/velmarin-web");
        box.put(Sandbox::join(root, QStringLiteral(".env.production")),
                QByteArrayLiteral("API_URL=https://api.velmarin.example\nSENTRY_DSN=\n"));
        QByteArray log;
        for (int line = 1; log.size() < 700 * 1024; ++line)
            log += QStringLiteral("[build %1] compiled src/pages/module-%2.tsx in %3 ms\n")
                       .arg(412)
                       .arg(line)
                       .arg(40 + line % 90)
                       .toUtf8();
        box.put(Sandbox::join(root, QStringLiteral("logs/build.log")), log);
    }

    // The main account well ahead of pace in both windows; a second, calmer one.
    void usage() {
        HostState& state = m_host.state();
        state.main.fiveHour = UsageWindow{64, m_now + 135 * kMinute};
        state.main.sevenDay = UsageWindow{52, m_now + (3 * 24 * 60 + 22 * 60) * kMinute};
        if (!state.account(QStringLiteral("team@velmarin.test")))
            state.named.push_back(HostAccount{QStringLiteral("team@velmarin.test"),
                                              QStringLiteral("seeded"),
                                              UsageWindow{18, m_now + 200 * kMinute},
                                              UsageWindow{23, m_now + 5 * 24 * 60 * kMinute}});
    }

    AgentHost& m_host;
    Storage& m_db;
    qint64 m_now;
    UserRow m_owner;
    QList<UserRow> m_people;
};

} // namespace

void seedDemo(AgentHost& host) {
    if (host.state().seeded) return;
    if (host.context().options.owner.isEmpty())
        throw std::runtime_error("the demo needs an owner (--owner)");
    Seeder(host).run();
    host.state().seeded = true;
    host.save();
}
