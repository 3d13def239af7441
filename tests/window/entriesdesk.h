// SPDX-License-Identifier: MIT
#pragma once

#include "tests/window/windowfixture.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QTest>

#include <memory>

/// Two days of work in the account's zone; "e2" is the newest and booked, "e0" is locked.
[[nodiscard]] QJsonArray entries();
/// A timer since 2021-03-05T09:00:00Z.
[[nodiscard]] QJsonObject running();
[[nodiscard]] QJsonObject documentWith(const QJsonArray& entries, const QJsonObject& timer = {});

/// The English window with the list of these entries, and the hands of a person.
class EntriesDesk {
protected:
    [[nodiscard]] QQuickItem* item(const char* name) const {
        return m_fixture->item(QString::fromLatin1(name));
    }
    [[nodiscard]] QQuickItem* row(const QString& id) const;
    [[nodiscard]] QQuickItem* part(const QString& id, const char* name) const;
    [[nodiscard]] QString text(const QString& id, const char* name) const {
        return part(id, name)->property("text").toString();
    }
    [[nodiscard]] Controller& controller() const { return m_fixture->controller; }
    void focusRow(const QString& id) const;
    [[nodiscard]] bool isOpen(const char* dialog) const {
        return m_fixture->object(QString::fromLatin1(dialog))->property("opened").toBool();
    }
    void key(int key, Qt::KeyboardModifiers modifiers = {}) const {
        QTest::keyClick(m_fixture->window, static_cast<Qt::Key>(key), modifiers);
    }
    void type(const char* letters) const;
    /// The one operation that was recorded, once the controller is free.
    [[nodiscard]] QJsonObject recorded(qsizetype index = 0) const;
    void openDialog(const QString& id);

    void open();

    std::unique_ptr<WindowFixture> m_fixture;
    QQuickItem* m_list = nullptr;
};
