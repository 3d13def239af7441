// SPDX-License-Identifier: MIT
#include "devserver/exports/formats.h"

#include "devserver/base/apierror.h"

#include <array>

namespace devserver {

const ReportFormat& reportFormat(const QString& name) {
    static const std::array<ReportFormat, 4> formats{{
        {QStringLiteral("csv"), "text/csv; charset=utf-8; header=present", 0, writeCsv},
        {QStringLiteral("xlsx"), "application/vnd.openxmlformats-officedocument.spreadsheetml.sheet",
         largestSheet, writeXlsx},
        {QStringLiteral("json"), "application/json", 0, writeJson},
        {QStringLiteral("html"), "text/html; charset=utf-8", 0, writeHtml},
    }};
    for (const ReportFormat& format : formats) {
        if (format.name == name) {
            return format;
        }
    }
    throw ApiError{422, QStringLiteral("unknown_format"),
                   QStringLiteral("The format must be csv, xlsx, json or html.")};
}

} // namespace devserver
