// SPDX-License-Identifier: MIT
#include "tests/support/client.h"
#include "tests/support/compositor.h"
#include "tests/support/devserver.h"
#include "tests/support/program.h"
#include "tests/support/screen.h"
#include "tests/support/scriptedservice.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusReply>
#include <QDBusVariant>
#include <QSize>
#include <QTest>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

using Role = Element::Role;

const QString watcher = u"org.kde.StatusNotifierWatcher"_s;
const QString itemInterface = u"org.kde.StatusNotifierItem"_s;
const QString itemPath = u"/StatusNotifierItem"_s;
const QString menuInterface = u"com.canonical.dbusmenu"_s;

/// One picture of the icon, as a panel gets it.
struct Picture {
    int width = 0;
    int height = 0;
    QByteArray pixels;

    bool operator==(const Picture&) const = default;
};

const QDBusArgument& operator>>(const QDBusArgument& argument, Picture& picture) {
    argument.beginStructure();
    argument >> picture.width >> picture.height >> picture.pixels;
    argument.endStructure();
    return argument;
}

/// One entry of a menu, with those below it.
struct Entry {
    int id = 0;
    QVariantMap properties;
    QList<Entry> below;

    [[nodiscard]] QString label() const {
        return properties.value(u"type"_s).toString() == u"separator"_s
                   ? u"-"_s
                   : properties.value(u"label"_s).toString();
    }
};

const QDBusArgument& operator>>(const QDBusArgument& argument, Entry& entry) {
    argument.beginStructure();
    argument >> entry.id >> entry.properties;
    argument.beginArray();
    while (!argument.atEnd()) {
        QDBusVariant inner;
        argument >> inner;
        entry.below.append(qdbus_cast<Entry>(inner.variant()));
    }
    argument.endArray();
    argument.endStructure();
    return argument;
}

/// What draws the icons of programs on a desktop of today, without a screen: it knows them by the bus.
class Panel : public ScriptedService {
public:
    Panel()
        : ScriptedService(qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS"), watcher,
                          u"/StatusNotifierWatcher"_s) {
        answer(u"Introspect"_s, [](const QVariantList&) {
            return QVariantList{
                u"<node><interface name=\"%1\"><property name=\"IsStatusNotifierHostRegistered\" "
                "type=\"b\" access=\"read\"/></interface></node>"_s.arg(watcher)};
        });
        answer(u"Get"_s,
               [](const QVariantList&) { return QVariantList{QVariant::fromValue(QDBusVariant(true))}; });
        answer(u"RegisterStatusNotifierItem"_s, [this](const QVariantList& arguments) {
            m_item = arguments.value(0).toString();
            return QVariantList();
        });
    }

    [[nodiscard]] bool hasItem() const { return !m_item.isEmpty(); }
    [[nodiscard]] QList<Picture> icon() const {
        return qdbus_cast<QList<Picture>>(property(u"IconPixmap"_s));
    }
    [[nodiscard]] Entry menu() const;
    [[nodiscard]] bool click() const { return does(itemPath, itemInterface, u"Activate"_s, {0, 0}); }
    [[nodiscard]] bool choose(const QString& label) const;

private:
    [[nodiscard]] QVariant property(const QString& name) const {
        const QDBusReply<QDBusVariant> reply =
            call(itemPath, u"org.freedesktop.DBus.Properties"_s, u"Get"_s, {itemInterface, name});
        return reply.value().variant();
    }
    [[nodiscard]] QString menuPath() const { return property(u"Menu"_s).value<QDBusObjectPath>().path(); }
    [[nodiscard]] bool does(const QString& path, const QString& interface, const QString& method,
                            const QVariantList& arguments) const {
        return call(path, interface, method, arguments).type() == QDBusMessage::ReplyMessage;
    }
    [[nodiscard]] QDBusMessage call(const QString& path, const QString& interface, const QString& method,
                                    const QVariantList& arguments) const {
        QDBusMessage message = QDBusMessage::createMethodCall(m_item, path, interface, method);
        message.setArguments(arguments);
        return QDBusConnection::sessionBus().call(message);
    }

    QString m_item;
};

Entry Panel::menu() const {
    const QDBusMessage reply = call(menuPath(), menuInterface, u"GetLayout"_s, {0, -1, QStringList()});
    return reply.arguments().size() == 2 ? qdbus_cast<Entry>(reply.arguments().constLast()) : Entry();
}

