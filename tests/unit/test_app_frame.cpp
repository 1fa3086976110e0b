#include "core/AppSection.h"
#include "core/Localisation.h"
#include "core/Prefs.h"
#include "model/Config.h"
#include "store/Store.h"
#include "support/StoreSeam.h"
#include "support/TestSupport.h"
#include "ui/AppModel.h"
#include "ui/ChatSwitcherModel.h"
#include "ui/DesktopLook.h"
#include "ui/LinkRouter.h"
#include "ui/Palette.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QTest>

namespace {
User person(qint64 id, const QString& name) {
    User u;
    u.id = id;
    u.username = name;
    return u;
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

// A store that looks signed in, without any server.
void signIn(Store& store) {
    seam(store).setToken(QStringLiteral("token"));
    seam(store).me() = person(1, QStringLiteral("ana"));
    emit store.sessionChanged();
}
} // namespace

// The frame's rules: sections and badges, links, the palette's contrast, the
// first-start look, the quick switcher's rows and the app view model.
class TestAppFrame : public QObject {
    Q_OBJECT

    std::unique_ptr<ScopedPrefs> prefs;

private slots:
    void init() {
        prefs = std::make_unique<ScopedPrefs>();
        Config::overrideWellKnownServers("http://127.0.0.1:1", "http://127.0.0.1:1",
                                         "http://127.0.0.1:1");
        Loc::setCurrent(AppLanguage::en);
    }
    void cleanup() {
        Loc::setCurrent(AppLanguage::en);
        prefs.reset();
    }

    // MARK: Sections

    void sectionTitles_data() {
        QTest::addColumn<QString>("raw");
        QTest::addColumn<QString>("language");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("symbol");
        QTest::newRow("conversations") << "Conversation"
                                       << "en"
                                       << "Conversation"
                                       << "ellipsis.bubble.fill";
        QTest::newRow("people section") << "People"
                                        << "de"
                                        << "Personen"
                                        << "person.2.fill";
        QTest::newRow("fleet is Monitor") << "Fleet"
                                          << "en"
                                          << "Monitor"
                                          << "server.rack";
        QTest::newRow("fleet in German") << "Fleet"
                                         << "de"
                                         << "Überwachung"
                                         << "server.rack";
        QTest::newRow("usage is AI") << "Usage"
                                     << "fr"
                                     << "IA"
                                     << "gauge.with.dots.needle.67percent";
        QTest::newRow("mac") << "Mac"
                             << "es"
                             << "Mac"
                             << "desktopcomputer";
    }
    void sectionTitles() {
        QFETCH(QString, raw);
        QFETCH(QString, language);
        QFETCH(QString, title);
        QFETCH(QString, symbol);
        Loc::setCurrent(*appLanguageFromRaw(language));
        const auto section = sectionFromRaw(raw);
        QVERIFY(section);
        QCOMPARE(rawValue(*section), raw);
        QCOMPARE(localizedTitle(*section), title);
        QCOMPARE(icon(*section), symbol);
    }

    void sectionsKeepTheirOrder() {
        QStringList raws;
        for (AppSection s : allSections)
            raws << rawValue(s);
        QCOMPARE(raws, QStringList(
                           {"Conversation", "Work", "People", "Fleet", "Usage", "Profile", "Mac"}));
        QVERIFY(!sectionFromRaw("people")); // identified by the raw value, not the case name
    }

    void badges_data() {
        QTest::addColumn<int>("count");
        QTest::addColumn<QString>("text");
        QTest::newRow("none") << 0 << "";
        QTest::newRow("negative") << -3 << "";
        QTest::newRow("one") << 1 << "1";
        QTest::newRow("99") << 99 << "99";
        QTest::newRow("100") << 100 << "99+";
        QTest::newRow("120") << 120 << "99+";
    }
    void badges() {
        QFETCH(int, count);
        QFETCH(QString, text);
        QCOMPARE(badgeText(count), text);
    }

    // MARK: Internal links

