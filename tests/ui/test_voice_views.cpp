#include "store/Store.h"
#include "support/StoreSeam.h"
#include "support/TestSupport.h"
#include "ui/AppModel.h"

#include <QQmlApplicationEngine>
#include <QQmlComponent>
#include <QQuickItem>
#include <QTest>

namespace {
// Two voice messages of the same file: one just sent, one a minute old (in
// milliseconds, as the timeline gives it).
const QByteArray kViews =
    "import QtQuick\n"
    "import Velmarin\n"
    "Column {\n"
    "    property alias young: youngView\n"
    "    property alias old: oldView\n"
    "    width: 400\n"
    "    VoiceMessageView {\n"
    "        id: youngView\n"
    "        media: ({ kind: \"audio\", url: \"file:///nowhere/voice.m4a\" })\n"
    "        createdAt: new Date(Date.now() - 28000)\n"
    "    }\n"
    "    VoiceMessageView {\n"
    "        id: oldView\n"
    "        media: ({ kind: \"audio\", url: \"file:///nowhere/voice.m4a\" })\n"
    "        createdAt: Date.now() - 60000\n"
    "    }\n"
    "}\n";

QQuickItem* child(QObject* root, const QString& name) {
    return root->findChild<QQuickItem*>(name);
}
} // namespace

// The bubble of a voice message: its transcript, and the note once none came.
class TestVoiceViews : public QObject {
    Q_OBJECT

    std::unique_ptr<ScopedPrefs> prefs;
    std::unique_ptr<Store> store;
    std::unique_ptr<AppModel> model;
    std::unique_ptr<QQmlEngine> engine;
    std::unique_ptr<QObject> root;

    bool load(bool whisper) {
        prefs = std::make_unique<ScopedPrefs>();
        store = std::make_unique<Store>();
        seam(store).availableServerEngines().clear();
        if (whisper) seam(store).availableServerEngines() << TranscriptionEngine::whisper;
        model = std::make_unique<AppModel>(store.get());
        engine = std::make_unique<QQmlEngine>();
        AppModel::configureEngine(*engine);
        QQmlComponent component(engine.get());
        component.setData(kViews, QUrl(QStringLiteral("qrc:/voice-test.qml")));
        root.reset(component.create());
        if (!root) qWarning() << component.errors();
        return root != nullptr;
    }
    QObject* view(const char* which) { return root->property(which).value<QObject*>(); }
    bool failed(const char* which) {
        return child(view(which), "voiceTranscriptFailed")->isVisible();
    }

private slots:
    void cleanup() {
        root.reset();
        engine.reset();
        model.reset();
        store.reset();
    }

    void anOldMessageShowsTheNoteAtOnceAYoungOneWaits() {
        QVERIFY(load(true));
        QVERIFY(failed("old"));
        QVERIFY(!failed("young"));
        // Thirty seconds after it was made, the young one gives up too.
        QTRY_VERIFY_WITH_TIMEOUT(failed("young"), 10000);
    }

    void aTranscriptArrivingClearsTheNote() {
        QVERIFY(load(true));
        QVERIFY(failed("old"));
        view("old")->setProperty("transcript", QStringLiteral("Ship it on Friday"));
        QVERIFY(!failed("old"));
        QQuickItem* text = child(view("old"), "voiceTranscript");
        QVERIFY(text->isVisible());
        QCOMPARE(text->property("text").toString(), QStringLiteral("Ship it on Friday"));
    }

    void withoutAServerEngineNoTranscriptIsAwaited() {
        QVERIFY(load(false));
        QVERIFY(failed("young"));
        QVERIFY(failed("old"));
    }
};

QTEST_MAIN(TestVoiceViews)
#include "test_voice_views.moc"
