// SPDX-License-Identifier: MIT
#include "tests/controller/accountclient.h"

#include "tests/controller/filedialogs.h"
#include "tests/support/client.h"
#include "tests/support/sample.h"

#include <QFile>
#include <QJsonArray>
#include <QNetworkReply>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <memory>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

const QString userId = u"4b3c1d2e-5f60-4a71-8b92-a3b4c5d6e7f8"_s;

} // namespace

QString AccountClient::token() {
    return u"the-session-token-of-32-characters"_s;
}

QString AccountClient::password() {
    return u"correct horse battery staple"_s;
}

QString AccountClient::loginPath() {
    return u"/v1/auth/login"_s;
}

QString AccountClient::logoutPath() {
    return u"/v1/auth/logout"_s;
}

QJsonObject AccountClient::signInReply() {
    return {{u"session_token"_s, token()},
            {u"session"_s,
             QJsonObject{{u"user_id"_s, userId}, {u"id"_s, u"91827364-5a6b-4c7d-8e9f-0a1b2c3d4e5f"_s}}}};
}

QJsonObject AccountClient::personalIdentity() {
    return {{u"id"_s, userId}, {u"email"_s, u"dana@example.org"_s}, {u"auth_mode"_s, u"session"_s}};
}

QJsonObject AccountClient::errorReply(const QJsonValue& message) {
    return {{u"error"_s, QJsonObject{{u"code"_s, u"refused"_s}, {u"message"_s, message}}}};
}

AccountClient::AccountClient() {
    sample::serve(peer, sample::snapshot({sample::entry(u"entry-1"_s, u"2026-03-02T08:00:00Z"_s,
                                                        u"2026-03-02T09:00:00Z"_s)}));
    peer.answer("GET", u"/v1/me"_s, [](const PeerRequest& request) {
        return PeerReply::json(request.headers.contains("authorization") ? personalIdentity()
                                                                         : sample::identity());
    });
    peer.answer("POST", loginPath(), PeerReply::json(signInReply()));
    peer.answer("POST", logoutPath(), PeerReply::text({}, 204));
}

bool AccountClient::connectAndSettle() {
    return connectAndLoad(controller, peer.url()) && waitForSilence(controller);
}

void AccountClient::restart() {
    std::destroy_at(&controller);
    std::construct_at(&controller);
}

bool AccountClient::signIn() {
    QSignalSpy ready(&controller, &Controller::ready);
    controller.loginAccount(u"dana@example.org"_s, password());
    return ready.wait(patienceMs) && controller.accountSignedIn();
}

bool AccountClient::queueWork() {
    peer.answerOnce("GET", u"/v1/me"_s, PeerReply::json({}, 503));
    controller.start(u"Recorded offline"_s, {}, false);
    return waitForSilence(controller) && controller.pending() == 1;
}

bool AccountClient::lookAround() {
    peer.answer("POST", u"/v1/workspaces/ws-1/reports/summary/query"_s,
                PeerReply::json({{u"rows"_s, QJsonArray{QJsonObject{{u"labels"_s, QJsonArray{u"a"_s}}}}},
                                 {u"totals"_s, QJsonObject{{u"entry_count"_s, 1}}},
                                 {u"snapshot_id"_s, u"report-1"_s}}));
    peer.answer("POST", u"/v1/workspaces/ws-1/imports/csv/preview"_s,
                PeerReply::json({{u"id"_s, u"import-1"_s}, {u"checksum"_s, u"c"_s}}, 201));
    controller.queryReport(u"summary"_s, {}, {}, {}, {});
    const QTemporaryDir folder;
    QFile csv(folder.filePath(u"history.csv"_s));
    if (!waitForSilence(controller) || !csv.open(QIODevice::WriteOnly)) {
        return false;
    }
    FileDialogs dialogs;
    dialogs.choose(csv.fileName());
    controller.previewCsv(u"source"_s, u"UTC"_s, true);
    return waitForSilence(controller) && showsOldWork();
}

bool AccountClient::showsOldWork() const {
    return !controller.reportRows().isEmpty() && !controller.reportTotals().isEmpty() &&
           !controller.importPreview().isEmpty();
}

bool AccountClient::showsNoWork() const {
    return controller.reportRows().isEmpty() && controller.reportTotals().isEmpty() &&
           controller.importPreview().isEmpty();
}

bool AccountClient::isSilent() const {
    const QList<QNetworkReply*> replies = networkOf(controller).findChildren<QNetworkReply*>();
    return std::all_of(replies.begin(), replies.end(),
                       [](const QNetworkReply* reply) { return reply->isFinished(); });
}
