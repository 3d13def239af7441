// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

class QIODevice;

namespace devserver {

/// How many bytes the first sheet of a workbook has before it is compressed,
/// as the directory at the workbook's end says (PKWARE's APPNOTE.TXT, 4.3.12).
/// Throws std::runtime_error when there is no such directory or sheet.
[[nodiscard]] qint64 sheetSize(QIODevice& workbook);

} // namespace devserver
