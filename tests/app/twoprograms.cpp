// SPDX-License-Identifier: MIT
#include "tests/support/client.h"
#include "tests/support/devserver.h"
#include "tests/support/vaultfile.h"

#include <QFile>
#include <QJsonObject>
#include <QMap>
#include <QProcess>
#include <QSet>
#include <QTest>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

const QString saved = u"Saved securely on this device"_s;
const QString offline = u"Session unavailable or revoked. Cached work retained; no developer "
                        "fallback was attempted."_s;
const QString alreadyOpen =
    u"Timer.Kelvaro is already open on this server; offline writes are disabled in this window."_s;

/// One of the programs that share a home and a credential store.
class Writer {
public:
    /// What it says about its connection.
    QString start(const QString& server) {
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.start(QStringLiteral(WRITER), {server});
        return line();
    }
    void ask(int number) { m_process.write(QByteArray::number(number) + '\n'); }
    /// What it says about an entry.
    QString write(int number) {
        ask(number);
        return line();
    }
    /// SIGKILL, as soon as it has heard what it was asked.
    void kill() {
        m_process.waitForBytesWritten();
        m_process.kill();
        m_process.waitForFinished();
    }

private:
    QString line() {
        const bool said = QTest::qWaitFor([this] { return m_process.canReadLine(); }, 60'000);
        return said ? QString::fromUtf8(m_process.readLine()).trimmed() : u"nothing"_s;
    }

    QProcess m_process;
};

} // namespace

/// Two programs on the store of one server, with no bus between them.
class TwoProgramsTest : public QObject {
    Q_OBJECT

    /// The database as it lies on the disk.
    [[nodiscard]] QByteArray stored() const;
    /// How often the server has each entry, by its number.
    [[nodiscard]] QMap<int, int> onServer() const;

    /// By turns as soon as it is asked, and as soon as something is on the disk.
    [[nodiscard]] bool killWhileItSaves(Writer& writer, int number);

    DevServer m_server;
    bool m_atOnce = false;

private Q_SLOTS:
    void initTestCase();
    void loseAndDoubleNothing();
};

void TwoProgramsTest::initTestCase() {
    startClean();
    QVERIFY(m_server.start());
    // From now on everything that is needed to record is on the device.
    Writer writer;
    QCOMPARE(writer.start(m_server.url()), u"Connected to PostgreSQL"_s);
}

QByteArray TwoProgramsTest::stored() const {
    QByteArray bytes;
    for (const QString& part : {QString(), u"-wal"_s}) {
        QFile file(vaultFile(m_server.url()) + part);
        bytes += file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    return bytes;
}

QMap<int, int> TwoProgramsTest::onServer() const {
    QMap<int, int> counts;
    const QJsonArray entries = m_server.entries();
    for (const auto& entry : entries) {
        ++counts[entry.toObject().value(u"description").toString().toInt()];
    }
    return counts;
}

bool TwoProgramsTest::killWhileItSaves(Writer& writer, int number) {
    const QByteArray before = stored();
    m_atOnce = !m_atOnce;
    writer.ask(number);
    const bool written = m_atOnce || QTest::qWaitFor([&] { return stored() != before; }, 60'000);
    writer.kill();
    return written;
}

void TwoProgramsTest::loseAndDoubleNothing() {
    constexpr int writes = 200;
    constexpr int perLife = 20;
    m_server.kill();
    std::pair<Writer, Writer> writers;
    Writer* first = &writers.first;
    Writer* second = &writers.second;
    QSet<int> promised;
    QSet<int> asked;
    for (int number = 0; number < writes; number += 2) {
        if (number % perLife == 0) {
            first->kill();
            second->kill();
            std::swap(first, second);
            QCOMPARE(first->start(m_server.url()), offline);
            const QByteArray before = stored();
            QVERIFY(!before.isEmpty());
            QCOMPARE(second->start(m_server.url()), alreadyOpen);
            QCOMPARE(stored(), before);
        }
        asked.insert(number);
        const bool lastOfThisLife = (number + 2) % perLife == 0 && number + 2 < writes;
        if (lastOfThisLife) {
            QVERIFY(killWhileItSaves(*first, number));
        } else {
            QCOMPARE(first->write(number), saved);
            promised.insert(number);
        }
        const QByteArray before = stored();
        QCOMPARE(second->write(number + 1), u"Connect to the server first"_s);
        QCOMPARE(stored(), before);
    }
    first->kill();
    second->kill();

    QVERIFY(m_server.start());
    QCOMPARE(first->start(m_server.url()), u"Local changes await acknowledgement"_s);
    // The queue is sent in its order: behind the last one nothing is left.
    QTRY_VERIFY_WITH_TIMEOUT(onServer().contains(writes - 2), 60'000);
    const QMap<int, int> counts = onServer();
    QVERIFY(std::all_of(counts.begin(), counts.end(), [](int count) { return count == 1; }));
    const QList<int> keys = counts.keys();
    const QSet<int> arrived(keys.begin(), keys.end());
    QCOMPARE(promised - arrived, QSet<int>());
    QCOMPARE(arrived - asked, QSet<int>());
}

QTEST_MAIN(TwoProgramsTest)
#include "twoprograms.moc"
