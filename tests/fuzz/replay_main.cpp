// Runs a fuzz target without libFuzzer: every file of the seed corpus, then a
// fixed number of deterministic mutations of them (flips, cuts, splices and
// repeats), so that CI exercises each harness on every build.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {
using Bytes = std::vector<uint8_t>;

std::vector<Bytes> readCorpus(const char* dir) {
    std::vector<Bytes> out;
    if (!dir || !std::filesystem::is_directory(dir)) return out;
    for (const auto& entry : std::filesystem::directory_iterator(dir)) {
        std::ifstream in(entry.path(), std::ios::binary);
        out.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    return out;
}

Bytes mutate(const Bytes& a, const Bytes& b, std::mt19937& rng) {
    Bytes m = a;
    switch (rng() % 5) {
    case 0: // flip some bytes
        for (int i = 0; i < 4 && !m.empty(); ++i) m[rng() % m.size()] ^= uint8_t(1u << (rng() % 8));
        break;
    case 1: // cut
        if (!m.empty()) m.resize(rng() % m.size());
        break;
    case 2: { // splice with another seed
        size_t cut = m.empty() ? 0 : rng() % m.size();
        m.resize(cut);
        size_t from = b.empty() ? 0 : rng() % b.size();
        m.insert(m.end(), b.begin() + long(from), b.end());
        break;
    }
    case 3: // insert a random byte run
        m.insert(m.begin() + long(m.empty() ? 0 : rng() % m.size()), rng() % 16 + 1, uint8_t(rng()));
        break;
    default: // repeat the whole input
        m.insert(m.end(), a.begin(), a.end());
    }
    return m;
}
} // namespace

int main(int argc, char** argv) {
    std::vector<Bytes> corpus = readCorpus(argc > 1 ? argv[1] : nullptr);
    if (corpus.empty()) corpus.push_back({});
    for (const Bytes& input : corpus) LLVMFuzzerTestOneInput(input.data(), input.size());
    std::mt19937 rng(20261122);
    const int rounds = 4000;
    for (int i = 0; i < rounds; ++i) {
        const Bytes& a = corpus[rng() % corpus.size()];
        const Bytes& b = corpus[rng() % corpus.size()];
        const Bytes m = mutate(a, b, rng);
        LLVMFuzzerTestOneInput(m.data(), m.size());
    }
    std::printf("replayed %zu seeds and %d mutations\n", corpus.size(), rounds);
    return 0;
}
