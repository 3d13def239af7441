// SPDX-License-Identifier: MIT
#include "tests/support/vaultfile.h"

#include <QCryptographicHash>
#include <QStandardPaths>

QString vaultFile(const QString& server) {
    const QByteArray hash = QCryptographicHash::hash(server.toUtf8(), QCryptographicHash::Sha256).toHex();
    return QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation) + u'/' +
           QString::fromLatin1(hash) + QStringLiteral(".sqlite");
}

QByteArray sealedRecord(const QString& server) {
    return SqliteFile(vaultFile(server))
        .run(QStringLiteral("SELECT payload FROM vault WHERE id=1"))
        .toByteArray();
}

void replaceSealedRecord(const QString& server, const QByteArray& record) {
    SqliteFile(vaultFile(server)).run(QStringLiteral("UPDATE vault SET payload=? WHERE id=1"), {record});
}

SaveBlocker::SaveBlocker(const QString& server, How how) : m_file(vaultFile(server)), m_how(how) {
    if (how == How::Busy) {
        m_file.run(QStringLiteral("BEGIN EXCLUSIVE"));
        return;
    }
    m_file.run(QStringLiteral("CREATE TRIGGER refuse_insert BEFORE INSERT ON vault "
                              "BEGIN SELECT RAISE(ABORT, 'refused'); END"));
    m_file.run(QStringLiteral("CREATE TRIGGER refuse_update BEFORE UPDATE ON vault "
                              "BEGIN SELECT RAISE(ABORT, 'refused'); END"));
}

SaveBlocker::~SaveBlocker() {
    if (m_how == How::Busy) {
        m_file.run(QStringLiteral("ROLLBACK"));
        return;
    }
    m_file.run(QStringLiteral("DROP TRIGGER refuse_insert"));
    m_file.run(QStringLiteral("DROP TRIGGER refuse_update"));
}
