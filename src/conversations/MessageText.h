#pragma once

// The inline grammar of a message bubble: inline Markdown, @mentions, inline
// code that copies on a click, and web links shown without their scheme.
// Links in the result:
//   velmarin://user/<name>                  a mention, name without the "@"
//   velmarin://copy/<percent-encoded text>  inline code; a click copies it
//   http(s)://...                           a web address or Markdown link

#include "conversations/InlineMarkdown.h"
#include "conversations/StyledText.h"
#include "conversations/WebLinks.h"

// `isMine`: the text sits on the accent fill of the user's own bubble, where
// mentions and code turn white instead of taking theme colours.
StyledText mentionStyled(const QString& text, bool isMine);

// mentionStyled rendered for a QML Text with `textFormat: Text.RichText`.
QString mentionRichText(const QString& text, bool isMine, const RichTextPalette& palette = {});
