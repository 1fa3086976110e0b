#include "core/AppSection.h"
#include "core/Localisation.h"
#include "core/Prefs.h"
#include "core/Translations.h"
#include "model/Config.h"
#include "store/Store.h"
#include "support/StoreSeam.h"
#include "support/TestSupport.h"
#include "ui/AppModel.h"
#include "ui/Icons.h"
#include "ui/LoginViewModel.h"

#include <QAccessible>
#include <QClipboard>
#include <QDateTime>
#include <QDirIterator>
#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QQuickWindow>
#include <QRawFont>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <cstdio>

namespace {
QStringList& warnings() {
    static QStringList list;
    return list;
}

// Noise of the test machine, not of the views.
bool isEnvironmentNoise(const QString& message) {
    return message.contains(QLatin1String("XDG_RUNTIME_DIR")) ||
           message.contains(QLatin1String("propagateSizeHints"));
}

void collectWarnings(QtMsgType type, const QMessageLogContext& context, const QString& message) {
    std::fprintf(stderr, "%s\n", qPrintable(message));
    if (type == QtDebugMsg || type == QtInfoMsg) return;
    if (isEnvironmentNoise(message)) return;
    warnings().append(QString::fromLatin1(context.category ? context.category : "") +
                      QLatin1String(": ") + message);
}

void walk(QQuickItem* item, const std::function<void(QQuickItem*)>& visit) {
    if (!item || !item->isVisible()) return;
    visit(item);
    for (QQuickItem* child : item->childItems())
        walk(child, visit);
}

// Every visible item of the window and of its open popups.
void walkWindow(QQuickWindow* window, const std::function<void(QQuickItem*)>& visit) {
    walk(window->contentItem(), visit);
    if (QQuickItem* overlay = window->contentItem()->parentItem())
        for (QQuickItem* child : overlay->childItems())
            if (child != window->contentItem()) walk(child, visit);
}

// Clicks an item where a person sees it: once the window has laid out and
// drawn its current state, so a busy machine cannot move it under the press.
bool clickWhenDrawn(QQuickWindow* window, QQuickItem* item) {
    if (!QTest::qWaitFor([&] { return item->isVisible() && item->width() > 0; }, 10000))
        return false;
    QSignalSpy drawn(window, &QQuickWindow::frameSwapped);
    window->update();
    if (!drawn.wait(10000)) return false;
    QTest::mouseClick(window, Qt::LeftButton, {},
                      item->mapToScene({item->width() / 2, item->height() / 2}).toPoint());
    return true;
}

QString accessibleName(QQuickItem* item) {
    QAccessibleInterface* iface = QAccessible::queryAccessibleInterface(item);
    return iface ? iface->text(QAccessible::Name) : QString();
}

// A long history: one message every 40 minutes, every fourth one mine, with
// tables, code, links, an album and replies among them.
QList<Message> history(qint64 chatId, int count) {
    QList<Message> out;
    const qint64 start = QDateTime::currentMSecsSinceEpoch() - qint64(count) * 40 * 60 * 1000;
    for (int i = 1; i <= count; ++i) {
        Message m;
        m.id = i;
        m.chatId = chatId;
        m.senderId = i % 4 == 0 ? 1 : 2;
        m.senderName = m.senderId == 1 ? QStringLiteral("ana") : QStringLiteral("bob");
        m.createdAt = start + qint64(i) * 40 * 60 * 1000;
        m.text = QStringLiteral("Message %1 with `code` and https://example.org/%1").arg(i);
        if (i % 50 == 0) m.text = QStringLiteral("| a | b |\n|---|--:|\n| 1 | 2 |");
        if (i % 70 == 0) {
            MediaInfo photo;
            photo.kind = QStringLiteral("image");
            photo.url = QStringLiteral("/media/none.jpg");
            photo.width = 400;
            photo.height = 300;
            m.album = QList<MediaInfo>{photo, photo, photo};
        }
        if (i % 30 == 0) {
            ReplySnippet reply;
            reply.id = i - 1;
            reply.senderName = QStringLiteral("bob");
            reply.text = QStringLiteral("Message before");
            m.replyTo = reply;
        }
        out.push_back(m);
    }
    return out;
}

ChatSummary chatWith(qint64 id, const QString& title, qint64 unread = 0) {
    ChatSummary c;
    c.id = id;
    c.kind = QStringLiteral("group");
    c.title = title;
    c.createdAt = id;
    c.unread = unread;
    return c;
}
} // namespace

// Loads the app's QML offscreen, drives it through its states, and fails on
// any QML warning, on a focusable control without an accessible name, and on
// English left on screen after a language change.
class TestQmlLoad : public QObject {
    Q_OBJECT

    std::unique_ptr<ScopedPrefs> prefs;
    std::unique_ptr<Store> store;
    std::unique_ptr<AppModel> model;
    std::unique_ptr<QQmlApplicationEngine> engine;
    QQuickWindow* window = nullptr;

