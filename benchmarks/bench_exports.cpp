// SPDX-License-Identifier: MIT
//
// What the export of a detailed report of 100,000 rows costs: the real server
// over HTTP, beside bare SQL that reads the same entries from the same file.
// "above_mb" is how far the server's memory rises meanwhile above that of one
// that has just been started, its floor what is allowed.
#include "benchmarks/reportserver.h"
#include "benchmarks/tiny.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QJsonDocument>

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <stdexcept>

using namespace Qt::StringLiterals;

namespace {

int entryCount() {
    return Tiny::sized(100'000);
}

constexpr char aboveRest[] = "above_mb";
constexpr double allowedMb = 16;

/// The server with one report.
struct Desk {
    Desk() : server(entryCount()) {
        const std::string reply = server.report(u"detailed"_s, u"project"_s);
        snapshot = QJsonDocument::fromJson(QByteArray::fromStdString(reply))
                       .object()
                       .value(u"snapshot_id")
                       .toString();
        path = server.workspacePath() + "/report-snapshots/" + snapshot.toStdString() + "/export?format=";
        server.restart(); // what making the report has taken is not the exports'
        idle = server.idleMemory();
    }

    ReportServer server;
    QString snapshot;
    std::string path;
    double idle = 0;
};

const Desk& desk() {
    static const Desk only;
    return only;
}

void exportReport(benchmark::State& run, const std::string& format) {
    for (auto _ : run) {
        desk().server.resetPeak();
        QElapsedTimer timer;
        timer.start();
        const std::string file = desk().server.get(desk().path + format);
        run.SetIterationTime(static_cast<double>(timer.nsecsElapsed()) / 1e9);
        run.counters[aboveRest] = desk().server.peakMemory() - desk().idle;
        run.counters["file_mb"] = static_cast<double>(file.size()) / 1024 / 1024;
    }
}

void readBare(benchmark::State& run) {
    for (auto _ : run) {
        run.SetIterationTime(desk().server.readBare(entryCount()));
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

} // namespace

int main(int argc, char* argv[]) {
    const QCoreApplication application(argc, argv);
    Tiny::readOption(argc, argv);
    benchmark::Initialize(&argc, argv);
    for (const std::string format : {"csv", "xlsx", "json", "html"}) {
        const std::string name = format + " export, 100000 entries";
        add(name, [format](benchmark::State& run) { exportReport(run, format); });
        add(name + "/floor", readBare);
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return EXIT_SUCCESS;
}
