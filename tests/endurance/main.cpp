// SPDX-License-Identifier: MIT
#include "tests/endurance/damage.h"
#include "tests/endurance/deathnote.h"
#include "tests/endurance/realstorm.h"
#include "tests/endurance/shrinking.h"
#include "tests/endurance/storm.h"
#include "tests/vault/vaulthome.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QElapsedTimer>
#include <QTextStream>

#include <algorithm>
#include <functional>
#include <limits>

using namespace Qt::StringLiterals;

namespace {

/// What the tests take of it.
const QString defaultMinutes = u"0.75"_s;
constexpr qint64 msPerMinute = 60000;
constexpr double longestMs = 1e12;

struct Orders {
    quint32 first = 1;
    quint32 seeds = std::numeric_limits<quint32>::max();
    qint64 mostMs = 0; ///< 0 for no limit
    bool asFound = false;
    bool tellsAll = false;
};

QTextStream& out() {
    static QTextStream stream(stdout);
    return stream;
}

void print(const QString& title, const QMap<QString, int>& counts) {
    out() << title << " (" << counts.size() << "):\n";
    for (auto it = counts.begin(); it != counts.end(); ++it) {
        out() << "  " << qSetFieldWidth(8) << it.value() << qSetFieldWidth(0) << "  " << it.key() << '\n';
    }
}

/// Of the members that the client reads, how often each was damaged.
void printMembers(const QMap<QString, int>& damages) {
    QMap<QString, int> read;
    for (const QString& member : Damage::readMembers()) {
        read.insert(member, damages.value(member));
    }
    print(u"Members read, and how often each was damaged"_s, read);
    out() << read.size() - read.keys(0).size() << " of them were damaged\n";
}

int tellShortest(Storm& storm, const History& history, const QString& problem) {
    out() << "Looking for the shortest history ..." << Qt::endl;
    const History shortest =
        shrunk(history, problem, [&storm](const History& part) { return storm.run(part); });
    out() << "--history \"" << textOf(shortest) << "\"" << Qt::endl;
    return 1;
}

/// Runs each seed that there is time for; what went wrong with it is what `run` returns.
int runSeeds(const Orders& orders, const std::function<int(quint32 seed)>& run,
             const std::function<qsizetype()>& sumUp) {
    QElapsedTimer clock;
    clock.start();
    quint32 done = 0;
    while (done < orders.seeds && (orders.mostMs == 0 || clock.elapsed() < orders.mostMs)) {
        if (const int failed = run(orders.first + done); failed != 0) {
            return failed;
        }
        ++done;
    }
    const qsizetype writes = sumUp();
    out() << done << " seeds from " << orders.first << " on, " << writes << " writes, no violation; "
          << 1000.0 * done / static_cast<double>(std::max<qint64>(1, clock.elapsed())) << " seeds per second"
          << Qt::endl;
    return 0;
}

/// A number above 0.
bool take(const QString& text, quint32& number) {
    number = text.toUInt();
    return number > 0;
}

void tellFailure(quint32 seed, const QString& problem) {
    out() << "Seed " << seed << " failed: " << problem << Qt::endl;
}

/// What went wrong with this seed, also when nobody is left to return it.
template <typename AnyStorm, typename Input>
QString judged(AnyStorm& storm, quint32 seed, const Input& input) {
    const DeathNote note(seed);
    return storm.run(input);
}

int runFast(World& world, const Orders& orders) {
    Storm storm(world);
    if (orders.tellsAll) {
        storm.tellAll();
    }
    const auto run = [&](quint32 seed) {
        const History history = historyOf(seed);
        const QString problem = judged(storm, seed, history);
        if (problem.isEmpty()) {
            return 0;
        }
        tellFailure(seed, problem);
        return orders.asFound ? 1 : tellShortest(storm, history, problem);
    };
    return runSeeds(orders, run, [&storm] {
        print(u"Faults"_s, storm.faults());
        printMembers(storm.damages());
        print(u"Steps"_s, storm.steps());
        print(u"States"_s, storm.states());
        return storm.writes();
    });
}

int runReal(World& world, const Orders& orders) {
    RealStorm storm(world);
    const auto run = [&](quint32 seed) {
        const QString problem = judged(storm, seed, seed);
        if (problem.isEmpty()) {
            return 0;
        }
        tellFailure(seed, problem);
        out() << storm.story().join(u'\n') << Qt::endl;
        return 1;
    };
    return runSeeds(orders, run, [&storm] {
        print(u"Faults"_s, storm.faults());
        print(u"Events"_s, storm.events());
        print(u"States"_s, storm.states());
        return storm.writes();
    });
}

int runHistory(World& world, const QString& steps) {
    const std::optional<History> history = historyFrom(steps);
    if (!history) {
        out() << "This is no history.\n";
        return 1;
    }
    Storm storm(world);
    storm.tellAll();
    const QString problem = storm.run(*history);
    out() << (problem.isEmpty() ? u"no violation"_s : problem) << Qt::endl;
    return problem.isEmpty() ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    const QApplication application(argc, argv);
    QCommandLineParser parser;
    const QCommandLineOption seeds(u"seeds"_s, u"How many seeds to run."_s, u"number"_s);
    const QCommandLineOption seed(u"seed"_s, u"The first seed."_s, u"number"_s, u"1"_s);
    const QCommandLineOption minutes(u"minutes"_s, u"No further seed after so many minutes."_s, u"number"_s,
                                     defaultMinutes);
    const QCommandLineOption steps(u"history"_s, u"Exactly these steps, each told with its status."_s,
                                   u"steps"_s);
    const QCommandLineOption asFound(u"as-found"_s, u"Do not look for a shorter history that fails."_s);
    const QCommandLineOption real(u"real"_s, u"With programs that are killed."_s);
    const QCommandLineOption tell(u"tell"_s, u"Each step, what was decided in it and its status."_s);
    parser.addOptions({seeds, seed, minutes, steps, asFound, real, tell});
    parser.addHelpOption();
    parser.process(application);
    Orders orders{.asFound = parser.isSet(asFound), .tellsAll = parser.isSet(tell)};
    bool understood = parser.positionalArguments().isEmpty() && take(parser.value(seed), orders.first);
    if (parser.isSet(seeds)) {
        understood = take(parser.value(seeds), orders.seeds) && understood;
    }
    if (parser.isSet(minutes) || !parser.isSet(seeds)) {
        const double most = parser.value(minutes).toDouble() * msPerMinute;
        understood = most >= 1 && most < longestMs && understood;
        orders.mostMs = understood ? static_cast<qint64>(most) : 0;
    }
    if (!understood) {
        out() << "Seeds and minutes are numbers above 0; --help tells what else can be asked for.\n";
        return 1;
    }

    VaultHome::nameApplication();
    World world;
    if (!world.start()) {
        out() << "The server does not start.\n";
        return 1;
    }
    if (parser.isSet(steps)) {
        return runHistory(world, parser.value(steps));
    }
    return parser.isSet(real) ? runReal(world, orders) : runFast(world, orders);
}
