#include "conversations/TextSearch.h"

namespace {
// Zero marks an empty slot, so keys start at one.
quint64 edgeKey(int state, char16_t c) {
    return (quint64(state) << 16 | c) + 1;
}
constexpr quint64 kFibonacci = 0x9E3779B97F4A7C15ull;
} // namespace

MultiSearch::MultiSearch(const QStringList& needles) {
    m_parent = {-1};
    m_char = {0};
    m_depth = {0};
    m_output = {-1};
    qsizetype total = 0;
    for (const QString& needle : needles)
        total += needle.size();
    size_t capacity = 16;
    for (m_shift = 60; capacity < size_t(total) * 2; --m_shift)
        capacity *= 2;
    m_edges.assign(capacity, {0, -1});
    for (qsizetype i = 0; i < needles.size(); ++i) {
        m_lengths.push_back(needles[i].size());
        if (!needles[i].isEmpty()) addNeedle(needles[i], int(i));
    }
    linkFailures();
}

size_t MultiSearch::slot(quint64 key) const {
    const size_t mask = m_edges.size() - 1;
    size_t i = size_t((key * kFibonacci) >> m_shift);
    while (m_edges[i].first != 0 && m_edges[i].first != key)
        i = (i + 1) & mask;
    return i;
}

int MultiSearch::child(int state, char16_t c) const {
    return m_edges[slot(edgeKey(state, c))].second;
}

void MultiSearch::addNeedle(QStringView needle, int index) {
    int state = 0;
    for (QChar qc : needle) {
        const char16_t c = qc.unicode();
        int next = child(state, c);
        if (next < 0) {
            next = int(m_parent.size());
            const quint64 key = edgeKey(state, c);
            m_edges[slot(key)] = {key, next};
            m_parent.push_back(state);
            m_char.push_back(c);
            m_depth.push_back(m_depth[size_t(state)] + 1);
            m_output.push_back(-1);
        }
        state = next;
    }
    if (m_output[size_t(state)] < 0) m_output[size_t(state)] = index;
}

// Failure links in order of depth: a state's link depends only on shallower
// states.
void MultiSearch::linkFailures() {
    const size_t count = m_parent.size();
    std::vector<int> byDepth(count);
    for (size_t i = 0; i < count; ++i)
        byDepth[i] = int(i);
    std::stable_sort(byDepth.begin(), byDepth.end(),
                     [&](int a, int b) { return m_depth[size_t(a)] < m_depth[size_t(b)]; });
    m_fail.assign(count, 0);
    m_nextOutput.assign(count, 0);
    for (const int v : byDepth) {
        const int p = m_parent[size_t(v)];
        if (p > 0) m_fail[size_t(v)] = step(m_fail[size_t(p)], m_char[size_t(v)]);
        const int f = m_fail[size_t(v)];
        m_nextOutput[size_t(v)] = m_output[size_t(f)] >= 0 ? f : m_nextOutput[size_t(f)];
    }
}

int MultiSearch::step(int state, char16_t c) const {
    for (;;) {
        const int next = child(state, c);
        if (next >= 0) return next;
        if (state == 0) return 0;
        state = m_fail[size_t(state)];
    }
}

std::vector<std::vector<qsizetype>> MultiSearch::findAll(QStringView haystack) const {
    std::vector<std::vector<qsizetype>> found(m_lengths.size());
    int state = 0;
    for (qsizetype i = 0; i < haystack.size(); ++i) {
        state = step(state, haystack[i].unicode());
        int s = m_output[size_t(state)] >= 0 ? state : m_nextOutput[size_t(state)];
        for (; s > 0; s = m_nextOutput[size_t(s)]) {
            const int needle = m_output[size_t(s)];
            found[size_t(needle)].push_back(i + 1 - m_lengths[size_t(needle)]);
        }
    }
    return found;
}
