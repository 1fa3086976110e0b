#pragma once

// The second line of a conversation's row in the list: what the newest
// visible message says, in a form that fits one line of plain text.

#include "conversations/StyledText.h"
#include "model/Models.h"

// Empty for control and working messages; a system note in the current
// language; "🎤 " and the transcript (or "🎤 Voice message") for audio; the
// caption or "📷 Photo" for other media and albums; otherwise the display
// text with web links in their short form.
QString previewBody(const Message& message);

// previewBody with its inline Markdown styled.
StyledText previewStyled(const Message& message);