    // Loads Main.qml over a fresh store; false (with the failure recorded) when it cannot.
    bool start(bool signedIn) {
        store = std::make_unique<Store>();
        if (signedIn) {
            seam(store).setToken(QStringLiteral("token"));
            User me;
            me.id = 1;
            me.username = QStringLiteral("ana");
            seam(store).me() = me;
            seam(store).chats() = {chatWith(10, "Release train", 3),
                                   chatWith(11, "Design review", 120), chatWith(12, "Ops")};
        }
        model = std::make_unique<AppModel>(store.get());
        engine = std::make_unique<QQmlApplicationEngine>();
        AppModel::configureEngine(*engine);
        engine->load(QUrl(QStringLiteral("qrc:/qt/qml/Velmarin/Main.qml")));
        if (engine->rootObjects().isEmpty()) return false;
        window = qobject_cast<QQuickWindow*>(engine->rootObjects().constFirst());
        if (!window || !QTest::qWaitForWindowExposed(window)) return false;
        window->requestActivate();
        QTest::qWait(50);
        return true;
    }

    // Opens conversation 11 with `count` messages and waits for its view.
    QQuickItem* openConversation(int count) {
        seam(store).messages().insert(11, history(11, count));
        model->selectChat(11);
        QQuickItem* list = nullptr;
        if (!QTest::qWaitFor([&] { return (list = find("timelineList")) != nullptr; }, 3000))
            return nullptr;
        QTest::qWait(100);
        return list;
    }

    void typeText(const char* text) {
        for (const char* c = text; *c; ++c)
            QTest::keyClick(window, *c);
    }

    QQuickItem* find(const char* name) const {
        QQuickItem* found = nullptr;
        walkWindow(window, [&](QQuickItem* item) {
            if (!found && item->objectName() == QLatin1String(name)) found = item;
        });
        return found;
    }

    void expectNamedControls() {
        QStringList unnamed;
        walkWindow(window, [&](QQuickItem* item) {
            if (item->activeFocusOnTab() && item->isEnabled() && accessibleName(item).isEmpty())
                unnamed << QString::fromLatin1(item->metaObject()->className());
        });
        QVERIFY2(unnamed.isEmpty(), qPrintable(unnamed.join(", ")));
    }

    void expectNoWarnings() {
        QTest::qWait(30);
        QVERIFY2(warnings().isEmpty(), qPrintable(warnings().join('\n')));
    }

private slots:
    void initTestCase() {
        qInstallMessageHandler(collectWarnings);
        QAccessible::setActive(true);
        QVERIFY(Icons::loadFont());
        Config::overrideWellKnownServers("http://127.0.0.1:1", "http://127.0.0.1:1",
                                         "http://127.0.0.1:1");
    }

    void init() {
        prefs = std::make_unique<ScopedPrefs>();
        Loc::setCurrent(AppLanguage::en);
        warnings().clear();
    }

    void cleanup() {
        engine.reset();
        window = nullptr;
        model.reset();
        store.reset();
        Loc::setCurrent(AppLanguage::en);
        prefs.reset();
    }

    void iconsComeFromTheBundledFont() {
        const QRawFont font = QRawFont::fromFont(QFont(Icons::fontFamily()));
        QVERIFY(font.isValid());
        QCOMPARE(font.familyName(), Icons::fontFamily());
        for (const QString& symbol : Icons::knownSymbols())
            QVERIFY2(font.supportsCharacter(Icons::codePoint(symbol)), qPrintable(symbol));
        QCOMPARE(Icons::glyph("no.such.symbol"), QString());
    }

    void everySymbolTheViewsNameIsMapped() {
        const QRegularExpression named(QStringLiteral("symbol:\\s*\"([^\"]+)\""));
        QStringList unknown;
        QDirIterator it(QStringLiteral(VELMARIN_SOURCE_DIR "/qml"), {"*.qml"}, QDir::Files,
                        QDirIterator::Subdirectories);
        int seen = 0;
        while (it.hasNext()) {
            QFile file(it.next());
            QVERIFY(file.open(QIODevice::ReadOnly));
            const QString text = QString::fromUtf8(file.readAll());
            for (auto match = named.globalMatch(text); match.hasNext(); ++seen) {
                const QString symbol = match.next().captured(1);
                if (Icons::codePoint(symbol) == 0) unknown << symbol;
            }
        }
        for (AppSection section : allSections) {
            if (Icons::codePoint(icon(section)) == 0) unknown << icon(section);
            if (auto custom = customIcon(section); custom && Icons::codePoint(*custom) == 0)
                unknown << *custom;
        }
        QVERIFY(seen > 10);
        QVERIFY2(unknown.isEmpty(), qPrintable(unknown.join(", ")));
    }

    void loginScreen() {
        QVERIFY(start(false));
        QQuickItem* screen = find("loginView");
        QVERIFY(screen);
        QVERIFY(!find("mainLayout"));
        expectNamedControls();

        // No reachable server knows the name: the invite step.
        auto* login = screen->findChild<LoginViewModel*>();
        QVERIFY(login);
        QTRY_VERIFY(!login->autoProbing());
        login->setName(QStringLiteral("zoe"));
        login->submitName();
        QTRY_COMPARE(login->step(), QStringLiteral("code"));
        QTest::qWait(20);
        expectNamedControls();
        login->setInviteCode(QStringLiteral("k3Fq9"));
        login->joinInvite();
        QVERIFY(!login->errorText().isEmpty());
        // The picture picker loads on first use.
        QObject* picker = screen->findChild<QObject*>(QStringLiteral("qrFilePicker"));
        QVERIFY(picker);
        QVERIFY(!picker->property("item").value<QObject*>());
        picker->setProperty("active", true);
        QTRY_VERIFY(picker->property("item").value<QObject*>());
        QMetaObject::invokeMethod(picker->property("item").value<QObject*>(), "close");
        login->back();
        QCOMPARE(login->step(), QStringLiteral("name"));
        expectNoWarnings();
    }

