// SPDX-License-Identifier: MIT
#include "tests/support/authority.h"

#include <QFile>
#include <QProcess>

using namespace Qt::StringLiterals;

namespace {

const QByteArray configuration = R"(
[req]
distinguished_name = name
[name]
[authority]
basicConstraints = critical, CA:TRUE
keyUsage = critical, keyCertSign
subjectKeyIdentifier = hash
[server]
basicConstraints = critical, CA:FALSE
extendedKeyUsage = serverAuth
subjectAltName = IP:127.0.0.1, DNS:localhost
)";

QStringList words(const char* text) {
    return QString::fromLatin1(text).split(u' ');
}

} // namespace

Authority::Authority() {
    QFile file(m_folder.filePath(u"openssl.cnf"_s));
    if (!file.open(QIODevice::WriteOnly) || file.write(configuration) != configuration.size()) {
        return;
    }
    file.close();
    m_ready = openssl(words("req -x509 -config openssl.cnf -extensions authority -days 2 -nodes -newkey ec"
                            " -pkeyopt ec_paramgen_curve:P-256 -subj /CN=authority -keyout root.key"
                            " -out root.pem")) &&
              openssl(words("req -x509 -config openssl.cnf -extensions server -days 2 -nodes -newkey ec"
                            " -pkeyopt ec_paramgen_curve:P-256 -subj /CN=server -CA root.pem -CAkey root.key"
                            " -keyout server.key -out server.pem")) &&
              openssl(words("pkcs8 -topk8 -in server.key -out encrypted.key -passout pass:unknown"));
}

QStringList Authority::options() const {
    return {u"--tls-certificate"_s, certificate(), u"--tls-key"_s, key()};
}

bool Authority::openssl(const QStringList& arguments) const {
    QProcess process;
    process.setWorkingDirectory(m_folder.path());
    process.start(u"openssl"_s, arguments);
    return process.waitForFinished() && process.exitStatus() == QProcess::NormalExit &&
           process.exitCode() == 0;
}
