#include "conversations/Emoji.h"

#include <limits>
#include <memory>
#include <unicode/ubrk.h>
#include <unicode/uchar.h>

namespace {

constexpr int kMaxEmoji = 8;
constexpr char32_t kVariationSelector16 = 0xFE0F;

bool isEmojiScalar(char32_t c) {
    const UChar32 u = UChar32(c);
    return u_hasBinaryProperty(u, UCHAR_EMOJI_PRESENTATION) ||
           (u_hasBinaryProperty(u, UCHAR_EMOJI) && c >= 0x1F000);
}

// The code point at `i` and how many UTF-16 units it takes.
char32_t scalarAt(QStringView s, qsizetype i, qsizetype& units) {
    units = 1;
    if (s[i].isHighSurrogate() && i + 1 < s.size() && s[i + 1].isLowSurrogate()) {
        units = 2;
        return QChar::surrogateToUcs4(s[i], s[i + 1]);
    }
    return s[i].unicode();
}

QString withoutWhitespace(QStringView text) {
    QString out;
    out.reserve(std::min<qsizetype>(text.size(), 256));
    qsizetype units = 1;
    for (qsizetype i = 0; i < text.size(); i += units) {
        const char32_t c = scalarAt(text, i, units);
        if (!u_isUWhiteSpace(UChar32(c))) out.append(text.sliced(i, units));
    }
    return out;
}

struct BreakIteratorClose {
    void operator()(UBreakIterator* it) const { ubrk_close(it); }
};

// Opening a break iterator loads its rules; one per thread is kept and
// pointed at each new text.
UBreakIterator* characterBreaks(const QString& text) {
    thread_local std::unique_ptr<UBreakIterator, BreakIteratorClose> cached;
    UErrorCode status = U_ZERO_ERROR;
    if (!cached) {
        cached.reset(ubrk_open(UBRK_CHARACTER, "", nullptr, 0, &status));
        if (U_FAILURE(status)) cached.reset();
        if (!cached) return nullptr;
    }
    status = U_ZERO_ERROR;
    ubrk_setText(cached.get(), reinterpret_cast<const UChar*>(text.utf16()), int32_t(text.size()),
                 &status);
    return U_FAILURE(status) ? nullptr : cached.get();
}

bool clusterIsEmoji(QStringView cluster) {
    qsizetype units = 0;
    return isEmojiScalar(scalarAt(cluster, 0, units)) ||
           cluster.contains(QChar(char16_t(kVariationSelector16)));
}

} // namespace

bool isEmojiOnly(const QString& text) {
    const QString compact = withoutWhitespace(text);
    if (compact.isEmpty()) return false;
    // Most messages start with a letter: settle them without segmenting.
    qsizetype units = 0;
    if (!isEmojiScalar(scalarAt(compact, 0, units)) &&
        !compact.contains(QChar(char16_t(kVariationSelector16))))
        return false;
    if (compact.size() > std::numeric_limits<int32_t>::max()) return false;
    UBreakIterator* breaks = characterBreaks(compact);
    if (!breaks) return false;
    int clusters = 0;
    int32_t start = ubrk_first(breaks);
    for (int32_t end = ubrk_next(breaks); end != UBRK_DONE; start = end, end = ubrk_next(breaks)) {
        if (++clusters > kMaxEmoji) return false;
        if (!clusterIsEmoji(QStringView(compact).sliced(start, end - start))) return false;
    }
    return clusters > 0;
}

QStringList quickReactions() {
    return {QStringLiteral("\U0001F44D"), QStringLiteral("\u2764\uFE0F"),
            QStringLiteral("\U0001F602"), QStringLiteral("\U0001F525"),
            QStringLiteral("\U0001F389"), QStringLiteral("\U0001F44E")};
}
