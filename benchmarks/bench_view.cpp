// SPDX-License-Identifier: MIT
//
// What a person feels without a network: the projection, and reading the list.
// A figure and its floor are named alike; the floor ends in "/floor".
#include "benchmarks/data.h"
#include "benchmarks/tiny.h"
#include "controller/entrylist.h"
#include "state/projector.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <benchmark/benchmark.h>

namespace {

QByteArray snapshotText(const QJsonObject& state) {
    return QJsonDocument(state.value(u"snapshot").toObject()).toJson(QJsonDocument::Compact);
}

void project(benchmark::State& run) {
    const QJsonObject state = makeState(static_cast<int>(run.range(0)), static_cast<int>(run.range(1)));
    for (auto _ : run) {
        benchmark::DoNotOptimize(Projector().project(state));
    }
}

void parse(benchmark::State& run) {
    const QByteArray text =
        snapshotText(makeState(static_cast<int>(run.range(0)), static_cast<int>(run.range(1))));
    for (auto _ : run) {
        benchmark::DoNotOptimize(QJsonDocument::fromJson(text));
    }
}

void readRows(benchmark::State& run) {
    EntryList list;
    list.update(Projector().project(makeState(static_cast<int>(run.range(0)))).entries);
    for (auto _ : run) {
        benchmark::DoNotOptimize(ProjectedEntries(list.rows()).size());
    }
}

void copyList(benchmark::State& run) {
    const QVariantList shared = makeState(static_cast<int>(run.range(0)))
                                    .value(u"snapshot")
                                    .toObject()
                                    .value(u"time_entries")
                                    .toArray()
                                    .toVariantList();
    for (auto _ : run) {
        benchmark::DoNotOptimize(QVariantList(shared).size());
    }
}

void add(const std::string& name, void (*work)(benchmark::State&), int entries, int periods) {
    benchmark::RegisterBenchmark(name.c_str(), work)
        ->Args({Tiny::sized(entries), periods})
        ->Unit(benchmark::kMicrosecond);
}

} // namespace

int main(int argc, char* argv[]) {
    Tiny::readOption(argc, argv);
    benchmark::Initialize(&argc, argv);
    add("project 10000, 10 periods", project, 10000, 10);
    add("project 10000, 10 periods/floor", parse, 10000, 10);
    add("project 10000, 100 periods", project, 10000, 100);
    add("project 10000, 100 periods/floor", parse, 10000, 100);
    add("project 50000 against 10000", project, 50000, 10);
    add("project 50000 against 10000/floor", project, 10000, 10);
    add("read entries, unchanged", readRows, 10000, 10);
    add("read entries, unchanged/floor", copyList, 10000, 10);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
