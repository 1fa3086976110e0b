#include "core/LocNotifier.h"
#include "store/Store.h"
#include "support/TestSupport.h"
#include "ui/AppModel.h"
#include "ui/Icons.h"
#include "ui/LoginViewModel.h"

#include <QDirIterator>
#include <QPointer>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QSignalSpy>
#include <QTest>

namespace {
// Compiles `source` in `engine` and makes its root object; null with the
// errors in `errors` when either step fails.
std::unique_ptr<QObject> make(QQmlEngine& engine, const QByteArray& source, QString* errors) {
    QQmlComponent component(&engine);
    component.setData(source, QUrl(QStringLiteral("qrc:/probe.qml")));
    std::unique_ptr<QObject> object(component.isError() ? nullptr : component.create());
    if (!object) *errors = component.errorString();
    return object;
}

QStringList& warnings() {
    static QStringList list;
    return list;
}

void collectWarnings(QtMsgType type, const QMessageLogContext&, const QString& message) {
    if (type != QtDebugMsg && type != QtInfoMsg && !message.contains("XDG_RUNTIME_DIR"))
        warnings().append(message);
}
} // namespace

// The QML modules as the app and the tests link them: each view compiles
// against the types the libraries declare, and the singletons are the app's
// own objects.
class TestQmlModules : public QObject {
    Q_OBJECT

    std::unique_ptr<ScopedPrefs> prefs;
    std::unique_ptr<Store> store;
    std::unique_ptr<AppModel> model;

private slots:
    void initTestCase() {
        QVERIFY(Icons::loadFont());
        prefs = std::make_unique<ScopedPrefs>();
        store = std::make_unique<Store>();
        model = std::make_unique<AppModel>(store.get());
    }

    void cleanupTestCase() {
        model.reset();
        store.reset();
        prefs.reset();
    }

    // A view naming a type no module declares, or importing a module that is
    // not linked in, does not compile; this finds it without opening the view.
    void everyViewCompiles() {
        QQmlEngine engine;
        AppModel::configureEngine(engine);
        QStringList broken;
        int compiled = 0;
        QDirIterator it(QStringLiteral(":/qt/qml/Velmarin"), {QStringLiteral("*.qml")}, QDir::Files,
                        QDirIterator::Subdirectories);
        while (it.hasNext()) {
            const QString path = it.next();
            QQmlComponent component(&engine, QUrl(QStringLiteral("qrc") + path),
                                    QQmlComponent::PreferSynchronous);
            if (component.isError())
                broken << component.errorString();
            else
                ++compiled;
        }
        QVERIFY2(broken.isEmpty(), qPrintable(broken.join('\n')));
        QVERIFY2(compiled > 100, qPrintable(QString::number(compiled)));
    }

    // Each engine is handed the instances that exist, and an engine going away
    // leaves them alive for the next one.
    void singletonsAreTheAppsObjects() {
        const QByteArray source = "import QtQml\nimport Velmarin.Core\nimport Velmarin.Models\n"
                                  "QtObject { property var app: AppModel; property var loc: Loc }";
        QPointer<AppModel> app = model.get();
        QPointer<LocNotifier> loc = LocNotifier::instance();
        for (int round = 0; round < 2; ++round) {
            QQmlEngine engine;
            QString errors;
            const auto probe = make(engine, source, &errors);
            QVERIFY2(probe, qPrintable(errors));
            QCOMPARE(probe->property("app").value<QObject*>(), app.data());
            QCOMPARE(probe->property("loc").value<QObject*>(), loc.data());
        }
        QVERIFY(app);
        QVERIFY(loc);
    }

    // The models the app owns cannot be made from QML; the two a view makes
    // for itself can.
    void ownedModelsAreNotCreatable() {
        QQmlEngine engine;
        QString errors;
        QVERIFY(!make(engine, "import Velmarin.Models\nTimelineModel {}", &errors));
        QVERIFY2(errors.contains(QLatin1String("AppModel owns it")), qPrintable(errors));
        QVERIFY(!make(engine, "import Velmarin.Models\nAppModel {}", &errors));

        const auto login = make(engine, "import Velmarin.Models\nLoginViewModel {}", &errors);
        QVERIFY2(login, qPrintable(errors));
        QVERIFY(qobject_cast<LoginViewModel*>(login.get()));
        const auto switcher =
            make(engine, "import Velmarin.Models\nChatSwitcherModel { filter: \"x\" }", &errors);
        QVERIFY2(switcher, qPrintable(errors));
        QCOMPARE(switcher->property("filter").toString(), QStringLiteral("x"));
    }

    // A sheet on the shared frame and buttons: it opens without a warning,
    // its action answers and closes it.
    void confirmSheetRunsItsAction() {
        QQmlEngine engine;
        AppModel::configureEngine(engine);
        QString errors;
        const auto root = make(engine,
                               "import QtQuick\nimport Velmarin\nWindow {\n"
                               "    width: 600; height: 400; visible: true\n"
                               "    property alias sheet: confirm\n"
                               "    ConfirmSheet { id: confirm; message: \"Gone for good\"; "
                               "confirmText: \"Delete\" }\n}",
                               &errors);
        QVERIFY2(root, qPrintable(errors));
        auto* window = qobject_cast<QQuickWindow*>(root.get());
        QVERIFY(window && QTest::qWaitForWindowExposed(window));
        warnings().clear();
        qInstallMessageHandler(collectWarnings);
        auto* sheet = root->property("sheet").value<QObject*>();
        QSignalSpy confirmed(sheet, SIGNAL(confirmed()));
        QMetaObject::invokeMethod(sheet, "open");
        QTRY_VERIFY(sheet->property("opened").toBool());
        auto* button = root->findChild<QQuickItem*>("confirmButton");
        QVERIFY(button);
        QCOMPARE(button->property("text").toString(), QStringLiteral("Delete"));
        QVERIFY(button->property("danger").toBool());
        QMetaObject::invokeMethod(button, "clicked");
        QCOMPARE(confirmed.count(), 1);
        QTRY_VERIFY(!sheet->property("visible").toBool());
        qInstallMessageHandler(nullptr);
        QVERIFY2(warnings().isEmpty(), qPrintable(warnings().join('\n')));
    }
};

QTEST_MAIN(TestQmlModules)
#include "test_qml_modules.moc"
