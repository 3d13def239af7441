// SPDX-License-Identifier: MIT
#include "devserver/store/schema.h"
#include "tests/devserver/testserver.h"
#include "tests/support/authority.h"

#include <QJsonDocument>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

QStringList with(const QString& certificate, const QString& key) {
    return {u"--listen"_s, u"127.0.0.1:0"_s, u"--tls-certificate"_s, certificate, u"--tls-key"_s, key};
}

} // namespace

/// https on the same routes.
class TestDevserverTls : public QObject {
    Q_OBJECT

    Authority m_authority;
    TestDatabase m_database;

    [[nodiscard]] std::unique_ptr<httplib::Client> client(const TestServer& server) const {
        auto made = std::make_unique<httplib::Client>(server.url().toStdString());
        made->set_keep_alive(true);
        made->set_ca_cert_path(m_authority.root().toLocal8Bit().constData());
        return made;
    }
    void refuses(const QString& certificate, const QString& key, const QString& sentence);

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_authority.isReady()); }
    void itServesHttps();
    void itIsRefusedByWhoDoesNotTrustTheAuthority();
    void itSpeaksTls12AndLaterOnly();
    void plainHttpGetsNothing();
    void aLargeReplyArrivesWhole();
    void signalsEndItCleanlyWithIdleConnections();
    void filesThatCannotBeUsedAreOneSentence();
    void aKeyOfAnotherKindIsRefused();
    void aCertificateWithoutItsKeyIsAMistake();
};

void TestDevserverTls::itServesHttps() {
    TestServer server;
    QVERIFY(server.start(m_database, m_authority.options()));
    QVERIFY2(server.url().startsWith(u"https://127.0.0.1:"), qPrintable(server.url()));
    const auto http = client(server);
    for (int i = 0; i < 3; ++i) {
        const auto reply = http->Get("/v1/me");
        QVERIFY(reply);
        QCOMPARE(reply->status, 200);
    }
}

void TestDevserverTls::itIsRefusedByWhoDoesNotTrustTheAuthority() {
    TestServer server;
    QVERIFY(server.start(m_database, m_authority.options()));
    httplib::Client stranger(server.url().toStdString());
    QVERIFY(!stranger.Get("/v1/me"));
    QCOMPARE(client(server)->Get("/v1/me")->status, 200);
}

void TestDevserverTls::itSpeaksTls12AndLaterOnly() {
    TestServer server;
    QVERIFY(server.start(m_database, m_authority.options()));
    for (const auto& [option, spoken] :
         {std::pair("-tls1_1", false), std::pair("-tls1_2", true), std::pair("-tls1_3", true)}) {
        QProcess peer;
        // The security level lets this side offer the old version at all.
        peer.start(u"openssl"_s, {u"s_client"_s, u"-connect"_s, u"127.0.0.1:%1"_s.arg(server.port()),
                                  QString::fromLatin1(option), u"-cipher"_s, u"DEFAULT:@SECLEVEL=0"_s,
                                  u"-CAfile"_s, m_authority.root(), u"-verify_return_error"_s});
        peer.closeWriteChannel();
        QVERIFY(peer.waitForFinished());
        QVERIFY2((peer.exitCode() == 0) == spoken, option);
    }
}

void TestDevserverTls::plainHttpGetsNothing() {
    TestServer server;
    QVERIFY(server.start(m_database, m_authority.options()));
    RawConnection plain(server.port());
    plain.send("GET /v1/me HTTP/1.1\r\nHost: localhost\r\n\r\n");
    QVERIFY(plain.readToEnd());
    QVERIFY(!plain.received().contains("HTTP"));
    QCOMPARE(client(server)->Get("/v1/me")->status, 200);
}

void TestDevserverTls::aLargeReplyArrivesWhole() {
    const TestDatabase database;
    TestServer server;
    QVERIFY(server.start(database, m_authority.options() << u"--demo"_s));
    const std::string path =
        "/v1/sync/snapshot?workspace_id=" + devserver::developmentWorkspace.toStdString();
    const auto reply = client(server)->Get(path);
    QVERIFY(reply);
    QVERIFY(reply->body.size() > 1'000'000);
    QVERIFY(QJsonDocument::fromJson(QByteArray::fromStdString(reply->body)).isObject());
}

void TestDevserverTls::signalsEndItCleanlyWithIdleConnections() {
    TestServer server;
    QVERIFY(server.start(m_database, m_authority.options()));
    const auto idle = client(server);
    QCOMPARE(idle->Get("/v1/me")->status, 200);
    const RawConnection silent(server.port()); // no handshake yet
    QVERIFY(server.terminate());
    QCOMPARE(server.exitCode(), 0);
    QCOMPARE(server.standardError(), QString());
    QVERIFY(!idle->Get("/v1/me"));
}

void TestDevserverTls::refuses(const QString& certificate, const QString& key, const QString& sentence) {
    TestServer server;
    QVERIFY(server.runToEnd(with(certificate, key) << u"--database"_s << m_database.option()));
    QCOMPARE(server.exitCode(), 1);
    QCOMPARE(server.standardError(), QString(sentence + u'\n'));
    QCOMPARE(server.process().readAllStandardOutput(), QByteArray());
}

void TestDevserverTls::filesThatCannotBeUsedAreOneSentence() {
    const QString certificate = m_authority.certificate();
    const QString key = m_authority.key();
    const Authority foreign;
    QVERIFY(foreign.isReady());
    refuses(u"/nowhere.pem"_s, key, u"Cannot read the file /nowhere.pem."_s);
    refuses(certificate, u"/nowhere.key"_s, u"Cannot read the file /nowhere.key."_s);
    refuses(key, key, u"The file %1 holds no usable certificate in PEM form."_s.arg(key));
    refuses(certificate, certificate,
            u"The file %1 holds no usable private key in PEM form."_s.arg(certificate));
    refuses(certificate, foreign.key(),
            u"The private key %1 does not belong to the certificate %2."_s.arg(foreign.key(), certificate));
    refuses(certificate, m_authority.encryptedKey(),
            u"The private key %1 is encrypted; this server takes one without a passphrase."_s.arg(
                m_authority.encryptedKey()));
}

void TestDevserverTls::aKeyOfAnotherKindIsRefused() {
    const QTemporaryDir folder;
    const QString key = folder.filePath(u"rsa.key"_s); // the certificate's is on an elliptic curve
    QCOMPARE(QProcess::execute(u"openssl"_s, {u"genrsa"_s, u"-out"_s, key, u"2048"_s}), 0);
    refuses(
        m_authority.certificate(), key,
        u"The private key %1 does not belong to the certificate %2."_s.arg(key, m_authority.certificate()));
}

void TestDevserverTls::aCertificateWithoutItsKeyIsAMistake() {
    for (const QStringList& one : {m_authority.options().sliced(0, 2), m_authority.options().sliced(2, 2)}) {
        TestServer server;
        QVERIFY(server.runToEnd(one));
        QCOMPARE(server.exitCode(), 2);
        QCOMPARE(server.standardError(),
                 u"A certificate and its key belong together: give both or neither.\n"_s);
    }
}

QTEST_GUILESS_MAIN(TestDevserverTls)
#include "tls.moc"
