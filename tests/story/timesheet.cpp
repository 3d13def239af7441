// SPDX-License-Identifier: MIT
#include "tests/support/client.h"
#include "tests/support/steps.h"
#include "tests/web/webfixture.h"

#include "controller/controller.h"

#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

const QString locked =
    u"This entry is submitted or approved. Reopen its period in the Web workbench first."_s;
const QString retained = u"Sync conflict retained with its original payload. Inspect or export it; period"
                         " locks cannot be bypassed."_s;

} // namespace

/// The client at its server, and the timesheet page in a browser beside it.
class TimesheetStory : public WebFixture {
    Q_OBJECT

    void openClientAndPage();
    void submitAndSeeTheClientLock();
    void findTheEditRefused();
    void reopenAndEditAgain();
    void editWithoutServerAndClose();
    void submitBeforeTheEditArrives();
    void findTheLateEditRetained();
    void reopenOnceMore();

    [[nodiscard]] bool connectClient();
    [[nodiscard]] bool reopenOnPage(const QString& reason);
    [[nodiscard]] bool isLocked() const {
        return listedEntry(*m_client, u"id"_s, m_entry).value(u"period_locked"_s).toBool();
    }
    [[nodiscard]] QString descriptionOnServer() const {
        return m_server->entries().first().toObject().value(u"description").toString();
    }

    std::unique_ptr<Controller> m_client;
    QString m_period;
    QString m_entry;

private Q_SLOTS:
    void aSubmittedPeriodClosesItsEntriesUntilItIsReopened();
};

void TimesheetStory::aSubmittedPeriodClosesItsEntriesUntilItIsReopened() {
    takeSteps(
        {
            &TimesheetStory::openClientAndPage,
            &TimesheetStory::submitAndSeeTheClientLock,
            &TimesheetStory::findTheEditRefused,
            &TimesheetStory::reopenAndEditAgain,
            &TimesheetStory::editWithoutServerAndClose,
            &TimesheetStory::submitBeforeTheEditArrives,
            &TimesheetStory::findTheLateEditRetained,
            &TimesheetStory::reopenOnceMore,
        },
        this);
}

bool TimesheetStory::connectClient() {
    m_client = std::make_unique<Controller>();
    return connectAndLoad(*m_client, m_server->url());
}

bool TimesheetStory::reopenOnPage(const QString& reason) {
    return m_browser.click(part(u"reopen"_s, m_period)) && m_browser.type(u"#reason"_s, reason) &&
           m_browser.click(u"#reopen-dialog .primary"_s) &&
           QTest::qWaitFor([this] { return m_browser.shows(part(u"submit"_s, m_period)); },
                           Browser::patienceMs);
}

void TimesheetStory::openClientAndPage() {
    startClean();
    m_period = addPeriod({2026, 3, 1}, u"open"_s);
    QVERIFY(addEntry(u"2026-03-03T08:00:00Z"_s, u"2026-03-03T09:30:00Z"_s, u"First"_s));
    m_entry = m_server->entries().first().toObject().value(u"id").toString();
    QVERIFY(connectClient());
    QVERIFY(!isLocked());
    QVERIFY2(openPage(), qPrintable(m_browser.problem()));
}

// Nobody asks the client to look: its next periodic step finds out.
void TimesheetStory::submitAndSeeTheClientLock() {
    QVERIFY(m_browser.click(part(u"submit"_s, m_period)));
    QTRY_COMPARE_WITH_TIMEOUT(statusOf(m_period), u"submitted"_s, Browser::patienceMs);
    QTRY_VERIFY_WITH_TIMEOUT(isLocked(), Browser::patienceMs);
}

void TimesheetStory::findTheEditRefused() {
    QTRY_VERIFY_WITH_TIMEOUT(!m_client->property("busy").toBool(), Browser::patienceMs);
    m_client->editDescription(m_entry, u"Sneaked in"_s);
    QCOMPARE(m_client->message(), locked);
    QCOMPARE(m_client->pending(), 0);
    QCOMPARE(descriptionOnServer(), u"First"_s);
}

void TimesheetStory::reopenAndEditAgain() {
    QVERIFY2(reopenOnPage(u"One description is wrong"_s), qPrintable(m_browser.problem()));
    QCOMPARE(period(m_period).value(u"last_reason"), u"One description is wrong"_s);
    // A client that is reading takes no edit; the window's fields are disabled then.
    QTRY_VERIFY_WITH_TIMEOUT(!isLocked() && !m_client->property("busy").toBool(), Browser::patienceMs);
    m_client->editDescription(m_entry, u"Second"_s);
    QTRY_COMPARE_WITH_TIMEOUT(m_client->pending(), 0, Browser::patienceMs);
    QTRY_COMPARE_WITH_TIMEOUT(descriptionOnServer(), u"Second"_s, Browser::patienceMs);
}

void TimesheetStory::editWithoutServerAndClose() {
    QVERIFY(waitForSilence(*m_client));
    m_server->kill();
    m_client->editDescription(m_entry, u"On the train"_s);
    QCOMPARE(m_client->pending(), 1);
    m_client.reset();
}

void TimesheetStory::submitBeforeTheEditArrives() {
    QVERIFY(m_server->start());
    QVERIFY(m_browser.click(part(u"submit"_s, m_period)));
    QTRY_COMPARE_WITH_TIMEOUT(statusOf(m_period), u"submitted"_s, Browser::patienceMs);
}

void TimesheetStory::findTheLateEditRetained() {
    QVERIFY(connectClient());
    QTRY_COMPARE_WITH_TIMEOUT(m_client->message(), retained, Browser::patienceMs);
    const QJsonArray queue = queueOf(*m_client);
    QCOMPARE(queue.size(), 1);
    QCOMPARE(queue.first().toObject().value(u"status"), u"rejected"_s);
    QCOMPARE(mutationAt(*m_client, 0).value(u"payload").toObject(),
             (QJsonObject{{u"description"_s, u"On the train"_s}}));
    QVERIFY(m_client->conflictDetails().contains(
        u"The entry lies in a timesheet period that was submitted or approved."));
    QCOMPARE(descriptionOnServer(), u"Second"_s);
}

// What was refused stays refused until a person deals with it; the lock itself goes.
void TimesheetStory::reopenOnceMore() {
    QVERIFY2(reopenOnPage(u"The train"_s), qPrintable(m_browser.problem()));
    m_client->refresh();
    QTRY_VERIFY_WITH_TIMEOUT(!isLocked(), Browser::patienceMs);
    QCOMPARE(queueOf(*m_client).first().toObject().value(u"status"), u"rejected"_s);
    QCOMPARE(descriptionOnServer(), u"Second"_s);
}

QTEST_MAIN(TimesheetStory)
#include "timesheet.moc"
