// SPDX-License-Identifier: MIT
#include "tests/window/entriesdesk.h"

using namespace Qt::StringLiterals;

QJsonArray entries() {
    QJsonObject booked = WindowFixture::entry(u"e2"_s, 26 * 60);
    booked.insert(u"project_id", u"p2"_s);
    booked.insert(u"billable", true);
    QJsonObject locked = WindowFixture::entry(u"e0"_s);
    locked.insert(u"start_at", u"2020-01-05T08:00:00Z"_s);
    locked.insert(u"stop_at", u"2020-01-05T09:00:00Z"_s);
    return {locked, WindowFixture::entry(u"e1"_s), booked};
}

QJsonObject running() {
    return {{u"id"_s, u"t1"_s},           {u"workspace_id"_s, u"w1"_s},
            {u"user_id"_s, u"u1"_s},      {u"description"_s, u"Running"_s},
            {u"billable"_s, false},       {u"start_at"_s, u"2021-03-05T09:00:00Z"_s},
            {u"stop_at"_s, QJsonValue()}, {u"version"_s, 1}};
}

QJsonObject documentWith(const QJsonArray& entries, const QJsonObject& timer) {
    QJsonArray all = entries;
    if (!timer.isEmpty()) {
        all.append(timer);
    }
    QJsonObject document = WindowFixture::document(all);
    document.insert(u"timer", timer);
    return document;
}

void EntriesDesk::open() {
    m_fixture = std::make_unique<WindowFixture>();
    m_fixture->window->setProperty("hebrew", false);
    m_fixture->unlock();
    m_fixture->show(documentWith(entries()));
    m_list = item("entryList");
    QTRY_VERIFY(m_fixture->window->isActive());
    QTRY_VERIFY(row(u"e2"_s) && row(u"e1"_s) && row(u"e0"_s));
}

QQuickItem* EntriesDesk::row(const QString& id) const {
    const auto children = m_list->property("contentItem").value<QQuickItem*>()->childItems();
    for (QQuickItem* const child : children) {
        if (child->isVisible() && child->property("row").toMap().value(u"id"_s).toString() == id) {
            return child;
        }
    }
    return nullptr;
}

QQuickItem* EntriesDesk::part(const QString& id, const char* name) const {
    return row(id)->findChild<QQuickItem*>(QString::fromLatin1(name));
}

void EntriesDesk::focusRow(const QString& id) const {
    row(id)->forceActiveFocus(Qt::TabFocusReason);
    QTRY_COMPARE(m_fixture->window->activeFocusItem(), row(id));
}

void EntriesDesk::type(const char* letters) const {
    for (const char letter : QByteArray(letters)) {
        QTest::keyClick(m_fixture->window, letter);
    }
}

QJsonObject EntriesDesk::recorded(qsizetype index) const {
    const QJsonArray queue = controller().durableState().value(u"queue").toArray();
    return queue.at(index)[u"mutation"].toObject();
}

void EntriesDesk::openDialog(const QString& id) {
    focusRow(id);
    key(Qt::Key_Return);
    QTRY_VERIFY(isOpen("entryDialog"));
}
