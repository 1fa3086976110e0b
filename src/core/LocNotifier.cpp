#include "core/LocNotifier.h"

#include <QQmlEngine>
#include <QVariantMap>

LocNotifier* LocNotifier::instance() {
    static LocNotifier* notifier = [] {
        auto* created = new LocNotifier;
        // An engine that goes away must not take the process-wide object with it.
        QQmlEngine::setObjectOwnership(created, QQmlEngine::CppOwnership);
        return created;
    }();
    return notifier;
}

void LocNotifier::registerQml(const char* uri) {
    qmlRegisterSingletonType<LocNotifier>(
        uri, 1, 0, "Loc", [](QQmlEngine*, QJSEngine*) -> QObject* { return instance(); });
}

QString LocNotifier::language() const {
    return rawValue(Loc::current());
}

QString LocNotifier::code() const {
    return Loc::code();
}

QVariantList LocNotifier::languages() const {
    QVariantList list;
    for (const auto language : allLanguages) {
        const QString shown =
            language == AppLanguage::system ? L(label(language)) : label(language);
        list.append(QVariantMap{{QStringLiteral("value"), rawValue(language)},
                                {QStringLiteral("label"), shown}});
    }
    return list;
}

QString LocNotifier::l(const QString& text, int) const {
    return L(text);
}

QString LocNotifier::lsys(const QString& text, int) const {
    return LSys(text);
}

QString LocNotifier::lf(const QString& text, const QStringList& args, int) const {
    return fillIn(L(text), args);
}

void LocNotifier::announceChange() {
    ++m_revision;
    emit languageChanged();
}
