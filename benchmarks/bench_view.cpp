// SPDX-License-Identifier: MIT
//
// What a person feels without a network: the projection, and reading the list.
// A figure and its floor are named alike; the floor ends in "/floor".
#include "benchmarks/data.h"
#include "controller/entrylist.h"
#include "state/syncstate.h"

#include <QJsonDocument>

#include <benchmark/benchmark.h>

namespace {

QByteArray snapshotText(const QJsonObject& state) {
    return QJsonDocument(state.value(u"snapshot").toObject()).toJson(QJsonDocument::Compact);
}

void project(benchmark::State& run) {
    const QJsonObject state = makeState(static_cast<int>(run.range(0)), static_cast<int>(run.range(1)));
    for (auto _ : run) {
        benchmark::DoNotOptimize(SyncState::project(state));
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
    const QJsonObject view = SyncState::project(makeState(10000));
    EntryList list;
    list.update(view.value(u"entries").toArray());
    for (auto _ : run) {
        const QVariantList rows = list.rows();
        benchmark::DoNotOptimize(rows.size());
    }
}

void copyList(benchmark::State& run) {
    const QVariantList shared =
        makeState(10000).value(u"snapshot").toObject().value(u"time_entries").toArray().toVariantList();
    for (auto _ : run) {
        const QVariantList rows = shared;
        benchmark::DoNotOptimize(rows.size());
    }
}

} // namespace

BENCHMARK(project)->Name("project 10000, 10 periods")->Args({10000, 10})->Unit(benchmark::kMicrosecond);
BENCHMARK(parse)->Name("project 10000, 10 periods/floor")->Args({10000, 10})->Unit(benchmark::kMicrosecond);
BENCHMARK(project)->Name("project 10000, 100 periods")->Args({10000, 100})->Unit(benchmark::kMicrosecond);
BENCHMARK(parse)->Name("project 10000, 100 periods/floor")->Args({10000, 100})->Unit(benchmark::kMicrosecond);
BENCHMARK(project)->Name("project 50000 against 10000")->Args({50000, 10})->Unit(benchmark::kMicrosecond);
BENCHMARK(project)
    ->Name("project 50000 against 10000/floor")
    ->Args({10000, 10})
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(readRows)->Name("read entries, unchanged")->Unit(benchmark::kMicrosecond);
BENCHMARK(copyList)->Name("read entries, unchanged/floor")->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
