// SPDX-License-Identifier: MIT
#include "tests/window/windowfixture.h"

#include <QApplication>
#include <QJsonArray>
#include <QTest>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr int rowCount = 300;

QString idAt(int number) {
    return u"e%1"_s.arg(number, 4, 10, QLatin1Char('0'));
}

/// Entries first..last, of which the last is the newest and so the first row.
QJsonArray entries(int first, int last) {
    QJsonArray list;
    for (int i = first; i <= last; ++i) {
        list.append(WindowFixture::entry(idAt(i), i));
    }
    return list;
}

QJsonObject renamed(const QJsonValue& entry) {
    QJsonObject changed = entry.toObject();
    changed.insert(u"description", u"Renamed"_s);
    return changed;
}

} // namespace

class WindowListTest : public QObject {
    Q_OBJECT

    [[nodiscard]] QQuickItem* row(const QString& id) const;
    /// Where a row stands in the visible part of the list.
    [[nodiscard]] double offset(const QString& id) const;
    void scrollTo(int index) const {
        QMetaObject::invokeMethod(m_list, "positionViewAtIndex", Q_ARG(int, index), Q_ARG(int, 0));
    }
    void type(const QString& letters) const;

    std::unique_ptr<WindowFixture> m_fixture;
    QQuickItem* m_list = nullptr;

private Q_SLOTS:
    void init();
    void cleanup();
    void staysWhereItWasScrolled_data();
    void staysWhereItWasScrolled();
    void staysWhereItWasScrolledAfterASearch_data();
    void staysWhereItWasScrolledAfterASearch();
    void everySearchBeginsAtTheTop();
    void showsANewEntryAtTheTop();
    void keepsTheRowsThatDidNotChange();
    void arrowsWalkTheRowsAndEnterEdits();
    void staysWhereItWasWhenTheWindowComesBack();
    void aLongRunningDescriptionLeavesTheListInSight();
    void rowsFillWhatTheScrollBarLeaves_data();
    void rowsFillWhatTheScrollBarLeaves();
};

void WindowListTest::init() {
    m_fixture = std::make_unique<WindowFixture>();
    m_fixture->show(WindowFixture::document(entries(0, rowCount - 1)));
    m_list = m_fixture->item(u"entryList"_s);
    QTRY_COMPARE(m_list->property("count").toInt(), rowCount);
}

void WindowListTest::cleanup() {
    m_fixture.reset();
}

QQuickItem* WindowListTest::row(const QString& id) const {
    const auto children = m_list->property("contentItem").value<QQuickItem*>()->childItems();
    for (QQuickItem* const child : children) {
        const QVariant map = child->property("row");
        if (child->isVisible() && map.toMap().value(u"id"_s).toString() == id) {
            return child;
        }
    }
    return nullptr;
}

double WindowListTest::offset(const QString& id) const {
    const QQuickItem* const found = row(id);
    return found ? found->mapToItem(m_list, QPointF()).y() : qQNaN();
}

void WindowListTest::type(const QString& letters) const {
    for (const QChar letter : letters) {
        QTest::keyClick(m_fixture->window, letter.toLatin1());
    }
}

void WindowListTest::staysWhereItWasScrolled_data() {
    QTest::addColumn<QJsonArray>("after");

    QJsonArray changedAbove = entries(0, rowCount - 1);
    changedAbove[rowCount - 2] = renamed(changedAbove[rowCount - 2]);
    QJsonArray removedAbove = entries(0, rowCount - 1);
    removedAbove.removeAt(rowCount - 5);
    QJsonArray removedBelow = entries(0, rowCount - 1);
    removedBelow.removeAt(4);

    QTest::newRow("one above changed") << changedAbove;
    QTest::newRow("one inserted at the top") << entries(0, rowCount);
    QTest::newRow("ten inserted at the top") << entries(0, rowCount + 9);
    QTest::newRow("one above removed") << removedAbove;
    QTest::newRow("all twenty above removed") << entries(0, rowCount - 21);
    QTest::newRow("one below removed") << removedBelow;
    QTest::newRow("ten inserted at the bottom") << entries(-10, rowCount - 1);
}

void WindowListTest::staysWhereItWasScrolled() {
    QFETCH(QJsonArray, after);
    const QString watched = idAt(rowCount - 103);
    scrollTo(100);
    m_list->setProperty("contentY", m_list->property("contentY").toDouble() + 30);
    QTRY_VERIFY(row(watched));
    const double before = offset(watched);

    m_fixture->show(WindowFixture::document(after));

    QTRY_COMPARE(m_list->property("count").toInt(), after.size());
    QTRY_VERIFY(row(watched));
    QCOMPARE(offset(watched), before);
    // The next frame lays the rows out once more.
    QVERIFY(!m_fixture->window->grabWindow().isNull());
    QCOMPARE(offset(watched), before);
}

