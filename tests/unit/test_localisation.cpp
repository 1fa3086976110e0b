#include "core/LocNotifier.h"
#include "core/Localisation.h"
#include "core/Prefs.h"
#include "core/Translations.h"
#include "support/TestSupport.h"

#include <QQmlComponent>
#include <QQmlEngine>
#include <QRegularExpression>
#include <QSet>
#include <QSignalSpy>
#include <QTest>

namespace {

QString u8(const char* text) {
    return QString::fromUtf8(text);
}

// Per-row entries of the three translated languages, by code.
// Every table the lookup reads: a key may stand in only one of them.
QList<TranslationRow> allRows() {
    QList<TranslationRow> rows;
    for (const auto table : {translationRows(), agentViewTranslationRows(), joinTranslationRows(),
                             groupsTranslationRows(), bubbleTranslationRows()})
        rows.append(QList<TranslationRow>(table.begin(), table.end()));
    return rows;
}

QList<std::pair<QString, const char*>> columns(const TranslationRow& row) {
    return {{u8("de"), row.de}, {u8("fr"), row.fr}, {u8("es"), row.es}};
}

QList<std::pair<QString, const char*>> columns(const SysNoteTemplate& entry) {
    return {{u8("de"), entry.de}, {u8("fr"), entry.fr}, {u8("es"), entry.es}};
}

void useLanguage(const QString& raw) {
    Loc::setCurrent(appLanguageFromRaw(raw).value());
}

const QString waiting = u8("New version waiting: I'll answer your 3 message(s) first — it starts "
                           "on its own right after.");
const QString onHold = u8("New version on hold: you sent 12 message(s) in the meantime — I'll "
                          "answer those first, then get it ready.");

} // namespace

class TestLocalisation : public QObject {
    Q_OBJECT

private slots:
    // Must stay the first case that reads Loc in this process.
    void firstValueComesFromPreferences() {
        ScopedPrefs prefs;
        Prefs::shared().setValue(u8("appLanguage"), u8("de"));
        QCOMPARE(Loc::current(), AppLanguage::de);
        QCOMPARE(L(u8("Save")), u8("Speichern"));
        QCOMPARE(L(u8("xyz")), u8("xyz"));
    }

    void loadFromPrefs_data() {
        QTest::addColumn<QVariant>("stored");
        QTest::addColumn<AppLanguage>("expected");
        QTest::newRow("missing") << QVariant() << AppLanguage::system;
        QTest::newRow("fr") << QVariant(u8("fr")) << AppLanguage::fr;
        QTest::newRow("en") << QVariant(u8("en")) << AppLanguage::en;
        QTest::newRow("system") << QVariant(u8("system")) << AppLanguage::system;
        QTest::newRow("unknown") << QVariant(u8("pt")) << AppLanguage::system;
        QTest::newRow("label is no raw value") << QVariant(u8("Deutsch")) << AppLanguage::system;
        QTest::newRow("case matters") << QVariant(u8("ES")) << AppLanguage::system;
    }
    void loadFromPrefs() {
        QFETCH(QVariant, stored);
        QFETCH(AppLanguage, expected);
        ScopedPrefs prefs;
        useLanguage(u8("de"));
        if (stored.isValid()) Prefs::shared().setValue(u8("appLanguage"), stored);
        QCOMPARE(Loc::loadFromPrefs(), expected);
        QCOMPARE(Loc::current(), expected);
        QCOMPARE(Loc::code(), code(expected));
    }

    void languageEnumeration() {
        const QStringList raws = {u8("system"), u8("en"), u8("de"), u8("fr"), u8("es")};
        const QStringList labels = {u8("System"), u8("English"), u8("Deutsch"), u8("Français"),
                                    u8("Español")};
        QCOMPARE(std::size(allLanguages), size_t(5));
        for (int i = 0; i < 5; ++i) {
            QCOMPARE(rawValue(allLanguages[i]), raws[i]);
            QCOMPARE(label(allLanguages[i]), labels[i]);
            QCOMPARE(appLanguageFromRaw(raws[i]), allLanguages[i]);
            if (i > 0) QCOMPARE(code(allLanguages[i]), raws[i]);
        }
        QCOMPARE(appLanguageFromRaw(u8("")), std::nullopt);
    }

