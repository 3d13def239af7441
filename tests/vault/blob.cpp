// SPDX-License-Identifier: MIT
#include "tests/vault/failingrandom.h"
#include "vault/vault.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype limit = 52'428'800;
constexpr qsizetype header = 32;

const QByteArray key = "an example key of 32 bytes, yes!"_ba;
const QByteArray context = "timer.desktop.vault.v1\nhttps://time.example"_ba;
const QByteArray accountAware = "\naccount-aware-v2"_ba;

bool opens(const QByteArray& blob, const QByteArray& withKey, const QByteArray& aad) {
    bool ok = true;
    const QByteArray text = Vault::unseal(blob, withKey, aad, &ok);
    return ok || !text.isEmpty();
}

} // namespace

class SealedBlobTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void publishedVectorsOpenOrAreRefused_data();
    void publishedVectorsOpenOrAreRefused();
    void whatIsSealedOpensAgain_data();
    void whatIsSealedOpensAgain();
    void layoutIsMagicNonceTagCiphertext();
    void emptyTextSealsToTheHeaderAlone();
    void keysOfAnotherLengthAreRefused_data();
    void keysOfAnotherLengthAreRefused();
    void shortOrForeignBlobsAreRefused_data();
    void shortOrForeignBlobsAreRefused();
    void everyFlippedBitIsFound();
    void anotherScopeOrKeyDoesNotOpen();
    void twoSealsDiffer();
    void sizeLimitsAreExact();
    void formsOfTheRecordDoNotPassForEachOther();
    void withoutRandomnessNothingIsSealed();
};

void SealedBlobTest::publishedVectorsOpenOrAreRefused_data() {
    QTest::addColumn<QJsonObject>("vector");
    for (const char* name :
         {"/nist_aes256gcm.json", "/nist_aes256gcm_decrypt.json", "/wycheproof_aes256gcm.json"}) {
        QFile file(QStringLiteral(TEST_DATA) + QString::fromLatin1(name));
        QVERIFY2(file.open(QIODevice::ReadOnly), qPrintable(file.errorString()));
        const QJsonArray vectors = QJsonDocument::fromJson(file.readAll()).object()[u"vectors"].toArray();
        QVERIFY(vectors.size() > 4);
        for (const QJsonValue vector : vectors) {
            QTest::addRow("%s", qPrintable(vector[u"name"].toString())) << vector.toObject();
        }
    }
}

void SealedBlobTest::publishedVectorsOpenOrAreRefused() {
    QFETCH(QJsonObject, vector);
    const auto field = [&vector](QStringView name) {
        return QByteArray::fromHex(vector[name].toString().toLatin1());
    };
    const QByteArray blob = "TKV1" + field(u"nonce") + field(u"tag") + field(u"ciphertext");
    bool ok = false;
    const QByteArray text = Vault::unseal(blob, field(u"key"), field(u"aad"), &ok);
    QCOMPARE(ok, vector.contains(u"plaintext"_s));
    QCOMPARE(text, field(u"plaintext"));
}

void SealedBlobTest::whatIsSealedOpensAgain_data() {
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("aad");
    QTest::newRow("one byte") << QByteArray("x") << context;
    QTest::newRow("no AAD") << QByteArray("some text") << QByteArray();
    QTest::newRow("one block") << QByteArray(16, 'b') << context;
    QTest::newRow("zero bytes") << QByteArray(100, '\0') << QByteArray(3, '\0');
    QTest::newRow("a megabyte") << QByteArray(1'000'003, 'm') << context;
}

void SealedBlobTest::whatIsSealedOpensAgain() {
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, aad);
    const QByteArray blob = Vault::seal(text, key, aad);
    bool ok = false;
    QCOMPARE(Vault::unseal(blob, key, aad, &ok), text);
    QVERIFY(ok);
    QCOMPARE(Vault::unseal(blob, key, aad), text);
}

void SealedBlobTest::layoutIsMagicNonceTagCiphertext() {
    const QByteArray text("the text");
    const QByteArray blob = Vault::seal(text, key, context);
    QCOMPARE(blob.size(), header + text.size());
    QVERIFY(blob.startsWith("TKV1"));
    QVERIFY(!blob.contains(text));
}

void SealedBlobTest::emptyTextSealsToTheHeaderAlone() {
    const QByteArray blob = Vault::seal({}, key, context);
    QCOMPARE(blob.size(), header);
    bool ok = false;
    QVERIFY(Vault::unseal(blob, key, context, &ok).isEmpty());
    QVERIFY(ok);
}

