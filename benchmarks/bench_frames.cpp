// SPDX-License-Identifier: MIT
//
// What a person sees of long lists and texts: the real window on a display, beside a
// bare one that shows the same.
#include "benchmarks/data.h"
#include "benchmarks/longestwait.h"
#include "benchmarks/peer.h"
#include "benchmarks/tiny.h"
#include "controller/controller.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFileDialog>
#include <QJsonArray>
#include <QJsonDocument>
#include <QQmlApplicationEngine>
#include <QQmlContext>
#include <QQuickItem>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QTemporaryFile>
#include <QtQml/QQmlExtensionPlugin>

#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <optional>
#include <stdexcept>

using namespace Qt::StringLiterals;

Q_IMPORT_QML_PLUGIN(TimerKelvaroPlugin)

namespace {

constexpr int reportTab = 1;
constexpr int importTab = 2;
const QString realWindow = u"qrc:/qt/qml/TimerKelvaro/Main.qml"_s;
const QString plainWindow = u"qrc:/Plain.qml"_s;

void waitUntil(const std::function<bool()>& done) {
    while (!done()) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
}

/// A window on a controller whose server answers at once.
class Stage {
public:
    Stage(const QString& file, const QJsonObject& state) : peer(state) {
        controller.setReadOnly(true); // it needs no store
        m_engine.addImportPath(u":/qt/qml"_s);
        m_engine.rootContext()->setContextProperty(u"controller"_s, &controller);
        m_engine.rootContext()->setContextProperty(u"trayAvailable"_s, false);
        m_engine.setInitialProperties(file == plainWindow
                                          ? QVariantMap{{u"controller"_s, QVariant::fromValue(&controller)}}
                                          : QVariantMap());
        m_engine.load(QUrl(file));
        m_window = qobject_cast<QQuickWindow*>(m_engine.rootObjects().value(0));
        if (m_window == nullptr) {
            throw std::runtime_error("the window does not load");
        }
        QObject::connect(
            m_window, &QQuickWindow::beforeSynchronizing, m_window, [this] { ++m_begun; },
            Qt::DirectConnection);
        QObject::connect(m_window, &QQuickWindow::frameSwapped, m_window, [this] { m_shown = m_begun; });
        controller.connectServer(u"http://127.0.0.1:%1"_s.arg(peer.listen()));
        bool loaded = false;
        QObject::connect(&controller, &Controller::ready, m_window, [&loaded] { loaded = true; });
        waitUntil([&] { return loaded && !controller.busy(); });
        showFrame();
    }

    /// Not to be kept: a page that is not complete yet can be made anew.
    [[nodiscard]] QObject* object(const QString& name) const {
        QObject* found = nullptr;
        waitUntil([&] { return (found = m_window->findChild<QObject*>(name)) != nullptr; });
        return found;
    }

    void openTab(int index) {
        object(u"tabs"_s)->setProperty("currentIndex", index);
        showFrame();
    }

    /// Returns once what is there now is on the screen.
    void showFrame() {
        const int wanted = m_begun + 1;
        m_window->update();
        waitUntil([&] { return m_shown >= wanted; });
    }

