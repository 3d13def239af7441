// SPDX-License-Identifier: MIT
#pragma once

#include "controller/controller.h"

#include <QJsonObject>
#include <QQmlApplicationEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTcpServer>

/// Nobody listens there. Each has a store of its own.
[[nodiscard]] QString deadServer();

/// The first item of this name that is drawn inside `parent`, or null. The rows of a list are children on the
/// screen only.
[[nodiscard]] QQuickItem* findDrawn(QQuickItem* parent, const QString& name);

/// The real window on a real controller, which holds what a test puts in.
class WindowFixture {
public:
    /// A test finds what it needs without opening each page and dialog first.
    enum class Pages { Made, WhenOpened };

    explicit WindowFixture(bool trayAvailable = false, Pages pages = Pages::Made);

    /// A signed-in person's document: workspace "w1", three projects and these entries.
    [[nodiscard]] static QJsonObject document(const QJsonArray& entries = {}, const QJsonArray& queue = {});
    /// `id` names the entry; it starts `minutes` after an hour far in the past.
    [[nodiscard]] static QJsonObject entry(const QString& id, int minutes = 0);
    /// A queued edit of an entry's description.
    [[nodiscard]] static QJsonObject edit(const QString& id, const QString& description);

    /// Loads a document and tells the window.
    void show(const QJsonObject& document);
    /// Unlocks the real keyring for a server whose identity check fails.
    void unlock(const QString& server = deadServer());
    /// Connects to a server that never answers: the controller stays busy.
    void keepBusy();

    /// The one visible or hidden object of this name; waits for it.
    [[nodiscard]] QQuickItem* item(const QString& name) const;
    [[nodiscard]] QObject* object(const QString& name) const;
    /// What is drawn inside `parent` and carries a text of its own.
    [[nodiscard]] static QList<QQuickItem*> textItems(const QQuickItem* parent);
    [[nodiscard]] static QStringList texts(const QQuickItem* parent);
    /// The value of an expression in the window's own scope.
    [[nodiscard]] QVariant evaluate(const QString& expression) const;
    /// Lays out what has changed, as the next frame would.
    void layOut() const;
    void openTab(int index) const;
    void click(QQuickItem* target) const;
    /// To be repeated until it shows: the display tells the window of its own pointer as well, when it likes.
    void pointAt(QPoint point) const;
    /// Presses a key, lets it repeat itself three times, and releases it.
    void hold(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) const;

    Controller controller;
    QQuickWindow* window = nullptr;

private:
    void makePages() const;

    QTcpServer m_silent;
    QQmlApplicationEngine m_engine;
};

/// What a screen reader does to a control.
void pressByAssistiveTechnology(QObject* control);

/// Prepares the process as the program's start does; call before the fixture.
void prepareApplication();
