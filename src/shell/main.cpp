// The desktop app: one window, one Store for the life of the process, and the
// QML frame over a C++ view model.

#include "core/AppSection.h"
#include "core/Notifier.h"
#include "core/PrefKeys.h"
#include "core/Prefs.h"
#include "core/ProcessClock.h"
#include "shell/TrayIcon.h"
#include "store/Store.h"
#include "ui/AppModel.h"
#include "ui/DesktopLook.h"
#include "ui/Icons.h"
#include "ui/SingleInstance.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QElapsedTimer>
#include <QFont>
#include <QIcon>
#include <QQmlApplicationEngine>
#include <QQuickWindow>
#include <QTimer>
#include <algorithm>
#include <cstdio>

namespace {

struct LaunchOptions {
    QString link;
    bool quitAfterFirstFrame = false;
    bool quitAfterMainFrame = false;
    double quitAfterSeconds = 0;
    QString section;
    QString openChat;
    QString stageImage;
    QStringList addServers;
    QString openSheet;
    QString agentSheet;
};

// Developer options for the start-up benchmark and the screenshot script; the
// only argument a person passes is a velmarin:// link, from the desktop.
LaunchOptions parseArguments(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.addHelpOption();
    const QCommandLineOption firstFrame(
        QStringLiteral("quit-after-first-frame"),
        QStringLiteral("Print the milliseconds to the first frame, then quit."));
    const QCommandLineOption mainFrame(
        QStringLiteral("quit-after-main-frame"),
        QStringLiteral("Print the milliseconds to the first frame signed in, then quit."));
    const QCommandLineOption quitAfter(QStringLiteral("quit-after"),
                                       QStringLiteral("Quit after this many seconds."),
                                       QStringLiteral("seconds"));
    const QCommandLineOption section(QStringLiteral("section"),
                                     QStringLiteral("Open this section (its raw value)."),
                                     QStringLiteral("section"));
    const QCommandLineOption openChat(
        QStringLiteral("open-chat"),
        QStringLiteral("Open the conversation with this title once the list has loaded."),
        QStringLiteral("title"));
    const QCommandLineOption stageImage(
        QStringLiteral("stage-image"),
        QStringLiteral("Put this picture in the opened conversation's composer."),
        QStringLiteral("file"));
    const QCommandLineOption addServer(
        QStringLiteral("add-server"),
        QStringLiteral("Add this extra server (name=url or url) once launched; repeatable."),
        QStringLiteral("server"));
    const QCommandLineOption openSheet(
        QStringLiteral("open-sheet"),
        QStringLiteral("Open this sheet shortly after launch (servers, addServer, pairing, "
                       "invite, newChat, newGroup, joinByCode)."),
        QStringLiteral("name"));
    const QCommandLineOption agentSheet(
        QStringLiteral("agent-sheet"),
        QStringLiteral("Over the opened conversation, open a session sheet: settings, folders, "
                       "files, claudemd, env:<name> or file:<path>."),
        QStringLiteral("sheet"));
    parser.addOptions({firstFrame, mainFrame, quitAfter, section, openChat, stageImage, agentSheet,
                       addServer, openSheet});
    parser.addPositionalArgument(QStringLiteral("link"), QStringLiteral("A velmarin:// link."));
    parser.process(arguments);
    LaunchOptions options;
    options.quitAfterFirstFrame = parser.isSet(firstFrame);
    options.quitAfterMainFrame = parser.isSet(mainFrame);
    options.quitAfterSeconds = parser.value(quitAfter).toDouble();
    options.section = parser.value(section);
    options.openChat = parser.value(openChat);
    options.stageImage = parser.value(stageImage);
    options.addServers = parser.values(addServer);
    options.openSheet = parser.value(openSheet);
    options.agentSheet = parser.value(agentSheet);
    if (!parser.positionalArguments().isEmpty())
        options.link = parser.positionalArguments().first();
    return options;
}

void reportFirstFrame(QQuickWindow* window, const QElapsedTimer& sinceMain, bool quit) {
    // frameSwapped comes from the render thread, so several may be queued already.
    auto reported = std::make_shared<bool>(false);
    QObject::connect(window, &QQuickWindow::frameSwapped, window, [=] {
        if (std::exchange(*reported, true)) return;
        const auto sinceStart = msSinceProcessStart();
        std::printf("first-frame-ms %.1f main-to-frame-ms %lld\n", sinceStart.value_or(-1.0),
                    static_cast<long long>(sinceMain.elapsed()));
        std::fflush(stdout);
        if (quit) QTimer::singleShot(0, qApp, &QGuiApplication::quit);
    });
}

// The first frame that shows the signed-in window rather than the login screen.
void reportMainFrame(QQuickWindow* window, const AppModel& model, const QElapsedTimer& sinceMain,
                     bool quit) {
    auto reported = std::make_shared<bool>(false);
    QObject::connect(window, &QQuickWindow::frameSwapped, window, [=, &model] {
        if (*reported || !model.signedIn()) return;
        *reported = true;
        const auto sinceStart = msSinceProcessStart();
        std::printf("main-frame-ms %.1f main-to-main-frame-ms %lld\n", sinceStart.value_or(-1.0),
                    static_cast<long long>(sinceMain.elapsed()));
        std::fflush(stdout);
        if (quit) QTimer::singleShot(0, qApp, &QGuiApplication::quit);
    });
}

// Without a GPU, OpenGL would be rasterised on the CPU by Mesa's llvmpipe; Qt
// Quick's own software renderer starts several times faster and needs less
// than half the memory for this interface. A backend chosen in the
// environment is left alone.
void chooseRenderer() {
    if (!qEnvironmentVariableIsEmpty("QT_QUICK_BACKEND") ||
        !qEnvironmentVariableIsEmpty("QSG_RHI_BACKEND"))
        return;
    const QStringList renderNodes =
        QDir(QStringLiteral("/dev/dri")).entryList({QStringLiteral("renderD*")}, QDir::System);
    if (renderNodes.isEmpty()) QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
}

// The screenshot script's way into one conversation: as soon as the list
// holds a conversation with this title, it opens (once).
void openChatWhenListed(Store& store, AppModel& model, const LaunchOptions& options) {
    if (options.openChat.isEmpty()) return;
    auto done = std::make_shared<bool>(false);
    auto tryOpen = [&store, &model, options, done] {
        if (*done) return;
        const std::optional<qint64> me = store.me() ? std::optional(store.me()->id) : std::nullopt;
        for (const ChatSummary& chat : std::as_const(store.chats())) {
            if (chat.displayTitle(me) != options.openChat) continue;
            *done = true;
            model.selectChat(chat.id);
            if (!options.stageImage.isEmpty())
                model.composer()->addImageFile(QUrl::fromLocalFile(options.stageImage));
            // Once the conversation has settled on screen.
            if (!options.agentSheet.isEmpty())
                QTimer::singleShot(1500, &model, [&model, sheet = options.agentSheet] {
                    model.sessionSettings()->requestSheet(sheet);
                });
            return;
        }
    };
    QObject::connect(&store, &Store::chatsReset, &model, tryOpen);
    QObject::connect(&store, &Store::chatChanged, &model, tryOpen);
    tryOpen();
}

// The servers of --add-server, one after the other, each unless already there.
void addServersOnLaunch(Store& store, const LaunchOptions& options) {
    if (options.addServers.isEmpty()) return;
    [](QPointer<Store> self, QStringList entries) -> QCoro::Task<> {
        // Under the signed-in name, so the servers know the same person.
        for (int i = 0; i < 100 && self && !self->me(); ++i) {
            auto wait = self->sleep(0.1);
            co_await wait;
        }
        for (const QString& entry : entries) {
            const qsizetype eq = entry.indexOf(QLatin1Char('='));
            const bool named = eq > 0 && !entry.left(eq).contains(QLatin1Char(':'));
            const QString url = named ? entry.mid(eq + 1) : entry;
            const auto base = Store::normalizedServerURL(url);
            if (!self || !base) continue;
            const auto& profiles = self->extraServers();
            if (std::any_of(profiles.begin(), profiles.end(), [&](const ServerProfile& p) {
                    return Store::normalizedServerURL(p.url) == base;
                }))
                continue;
            const QString name = named ? entry.left(eq) : base->host();
            auto call = self->addServer(name, url);
            co_await call;
        }
    }(QPointer<Store>(&store), options.addServers);
}

void openSheetSoon(AppModel& model, const LaunchOptions& options) {
    if (options.openSheet.isEmpty()) return;
    // After sign-in, once the list has loaded and --open-chat has picked its conversation.
    auto open = [&model, name = options.openSheet] {
        QTimer::singleShot(2500, &model, [&model, name] { model.openSheet(name); });
    };
    if (model.signedIn()) {
        open();
        return;
    }
    auto done = std::make_shared<QMetaObject::Connection>();
    *done = QObject::connect(&model, &AppModel::sessionChanged, &model, [&model, open, done] {
        if (!model.signedIn()) return;
        QObject::disconnect(*done);
        open();
    });
}

void bringForward(QQuickWindow* window) {
    window->show();
    if (window->windowStates() & Qt::WindowMinimized)
        window->setWindowStates(window->windowStates() & ~Qt::WindowMinimized);
    window->raise();
    window->requestActivate();
}

} // namespace

