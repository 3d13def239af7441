// SPDX-License-Identifier: MIT
// A client without a window, as a program of its own that can be killed: each line of
// its standard input is something that a person does, and whatever the person could
// see then is told on its standard output.
#include "controller/controller.h"
#include "tests/controller/accountserver.h"
#include "tests/controller/filedialogs.h"
#include "tests/endurance/deviceview.h"
#include "tests/endurance/reporting.h"

#include <QApplication>
#include <QDateTime>
#include <QFile>
#include <QSocketNotifier>

#include <functional>

using namespace Qt::StringLiterals;

namespace {

using Act = std::function<void(Controller& client, const QString& what)>;

/// The entry that stands at this place of the list, counted round and round.
QString entryAt(const Controller& client, const QString& place) {
    const QVariantList entries = client.entries();
    return entries.isEmpty() ? QString()
                             : entries.at(place.toInt() % entries.size()).toMap().value(u"id"_s).toString();
}

void addManual(Controller& client, const QString& text) {
    const QDateTime end = QDateTime::currentDateTimeUtc().addSecs(-60);
    client.addManual(text, {}, end.addSecs(-600).toString(Qt::ISODate), end.toString(Qt::ISODate), false);
}

/// An hour earlier, or less.
void moveEntry(Controller& client, const QString& place) {
    const QString id = entryAt(client, place);
    const QVariantList entries = client.entries();
    for (const QVariant& entry : entries) {
        if (entry.toMap().value(u"id"_s) == id) {
            const QDateTime start =
                QDateTime::fromString(entry.toMap().value(u"start_at"_s).toString(), Qt::ISODate);
            client.editEntry(id,
                             {{u"start_at"_s, start.addSecs(-180 * place.toInt()).toString(Qt::ISODate)}});
        }
    }
}

void selectWorkspace(Controller& client, const QString& place) {
    const QVariantList workspaces = client.workspaces();
    if (!workspaces.isEmpty()) {
        client.selectWorkspace(
            workspaces.at(place.toInt() % workspaces.size()).toMap().value(u"id"_s).toString());
    }
}

const QHash<QString, Act>& acts() {
    static const QHash<QString, Act> all{
        {u"connect"_s, [](Controller& client, const QString& url) { client.connectServer(url); }},
        {u"start"_s, [](Controller& client, const QString& text) { client.start(text, {}, false); }},
        {u"stop"_s, [](Controller& client, const QString&) { client.stop(); }},
        {u"toggle"_s, [](Controller& client, const QString& text) { client.toggleTimer(text, {}, true); }},
        {u"manual"_s, addManual},
        {u"edit"_s,
         [](Controller& client, const QString& text) {
             client.editDescription(entryAt(client, text.section(u'-', -1)), text);
         }},
        {u"delete"_s,
         [](Controller& client, const QString& place) { client.deleteEntry(entryAt(client, place)); }},
        {u"undo"_s, [](Controller& client, const QString&) { client.undoDelete(); }},
        {u"continue"_s,
         [](Controller& client, const QString& place) { client.continueEntry(entryAt(client, place)); }},
        {u"sync"_s, [](Controller& client, const QString&) { client.synchronize(); }},
        {u"refresh"_s, [](Controller& client, const QString&) { client.refresh(); }},
        {u"sign-in"_s, [](Controller& client,
                          const QString& email) { client.loginAccount(email, AccountServer::password()); }},
        {u"sign-out"_s, [](Controller& client, const QString&) { client.logoutAccount(); }},
        {u"renew"_s, [](Controller& client,
                        const QString& email) { client.renewSession(email, AccountServer::password()); }},
        {u"resend"_s, [](Controller& client, const QString&) { client.resendRetained(); }},
        {u"remove-retained"_s, [](Controller& client, const QString&) { client.removeRetained(); }},
        {u"remove-pending"_s, [](Controller& client, const QString&) { client.removePending(); }},
        {u"move"_s, moveEntry},
        {u"workspace"_s, selectWorkspace},
        {u"report"_s, [](Controller& client, const QString& kind) { askForReport(client, kind); }},
        {u"download"_s, [](Controller& client, const QString&) { client.downloadReport(u"csv"_s); }},
        {u"import"_s,
         [](Controller& client, const QString&) { client.previewCsv(u"old-tracker"_s, u"UTC"_s, true); }},
        {u"apply-import"_s, [](Controller& client, const QString&) { client.applyImport(); }},
        {u"pause-import"_s, [](Controller& client, const QString&) { client.pauseImport(); }},
    };
    return all;
}

/// Each line goes out by one call, so that a kill leaves none that is half.
void tell(QFile& out, const Controller& client, int done) {
    const QByteArray line = DeviceView::of(client, done).line();
    if (out.write(line) != line.size()) {
        qFatal("Nobody listens.");
    }
}

} // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false); // which is a file dialog
    QCoreApplication::setOrganizationName(u"Kelvaro"_s);
    QCoreApplication::setApplicationName(u"TimerKelvaro"_s);
    QFile in;
    QFile out;
    if (!in.open(0, QIODevice::ReadOnly | QIODevice::Unbuffered) ||
        !out.open(1, QIODevice::WriteOnly | QIODevice::Unbuffered)) {
        return EXIT_FAILURE;
    }
    Controller client;
    FileDialogs dialogs;
    int done = 0;
    QObject::connect(&client, &Controller::changed, &application, [&] { tell(out, client, done); });
    const QSocketNotifier lines(0, QSocketNotifier::Read);
    QObject::connect(&lines, &QSocketNotifier::activated, &application, [&] {
        const QString line = QString::fromUtf8(in.readLine()).trimmed();
        if (line.isEmpty()) {
            QCoreApplication::quit();
            return;
        }
        const QString what = line.section(u' ', 1);
        dialogs.choose(what);
        acts().value(line.section(u' ', 0, 0))(client, what);
        ++done;
        tell(out, client, done);
    });
    return QCoreApplication::exec();
}