    void links_data() {
        QTest::addColumn<QString>("url");
        QTest::addColumn<int>("outcome");
        QTest::addColumn<QString>("copied");
        QTest::addColumn<QString>("profile");
        const int handled = int(LinkRouter::Outcome::handled);
        const int discarded = int(LinkRouter::Outcome::discarded);
        const int system = int(LinkRouter::Outcome::system);
        QTest::newRow("encoded slash") << "velmarin://copy/a%2Fb" << handled << "a/b"
                                       << "";
        QTest::newRow("components joined") << "velmarin://copy/x%20y/z" << handled << "x y/z"
                                           << "";
        QTest::newRow("empty copy") << "velmarin://copy/" << handled << ""
                                    << "";
        QTest::newRow("known user") << "velmarin://user/bob" << handled << ""
                                    << "bob";
        QTest::newRow("unknown user") << "velmarin://user/nobody" << discarded << ""
                                      << "";
        QTest::newRow("no user") << "velmarin://user" << discarded << ""
                                 << "";
        QTest::newRow("invite without handler")
            << "velmarin://join?server=a.example" << discarded << ""
            << "";
        QTest::newRow("web") << "https://example.com/x" << system << ""
                             << "";
        QTest::newRow("other host") << "velmarin://settings" << system << ""
                                    << "";
    }
    void links() {
        QFETCH(QString, url);
        QFETCH(int, outcome);
        QFETCH(QString, copied);
        QFETCH(QString, profile);
        Store store({0.01});
        seam(store).users() = {person(2, "bob")};
        QString clipboard;
        LinkRouter router(store, [&](const QString& text) { clipboard = text; });
        QCOMPARE(int(router.open(QUrl(url))), outcome);
        QCOMPARE(clipboard, copied);
        QCOMPARE(store.toast().has_value(), !copied.isEmpty());
        if (!copied.isEmpty()) QCOMPARE(*store.toast(), QStringLiteral("Copied"));
        QCOMPARE(store.profileUser() ? store.profileUser()->username : QString(), profile);
    }

    void inviteLinksReachTheirHandler() {
        Store store;
        LinkRouter router(store, {});
        QList<QUrl> seen;
        router.setInviteHandler([&](const QUrl& u) { seen << u; });
        const QUrl link("velmarin://join?server=https://b.example");
        QCOMPARE(router.open(link), LinkRouter::Outcome::handled);
        QCOMPARE(seen, QList<QUrl>{link});
    }

    // MARK: Toasts

    void newerToastKeepsItsFullTime() {
        Store store({0.1}); // 1.5 s becomes 150 ms
        store.showToast("first");
        QTest::qWait(100);
        store.showToast("second");
        QTest::qWait(90); // the first toast's timer has fired by now
        QCOMPARE(store.toast(), std::optional<QString>("second"));
        QTRY_VERIFY_WITH_TIMEOUT(!store.toast(), 2000);
    }

    // MARK: Look

    void everyTextReachesContrast() {
        for (AppDesign design : allDesigns)
            for (AppAccent accent : allAccents) {
                const Palette p = paletteFor(design, accent);
                const QString where = rawValue(design) + "/" + rawValue(accent) + ": ";
                for (const ColorPair& pair : textPairs(p)) {
                    const double ratio = contrastRatio(pair.foreground, pair.background);
                    QVERIFY2(ratio >= 4.5, qPrintable(where + pair.name + " is " +
                                                      QString::number(ratio, 'f', 2)));
                }
                QVERIFY2(contrastRatio(p.focusRing, p.window) >= 3.0,
                         qPrintable(where + "focus ring"));
            }
    }

    void designsLookAsDescribed() {
        QCOMPARE(paletteFor(AppDesign::classic, AppAccent::blue).conversation, QColor(Qt::black));
        QVERIFY(paletteFor(AppDesign::classic, AppAccent::blue).dark);
        QVERIFY(paletteFor(AppDesign::grey, AppAccent::blue).dark);
        QVERIFY(!paletteFor(AppDesign::light, AppAccent::blue).dark);
        // The accent itself stays what the swatch shows.
        QCOMPARE(paletteFor(AppDesign::light, AppAccent::mint).accent, color(AppAccent::mint));
    }

    void contrastFormula_data() {
        QTest::addColumn<QColor>("a");
        QTest::addColumn<QColor>("b");
        QTest::addColumn<double>("ratio");
        QTest::newRow("black on white") << QColor(Qt::black) << QColor(Qt::white) << 21.0;
        QTest::newRow("same") << QColor(0x777777) << QColor(0x777777) << 1.0;
        QTest::newRow("grey on white") << QColor(0x767676) << QColor(Qt::white) << 4.54;
    }
    void contrastFormula() {
        QFETCH(QColor, a);
        QFETCH(QColor, b);
        QFETCH(double, ratio);
        QVERIFY(qAbs(contrastRatio(a, b) - ratio) < 0.01);
        QVERIFY(qAbs(contrastRatio(b, a) - ratio) < 0.01);
    }