void SealedBlobTest::keysOfAnotherLengthAreRefused_data() {
    QTest::addColumn<qsizetype>("length");
    for (const qsizetype length : {0, 16, 24, 31, 33, 64}) {
        QTest::addRow("%lld bytes", static_cast<long long>(length)) << length;
    }
}

void SealedBlobTest::keysOfAnotherLengthAreRefused() {
    QFETCH(qsizetype, length);
    const QByteArray otherKey = (key + key).first(length);
    QVERIFY(Vault::seal("text", otherKey, context).isEmpty());
    QVERIFY(!opens(Vault::seal("text", key, context), otherKey, context));
}

void SealedBlobTest::shortOrForeignBlobsAreRefused_data() {
    QTest::addColumn<QByteArray>("blob");
    const QByteArray blob = Vault::seal("text", key, context);
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("the magic alone") << QByteArray("TKV1");
    QTest::newRow("31 bytes") << Vault::seal({}, key, context).first(31);
    QTest::newRow("last byte missing") << blob.chopped(1);
    QTest::newRow("one byte more") << blob + 'x';
    QTest::newRow("magic of a record") << "TKVA" + blob.sliced(4);
    QTest::newRow("magic of a later version") << "TKV2" + blob.sliced(4);
    QTest::newRow("magic in lower case") << "tkv1" + blob.sliced(4);
    QTest::newRow("with a record's prefix") << "TKVA" + blob;
}

void SealedBlobTest::shortOrForeignBlobsAreRefused() {
    QFETCH(QByteArray, blob);
    QVERIFY(!opens(blob, key, context));
}

void SealedBlobTest::everyFlippedBitIsFound() {
    const QByteArray blob = Vault::seal("every bit of this matters", key, context);
    for (qsizetype bit = 0; bit < blob.size() * 8; ++bit) {
        QByteArray altered = blob;
        altered[bit / 8] = static_cast<char>(altered.at(bit / 8) ^ (1 << (bit % 8)));
        QVERIFY2(!opens(altered, key, context), qPrintable(u"bit %1"_s.arg(bit)));
    }
    QVERIFY(opens(blob, key, context));
}

void SealedBlobTest::anotherScopeOrKeyDoesNotOpen() {
    const QByteArray blob = Vault::seal("text", key, context);
    for (qsizetype index = 0; index < context.size(); ++index) {
        QByteArray other = context;
        other[index] = static_cast<char>(other.at(index) ^ 1);
        QVERIFY2(!opens(blob, key, other), other.constData());
    }
    QVERIFY(!opens(blob, key, context + '/'));
    QVERIFY(!opens(blob, key, {}));
    QByteArray otherKey = key;
    otherKey[31] = 'x';
    QVERIFY(!opens(blob, otherKey, context));
}

void SealedBlobTest::twoSealsDiffer() {
    const QByteArray first = Vault::seal("text", key, context);
    const QByteArray second = Vault::seal("text", key, context);
    QVERIFY(first.sliced(4, 12) != second.sliced(4, 12));
    QVERIFY(first.sliced(header) != second.sliced(header));
}

void SealedBlobTest::sizeLimitsAreExact() {
    QByteArray text(limit + 1, 't');
    QVERIFY(Vault::seal(text, key, context).isEmpty());
    text.chop(1);
    QByteArray blob = Vault::seal(text, key, context);
    QCOMPARE(blob.size(), limit + header);
    QVERIFY(!opens(blob, key, context));

    text.truncate(limit - header + 1);
    blob = Vault::seal(text, key, context);
    QCOMPARE(blob.size(), limit + 1);
    QVERIFY(!opens(blob, key, context));

    text.chop(1);
    blob = Vault::seal(text, key, context);
    QCOMPARE(blob.size(), limit);
    QVERIFY(Vault::unseal(blob, key, context) == text);
}

void SealedBlobTest::formsOfTheRecordDoNotPassForEachOther() {
    const QByteArray legacy = Vault::seal("text", key, context);
    const QByteArray current = Vault::seal("text", key, context + accountAware);
    QVERIFY(opens(legacy, key, context));
    QVERIFY(!opens(legacy, key, context + accountAware));
    QVERIFY(opens(current, key, context + accountAware));
    QVERIFY(!opens(current, key, context));
}

void SealedBlobTest::withoutRandomnessNothingIsSealed() {
    {
        const FailingRandom noRandomness;
        QVERIFY(Vault::seal("text", key, context).isEmpty());
    }
    QVERIFY(!Vault::seal("text", key, context).isEmpty());
}

QTEST_GUILESS_MAIN(SealedBlobTest)
#include "blob.moc"
