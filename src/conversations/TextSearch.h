#pragma once

// Every occurrence of a set of needles in one pass over a text (Aho-Corasick),
// so that looking up many links in a long message costs the message's length
// and not the length times the number of links.

#include <QString>
#include <QStringList>
#include <vector>

class MultiSearch {
public:
    explicit MultiSearch(const QStringList& needles);

    // For each needle, the start offsets of its occurrences in `haystack`,
    // ascending; occurrences may overlap.
    std::vector<std::vector<qsizetype>> findAll(QStringView haystack) const;

private:
    size_t slot(quint64 key) const;
    int child(int state, char16_t c) const;
    int step(int state, char16_t c) const;
    void addNeedle(QStringView needle, int index);
    void linkFailures();

    // Trie edges in one open-addressed table: (state << 16 | character) + 1
    // -> state. Flat storage keeps the per-character lookups cheap.
    std::vector<std::pair<quint64, int>> m_edges;
    int m_shift = 64;
    std::vector<int> m_parent;
    std::vector<char16_t> m_char;
    std::vector<int> m_depth;
    std::vector<int> m_fail;
    std::vector<int> m_output;     // needle ending at this state, or -1
    std::vector<int> m_nextOutput; // nearest state on the failure chain with an output
    std::vector<qsizetype> m_lengths;
};
