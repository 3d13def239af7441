// SPDX-License-Identifier: MIT
#include "qt/qml/TimerKelvaro/rowmodel.h"

#include <QAbstractItemModelTester>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QTest>
#include <QVariantMap>

using namespace Qt::StringLiterals;

namespace {

class Source : public QObject {
    Q_OBJECT
    Q_PROPERTY(QVariantList rows MEMBER m_rows NOTIFY changed)

public:
    void set(const QVariantList& rows) {
        m_rows = rows;
        Q_EMIT changed();
    }

Q_SIGNALS:
    void changed();

private:
    QVariantList m_rows;
};

/// "a", "b2": a letter is the id, the rest tells apart two states of one row.
QVariantList rows(const QString& text) {
    QVariantList list;
    const QStringList words = text.split(u' ', Qt::SkipEmptyParts);
    for (const QString& word : words) {
        QVariantMap row{{u"name"_s, word}};
        if (word[0] != u'-') {
            row.insert(u"id"_s, word.left(1));
        }
        list.append(row);
    }
    return list;
}

/// What a model announced, in order, as "-first,count +first,count *first,count".
class Announced : public QObject {
public:
    explicit Announced(RowModel& model) {
        connect(&model, &RowModel::rowsRemoved, this,
                [this](const QModelIndex&, int first, int last) { note(u'-', first, last); });
        connect(&model, &RowModel::rowsInserted, this,
                [this](const QModelIndex&, int first, int last) { note(u'+', first, last); });
        connect(&model, &RowModel::dataChanged, this,
                [this](const QModelIndex& from, const QModelIndex& to) { note(u'*', from.row(), to.row()); });
        connect(&model, &RowModel::modelReset, this, [this] { m_notes.append(u"reset"_s); });
    }

    [[nodiscard]] QString take() { return std::exchange(m_notes, {}).join(u' '); }

private:
    void note(QChar sign, int first, int last) {
        m_notes.append(u"%1%2,%3"_s.arg(sign).arg(first).arg(last - first + 1));
    }

    QStringList m_notes;
};

struct Step {
    const char* name;
    const char* before;
    const char* after;
    const char* announced;
};

} // namespace

class RowModelTest : public QObject {
    Q_OBJECT

    void follow(const QVariantList& list);

    std::unique_ptr<Source> m_source;
    std::unique_ptr<RowModel> m_model;
    std::unique_ptr<QAbstractItemModelTester> m_tester;

private Q_SLOTS:
    void init();
    void announcesOnlyWhatChanged_data();
    void announcesOnlyWhatChanged();
    void anEqualListIsSilent();
    void followsAnyHistory();
    void findsRowsById();
    void startsEmptyWithoutASource();
    void showsTheKindsThatAreKept();
};

void RowModelTest::init() {
    m_tester.reset();
    m_source = std::make_unique<Source>();
    m_model = std::make_unique<RowModel>();
    m_model->setSource(m_source.get());
    m_model->setList(u"rows"_s);
    m_tester = std::make_unique<QAbstractItemModelTester>(
        m_model.get(), QAbstractItemModelTester::FailureReportingMode::Fatal);
}

/// Shows a list and checks that each row reads as in it.
void RowModelTest::follow(const QVariantList& list) {
    m_source->set(list);
    QCOMPARE(m_model->rowCount(), list.size());
    for (int i = 0; i < list.size(); ++i) {
        QCOMPARE(m_model->index(i).data(RowModel::RowRole), list[i]);
    }
}

void RowModelTest::announcesOnlyWhatChanged_data() {
    QTest::addColumn<QString>("before");
    QTest::addColumn<QString>("after");
    QTest::addColumn<QString>("announced");

    static constexpr Step steps[] = {
        {"first rows", "", "a b c", "+0,3"},
        {"all gone", "a b c", "", "-0,3"},
        {"insert at the top", "a b c", "x a b c", "+0,1"},
        {"insert inside", "a b c", "a x y b c", "+1,2"},
        {"insert at the end", "a b c", "a b c x", "+3,1"},
        {"insert in two places", "a b c d", "x a b y c d", "+0,1 +3,1"},
        {"remove inside", "a b c d", "a d", "-1,2"},
        {"remove in two places", "a b c d e", "b c e", "-3,1 -0,1"},
        {"one change", "a b c", "a b2 c", "*1,1"},
        {"neighbours change", "a b c d", "a b2 c2 d", "*1,2"},
        {"change, insert and remove", "a b c d", "x a2 b d", "-2,1 +0,1 *1,1"},
        {"move to the end", "a b c d", "b c d a", "-0,1 +3,1"},
        {"move to the top", "a b c d", "d a b c", "-3,1 +0,1"},
        {"move and change", "a b c d", "b c d a2", "-0,1 +3,1"},
        {"swap", "a b", "b a", "-0,1 +1,1"},
        {"another list", "a b", "c d e", "-0,2 +0,3"},
        {"repeated id, one more", "a b c", "a b b c", "+2,1"},
        {"repeated id, one less", "a b b2 c", "a b c", "-2,1"},
        {"repeated id, changed", "a b b2 c", "a b b3 c", "*2,1"},
        {"no ids, changed by position", "-1 -2 -3", "-1 -5 -3", "*1,1"},
        {"no ids, one more at the end", "-1 -2", "-1 -2 -3", "+2,1"},
        {"no ids, shorter", "-1 -2 -3", "-4", "-1,2 *0,1"},
        {"id gained", "a -1 c", "a b c", "-1,1 +1,1"},
    };
    for (const Step& step : steps) {
        QTest::newRow(step.name) << QString::fromLatin1(step.before) << QString::fromLatin1(step.after)
                                 << QString::fromLatin1(step.announced);
    }
}

