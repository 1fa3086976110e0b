#include "core/Prefs.h"
#include "model/Config.h"
#include "store/Store.h"
#include "support/Frames.h"
#include "support/StoreSeam.h"
#include "support/TestSupport.h"
#include "ui/AppModel.h"
#include "ui/Icons.h"

#include <QDateTime>
#include <QQmlApplicationEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTest>
#include <QUuid>

namespace {
constexpr qint64 kChat = 20;

QQuickItem* findItem(QQuickItem* item, const QString& name) {
    if (!item || !item->isVisible()) return nullptr;
    if (item->objectName() == name) return item;
    for (QQuickItem* child : item->childItems())
        if (QQuickItem* found = findItem(child, name)) return found;
    return nullptr;
}

QRectF sceneRect(const QQuickItem* item) {
    return item->mapRectToScene(QRectF(0, 0, item->width(), item->height()));
}
} // namespace

// The open conversation as a person reading along sees it: while the view is
// at the newest message, nothing that grows or arrives around it may push
// that message out of sight.
class TestTimelineView : public QObject {
    Q_OBJECT

    std::unique_ptr<ScopedPrefs> prefs;
    std::unique_ptr<Store> store;
    std::unique_ptr<AppModel> model;
    std::unique_ptr<QQmlApplicationEngine> engine;
    QQuickWindow* window = nullptr;
    QQuickItem* list = nullptr;
    const User me = person(1, QStringLiteral("ana"));
    const User claude = person(2, QStringLiteral("Claude Code"));
    qint64 nextId = 1;
    const qint64 startMs = QDateTime::currentMSecsSinceEpoch() - 3600 * 1000;

    Message next(const User& from, const QString& text) {
        const qint64 id = nextId++;
        return textMessage(id, kChat, from, text, startMs + id * 1000);
    }

    // A session with a long history ending in a message of mine, opened at
    // its newest message.
    bool open() {
        store = std::make_unique<Store>();
        seam(store).setToken(QStringLiteral("token"));
        seam(store).me() = me;
        seam(store).chats() = {conversation(kChat, {me, claude})};
        QList<Message> history;
        for (int i = 0; i < 40; ++i)
            history << next(i % 2 ? me : claude,
                            QStringLiteral("Message %1\nwith a second line").arg(i));
        seam(store).messages().insert(kChat, history);
        model = std::make_unique<AppModel>(store.get());
        engine = std::make_unique<QQmlApplicationEngine>();
        AppModel::configureEngine(*engine);
        engine->load(QUrl(QStringLiteral("qrc:/qt/qml/Velmarin/Main.qml")));
        if (engine->rootObjects().isEmpty()) return false;
        window = qobject_cast<QQuickWindow*>(engine->rootObjects().constFirst());
        if (!window) return false;
        window->resize(1000, 640);
        if (!QTest::qWaitForWindowExposed(window)) return false;
        model->selectChat(kChat);
        return QTest::qWaitFor([&] { return (list = find("timelineList")) != nullptr; }, 5000);
    }

    Message working() {
        return next(claude, QStringLiteral("💭 Claude is working…\nEditing files\n\x02"
                                           "CCMSG=40\n\x02"
                                           "CCSEEN=40"));
    }

    QQuickItem* find(const char* name) const {
        return findItem(window->contentItem(), QString::fromLatin1(name));
    }

    // The newest row's delegate lies wholly inside the list's visible area.
    bool newestFullyVisible() const {
        QQuickItem* newest = nullptr;
        QMetaObject::invokeMethod(list, "itemAtIndex", Q_RETURN_ARG(QQuickItem*, newest),
                                  Q_ARG(int, 0));
        if (!newest || !newest->isVisible()) return false;
        const QRectF row = sceneRect(newest);
        const QRectF view = sceneRect(list);
        return row.height() > 0 && row.top() >= view.top() - 0.5 &&
               row.bottom() <= view.bottom() + 0.5;
    }

    QString geometry() const {
        QQuickItem* newest = nullptr;
        QMetaObject::invokeMethod(list, "itemAtIndex", Q_RETURN_ARG(QQuickItem*, newest),
                                  Q_ARG(int, 0));
        const QRectF view = sceneRect(list);
        const QRectF row = newest ? sceneRect(newest) : QRectF();
        return QStringLiteral("view %1..%2, newest row %3..%4")
            .arg(view.top())
            .arg(view.bottom())
            .arg(row.top())
            .arg(row.bottom());
    }

