#pragma once

// Splits a message's display text into prose and pipe tables, the form the
// agent uses for tabular output. Pure: no state, total on any input.

#include <QList>
#include <QString>
#include <QStringList>

enum class TableAlign { Leading, Center, Trailing };

struct MessageBlock {
    enum class Kind { Text, Table };

    Kind kind = Kind::Text;
    QString text;             // Kind::Text
    QStringList header;       // Kind::Table
    QList<QStringList> rows;  // Kind::Table, each exactly header.size() cells
    QList<TableAlign> aligns; // Kind::Table, one per header cell

    static MessageBlock makeText(const QString& text);
    static MessageBlock makeTable(QStringList header, QList<QStringList> rows,
                                  QList<TableAlign> aligns);
    bool operator==(const MessageBlock&) const = default;
};

QList<MessageBlock> parseMessageBlocks(const QString& text);

// The alignment of a table column, leading past the end of `aligns`.
TableAlign tableColumnAlign(const MessageBlock& table, qsizetype column);
