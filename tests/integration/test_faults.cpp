#include "store/Store.h"
#include "support/Accounts.h"
#include "support/ClientEnv.h"
#include "support/ServerProcess.h"

#include <QTest>
#include <qcoro/qcorotimer.h>

// Ten server crashes while another account posts 500 messages into the
// conversation the person has open: afterwards the client holds the server's
// newest page, each message once, in order.
class TestFaults : public QObject {
    Q_OBJECT

    // Posts until the server has taken every text, retrying through outages.
    static QCoro::Task<> postAll(Api api, qint64 chatId, int count, int* posted) {
        for (int i = 0; i < count; ++i) {
            bool sent = false;
            while (!sent) {
                try {
                    auto call = api.send(chatId, QString("burst %1").arg(i));
                    co_await call;
                    sent = true;
                } catch (const std::exception&) {
                }
                if (!sent) co_await QCoro::sleepFor(std::chrono::milliseconds(50));
            }
            *posted = i + 1;
        }
    }

private slots:
    void restartsUnderLoadLoseNothingAndDuplicateNothing() {
        ClientEnv env;
        ServerProcess server;
        QVERIFY2(server.start(), qPrintable(server.errorString()));
        auto alice = launchSignedIn(server, "alice", 0.02);
        const Account bob = signIn(server, "bob");
        const ChatSummary chat = await(bob.api.createGroup("Crash test", {alice->me()->id}));
        QTRY_VERIFY_WITH_TIMEOUT(alice->chat(chat.id), 5000);
        await(alice->openChat(chat.id));
        alice->setSelectedChatId(chat.id);

        int posted = 0;
        bool finished = false;
        [](Api api, qint64 id, int* count, bool* done) -> QCoro::Task<> {
            co_await postAll(api, id, 500, count);
            *done = true;
        }(bob.api, chat.id, &posted, &finished);
        for (int round = 1; round <= 10; ++round) {
            QTRY_VERIFY_WITH_TIMEOUT(posted >= round * 45, 60000);
            server.kill();
            QTest::qWait(100);
            QVERIFY2(server.restart(), qPrintable(server.errorString()));
        }
        QTRY_VERIFY_WITH_TIMEOUT(finished, 120000);

        const QList<Message> newest = await(bob.api.messages(chat.id, std::nullopt));
        QCOMPARE(newest.size(), 50);
        auto holdsNewestPage = [&] {
            const QList<Message>& local = alice->messages().constFind(chat.id).value();
            return std::all_of(newest.begin(), newest.end(), [&](const Message& m) {
                return std::any_of(local.begin(), local.end(), [&](const Message& l) {
                    return l.id == m.id && l.text == m.text;
                });
            });
        };
        if (!QTest::qWaitFor([&] { return alice->linkUp(0) && holdsNewestPage(); }, 30000)) {
            const QList<Message>& local = alice->messages().constFind(chat.id).value();
            qWarning() << "connected" << alice->linkUp(0) << "local" << local.size() << "last"
                       << (local.isEmpty() ? 0 : local.last().id) << "server newest"
                       << newest.first().id << newest.last().id;
            QFAIL("the client does not hold the server's newest page");
        }
        const QList<Message>& local = alice->messages().constFind(chat.id).value();
        QSet<qint64> seen;
        for (int i = 0; i < local.size(); ++i) {
            QVERIFY2(!seen.contains(local[i].id), "a message is held twice");
            seen.insert(local[i].id);
            if (i > 0) QVERIFY(local[i - 1].id < local[i].id);
        }
    }
};

QTEST_GUILESS_MAIN(TestFaults)
#include "test_faults.moc"
