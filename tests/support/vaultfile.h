// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/sqlitefile.h"

#include <QByteArray>
#include <QString>

/// The database that holds the sealed state for one server.
[[nodiscard]] QString vaultFile(const QString& server);

/// The stored record as it lies on the disk; empty when there is none.
[[nodiscard]] QByteArray sealedRecord(const QString& server);
void replaceSealedRecord(const QString& server, const QByteArray& record);

/// Makes every save to the vault of one server fail as long as it lives: from a
/// second connection, so that the client meets a real error of the database.
class SaveBlocker {
public:
    enum class How {
        Refuse, ///< Every write to the table is refused.
        Busy,   ///< Another connection holds the database.
    };

    explicit SaveBlocker(const QString& server, How how = How::Refuse);
    ~SaveBlocker();
    SaveBlocker(const SaveBlocker&) = delete;
    SaveBlocker& operator=(const SaveBlocker&) = delete;

private:
    SqliteFile m_file;
    How m_how;
};
