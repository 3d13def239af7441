// SPDX-License-Identifier: MIT
#include "tests/support/vaultfile.h"

#include <QCryptographicHash>
#include <QStandardPaths>

using namespace Qt::StringLiterals;

QString vaultFile(const QString& server) {
    const QByteArray hash = QCryptographicHash::hash(server.toUtf8(), QCryptographicHash::Sha256).toHex();
    return QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation) + u'/' +
           QString::fromLatin1(hash) + u".sqlite"_s;
}

QByteArray sealedRecord(const QString& server) {
    return SqliteFile(vaultFile(server)).run(u"SELECT payload FROM vault WHERE id=1"_s).toByteArray();
}

void replaceSealedRecord(const QString& server, const QByteArray& record) {
    SqliteFile(vaultFile(server)).run(u"UPDATE vault SET payload=? WHERE id=1"_s, {record});
}

SaveBlocker::SaveBlocker(const QString& server, How how) : m_file(vaultFile(server)), m_how(how) {
    if (how == How::Busy) {
        m_file.run(u"BEGIN EXCLUSIVE"_s);
        return;
    }
    m_file.run(u"CREATE TRIGGER refuse_insert BEFORE INSERT ON vault "
               "BEGIN SELECT RAISE(ABORT, 'refused'); END"_s);
    m_file.run(u"CREATE TRIGGER refuse_update BEFORE UPDATE ON vault "
               "BEGIN SELECT RAISE(ABORT, 'refused'); END"_s);
}

SaveBlocker::~SaveBlocker() {
    if (m_how == How::Busy) {
        m_file.run(u"ROLLBACK"_s);
        return;
    }
    m_file.run(u"DROP TRIGGER refuse_insert"_s);
    m_file.run(u"DROP TRIGGER refuse_update"_s);
}
