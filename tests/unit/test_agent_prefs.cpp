#include "agent/Preferences.h"
#include "core/Prefs.h"
#include "store/Store.h"
#include "support/AgentFixtures.h"
#include "support/StoreSeam.h"
#include "support/TestSupport.h"

#include <QCoroTask>
#include <QJsonArray>
#include <QTest>

using namespace fixtures;
using Config::CCEffort;
using Config::CCPermission;

namespace {
QStringList opsOf(const HostEcho& echo) {
    QStringList ops;
    for (const QJsonObject& r : echo.requests)
        ops << r.value("op").toString();
    return ops;
}
} // namespace

// Chosen, optimistic and reported values; pushing, pulling and recovering.
class TestAgentPrefs : public QObject {
    Q_OBJECT

    std::unique_ptr<ScopedPrefs> prefs;

private slots:
    void init() { prefs = std::make_unique<ScopedPrefs>(); }
    void cleanup() { prefs.reset(); }

    void badgeShowsWhatRunsPickerWhatWasAsked() {
        HostEcho echo;
        echo.host = [](const QJsonObject&) { return QJsonObject{{"ok", true}}; };
        auto store = storeOn(echo);
        seam(store).messages()[sessionId] = {message(100, agentMember, "last")};
        QVERIFY(QCoro::waitFor(store->updateCCEffort(sessionId, CCEffort::max)));
        QCOMPARE(store->ccOptimisticEffort().value(sessionId).sinceMsgId, 100);
        // An old report seen again through history does not take the choice back.
        store->captureCCMarkers(message(90, agentMember, "CCEFF=low"));
        QCOMPARE(store->ccReportedEfforts().value(sessionId), CCEffort::low);
        QCOMPARE(store->ccBadgeEffort(sessionId), CCEffort::max);
        store->captureCCMarkers(message(101, agentMember, "CCEFF=high"));
        QCOMPARE(store->ccBadgeEffort(sessionId), CCEffort::high);
        QCOMPARE(store->ccEffort(sessionId), CCEffort::max);
        QCOMPARE(requestsFor(echo, "seteffort").first().value("effort").toString(), "max");
    }

    void badgeModelPrecedence() {
        auto store = offlineStore();
        QCOMPARE(store->ccBadgeModelId(sessionId), store->defaultModelId());
        seam(store).ccModelChoices()[sessionId] = "claude-sonnet-5";
        QCOMPARE(store->ccBadgeModelId(sessionId), "claude-sonnet-5");
        seam(store).ccModels()[sessionId] = "claude-opus-4-8";
        QCOMPARE(store->ccBadgeModelId(sessionId), "claude-opus-4-8");
        seam(store).ccOptimisticModel()[sessionId] = {"", 5}; // "inherit" chosen: the report shows
        QCOMPARE(store->ccBadgeModelId(sessionId), "claude-opus-4-8");
        seam(store).ccOptimisticModel()[sessionId] = {"claude-haiku-4-5", 5};
        QCOMPARE(store->ccBadgeModelId(sessionId), "claude-haiku-4-5");
    }

    void refusalMakesTheHostUnsupported() {
        HostEcho echo;
        echo.host = [](const QJsonObject&) { return QJsonObject{{"ok", false}}; };
        auto store = storeOn(echo);
        QVERIFY(!QCoro::waitFor(store->updateCCModel(sessionId, "claude-x")));
        QVERIFY(!store->pendingPrefSync().contains(sessionId));
        QVERIFY(store->ccPrefsUnsupported().contains(sessionId));
        QCOMPARE(store->ccModelChoice(sessionId), "claude-x"); // never rolled back
        echo.requests.clear();
        QCoro::waitFor(store->ccSyncPrefs(sessionId));
        QVERIFY(echo.requests.isEmpty());
    }

    void unreachableChoiceWaitsAndAllFourGoOutLater() {
        HostEcho echo; // silent host
        auto store = storeOn(echo);
        seam(store).ccEfforts()[sessionId] = CCEffort::high;
        QVERIFY(!QCoro::waitFor(store->updateCCPermission(sessionId, CCPermission::dangerous)));
        QVERIFY(store->pendingPrefSync().contains(sessionId));
        QCOMPARE(Prefs::shared().readJson<QList<qint64>>("ccPendingPrefSync"),
                 QList<qint64>{sessionId});
        // While a choice is undelivered the host's old values are not pulled.
        QCoro::waitFor(store->ccSyncPrefs(sessionId));
        QVERIFY(!opsOf(echo).contains("getprefs"));

        echo.host = [](const QJsonObject&) { return QJsonObject{{"ok", true}}; };
        echo.requests.clear();
        QCoro::waitFor(store->flushPendingPrefs());
        QCOMPARE(opsOf(echo), (QStringList{"setperm", "seteffort", "setmodel", "setchrome"}));
        QCOMPARE(echo.requests[0].value("perm").toString(), "dangerous");
        QCOMPARE(echo.requests[1].value("effort").toString(), "high");
        QCOMPARE(echo.requests[3].value("chrome"), QJsonValue(false));
        QVERIFY(store->pendingPrefSync().isEmpty());
        QCOMPARE(Prefs::shared().readJson<QList<qint64>>("ccPendingPrefSync"), QList<qint64>{});
    }

