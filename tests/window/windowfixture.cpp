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

Q_IMPORT_QML_PLUGIN(TimerKelvaroPlugin)

namespace {

/// The rows of a list are children on the screen only.
QQuickItem* findDrawn(QQuickItem* parent, const QString& name) {
    const auto children = parent->childItems();
    for (QQuickItem* const child : children) {
        if (child->objectName() == name)
            return child;
        if (QQuickItem* const found = findDrawn(child, name))
            return found;
    }
    return nullptr;
}

} // namespace

QString deadServer() {
    static int count = 0;
    return QStringLiteral("http://127.0.0.%1:9").arg(++count);
}

void pressByAssistiveTechnology(QObject* control) {
    QAccessibleInterface* const found = QAccessible::queryAccessibleInterface(control);
    found->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
}

void prepareApplication() {
    QCoreApplication::setApplicationName(QStringLiteral("TimerKelvaro"));
    QCoreApplication::setOrganizationName(QStringLiteral("Kelvaro"));
    QQuickStyle::setStyle(QStringLiteral("Material"));
    QGuiApplication::setFont(QFont(QStringLiteral("Arimo"), 11));
}

WindowFixture::WindowFixture(bool trayAvailable) {
    m_engine.addImportPath(QStringLiteral(":/qt/qml"));
    m_engine.rootContext()->setContextProperty(QStringLiteral("controller"), &controller);
    m_engine.rootContext()->setContextProperty(QStringLiteral("trayAvailable"), trayAvailable);
    m_engine.load(QUrl(QStringLiteral("qrc:/qt/qml/TimerKelvaro/Main.qml")));
    if (m_engine.rootObjects().isEmpty())
        qFatal("the window did not load");
    window = qobject_cast<QQuickWindow*>(m_engine.rootObjects().constFirst());
    if (!QTest::qWaitForWindowExposed(window))
        qFatal("the window did not show");
    window->requestActivate();
    if (!QTest::qWaitFor([this] { return pagesAreMade(); }))
        qFatal("the pages were not made");
}

QJsonObject WindowFixture::document(const QJsonArray& entries, const QJsonArray& queue) {
    const auto named = [](const QString& id, const QString& name) {
        return QJsonObject{{QStringLiteral("id"), id}, {QStringLiteral("name"), name}};
    };
    const QJsonArray projects{named(QStringLiteral("p1"), QStringLiteral("One")),
                              named(QStringLiteral("p2"), QStringLiteral("Two")),
                              named(QStringLiteral("p3"), QStringLiteral("Three"))};
    const QJsonObject submitted{
        {QStringLiteral("id"), QStringLiteral("s1")},
        {QStringLiteral("workspace_id"), QStringLiteral("w1")},
        {QStringLiteral("user_id"), QStringLiteral("u1")},
        {QStringLiteral("status"), QStringLiteral("submitted")},
        {QStringLiteral("start_at"), QStringLiteral("2020-01-01T00:00:00Z")},
        {QStringLiteral("end_at"), QStringLiteral("2020-02-01T00:00:00Z")},
        {QStringLiteral("from_date"), QStringLiteral("2020-01-01")},
        {QStringLiteral("to_date"), QStringLiteral("2020-01-31")},
        {QStringLiteral("timezone"), QStringLiteral("Asia/Jerusalem")},
        {QStringLiteral("version"), 2},
    };
    const QJsonObject snapshot{
        {QStringLiteral("time_entries"), entries},
        {QStringLiteral("catalog"), QJsonObject{{QStringLiteral("projects"), projects}}},
        {QStringLiteral("timesheet_periods"), QJsonArray{submitted}},
    };
    return {
        {QStringLiteral("me"), QJsonObject{{QStringLiteral("id"), QStringLiteral("u1")},
                                           {QStringLiteral("email"), QStringLiteral("dana@example.com")}}},
        {QStringLiteral("workspaces"), QJsonArray{named(QStringLiteral("w1"), QStringLiteral("Studio")),
                                                  named(QStringLiteral("w2"), QStringLiteral("Garden"))}},
        {QStringLiteral("workspace"), QStringLiteral("w1")},
        {QStringLiteral("snapshot"), snapshot},
        {QStringLiteral("queue"), queue},
    };
}

