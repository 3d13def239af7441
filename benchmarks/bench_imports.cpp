// SPDX-License-Identifier: MIT
//
// What the import of a long CSV costs: the real server over HTTP, preview and all steps,
// beside the least that brings the same records into the same table: libcsv and one
// transaction.
#include "benchmarks/reportserver.h"
#include "benchmarks/tiny.h"

#include "devserver/entries/entries.h"
#include "devserver/store/schema.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QTimeZone>
#include <QUuid>

#include <benchmark/benchmark.h>

#include <csv.h>

#include <cstdlib>
#include <functional>
#include <stdexcept>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

int rowCount() {
    return Tiny::sized(7900);
}

QByteArray csvText() {
    QByteArray text =
        "Client,Project,Task,Description,Billable,Start date,Start time,End date,End time,Tags\r\n";
    const QDateTime first(QDate(2023, 1, 2), QTime(6, 0), QTimeZone::utc());
    for (int i = 0; i < rowCount(); ++i) {
        const QDateTime start = first.addSecs(qint64{9000} * i);
        const QDateTime stop = start.addSecs(600 + i * 37 % 6000);
        text +=
            u"לקוח %1,Project %2,Task %3,\"פגישת תכנון, review of change %4\",%5,%6,%7,%8,%9,\"sea, salt\"\r\n"_s
                .arg(i % 8)
                .arg(i % 40)
                .arg(i % 160)
                .arg(i)
                .arg(i % 3 == 0 ? u"No"_s : u"Yes"_s, start.toString(u"yyyy-MM-dd"),
                     start.toString(u"HH:mm:ss"), stop.toString(u"yyyy-MM-dd"), stop.toString(u"HH:mm:ss"))
                .toUtf8();
    }
    return text;
}

double timed(const std::function<void()>& work) {
    QElapsedTimer timer;
    timer.start();
    work();
    return static_cast<double>(timer.nsecsElapsed()) / 1e9;
}

QJsonObject parsed(const std::string& reply) {
    return QJsonDocument::fromJson(QByteArray::fromStdString(reply)).object();
}

/// Each time from another source, so that nothing counts as imported already; the workspace has the entries
/// of the times before.
void import(benchmark::State& run) {
    static const ReportServer server(0);
    const QString content = QString::fromUtf8(csvText());
    for (auto _ : run) {
        const QString source = QUuid::createUuid().toString(QUuid::WithoutBraces);
        QJsonObject progress;
        run.SetIterationTime(timed([&] {
            progress = parsed(
                server.post(server.workspacePath() + "/imports/csv/preview", {{u"content"_s, content},
                                                                              {u"timezone"_s, u"UTC"_s},
                                                                              {u"source_namespace"_s, source},
                                                                              {u"assign_to_me"_s, true}}));
            while (progress.value(u"has_more").toBool()) {
                progress = parsed(
                    server.post("/v1/imports/" + progress.value(u"id").toString().toStdString() + "/apply",
                                {{u"preview_checksum"_s, progress.value(u"checksum")}, {u"limit"_s, 500}}));
            }
        }));
        if (progress.value(u"written").toInt() != rowCount()) {
            throw std::runtime_error("not every row was imported");
        }
    }
}

struct Cells {
    QList<QStringList> rows;
    QStringList row;
};

void addCell(void* cell, std::size_t size, void* cells) {
    static_cast<Cells*>(cells)->row +=
        QString::fromUtf8(static_cast<const char*>(cell), static_cast<qsizetype>(size));
}

void endRow(int /*terminator*/, void* data) {
    auto& cells = *static_cast<Cells*>(data);
    cells.rows += std::exchange(cells.row, {});
}

QList<QStringList> readBare(const QByteArray& text) {
    csv_parser parser{};
    Cells cells;
    if (csv_init(&parser, CSV_STRICT) != 0 ||
        csv_parse(&parser, text.data(), static_cast<std::size_t>(text.size()), addCell, endRow, &cells) !=
            static_cast<std::size_t>(text.size())) {
        throw std::runtime_error("the CSV cannot be read");
    }
    csv_fini(&parser, addCell, endRow, &cells);
    csv_free(&parser);
    return cells.rows;
}

devserver::Entry entryOf(const QStringList& cells, qint64 second) {
    devserver::Entry entry;
    entry.id = QUuid::createUuid().toString(QUuid::WithoutBraces);
    entry.workspaceId = devserver::developmentWorkspace;
    entry.userId = devserver::developmentUser;
    entry.description = cells.value(3);
    entry.startAt = second;
    entry.stopAt = second + 600;
    entry.version = 1;
    return entry;
}

void importBare(benchmark::State& run) {
    const QTemporaryDir folder;
    devserver::DatabaseAddress address;
    address.name = folder.filePath(u"bare.sqlite"_s);
    devserver::Connection connection(address);
    devserver::migrate(connection);
    const QByteArray text = csvText();
    for (auto _ : run) {
        run.SetIterationTime(timed([&] {
            devserver::Transaction transaction(connection, devserver::Transaction::Kind::Write);
            QList<devserver::Entry> entries;
            for (const QStringList& cells : readBare(text).sliced(1)) {
                entries += entryOf(cells, entries.size() * 9000);
            }
            devserver::insertEntries(connection, entries);
            transaction.commit();
        }));
    }
}

} // namespace

int main(int argc, char* argv[]) {
    const QCoreApplication application(argc, argv);
    Tiny::readOption(argc, argv);
    benchmark::Initialize(&argc, argv);
    const std::string name = "import of 7900 rows";
    for (const auto& [suffix, work] : {std::pair{"", &import}, std::pair{"/floor", &importBare}}) {
        benchmark::RegisterBenchmark((name + suffix).c_str(), work)
            ->Iterations(1)
            ->UseManualTime()
            ->Unit(benchmark::kMicrosecond);
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return EXIT_SUCCESS;
}
