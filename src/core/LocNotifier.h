#pragma once

// Lets QML redraw every text at once when the language changes. The singleton
// "Loc" of Velmarin.Core; a binding passes `Loc.revision` so it depends on it:
//     text: Loc.l("Cancel", Loc.revision)
//     text: Loc.lf("Move to %@", [name], Loc.revision)

#include "core/Localisation.h"

#include <QObject>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>

class QJSEngine;
class QQmlEngine;

class LocNotifier : public QObject {
    Q_OBJECT
    QML_NAMED_ELEMENT(Loc)
    QML_SINGLETON
    Q_PROPERTY(int revision READ revision NOTIFY languageChanged)
    Q_PROPERTY(QString language READ language NOTIFY languageChanged)
    Q_PROPERTY(QString code READ code NOTIFY languageChanged)
    Q_PROPERTY(QVariantList languages READ languages NOTIFY languageChanged)

public:
    // Main thread only. Never destroyed, so no binding outlives it.
    static LocNotifier* instance();
    // What every engine is given: the one instance, which no engine owns.
    static LocNotifier* create(QQmlEngine*, QJSEngine*);

    int revision() const { return m_revision; }
    // Raw value of Loc::current().
    QString language() const;
    QString code() const;
    // The picker's entries in order: {value: raw value, label: label}; the
    // `system` entry is the one label shown in the current language.
    QVariantList languages() const;

    // The revision argument is ignored: it is there for the binding.
    Q_INVOKABLE QString l(const QString& text, int revision = 0) const;
    Q_INVOKABLE QString lsys(const QString& text, int revision = 0) const;
    Q_INVOKABLE QString lf(const QString& text, const QStringList& args, int revision = 0) const;

signals:
    void languageChanged();

private:
    friend void Loc::setCurrent(AppLanguage);
    LocNotifier() = default;
    void announceChange();

    int m_revision = 0;
};
