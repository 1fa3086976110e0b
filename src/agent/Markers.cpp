#include "agent/Markers.h"

#include "model/IDCodec.h"

#include <QJsonDocument>
#include <QUrl>

#include <algorithm>
#include <array>
#include <limits>

namespace {

// Readers search for the keys without the leading control byte: a relay that
// strips it must not hide the markers from us.
constexpr QStringView bare(QStringView marker) {
    return marker.sliced(1);
}

constexpr QStringView msgKey = bare(Config::ccMsgMarker);
constexpr QStringView startKey = bare(Config::ccStartMarker);
constexpr QStringView seenKey = bare(Config::ccSeenMarker);
constexpr QStringView forKey = bare(Config::ccForMarker);
constexpr QStringView tokKey = bare(Config::ccTokMarker);
constexpr QStringView modelKey = bare(Config::ccModelMarker);
constexpr QStringView doneKey = bare(Config::ccDoneMarker);
constexpr QStringView effortKey = bare(Config::ccEffortMarker);
constexpr QStringView chromeKey = bare(Config::ccChromeMarker);
constexpr QStringView shotKey = bare(Config::ccScreenshotMarker);
constexpr QStringView accountKey = u"CCACCT=";
constexpr QStringView priorityKey = bare(Config::ccPriorityPrefix);
constexpr QStringView systemKey = bare(Config::ccSystemPrefix);

// The line scan below relies on every key ending in "=".
static_assert(std::ranges::all_of(std::array{msgKey, startKey, seenKey, forKey, tokKey, modelKey,
                                             doneKey, effortKey, chromeKey, shotKey, accountKey},
                                  [](QStringView key) { return key.back() == u'='; }));

// Horizontal white space: tab and the space separators.
bool isBlank(QChar c) {
    const char16_t u = c.unicode();
    if (u < 0x80) return u == u' ' || u == u'\t';
    return c.category() == QChar::Separator_Space;
}

QStringView trimBlanks(QStringView s) {
    qsizetype begin = 0;
    qsizetype end = s.size();
    while (begin < end && isBlank(s[begin]))
        ++begin;
    while (end > begin && isBlank(s[end - 1]))
        --end;
    return s.sliced(begin, end - begin);
}

// A whole decimal with an optional sign, ASCII digits only, in range.
std::optional<qint64> parseInt64(QStringView s) {
    const bool negative = s.startsWith(u'-');
    if (negative || s.startsWith(u'+')) s = s.sliced(1);
    if (s.isEmpty()) return std::nullopt;
    const quint64 limit = quint64(std::numeric_limits<qint64>::max()) + (negative ? 1 : 0);
    quint64 value = 0;
    for (QChar c : s) {
        const char16_t u = c.unicode();
        if (u < u'0' || u > u'9') return std::nullopt;
        const unsigned digit = u - u'0';
        if (value > (limit - digit) / 10) return std::nullopt;
        value = value * 10 + digit;
    }
    return negative ? qint64(0 - value) : qint64(value);
}

// The first line at or after `from` that holds `key`: what follows the key up
// to the end of that line, and where the next line starts.
struct MarkerHit {
    QStringView tail;
    qsizetype nextLine = 0;
};

// Every key ends in "=", which is rare in prose: finding that character is a
// vectorised scan, much cheaper than a substring search over every message.
qsizetype indexOfKey(QStringView text, QStringView key, qsizetype from) {
    const qsizetype last = key.size() - 1;
    for (qsizetype eq = text.indexOf(u'=', from + last); eq >= 0; eq = text.indexOf(u'=', eq + 1))
        if (text.sliced(eq - last, last) == key.first(last)) return eq - last;
    return -1;
}

std::optional<MarkerHit> findMarker(QStringView text, QStringView key, qsizetype from = 0) {
    const qsizetype at = indexOfKey(text, key, from);
    if (at < 0) return std::nullopt;
    const qsizetype start = at + key.size();
    qsizetype end = text.indexOf(u'\n', start);
    if (end < 0) end = text.size();
    return MarkerHit{text.sliced(start, end - start), end + 1};
}

// Id family: the first line holding the key decides, and its tail must be a
// whole number.
std::optional<qint64> readId(const Message& m, QStringView key) {
    const auto hit = findMarker(m.text, key);
    if (!hit) return std::nullopt;
    const auto id = parseInt64(trimBlanks(hit->tail));
    if (!id) return std::nullopt;
    return Message::markerIdToGlobal(*id, m.id);
}

// String family: lines with an empty value are skipped.
std::optional<QString> readString(QStringView text, QStringView key) {
    for (auto hit = findMarker(text, key); hit; hit = findMarker(text, key, hit->nextLine)) {
        const QStringView value = trimBlanks(hit->tail);
        if (!value.isEmpty()) return value.toString();
    }
    return std::nullopt;
}

// Flag family: the first line holding the key decides.
bool readFlag(QStringView text, QStringView key) {
    const auto hit = findMarker(text, key);
    return hit && trimBlanks(hit->tail).startsWith(u'1');
}

// Four counters, or three from older senders with `create` 0. Items that are
// not numbers are dropped before counting.
std::optional<Message::CCTokens> tokensIn(QStringView tail) {
    qint64 values[4] = {};
    int count = 0;
    for (QStringView piece : tail.tokenize(u',', Qt::SkipEmptyParts)) {
        const auto value = parseInt64(trimBlanks(piece));
        if (!value) continue;
        if (count == 4) return std::nullopt;
        values[count++] = *value;
    }
    if (count < 3) return std::nullopt;
    return Message::CCTokens{values[0], values[1], values[2], count == 4 ? values[3] : 0};
}

// The code point at `i`, moving `i` onto the low half of a surrogate pair.
char32_t codePointAt(QStringView s, qsizetype& i) {
    const QChar c = s[i];
    if (c.isHighSurrogate() && i + 1 < s.size() && s[i + 1].isLowSurrogate())
        return QChar::surrogateToUcs4(c, s[++i]);
    return c.unicode();
}

bool isCombiningMark(char32_t c) {
    switch (QChar::category(c)) {
    case QChar::Mark_NonSpacing:
    case QChar::Mark_SpacingCombining:
    case QChar::Mark_Enclosing:
        return true;
    default:
        return false;
    }
}

// The key between "CC" and "=": one to eight upper-case letters. A combining
// mark belongs to the letter before it, so a decomposed accented capital
// counts once.
bool isMarkerKey(QStringView rest) {
    int letters = 0;
    for (qsizetype i = 0; i < rest.size(); ++i) {
        const char32_t c = codePointAt(rest, i);
        if (c == U'=') return letters > 0;
        if (letters > 0 && isCombiningMark(c)) continue;
        if (!QChar::isUpper(c) || ++letters > 8) return false;
    }
    return false;
}

QStringView withoutPriority(QStringView text) {
    if (text.startsWith(Config::ccPriorityPrefix))
        return text.sliced(Config::ccPriorityPrefix.size());
    if (text.startsWith(priorityKey)) return text.sliced(priorityKey.size());
    return text;
}

// `text` with the lines that `drop` selects removed, trimmed at both ends.
// Nothing is copied until a line is actually dropped.
template <typename Drop>
QString withoutLines(QStringView text, Drop drop) {
    QString out;
    bool copying = false;
    bool keptAny = false;
    for (QStringView line : text.tokenize(u'\n')) {
        if (drop(line)) {
            if (!copying) {
                const qsizetype offset = line.data() - text.data();
                keptAny = offset > 0;
                if (keptAny) out = text.first(offset - 1).toString();
                copying = true;
            }
            continue;
        }
        if (!copying) continue;
        if (keptAny) out += u'\n';
        out += line;
        keptAny = true;
    }
    return copying ? out.trimmed() : text.trimmed().toString();
}

// A deploy link must be a plain http(s) address with a dotted host: quoted or
// half-typed announcements ("https://…") must not turn into buttons.
std::optional<QString> deployUrl(const QJsonValue& value) {
    if (!value.isString()) return std::nullopt;
    const QString raw = value.toString();
    const QStringView text = trimBlanks(raw);
    for (QStringView bad : {u"…", u" ", u"|", u"<"})
        if (text.contains(bad)) return std::nullopt;
    const QUrl url(text.toString(), QUrl::StrictMode);
    if (!url.isValid()) return std::nullopt;
    const QString scheme = url.scheme().toLower();
    if (scheme != u"http" && scheme != u"https") return std::nullopt;
    const QString host = url.host(QUrl::FullyDecoded);
    if (!host.contains(u'.') || host.contains(u'…')) return std::nullopt;
    return text.toString();
}

// What follows the deploy marker: its first non-empty line, or the whole tail
// when there is none.
QStringView deployLine(QStringView tail) {
    qsizetype start = 0;
    while (start < tail.size() && tail[start] == u'\n')
        ++start;
    if (start == tail.size()) return trimBlanks(tail);
    const qsizetype end = tail.indexOf(u'\n', start);
    return trimBlanks(end < 0 ? tail.sliced(start) : tail.sliced(start, end - start));
}

bool isPersonsPrompt(const Message& m, qint64 before, const std::function<bool(qint64)>& isBotUser,
                     std::optional<qint64> agentId) {
    if (m.id <= 0 || m.id >= before) return false;
    if (agentId && m.senderId == *agentId) return false;
    if (isBotUser && isBotUser(m.senderId)) return false;
    return !m.isCCControl() && !m.isCCWorking();
}

} // namespace