    void mainLayoutInEverySectionDesignAndWidth_data() {
        QTest::addColumn<QString>("design");
        QTest::addColumn<int>("width");
        for (AppDesign design : allDesigns) {
            QTest::newRow(qPrintable(rawValue(design) + " wide")) << rawValue(design) << 1100;
            QTest::newRow(qPrintable(rawValue(design) + " narrow")) << rawValue(design) << 760;
        }
    }
    void mainLayoutInEverySectionDesignAndWidth() {
        QFETCH(QString, design);
        QFETCH(int, width);
        QVERIFY(start(true));
        model->setDesign(design);
        window->resize(width, 640);
        QVERIFY(find("mainLayout"));
        for (AppSection section : allSections) {
            model->setSection(rawValue(section));
            QTest::qWait(20);
            expectNamedControls();
        }
        model->setSection("Conversation");
        model->selectChat(11);
        QTest::qWait(250); // the narrow layout slides the conversation in
        QVERIFY(find("conversationDetail"));
        expectNamedControls();
        model->setShowMainMenu(true);
        QTest::qWait(250);
        expectNamedControls();
        model->selectFromMenu("Profile");
        QTRY_VERIFY(!model->showMainMenu());
        QVERIFY(find("profileModule"));
        expectNoWarnings();
    }

    void longConversationMakesDelegatesOnlyForWhatShows() {
        QVERIFY(start(true));
        window->resize(1100, 700);
        QQuickItem* list = openConversation(5000);
        QVERIFY(list);
        QObject* view = window->findChild<QObject*>(QStringLiteral("conversationView"));
        QVERIFY(view);
        const int rows = list->property("count").toInt();
        QVERIFY2(rows > 5000, qPrintable(QString::number(rows))); // messages plus days
        const int atOpen = view->property("delegatesMade").toInt();
        QMetaObject::invokeMethod(list, "positionViewAtEnd"); // the oldest
        QTest::qWait(100);
        QMetaObject::invokeMethod(list, "positionViewAtIndex", Q_ARG(int, rows / 2), Q_ARG(int, 0));
        QTest::qWait(100);
        QMetaObject::invokeMethod(list, "positionViewAtBeginning");
        QTest::qWait(100);
        const int afterJumps = view->property("delegatesMade").toInt();
        std::printf("rows %d, delegates at open %d, after three jumps %d\n", rows, atOpen,
                    afterJumps);
        QVERIFY2(atOpen > 5 && atOpen < 60, qPrintable(QString::number(atOpen)));
        QVERIFY2(afterJumps < 4 * atOpen, qPrintable(QString::number(afterJumps)));
        expectNamedControls();
        expectNoWarnings();
    }

    void conversationInEveryDesign_data() {
        QTest::addColumn<QString>("design");
        for (AppDesign design : allDesigns)
            QTest::newRow(qPrintable(rawValue(design))) << rawValue(design);
    }
    void conversationInEveryDesign() {
        QFETCH(QString, design);
        QVERIFY(start(true));
        model->setDesign(design);
        QVERIFY(openConversation(300));
        expectNamedControls();
        expectNoWarnings();
    }

    // An agent session with something to say in every bar: an idle hour over
    // a large context, a build, a run in progress with a queue behind it, and
    // a deploy; then the review of the queue and the reset confirmation open.
    QQuickItem* openAgentSession() {
        const qint64 chatId = 20;
        User me = *store->me();
        User claude;
        claude.id = 2;
        claude.username = QStringLiteral("Claude Code");
        ChatSummary session;
        session.id = chatId;
        session.kind = QStringLiteral("direct");
        session.members = {me, claude};
        const qint64 hourAgo = QDateTime::currentMSecsSinceEpoch() - 2 * 3600 * 1000;
        QList<Message> list;
        const auto add = [&](qint64 id, qint64 sender, const QString& text) {
            Message m;
            m.id = id;
            m.chatId = chatId;
            m.senderId = sender;
            m.senderName = sender == me.id ? me.username : claude.username;
            m.text = text;
            m.createdAt = hourAgo + id * 1000;
            list.push_back(m);
        };
        add(1, me.id, QStringLiteral("Fix the login bug"));
        add(2, me.id, QStringLiteral("And the logout one"));
        add(3, claude.id,
            QStringLiteral(
                "Fixed.\n\x02"
                "CCFOR=1\n\x02"
                "CCTOK=612000,500000,2000,110000\n"
                "[DEPLOY]{\"url\":\"https://staging.example.org\",\"label\":\"Staging\"}"));
        add(4, me.id, QStringLiteral("Now the settings page"));
        add(5, me.id,
            QStringLiteral("\x02"
                           "CCNOW"
                           "Then ship it"));
        add(6, claude.id,
            QStringLiteral("💭 Claude is working…\nEditing files\n\x02"
                           "CCMSG=4\n\x02"
                           "CCSEEN=4\n\x02"
                           "CCCHROME=1"));
        session.lastMessage = list.last();
        seam(store).chats().push_back(session);
        seam(store).messages().insert(chatId, list);
        for (const Message& m : list)
            store->captureCCMarkers(m);
        seam(store).builds().insert(
            chatId, BuildStatus{QStringLiteral("building"), 40, QStringLiteral("web")});
        emit store->chatsReset();
        model->selectChat(chatId);
        QQuickItem* bar = nullptr;
        if (!QTest::qWaitFor([&] { return (bar = find("backlogBar")) != nullptr; }, 3000))
            return nullptr;
        QTest::qWait(100);
        return bar;
    }

