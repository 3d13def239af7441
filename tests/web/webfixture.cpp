// SPDX-License-Identifier: MIT
#include "tests/web/webfixture.h"

#include "tests/support/sqlitefile.h"

#include <QRegularExpression>
#include <QTest>
#include <QTimeZone>
#include <QUuid>

using namespace Qt::StringLiterals;

void WebFixture::initTestCase() {
    QVERIFY2(m_browser.start(), qPrintable(m_browser.problem()));
}

void WebFixture::init() {
    m_server = std::make_unique<DevServer>(m_data);
    QVERIFY(m_server->start());
    QVERIFY(m_browser.setTheme(Browser::Theme::Light));
    QVERIFY(m_browser.setSize(1000, 800));
}

bool WebFixture::openPage() {
    return m_browser.open(u"about:blank"_s) && m_browser.open(m_server->url() + u"/#timesheet"_s) &&
           QTest::qWaitFor([this] { return m_browser.shows(u"section"_s); }, Browser::patienceMs);
}

bool WebFixture::intercept(const QString& mode) {
    return m_browser
               .evaluate(uR"JS((() => {
        const real = window.fetch;
        const lost = () => { throw new TypeError('lost'); };
        window.sent = 0;
        window.fetch = async (path, options) => {
            if (options.method === 'GET') {
                return window.mode === 'deaf' ? lost() : real(path, options);
            }
            ++window.sent;
            if (window.mode === 'hold') {
                await new Promise((resolve) => { window.release = resolve; });
            }
            const response = await real(path, options);
            return window.mode === 'lose' ? lost() : response;
        };
        return true;
    })())JS"_s)
               .toBool() &&
           setMode(mode);
}

bool WebFixture::setMode(const QString& mode) {
    return m_browser.evaluate(u"window.mode = '%1'"_s.arg(mode)) == mode;
}

bool WebFixture::release() {
    return m_browser.evaluate(u"(window.release(), true)"_s).toBool();
}

bool WebFixture::chooseEnglish() {
    return m_browser.click(u"#language"_s) &&
           m_browser.evaluate(u"document.documentElement.lang"_s) == u"en"_s;
}

QString WebFixture::addPeriod(QDate from, const QString& status, const QString& reason) {
    QString id = QUuid::createUuid().toString(QUuid::WithoutBraces);
    const QString user = m_server->request("GET", u"/me"_s).body.value(u"id").toString();
    const qint64 start = from.startOfDay(QTimeZone::utc()).toSecsSinceEpoch();
    SqliteFile(m_server->databaseFile())
        .run(
            u"INSERT INTO timesheet_periods (id, workspace_id, user_id, status, from_date, to_date, timezone,"
            " start_at, end_at, version, last_reason) VALUES (?, ?, ?, ?, ?, ?, 'UTC', ?, ?, 1, ?)"_s,
            {id, m_server->workspace(), user, status, from.toString(Qt::ISODate),
             from.addDays(6).toString(Qt::ISODate), start, start + qint64{7} * 24 * 3600,
             reason.isEmpty() ? QVariant() : QVariant(reason)});
    return id;
}

bool WebFixture::addEntry(const QString& start, const QString& stop, const QString& description) {
    const QJsonObject payload{{u"description"_s, description}, {u"start_at"_s, start}, {u"stop_at"_s, stop}};
    return m_server->push(u"entry.create"_s, QUuid::createUuid().toString(QUuid::WithoutBraces), 0, payload)
               .value(u"status") == u"accepted"_s;
}

QJsonObject WebFixture::period(const QString& id) const {
    const QString path = u"/sync/snapshot?workspace_id="_s + m_server->workspace();
    const QJsonArray periods = m_server->request("GET", path).body.value(u"timesheet_periods").toArray();
    for (const auto& each : periods) {
        if (each.toObject().value(u"id") == id) {
            return each.toObject();
        }
    }
    return {};
}

QString WebFixture::statusOf(const QString& id) const {
    return period(id).value(u"status").toString();
}

QString WebFixture::outcome() {
    return plain(m_browser.text(u"#outcome"_s));
}

bool WebFixture::saysInTheEnd(const QString& text) {
    return QTest::qWaitFor([&] { return outcome() == text; }, Browser::patienceMs);
}

QString WebFixture::plain(QString text) {
    text.remove(QChar(0x2068)).remove(QChar(0x2069));
    static const QRegularExpression dash(u"\\s*–\\s*"_s);
    return text.replace(dash, u"–"_s);
}

QString WebFixture::part(const QString& name, const QString& id) {
    return u'#' + name + u'-' + id;
}
