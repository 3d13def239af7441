// SPDX-License-Identifier: MIT
#include "tests/endurance/deviceview.h"

#include "controller/controller.h"
#include "tests/support/client.h"

#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::StringLiterals;

DeviceView DeviceView::of(const Controller& client, int done) {
    return {done,
            client.message(),
            client.accountId(),
            client.workspace(),
            queueOf(client),
            client.queueReady(),
            client.secureStorage(),
            client.busy(),
            client.syncing(),
            client.accountSignedIn(),
            client.sessionRefused(),
            !client.retained().value(u"operation"_s).toString().isEmpty()};
}

DeviceView DeviceView::from(const QByteArray& line) {
    const QJsonObject view = QJsonDocument::fromJson(line).object();
    const auto is = [&view](QStringView name) { return view.value(name).toBool(); };
    return {view.value(u"done").toInt(),
            view.value(u"message").toString(),
            view.value(u"account").toString(),
            view.value(u"workspace").toString(),
            view.value(u"queue").toArray(),
            is(u"storage"),
            is(u"secure"),
            is(u"busy"),
            is(u"syncing"),
            is(u"signed_in"),
            is(u"session_refused"),
            is(u"retained")};
}

QStringList DeviceView::state() const {
    const QString head = queue.isEmpty() ? u"-"_s : queue.first()[u"status"].toString();
    const QString size = queue.size() < 3 ? QString::number(queue.size()) : u"more"_s;
    QStringList words{u"queue "_s + size, u"head "_s + head};
    const auto add = [&words](bool holds, const QString& word) {
        if (holds) {
            words.append(word);
        }
    };
    add(busy, u"busy"_s);
    add(syncing, u"syncing"_s);
    add(signedIn, u"signed in"_s);
    add(sessionRefused, u"session refused"_s);
    add(!storage, u"no storage"_s);
    return words;
}

QByteArray DeviceView::line() const {
    const QJsonObject view{
        {u"done"_s, done},         {u"message"_s, message},    {u"account"_s, account},
        {u"queue"_s, queue},       {u"storage"_s, storage},    {u"busy"_s, busy},
        {u"syncing"_s, syncing},   {u"signed_in"_s, signedIn}, {u"session_refused"_s, sessionRefused},
        {u"retained"_s, retained}, {u"secure"_s, secure},      {u"workspace"_s, workspace},
    };
    return QJsonDocument(view).toJson(QJsonDocument::Compact) + '\n';
}
