#include "conversations/Fmt.h"

#include "core/Localisation.h"

#include <QDateTime>
#include <QHash>
#include <QLocale>
#include <memory>
#include <unicode/datefmt.h>
#include <unicode/locid.h>
#include <unicode/reldatefmt.h>
#include <unicode/unistr.h>

namespace Fmt {
namespace {

QString toQString(const icu::UnicodeString& s) {
    return QString(reinterpret_cast<const QChar*>(s.getBuffer()), s.length());
}

// The current language, with the system's region when the system speaks the
// same language, so dates follow local habits.
QString localeName() {
    const QString code = Loc::code();
    const QLocale system = QLocale::system();
    if (QLocale::languageToCode(system.language()) == code) return system.name();
    return code;
}

// One formatter per language; built again when the language changes.
struct Formatters {
    QString locale;
    std::unique_ptr<icu::DateFormat> day;
    std::unique_ptr<icu::RelativeDateTimeFormatter> relative;
    QHash<qint64, QString> dayTexts; // by day key, valid for `today`
    qint64 today = 0;
};

Formatters& formatters() {
    static Formatters f;
    const QString name = localeName();
    if (f.locale == name && f.day) return f;
    f = Formatters{};
    f.locale = name;
    const icu::Locale locale(name.toUtf8().constData());
    f.day.reset(icu::DateFormat::createDateInstance(icu::DateFormat::kMediumRelative, locale));
    UErrorCode status = U_ZERO_ERROR;
    // A separator reads like the start of a sentence: "Today", not "today".
    if (f.day) f.day->setContext(UDISPCTX_CAPITALIZATION_FOR_BEGINNING_OF_SENTENCE, status);
    status = U_ZERO_ERROR;
    f.relative = std::make_unique<icu::RelativeDateTimeFormatter>(locale, status);
    if (U_FAILURE(status)) f.relative.reset();
    return f;
}

} // namespace

qint64 dayKey(qint64 epochMs) {
    // Converting to local time is slow, and a history asks for the same day
    // thousands of times in a row: remember the last day's bounds.
    struct Day {
        qint64 from = 1;
        qint64 to = 0; // empty until the first call
        qint64 key = 0;
    };
    thread_local Day last;
    if (epochMs >= last.from && epochMs < last.to) return last.key;
    const QDate date = QDateTime::fromMSecsSinceEpoch(epochMs).date();
    const qint64 from = date.startOfDay().toMSecsSinceEpoch();
    const qint64 to = date.addDays(1).startOfDay().toMSecsSinceEpoch();
    last = Day{from, to, date.toJulianDay()};
    // A moment outside its own day's bounds (a clock change at midnight) is not remembered.
    if (epochMs < from || epochMs >= to) last = Day{};
    return date.toJulianDay();
}

QString day(qint64 epochMs) {
    Formatters& f = formatters();
    // "Today" becomes "Yesterday" at midnight: the texts hold for one day.
    const qint64 today = QDate::currentDate().toJulianDay();
    if (today != f.today) {
        f.dayTexts.clear();
        f.today = today;
    }
    const qint64 key = dayKey(epochMs);
    const auto cached = f.dayTexts.constFind(key);
    if (cached != f.dayTexts.constEnd()) return *cached;
    QString text;
    if (f.day) {
        icu::UnicodeString out;
        f.day->format(static_cast<UDate>(epochMs), out);
        text = toQString(out);
    } else {
        text = QLocale(f.locale).toString(QDateTime::fromMSecsSinceEpoch(epochMs).date(),
                                          QLocale::ShortFormat);
    }
    f.dayTexts.insert(key, text);
    return text;
}

QString ago(qint64 epochMs, qint64 nowMs) {
    Formatters& f = formatters();
    const double seconds = double(nowMs - epochMs) / 1000.0;
    if (!f.relative) return QString::number(qint64(seconds)) + QStringLiteral(" s");
    UErrorCode status = U_ZERO_ERROR;
    icu::UnicodeString out;
    const double magnitude = std::abs(seconds);
    if (magnitude < 60) {
        f.relative->format(UDAT_DIRECTION_PLAIN, UDAT_ABSOLUTE_NOW, out, status);
        return toQString(out);
    }
    struct Step {
        double seconds;
        URelativeDateTimeUnit unit;
    };
    static constexpr Step steps[] = {
        {60, UDAT_REL_UNIT_MINUTE},          {3600, UDAT_REL_UNIT_HOUR},
        {86400, UDAT_REL_UNIT_DAY},          {7 * 86400.0, UDAT_REL_UNIT_WEEK},
        {30 * 86400.0, UDAT_REL_UNIT_MONTH}, {365 * 86400.0, UDAT_REL_UNIT_YEAR}};
    const Step* step = &steps[0];
    for (const Step& s : steps)
        if (magnitude >= s.seconds) step = &s;
    // Whole units, rounded toward zero: 119 seconds ago is "1 minute ago".
    const double count = std::trunc(seconds / step->seconds);
    f.relative->formatNumeric(-count, step->unit, out, status);
    return U_FAILURE(status) ? QString() : toQString(out);
}

QString ago(qint64 epochMs) {
    return ago(epochMs, QDateTime::currentMSecsSinceEpoch());
}

QString time(qint64 epochMs) {
    return QLocale(formatters().locale)
        .toString(QDateTime::fromMSecsSinceEpoch(epochMs).time(), QLocale::ShortFormat);
}

} // namespace Fmt
