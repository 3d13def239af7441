// SPDX-License-Identifier: MIT
#include "state/projector.h"
#include "state/syncstate.h"
#include "tests/state/fixtures.h"
#include "tests/state/history.h"
#include "tests/state/reference.h"

#include <QJsonDocument>
#include <QTest>

#ifdef __SANITIZE_ADDRESS__
// As the sanitizer's own header has it, which not every compiler brings along.
extern "C" std::size_t __sanitizer_get_current_allocated_bytes();
#elif defined(__GLIBC__) && __GLIBC_PREREQ(2, 33)
#include <malloc.h>
#endif

using namespace Qt::StringLiterals;

class ProjectorTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void rememberingChangesNothing_data();
    void rememberingChangesNothing();
    void agreesWithTheFixturesInAnyOrder();
    void theSnapshotsEntriesAreNotCopied();
};

namespace {

/// 0 where the allocator does not tell.
std::size_t bytesInUse() {
#ifdef __SANITIZE_ADDRESS__
    return __sanitizer_get_current_allocated_bytes();
#elif defined(__GLIBC__) && __GLIBC_PREREQ(2, 33)
    return mallinfo2().uordblks;
#else
    return 0;
#endif
}

QByteArray bytes(const QJsonObject& object) {
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

/// A workspace of `count` entries, ids in no order.
QJsonObject workspaceOf(int count) {
    QJsonArray entries;
    for (int i = 0; i < count; ++i) {
        entries.append(QJsonObject{{u"id"_s, u"%1"_s.arg((i * 7919) % count, 8, 10, QLatin1Char('0'))},
                                   {u"workspace_id"_s, u"w"_s},
                                   {u"user_id"_s, u"u"_s},
                                   {u"description"_s, u"Work on item %1"_s.arg(i)}});
    }
    return {{u"workspace"_s, u"w"_s},
            {u"me"_s, QJsonObject{{u"id"_s, u"u"_s}}},
            {u"snapshot"_s, QJsonObject{{u"time_entries"_s, entries}}}};
}

QJsonObject withWrite(QJsonObject state) {
    const QJsonObject mutation{{u"workspace_id"_s, u"w"_s},
                               {u"entity_id"_s, u"00000100"_s},
                               {u"operation"_s, u"entry.update"_s},
                               {u"payload"_s, QJsonObject{{u"description"_s, u"changed"_s}}}};
    state.insert(u"queue"_s, QJsonArray{QJsonObject{{u"status"_s, u"pending"_s}, {u"mutation"_s, mutation}}});
    return state;
}

} // namespace

void ProjectorTest::rememberingChangesNothing_data() {
    QTest::addColumn<quint32>("seed");
    for (quint32 seed = 1; seed <= 40; ++seed) {
        QTest::addRow("seed %u", seed) << seed;
    }
}

void ProjectorTest::rememberingChangesNothing() {
    QFETCH(const quint32, seed);
    History history(seed);
    Projector projector;
    QStringList steps;
    for (int i = 0; i < 150; ++i) {
        steps.append(history.step());
        const QJsonObject& state = history.state();
        const QJsonObject expected = referenceProjection(state);
        const QJsonObject remembered = projector.project(state).toJson();
        QString found = differences(expected, remembered);
        if (found.isEmpty()) {
            found = differences(expected, SyncState::project(state));
        }
        QVERIFY2(found.isEmpty(), qPrintable(steps.join(u' ') + found));
        QCOMPARE(bytes(remembered), bytes(expected));
    }
}

void ProjectorTest::agreesWithTheFixturesInAnyOrder() {
    const QJsonArray cases = casesOf(u"project.json"_s);
    Projector projector;
    for (const auto& before : cases) {
        for (const auto& element : cases) {
            const Projection first = projector.project(before.toObject().value("state"_L1).toObject());
            QCOMPARE(first.toJson(), before.toObject().value("expected"_L1).toObject());
            const Projection second = projector.project(element.toObject().value("state"_L1).toObject());
            const QString found = differences(element.toObject().value("expected"_L1), second.toJson());
            QVERIFY2(found.isEmpty(), qPrintable(found));
        }
    }
}

void ProjectorTest::theSnapshotsEntriesAreNotCopied() {
    const std::size_t nothing = bytesInUse();
    const QJsonObject state = workspaceOf(2000);
    const std::size_t snapshot = bytesInUse() - nothing;
    if (snapshot == 0) {
        QSKIP("this allocator does not tell what is in use");
    }
    Projector projector;
    const Projection before = projector.project(state);
    const std::size_t projected = bytesInUse() - nothing - snapshot;
    QVERIFY2(projected < snapshot / 4, qPrintable(u"%1 of %2 bytes"_s.arg(projected).arg(snapshot)));
    const Projection after = projector.project(withWrite(state));
    const std::size_t written = bytesInUse() - nothing - snapshot - projected;
    QVERIFY(after != before);
    // The list of entries is new, the entries are not.
    QVERIFY2(written < snapshot / 16, qPrintable(u"%1 of %2 bytes"_s.arg(written).arg(snapshot)));
}

QTEST_GUILESS_MAIN(ProjectorTest)
#include "projector.moc"
