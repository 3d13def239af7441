// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QNetworkAccessManager>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>

/// A real Chromium without a window, with a profile of its own, driven as the
/// W3C WebDriver standard says. It reaches this machine's loopback and nothing
/// else. An element is named by a CSS selector; a command on one that is not
/// there fails.
class Browser {
public:
    /// Each end of a wait; generous, since machines are busy.
    static constexpr int patienceMs = 90'000;

    enum class Theme { Light, Dark };

    Browser() = default;
    ~Browser();
    Q_DISABLE_COPY_MOVE(Browser)

    /// False, with the reason in `problem`, when driver or browser do not start.
    [[nodiscard]] bool start();
    [[nodiscard]] bool open(const QString& url);
    [[nodiscard]] bool reload();

    /// A click of the mouse in the element's middle; false when something covers it.
    [[nodiscard]] bool click(const QString& selector);
    /// Two clicks as fast as a hand makes them.
    [[nodiscard]] bool doubleClick(const QString& selector);
    /// Types into the element, which gets the focus.
    [[nodiscard]] bool type(const QString& selector, const QString& text);
    /// Presses and releases one key, wherever the focus is.
    [[nodiscard]] bool press(QChar key);
    /// Presses Tab until the element has the focus; false after a whole round.
    [[nodiscard]] bool tabTo(const QString& selector);

    [[nodiscard]] bool shows(const QString& selector);
    [[nodiscard]] QString text(const QString& selector);
    /// The accessible name and role, as the browser computes them.
    [[nodiscard]] QString label(const QString& selector);
    [[nodiscard]] QString role(const QString& selector);
    [[nodiscard]] bool isFocused(const QString& selector);
    /// The value of a JavaScript expression.
    [[nodiscard]] QJsonValue evaluate(const QString& expression);

    [[nodiscard]] bool setTheme(Theme theme);
    [[nodiscard]] bool setSize(int width, int height);
    [[nodiscard]] QJsonArray cookies();
    /// What went wrong on the page since the last call: errors of scripts, refused loads.
    [[nodiscard]] QJsonArray errors();

    /// Opens another tab of the same browser and goes there.
    [[nodiscard]] bool openTab(const QString& url);
    /// Goes to a tab, the first being 0.
    [[nodiscard]] bool goToTab(qsizetype number);

    /// Why the last command failed.
    [[nodiscard]] QString problem() const { return m_problem; }

    static constexpr QChar tab = QChar(0xe004);
    static constexpr QChar enter = QChar(0xe007);
    static constexpr QChar space = QChar(u' ');
    static constexpr QChar escape = QChar(0xe00c);

private:
    [[nodiscard]] bool startDriver();
    [[nodiscard]] QJsonValue request(const QByteArray& method, const QString& path, const QJsonValue& body);
    [[nodiscard]] QJsonValue command(const QByteArray& method, const QString& path,
                                     const QJsonObject& body = {});
    [[nodiscard]] bool done(const QByteArray& method, const QString& path, const QJsonObject& body = {});
    [[nodiscard]] bool devtools(const QString& name, const QJsonObject& parameters);
    [[nodiscard]] QString element(const QString& selector);

    QTemporaryDir m_profile;
    QProcess m_driver;
    QNetworkAccessManager m_network;
    QString m_address;
    QString m_session;
    QString m_problem;
};
