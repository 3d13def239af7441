// SPDX-License-Identifier: MIT
#include "tests/controller/accountclient.h"
#include "tests/support/client.h"
#include "tests/support/sample.h"

#include <QJsonArray>
#include <QLoggingCategory>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

QStringList told;

void listen(QtMsgType, const QMessageLogContext& context, const QString& message) {
    if (QLatin1StringView(context.category).startsWith("timer."_L1)) {
        told.append(QLatin1StringView(context.category) + u' ' + message);
    }
}

} // namespace

/// What the logging categories tell of why a change was or was not sent, and what they never tell.
class DiagnosticsTest : public QObject {
    Q_OBJECT

    /// Signs in and records a change that stays here.
    static void work(AccountClient& client);

private Q_SLOTS:
    void init();
    void cleanup();

    void nothingIsToldUnlessAskedFor();
    void theRoadOfAChangeIsTold();
    void noContentNameIdOrTokenIsTold();
};

void DiagnosticsTest::init() {
    startClean();
    told.clear();
    qInstallMessageHandler(listen);
}

void DiagnosticsTest::cleanup() {
    qInstallMessageHandler(nullptr);
    QLoggingCategory::setFilterRules({});
}

void DiagnosticsTest::work(AccountClient& client) {
    QVERIFY(client.connectAndSettle());
    QVERIFY(client.signIn());
    QVERIFY(client.queueWork());
    QVERIFY(waitForSilence(client.controller));
}

void DiagnosticsTest::nothingIsToldUnlessAskedFor() {
    AccountClient client;
    work(client);
    QCOMPARE(told, QStringList());
}

void DiagnosticsTest::theRoadOfAChangeIsTold() {
    QLoggingCategory::setFilterRules(u"timer.*=true"_s);
    AccountClient client;
    work(client);
    const QString all = told.join(u'\n');
    for (const QString& part :
         {u"timer.vault credential store answered"_s, u"timer.vault record of"_s,
          u"timer.controller request \"GET\" \"me\""_s, u"timer.controller reply \"sync\" status 200"_s}) {
        QVERIFY2(all.contains(part), qPrintable(part + u" is missing in\n"_s + all));
    }
}

void DiagnosticsTest::noContentNameIdOrTokenIsTold() {
    QLoggingCategory::setFilterRules(u"timer.*=true"_s);
    AccountClient client;
    work(client);
    const QString words = u"Entry of Dana"_s;
    client.peer.answer("POST", u"/v1/sync/push"_s,
                       PeerReply::json({{u"results"_s, QJsonArray{QJsonObject{{u"status"_s, words}}}}}));
    client.controller.synchronize();
    QTRY_COMPARE(client.peer.requests("POST", u"/v1/sync/push"_s).size(), 1);
    QVERIFY(waitForSilence(client.controller));
    const QString all = told.join(u'\n');
    QVERIFY(!all.isEmpty());
    const QJsonObject mutation = mutationAt(client.controller, 0);
    const QString description = mutation.value(u"payload").toObject().value(u"description").toString();
    QVERIFY(!description.isEmpty());
    for (const QString& secret :
         {words, AccountClient::token(), AccountClient::password(), u"example.org"_s, description,
          mutation.value(u"mutation_id").toString(), mutation.value(u"entity_id").toString(),
          client.controller.workspace(), client.controller.accountId(), client.controller.server()}) {
        QVERIFY2(!all.contains(secret), qPrintable(secret + u" is told in\n"_s + all));
    }
}

QTEST_MAIN(DiagnosticsTest)
#include "diagnostics.moc"
