// SPDX-License-Identifier: MIT
#include "benchmarks/data.h"
#include "benchmarks/peer.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>

using namespace Qt::StringLiterals;

namespace {

/// A timer of the person whose entries these are, started now.
QJsonObject runningTimer(const QJsonObject& state) {
    QJsonObject timer = state[u"snapshot"][u"time_entries"].toArray().first().toObject();
    timer.insert(u"id", u"0b6f6a52-6f0d-4b59-9a43-5d0d3a8f2c11"_s);
    timer.insert(u"start_at", QDateTime::currentDateTimeUtc().toString(Qt::ISODate));
    timer.insert(u"stop_at", QJsonValue());
    return timer;
}

/// Milliseconds of the processor that one parse of the snapshot takes.
double parseTime(const QJsonObject& state) {
    constexpr int parses = 4;
    const QByteArray text = QJsonDocument(state.value(u"snapshot").toObject()).toJson(QJsonDocument::Compact);
    const std::clock_t begun = std::clock();
    for (int i = 0; i < parses; ++i) {
        if (QJsonDocument::fromJson(text).isNull()) {
            std::abort();
        }
    }
    return static_cast<double>(std::clock() - begun) * 1000 / CLOCKS_PER_SEC / parses;
}

} // namespace

/// bench_peer COUNT [--tag] [--timer]: serves COUNT entries until it is terminated. Prints its port, and
/// how many milliseconds of the processor one parse of its snapshot takes.
int main(int argc, char* argv[]) {
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGTERM);
    sigaddset(&ending, SIGINT);
    pthread_sigmask(SIG_BLOCK, &ending, nullptr);

    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    QJsonObject state = makeState(arguments.value(1, u"10000"_s).toInt());
    if (arguments.contains(u"--timer"_s)) {
        state.insert(u"timer", runningTimer(state));
    }
    Peer peer(state);
    if (arguments.contains(u"--tag"_s)) {
        peer.offerTag();
    }
    std::printf("%d %.3f\n", peer.listen(), parseTime(state));
    std::fflush(stdout);
    int caught = 0;
    return sigwait(&ending, &caught);
}