    void agentSessionShowsEveryBar() {
        QVERIFY(start(true));
        window->resize(1100, 760);
        QVERIFY(openAgentSession());
        for (const char* name :
             {"idleResetBar", "contextBar", "buildStatusBar", "ccStatusBar", "backlogBar",
              "deployChip", "resetContextButton", "healthButton"}) {
            QQuickItem* item = find(name);
            QVERIFY2(item && item->isVisible(), name);
        }
        QCOMPARE(find("backlogText")->property("text").toString(),
                 QStringLiteral("1 message queued — runs next"));
        QVERIFY(find("contextText")->property("text").toString().startsWith("Context 612k"));
        QVERIFY(find("sendNowButton"));
        // The answer quotes its prompt, since a newer one stands between them.
        int quotes = 0;
        walkWindow(window, [&](QQuickItem* item) {
            quotes += item->objectName() == QLatin1String("answeredQuote") && item->isVisible();
        });
        QCOMPARE(quotes, 1);
        // The bars stack in their order, top to bottom.
        qreal lastY = -1;
        for (const char* name :
             {"idleResetBar", "contextBar", "buildStatusBar", "ccStatusBar", "backlogBar"}) {
            const qreal y = find(name)->mapToScene({0, 0}).y();
            QVERIFY2(y > lastY, name);
            lastY = y;
        }
        QObject* review = window->findChild<QObject*>(QStringLiteral("backlogReview"));
        QVERIFY(review);
        QMetaObject::invokeMethod(find("backlogButton"), "clicked");
        QTRY_VERIFY(review->property("opened").toBool());
        // Choosing a queued message edits it in the composer, without its priority mark.
        QQuickItem* entry = nullptr;
        QTRY_VERIFY((entry = find("backlogEntry")) != nullptr);
        QMetaObject::invokeMethod(entry, "clicked");
        QTRY_VERIFY(!review->property("opened").toBool());
        QVERIFY(model->composer()->editing());
        QCOMPARE(model->composer()->draft(), QStringLiteral("Then ship it"));
        model->composer()->cancelReplyOrEdit();
        QObject* confirm = window->findChild<QObject*>(QStringLiteral("resetConfirm"));
        QVERIFY(confirm);
        QMetaObject::invokeMethod(find("resetContextButton"), "clicked");
        QTRY_VERIFY(confirm->property("opened").toBool());
        QMetaObject::invokeMethod(confirm, "close");
        // The advice goes once dismissed, and stays gone for this view.
        QQuickItem* advice = find("idleResetBar");
        model->agent()->dismissIdleReset();
        QTRY_VERIFY(!advice->isVisible());
        expectNamedControls();
        expectNoWarnings();
    }

    void composerKeys() {
        QVERIFY(start(true));
        window->resize(1100, 700);
        QVERIFY(openConversation(8));
        ComposerModel* composer = model->composer();
        QQuickItem* input = find("composerInput");
        QVERIFY(input);
        input->forceActiveFocus();
        QTRY_VERIFY(input->hasActiveFocus());

        typeText("hi");
        QTest::keyClick(window, Qt::Key_Return, Qt::ShiftModifier);
        typeText("there");
        QCOMPARE(composer->draft(), QStringLiteral("hi\nthere"));

        // Esc drops the reply and leaves the conversation open; the next Esc goes back.
        composer->setReplyTo(7);
        QCOMPARE(composer->replyTo().value("id").toLongLong(), 7);
        QTest::keyClick(window, Qt::Key_Escape);
        QVERIFY(composer->replyTo().isEmpty());
        QCOMPARE(model->selectedChatId(), qint64(11));

        // Enter sends: the draft empties and the send runs to its end.
        QSignalSpy sent(composer, &ComposerModel::sent);
        QTest::keyClick(window, Qt::Key_Return);
        QCOMPARE(composer->draft(), QString());
        QTRY_COMPARE(sent.size(), 1);

        // Up on the empty draft edits the newest own message that the server has.
        QTest::keyClick(window, Qt::Key_Up);
        QVERIFY(composer->editing());
        QCOMPARE(composer->editTarget()->id, qint64(8));
        QCOMPARE(composer->draft(), seam(store).messages()[11][7].text);
        QTest::keyClick(window, Qt::Key_Escape);
        QVERIFY(!composer->editing());
        QTest::keyClick(window, Qt::Key_Escape);
        QTRY_COMPARE(model->selectedChatId(), qint64(0));
        // The send to the unreachable server fails quietly in the view.
        QTest::qWait(50);
        warnings().clear();
        expectNoWarnings();
    }

    // Helpers of the cases below, not cases themselves.
private:
    // The texts on screen, for checks of what a bubble says.
    QStringList visibleTexts() const {
        QStringList texts;
        walkWindow(window, [&](QQuickItem* item) {
            if (item->inherits("QQuickText")) texts << item->property("text").toString();
        });
        return texts;
    }

