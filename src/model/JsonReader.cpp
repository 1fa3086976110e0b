#include "model/JsonReader.h"

#include <QByteArray>
#include <bitset>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace json {

namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool isSpecial(char c) {
    return c == '"' || c == '\\' || (static_cast<uchar>(c) & 0x80);
}

// The first quote, backslash or non-ASCII byte at or after p, or end.
const char* skipPlain(const char* p, const char* end) {
#if defined(__SSE2__)
    const __m128i quote = _mm_set1_epi8('"');
    const __m128i backslash = _mm_set1_epi8('\\');
    while (end - p >= 16) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        const __m128i hits =
            _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(v, quote), _mm_cmpeq_epi8(v, backslash)), v);
        const int mask = _mm_movemask_epi8(hits);
        if (mask != 0) return p + __builtin_ctz(unsigned(mask));
        p += 16;
    }
#endif
    while (p < end && !isSpecial(*p))
        ++p;
    return p;
}

// Plain decimal digits without a sign, at most 19 of them (no leading zeros
// reach here), into a magnitude that must fit the signed range.
bool parseInteger(const char* begin, const char* end, bool negative, qint64& out) {
    if (end - begin > 19) return false;
    quint64 magnitude = 0;
    for (const char* p = begin; p < end; ++p)
        magnitude = magnitude * 10 + quint64(*p - '0');
    const quint64 limit = negative ? quint64(1) << 63 : (quint64(1) << 63) - 1;
    if (magnitude > limit) return false;
    out = negative ? qint64(0 - magnitude) : qint64(magnitude);
    return true;
}

// The double is an integer in the signed 64-bit range.
bool exactInteger(double d, qint64& out) {
    constexpr double twoTo63 = 9223372036854775808.0;
    if (!(d >= -twoTo63 && d < twoTo63)) return false;
    out = qint64(d);
    return double(out) == d;
}

} // namespace

JsonReader::JsonReader(QByteArrayView bytes)
    : m_begin(bytes.data()), m_p(bytes.data()), m_end(bytes.data() + bytes.size()) {
    if (m_end - m_p > 3 && std::memcmp(m_p, "\xEF\xBB\xBF", 3) == 0) m_p += 3;
}

void JsonReader::syntaxError(const char* what) const {
    throw DecodeError(QStringLiteral("invalid JSON: %1 at offset %2")
                          .arg(QLatin1StringView(what))
                          .arg(m_p - m_begin));
}

JsonReader::Type JsonReader::peek() {
    switch (nextByte("value expected")) {
    case '{':
        return Type::Object;
    case '[':
        return Type::Array;
    case '"':
        return Type::String;
    case 't':
    case 'f':
        return Type::Bool;
    case 'n':
        return Type::Null;
    case ',':
    case ']':
    case '}':
        syntaxError("value expected");
    default:
        return Type::Number;
    }
}

void JsonReader::enter() {
    ++m_p;
    if (++m_depth > maxDepth) syntaxError("too deeply nested");
    m_needComma = false;
}

void JsonReader::beginObject() {
    if (nextByte("object expected") != '{') syntaxError("object expected");
    enter();
}

void JsonReader::beginArray() {
    if (nextByte("array expected") != '[') syntaxError("array expected");
    enter();
}

bool JsonReader::nextKey() {
    char c = nextByte("unterminated object");
    if (c == '}') {
        ++m_p;
        --m_depth;
        m_needComma = true;
        return false;
    }
    if (m_needComma) {
        if (c != ',') syntaxError("unterminated object");
        ++m_p;
        c = nextByte("unterminated object");
        if (c == '}') syntaxError("member expected after a comma");
    }
    if (c != '"') syntaxError("unterminated object");
    ++m_p;
    bool ascii = true;
    m_key = scanString(m_keyEscaped, ascii);
    if (nextByte("missing name separator") != ':') syntaxError("missing name separator");
    ++m_p;
    m_needComma = false;
    return true;
}

QString JsonReader::key() const {
    if (m_keyEscaped) return unescape(m_key);
    return QString::fromUtf8(m_key.data(), qsizetype(m_key.size()));
}

bool JsonReader::nextElement() {
    const char c = nextByte("unterminated array");
    // Right after a comma the caller reads a value, so a bracket here closes.
    if (c == ']') {
        ++m_p;
        --m_depth;
        m_needComma = true;
        return false;
    }
    if (m_needComma) {
        if (c != ',') syntaxError("missing value separator");
        ++m_p;
        m_needComma = false;
    }
    return true;
}

