// The main function of benchmarks with limits: the program fails if a limit is exceeded or if a benchmark
// reports that its result is wrong.
#include "benchmarks/Limit.h"

#include <QCoreApplication>

#include <unistd.h>

namespace {

class Reporter : public benchmark::ConsoleReporter {
public:
    Reporter()
        : ConsoleReporter(::isatty(STDOUT_FILENO) ? OO_Color : OO_None) {}

    void ReportRuns(const std::vector<Run>& runs) override {
        auto shown = runs;
        for (auto& run : shown) {
            failed |= run.error_occurred;
            if (const auto limit = run.counters.find(iterationLimit); limit != run.counters.end()) {
                const auto share =
                    run.cpu_accumulated_time / static_cast<double>(run.iterations) / limit->second.value;
                run.counters.erase(limit);
                run.counters["of the limit"] = share;
                failed |= share > 1;
            }
        }
        ConsoleReporter::ReportRuns(shown);
    }

    bool failed = false;
};

} // namespace

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    Reporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    return reporter.failed ? 1 : 0;
}