    void withContrastMovesOnlyAsFarAsNeeded() {
        const QColor ok(Qt::white);
        QCOMPARE(withContrast(ok, {QColor(Qt::black)}, 4.5), ok);
        const QColor dim(0x404040);
        const QColor lifted = withContrast(dim, {QColor(Qt::black)}, 4.5);
        QVERIFY(contrastRatio(lifted, Qt::black) >= 4.5);
        QVERIFY(relativeLuminance(lifted) > relativeLuminance(dim));
        const QColor deepened = withContrast(QColor(0xBBBBBB), {QColor(Qt::white)}, 4.5);
        QVERIFY(contrastRatio(deepened, Qt::white) >= 4.5);
        QVERIFY(contrastRatio(deepened, Qt::white) < 5.0);
    }

    void firstStartFollowsTheDesktop_data() {
        QTest::addColumn<QString>("stored");
        QTest::addColumn<int>("preference"); // -1 none, 0 light, 1 dark
        QTest::addColumn<QString>("design");
        QTest::addColumn<bool>("chose");
        QTest::newRow("light desktop") << "" << 0 << "Light" << true;
        QTest::newRow("dark desktop") << "" << 1 << "Classic" << true;
        QTest::newRow("no preference") << "" << -1 << "Classic" << true;
        QTest::newRow("own choice stays") << "Grey" << 0 << "Grey" << false;
    }
    void firstStartFollowsTheDesktop() {
        QFETCH(QString, stored);
        QFETCH(int, preference);
        QFETCH(QString, design);
        QFETCH(bool, chose);
        if (!stored.isEmpty()) Prefs::shared().setValue("design", stored);
        Store store;
        const std::optional<bool> dark =
            preference < 0 ? std::nullopt : std::optional<bool>(preference == 1);
        QCOMPARE(adoptDesktopLookOnFirstStart(store, dark), chose);
        QCOMPARE(rawValue(store.design()), design);
        QCOMPARE(Prefs::shared().string("design"), design);
        // Decided once: a later start keeps it.
        QVERIFY(!adoptDesktopLookOnFirstStart(store, !dark.value_or(true)));
    }

    // MARK: Quick switcher rows

    void switcherFollowsTheStoreRowByRow() {
        Store store;
        signIn(store);
        ChatSwitcherModel model(&store);
        QAbstractItemModelTester tester(&model,
                                        QAbstractItemModelTester::FailureReportingMode::QtTest);
        seam(store).chats() = {chatWith(10, "Alpha", 2), chatWith(11, "Beta"),
                               chatWith(12, "Gamma")};
        emit store.chatsReset();
        QCOMPARE(model.rowCount(), 3);
        QCOMPARE(model.chatIdAt(0), 10);

        // Gamma moves to the top: a move, not a reset.
        QSignalSpy moved(&model, &QAbstractItemModel::rowsMoved);
        QSignalSpy reset(&model, &QAbstractItemModel::modelReset);
        seam(store).chats().move(2, 0);
        emit store.chatChanged(12);
        QCOMPARE(moved.size(), 1);
        QCOMPARE(reset.size(), 0);
        QCOMPARE(model.chatIdAt(0), 12);

        // An unread change touches only that row's role.
        QSignalSpy changed(&model, &QAbstractItemModel::dataChanged);
        seam(store).chats()[1].unread = 5;
        emit store.chatChanged(10);
        QCOMPARE(changed.size(), 1);
        QCOMPARE(changed.first().at(2).value<QList<int>>(),
                 (QList<int>{ChatSwitcherModel::UnreadRole, ChatSwitcherModel::BadgeRole}));
        QCOMPARE(model.data(model.index(1), ChatSwitcherModel::UnreadRole).toInt(), 5);

        // The filter narrows by title, ignoring case.
        model.setFilter("ph");
        QCOMPARE(model.rowCount(), 1);
        QCOMPARE(model.data(model.index(0), ChatSwitcherModel::TitleRole).toString(), "Alpha");
        model.setFilter(QString());
        QCOMPARE(model.rowCount(), 3);

        store.removeChat(11);
        QCOMPARE(model.rowCount(), 2);
        store.logout();
        QCOMPARE(model.rowCount(), 0);
    }