std::string_view JsonReader::scanString(bool& escaped, bool& ascii) {
    const char* const begin = m_p;
    const char* p = begin;
    escaped = false;
    for (;;) {
        p = skipPlain(p, m_end);
        if (p >= m_end) syntaxError("unterminated string");
        if (*p == '"') break;
        if (*p == '\\') {
            escaped = true;
            p = scanEscape(p);
        } else {
            ascii = false;
            p = scanMultiByte(p);
        }
    }
    m_p = p + 1;
    return {begin, size_t(p - begin)};
}

const char* JsonReader::scanEscape(const char* p) const {
    if (m_end - p < 2) syntaxError("unterminated string");
    switch (p[1]) {
    case '"':
    case '\\':
    case '/':
    case 'b':
    case 'f':
    case 'n':
    case 'r':
    case 't':
        return p + 2;
    case 'u':
        if (m_end - p < 6) syntaxError("invalid escape sequence");
        for (int i = 2; i < 6; ++i)
            if (hexValue(p[i]) < 0) syntaxError("invalid escape sequence");
        return p + 6;
    default:
        syntaxError("invalid escape sequence");
    }
}

// One UTF-8 sequence of two to four bytes: no overlong forms, no encoded
// surrogates, nothing past U+10FFFF (noncharacters are fine).
const char* JsonReader::scanMultiByte(const char* p) const {
    const auto lead = static_cast<uchar>(*p);
    int follow = 0;
    char32_t min = 0;
    char32_t code = 0;
    if (lead < 0xC2) {
        syntaxError("invalid UTF-8");
    } else if (lead < 0xE0) {
        follow = 1, min = 0x80, code = lead & 0x1F;
    } else if (lead < 0xF0) {
        follow = 2, min = 0x800, code = lead & 0x0F;
    } else if (lead < 0xF5) {
        follow = 3, min = 0x10000, code = lead & 0x07;
    } else {
        syntaxError("invalid UTF-8");
    }
    if (m_end - p <= follow) syntaxError("invalid UTF-8");
    for (int i = 1; i <= follow; ++i) {
        const auto b = static_cast<uchar>(p[i]);
        if ((b & 0xC0) != 0x80) syntaxError("invalid UTF-8");
        code = (code << 6) | (b & 0x3F);
    }
    if (code < min || (code >= 0xD800 && code <= 0xDFFF) || code > 0x10FFFF)
        syntaxError("invalid UTF-8");
    return p + 1 + follow;
}

QString JsonReader::readString() {
    if (nextByte("string expected") != '"') syntaxError("string expected");
    ++m_p;
    bool escaped = false;
    bool ascii = true;
    const std::string_view body = scanString(escaped, ascii);
    m_needComma = true;
    if (escaped) return unescape(body);
    if (ascii) return QString::fromLatin1(body.data(), qsizetype(body.size()));
    return QString::fromUtf8(body.data(), qsizetype(body.size()));
}

void JsonReader::skipLiteral(std::string_view word) {
    skipSpace();
    if (size_t(m_end - m_p) < word.size() || std::memcmp(m_p, word.data(), word.size()) != 0)
        syntaxError("illegal value");
    m_p += word.size();
    m_needComma = true;
}

void JsonReader::readNull() {
    skipLiteral("null");
}

bool JsonReader::readBool() {
    const bool value = nextByte("boolean expected") == 't';
    skipLiteral(value ? "true" : "false");
    return value;
}

// Lets QByteArray::toDouble judge whatever is not a plain integer, as
// QJsonDocument does, so both accept and refuse the same texts.
JsonReader::Number JsonReader::readNumber() {
    skipSpace();
    const char* const start = m_p;
    const bool negative = start < m_end && *start == '-';
    const char* const digits = start + (negative ? 1 : 0);
    const char* digitsEnd = digits;
    const char* const end = scanNumber(digits, digitsEnd);
    if (end >= m_end) syntaxError("unterminated number");
    m_p = end;
    m_needComma = true;
    Number n;
    if (end == digitsEnd && digitsEnd > digits &&
        parseInteger(digits, digitsEnd, negative, n.integer)) {
        n.integral = true;
        return n;
    }
    n.real = parseDouble(start, end);
    n.integral = exactInteger(n.real, n.integer);
    return n;
}

// The extent of a number after its sign as QJsonDocument scans it: integer
// part, fraction, exponent, each possibly empty.
const char* JsonReader::scanNumber(const char* p, const char*& digitsEnd) const {
    auto skipDigits = [this](const char* q) {
        while (q < m_end && isDigit(*q))
            ++q;
        return q;
    };
    p = p < m_end && *p == '0' ? p + 1 : skipDigits(p);
    digitsEnd = p;
    if (p < m_end && *p == '.') p = skipDigits(p + 1);
    if (p < m_end && (*p == 'e' || *p == 'E')) {
        ++p;
        if (p < m_end && (*p == '-' || *p == '+')) ++p;
        p = skipDigits(p);
    }
    return p;
}

