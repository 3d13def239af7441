// SPDX-License-Identifier: MIT
//
// What a person feels of writing and syncing: the real controller with a real
// keyring and a server that answers at once, beside the same work done bare.
#include "benchmarks/barestore.h"
#include "benchmarks/data.h"
#include "benchmarks/longestwait.h"
#include "benchmarks/peer.h"
#include "benchmarks/tiny.h"
#include "controller/controller.h"
#include "qt/qml/TimerKelvaro/entrymodel.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QJsonDocument>
#include <QNetworkReply>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <functional>
#include <memory>
#include <stdexcept>

using namespace Qt::StringLiterals;

namespace {

int queueLength() {
    return Tiny::sized(100);
}

void require(bool condition, const char* what) {
    if (!condition) {
        throw std::runtime_error(what);
    }
}

void waitUntil(const std::function<bool()>& done) {
    while (!done()) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
}

/// A controller that has loaded the peer's entries.
struct Client {
    explicit Client(int entries) : state(makeState(entries)), peer(state) {
        address = u"http://127.0.0.1:%1"_s.arg(peer.listen());
        controller.connectServer(address);
        waitUntil([this] { return idle(); });
        require(controller.entries().size() == entries, qPrintable(controller.message()));
    }

    [[nodiscard]] bool idle() const {
        return !controller.busy() && controller.message() != u"Connecting…"_s && controller.pending() == 0;
    }

    void edit(int index) {
        const QJsonObject mutation = makeEdit(controller.durableState(), index).value(u"mutation").toObject();
        controller.enqueue(mutation.value(u"operation").toString(), mutation.value(u"entity_id").toString(),
                           mutation.value(u"base_version").toInt(), mutation.value(u"payload").toObject());
    }

