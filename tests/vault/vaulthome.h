// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QSqlDatabase>
#include <QString>
#include <QStringList>
#include <QVariantList>

class Vault;

/// What a test sees of a vault from outside: its files, its row, its key.
namespace VaultHome {

/// The program's names, which decide where its data lies.
void nameApplication();

/// Unlocks and waits: empty when ready, else what unavailable() said.
[[nodiscard]] QString unlock(Vault& vault, const QString& scope);

[[nodiscard]] QString directory();
[[nodiscard]] QString hashOf(const QString& scope);
[[nodiscard]] QString databaseFile(const QString& scope);
[[nodiscard]] QByteArray context(const QString& scope);
[[nodiscard]] QByteArray accountAwareContext(const QString& scope);

/// The stored record by a connection of its own; null without one.
[[nodiscard]] QByteArray record(const QString& scope);
[[nodiscard]] bool setRecord(const QString& scope, const QByteArray& record);

/// The credential store's entry, as any program of the user can reach it.
[[nodiscard]] QByteArray storedKey(const QString& scope);
[[nodiscard]] bool storeKey(const QString& scope, const QByteArray& key);
[[nodiscard]] bool deleteKey(const QString& scope);

/// A second connection to a database file, gone at the end of the block.
class Connection {
public:
    explicit Connection(const QString& file);
    ~Connection();
    Q_DISABLE_COPY_MOVE(Connection)

    /// All values of the first column; fails the test with the reason if the statement does.
    QVariantList run(const QString& statement, const QVariantList& values = {});

private:
    QString m_name;
};

} // namespace VaultHome
