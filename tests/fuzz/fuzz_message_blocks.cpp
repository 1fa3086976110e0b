// Message text into prose and pipe tables: any bytes, decoded as the client
// decodes a message, must split without crashing and give well-formed blocks.
#include "conversations/MessageBlocks.h"

#include <cstdint>
#include <cstdlib>

namespace {
void check(bool ok) {
    if (!ok) std::abort();
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(data), qsizetype(size));
    const QList<MessageBlock> blocks = parseMessageBlocks(text);
    check(!blocks.isEmpty());
    for (const MessageBlock& block : blocks) {
        if (block.kind == MessageBlock::Kind::Text) {
            check(blocks.size() == 1 || !block.text.trimmed().isEmpty());
            continue;
        }
        check(!block.header.isEmpty());
        check(block.aligns.size() == block.header.size());
        for (const QStringList& row : block.rows)
            check(row.size() == block.header.size());
        for (qsizetype c = -1; c <= block.header.size(); ++c)
            tableColumnAlign(block, c);
    }
    return 0;
}
