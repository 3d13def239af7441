// SPDX-License-Identifier: MIT
#include "tests/controller/mover.h"

#include "tests/controller/migrant.h"
#include "tests/support/client.h"

#include <QDateTime>
#include <QFile>
#include <QTest>
#include <QTimeZone>

using namespace Qt::StringLiterals;

QByteArray Mover::header() {
    return "Description,Client,Project,Billable,Start date,Start time,Duration,Tags\r\n";
}

QByteArray Mover::history(int count) {
    QByteArray text = header();
    QDateTime start(QDate(2025, 6, 1), QTime(0, 0), QTimeZone::utc());
    for (int i = 0; i < count; ++i, start = start.addSecs(3600)) {
        text += "work " + QByteArray::number(i) + ",Harbour,Ferry,Yes," +
                start.toString(u"yyyy-MM-dd,HH:mm"_s).toLatin1() + ",0:30:00,\"sea, salt\"\r\n";
    }
    return text;
}

bool Mover::connectAndSettle(bool throughPeer) {
    if (!server.start()) {
        return false;
    }
    peer.forwardTo(server.url());
    controller.setReadOnly(true);
    dialogs.choose(source);
    return connectAndLoad(controller, throughPeer ? peer.url() : server.url()) && waitForSilence(controller);
}

bool Mover::writeSource(const QByteArray& bytes) const {
    QFile file(source);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

bool Mover::preview() {
    controller.previewCsv(u"old-tracker"_s, u"UTC"_s, true);
    return QTest::qWaitFor([this] { return !controller.busy(); }, 30'000);
}

bool Mover::stage(const QByteArray& bytes) {
    if (!writeSource(bytes) || !preview()) {
        return false;
    }
    peer.forgetRequests();
    return controller.message() == Migrant::previewed() && shown().value(u"invalid") == 0;
}

QJsonObject Mover::shown() const {
    return QJsonObject::fromVariantMap(controller.importPreview());
}

QString Mover::applyPath() const {
    return u"/v1/imports/%1/apply"_s.arg(shown().value(u"id").toString());
}

qsizetype Mover::steps() const {
    return peer.requests("POST", applyPath()).size();
}

qsizetype Mover::reloads() const {
    return peer.requests("GET", u"/v1/sync/snapshot"_s).size();
}

QStringList Mover::listed() const {
    QStringList descriptions;
    const QVariantList entries = controller.entries();
    for (const QVariant& entry : entries) {
        descriptions.append(entry.toMap().value(u"description"_s).toString());
    }
    descriptions.sort();
    return descriptions;
}

bool Mover::hasOnce(int count) const {
    QStringList expected;
    for (int i = 0; i < count; ++i) {
        expected.append(u"work %1"_s.arg(i));
    }
    expected.sort();
    return listed() == expected && server.entries().size() == count;
}
