#include "core/LocNotifier.h"

#include <QQmlEngine>
#include <QVariantMap>

// Generated with the module; it registers Velmarin.Core when its file is linked.
void qml_register_types_Velmarin_Core();

LocNotifier* LocNotifier::instance() {
    static LocNotifier* notifier = [] {
        // Naming the registration keeps the linker from dropping it from the
        // static library: whoever uses the language gets the module.
        volatile auto registration = &qml_register_types_Velmarin_Core;
        Q_UNUSED(registration);
        auto* created = new LocNotifier;
        // An engine that goes away must not take the process-wide object with it.
        QQmlEngine::setObjectOwnership(created, QQmlEngine::CppOwnership);
        return created;
    }();
    return notifier;
}

LocNotifier* LocNotifier::create(QQmlEngine*, QJSEngine*) {
    return instance();
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
