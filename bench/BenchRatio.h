#pragma once

// Runs the registered benchmarks with the console reporter and then prints
// "ratio <name> / <baseline> = x.xx" for each declared pair, so a target
// such as "decode within 2x of the raw parse" reads off one run. With
// --benchmark_repetitions the ratio is taken between medians, of wall time
// and of CPU time (the fairer one on a loaded machine).

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <utility>
#include <vector>

class RatioReporter : public benchmark::ConsoleReporter {
public:
    struct Times {
        double real = 0;
        double cpu = 0;
    };

    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            const Times t{run.GetAdjustedRealTime(), run.GetAdjustedCPUTime()};
            // Pairs may name a benchmark alone or with its arguments ("Pass/1").
            for (const std::string& name : {run.run_name.function_name, run.run_name.str()}) {
                if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median")
                    medians[name] = t;
                else if (run.run_type == Run::RT_Iteration && run.iterations > 0)
                    lastRun[name] = t;
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }

    const Times* find(const std::string& name) const {
        if (auto it = medians.find(name); it != medians.end()) return &it->second;
        if (auto it = lastRun.find(name); it != lastRun.end()) return &it->second;
        return nullptr;
    }

private:
    std::map<std::string, Times> medians;
    std::map<std::string, Times> lastRun;
};

inline int runWithRatios(int argc, char** argv,
                         const std::vector<std::pair<std::string, std::string>>& pairs) {
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    for (const auto& [name, baseline] : pairs) {
        const RatioReporter::Times* a = reporter.find(name);
        const RatioReporter::Times* b = reporter.find(baseline);
        if (!a || !b || b->real <= 0 || b->cpu <= 0) continue;
        std::printf("ratio %s / %s = %.2f (cpu %.2f)\n", name.c_str(), baseline.c_str(),
                    a->real / b->real, a->cpu / b->cpu);
    }
    benchmark::Shutdown();
    return 0;
}
