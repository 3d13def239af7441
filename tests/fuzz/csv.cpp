// SPDX-License-Identifier: MIT
// Any file that is to be imported.
#include "devserver/imports/rows.h"
#include "tests/fuzz/fuzz.h"

#include <QTimeZone>

using namespace Qt::StringLiterals;
using namespace devserver;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const QTimeZone zone("Asia/Jerusalem");
    try {
        const CsvTable table = readCsv(fuzz::bytesOf(data, size));
        const RowReader reader(table, zone);
        for (const CsvRecord& record : table.records) {
            QList<ImportProblem> problems;
            static_cast<void>(reader.isTotal(record));
            static_cast<void>(reader.userOf(record));
            const std::optional<ImportRow> row = reader.read(record, problems);
            fuzz::require(row.has_value() == problems.isEmpty(), "a row is read, or it is said why not");
            if (row) {
                fuzz::require(row->startAt <= row->stopAt, "a row ends after its start");
                const ImportRow again = rowOf(contentOf(*row), row->row);
                fuzz::require(fingerprintOf(again) == fingerprintOf(*row), "a row is kept as it is");
            }
        }
    } catch (const ApiError&) {
        // A file that cannot be used as a whole is told so.
    }
    return 0;
}
