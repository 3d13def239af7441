// SPDX-License-Identifier: MIT
#include "tests/window/windowfixture.h"

#include <QAccessible>
#include <QFont>
#include <QGuiApplication>
#include <QJsonArray>
#include <QQmlContext>
#include <QQmlExpression>
#include <QQuickStyle>
#include <QTest>
#include <QtQml/QQmlExtensionPlugin>

using namespace Qt::StringLiterals;

Q_IMPORT_QML_PLUGIN(TimerKelvaroPlugin)

QQuickItem* findDrawn(QQuickItem* parent, const QString& name) {
    const auto children = parent->childItems();
    for (QQuickItem* const child : children) {
        if (child->objectName() == name) {
            return child;
        }
        if (QQuickItem* const found = findDrawn(child, name)) {
            return found;
        }
    }
    return nullptr;
}

QString deadServer() {
    static int count = 0;
    return u"http://127.0.0.%1:9"_s.arg(++count);
}

void pressByAssistiveTechnology(QObject* control) {
    QAccessibleInterface* const found = QAccessible::queryAccessibleInterface(control);
    found->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
}

void prepareApplication() {
    QCoreApplication::setApplicationName(u"TimerKelvaro"_s);
    QCoreApplication::setOrganizationName(u"Kelvaro"_s);
    QQuickStyle::setStyle(u"Material"_s);
    QGuiApplication::setFont(QFont(u"Arimo"_s, 11));
}

WindowFixture::WindowFixture(bool trayAvailable, Pages pages) {
    m_engine.addImportPath(u":/qt/qml"_s);
    m_engine.rootContext()->setContextProperty(u"controller"_s, &controller);
    m_engine.rootContext()->setContextProperty(u"trayAvailable"_s, trayAvailable);
    m_engine.load(QUrl(u"qrc:/qt/qml/TimerKelvaro/Main.qml"_s));
    if (m_engine.rootObjects().isEmpty()) {
        qFatal("the window did not load");
    }
    window = qobject_cast<QQuickWindow*>(m_engine.rootObjects().constFirst());
    if (!QTest::qWaitForWindowExposed(window)) {
        qFatal("the window did not show");
    }
    window->requestActivate();
    if (pages == Pages::Made) {
        makePages();
    }
}

QJsonObject WindowFixture::document(const QJsonArray& entries, const QJsonArray& queue) {
    const auto named = [](const QString& id, const QString& name) {
        return QJsonObject{{u"id"_s, id}, {u"name"_s, name}};
    };
    const QJsonArray projects{named(u"p1"_s, u"One"_s), named(u"p2"_s, u"Two"_s), named(u"p3"_s, u"Three"_s)};
    const QJsonObject submitted{
        {u"id"_s, u"s1"_s},
        {u"workspace_id"_s, u"w1"_s},
        {u"user_id"_s, u"u1"_s},
        {u"status"_s, u"submitted"_s},
        {u"start_at"_s, u"2020-01-01T00:00:00Z"_s},
        {u"end_at"_s, u"2020-02-01T00:00:00Z"_s},
        {u"from_date"_s, u"2020-01-01"_s},
        {u"to_date"_s, u"2020-01-31"_s},
        {u"timezone"_s, u"Asia/Jerusalem"_s},
        {u"version"_s, 2},
    };
    const QJsonObject snapshot{
        {u"time_entries"_s, entries},
        {u"catalog"_s, QJsonObject{{u"projects"_s, projects}}},
        {u"timesheet_periods"_s, QJsonArray{submitted}},
    };
    return {
        {u"me"_s, QJsonObject{{u"id"_s, u"u1"_s}, {u"email"_s, u"dana@example.com"_s}}},
        {u"workspaces"_s, QJsonArray{named(u"w1"_s, u"Studio"_s), named(u"w2"_s, u"Garden"_s)}},
        {u"workspace"_s, u"w1"_s},
        {u"snapshot"_s, snapshot},
        {u"queue"_s, queue},
    };
}

QJsonObject WindowFixture::entry(const QString& id, int minutes) {
    const QDateTime start = QDateTime::fromString(u"2021-03-01T09:00:00Z"_s, Qt::ISODate);
    const auto text = [&start](int minute) {
        return start.addSecs(qint64{60} * minute).toString(Qt::ISODate);
    };
    return {
        {u"id"_s, id},
        {u"workspace_id"_s, u"w1"_s},
        {u"user_id"_s, u"u1"_s},
        {u"description"_s, u"Work "_s + id},
        {u"start_at"_s, text(minutes)},
        {u"stop_at"_s, text(minutes + 1)},
        {u"duration_seconds"_s, 60},
        {u"version"_s, 1},
    };
}