void WindowListTest::staysWhereItWasScrolledAfterASearch_data() {
    QTest::addColumn<QString>("typed");
    QTest::addColumn<int>("found");
    QTest::addColumn<bool>("left");
    QTest::newRow("found and left") << u"e0042"_s << 1 << true;
    QTest::newRow("a letter taken away at once") << u"e"_s << rowCount << false;
    QTest::newRow("a lone blank") << u" "_s << rowCount << false;
}

void WindowListTest::staysWhereItWasScrolledAfterASearch() {
    QFETCH(const QString, typed);
    QFETCH(const int, found);
    QFETCH(const bool, left);
    m_fixture->item(u"findEntries"_s)->forceActiveFocus();
    type(typed);
    if (left) {
        QTRY_COMPARE(m_list->property("count").toInt(), found);
        QTest::keyClick(m_fixture->window, Qt::Key_Escape);
    } else if (typed != u" ") {
        QTest::keyClick(m_fixture->window, Qt::Key_Backspace);
    }
    QCOMPARE(m_list->property("count").toInt(), rowCount);
    scrollTo(100);
    const QString watched = idAt(rowCount - 103);
    QTRY_VERIFY(row(watched));
    const double before = offset(watched);

    QJsonArray changed = entries(0, rowCount - 1);
    changed[rowCount - 102] = renamed(changed[rowCount - 102]);
    m_fixture->show(WindowFixture::document(changed));
    m_fixture->layOut();
    QVERIFY(row(watched));
    QCOMPARE(offset(watched), before);
    QCOMPARE(row(idAt(rowCount - 102))->property("row").toMap().value(u"description"_s).toString(),
             u"Renamed"_s);
}

void WindowListTest::everySearchBeginsAtTheTop() {
    const QString last = idAt(rowCount - 1);
    scrollTo(100);
    m_fixture->item(u"findEntries"_s)->forceActiveFocus();
    type(u"work"_s);
    QTRY_COMPARE(offset(last), 0.0);
    scrollTo(100);
    type(u" "_s);
    type(u"e"_s);
    QTRY_COMPARE(offset(last), 0.0);
    scrollTo(100);
    m_fixture->item(u"findEntries"_s)->setProperty("text", QString());
    QTRY_COMPARE(offset(last), 0.0);
}

void WindowListTest::showsANewEntryAtTheTop() {
    m_fixture->show(WindowFixture::document(entries(0, rowCount)));

    QTRY_VERIFY(row(idAt(rowCount)));
    QTRY_COMPARE(offset(idAt(rowCount)), 0.0);
}

void WindowListTest::keepsTheRowsThatDidNotChange() {
    QTRY_VERIFY(row(idAt(rowCount - 2)));
    const QQuickItem* const kept = row(idAt(rowCount - 2));

    QJsonArray changed = entries(0, rowCount - 1);
    changed[rowCount - 1] = renamed(changed[rowCount - 1]);
    m_fixture->show(WindowFixture::document(changed));

    QTRY_COMPARE(row(idAt(rowCount - 1))->property("row").toMap().value(u"description"_s).toString(),
                 u"Renamed"_s);
    QCOMPARE(row(idAt(rowCount - 2)), kept);
}

void WindowListTest::arrowsWalkTheRowsAndEnterEdits() {
    m_list->forceActiveFocus(Qt::TabFocusReason);
    QTRY_COMPARE(m_fixture->window->activeFocusItem(), row(idAt(rowCount - 1)));
    for (int i = 0; i < 20; ++i) {
        QTest::keyClick(m_fixture->window, Qt::Key_Down);
    }

    const QString reached = idAt(rowCount - 21);
    QTRY_COMPARE(m_fixture->window->activeFocusItem(), row(reached));
    QVERIFY(offset(reached) >= 0);
    QVERIFY(offset(reached) + 72 <= m_list->height());

    QTest::keyClick(m_fixture->window, Qt::Key_Return);
    QObject* const dialog = m_fixture->object(u"entryDialog"_s);
    QTRY_VERIFY(dialog->property("opened").toBool());
    QCOMPARE(dialog->property("entry").toMap().value(u"id"_s).toString(), reached);
    QCOMPARE(m_fixture->item(u"entryDescriptionField"_s)->property("text").toString(), u"Work "_s + reached);
}