    void systemCode_data() {
        QTest::addColumn<QStringList>("preferred");
        QTest::addColumn<QString>("expected");
        QTest::newRow("de") << QStringList{u8("de-DE")} << u8("de");
        QTest::newRow("fr-CA") << QStringList{u8("fr-CA"), u8("en-US")} << u8("fr");
        QTest::newRow("es-419") << QStringList{u8("es-419")} << u8("es");
        QTest::newRow("bare es") << QStringList{u8("es")} << u8("es");
        QTest::newRow("pt-BR") << QStringList{u8("pt-BR")} << u8("en");
        QTest::newRow("only the first counts") << QStringList{u8("pt-BR"), u8("de")} << u8("en");
        QTest::newRow("en-GB") << QStringList{u8("en-GB"), u8("fr")} << u8("en");
        QTest::newRow("empty list") << QStringList{} << u8("en");
        QTest::newRow("too short") << QStringList{u8("d")} << u8("en");
        QTest::newRow("empty entry") << QStringList{u8(""), u8("fr")} << u8("en");
    }
    void systemCode() {
        QFETCH(QStringList, preferred);
        QFETCH(QString, expected);
        QCOMPARE(systemLanguageCode(preferred), expected);
    }

    void everyRowIsComplete() {
        QSet<QString> keys;
        const QString slot = u8("%@");
        for (const auto& row : allRows()) {
            const QString key = u8(row.en);
            QVERIFY2(!key.isEmpty(), "a row without a key");
            QVERIFY2(!keys.contains(key), qPrintable(u8("twice: ") + key));
            keys.insert(key);
            for (const auto& [lang, text] : columns(row)) {
                const QString where = key + u8(" / ") + lang;
                QVERIFY2(text && *text, qPrintable(u8("missing: ") + where));
                QVERIFY2(u8(text).count(slot) == key.count(slot),
                         qPrintable(u8("%@ count differs: ") + where));
            }
        }
        QVERIFY(keys.size() >= 145);
    }

    // Each language reads its own column, through the lookup the views use.
    void lookupReadsTheRightColumn() {
        for (const char* raw : {"de", "fr", "es"}) {
            useLanguage(u8(raw));
            for (const auto& row : allRows()) {
                for (const auto& [lang, text] : columns(row))
                    if (lang == u8(raw)) QCOMPARE(L(u8(row.en)), u8(text));
            }
        }
    }

    void tellingRows_data() {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QStringList>("expected"); // de, fr, es
        QTest::newRow("reset") << u8("Reset the context")
                               << QStringList{u8("Kontext zurückgesetzt"),
                                              u8("Contexte réinitialisé"),
                                              u8("Contexto restablecido")};
        QTest::newRow("mac updated")
            << u8("Mac updated — picking your request back up.")
            << QStringList{u8("Der Mac ist aktualisiert — ich mache mit deiner Anfrage weiter."),
                           u8("Le Mac est à jour — je reprends ta demande."),
                           u8("El Mac está actualizado — retomo tu solicitud.")};
        QTest::newRow("last seen")
            << u8("Last seen") << QStringList{u8("Zuletzt online"), u8("Vu"), u8("Última vez")};
        QTest::newRow("chrome") << u8("Using Chrome")
                                << QStringList{u8("Chrome aktiv"), u8("Chrome en cours"),
                                               u8("Usando Chrome")};
        QTest::newRow("preview") << u8("Preview")
                                 << QStringList{u8("Vorschau"), u8("Aperçu"), u8("Vista previa")};
    }
    void tellingRows() {
        QFETCH(QString, key);
        QFETCH(QStringList, expected);
        const QStringList codes = {u8("de"), u8("fr"), u8("es")};
        for (int i = 0; i < 3; ++i) {
            useLanguage(codes[i]);
            QCOMPARE(L(key), expected[i]);
            QCOMPARE(LSys(key), expected[i]);
        }
    }

    void unknownTextPassesThrough_data() {
        QTest::addColumn<QString>("language");
        QTest::addColumn<QString>("text");
        QTest::newRow("unknown") << u8("de") << u8("xyz");
        QTest::newRow("empty") << u8("fr") << u8("");
        QTest::newRow("case differs") << u8("es") << u8("save");
        QTest::newRow("trailing blank") << u8("de") << u8("Save ");
        QTest::newRow("english") << u8("en") << u8("Save");
        QTest::newRow("english, with %@") << u8("en") << u8("Move to %@");
    }
    void unknownTextPassesThrough() {
        QFETCH(QString, language);
        QFETCH(QString, text);
        useLanguage(language);
        QCOMPARE(L(text), text);
    }

