// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/browser.h"
#include "tests/support/devserver.h"

#include <QDate>
#include <QJsonObject>
#include <QObject>

#include <memory>

/// The page in a browser, and for each test a server of its own behind it.
class WebFixture : public QObject {
    Q_OBJECT

    DevServer::Data m_data;

protected:
    explicit WebFixture(DevServer::Data data = DevServer::Data::Empty) : m_data(data) {}

    /// Loads the page and waits until it shows the timesheet.
    [[nodiscard]] bool openPage();
    /// Gives the loaded page's requests a switch: `window.mode` is "hold" for
    /// changes that wait until `release()`, "lose" for changes whose answers do
    /// not arrive, "deaf" when nothing can be read. `window.sent` counts changes.
    [[nodiscard]] bool intercept(const QString& mode);
    [[nodiscard]] bool setMode(const QString& mode);
    /// Lets the held change go.
    [[nodiscard]] bool release();
    /// A Hebrew visitor changes the language.
    [[nodiscard]] bool chooseEnglish();
    /// A week of the development user's, written past the page, from this day in UTC; its id.
    QString addPeriod(QDate from, const QString& status, const QString& reason = {});
    /// An entry of the development user's, from "2026-03-01T08:00:00Z".
    [[nodiscard]] bool addEntry(const QString& start, const QString& stop, const QString& description);
    /// What the server says of a period now.
    [[nodiscard]] QJsonObject period(const QString& id) const;
    [[nodiscard]] QString statusOf(const QString& id) const;
    [[nodiscard]] QString outcome();
    [[nodiscard]] bool saysInTheEnd(const QString& text);
    /// Without the spaces that some versions of the browser put around a range's
    /// dash, and without the marks that keep a name's direction to itself.
    [[nodiscard]] static QString plain(QString text);
    /// The selector of a period's element: "toggle", "submit", "approve", "reopen", "entries".
    [[nodiscard]] static QString part(const QString& name, const QString& id);

    Browser m_browser;
    std::unique_ptr<DevServer> m_server;

private Q_SLOTS:
    void initTestCase();
    void init();
};