    QJsonObject state;
    Peer peer;
    QString address;
    Controller controller;
};

// Both end with main(), and not when Qt Sql's own statics may have gone before them.
std::unique_ptr<Client> currentClient;
struct TemporaryStore {
    QTemporaryDir folder;
    BareStore store{folder.filePath(u"bare.sqlite"_s)};
};
std::unique_ptr<TemporaryStore> currentStore;

Client& client(int entries) {
    if (!currentClient ||
        currentClient->state.value(u"snapshot").toObject().value(u"time_entries").toArray().size() !=
            entries) {
        currentClient.reset();
        currentClient = std::make_unique<Client>(entries);
    }
    return *currentClient;
}

BareStore& bareStore() {
    if (!currentStore) {
        currentStore = std::make_unique<TemporaryStore>();
    }
    return currentStore->store;
}

double timed(const std::function<void()>& work) {
    QElapsedTimer timer;
    timer.start();
    work();
    return static_cast<double>(timer.nsecsElapsed()) / 1e9;
}

void write(benchmark::State& run) {
    Client& subject = client(static_cast<int>(run.range(0)));
    int index = 0;
    for (auto _ : run) {
        run.SetIterationTime(timed([&] {
            subject.edit(index++ % queueLength());
            benchmark::DoNotOptimize(subject.controller.entryRows().size());
        }));
        waitUntil([&] { return subject.idle(); });
    }
}

void writeBare(benchmark::State& run) {
    Client& subject = client(static_cast<int>(run.range(0)));
    const QJsonObject state = subject.controller.durableState();
    for (auto _ : run) {
        run.SetIterationTime(timed([&] { bareStore().save(state); }));
    }
}

QByteArray exchange(QNetworkAccessManager& network, const QString& address, const QByteArray& body = {}) {
    QNetworkRequest request{QUrl(address)};
    request.setHeader(QNetworkRequest::ContentTypeHeader, u"application/json"_s);
    QNetworkReply* reply = body.isEmpty() ? network.get(request) : network.post(request, body);
    waitUntil([reply] { return reply->isFinished(); });
    QByteArray answer = reply->readAll();
    require(reply->error() == QNetworkReply::NoError, "the peer answers");
    reply->deleteLater();
    return answer;
}

/// What this process has handed over to be written to files so far; sockets do not count here.
double bytesWritten() {
    QFile io(u"/proc/self/io"_s);
    require(io.open(QIODevice::ReadOnly), "the kernel counts what is written");
    const QByteArray counts = io.readAll();
    const qsizetype start = counts.indexOf("wchar: ") + 7;
    return counts.sliced(start, counts.indexOf('\n', start) - start).toDouble();
}

constexpr char written[] = "written_mb";

/// The bytes that `work` writes on average, not counting what it sets off.
void countWritten(benchmark::State& run, const Client& subject, const std::function<void()>& work) {
    double sum = 0;
    for (auto _ : run) {
        const double before = bytesWritten();
        run.SetIterationTime(timed(work));
        sum += bytesWritten() - before;
        waitUntil([&] { return subject.idle(); });
    }
    run.counters[written] = sum / 1e6 / static_cast<double>(run.iterations());
}

void writeBytes(benchmark::State& run) {
    Client& subject = client(static_cast<int>(run.range(0)));
    int index = 0;
    countWritten(run, subject, [&] { subject.edit(index++ % queueLength()); });
}

void reloadBytes(benchmark::State& run) {
    Client& subject = client(static_cast<int>(run.range(0)));
    countWritten(run, subject, [&] {
        subject.controller.refresh();
        waitUntil([&] { return subject.idle(); });
    });
}

/// The floor of both: the document, once.
void documentBytes(benchmark::State& run) {
    const Client& subject = client(static_cast<int>(run.range(0)));
    const QByteArray text = QJsonDocument(subject.controller.durableState()).toJson(QJsonDocument::Compact);
    for (auto _ : run) {
        run.SetIterationTime(timed([] {}));
    }
    run.counters[written] = static_cast<double>(text.size()) / 1e6;
}

void push(benchmark::State& run) {
    Client& subject = client(static_cast<int>(run.range(0)));
    for (auto _ : run) {
        for (int i = 0; i < queueLength(); ++i) {
            subject.edit(i);
        }
        run.SetIterationTime(timed([&] { waitUntil([&] { return subject.controller.pending() == 0; }); }));
        waitUntil([&] { return subject.idle(); });
    }
}

void pushBare(benchmark::State& run) {
    Client& subject = client(static_cast<int>(run.range(0)));
    const QJsonObject state = subject.controller.durableState();
    const QJsonObject mutation = makeEdit(state, 0).value(u"mutation").toObject();
    const QByteArray body = QJsonDocument(QJsonObject{{u"mutations"_s, QJsonArray{mutation}}}).toJson();
    QNetworkAccessManager network;
    for (auto _ : run) {
        run.SetIterationTime(timed([&] {
            for (int i = 0; i < queueLength(); ++i) {
                exchange(network, subject.address + u"/v1/me"_s);
                exchange(network, subject.address + u"/v1/sync/push"_s, body);
                bareStore().save(state);
            }
        }));
    }
}

void reload(benchmark::State& run) {
    Client& subject = client(static_cast<int>(run.range(0)));
    for (auto _ : run) {
        run.SetIterationTime(timed([&] {
            subject.controller.refresh();
            waitUntil([&] { return subject.idle(); });
        }));
    }
}

void reloadBare(benchmark::State& run) {
    Client& subject = client(static_cast<int>(run.range(0)));
    QNetworkAccessManager network;
    for (auto _ : run) {
        run.SetIterationTime(timed([&] {
            const QByteArray text = exchange(network, subject.address + u"/v1/sync/snapshot"_s);
            benchmark::DoNotOptimize(QJsonDocument::fromJson(text));
        }));
    }
}

/// Ten entries come, or go again, and the rows of the window follow.
void reloadChanged(benchmark::State& run,
                   const std::function<double(const std::function<void()>&)>& measured) {
    const int entries = static_cast<int>(run.range(0));
    Client& subject = client(entries);
    EntryModel model;
    model.setController(&subject.controller);
    const QJsonObject before = subject.state.value(u"snapshot").toObject();
    const QJsonObject after = makeState(entries + 10).value(u"snapshot").toObject();
    bool more = false;
    for (auto _ : run) {
        more = !more;
        subject.peer.serveSnapshot(more ? after : before);
        run.SetIterationTime(measured([&] {
            subject.controller.refresh();
            waitUntil([&] { return subject.idle(); });
        }));
        require(model.count() == entries + (more ? 10 : 0), "the rows are those of the reply");
    }
    subject.peer.serveSnapshot(before);
}

void reloadChangedWhole(benchmark::State& run) {
    reloadChanged(run, timed);
}

void reloadChangedWait(benchmark::State& run) {
    reloadChanged(run, [](const std::function<void()>& work) {
        const LongestWait wait;
        work();
        return wait.seconds();
    });
}

/// What nobody notices of a window that stands still.
void unnoticed(benchmark::State& run) {
    for (auto _ : run) {
        run.SetIterationTime(0.05);
    }
}

void addPair(const std::string& name, void (*figure)(benchmark::State&), void (*floor)(benchmark::State&),
             int entries, int iterations) {
    for (const auto& [suffix, function] : {std::pair{"", figure}, std::pair{"/floor", floor}}) {
        benchmark::RegisterBenchmark((name + suffix).c_str(), function)
            ->Arg(Tiny::sized(entries))
            ->Iterations(iterations)
            ->UseManualTime()
            ->Unit(benchmark::kMicrosecond);
    }
}

} // namespace

int main(int argc, char* argv[]) {
    const QCoreApplication application(argc, argv);
    Tiny::readOption(argc, argv);
    benchmark::Initialize(&argc, argv);
    addPair("write, 10000 entries", write, writeBare, 10000, 20);
    addPair("push 100 mutations, 10000 entries", push, pushBare, 10000, 1);
    addPair("reload, nothing new, 10000 entries", reload, reloadBare, 10000, 20);
    addPair("reload, nothing new, written", reloadBytes, documentBytes, 10000, 20);
    addPair("write, written", writeBytes, documentBytes, 10000, 20);
    addPair("write, 50000 entries", write, writeBare, 50000, 5);
    addPair("reload, 10 new, 50000 entries", reloadChangedWhole, reloadBare, 50000, 4);
    addPair("reload, 10 new, longest wait, 50000 entries", reloadChangedWait, unnoticed, 50000, 4);
    addPair("push 100 mutations, 50000 entries", push, pushBare, 50000, 1);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    currentStore.reset();
    currentClient.reset();
    return EXIT_SUCCESS;
}