// MARK: Whole-message kinds

bool Message::isCCControl() const {
    return text.startsWith(Config::ccControlPrefix);
}

bool Message::isCCWorking() const {
    return text.startsWith(Config::ccWorkingPrefix);
}

bool Message::isPriority() const {
    return text.startsWith(Config::ccPriorityPrefix) || text.startsWith(priorityKey);
}

bool Message::isSystemNote() const {
    return text.startsWith(Config::ccSystemPrefix) || text.startsWith(systemKey);
}

QString Message::systemNoteText() const {
    if (text.startsWith(Config::ccSystemPrefix)) return text.sliced(Config::ccSystemPrefix.size());
    if (text.startsWith(systemKey)) return text.sliced(systemKey.size());
    return text;
}

// MARK: Line markers

std::optional<qint64> Message::ccWorkingMsgId() const {
    return readId(*this, msgKey);
}

std::optional<qint64> Message::ccWorkingStartId() const {
    return readId(*this, startKey);
}

std::optional<qint64> Message::ccSeenMsgId() const {
    return readId(*this, seenKey);
}

std::optional<qint64> Message::ccAnswersId() const {
    return readId(*this, forKey);
}

std::optional<Message::CCTokens> Message::ccContextTokens() const {
    for (auto hit = findMarker(text, tokKey); hit; hit = findMarker(text, tokKey, hit->nextLine))
        if (auto tokens = tokensIn(hit->tail)) return tokens;
    return std::nullopt;
}