    // A group of three where ana's newest message was read by bob, bob's
    // message has reactions and one of ana's is a file.
    void openGroupWithFileAndReactions() {
        User ana = *store->me(), bob, carol;
        bob.id = 2;
        bob.username = QStringLiteral("bob");
        carol.id = 3;
        carol.username = QStringLiteral("carol");
        seam(store).chats()[1].members = {ana, bob, carol};
        QList<Message> list = history(11, 8);
        MediaInfo file;
        file.kind = QStringLiteral("file");
        file.url = QStringLiteral("http://127.0.0.1:1/media/5");
        file.name = QStringLiteral("budget.xlsx");
        list[3].media = file; // id 4, ana's
        list[6].reactions = QList<Reaction>{{QStringLiteral("👍"), {1, 3}},
                                            {QStringLiteral("🎉"), {3}}}; // id 7, bob's
        seam(store).reads()[11][2] = 8;
        seam(store).messages().insert(11, list);
        model->selectChat(11);
    }

private slots:
    void bubblesShowFilesReactionsAndReceipts() {
        QVERIFY(start(true));
        window->resize(1100, 700);
        openGroupWithFileAndReactions();
        QTRY_VERIFY(find("reactions"));
        QTest::qWait(100);
        QStringList texts = visibleTexts();
        QVERIFY2(texts.contains("👍 2") && texts.contains("🎉 1"), qPrintable(texts.join('|')));
        // Only under the newest own message, with who has read it.
        QVERIFY(texts.contains("Read by bob"));
        QCOMPARE(texts.count("Read by bob"), 1);
        QVERIFY(texts.contains("budget.xlsx"));
        QVERIFY(find("saveFileButton"));
        expectNamedControls();

        // A save shows its bar until it ends; this one cannot reach the server.
        QTemporaryDir folder;
        model->transfers()->save("http://127.0.0.1:1/media/5",
                                 QUrl::fromLocalFile(folder.filePath("budget.xlsx")));
        QTRY_VERIFY(find("fileProgress"));
        QTRY_VERIFY(!find("fileProgress"));
        QVERIFY(store->lastError().has_value());
        QVERIFY(!QFile::exists(folder.filePath("budget.xlsx")));

        model->setLanguage("de");
        QTRY_VERIFY(visibleTexts().contains("Gelesen von bob"));
        expectNoWarnings();
    }

    void composerOffersQualityPasteAndAFileMessage() {
        QVERIFY(start(true));
        window->resize(1100, 700);
        QVERIFY(openConversation(8));
        ComposerModel* composer = model->composer();
        QImage picture(40, 30, QImage::Format_RGB32);
        picture.fill(Qt::darkCyan);

        // A picture on the clipboard: "Paste" stages it, and stays on offer.
        QGuiApplication::clipboard()->setImage(picture);
        QTRY_VERIFY(find("pasteButton"));
        QVERIFY(clickWhenDrawn(window, find("pasteButton")));
        QTRY_COMPARE(composer->pendingImages().size(), 1);
        QTRY_VERIFY(find("pasteImage"));
        QVERIFY(!find("pasteButton"));

        // The quality menu: compressed by default, the label only for the original.
        QVERIFY(!composer->originalQuality());
        QVERIFY(!find("originalQualityLabel"));
        QQuickItem* quality = find("qualityButton");
        QVERIFY(quality);
        QVERIFY(clickWhenDrawn(window, quality));
        const auto menuItem = [&](const QString& text) {
            QQuickItem* found = nullptr;
            walkWindow(window, [&](QQuickItem* item) {
                if (item->inherits("QQuickMenuItem") && item->property("text") == text)
                    found = item;
            });
            return found;
        };
        // Clicked once it has finished opening: its items move while it does.
        QObject* qualityMenu = quality->findChild<QObject*>(QStringLiteral("qualityMenu"));
        QVERIFY(qualityMenu);
        QTRY_VERIFY_WITH_TIMEOUT(qualityMenu->property("opened").toBool(), 15000);
        QQuickItem* original = menuItem("Original quality");
        QVERIFY(original);
        QVERIFY(clickWhenDrawn(window, original));
        QTRY_VERIFY(composer->originalQuality());
        QTRY_VERIFY(find("originalQualityLabel"));
        QVERIFY(visibleTexts().contains("Sending at original quality"));
        QCOMPARE(find("imageCaption")->property("placeholderText").toString(),
                 QStringLiteral("Add a caption…"));

        // Files take a message of their own, typed under them.
        composer->cancelImages();
        composer->addFileData("notes.txt", "some notes");
        QTRY_VERIFY(!find("qualityButton"));
        QCOMPARE(find("imageCaption")->property("placeholderText").toString(),
                 QStringLiteral("Add a message…"));
        composer->addFileData("more.txt", "more");
        model->setLanguage("de");
        QTRY_VERIFY(visibleTexts().contains("2 Dateien senden"));
        QCOMPARE(find("imageCaption")->property("placeholderText").toString(),
                 QStringLiteral("Nachricht hinzufügen…"));
        expectNamedControls();
        expectNoWarnings();
    }