QJsonObject WindowFixture::edit(const QString& id, const QString& description) {
    const QJsonObject mutation{
        {u"mutation_id"_s, u"m-"_s + id},
        {u"device_id"_s, u"d1"_s},
        {u"workspace_id"_s, u"w1"_s},
        {u"entity_id"_s, id},
        {u"base_version"_s, 1},
        {u"operation"_s, u"entry.update"_s},
        {u"payload"_s, QJsonObject{{u"description"_s, description}}},
    };
    return {{u"status"_s, u"pending"_s}, {u"mutation"_s, mutation}};
}

void WindowFixture::makePages() const {
    const auto objects = window->findChildren<QObject*>();
    for (QObject* const object : objects) {
        // Only what is loaded from a file: other loaders make what they show.
        if (object->inherits("QQuickLoader") && object->property("file").isValid() &&
            !QMetaObject::invokeMethod(object, "made")) {
            qFatal("a page was not made");
        }
    }
}

void WindowFixture::show(const QJsonObject& document) {
    controller.applyDurable(document);
    Q_EMIT controller.changed();
}

void WindowFixture::unlock(const QString& server) {
    controller.connectServer(server);
    if (!QTest::qWaitFor([this] { return controller.secureStorage() && !controller.busy(); })) {
        qFatal("the keyring did not unlock");
    }
}

void WindowFixture::keepBusy() {
    if (!m_silent.listen(QHostAddress::LocalHost)) {
        qFatal("no port to listen on");
    }
    controller.setReadOnly(true);
    controller.connectServer(u"http://127.0.0.1:%1"_s.arg(m_silent.serverPort()));
}

QObject* WindowFixture::object(const QString& name) const {
    QObject* found = nullptr;
    if (!QTest::qWaitFor([&] { return (found = window->findChild<QObject*>(name)) != nullptr; })) {
        qFatal("no %s in the window", qPrintable(name));
    }
    return found;
}

QQuickItem* WindowFixture::item(const QString& name) const {
    QQuickItem* found = nullptr;
    const bool there = QTest::qWaitFor([&] {
        found = findDrawn(window->contentItem(), name);
        if (!found) {
            found = window->findChild<QQuickItem*>(name);
        }
        return found != nullptr;
    });
    if (!there) {
        qFatal("no %s in the window", qPrintable(name));
    }
    return found;
}

QList<QQuickItem*> WindowFixture::textItems(const QQuickItem* parent) {
    QList<QQuickItem*> found;
    const auto children = parent->childItems();
    for (QQuickItem* const child : children) {
        // What was spoken is not on the screen, and stays in the language of its moment.
        if (!child->isVisible() || child->inherits("Announcer")) {
            continue;
        }
        if (!child->property("text").toString().isEmpty()) {
            found.append(child);
        }
        found.append(textItems(child));
    }
    return found;
}

QStringList WindowFixture::texts(const QQuickItem* parent) {
    QStringList all;
    const auto items = textItems(parent);
    for (const QQuickItem* const item : items) {
        all.append(item->property("text").toString());
    }
    return all;
}

QVariant WindowFixture::evaluate(const QString& expression) const {
    QQmlExpression code(qmlContext(window), window, expression);
    QVariant value = code.evaluate();
    if (code.hasError()) {
        qFatal("%s", qPrintable(code.error().toString()));
    }
    return value;
}

void WindowFixture::layOut() const {
    if (window->grabWindow().isNull()) {
        qFatal("no frame");
    }
}

void WindowFixture::openTab(int index) const {
    object(u"tabs"_s)->setProperty("currentIndex", index);
    layOut();
}

void WindowFixture::click(QQuickItem* target) const {
    layOut();
    const QPointF centre = target->mapToScene(QPointF(target->width() / 2, target->height() / 2));
    QTest::mouseClick(window, Qt::LeftButton, {}, centre.toPoint());
}

void WindowFixture::pointAt(QPoint point) const {
    // A move to where the pointer is said to be already would be none.
    QTest::mouseMove(window, point + QPoint(1, 1));
    QTest::mouseMove(window, point);
}

void WindowFixture::hold(Qt::Key key, Qt::KeyboardModifiers modifiers) const {
    for (const bool repeated : {false, true, true, true}) {
        QTest::simulateEvent(window, true, key, modifiers, {}, repeated);
    }
    QTest::simulateEvent(window, false, key, modifiers, {}, false);
}
