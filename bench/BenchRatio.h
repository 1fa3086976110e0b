#pragma once

// Runs the registered benchmarks with the console reporter and then prints
// "ratio <name> / <baseline> = x.xx" for each declared pair, so a target
// such as "decode within 2x of the raw parse" reads off one run.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <utility>
#include <vector>

class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs)
            if (run.run_type == Run::RT_Iteration && run.iterations > 0)
                perIteration[run.run_name.function_name] =
                    run.GetAdjustedRealTime() / benchmark::GetTimeUnitMultiplier(run.time_unit);
        ConsoleReporter::ReportRuns(runs);
    }
    std::map<std::string, double> perIteration;
};

inline int runWithRatios(int argc, char** argv,
                         const std::vector<std::pair<std::string, std::string>>& pairs) {
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    for (const auto& [name, baseline] : pairs) {
        const auto a = reporter.perIteration.find(name);
        const auto b = reporter.perIteration.find(baseline);
        if (a == reporter.perIteration.end() || b == reporter.perIteration.end() || b->second <= 0)
            continue;
        std::printf("ratio %s / %s = %.2f\n", name.c_str(), baseline.c_str(), a->second / b->second);
    }
    benchmark::Shutdown();
    return 0;
}
