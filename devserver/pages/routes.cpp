// SPDX-License-Identifier: MIT
#include "devserver/pages/routes.h"

#include "devserver/accounts/signin.h"
#include "devserver/base/apierror.h"
#include "devserver/base/json.h"
#include "devserver/base/time.h"
#include "devserver/base/wipe.h"
#include "devserver/http/accountroutes.h"
#include "devserver/http/router.h"
#include "devserver/pages/session.h"
#include "devserver/timesheets/periods.h"
#include "devserver/timesheets/view.h"

#include <QFile>
#include <QScopeGuard>

namespace devserver {
namespace {

// Nothing inline, nothing from elsewhere, in nobody's frame, and no text ever
// becomes markup.
const QByteArray policy = "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self';"
                          " connect-src 'self'; form-action 'none'; base-uri 'none'; frame-ancestors 'none';"
                          " require-trusted-types-for 'script'; trusted-types 'none'"_ba;

void addFile(Router& router, const std::string& path, const QString& name, const QByteArray& type) {
    QFile file(u":/web/"_s + name);
    if (!file.open(QIODevice::ReadOnly)) {
        throw std::logic_error("a file of the page was not built in");
    }
    router.get(path, Work::Own, [type, content = file.readAll()](Request&) {
        Answer answer(content);
        answer.type = type;
        answer.headers = {{"Content-Security-Policy", policy}, {"X-Frame-Options", "DENY"}};
        return answer;
    });
}

Answer sessionReply(const WebSession& session, bool ended = false) {
    JsonWriter json;
    json.beginObject().field("csrf_token", QString::fromLatin1(csrfToken(session)));
    return json.field("session_ended", ended).endObject().take();
}

Answer newSessionReply(const WebSession& session, bool tls, bool ended = false) {
    Answer answer = sessionReply(session, ended);
    answer.headers += cookieHeader(session, tls);
    return answer;
}

/// What the page reads or changes, in one transaction, for the caller whom its cookie names.
using Action = std::function<QByteArray(const Request&, const Caller&)>;

Router::Handler changing(bool tls, const Action& change) {
    return [tls, change](Request& request) {
        Transaction transaction(request.connection(), Transaction::Kind::Write);
        const WebSession session = requireWebSession(request);
        requireOwnPage(request, session, tls);
        QByteArray reply = change(request, session.caller);
        transaction.commit();
        return Answer(std::move(reply));
    };
}

Router::Handler reading(const Action& read) {
    return [read](Request& request) {
        Transaction transaction(request.connection(), Transaction::Kind::Read);
        QByteArray reply = read(request, requireWebSession(request).caller);
        transaction.commit();
        return Answer(std::move(reply));
    };
}

QByteArray summary(const Period& period) {
    JsonWriter json;
    json.beginObject().field("id", period.id).field("status", period.status);
    return json.field("version", period.version).endObject().take();
}

QByteArray addedPeriod(const Request& request, const Caller& caller) {
    const QJsonObject body = request.json();
    return summary(addPeriod(request.connection(), caller.userId, body.value(u"workspace_id").toString(),
                             parseDate(body.value(u"date").toString())));
}

Action stepping(PeriodStep step) {
    return [step](const Request& request, const Caller& caller) {
        const QJsonObject body = request.json();
        const qint64 version = body.value(u"version").toInteger(-1);
        if (version < 0) {
            throw malformed(u"The request names no version."_s);
        }
        return summary(takeStep(request.connection(), caller.userId, request.part(1), step, version,
                                body.value(u"reason").toString()));
    };
}

void addTimesheetRoutes(Router& router, bool tls) {
    router.get("/web/timesheet", Work::Own, reading([](const Request& request, const Caller& caller) {
                   return timesheetReply(request.connection(), caller);
               }));
    router.get("/web/periods/([^/]+)", Work::Own, reading([](const Request& request, const Caller& caller) {
                   Connection& connection = request.connection();
                   return periodEntriesReply(connection, caller.userId,
                                             findPeriod(connection, caller.userId, request.part(1)));
               }));
    router.post("/web/periods", Work::Own, changing(tls, addedPeriod));
    router.post("/web/periods/([^/]+)/submit", Work::Own, changing(tls, stepping(PeriodStep::Submit)));
    router.post("/web/periods/([^/]+)/approve", Work::Own, changing(tls, stepping(PeriodStep::Approve)));
    router.post("/web/periods/([^/]+)/reopen", Work::Own, changing(tls, stepping(PeriodStep::Reopen)));
}

Answer openingReply(Request& request, bool tls) {
    Transaction transaction(request.connection(), Transaction::Kind::Read);
    // A valid cookie is not sent again: arriving late, it would undo a sign-in.
    const auto session = findWebSession(request);
    Answer answer =
        session ? sessionReply(*session) : newSessionReply(anonymousSession(), tls, hasEndedSession(request));
    transaction.commit();
    return answer;
}

Answer signInReply(Request& request, SignIn& signIn, bool tls) {
    const auto forget = qScopeGuard([&request] { request.wipeBody(); });
    const WebSession before = requireWebSession(request);
    requireOwnPage(request, before, tls);
    if (before.caller.hasSession) {
        throw ApiError{409, u"signed_in"_s, u"Sign out first."_s};
    }
    return openAccount(
        request, signIn,
        [](const QJsonObject&) {
            return Device{u"web"_s, u"Timesheet page"_s, pageToken};
        },
        [tls](const OpenedSession& opened, const QString& userId, const Device&) {
            WebSession session = accountSession(opened.token, userId);
            Answer answer = newSessionReply(session, tls);
            wipe(session.cookie);
            return answer;
        });
}

Answer signOutReply(Request& request, bool tls) {
    Transaction transaction(request.connection(), Transaction::Kind::Write);
    const WebSession before = requireWebSession(request);
    requireOwnPage(request, before, tls);
    if (before.caller.hasSession) {
        endSession(request.connection(), tokenOf(before));
    }
    Answer answer = newSessionReply(anonymousSession(), tls);
    transaction.commit();
    return answer;
}

} // namespace

void addWebRoutes(Router& router, SignIn& signIn, bool tls) {
    addFile(router, "/", u"index.html"_s, "text/html; charset=utf-8");
    addFile(router, "/web/style\\.css", u"style.css"_s, "text/css; charset=utf-8");
    addFile(router, "/web/icon\\.svg", u"icon.svg"_s, "image/svg+xml");
    for (const char* script : {"page", "server", "texts", "view"}) {
        addFile(router, std::string("/web/") + script + "\\.js", QString::fromLatin1(script) + u".js"_s,
                "text/javascript; charset=utf-8");
    }
    router.get("/web/session", Work::Own, [tls](Request& request) { return openingReply(request, tls); });
    router.post("/web/session", Work::Own,
                [&signIn, tls](Request& request) { return signInReply(request, signIn, tls); });
    router.post("/web/session/end", Work::Own,
                [tls](Request& request) { return signOutReply(request, tls); });
    addTimesheetRoutes(router, tls);
}

} // namespace devserver