    // The viewer's picture: keys, the wheel about the pointer, and a drag
    // that stops at the picture's edges.
    void pictureZoomsAboutThePointerAndPansWithinItsEdges() {
        QTemporaryDir folder;
        QImage big(800, 600, QImage::Format_RGB32);
        big.fill(Qt::darkGreen);
        QVERIFY(big.save(folder.filePath("big.png")));
        QQuickView view;
        view.setResizeMode(QQuickView::SizeRootObjectToView);
        view.setSource(QUrl("qrc:/qt/qml/Velmarin/conversation/ZoomableImage.qml"));
        QQuickItem* area = view.rootObject();
        QVERIFY(area);
        view.resize(400, 300);
        view.show();
        view.requestActivate();
        QVERIFY(QTest::qWaitForWindowActive(&view));
        area->setProperty("source", QUrl::fromLocalFile(folder.filePath("big.png")));
        QTRY_COMPARE(area->property("shownWidth").toDouble(), 400.0);
        area->forceActiveFocus();
        const auto zoom = [&] { return area->property("zoom").toDouble(); };

        QTest::keyClick(&view, Qt::Key_Plus);
        QCOMPARE(zoom(), 1.25);
        QTest::keyClick(&view, Qt::Key_Minus);
        QTest::keyClick(&view, Qt::Key_Minus); // never below the fitted size
        QCOMPARE(zoom(), 1.0);

        // The point under the pointer stays under it.
        QQuickItem* image = area->childItems().first();
        const QPointF pointer(300, 200);
        const auto under = [&] {
            return QPointF((pointer.x() - image->x()) / image->width(),
                           (pointer.y() - image->y()) / image->height());
        };
        const QPointF before = under();
        QWheelEvent wheel(pointer, view.mapToGlobal(pointer.toPoint()), {}, {0, 240}, Qt::NoButton,
                          Qt::NoModifier, Qt::NoScrollPhase, false);
        QGuiApplication::sendEvent(&view, &wheel);
        QTRY_VERIFY(zoom() > 1.4);
        QVERIFY(std::abs(under().x() - before.x()) < 0.01);
        QVERIFY(std::abs(under().y() - before.y()) < 0.01);

        // A long drag to the left ends with the right edge at the area's right edge.
        QTest::mousePress(&view, Qt::LeftButton, {}, {200, 150});
        for (int x = 190; x >= -400; x -= 30)
            QTest::mouseMove(&view, {x, 150});
        QTest::mouseRelease(&view, Qt::LeftButton, {}, {-400, 150});
        QTRY_COMPARE(image->x() + image->width(), 400.0);
        QTest::keyClick(&view, Qt::Key_0);
        QCOMPARE(zoom(), 1.0);
        QCOMPARE(image->x(), 0.0);
        expectNoWarnings();
    }

    void bannerAndToastShowAndOpen() {
        QVERIFY(start(true));
        window->resize(1100, 700);
        InAppBanner banner;
        banner.id = QUuid::createUuid();
        banner.chatId = 12;
        banner.title = QStringLiteral("Ops");
        banner.sender = QStringLiteral("bob");
        banner.text = QStringLiteral("deploy done");
        store->setInAppBanner(banner);
        QQuickItem* shown = nullptr;
        QTRY_VERIFY((shown = find("inAppBanner")) != nullptr);
        QTest::qWait(250); // slides in
        expectNamedControls();
        const QPointF centre = shown->mapToScene(QPointF(shown->width() / 3, shown->height() / 2));
        QTest::mouseClick(window, Qt::LeftButton, {}, centre.toPoint());
        QTRY_COMPARE(model->selectedChatId(), qint64(12));
        QVERIFY(!store->inAppBanner());

        QVERIFY(model->openLink("velmarin://copy/x"));
        auto* toast = window->findChild<QQuickItem*>(QStringLiteral("toast"));
        QVERIFY(toast);
        QCOMPARE(toast->property("shown").toString(), QStringLiteral("Copied"));
        expectNoWarnings();
    }

    void linksOpenTheProfileSheetAndCopy() {
        QVERIFY(start(true));
        User bob;
        bob.id = 2;
        bob.username = QStringLiteral("bob");
        bob.email = QStringLiteral("bob@example.com");
        seam(store).users() = {bob};
        QVERIFY(model->openLink("velmarin://user/bob"));
        QObject* sheet = window->findChild<QObject*>(QStringLiteral("profileSheet"));
        QVERIFY(sheet);
        QTRY_VERIFY(sheet->property("opened").toBool());
        expectNamedControls();
        model->setLanguage("fr");
        QTest::qWait(20);
        model->setLanguage("en");
        QTest::keyClick(window, Qt::Key_Escape);
        QTRY_VERIFY(!sheet->property("visible").toBool());
        QVERIFY(!store->profileUser());

        QVERIFY(model->openLink("velmarin://copy/a%2Fb"));
        QCOMPARE(model->toast(), QStringLiteral("Copied"));
        expectNoWarnings();
    }

    void languageChangeRedrawsEveryText() {
        QVERIFY(start(true));
        model->setSection("Profile");
        QTest::qWait(20);
        model->setLanguage("de");
        QTest::qWait(20);
        QHash<QString, QString> german;
        for (const TranslationRow& row : translationRows())
            german.insert(QString::fromUtf8(row.en), QString::fromUtf8(row.de));
        QStringList leftInEnglish;
        int texts = 0;
        walkWindow(window, [&](QQuickItem* item) {
            if (!item->inherits("QQuickText")) return;
            const QString text = item->property("text").toString();
            ++texts;
            if (german.contains(text) && german.value(text) != text) leftInEnglish << text;
        });
        QVERIFY(texts > 10);
        QVERIFY2(leftInEnglish.isEmpty(), qPrintable(leftInEnglish.join(" | ")));
        expectNoWarnings();
    }