std::optional<QString> Message::ccModel() const {
    return readString(text, modelKey);
}

std::optional<QString> Message::ccAccount() const {
    return readString(text, accountKey);
}

std::optional<QString> Message::ccEffort() const {
    return readString(text, effortKey);
}

QList<qint64> Message::ccDoneIds() const {
    QList<qint64> ids;
    const auto hit = findMarker(text, doneKey);
    if (!hit) return ids;
    for (QStringView piece : hit->tail.tokenize(u',', Qt::SkipEmptyParts))
        if (const auto id = parseInt64(trimBlanks(piece)))
            ids.append(markerIdToGlobal(*id, this->id));
    return ids;
}

bool Message::ccChromeActive() const {
    return readFlag(text, chromeKey);
}

bool Message::ccScreenshotActive() const {
    return readFlag(text, shotKey);
}

bool Message::isMarkerLine(QStringView line) {
    qsizetype i = 0;
    while (i < line.size() && (line[i] == u'\x02' || isBlank(line[i])))
        ++i;
    line = line.sliced(i);
    return line.startsWith(u"CC") && isMarkerKey(line.sliced(2));
}

qint64 Message::markerIdToGlobal(qint64 id, qint64 like) {
    return IDCodec::encode(id, IDCodec::serverId(like));
}

// MARK: Display and deploy

QString Message::displayText() const {
    const QStringView body = withoutPriority(text);
    const bool hasDeploy = body.contains(Config::ccDeployMarker);
    if (!hasDeploy && !body.contains(u"CC"))
        return body.size() == text.size() ? text : body.toString();
    QString out =
        hasDeploy
            ? withoutLines(body,
                           [](QStringView line) { return line.contains(Config::ccDeployMarker); })
            : body.toString();
    if (out.contains(u"CC")) out = withoutLines(out, &Message::isMarkerLine);
    return out;
}

std::optional<DeployTarget> Message::deployTarget() const {
    const qsizetype at = text.indexOf(Config::ccDeployMarker);
    if (at < 0) return std::nullopt;
    const QStringView line =
        deployLine(QStringView(text).sliced(at + Config::ccDeployMarker.size()));
    const QJsonDocument doc = QJsonDocument::fromJson(line.toUtf8());
    if (!doc.isObject()) return std::nullopt;
    const QJsonObject object = doc.object();
    auto url = deployUrl(object.value(u"url"));
    if (!url) return std::nullopt;
    const bool isApp = object.value(u"kind").toString() == u"app";
    const QString label = object.value(u"label").toString();
    return DeployTarget{isApp ? QStringLiteral("app") : QStringLiteral("web"), std::move(*url),
                        label.isEmpty() ? std::nullopt : std::optional<QString>(label)};
}

// MARK: Free functions

bool mayHoldLineMarkers(QStringView text) {
    return text.contains(u"CC");
}

std::optional<Message> answeredPrompt(const Message& bubble, const QList<Message>& chatMessages,
                                      const std::function<bool(qint64)>& isBotUser,
                                      std::optional<qint64> agentId) {
    if (bubble.replyTo) return std::nullopt;
    const auto answered = bubble.ccAnswersId();
    if (!answered || *answered <= 0 || *answered >= bubble.id) return std::nullopt;
    qint64 latest = 0;
    const Message* quoted = nullptr;
    for (const Message& m : chatMessages) {
        if (m.id == *answered && !quoted) quoted = &m;
        if (m.id > latest && isPersonsPrompt(m, bubble.id, isBotUser, agentId)) latest = m.id;
    }
    if (latest == 0 || latest == *answered || !quoted) return std::nullopt;
    return *quoted;
}