bool Panel::choose(const QString& label) const {
    const QList<Entry> entries = menu().below;
    const auto entry = std::find_if(entries.begin(), entries.end(),
                                    [&label](const Entry& one) { return one.label() == label; });
    return entry != entries.end() &&
           does(menuPath(), menuInterface, u"Event"_s,
                {entry->id, u"clicked"_s, QVariant::fromValue(QDBusVariant(QString())), 0U});
}

} // namespace

/// The icon and its menu where the desktop has a panel that speaks of them on the bus.
class WaylandTrayTest : public QObject {
    Q_OBJECT

    /// Waits without asking the program anything: it asks the panel before it answers others.
    [[nodiscard]] bool start(Program& program, const Panel& panel) const;

    Compositor m_compositor;
    DevServer m_server;

private Q_SLOTS:
    void initTestCase();
    void init() { startClean(); }
    void iconTellsWhetherATimerRunsAndTheMenuStopsIt();
    void menuQuits();
    void aClickShowsTheWindowThatWasClosed();
};

void WaylandTrayTest::initTestCase() {
    QVERIFY(m_compositor.start(1, Compositor::Shell::Desktop, QSize(1160, 820)));
    QVERIFY(m_server.start());
}

bool WaylandTrayTest::start(Program& program, const Panel& panel) const {
    Compositor::show(program);
    program.setVariable(u"QT_WAYLAND_DECORATION"_s, u"bradient"_s); // which every version has
    program.start({u"--server"_s, m_server.url()});
    return QTest::qWaitFor([&] { return panel.hasItem(); }, Screen::patienceMs) &&
           QTest::qWaitFor([&] { return program.shows(Role::Label, u"Connected to PostgreSQL"_s); },
                           Screen::patienceMs);
}

void WaylandTrayTest::iconTellsWhetherATimerRunsAndTheMenuStopsIt() {
    Panel panel;
    QVERIFY(panel.appear());
    Program program;
    QVERIFY(start(program, panel));
    const QList<Picture> resting = panel.icon();
    QVERIFY(!resting.isEmpty());
    QVERIFY(std::all_of(resting.begin(), resting.end(), [](const Picture& picture) {
        return picture.width > 0 && picture.pixels.size() == qsizetype(4) * picture.width * picture.height;
    }));
    QStringList labels;
    const QList<Entry> entries = panel.menu().below;
    for (const Entry& entry : entries) {
        labels.append(entry.label());
    }
    QCOMPARE(labels, QStringList({u"Timer.Kelvaro"_s, u"Stop timer"_s, u"-"_s, u"Quit"_s}));

    QVERIFY(retry([&] { return program.usable(Role::PushButton, u"התחל"_s).press(); },
                  [&] { return panel.icon() != resting; }));
    QVERIFY(panel.choose(u"Stop timer"_s));
    const auto stopped = [this] {
        const QJsonArray all = m_server.entries();
        return all.size() == 1 && all.first().toObject().value(u"stop_at").isString();
    };
    QTRY_VERIFY_WITH_TIMEOUT(stopped(), Screen::patienceMs);
    QTRY_COMPARE_WITH_TIMEOUT(panel.icon(), resting, Screen::patienceMs);
}

void WaylandTrayTest::menuQuits() {
    Panel panel;
    QVERIFY(panel.appear());
    Program program;
    QVERIFY(start(program, panel));
    QVERIFY(panel.choose(u"Quit"_s));
    QVERIFY2(program.exitCode() == 0, program.output().constData());
}

// The frame is the program's own. A window that is larger than the screen begins in the corner, below the
// compositor's bar, and has its last button where this screen ends.
void WaylandTrayTest::aClickShowsTheWindowThatWasClosed() {
    constexpr QPoint closeButton(1149, 47);
    Panel panel;
    QVERIFY(panel.appear());
    Program program;
    QVERIFY(start(program, panel));
    const auto visible = [&program] { return program.shows(Role::PushButton, u"EN"_s); };
    QVERIFY(visible());
    QVERIFY(retry([&] { return Compositor::click(closeButton); }, [&] { return !visible(); }));
    QVERIFY(program.isRunning());
    QVERIFY(panel.click());
    QTRY_VERIFY_WITH_TIMEOUT(visible(), Screen::patienceMs);
}

QTEST_MAIN(WaylandTrayTest)
#include "waylandtray.moc"