int main(int argc, char* argv[]) {
    QElapsedTimer sinceMain;
    sinceMain.start();
    QGuiApplication::setOrganizationName(QStringLiteral("Velmarin"));
    QGuiApplication::setApplicationName(QStringLiteral("Velmarin"));
    QGuiApplication::setDesktopFileName(QStringLiteral("velmarin"));
    // Widgets only for the tray icon and its menu.
    QApplication app(argc, argv);
    QGuiApplication::setWindowIcon(QIcon(QStringLiteral(":/icons/velmarin.svg")));
    const LaunchOptions options = parseArguments(app.arguments());

    // A second launch hands its link to the app already running on the same
    // preferences, and goes.
    SingleInstance instance(Prefs::shared().fileName());
    const bool measuring =
        options.quitAfterFirstFrame || options.quitAfterMainFrame || options.quitAfterSeconds > 0;
    if (!measuring && instance.handOff(options.link)) return 0;
    if (!measuring) instance.listen();

    chooseRenderer();
    Icons::loadFont();
    // Inter for text, Noto Color Emoji for emoji; fontconfig supplies the rest.
    QFont font;
    font.setFamilies({QStringLiteral("Inter"), QStringLiteral("Noto Color Emoji")});
    font.setPixelSize(14);
    QGuiApplication::setFont(font);

    Store store;
    if (!Prefs::shared().contains(PrefKey::design))
        adoptDesktopLookOnFirstStart(store, desktopPrefersDark());
    if (const auto section = sectionFromRaw(options.section)) store.setSection(*section);
    AppModel model(&store);

    QQmlApplicationEngine engine;
    AppModel::configureEngine(engine);
    engine.load(QUrl(QStringLiteral("qrc:/qt/qml/Velmarin/Main.qml")));
    if (engine.rootObjects().isEmpty()) return 1;
    auto* window = qobject_cast<QQuickWindow*>(engine.rootObjects().constFirst());
    if (!window) return 1;
    if (measuring) reportFirstFrame(window, sinceMain, options.quitAfterFirstFrame);
    if (measuring) reportMainFrame(window, model, sinceMain, options.quitAfterMainFrame);
    if (options.quitAfterSeconds > 0)
        QTimer::singleShot(int(options.quitAfterSeconds * 1000), &app, &QGuiApplication::quit);

    QObject::connect(&instance, &SingleInstance::messageReceived, window,
                     [&model, window](const QString& message) {
                         if (!message.isEmpty()) model.openLink(message);
                         bringForward(window);
                     });
    QObject::connect(&app, &QGuiApplication::applicationStateChanged, &model,
                     [&model](Qt::ApplicationState state) {
                         model.setApplicationActive(state == Qt::ApplicationActive);
                     });

    // A notification's action opens its conversation in a window that comes forward.
    QObject::connect(&store.notifier(), &Notifier::activated, window,
                     [&model, window](qint64 chatId) {
                         model.selectChat(chatId);
                         bringForward(window);
                     });
    TrayIcon tray(&store, window);
    openChatWhenListed(store, model, options);
    addServersOnLaunch(store, options);
    openSheetSoon(model, options);

    // Launch tasks.
    store.ensureConnected();
    if (!options.link.isEmpty()) model.openLink(options.link);
    return app.exec();
}