    // Each sheet of the servers card and of the conversation list opens
    // with named controls and no warning, in the wide and the narrow layout.
    void serverAndConversationSheets_data() {
        QTest::addColumn<int>("width");
        QTest::newRow("wide") << 1100;
        QTest::newRow("narrow") << 760;
    }
    void serverAndConversationSheets() {
        QFETCH(int, width);
        QVERIFY(start(true));
        window->resize(width, 700);
        User bob;
        bob.id = 2;
        bob.username = QStringLiteral("bob");
        seam(store).users() = {bob};
        const auto openSheet = [&](const char* sheetName, const char* objectName) -> QObject* {
            model->openSheet(QString::fromLatin1(sheetName));
            QObject* sheet = window->findChild<QObject*>(QString::fromLatin1(objectName));
            if (!sheet ||
                !QTest::qWaitFor([&] { return sheet->property("opened").toBool(); }, 2000))
                return nullptr;
            return sheet;
        };
        const auto closeSheet = [&](QObject* sheet) {
            QMetaObject::invokeMethod(sheet, "close");
            return QTest::qWaitFor([&] { return !sheet->property("visible").toBool(); }, 2000);
        };

        model->setSection("Profile");
        QTest::qWait(20);
        QVERIFY(find("serversCard"));
        QObject* add = openSheet("addServer", "addServerSheet");
        QVERIFY(add);
        expectNamedControls();
        add->setProperty("mode", "pairing");
        QTest::qWait(20);
        expectNamedControls();
        QVERIFY(closeSheet(add));
        // No server answers here: the pairing sheet says so.
        seam(store).setServerURLString(QStringLiteral("http://127.0.0.1:1"));
        QObject* pairing = openSheet("pairing", "pairingSheet");
        QVERIFY(pairing);
        QTRY_COMPARE(model->servers()->pairingState(), QStringLiteral("failed"));
        expectNamedControls();
        QVERIFY(closeSheet(pairing));
        QCOMPARE(model->servers()->pairingState(), QString());

        model->setSection("Conversation");
        QTest::qWait(20);
        QObject* group = openSheet("newGroup", "newChatSheet");
        QVERIFY(group);
        QCOMPARE(model->newChat()->rowCount(), 1);
        expectNamedControls();
        QVERIFY(closeSheet(group));
        model->selectChat(11);
        QTest::qWait(250);
        QObject* invite = openSheet("invite", "inviteSheet");
        QVERIFY(invite);
        QCOMPARE(model->invite()->chatId(), qint64(11));
        expectNamedControls();
        QVERIFY(closeSheet(invite));
        QObject* join = openSheet("joinByCode", "joinByCodeView");
        QVERIFY(join);
        expectNamedControls();
        QVERIFY(closeSheet(join));
        expectNoWarnings();
    }

    // The session sheets one after another over an open conversation, and the
    // usage screen with figures: each loads, names its controls and, in
    // German, leaves no English of its own behind.
    void sessionSheetsAndUsageScreen_data() {
        QTest::addColumn<QString>("sheet");
        QTest::addColumn<QString>("objectName");
        QTest::newRow("settings") << "settings"
                                  << "chatSettingsSheet";
        QTest::newRow("folders") << "folders"
                                 << "remoteFolderBrowser";
        QTest::newRow("files") << "files"
                               << "fileExplorerView";
        QTest::newRow("claude md") << "claudemd"
                                   << "claudeMdEditorView";
        QTest::newRow("env file") << "env:.env.local"
                                  << "envFileEditorView";
        QTest::newRow("viewer") << "file:/proj/README.md"
                                << "fileViewerView";
    }
    void sessionSheetsAndUsageScreen() {
        QFETCH(QString, sheet);
        QFETCH(QString, objectName);
        QVERIFY(start(true));
        model->setLanguage("de");
        model->selectChat(12);
        QTest::qWait(50);
        model->sessionSettings()->requestSheet(sheet);
        QTRY_VERIFY(find(qPrintable(objectName)));
        QTest::qWait(250);
        expectNamedControls();
        QHash<QString, QString> german;
        for (const TranslationRow& row : agentViewTranslationRows())
            german.insert(QString::fromUtf8(row.en), QString::fromUtf8(row.de));
        QStringList leftInEnglish;
        walkWindow(window, [&](QQuickItem* item) {
            if (!item->inherits("QQuickText")) return;
            const QString text = item->property("text").toString();
            if (german.contains(text) && german.value(text) != text) leftInEnglish << text;
        });
        QVERIFY2(leftInEnglish.isEmpty(), qPrintable(leftInEnglish.join(" | ")));
        expectNoWarnings();
    }

