// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/imports/csvtable.h"

#include <QTimeZone>

namespace devserver {

/// Whether this is the detailed report that this server exports, in either
/// language. If so it is turned into the usual columns: its times into dates and
/// times of day, its titles into English, texts without what kept spreadsheets
/// from running them; `zone` becomes the one that its titles name.
bool adaptOwnExport(CsvTable& table, QTimeZone& zone);

} // namespace devserver
