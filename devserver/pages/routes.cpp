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
    router.get(path, [type, content = file.readAll()](Request&) {
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

Answer newSessionReply(const Request& request, const WebSession& session, bool tls, bool ended = false) {
    Answer answer = sessionReply(session, ended);
    answer.headers += cookieHeader(request, session, tls);
    return answer;
}

/// Inside a transaction, for a visitor whose own page asks for the change.
Handler changes(bool tls, const Handler& change) {
    const auto identify = [tls](const Request& request) {
        const WebSession session = requireWebSession(request, tls);
        requireOwnPage(request, session, tls);
        return session.caller;
    };
    return inTransaction(Transaction::Kind::Write, identify, change);
}

QByteArray summary(const Period& period) {
    JsonWriter json;
    json.beginObject().field("id", period.id).field("status", period.status);
    return json.field("version", period.version).endObject().take();
}

QByteArray addedPeriod(Request& request) {
    const QJsonObject body = request.json();
    return summary(addPeriod(request.connection(), request.caller().userId,
                             body.value(u"workspace_id").toString(),
                             parseDate(body.value(u"date").toString())));
}

Handler stepping(PeriodStep step) {
    return [step](Request& request) {
        const QJsonObject body = request.json();
        const qint64 version = body.value(u"version").toInteger(-1);
        if (version < 0) {
            throw malformed(u"The request names no version."_s);
        }
        return summary(takeStep(request.connection(), request.caller().userId, request.part(1), step, version,
                                body.value(u"reason").toString()));
    };
}

void addTimesheetRoutes(Router& router, bool tls) {
    const auto visitorOf = [tls](const Request& request) { return requireWebSession(request, tls).caller; };
    const auto shows = [&](const std::string& path, const Handler& read) {
        router.get(path, inTransaction(Transaction::Kind::Read, visitorOf, read));
    };
    shows("/web/timesheet",
          [](Request& request) { return timesheetReply(request.connection(), request.caller()); });
    shows("/web/periods/([^/]+)", [](Request& request) {
        const QString& userId = request.caller().userId;
        const Period period = findPeriod(request.connection(), userId, request.part(1));
        return periodEntriesReply(request.connection(), userId, period);
    });
    router.post("/web/periods", changes(tls, addedPeriod));
    router.post("/web/periods/([^/]+)/submit", changes(tls, stepping(PeriodStep::Submit)));
    router.post("/web/periods/([^/]+)/approve", changes(tls, stepping(PeriodStep::Approve)));
    router.post("/web/periods/([^/]+)/reopen", changes(tls, stepping(PeriodStep::Reopen)));
}

Answer openingReply(Request& request, bool tls) {
    // A valid cookie is not sent again: arriving late, it would undo a sign-in.
    const auto session = findWebSession(request, tls);
    return session ? sessionReply(*session)
                   : newSessionReply(request, anonymousSession(), tls, hasEndedSession(request, tls));
}

Answer signInReply(Request& request, SignIn& signIn, bool tls) {
    const WebSession before = requireWebSession(request, tls);
    requireOwnPage(request, before, tls);
    if (before.caller.hasSession) {
        throw ApiError{409, u"signed_in"_s, u"Sign out first."_s};
    }
    return openAccount(
        request, signIn,
        [](const QJsonObject&) {
            return Device{u"web"_s, u"Timesheet page"_s, pageToken};
        },
        [&request, tls](const OpenedSession& opened, const QString& userId, const Device&) {
            WebSession session{opened.token, {userId, true}};
            Answer answer = newSessionReply(request, session, tls);
            wipe(session.cookie);
            return answer;
        });
}

Answer signOutReply(Request& request, bool tls) {
    if (request.caller().hasSession) {
        endSession(request.connection(), requireWebSession(request, tls).cookie);
    }
    return newSessionReply(request, anonymousSession(), tls);
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
    const auto nobody = [](const Request&) { return Caller(); };
    router.get("/web/session", inTransaction(Transaction::Kind::Read, nobody,
                                             [tls](Request& request) { return openingReply(request, tls); }));
    router.post("/web/session",
                [&signIn, tls](Request& request) { return signInReply(request, signIn, tls); });
    router.post("/web/session/end",
                changes(tls, [tls](Request& request) { return signOutReply(request, tls); }));
    addTimesheetRoutes(router, tls);
}

} // namespace devserver
