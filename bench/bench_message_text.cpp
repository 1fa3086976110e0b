// Message text on hostile 1 MB inputs against the same shapes at 100 kB: each
// ratio should stay near 10 (linear), far from 100 (quadratic).
#include "BenchRatio.h"
#include "conversations/MessageBlocks.h"
#include "conversations/MessageText.h"

#include <QCoreApplication>

namespace {
struct Shape {
    const char* name;
    QString unit;
    bool blocks;
};

const Shape shapes[] = {
    {"prose", "Hello @ana, *see* https://x.io/a and `code` here.\n", false},
    {"links", "https://h%1.example.com/path ", false},
    {"unclosed_emphasis", "*a _b ", false},
    {"unclosed_link_tails", "[a](b ", false},
    {"backtick_runs", "`` ` ", false},
    {"mentions", "@a ", false},
    {"wide_table", QString("| c ").repeated(500) + "|\n", true},
    {"pipes_without_tables", "a|b\n", true},
};

QString make(const Shape& shape, qsizetype bytes) {
    QString out;
    if (shape.blocks && shape.unit.startsWith('|')) {
        const qsizetype cols = shape.unit.count('|') - 1;
        out = QString("|h").repeated(cols) + "|\n" + QString("|-").repeated(cols) + "|\n";
    }
    for (int i = 0; out.size() < bytes; ++i)
        out += shape.unit.contains("%1") ? shape.unit.arg(i) : shape.unit;
    return out;
}

void run(benchmark::State& state, const Shape* shape, qsizetype bytes) {
    const QString text = make(*shape, bytes);
    for (auto _ : state) {
        if (shape->blocks)
            benchmark::DoNotOptimize(parseMessageBlocks(text));
        else
            benchmark::DoNotOptimize(mentionStyled(text, false));
    }
}
} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    std::vector<std::pair<std::string, std::string>> pairs;
    for (const Shape& shape : shapes) {
        const std::string small = std::string(shape.name) + "/100kB";
        const std::string large = std::string(shape.name) + "/1MB";
        benchmark::RegisterBenchmark(small.c_str(), run, &shape, 100'000)
            ->Unit(benchmark::kMillisecond)->Iterations(3);
        benchmark::RegisterBenchmark(large.c_str(), run, &shape, 1'000'000)
            ->Unit(benchmark::kMillisecond)->Iterations(3);
        pairs.emplace_back(large, small);
    }
    return runWithRatios(argc, argv, pairs);
}
