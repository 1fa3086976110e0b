#pragma once

// A pull parser over UTF-8 JSON bytes for the records decoded on hot paths
// (socket frames, bootstrap, message pages). It builds no document: callers
// walk objects and arrays and take scalars as they come.
//
// It accepts what QJsonDocument::fromJson accepts, so both decoding paths
// agree on every input, with one deliberate exception: an unknown escape
// ("\q") is an error here, where QJsonDocument reads it as the bare
// character. Matching QJsonDocument elsewhere means: a leading UTF-8 byte
// order mark is skipped; raw control characters inside strings are kept;
// "\u" escapes are taken as UTF-16 units, so a pair makes one character and
// a lone surrogate stays as it is; numbers follow its lenient scan (".5",
// "1." and "-.5" are numbers) and are exact 64-bit integers whenever the
// value is integral and in range; nesting deeper than 1024 containers is
// rejected. Unknown values are skipped without recursion.
//
// Errors in the text throw DecodeError. Values that are well formed but do
// not fit the record are the record decoder's business (see JsonFields.h).

#include "model/Errors.h"

#include <QByteArrayView>
#include <QString>
#include <string_view>

namespace json {

class JsonReader {
public:
    enum class Type : quint8 { Null, Bool, Number, String, Array, Object };

    // An exact integer when the number is integral and fits 64 bits, else a double.
    struct Number {
        bool integral = false;
        qint64 integer = 0;
        double real = 0;
        double toDouble() const { return integral ? double(integer) : real; }
    };

    static constexpr int maxDepth = 1024;

    explicit JsonReader(QByteArrayView bytes);

    // The type of the value that starts here; throws when no value can start here.
    Type peek();

    // Objects: beginObject(), then while (nextKey()) read or skip one value.
    void beginObject();
    bool nextKey();
    // The last key as it stands in the text; compare it only when !keyEscaped().
    std::string_view rawKey() const { return m_key; }
    bool keyEscaped() const { return m_keyEscaped; }
    QString key() const;

    // Arrays: beginArray(), then while (nextElement()) read or skip one value.
    void beginArray();
    bool nextElement();

    void readNull();
    bool readBool();
    Number readNumber();
    QString readString();
    void skipValue();

    // Only whitespace may follow the root value.
    void finish();

    // A value that was well formed but does not fit: the first problem noted
    // (and the innermost key it sits under) is what a failed decode reports.
    void noteProblem(const char* what);
    void noteKey(std::string_view key);
    void clearProblem();
    [[noreturn]] void throwProblem() const;

private:
    [[noreturn]] void syntaxError(const char* what) const;
    // Compact JSON has no whitespace: these are inline for that case.
    void skipSpace() {
        while (m_p < m_end && (*m_p == ' ' || *m_p == '\n' || *m_p == '\r' || *m_p == '\t'))
            ++m_p;
    }
    char nextByte(const char* whenMissing) {
        skipSpace();
        if (m_p >= m_end) syntaxError(whenMissing);
        return *m_p;
    }
    void enter();
    // Scans the string whose opening quote was just read; returns its body.
    std::string_view scanString(bool& escaped, bool& ascii);
    const char* scanEscape(const char* p) const;
    const char* scanMultiByte(const char* p) const;
    void skipLiteral(std::string_view word);
    const char* scanNumber(const char* p, const char*& digitsEnd) const;
    double parseDouble(const char* begin, const char* end) const;

    const char* m_begin;
    const char* m_p;
    const char* m_end;
    int m_depth = 0;
    bool m_needComma = false;
    bool m_keyEscaped = false;
    std::string_view m_key;
    const char* m_problem = nullptr;
    std::string_view m_problemKey;
};

// Decodes a string body that contains escapes (already validated by the scan).
QString unescape(std::string_view body);

} // namespace json
