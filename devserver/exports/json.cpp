// SPDX-License-Identifier: MIT
#include "devserver/exports/formats.h"

#include <stdexcept>

namespace devserver {

void writeJson(SnapshotReader& report, ExportFile& to) {
    QByteArray start = report.header();
    if (start.size() < 3 || !start.endsWith('}')) {
        throw std::runtime_error("the header of the report is not a JSON object");
    }
    start.chop(1);
    to.write(start + ",\"rows\":[");
    QByteArray before = "\n";
    while (const auto row = report.next()) {
        to.write(before + *row);
        before = ",\n";
    }
    to.write("]}\n");
}

} // namespace devserver