    void systemNotes_data() {
        QTest::addColumn<QString>("language");
        QTest::addColumn<QString>("note");
        QTest::addColumn<QString>("expected");
        QTest::newRow("kept, es")
            << u8("es") << u8("Ana reset the context (kept the recent messages)")
            << u8("Ana restableció el contexto (mensajes recientes conservados)");
        QTest::newRow("kept, fr")
            << u8("fr") << u8("Jean-Luc Ø reset the context (kept the recent messages)")
            << u8("Jean-Luc Ø a réinitialisé le contexte (messages récents conservés)");
        QTest::newRow("short, de")
            << u8("de") << u8("Ana reset the context") << u8("Ana hat den Kontext zurückgesetzt");
        QTest::newRow("name with dollar")
            << u8("es") << u8("$2 reset the context") << u8("$2 restableció el contexto");
        QTest::newRow("waiting, de")
            << u8("de") << waiting
            << u8("Neue Version wartet: Ich beantworte zuerst deine 3 Nachricht(en) — danach "
                  "startet sie von selbst.");
        QTest::newRow("on hold, fr")
            << u8("fr") << onHold
            << u8("Nouvelle version mise en pause : tu m'as envoyé 12 message(s) entre-temps — "
                  "j'y réponds d'abord, puis je la prépare.");
        QTest::newRow("whole sentence")
            << u8("de") << u8("Mac updated — picking your request back up.")
            << u8("Der Mac ist aktualisiert — ich mache mit deiner Anfrage weiter.");
        QTest::newRow("no pattern fits")
            << u8("fr") << u8("Something else happened") << u8("Something else happened");
        QTest::newRow("count must be digits")
            << u8("de") << QString(waiting).replace(u8("3"), u8("three"))
            << QString(waiting).replace(u8("3"), u8("three"));
        QTest::newRow("no name") << u8("es") << u8(" reset the context")
                                 << u8(" reset the context");
        QTest::newRow("name across lines")
            << u8("fr") << u8("Ana\nBob reset the context") << u8("Ana\nBob reset the context");
        QTest::newRow("english untouched")
            << u8("en") << u8("Ana reset the context") << u8("Ana reset the context");
    }
    void systemNotes() {
        QFETCH(QString, language);
        QFETCH(QString, note);
        QFETCH(QString, expected);
        useLanguage(language);
        QCOMPARE(LSys(note), expected);
    }

    // The kept-messages sentence is tried before the shorter one.
    void templatesAreOrderedAndComplete() {
        const auto templates = sysNoteTemplates();
        QVERIFY(templates.size() >= 2);
        const QString kept = u8("Ana reset the context (kept the recent messages)");
        const QString plain = u8("Ana reset the context");
        const auto fits = [&](size_t i, const QString& note) {
            return QRegularExpression(u8(templates[i].pattern)).match(note).hasMatch();
        };
        QVERIFY(fits(0, kept) && !fits(0, plain));
        QVERIFY(fits(1, plain));
        for (const auto& entry : templates) {
            const QRegularExpression pattern(u8(entry.pattern));
            QVERIFY2(pattern.isValid(), entry.pattern);
            for (const auto& [lang, text] : columns(entry)) {
                QVERIFY2(text && *text, qPrintable(u8(entry.pattern) + u8(" / ") + lang));
                for (int group = 1; group <= pattern.captureCount(); ++group)
                    QVERIFY(u8(text).contains(u'$' + QString::number(group)));
            }
        }
    }

