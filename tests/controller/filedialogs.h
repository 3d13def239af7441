// SPDX-License-Identifier: MIT
#pragma once

#include <QFileDialog>
#include <QObject>
#include <QStringList>
#include <QTimer>

#include <functional>

/// The person at the toolkit's own file dialogs. While it lives, every file
/// dialog that opens is looked at and then answered, also when the test expects
/// none: none may stay open and hold the test up.
class FileDialogs : public QObject {
    Q_OBJECT

public:
    struct Seen {
        QString title;
        QString proposedName;
        QStringList nameFilters;
        QFileDialog::AcceptMode acceptMode;
        bool hasParent;
    };

    FileDialogs();

    /// Types this path and presses Open or Save from now on; replacing an existing file is agreed to.
    void choose(const QString& path);
    /// Presses Cancel from now on, as it does from the start.
    void cancel();
    /// Runs once, after the next choice is made and before the dialog returns.
    void afterChoosing(std::function<void()> action);

    [[nodiscard]] const QList<Seen>& seen() const { return m_seen; }

private:
    void look();
    void answer(QFileDialog& dialog);

    QTimer m_timer;
    QString m_path;
    std::function<void()> m_afterChoosing;
    QList<Seen> m_seen;
};