double JsonReader::parseDouble(const char* begin, const char* end) const {
    bool ok = false;
    const double d = QByteArray::fromRawData(begin, end - begin).toDouble(&ok);
    if (!ok) syntaxError("illegal number");
    return d;
}

// Iterative, so hostile nesting costs a bit per level instead of a stack frame.
void JsonReader::skipValue() {
    const int base = m_depth;
    std::bitset<maxDepth + 1> inObject;
    for (;;) {
        switch (peek()) {
        case Type::Object:
            beginObject();
            inObject[size_t(m_depth)] = true;
            if (nextKey()) continue;
            break;
        case Type::Array:
            beginArray();
            inObject[size_t(m_depth)] = false;
            if (nextElement()) continue;
            break;
        case Type::String: {
            ++m_p;
            bool escaped = false;
            bool ascii = true;
            scanString(escaped, ascii);
            m_needComma = true;
            break;
        }
        case Type::Number:
            readNumber();
            break;
        case Type::Bool:
            readBool();
            break;
        case Type::Null:
            readNull();
            break;
        }
        // A value ended: close containers until one has another member.
        for (;;) {
            if (m_depth == base) return;
            if (inObject[size_t(m_depth)] ? nextKey() : nextElement()) break;
        }
    }
}

void JsonReader::finish() {
    skipSpace();
    if (m_p != m_end) syntaxError("garbage at the end of the document");
}

void JsonReader::noteProblem(const char* what) {
    if (m_problem) return;
    m_problem = what;
    m_problemKey = {};
}

void JsonReader::noteKey(std::string_view key) {
    if (m_problem && m_problemKey.empty()) m_problemKey = key;
}

void JsonReader::clearProblem() {
    m_problem = nullptr;
    m_problemKey = {};
}

void JsonReader::throwProblem() const {
    const QString key = m_problemKey.empty() ? QStringLiteral("<root>")
                                             : QString::fromLatin1(m_problemKey.data(),
                                                                   qsizetype(m_problemKey.size()));
    throw DecodeError(QStringLiteral("key '%1' %2")
                          .arg(key, QLatin1StringView(m_problem ? m_problem : "is invalid")));
}

namespace {

// One escape sequence at p (already validated); returns what follows it.
const uchar* unescapeOne(const uchar* p, char16_t*& d) {
    switch (p[1]) {
    case 'b':
        *d++ = 0x08;
        break;
    case 'f':
        *d++ = 0x0C;
        break;
    case 'n':
        *d++ = 0x0A;
        break;
    case 'r':
        *d++ = 0x0D;
        break;
    case 't':
        *d++ = 0x09;
        break;
    case 'u':
        *d++ = char16_t(hexValue(char(p[2])) << 12 | hexValue(char(p[3])) << 8 |
                        hexValue(char(p[4])) << 4 | hexValue(char(p[5])));
        return p + 6;
    default:
        *d++ = p[1];
        break;
    }
    return p + 2;
}

// One multi-byte UTF-8 sequence at p (already validated) as UTF-16.
const uchar* decodeOne(const uchar* p, char16_t*& d) {
    const int follow = *p >= 0xF0 ? 3 : *p >= 0xE0 ? 2 : 1;
    char32_t code = *p & (0x3F >> follow);
    for (int i = 1; i <= follow; ++i)
        code = (code << 6) | (p[i] & 0x3F);
    if (code >= 0x10000) {
        *d++ = QChar::highSurrogate(code);
        *d++ = QChar::lowSurrogate(code);
    } else {
        *d++ = char16_t(code);
    }
    return p + 1 + follow;
}

} // namespace

// Never more UTF-16 units than input bytes, so one allocation does.
QString unescape(std::string_view body) {
    QString out(qsizetype(body.size()), Qt::Uninitialized);
    auto* const first = reinterpret_cast<char16_t*>(out.data());
    char16_t* d = first;
    const auto* p = reinterpret_cast<const uchar*>(body.data());
    const auto* const end = p + body.size();
    while (p < end) {
        if (*p == '\\')
            p = unescapeOne(p, d);
        else if (*p < 0x80)
            *d++ = *p++;
        else
            p = decodeOne(p, d);
    }
    out.truncate(d - first);
    return out;
}

} // namespace json