    Peer peer;
    Controller controller;

private:
    QQmlApplicationEngine m_engine;
    QQuickWindow* m_window = nullptr;
    std::atomic<int> m_begun = 0; ///< frames that the render thread has taken over
    int m_shown = 0;
};

using Measure = std::function<double(const std::function<void()>& work)>;

double timed(const std::function<void()>& work) {
    QElapsedTimer timer;
    timer.start();
    work();
    return static_cast<double>(timer.nsecsElapsed()) / 1e9;
}

double longestWait(const std::function<void()>& work) {
    const LongestWait wait;
    work();
    return wait.seconds();
}

/// What the whole program takes of the processor: others on the machine hold up no frame here.
double worked(const std::function<void()>& work) {
    const auto now = [] {
        timespec time{};
        clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
    };
    const double begun = now();
    work();
    return now() - begun;
}

/// The longest frame on the way from the first entry to the last, as the bar is dragged: a list of rows of
/// two heights guesses anew at each step where it begins and ends.
double longestFrame(Stage& stage, QQuickItem& list) {
    constexpr int steps = 200;
    double longest = 0;
    for (int step = 0; step <= steps; ++step) {
        const double start = list.property("originY").toDouble();
        const double way = list.property("contentHeight").toDouble() - list.height();
        longest = std::max(longest, worked([&] {
                               list.setProperty("contentY", start + way * step / steps);
                               stage.showFrame();
                           }));
    }
    return longest;
}

void scroll(benchmark::State& run, const QString& file) {
    Stage stage(file, makeState(Tiny::sized(50000)));
    auto& list = *qobject_cast<QQuickItem*>(stage.object(u"entryList"_s));
    longestFrame(stage, list); // letters that are painted for the first time are made then
    for (auto _ : run) {
        run.SetIterationTime(longestFrame(stage, list));
    }
}

/// Each has other rows than the one before.
QJsonObject makeReport(int number) {
    QJsonArray rows;
    for (int i = 0; i < Tiny::sized(500); ++i) {
        rows.append(QJsonObject{{u"labels"_s, QJsonArray{u"פרויקט %1, report %2"_s.arg(i).arg(number)}},
                                {u"totals"_s, QJsonObject{{u"raw_duration_seconds"_s, 3600 + i * number},
                                                          {u"rounded_duration_seconds"_s, 3600 + i * number},
                                                          {u"amount"_s, u"%1.50"_s.arg(i)}}}});
    }
    return {{u"snapshot_id"_s, u"r%1"_s.arg(number)},
            {u"kind"_s, u"summary"_s},
            {u"group_by"_s, QJsonArray{u"project"_s}},
            {u"from_date"_s, u"2026-03-01"_s},
            {u"to_date"_s, u"2026-03-31"_s},
            {u"currency"_s, u"ILS"_s},
            {u"totals"_s, QJsonObject{{u"raw_duration_seconds"_s, 5000000}}},
            {u"rows"_s, rows}};
}

QString reportText(const QJsonObject& report) {
    QString text;
    for (const auto& row : report[u"rows"].toArray()) {
        const QJsonValue totals = row[u"totals"];
        text += u"%1\t%2\t%3\t%4\n"_s.arg(row[u"labels"][0].toString(), totals[u"amount"].toString())
                    .arg(totals[u"raw_duration_seconds"].toInt())
                    .arg(totals[u"rounded_duration_seconds"].toInt());
    }
    return text;
}

/// Of a server that lists every row of a long file: 900 KB.
QJsonObject makePreview(int number) {
    QJsonArray records;
    for (int i = 0; i < Tiny::sized(3700); ++i) {
        records.append(
            QJsonObject{{u"row"_s, i + 2},
                        {u"client"_s, u"לקוח %1"_s.arg(i % 8)},
                        {u"project"_s, u"Project %1"_s.arg(i % 40)},
                        {u"task"_s, u"Task %1"_s.arg(i % 160)},
                        {u"description"_s, u"פגישת תכנון, review of change %1 of %2"_s.arg(i).arg(number)},
                        {u"tags"_s, QJsonArray{u"salt"_s, u"sea"_s}},
                        {u"billable"_s, i % 3 == 0},
                        {u"start_at"_s, u"2026-03-05T07:00:00Z"_s},
                        {u"stop_at"_s, u"2026-03-05T08:30:00Z"_s}});
    }
    return {{u"id"_s, u"i%1"_s.arg(number)},
            {u"checksum"_s, u"c"_s},
            {u"checkpoint"_s, 0},
            {u"total"_s, records.size()},
            {u"invalid"_s, 0},
            {u"has_more"_s, true},
            {u"sample"_s, records},
            {u"new_clients"_s, QJsonArray()}};
}

QString previewText(const QJsonObject& preview) {
    return QString::fromUtf8(QJsonDocument(preview).toJson());
}

/// Measures from the request to the frame that shows all of its reply, which `shown` tells; what comes before
/// the request does not count.
void ask(
    benchmark::State& run, Stage& stage, const std::function<void()>& request, const Measure& measured,
    const std::function<bool()>& shown = [] { return true; }) {
    std::optional<double> seconds;
    QObject context;
    QObject::connect(&stage.controller, &Controller::changed, &context, [&] {
        if (stage.controller.busy() && !seconds) {
            seconds = 0;
            // Outside of the request itself, which may still hold a dialog.
            QMetaObject::invokeMethod(
                &context,
                [&] {
                    seconds = measured([&] {
                        waitUntil([&] { return !stage.controller.busy() && shown(); });
                        stage.showFrame();
                    });
                },
                Qt::QueuedConnection);
        }
    });
    request();
    waitUntil([&] { return seconds.value_or(0) > 0; });
    run.SetIterationTime(*seconds);
}

void report(benchmark::State& run, const Measure& measured) {
    Stage stage(realWindow, makeState(100));
    stage.openTab(reportTab);
    int number = 0;
    for (auto _ : run) {
        stage.peer.serveReply("/reports/summary/query", makeReport(++number), 200);
        ask(
            run, stage,
            [&] {
                stage.controller.queryReport(u"summary"_s, u"2026-03-01"_s, u"2026-03-31"_s, u"UTC"_s,
                                             u"project"_s);
            },
            measured);
        if (stage.object(u"reportList"_s)->property("count").toInt() != Tiny::sized(500)) {
            throw std::runtime_error("the report is not shown");
        }
    }
}

/// Answers the next file dialog.
void chooseSoon(const QString& file) {
    QTimer::singleShot(5, qApp, [file] {
        auto* const dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
        if (dialog == nullptr) {
            chooseSoon(file);
            return;
        }
        dialog->selectFile(file);
        QMetaObject::invokeMethod(dialog, "accept");
    });
}

void preview(benchmark::State& run, const Measure& measured) {
    Stage stage(realWindow, makeState(100));
    stage.openTab(importTab);
    QTemporaryFile file(QDir::tempPath() + u"/XXXXXX.csv"_s);
    if (!file.open() || file.write("a,b\n") != 4 || !file.flush()) {
        throw std::runtime_error("there is no file to import");
    }
    int number = 0;
    const QObject* const preview = stage.object(u"importPreview"_s);
    const auto* const reader = preview->property("reader").value<QObject*>();
    const auto shown = [&] { // to its last line
        const QString text = preview->property("text").toString();
        return reader->property("length").toInt() == text.size() &&
               text.contains(u"of change 1 of %1"_s.arg(number));
    };
    for (auto _ : run) {
        stage.peer.serveReply("/imports/csv/preview", makePreview(++number), 201);
        ask(
            run, stage,
            [&] {
                chooseSoon(file.fileName());
                stage.controller.previewCsv(u"source"_s, u"UTC"_s, true);
            },
            measured, shown);
    }
}

/// The same text in a bare window, from making it to the frame.
void plainText(benchmark::State& run, const std::function<QJsonObject(int number)>& make,
               const std::function<QString(const QJsonObject& reply)>& textOf) {
    Stage stage(plainWindow, makeState(100));
    stage.openTab(1);
    QObject* const text = stage.object(u"text"_s);
    int number = 0;
    for (auto _ : run) {
        const QJsonObject reply = make(++number);
        run.SetIterationTime(timed([&] {
            text->setProperty("text", textOf(reply));
            stage.showFrame();
        }));
    }
}

/// A window that answers later seems to have stopped.
void patience(benchmark::State& run) {
    for (auto _ : run) {
        run.SetIterationTime(0.1);
    }
}

void scrollReal(benchmark::State& run) {
    scroll(run, realWindow);
}

void scrollPlain(benchmark::State& run) {
    scroll(run, plainWindow);
}

void reportShown(benchmark::State& run) {
    report(run, timed);
}

void reportWait(benchmark::State& run) {
    report(run, longestWait);
}

void reportPlain(benchmark::State& run) {
    plainText(run, makeReport, reportText);
}

void previewShown(benchmark::State& run) {
    preview(run, timed);
}

void previewWait(benchmark::State& run) {
    preview(run, longestWait);
}

void previewPlain(benchmark::State& run) {
    plainText(run, makePreview, previewText);
}

void addPair(const std::string& name, void (*figure)(benchmark::State&), void (*floor)(benchmark::State&),
             int iterations) {
    for (const auto& [suffix, function] : {std::pair{"", figure}, std::pair{"/floor", floor}}) {
        benchmark::RegisterBenchmark((name + suffix).c_str(), function)
            ->Iterations(iterations)
            ->UseManualTime()
            ->Unit(benchmark::kMicrosecond);
    }
}

} // namespace

int main(int argc, char* argv[]) {
    const QApplication application(argc, argv);
    QQuickStyle::setStyle(u"Material"_s);
    QApplication::setFont(QFont(u"Arimo"_s, 11));
    Tiny::readOption(argc, argv);
    benchmark::Initialize(&argc, argv);
    addPair("scroll, longest frame, 50000 entries", scrollReal, scrollPlain, 1);
    addPair("report of 500 rows", reportShown, reportPlain, 4);
    addPair("report of 500 rows, longest wait", reportWait, patience, 4);
    addPair("preview of 900 KB", previewShown, previewPlain, 2);
    addPair("preview of 900 KB, longest wait", previewWait, patience, 2);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return EXIT_SUCCESS;
}
