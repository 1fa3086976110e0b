#include "conversations/MessageDecor.h"

#include <QHash>

const QList<QColor>& senderPalette() {
    static const QList<QColor> palette = {
        QColor::fromRgbF(0.85f, 0.45f, 0.45f), QColor::fromRgbF(0.88f, 0.62f, 0.35f),
        QColor::fromRgbF(0.42f, 0.65f, 0.85f), QColor::fromRgbF(0.48f, 0.72f, 0.55f),
        QColor::fromRgbF(0.65f, 0.55f, 0.82f), QColor::fromRgbF(0.45f, 0.70f, 0.72f),
    };
    return palette;
}

QColor senderColor(const QString& name) {
    quint64 hash = 5381;
    for (const char byte : name.toUtf8())
        hash = hash * 33 + quint8(byte);
    return senderPalette()[qsizetype(hash % quint64(senderPalette().size()))];
}

QString lowerPathExtension(const QString& name) {
    const QStringView last = QStringView(name).sliced(name.lastIndexOf(u'/') + 1);
    const qsizetype dot = last.lastIndexOf(u'.');
    if (dot <= 0) return {};
    return last.sliced(dot + 1).toString().toLower();
}

namespace {

using IconTable = QHash<QString, QString>;

IconTable makeTable(std::initializer_list<std::pair<const char*, const char*>> rows) {
    IconTable table;
    for (const auto& [symbol, extensions] : rows)
        for (const QString& ext : QString::fromLatin1(extensions).split(u' '))
            table.insert(ext, QString::fromLatin1(symbol));
    return table;
}

const char* const kCode = "chevron.left.forwardslash.chevron.right";

QString lookup(const IconTable& table, const QString& name) {
    return table.value(lowerPathExtension(name), QStringLiteral("doc"));
}

} // namespace

QString FileChip::fileIcon(const QString& name) {
    static const IconTable table = makeTable({
        {"doc.richtext", "pdf"},
        {"doc.zipper", "zip tar gz rar 7z"},
        {"photo", "svg webp bmp tiff"},
        {kCode, "swift js ts py rs go json html css sh c cpp java"},
        {"waveform", "mp3 wav m4a aac"},
        {"doc.text", "doc docx txt md rtf"},
        {"tablecells", "xls xlsx csv"},
    });
    return lookup(table, name);
}

QString FileComposer::icon(const QString& name) {
    static const IconTable table = makeTable({
        {"doc.richtext", "pdf"},
        {"doc.zipper", "zip tar gz"},
        {"photo", "svg png jpg jpeg gif heic webp"},
        {kCode, "swift js ts py rs go json html css sh"},
        {"waveform", "mp3 wav m4a"},
        {"film", "mp4 mov m4v"},
    });
    return lookup(table, name);
}