void RowModelTest::announcesOnlyWhatChanged() {
    QFETCH(QString, before);
    QFETCH(QString, after);
    follow(rows(before));
    Announced announced(*m_model);
    const QSignalSpy updated(m_model.get(), &RowModel::updated);

    follow(rows(after));

    QTEST(announced.take(), "announced");
    QCOMPARE(updated.count(), 1);
}

void RowModelTest::anEqualListIsSilent() {
    follow(rows(u"a b c"_s));
    Announced announced(*m_model);
    const QSignalSpy updated(m_model.get(), &RowModel::updated);

    Q_EMIT m_source->changed();
    follow(rows(u"a b c"_s));

    QCOMPARE(announced.take(), QString());
    QCOMPARE(updated.count(), 0);
}

void RowModelTest::followsAnyHistory() {
    QRandomGenerator random(7);
    for (int step = 0; step < 400; ++step) {
        QStringList words;
        for (const QChar letter : u"abcdefghij-"_s) {
            const int times = letter == u'-'            ? random.bounded(3)
                              : random.bounded(10) == 0 ? 2
                                                        : random.bounded(2);
            for (int i = 0; i < times; ++i) {
                words.append(letter + QString::number(random.bounded(3)));
            }
        }
        std::shuffle(words.begin(), words.end(), random);
        follow(rows(words.join(u' ')));
        if (QTest::currentTestFailed()) {
            QFAIL(qPrintable(u"step %1: %2"_s.arg(step).arg(words.join(u' '))));
        }
    }
}

void RowModelTest::findsRowsById() {
    follow(rows(u"a b2 -1 c"_s));

    QCOMPARE(m_model->indexOf(u"c"_s), 3);
    QCOMPARE(m_model->indexOf(u"z"_s), -1);
    QCOMPARE(m_model->indexOf(QString()), -1);
    QCOMPARE(m_model->idAt(1), u"b"_s);
    QCOMPARE(m_model->idAt(2), QString());
    QCOMPARE(m_model->idAt(-1), QString());
    QCOMPARE(m_model->idAt(4), QString());
    QCOMPARE(m_model->index(1).data(RowModel::NameRole).toString(), u"b2"_s);
}

void RowModelTest::startsEmptyWithoutASource() {
    const RowModel model;
    QCOMPARE(model.rowCount(), 0);
    m_source.reset();
    QCOMPARE(m_model->rowCount(), 0);
}

void RowModelTest::showsTheKindsThatAreKept() {
    const auto row = [](const QString& id, const QString& what) {
        return QVariantMap{{u"id"_s, id}, {u"what"_s, what}};
    };
    const auto shown = [this] {
        QString ids;
        for (int i = 0; i < m_model->rowCount(); ++i) {
            ids += m_model->idAt(i);
        }
        return ids;
    };
    const QVariantList all{row(u"a"_s, u"good"_s), row(u"b"_s, u"bad"_s), row(u"c"_s, u"odd"_s)};
    m_source->set(all);
    QCOMPARE(shown(), u"abc"_s);
    m_model->setKeep({u"good"_s, u"odd"_s});
    QCOMPARE(shown(), u"ac"_s);
    m_source->set(all + QVariantList{row(u"d"_s, u"bad"_s), row(u"e"_s, u"odd"_s)});
    QCOMPARE(shown(), u"ace"_s);
    m_model->setKeep({u"bad"_s});
    QCOMPARE(shown(), u"bd"_s);
    m_model->setKeep({});
    QCOMPARE(shown(), u"abcde"_s);
}

QTEST_GUILESS_MAIN(RowModelTest)
#include "rowmodel.moc"
