// The inline grammar of a bubble over any bytes: Markdown, mentions, code
// copy links, web links and the rich text the view renders. Besides not
// crashing, the results must stay consistent with the input.
#include "conversations/Emoji.h"
#include "conversations/MessageText.h"

#include <cstdint>
#include <cstdlib>

namespace {

void check(bool ok) {
    if (!ok) std::abort();
}

void checkSpans(const StyledText& spans, qsizetype inputSize) {
    qsizetype total = 0;
    for (qsizetype i = 0; i < spans.size(); ++i) {
        check(!spans[i].text.isEmpty());
        if (i > 0) check(!(spans[i].style == spans[i - 1].style));
        total += spans[i].text.size();
    }
    // Syntax and link prefixes only ever drop characters.
    check(total <= inputSize);
}

void checkLinks(const QString& text) {
    qsizetype end = 0;
    for (const WebLink& link : webLinks(text)) {
        check(link.start >= end && link.length > 0 && link.start + link.length <= text.size());
        const QString scheme = link.url.scheme();
        check(scheme == u"http" || scheme == u"https");
        end = link.start + link.length;
        const QString written = text.sliced(link.start, link.length);
        check(written.endsWith(prettyLink(written)));
    }
    check(displayNormalizedLinks(text).size() <= text.size());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const bool isMine = size > 0 && (data[0] & 1);
    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(data), qsizetype(size));
    checkSpans(inlineMarkdown(text), text.size());
    const StyledText styled = mentionStyled(text, isMine);
    checkSpans(styled, text.size());
    check(!toRichText(styled).isEmpty());
    checkLinks(text);
    isEmojiOnly(text);
    return 0;
}
