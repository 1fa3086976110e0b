#include "conversations/MessageBlocks.h"

namespace {

// Table syntax trims horizontal space only; a stray '\r' from CRLF text counts
// as space here so that such tables still split cleanly.
bool isHorizontalSpace(QChar c) {
    return c != u'\n' && c.isSpace();
}

QStringView trimHorizontal(QStringView s) {
    qsizetype begin = 0;
    qsizetype end = s.size();
    while (begin < end && isHorizontalSpace(s[begin]))
        ++begin;
    while (end > begin && isHorizontalSpace(s[end - 1]))
        --end;
    return s.sliced(begin, end - begin);
}

// A cell's text: a backslash drops itself and keeps the character after it.
QString cellText(QStringView raw, bool hasEscape) {
    if (!hasEscape) return trimHorizontal(raw).toString();
    QString cell;
    cell.reserve(raw.size());
    bool escaped = false;
    for (QChar c : raw) {
        if (!escaped && c == u'\\') {
            escaped = true;
            continue;
        }
        cell.append(c);
        escaped = false;
    }
    return trimHorizontal(cell).toString();
}

// Cells are taken as slices of the line; only a cell with a backslash is
// rebuilt character by character.
QStringList splitTableRow(QStringView line) {
    QStringView body = trimHorizontal(line);
    if (body.startsWith(u'|')) body = body.sliced(1);
    if (body.endsWith(u'|')) body = body.chopped(1);

    QStringList cells;
    qsizetype start = 0;
    bool hasEscape = false;
    bool escaped = false;
    for (qsizetype i = 0; i < body.size(); ++i) {
        if (escaped) {
            escaped = false;
        } else if (body[i] == u'\\') {
            escaped = hasEscape = true;
        } else if (body[i] == u'|') {
            cells.append(cellText(body.sliced(start, i - start), hasEscape));
            start = i + 1;
            hasEscape = false;
        }
    }
    cells.append(cellText(body.sliced(start), hasEscape));
    return cells;
}

bool isDelimiterCell(QStringView cell) {
    if (!cell.contains(u'-')) return false;
    for (QChar c : cell)
        if (c != u'-' && c != u':') return false;
    return true;
}

bool isTableDelimiter(QStringView line) {
    if (!line.contains(u'-') || !line.contains(u'|')) return false;
    const QStringList cells = splitTableRow(line);
    if (cells.isEmpty()) return false;
    for (const QString& cell : cells)
        if (!isDelimiterCell(cell)) return false;
    return true;
}

QList<TableAlign> tableAlignments(QStringView line, qsizetype count) {
    const QStringList cells = splitTableRow(line);
    QList<TableAlign> aligns;
    aligns.reserve(count);
    for (qsizetype i = 0; i < count; ++i) {
        if (i >= cells.size()) {
            aligns.append(TableAlign::Leading);
            continue;
        }
        const QStringView cell = trimHorizontal(cells[i]);
        if (cell.startsWith(u':') && cell.endsWith(u':'))
            aligns.append(TableAlign::Center);
        else if (cell.endsWith(u':'))
            aligns.append(TableAlign::Trailing);
        else
            aligns.append(TableAlign::Leading);
    }
    return aligns;
}

QStringList fitRow(QStringList cells, qsizetype count) {
    if (cells.size() > count) cells.resize(count);
    while (cells.size() < count)
        cells.append(QString());
    return cells;
}

class BlockParser {
public:
    explicit BlockParser(const QString& text) : m_lines(QStringView(text).split(u'\n')) {}

    QList<MessageBlock> run() {
        qsizetype i = 0;
        while (i < m_lines.size()) {
            if (startsTable(i))
                i = takeTable(i);
            else
                m_pending.append(m_lines[i++]);
        }
        flush();
        return m_blocks;
    }

private:
    bool startsTable(qsizetype i) const {
        return i + 1 < m_lines.size() && m_lines[i].contains(u'|') &&
               !isTableDelimiter(m_lines[i]) && isTableDelimiter(m_lines[i + 1]);
    }

    qsizetype takeTable(qsizetype i) {
        QStringList header = splitTableRow(m_lines[i]);
        QList<TableAlign> aligns = tableAlignments(m_lines[i + 1], header.size());
        QList<QStringList> rows;
        qsizetype j = i + 2;
        for (; j < m_lines.size(); ++j) {
            const QStringView line = m_lines[j];
            if (line.trimmed().isEmpty() || !line.contains(u'|')) break;
            rows.append(fitRow(splitTableRow(line), header.size()));
        }
        flush();
        m_blocks.append(
            MessageBlock::makeTable(std::move(header), std::move(rows), std::move(aligns)));
        return j;
    }

    void flush() {
        if (m_pending.isEmpty()) return;
        QString joined;
        for (qsizetype k = 0; k < m_pending.size(); ++k) {
            if (k > 0) joined.append(u'\n');
            joined.append(m_pending[k]);
        }
        m_pending.clear();
        joined = joined.trimmed();
        if (!joined.isEmpty()) m_blocks.append(MessageBlock::makeText(joined));
    }

    QList<QStringView> m_lines;
    QList<QStringView> m_pending;
    QList<MessageBlock> m_blocks;
};

} // namespace

MessageBlock MessageBlock::makeText(const QString& text) {
    MessageBlock b;
    b.kind = Kind::Text;
    b.text = text;
    return b;
}

MessageBlock MessageBlock::makeTable(QStringList header, QList<QStringList> rows,
                                     QList<TableAlign> aligns) {
    MessageBlock b;
    b.kind = Kind::Table;
    b.header = std::move(header);
    b.rows = std::move(rows);
    b.aligns = std::move(aligns);
    return b;
}

QList<MessageBlock> parseMessageBlocks(const QString& text) {
    if (!text.contains(u'|')) return {MessageBlock::makeText(text)};
    QList<MessageBlock> blocks = BlockParser(text).run();
    if (blocks.isEmpty()) return {MessageBlock::makeText(text)};
    return blocks;
}

TableAlign tableColumnAlign(const MessageBlock& table, qsizetype column) {
    if (column < 0 || column >= table.aligns.size()) return TableAlign::Leading;
    return table.aligns[column];
}