QJsonObject WindowFixture::entry(const QString& id, int minutes) {
    const QDateTime start = QDateTime::fromString(QStringLiteral("2021-03-01T09:00:00Z"), Qt::ISODate);
    const auto text = [&start](int minute) {
        return start.addSecs(qint64{60} * minute).toString(Qt::ISODate);
    };
    return {
        {QStringLiteral("id"), id},
        {QStringLiteral("workspace_id"), QStringLiteral("w1")},
        {QStringLiteral("user_id"), QStringLiteral("u1")},
        {QStringLiteral("description"), QStringLiteral("Work ") + id},
        {QStringLiteral("start_at"), text(minutes)},
        {QStringLiteral("stop_at"), text(minutes + 1)},
        {QStringLiteral("duration_seconds"), 60},
        {QStringLiteral("version"), 1},
    };
}

QJsonObject WindowFixture::edit(const QString& id, const QString& description) {
    const QJsonObject mutation{
        {QStringLiteral("mutation_id"), QStringLiteral("m-") + id},
        {QStringLiteral("device_id"), QStringLiteral("d1")},
        {QStringLiteral("workspace_id"), QStringLiteral("w1")},
        {QStringLiteral("entity_id"), id},
        {QStringLiteral("base_version"), 1},
        {QStringLiteral("operation"), QStringLiteral("entry.update")},
        {QStringLiteral("payload"), QJsonObject{{QStringLiteral("description"), description}}},
    };
    return {{QStringLiteral("status"), QStringLiteral("pending")}, {QStringLiteral("mutation"), mutation}};
}

bool WindowFixture::pagesAreMade() const {
    constexpr int ready = 1;
    const auto objects = window->findChildren<QObject*>();
    return std::all_of(objects.cbegin(), objects.cend(), [](const QObject* object) {
        return !object->inherits("QQuickLoader") || object->property("status").toInt() == ready;
    });
}

void WindowFixture::show(const QJsonObject& document) {
    controller.applyDurable(document);
    Q_EMIT controller.changed();
}

void WindowFixture::unlock(const QString& server) {
    controller.connectServer(server);
    if (!QTest::qWaitFor([this] { return controller.secureStorage() && !controller.busy(); }))
        qFatal("the keyring did not unlock");
}

void WindowFixture::keepBusy() {
    if (!m_silent.listen(QHostAddress::LocalHost))
        qFatal("no port to listen on");
    controller.setReadOnly(true);
    controller.connectServer(QStringLiteral("http://127.0.0.1:%1").arg(m_silent.serverPort()));
}

QObject* WindowFixture::object(const QString& name) const {
    QObject* found = nullptr;
    if (!QTest::qWaitFor([&] { return (found = window->findChild<QObject*>(name)) != nullptr; }))
        qFatal("no %s in the window", qPrintable(name));
    return found;
}

QQuickItem* WindowFixture::item(const QString& name) const {
    QQuickItem* found = nullptr;
    const bool there = QTest::qWaitFor([&] {
        found = findDrawn(window->contentItem(), name);
        if (!found)
            found = window->findChild<QQuickItem*>(name);
        return found != nullptr;
    });
    if (!there)
        qFatal("no %s in the window", qPrintable(name));
    return found;
}

QList<QQuickItem*> WindowFixture::textItems(const QQuickItem* parent) {
    QList<QQuickItem*> found;
    const auto children = parent->childItems();
    for (QQuickItem* const child : children) {
        // What was spoken is not on the screen, and stays in the language of its moment.
        if (!child->isVisible() || child->inherits("Announcer"))
            continue;
        if (!child->property("text").toString().isEmpty())
            found.append(child);
        found.append(textItems(child));
    }
    return found;
}

QStringList WindowFixture::texts(const QQuickItem* parent) {
    QStringList all;
    const auto items = textItems(parent);
    for (const QQuickItem* const item : items)
        all.append(item->property("text").toString());
    return all;
}

QVariant WindowFixture::evaluate(const QString& expression) const {
    QQmlExpression code(qmlContext(window), window, expression);
    QVariant value = code.evaluate();
    if (code.hasError())
        qFatal("%s", qPrintable(code.error().toString()));
    return value;
}

void WindowFixture::layOut() const {
    if (window->grabWindow().isNull())
        qFatal("no frame");
}

void WindowFixture::openTab(int index) const {
    object(QStringLiteral("tabs"))->setProperty("currentIndex", index);
    layOut();
}

void WindowFixture::click(QQuickItem* target) const {
    layOut();
    const QPointF centre = target->mapToScene(QPointF(target->width() / 2, target->height() / 2));
    QTest::mouseClick(window, Qt::LeftButton, {}, centre.toPoint());
}

void WindowFixture::hold(Qt::Key key, Qt::KeyboardModifiers modifiers) const {
    for (const bool repeated : {false, true, true, true})
        QTest::simulateEvent(window, true, key, modifiers, {}, repeated);
    QTest::simulateEvent(window, false, key, modifiers, {}, false);
}
