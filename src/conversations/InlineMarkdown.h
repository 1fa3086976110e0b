#pragma once

// Inline-only Markdown that keeps whitespace: emphasis (`*`, `_`), strong
// (`**`, `__`), strikethrough (`~`, `~~`), code spans, inline links
// `[text](destination "title")`, autolinks `<scheme:...>` and backslash
// escapes. Block syntax (headings, lists, quotes, fences) stays literal text
// and every space and line break stays where it was. Total: any input parses.

#include "conversations/StyledText.h"

StyledText inlineMarkdown(const QString& text);
