#pragma once

// A sorted sequence kept in blocks of a few hundred entries, so that finding
// an entry, its row, and moving it elsewhere cost about one block, not the
// whole sequence. The conversation list uses it to move one row per message
// however long the list is.

#include <algorithm>
#include <cassert>
#include <vector>

template <typename T, typename Before>
class SortedBlocks {
public:
    static constexpr size_t maxBlock = 256;

    explicit SortedBlocks(Before before = {}) : m_before(before) {}

    // Takes entries already sorted by `before`.
    void assign(const std::vector<T>& sorted) {
        m_blocks.clear();
        for (size_t i = 0; i < sorted.size(); i += maxBlock / 2)
            m_blocks.emplace_back(sorted.begin() + i,
                                  sorted.begin() + std::min(sorted.size(), i + maxBlock / 2));
        m_size = int(sorted.size());
        restart();
    }

    int size() const { return m_size; }
    bool empty() const { return m_size == 0; }

    const T& at(int index) const {
        const size_t b = blockOf(index);
        return m_blocks[b][size_t(index - m_starts[b])];
    }

    // The index of the first entry that does not come before `probe`.
    int lowerBound(const T& probe) const {
        const size_t b = blockFor(probe);
        if (b == m_blocks.size()) return m_size;
        const auto& block = m_blocks[b];
        return m_starts[b] +
               int(std::lower_bound(block.begin(), block.end(), probe, m_before) - block.begin());
    }

    // Inserts in order and gives the entry's index.
    int insert(const T& value) {
        if (m_blocks.empty()) {
            m_blocks.push_back({value});
            m_size = 1;
            restart();
            return 0;
        }
        size_t b = std::min(blockFor(value), m_blocks.size() - 1);
        auto& block = m_blocks[b];
        const auto at = std::lower_bound(block.begin(), block.end(), value, m_before);
        const int index = m_starts[b] + int(at - block.begin());
        block.insert(at, value);
        ++m_size;
        if (block.size() > maxBlock) {
            std::vector<T> upper(block.begin() + maxBlock / 2, block.end());
            block.resize(maxBlock / 2);
            m_blocks.insert(m_blocks.begin() + qsizetype(b) + 1, std::move(upper));
        }
        restart();
        return index;
    }

    void removeAt(int index) {
        const size_t b = blockOf(index);
        auto& block = m_blocks[b];
        block.erase(block.begin() + (index - m_starts[b]));
        --m_size;
        if (block.empty()) m_blocks.erase(m_blocks.begin() + qsizetype(b));
        restart();
    }

private:
    using qsizetype = std::ptrdiff_t;

    // The first block whose last entry does not come before `probe`.
    size_t blockFor(const T& probe) const {
        return size_t(std::partition_point(m_blocks.begin(), m_blocks.end(),
                                           [&](const std::vector<T>& block) {
                                               return m_before(block.back(), probe);
                                           }) -
                      m_blocks.begin());
    }

    size_t blockOf(int index) const {
        assert(index >= 0 && index < m_size);
        return size_t(std::upper_bound(m_starts.begin(), m_starts.end(), index) -
                      m_starts.begin()) -
               1;
    }

    // Where each block starts: a few dozen numbers, refreshed after each change.
    void restart() {
        m_starts.resize(m_blocks.size());
        int start = 0;
        for (size_t b = 0; b < m_blocks.size(); ++b) {
            m_starts[b] = start;
            start += int(m_blocks[b].size());
        }
    }

    Before m_before;
    std::vector<std::vector<T>> m_blocks; // none empty
    std::vector<int> m_starts;
    int m_size = 0;
};
