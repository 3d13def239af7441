// SPDX-License-Identifier: MIT
//
// The list of entries under its days, beside the list of bare rows, and what a letter
// that is typed into the search waits for, beside the time that one frame has.
#include "benchmarks/data.h"
#include "benchmarks/tiny.h"
#include "controller/controller.h"
#include "qt/qml/TimerKelvaro/entrymodel.h"
#include "qt/qml/TimerKelvaro/rowmodel.h"
#include "state/searchtext.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QJsonArray>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <memory>

using namespace Qt::StringLiterals;

namespace {

constexpr double frame = 1.0 / 60;

double timed(const std::function<void()>& work) {
    QElapsedTimer timer;
    timer.start();
    work();
    return static_cast<double>(timer.nsecsElapsed()) / 1e9;
}

/// What it takes of the processor: others on the machine keep nobody's window waiting here.
double worked(const std::function<void()>& work) {
    const auto now = [] {
        timespec time{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
    };
    const double begun = now();
    work();
    return now() - begun;
}

/// The state with one entry edited, or as it is.
QJsonObject edited(QJsonObject state, int index) {
    state.insert(u"queue", QJsonArray{makeEdit(state, index)});
    return state;
}

void attach(EntryModel& model, Controller& controller) {
    model.setController(&controller);
}

/// What a list property costs that is made already.
class BareList : public QObject {
    Q_OBJECT
    Q_PROPERTY(QVariantList rows MEMBER m_rows NOTIFY changed)

public:
    explicit BareList(const Controller& controller) : m_rows(controller.entries()) {}

    void follow(const Controller& controller) {
        // As who sees one row changed: the others stay the same shared maps.
        const QVariantList rows = controller.entries();
        for (qsizetype row = 0; row < rows.size(); ++row) {
            if (m_rows[row] != rows[row]) {
                m_rows[row] = rows[row];
            }
        }
    }

Q_SIGNALS:
    void changed();

private:
    QVariantList m_rows;
};

void attach(RowModel& model, BareList& list) {
    model.setList(u"rows"_s);
    model.setSource(&list);
}

void fill(benchmark::State& run) {
    Controller controller;
    controller.applyDurable(makeState(static_cast<int>(run.range(0))));
    for (auto _ : run) {
        EntryModel model;
        run.SetIterationTime(timed([&] { attach(model, controller); }));
    }
}

void fillBare(benchmark::State& run) {
    Controller controller;
    controller.applyDurable(makeState(static_cast<int>(run.range(0))));
    BareList list(controller);
    for (auto _ : run) {
        RowModel model;
        run.SetIterationTime(timed([&] { attach(model, list); }));
    }
}

void change(benchmark::State& run) {
    const QJsonObject state = makeState(static_cast<int>(run.range(0)));
    Controller controller;
    controller.applyDurable(state);
    EntryModel model;
    attach(model, controller);
    int index = 0;
    for (auto _ : run) {
        controller.applyDurable(edited(state, index++ % 10));
        run.SetIterationTime(timed([&] { Q_EMIT controller.changed(); }));
    }
}

void changeBare(benchmark::State& run) {
    const QJsonObject state = makeState(static_cast<int>(run.range(0)));
    Controller controller;
    controller.applyDurable(state);
    BareList list(controller);
    RowModel model;
    attach(model, list);
    int index = 0;
    for (auto _ : run) {
        controller.applyDurable(edited(state, index++ % 10));
        list.follow(controller);
        run.SetIterationTime(timed([&] { Q_EMIT list.changed(); }));
    }
}

/// The longest that one letter of a word holds up the window, on the way from all entries to one.
void find(benchmark::State& run) {
    Controller controller;
    controller.applyDurable(makeState(static_cast<int>(run.range(0))));
    const QString word = u"change %1"_s.arg(run.range(0) - 1);
    for (auto _ : run) {
        EntryModel model; // nothing is prepared yet
        attach(model, controller);
        double longest = 0;
        for (qsizetype letters = 1; letters <= word.size(); ++letters) {
            longest = std::max(longest, worked([&] { model.setWanted(word.left(letters)); }));
            for (bool more = true; more;) {
                longest = std::max(longest, worked([&] { more = model.search(); }));
            }
        }
        run.SetIterationTime(longest);
    }
}

void oneFrame(benchmark::State& run) {
    for (auto _ : run) {
        run.SetIterationTime(frame);
    }
}

/// A whole search once everything is prepared.
void findAgain(benchmark::State& run) {
    Controller controller;
    controller.applyDurable(makeState(static_cast<int>(run.range(0))));
    EntryModel model;
    attach(model, controller);
    bool other = false;
    const auto search = [&] {
        other = !other;
        model.setWanted(other ? u"change 77"_s : u"change 7"_s);
        while (model.search()) {
        }
    };
    search();
    for (auto _ : run) {
        run.SetIterationTime(timed(search));
    }
}

void lookThrough(benchmark::State& run) {
    const QJsonArray entries =
        makeState(static_cast<int>(run.range(0)))[u"snapshot"][u"time_entries"].toArray();
    std::vector<QString> texts;
    for (const auto& entry : entries) {
        texts.push_back(searchText(entry[u"description"].toString()));
    }
    bool other = false;
    for (auto _ : run) {
        other = !other;
        const QString wanted = other ? u"change 77"_s : u"change 7"_s;
        run.SetIterationTime(timed([&] {
            benchmark::DoNotOptimize(std::count_if(
                texts.begin(), texts.end(), [&](const QString& text) { return text.contains(wanted); }));
        }));
    }
}

void addPair(const std::string& name, void (*figure)(benchmark::State&), void (*floor)(benchmark::State&),
             int iterations) {
    for (const int entries : {10000, 50000}) {
        for (const auto& [suffix, function] : {std::pair{"", figure}, std::pair{"/floor", floor}}) {
            benchmark::RegisterBenchmark(
                (name + ", " + std::to_string(entries) + " entries" + suffix).c_str(), function)
                ->Arg(Tiny::sized(entries))
                ->Iterations(iterations)
                ->UseManualTime()
                ->Unit(benchmark::kMicrosecond);
        }
    }
}

} // namespace

int main(int argc, char* argv[]) {
    const QCoreApplication application(argc, argv);
    Tiny::readOption(argc, argv);
    benchmark::Initialize(&argc, argv);
    addPair("days filled", fill, fillBare, 5);
    addPair("days, one change", change, changeBare, 20);
    addPair("find, longest wait", find, oneFrame, 1);
    addPair("find, again", findAgain, lookThrough, 20);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return EXIT_SUCCESS;
}

#include "bench_list.moc"