void WindowListTest::staysWhereItWasWhenTheWindowComesBack() {
    m_list->forceActiveFocus(Qt::TabFocusReason);
    QTRY_COMPARE(m_fixture->window->activeFocusItem(), row(idAt(rowCount - 1)));
    // Rows just outside the screen are kept, and with them the focus.
    m_list->setProperty("contentY", 130);
    m_fixture->layOut();
    QVERIFY(m_fixture->window->activeFocusItem());

    QWindow other;
    other.resize(100, 100);
    other.show();
    QVERIFY(QTest::qWaitForWindowExposed(&other));
    other.requestActivate();
    QTRY_VERIFY(other.isActive());
    m_fixture->window->requestActivate();
    QTRY_VERIFY(m_fixture->window->isActive());

    m_fixture->layOut();
    QCOMPARE(m_list->property("contentY").toDouble(), 130.0);
}

void WindowListTest::aLongRunningDescriptionLeavesTheListInSight() {
    const QString whole = u"Everything that has to be said about it, and then some. "_s.repeated(100);
    QJsonObject timer = WindowFixture::entry(u"t1"_s);
    timer.insert(u"description", whole);
    timer.insert(u"stop_at", QJsonValue());
    QJsonObject document = WindowFixture::document(entries(0, rowCount - 1));
    document.insert(u"timer", timer);
    m_fixture->window->setProperty("hebrew", false);
    m_fixture->window->resize(m_fixture->window->minimumSize());
    m_fixture->show(document);
    m_fixture->layOut();
    const double firstRowEnds = m_list->mapToScene(QPointF(0, 72)).y();
    QVERIFY2(firstRowEnds < m_fixture->window->height(), qPrintable(QString::number(firstRowEnds)));

    // By the keyboard as well as under the pointer.
    QQuickItem* const description = m_fixture->item(u"timerDescription"_s);
    const QObject* const tip = m_fixture->object(u"timerTip"_s);
    m_fixture->item(u"manualEntry"_s)->forceActiveFocus(Qt::TabFocusReason);
    QTRY_VERIFY(m_fixture->window->isActive());
    QTest::keyClick(m_fixture->window, Qt::Key_Tab);
    QVERIFY(description->hasActiveFocus());
    QTRY_VERIFY(tip->property("opened").toBool());
    QCOMPARE(tip->property("text").toString(), whole);
    QTest::keyClick(m_fixture->window, Qt::Key_Tab);
    QTRY_VERIFY(!tip->property("visible").toBool());
    const QPointF middle = description->mapToScene(QPointF(100, description->height() / 2));
    const auto opensUnderThePointer = [&] {
        m_fixture->pointAt(middle.toPoint());
        return tip->property("opened").toBool();
    };
    QTRY_VERIFY(opensUnderThePointer());

    // What fits is passed by.
    timer.insert(u"description", u"Short"_s);
    document.insert(u"timer", timer);
    m_fixture->show(document);
    QTRY_VERIFY(!tip->property("visible").toBool());
    m_fixture->item(u"manualEntry"_s)->forceActiveFocus(Qt::TabFocusReason);
    QTest::keyClick(m_fixture->window, Qt::Key_Tab);
    QVERIFY(!description->hasActiveFocus());
}

void WindowListTest::rowsFillWhatTheScrollBarLeaves_data() {
    QTest::addColumn<bool>("hebrew");
    QTest::newRow("Hebrew") << true;
    QTest::newRow("English") << false;
}

void WindowListTest::rowsFillWhatTheScrollBarLeaves() {
    QFETCH(const bool, hebrew);
    m_fixture->window->setProperty("hebrew", hebrew);
    m_fixture->layOut();
    const auto inList = [this](const QQuickItem* part) {
        return part->mapRectToItem(m_list, part->boundingRect());
    };
    const auto children = m_list->childItems();
    const auto bar = std::find_if(children.begin(), children.end(),
                                  [](const QQuickItem* child) { return child->inherits("QQuickScrollBar"); });
    QVERIFY(bar != children.end());
    QTRY_VERIFY(row(idAt(rowCount - 1)));
    const QRectF scrolled = inList(*bar);
    const QRectF seen = inList(row(idAt(rowCount - 1))->property("background").value<QQuickItem*>());

    QCOMPARE(scrolled.left(), hebrew ? 0 : m_list->width() - scrolled.width());
    QCOMPARE(seen.left(), hebrew ? scrolled.right() : 0);
    QCOMPARE(seen.right(), hebrew ? m_list->width() : scrolled.left());
}

int main(int argc, char* argv[]) {
    QApplication application(argc, argv);
    prepareApplication();
    WindowListTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "list.moc"
