// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QSqlDatabase>
#include <QString>

#include <optional>

/// The one record of a vault: a row in a database file that nobody else writes,
/// and a watch over that file. A commit into a file that was deleted, truncated
/// or replaced meanwhile succeeds for SQLite, but nobody would ever read it.
class RecordFile {
public:
    RecordFile();
    ~RecordFile();
    Q_DISABLE_COPY_MOVE(RecordFile)

    /// Opens the file, which is made where it is missing.
    [[nodiscard]] bool open(const QString& path);
    void close();
    [[nodiscard]] bool isOpen() const;
    /// The file was found to hold no longer what was read or written last.
    [[nodiscard]] bool isLost() const;
    /// It holds somebody else's record, found when it was to be opened again.
    [[nodiscard]] bool isReplaced() const;
    /// There was no file, or none with the table, before open().
    [[nodiscard]] bool wasMissing() const;

    /// Nothing when it cannot be read, null when there is no record.
    [[nodiscard]] std::optional<QByteArray> read();
    /// False means that the record before stands, or that the file is not ours any
    /// more. After that a file that is gone or empty is made anew, and one that holds
    /// what was read or written last is opened again; any other is left alone.
    [[nodiscard]] bool write(const QByteArray& record);
    /// The file holds what was read or written last.
    [[nodiscard]] bool isIntact();

    /// The first bytes of the record in a file that is not touched by looking:
    /// empty without one, nothing when it cannot be asked.
    [[nodiscard]] std::optional<QByteArray> markAt(const QString& path) const;

    /// Gives the file and its log another name beside this one, by the time in UTC: `open` and `write` make
    /// it anew then. Where that fails at the file itself, its log may have the other name already.
    [[nodiscard]] static bool setAside(const QString& path);

private:
    // What a look at a file from outside tells.
    struct Trace {
        quint64 device = 0;
        quint64 inode = 0;
        qint64 size = -1;
        qint64 seconds = 0;
        qint64 nanoseconds = 0;
        bool operator==(const Trace&) const = default;
        [[nodiscard]] bool goesOnFrom(const Trace& before) const;
    };
    struct Traces {
        Trace file;
        Trace log;
        bool operator==(const Traces&) const = default;
        [[nodiscard]] bool goesOnFrom(const Traces& before) const;
    };

    [[nodiscard]] static Trace traceOf(const QString& path);
    [[nodiscard]] Traces traces() const;
    [[nodiscard]] bool openDatabase();
    [[nodiscard]] bool reopen();
    [[nodiscard]] bool commit(const QByteArray& record);

    QString m_connection;
    QSqlDatabase m_database;
    QString m_path;
    bool m_open = false;
    bool m_missing = false;
    bool m_lost = false;
    bool m_replaced = false;
    QByteArray m_mark; // of what was read or written last
    Traces m_traces;   // as they were then
};