    void expectNewestVisible(const char* after) {
        // Layout settles over a few frames; the end state is what a person sees.
        const bool ok = QTest::qWaitFor([&] { return newestFullyVisible(); }, 3000);
        QVERIFY2(ok, qPrintable(QString::fromLatin1(after) + ": " + geometry()));
        // And it stays there.
        QTest::qWait(150);
        QVERIFY2(newestFullyVisible(), qPrintable(QString::fromLatin1(after) + ": " + geometry()));
    }

private slots:
    void initTestCase() {
        QVERIFY(Icons::loadFont());
        Config::overrideWellKnownServers("http://127.0.0.1:1", "http://127.0.0.1:1",
                                         "http://127.0.0.1:1");
    }

    void init() {
        prefs = std::make_unique<ScopedPrefs>();
        nextId = 1;
    }

    void cleanup() {
        engine.reset();
        window = nullptr;
        list = nullptr;
        model.reset();
        store.reset();
        prefs.reset();
    }

    void newestStaysInViewAtTheBottom() {
        QVERIFY(open());
        expectNewestVisible("opened");

        // The agent starts working: its status bar takes room under the list.
        const Message working = this->working();
        store->handleEvent(messageFrame(working), 0);
        QQuickItem* status = nullptr;
        QTRY_VERIFY((status = find("ccStatusBar")) != nullptr);
        expectNewestVisible("the status bar appeared");

        // A reply arrives at the bottom.
        store->handleEvent(
            messageFrame(next(claude, QStringLiteral("Done.\nAll green.\nShip it?"))), 0);
        QTRY_COMPARE(list->property("count").toInt() > 40, true);
        expectNewestVisible("a reply arrived");

        // A reply bar opens and closes, and the composer grows by lines.
        model->composer()->setReplyTo(working.id - 1);
        expectNewestVisible("the reply bar opened");
        model->composer()->cancelReplyOrEdit();
        expectNewestVisible("the reply bar closed");
        model->composer()->setDraft(QStringLiteral("one\ntwo\nthree\nfour\nfive\nsix"));
        expectNewestVisible("the composer grew");
    }

    // Scrolled back, the button brings the newest message wholly into view,
    // and it never covers the Stop button of a working session.
    void jumpToNewestReachesTheBottom() {
        QVERIFY(open());
        store->handleEvent(messageFrame(working()), 0);
        QQuickItem* stop = nullptr;
        QTRY_VERIFY((stop = find("stopButton")) != nullptr);
        expectNewestVisible("the status bar appeared");
        QMetaObject::invokeMethod(list, "positionViewAtEnd");
        QQuickItem* jump = nullptr;
        QTRY_VERIFY((jump = find("jumpToNewest")) != nullptr);
        QVERIFY(!newestFullyVisible());
        QVERIFY(!sceneRect(jump).intersects(sceneRect(stop)));
        QTest::mouseClick(window, Qt::LeftButton, {}, sceneRect(jump).center().toPoint());
        expectNewestVisible("jumped to the newest");
        QTRY_VERIFY(find("jumpToNewest") == nullptr);
    }

    // Esc in the search field empties it and leaves the conversation open.
    void escapeInTheSearchClearsOnlyTheSearch() {
        QVERIFY(open());
        QQuickItem* search = find("listSearch");
        QVERIFY(search);
        search->forceActiveFocus();
        QTest::keyClick(window, Qt::Key_Z);
        QTest::keyClick(window, Qt::Key_Z);
        QTRY_COMPARE(search->property("text").toString(), QStringLiteral("zz"));
        QTest::keyClick(window, Qt::Key_Escape);
        QTRY_COMPARE(search->property("text").toString(), QString());
        QTest::qWait(100);
        QCOMPARE(store->selectedChatId(), std::optional<qint64>(kChat));
        QVERIFY(find("timelineList") != nullptr);
    }

    // A notice of another conversation reads as plain words.
    void bannerTextIsPlain() {
        QVERIFY(open());
        InAppBanner banner;
        banner.id = QUuid::createUuid();
        banner.chatId = kChat;
        banner.title = QStringLiteral("Ops");
        banner.sender = QStringLiteral("bob");
        banner.text = QStringLiteral("run `make check` and **ship**");
        store->setInAppBanner(banner);
        QCOMPARE(model->banner().value("text").toString(),
                 QStringLiteral("run make check and ship"));
        QTRY_VERIFY(find("inAppBanner") != nullptr);
        // It goes by itself after a few seconds.
        QTRY_VERIFY_WITH_TIMEOUT(model->banner().isEmpty(), 10000);
    }
};

QTEST_MAIN(TestTimelineView)
#include "test_timeline_view.moc"
