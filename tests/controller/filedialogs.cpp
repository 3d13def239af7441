// SPDX-License-Identifier: MIT
#include "tests/controller/filedialogs.h"

#include <QApplication>
#include <QDialogButtonBox>
#include <QFileInfo>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QtTest/QTest>

#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr int lookMs = 5;

void press(QAbstractButton* button) {
    if (button) {
        QTest::mouseClick(button, Qt::LeftButton);
    }
}

} // namespace

FileDialogs::FileDialogs() {
    connect(&m_timer, &QTimer::timeout, this, &FileDialogs::look);
    m_timer.setSingleShot(true);
    m_timer.start(lookMs);
}

void FileDialogs::choose(const QString& path) {
    m_path = path;
}

void FileDialogs::cancel() {
    m_path.clear();
}

void FileDialogs::afterChoosing(std::function<void()> action) {
    m_afterChoosing = std::move(action);
}

void FileDialogs::look() {
    // Started anew, because a timer does not fire inside its own slot, and a
    // pressed Save may ask its question from there.
    m_timer.start(lookMs);
    QWidget* const modal = QApplication::activeModalWidget();
    if (auto* const question = qobject_cast<QMessageBox*>(modal)) {
        press(question->button(QMessageBox::Yes));
        press(question->button(QMessageBox::Ok));
        return;
    }
    if (auto* const dialog = qobject_cast<QFileDialog*>(modal)) {
        answer(*dialog);
    }
}

void FileDialogs::answer(QFileDialog& dialog) {
    auto* const name = dialog.findChild<QLineEdit*>(u"fileNameEdit"_s);
    const auto* const buttons = dialog.findChild<QDialogButtonBox*>();
    if (!name || !buttons) {
        dialog.reject();
        return;
    }
    m_seen.append({dialog.windowTitle(), name->text(), dialog.nameFilters(), dialog.acceptMode(),
                   dialog.parentWidget() != nullptr});
    if (m_path.isEmpty()) {
        press(buttons->button(QDialogButtonBox::Cancel));
        return;
    }
    if (m_afterChoosing) {
        connect(&dialog, &QFileDialog::accepted, this, std::exchange(m_afterChoosing, {}));
    }
    name->setText(m_path);
    const bool saving = dialog.acceptMode() == QFileDialog::AcceptSave;
    press(buttons->button(saving ? QDialogButtonBox::Save : QDialogButtonBox::Open));
    if (dialog.isVisible()) {
        // The name was refused: a person would give up here.
        dialog.reject();
    }
}
