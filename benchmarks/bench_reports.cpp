// SPDX-License-Identifier: MIT
//
// What a report over 100,000 entries costs: the real server over HTTP, beside
// bare SQL that reads the same rows from the same file. "above_mb" is how far
// the server's memory rises meanwhile above that of one which has done nothing
// yet, its floor what is allowed.
#include "benchmarks/reportserver.h"
#include "benchmarks/tiny.h"

#include <QCoreApplication>
#include <QElapsedTimer>

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>

using namespace Qt::StringLiterals;

namespace {

int entryCount() {
    return Tiny::sized(100'000);
}

constexpr char aboveRest[] = "above_mb";
constexpr double allowedMb = 16;

const ReportServer& server() {
    static const ReportServer only(entryCount());
    return only;
}

void report(benchmark::State& run, const char* kind, const char* group) {
    for (auto _ : run) {
        server().resetPeak();
        QElapsedTimer timer;
        timer.start();
        const std::string reply = server().report(QString::fromLatin1(kind), QString::fromLatin1(group));
        run.SetIterationTime(static_cast<double>(timer.nsecsElapsed()) / 1e9);
        if (reply.find("\"entry_count\":" + std::to_string(entryCount()) + '}') == std::string::npos) {
            throw std::runtime_error("the report is not one of all entries");
        }
        run.counters[aboveRest] = server().peakMemory() - server().idleMemory();
        server().forgetReports();
    }
}

void readBare(benchmark::State& run) {
    for (auto _ : run) {
        run.SetIterationTime(server().readBare(entryCount()));
    }
    run.counters[aboveRest] = allowedMb;
}

template <typename Work>
void add(const std::string& name, Work work) {
    benchmark::RegisterBenchmark(name.c_str(), work)
        ->Iterations(1)
        ->UseManualTime()
        ->Unit(benchmark::kMicrosecond);
}

void addReport(const std::string& name, const char* kind, const char* group) {
    add(name, [kind, group](benchmark::State& run) { report(run, kind, group); });
    add(name + "/floor", readBare);
}

} // namespace

int main(int argc, char* argv[]) {
    const QCoreApplication application(argc, argv);
    Tiny::readOption(argc, argv);
    benchmark::Initialize(&argc, argv);
    addReport("summary report, 100000 entries", "summary", "project");
    addReport("detailed report, 100000 entries", "detailed", "project");
    addReport("weekly report, 100000 entries", "weekly", "task");
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return EXIT_SUCCESS;
}