    void switcherLeavesOutSavedMessages() {
        Store store;
        signIn(store);
        ChatSummary saved;
        saved.id = 20;
        saved.kind = "direct";
        saved.members = {*store.me()};
        seam(store).chats() = {saved, chatWith(21, "Team")};
        ChatSwitcherModel model(&store);
        QCOMPARE(model.rowCount(), 1);
        QCOMPARE(model.chatIdAt(0), 21);
    }

    // MARK: App view model

    void railShowsUnreadAndHidesMacFromGuests() {
        Store store;
        signIn(store);
        AppModel model(&store);
        seam(store).chats() = {chatWith(10, "A", 70), chatWith(11, "B", 50)};
        QSignalSpy rail(&model, &AppModel::railChanged);
        emit store.chatsReset();
        QCOMPARE(rail.size(), 1);
        const QVariantMap first = model.railSections().first().toMap();
        QCOMPARE(first.value("section").toString(), "Conversation");
        QCOMPARE(first.value("badge").toString(), "99+");
        QCOMPARE(first.value("symbol").toString(), "icon-chat");
        for (const QVariant& entry : model.railSections())
            if (entry.toMap().value("section") != "Conversation")
                QCOMPARE(entry.toMap().value("badge").toString(), QString());

        auto sections = [&] {
            QStringList raws;
            for (const QVariant& e : model.menuSections())
                raws << e.toMap().value("section").toString();
            return raws;
        };
        QVERIFY(sections().contains("Mac"));
        User guest = *store.me();
        guest.isGuest = true;
        seam(store).me() = guest;
        emit store.sessionChanged();
        QVERIFY(model.isGuest());
        QVERIFY(!sections().contains("Mac"));
    }

    void drawerSelectionClosesChatAndDrawer() {
        Store store;
        signIn(store);
        seam(store).chats() = {chatWith(10, "A")};
        AppModel model(&store);
        model.selectChat(10);
        QCOMPARE(model.selectedChatId(), 10);
        QCOMPARE(model.selectedChatTitle(), "A");
        model.setSection("Work");
        model.setShowMainMenu(true);
        model.selectFromMenu("Conversation");
        QCOMPARE(model.section(), "Conversation");
        QCOMPARE(model.selectedChatId(), 0);
        QVERIFY(model.showMainMenu()); // closed on the next turn
        QTRY_VERIFY(!model.showMainMenu());

        model.selectChat(10);
        model.selectFromMenu("Work");
        QCOMPARE(model.selectedChatId(), 10); // other sections keep the chat
        model.selectChat(999);
        QCOMPARE(model.selectedChatId(), 10); // an unknown chat is not selected
    }

    void footerAndSettings() {
        Store store;
        AppModel model(&store);
        QVERIFY(model.buildFooter().startsWith("Velmarin "));
        QVERIFY(model.buildFooter().contains(" · build "));
        QVERIFY(!model.buildFooter().contains(" · id "));
        signIn(store);
        QVERIFY(model.buildFooter().endsWith(" · id 1"));

        QSignalSpy settings(&model, &AppModel::settingsChanged);
        model.setDesign("Grey");
        model.setAccent("Peach");
        model.setDesign("Plaid"); // not a design: ignored
        QCOMPARE(Prefs::shared().string("design"), "Grey");
        QCOMPARE(Prefs::shared().string("accent"), "Peach");
        QCOMPARE(model.palette().value("accent").value<QColor>(), color(AppAccent::peach));
        QCOMPARE(settings.size(), 2);

        QSignalSpy rail(&model, &AppModel::railChanged);
        model.setLanguage("de");
        QCOMPARE(Prefs::shared().string("appLanguage"), "de");
        QVERIFY(rail.size() >= 1);
        QCOMPARE(model.railSections().at(3).toMap().value("title").toString(), "Überwachung");

        model.setMuteAll(true);
        QTRY_VERIFY(model.muteAll());
        QCOMPARE(Prefs::shared().readJson<NotifPrefs>("notifPrefs")->muteAll, true);
    }
};

QTEST_MAIN(TestAppFrame)
#include "test_app_frame.moc"
