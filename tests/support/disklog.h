// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QString>

#include <functional>

/// What this program writes in a folder, call by call, its libraries included: from it
/// a test makes what a power cut in any of these moments leaves. What was synced is on
/// the disk; of the rest any sector may be, and nobody knows which.
class DiskLog {
public:
    /// The files of a folder.
    using Files = QMap<QString, QByteArray>;
    /// Decides of each sector, and of each change of a file's size or name, whether it was in time.
    using Chance = std::function<bool()>;

    /// All that the folder holds now is on the disk.
    explicit DiskLog(const QString& folder);
    ~DiskLog();
    Q_DISABLE_COPY_MOVE(DiskLog)

    [[nodiscard]] qsizetype calls() const { return m_calls.size(); }
    /// What is left when the power fails after so many calls.
    [[nodiscard]] Files after(qsizetype calls, const Chance& inTime) const;

    struct Call {
        enum class Kind { Write, Resize, Sync, Remove };
        Kind kind;
        QString path;
        qint64 offset = 0; ///< of the bytes; the new size
        QByteArray bytes{};
    };
    /// Told by the calls themselves, which the broken disk stands in front of.
    [[nodiscard]] static bool isListening();
    static void note(const Call& call);

private:
    QString m_folder;
    Files m_before;
    QList<Call> m_calls;
};
