#include "conversations/ChatPreview.h"

#include "conversations/InlineMarkdown.h"
#include "conversations/WebLinks.h"
#include "core/Localisation.h"

QString previewBody(const Message& m) {
    if (m.isCCControl() || m.isCCWorking()) return {};
    if (m.isSystemNote()) return LSys(m.systemNoteText());
    if (m.media && m.media->kind == QLatin1String("audio")) {
        const QString transcript = m.transcript.value_or(QString());
        return transcript.isEmpty() ? QStringLiteral("🎤 Voice message")
                                    : QStringLiteral("🎤 ") + transcript;
    }
    const QString text = displayNormalizedLinks(m.displayText());
    if ((m.media || m.album) && text.isEmpty()) return QStringLiteral("📷 Photo");
    return text;
}

StyledText previewStyled(const Message& message) {
    return inlineMarkdown(previewBody(message));
}