    void fill_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("expected");
        QTest::newRow("two") << u8("Version %@ (build %@) is available.")
                             << QStringList{u8("2.1"), u8("57")}
                             << u8("Version 2.1 (build 57) is available.");
        QTest::newRow("at both ends")
            << u8("%@ and %@") << QStringList{u8("a"), u8("b")} << u8("a and b");
        QTest::newRow("too few") << u8("%@ / %@") << QStringList{u8("a")} << u8("a / %@");
        QTest::newRow("too many") << u8("Move to %@") << QStringList{u8("x"), u8("y")}
                                  << u8("Move to x");
        QTest::newRow("argument not rescanned")
            << u8("%@ then %@") << QStringList{u8("%@"), u8("b")} << u8("%@ then b");
        QTest::newRow("none") << u8("Cancel") << QStringList{u8("a")} << u8("Cancel");
        QTest::newRow("lone percent") << u8("100% %@") << QStringList{u8("x")} << u8("100% x");
    }
    void fill() {
        QFETCH(QString, text);
        QFETCH(QStringList, args);
        QFETCH(QString, expected);
        QCOMPARE(fillIn(text, args), expected);
    }

    void translateThenFill() {
        useLanguage(u8("de"));
        QCOMPARE(Lf(u8("Version %@ (build %@) is available."), u8("2.1"), u8("57")),
                 u8("Version 2.1 (Build 57) ist verfügbar."));
        useLanguage(u8("en"));
        QCOMPARE(Lf(u8("Held on %@"), u8("mini")), u8("Held on mini"));
    }

    void notifierFollowsTheLanguage() {
        useLanguage(u8("en"));
        auto* loc = LocNotifier::instance();
        QSignalSpy spy(loc, &LocNotifier::languageChanged);
        const int before = loc->revision();

        useLanguage(u8("en"));
        QCOMPARE(spy.count(), 0);

        useLanguage(u8("fr"));
        QCOMPARE(spy.count(), 1);
        QCOMPARE(loc->revision(), before + 1);
        QCOMPARE(loc->language(), u8("fr"));
        QCOMPARE(loc->code(), u8("fr"));
        QCOMPARE(loc->l(u8("Cancel")), u8("Annuler"));
        QCOMPARE(loc->lsys(u8("Ana reset the context")), u8("Ana a réinitialisé le contexte"));
        QCOMPARE(loc->lf(u8("Move to %@"), {u8("mini")}), u8("Déplacer vers mini"));
        const auto entries = loc->languages();
        QCOMPARE(entries.size(), 5);
        QCOMPARE(entries[0].toMap().value(u8("label")).toString(), u8("Système"));
        QCOMPARE(entries[3].toMap().value(u8("value")).toString(), u8("fr"));
        QCOMPARE(entries[3].toMap().value(u8("label")).toString(), u8("Français"));

        useLanguage(u8("es"));
        QCOMPARE(spy.count(), 2);
        QCOMPARE(loc->l(u8("Cancel")), u8("Cancelar"));
    }

    // The binding pattern documented for the views really re-runs on a change.
    void qmlBindingsRedraw() {
        useLanguage(u8("de"));
        QQmlEngine engine;
        QQmlComponent component(&engine);
        component.setData(R"(import QtQml
import Velmarin.Core
QtObject {
    property string plain: Loc.l("Cancel", Loc.revision)
    property string note: Loc.lsys("Ana reset the context", Loc.revision)
    property string filled: Loc.lf("Move to %@", ["mini"], Loc.revision)
})",
                          QUrl());
        std::unique_ptr<QObject> view(component.create());
        QVERIFY2(view, qPrintable(component.errorString()));
        QCOMPARE(view->property("plain").toString(), u8("Abbrechen"));

        useLanguage(u8("es"));
        QCOMPARE(view->property("plain").toString(), u8("Cancelar"));
        QCOMPARE(view->property("note").toString(), u8("Ana restableció el contexto"));
        QCOMPARE(view->property("filled").toString(), u8("Mover a mini"));

        useLanguage(u8("en"));
        QCOMPARE(view->property("plain").toString(), u8("Cancel"));
        view.reset();
        engine.collectGarbage();
    }

    void notifierOutlivesEngines() {
        {
            QQmlEngine engine;
            QQmlComponent component(&engine);
            component.setData("import QtQml\nimport Velmarin.Core\nQtObject { property int r: "
                              "Loc.revision }",
                              QUrl());
            std::unique_ptr<QObject> view(component.create());
            QVERIFY2(view, qPrintable(component.errorString()));
        }
        QPointer<LocNotifier> loc = LocNotifier::instance();
        useLanguage(u8("fr"));
        QVERIFY(loc);
        QCOMPARE(loc->code(), u8("fr"));
    }
};

QTEST_GUILESS_MAIN(TestLocalisation)
#include "test_localisation.moc"