    void pullAppliesTheHostsValues() {
        HostEcho echo;
        echo.host = [](const QJsonObject& r) -> std::optional<QJsonObject> {
            if (r.value("op") == "getprefs")
                return QJsonObject{{"ok", true},         {"effort", "xhigh"},
                                   {"model", ""},        {"perm", "full"},
                                   {"chrome", 1},        {"workdir", "/srv/app"},
                                   {"chromeUsed", true}, {"screenshotUsed", false}};
            if (r.value("op") == "models")
                return QJsonObject{{"ok", true},
                                   {"models", QJsonArray{QJsonObject{{"id", "claude-opus-9"}},
                                                         QJsonObject{{"id", ""}, {"name", "x"}},
                                                         QJsonObject{{"id", "claude-fable-6"},
                                                                     {"name", "Fable 6"}}}}};
            return std::nullopt;
        };
        auto store = storeOn(echo);
        seam(store).ccModelChoices()[sessionId] = "claude-old";
        QCoro::waitFor(store->ccSyncPrefs(sessionId));
        QCOMPARE(store->ccEffort(sessionId), CCEffort::xhigh);
        QCOMPARE(store->ccModelChoice(sessionId), "");
        QCOMPARE(store->ccPermission(sessionId), CCPermission::dangerous);
        QVERIFY(store->ccChromeEnabled(sessionId));
        QCOMPARE(store->ccWorkdir(sessionId), "/srv/app");
        QVERIFY(store->ccChromeUsedChats().value(sessionId));
        QVERIFY(!store->ccScreenshotUsedChats().value(sessionId));
        const QList<Config::CCModelInfo> expected = {{"", "Default (inherit)"},
                                                     {"claude-opus-9", "claude-opus-9"},
                                                     {"claude-fable-6", "Fable 6"}};
        QCOMPARE(store->availableModels, expected);
        QCOMPARE(store->defaultModelId(), "claude-fable-6");
        QCOMPARE(store->defaultModelName(), "Fable 6");
        // What the pull stored is what the next launch reads.
        Store reloaded;
        QCOMPARE(reloaded.ccPermission(sessionId), CCPermission::dangerous);
        QCOMPARE(reloaded.ccWorkdir(sessionId), "/srv/app");
    }

    void emptyModelListKeepsTheFormerOne() {
        HostEcho echo;
        echo.host = [](const QJsonObject&) {
            return QJsonObject{{"ok", true}, {"models", QJsonArray{}}};
        };
        auto store = storeOn(echo);
        QCoro::waitFor(store->loadAvailableModels(sessionId));
        QCOMPARE(store->availableModels, Config::fallbackModels());
    }

    void unknownValuesLeaveTheLocalOnes() {
        HostEcho echo;
        echo.host = [](const QJsonObject& r) -> std::optional<QJsonObject> {
            if (r.value("op") != "getprefs") return QJsonObject{{"ok", false}};
            return QJsonObject{
                {"ok", true}, {"effort", "ultra"}, {"perm", "root"}, {"chrome", "yes"}};
        };
        auto store = storeOn(echo);
        seam(store).ccEfforts()[sessionId] = CCEffort::low;
        seam(store).ccChrome()[sessionId] = true;
        QCoro::waitFor(store->ccSyncPrefs(sessionId));
        QCOMPARE(store->ccEffort(sessionId), CCEffort::low);
        QCOMPARE(store->ccPermission(sessionId), CCPermission::ask);
        QVERIFY(store->ccChromeEnabled(sessionId));
    }

    void pickerKeepsAnUnknownModel() {
        auto store = offlineStore();
        const auto options = store->modelPickerOptions("claude-x");
        QCOMPARE(options.size(), Config::fallbackModels().size() + 1);
        QCOMPARE(options.last().id, "claude-x");
        QCOMPARE(options.last().name, "claude-x");
        QCOMPARE(store->modelPickerOptions("claude-fable-5"), Config::fallbackModels());
        QCOMPARE(store->modelPickerOptions(""), Config::fallbackModels());
    }

    void defaultModelByFamily_data() {
        QTest::addColumn<QStringList>("ids");
        QTest::addColumn<QString>("expected");
        QTest::newRow("fable first")
            << QStringList{"", "claude-opus-4-8", "claude-fable-5"} << "claude-fable-5";
        QTest::newRow("then opus")
            << QStringList{"claude-haiku-4-5", "claude-opus-4-8"} << "claude-opus-4-8";
        QTest::newRow("first id of the family")
            << QStringList{"claude-sonnet-4", "claude-sonnet-5"} << "claude-sonnet-4";
        QTest::newRow("none known") << QStringList{"", "gpt"} << "claude-fable-5";
    }

    void defaultModelByFamily() {
        QFETCH(QStringList, ids);
        QFETCH(QString, expected);
        auto store = offlineStore();
        store->availableModels.clear();
        for (const QString& id : ids)
            store->availableModels.push_back({id, id.toUpper()});
        QCOMPARE(store->defaultModelId(), expected);
        QCOMPARE(store->defaultModelName(), ids.contains(expected) ? expected.toUpper() : expected);
    }

    void shortModelNames_data() {
        QTest::addColumn<QString>("id");
        QTest::addColumn<QString>("name");
        QTest::newRow("version pieces") << "claude-opus-4-8"
                                        << "Opus 4.8";
        QTest::newRow("date ends the walk") << "claude-haiku-4-5-20251001"
                                            << "Haiku 4.5";
        QTest::newRow("context suffix") << "claude-sonnet-5[1m]"
                                        << "Sonnet 5";
        QTest::newRow("no version") << "claude-fable"
                                    << "Fable";
        QTest::newRow("case of claude") << "Claude-OPUS-4"
                                        << "Opus 4";
        QTest::newRow("words after versions") << "claude-opus-4-1-preview"
                                              << "Opus 4.1";
    }

    void shortModelNames() {
        QFETCH(QString, id);
        QFETCH(QString, name);
        QCOMPARE(shortModel(id), name);
    }
};

QTEST_GUILESS_MAIN(TestAgentPrefs)
#include "test_agent_prefs.moc"