    // The group settings with their member menu, the new AI chat sheet, the
    // people section and another person's profile, in German: named controls,
    // no warning, none of their own texts left in English.
    void groupAndPeopleScreensInGerman() {
        QVERIFY(start(true));
        window->resize(1100, 700);
        User bob;
        bob.id = 2;
        bob.username = QStringLiteral("bob");
        bob.competence = QStringLiteral("Rust");
        User agent;
        agent.id = 3;
        agent.username = QStringLiteral("Claude");
        seam(store).users() = {*store->me(), bob, agent};
        seam(store).agentId() = 3;
        seam(store).onlineUserIds() = {2};
        seam(store).chats()[0].members = {*store->me(), bob};
        seam(store).groupRoles()[10] = {{1, GroupRole::owner}, {2, GroupRole::admin}};
        emit store->usersChanged();
        model->setLanguage("de");
        QHash<QString, QString> german;
        for (const TranslationRow& row : groupsTranslationRows())
            german.insert(QString::fromUtf8(row.en), QString::fromUtf8(row.de));
        const auto expectGerman = [&] {
            QStringList leftInEnglish;
            walkWindow(window, [&](QQuickItem* item) {
                if (!item->inherits("QQuickText")) return;
                const QString text = item->property("text").toString();
                if (german.contains(text) && german.value(text) != text) leftInEnglish << text;
            });
            QVERIFY2(leftInEnglish.isEmpty(), qPrintable(leftInEnglish.join(" | ")));
        };
        const auto opened = [&](const char* name) -> QObject* {
            QObject* sheet = window->findChild<QObject*>(QString::fromLatin1(name));
            if (!sheet ||
                !QTest::qWaitFor([&] { return sheet->property("opened").toBool(); }, 2000))
                return nullptr;
            return sheet;
        };

        model->setSection("People");
        QTRY_VERIFY(find("peopleModule"));
        QCOMPARE(model->people()->rowCount(), 1); // bob; the agent is listed apart
        expectNamedControls();
        expectGerman();

        model->selectChat(10);
        QTest::qWait(100);
        QVERIFY(find("groupSettingsButton"));
        model->openSheet("groupSettings", 10);
        QObject* settings = opened("groupSettingsSheet");
        QVERIFY(settings);
        QCOMPARE(model->groupSettings()->rowCount(), 2);
        QVERIFY(find("addMembersButton"));
        QVERIFY(!find("leaveGroupButton")); // the owner stays
        expectNamedControls();
        expectGerman();
        QMetaObject::invokeMethod(settings, "close");
        QTRY_VERIFY(!settings->property("visible").toBool());

        model->openSheet("newAIChat");
        QObject* ai = opened("newAIChatSheet");
        QVERIFY(ai);
        expectNamedControls();
        expectGerman();
        QMetaObject::invokeMethod(ai, "close");
        QTRY_VERIFY(!ai->property("visible").toBool());

        // The row menu's "Settings" of a direct conversation is the person's profile.
        ChatSummary direct = chatWith(13, QString());
        direct.kind = QStringLiteral("direct");
        direct.title.reset();
        direct.members = {*store->me(), bob};
        store->upsertChat(direct);
        model->chatActions()->openSettings(13);
        QObject* profile = opened("profileSheet");
        QVERIFY(profile);
        QCOMPARE(find("profilePresence")->property("text").toString(), L("Online"));
        expectNamedControls();
        expectGerman();
        expectNoWarnings();
    }

    void usageScreenShowsPace() {
        QVERIFY(start(true));
        const auto at = [](int minutes) {
            return QDateTime::currentDateTimeUtc().addSecs(minutes * 60).toString(Qt::ISODate);
        };
        ClaudeUsage usage;
        usage.email = QStringLiteral("ana@velmarin.test");
        usage.fiveHour = ClaudeUsageWindow{70.0, at(120)};
        usage.sevenDay = ClaudeUsageWindow{10.0, at(6 * 24 * 60)};
        store->setClaudeUsage(usage);
        store->setClaudeHostName(QStringLiteral("studio"));
        model->setSection("Usage");
        QTRY_VERIFY(find("usageModule"));
        QTest::qWait(50);
        QStringList texts;
        walkWindow(window, [&](QQuickItem* item) {
            if (item->inherits("QQuickText")) texts << item->property("text").toString();
        });
        QVERIFY2(texts.contains("Ahead of pace"), qPrintable(texts.join(" | ")));
        QVERIFY(texts.contains("On track"));
        QVERIFY(texts.contains("ana@velmarin.test"));
        QVERIFY(find("claudeUsageRail"));
        expectNamedControls();
        model->setSection("Profile");
        QTRY_VERIFY(find("claudeAccountContent"));
        expectNoWarnings();
    }

    void keyboard() {
        QVERIFY(start(true));
        window->resize(1100, 700);
        // Ctrl+F: the list search takes the focus.
        model->setSection("Work");
        QTest::keyClick(window, Qt::Key_F, Qt::ControlModifier);
        QTRY_COMPARE(model->section(), QStringLiteral("Conversation"));
        QTRY_VERIFY(window->activeFocusItem() &&
                    window->activeFocusItem()->objectName() == QLatin1String("listSearch"));

        // Ctrl+K, type, Enter: that conversation is open.
        QTest::keyClick(window, Qt::Key_K, Qt::ControlModifier);
        QObject* switcher = window->findChild<QObject*>(QStringLiteral("quickSwitcher"));
        QVERIFY(switcher);
        QTRY_VERIFY(switcher->property("opened").toBool());
        for (char c : {'d', 'e', 's', 'i'})
            QTest::keyClick(window, c);
        QTest::keyClick(window, Qt::Key_Return);
        QTRY_COMPARE(model->selectedChatId(), qint64(11));
        QTRY_VERIFY(!switcher->property("visible").toBool());

        // Esc steps back out of the conversation.
        QTest::qWait(200);
        QTest::keyClick(window, Qt::Key_Escape);
        QTRY_COMPARE(model->selectedChatId(), qint64(0));

        // Tab moves the focus through named controls with a visible ring.
        for (int i = 0; i < 8; ++i) {
            QTest::keyClick(window, Qt::Key_Tab);
            QQuickItem* focused = window->activeFocusItem();
            QVERIFY(focused);
            QVERIFY2(!accessibleName(focused).isEmpty(), focused->metaObject()->className());
        }
        expectNoWarnings();
    }
};

QTEST_MAIN(TestQmlLoad)
#include "test_qml_load.moc"
