// SPDX-License-Identifier: MIT
#include "tests/support/browser.h"

#include <QJsonDocument>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QSignalSpy>
#include <QUrl>

#include <memory>
#include <tuple>

using namespace Qt::StringLiterals;

namespace {

// The name under which the standard hands out elements.
const QString elementKey = u"element-6066-11e4-a52e-4f735466cecf"_s;
const QByteArray post = "POST"_ba;
const QByteArray get = "GET"_ba;

QJsonObject options(const QString& profile) {
    const QJsonArray arguments{
        u"--headless"_s,
        u"--no-sandbox"_s, // the tests may run as root
        u"--disable-gpu"_s,
        u"--disable-quic"_s,
        u"--no-first-run"_s,
        u"--disable-background-networking"_s,
        u"--disable-component-update"_s,
        u"--disable-sync"_s,
        u"--disable-dev-shm-usage"_s,
        u"--window-size=1000,800"_s,
        u"--host-resolver-rules=MAP * ~NOTFOUND, EXCLUDE 127.0.0.1, EXCLUDE localhost"_s,
        QString(u"--user-data-dir="_s + profile),
    };
    const QJsonObject chrome{{u"binary"_s, QStringLiteral(CHROMIUM)}, {u"args"_s, arguments}};
    return {{u"browserName"_s, u"chrome"_s},
            {u"goog:chromeOptions"_s, chrome},
            {u"goog:loggingPrefs"_s, QJsonObject{{u"browser"_s, u"ALL"_s}}}};
}

QJsonObject keyAction(const QString& type, QChar key) {
    return {{u"type"_s, type}, {u"value"_s, QString(key)}};
}

} // namespace

Browser::~Browser() {
    if (!m_session.isEmpty()) {
        std::ignore = done("DELETE", {});
    }
    m_driver.terminate();
    if (m_driver.state() != QProcess::NotRunning && !m_driver.waitForFinished()) {
        m_driver.kill();
        m_driver.waitForFinished();
    }
}

bool Browser::startDriver() {
    m_driver.setStandardErrorFile(QProcess::nullDevice()); // the browser's own chatter
    m_driver.start(QStringLiteral(CHROMEDRIVER), {u"--port=0"_s});
    const QByteArray ready = "started successfully on port ";
    while (m_driver.canReadLine() || m_driver.waitForReadyRead(patienceMs)) {
        const QByteArray line = m_driver.canReadLine() ? m_driver.readLine().trimmed() : QByteArray();
        if (const qsizetype at = line.indexOf(ready); at >= 0) {
            QByteArray port = line.sliced(at + ready.size());
            port.chop(port.endsWith('.') ? 1 : 0);
            m_address = u"http://127.0.0.1:"_s + QString::fromLatin1(port);
            return true;
        }
    }
    m_problem = u"the driver did not start: "_s + m_driver.errorString();
    return false;
}

bool Browser::start() {
    if (!m_profile.isValid() || !startDriver()) {
        return false;
    }
    const QJsonObject capabilities{{u"alwaysMatch"_s, options(m_profile.path())}};
    const QJsonValue session = request(post, u"/session"_s, QJsonObject{{u"capabilities"_s, capabilities}});
    m_session = session.toObject().value(u"sessionId").toString();
    return !m_session.isEmpty();
}

QJsonValue Browser::request(const QByteArray& method, const QString& path, const QJsonValue& body) {
    QNetworkRequest request{QUrl(m_address + path)};
    request.setHeader(QNetworkRequest::ContentTypeHeader, u"application/json"_s);
    const QByteArray bytes =
        method == post ? QJsonDocument(body.toObject()).toJson(QJsonDocument::Compact) : QByteArray();
    const std::unique_ptr<QNetworkReply> reply(m_network.sendCustomRequest(request, method, bytes));
    QSignalSpy finished(reply.get(), &QNetworkReply::finished);
    if (!reply->isFinished() && !finished.wait(patienceMs)) {
        m_problem = u"the driver did not answer "_s + path;
        return QJsonValue::Undefined;
    }
    QJsonValue value = QJsonDocument::fromJson(reply->readAll()).object().value(u"value");
    if (reply->error() != QNetworkReply::NoError) {
        const QString message = value.toObject().value(u"message").toString();
        m_problem = path + u": "_s + (message.isEmpty() ? reply->errorString() : message);
        return QJsonValue::Undefined;
    }
    return value;
}

QJsonValue Browser::command(const QByteArray& method, const QString& path, const QJsonObject& body) {
    return request(method, u"/session/"_s + m_session + path, body);
}

bool Browser::done(const QByteArray& method, const QString& path, const QJsonObject& body) {
    return !command(method, path, body).isUndefined();
}

bool Browser::devtools(const QString& name, const QJsonObject& parameters) {
    return done(post, u"/goog/cdp/execute"_s, {{u"cmd"_s, name}, {u"params"_s, parameters}});
}

QString Browser::element(const QString& selector) {
    const QJsonObject found =
        command(post, u"/element"_s, {{u"using"_s, u"css selector"_s}, {u"value"_s, selector}}).toObject();
    return u"/element/"_s + found.value(elementKey).toString(u"missing"_s);
}

bool Browser::open(const QString& url) {
    return done(post, u"/url"_s, {{u"url"_s, url}});
}

bool Browser::reload() {
    return done(post, u"/refresh"_s);
}

bool Browser::click(const QString& selector) {
    return done(post, element(selector) + u"/click"_s);
}

bool Browser::doubleClick(const QString& selector) {
    const QString id = element(selector).section(u'/', -1);
    const QJsonObject down{{u"type"_s, u"pointerDown"_s}, {u"button"_s, 0}};
    const QJsonObject up{{u"type"_s, u"pointerUp"_s}, {u"button"_s, 0}};
    const QJsonObject move{{u"type"_s, u"pointerMove"_s},
                           {u"origin"_s, QJsonObject{{elementKey, id}}},
                           {u"x"_s, 0},
                           {u"y"_s, 0}};
    const QJsonObject mouse{{u"type"_s, u"pointer"_s},
                            {u"id"_s, u"mouse"_s},
                            {u"actions"_s, QJsonArray{move, down, up, down, up}}};
    return done(post, u"/actions"_s, {{u"actions"_s, QJsonArray{mouse}}});
}

bool Browser::type(const QString& selector, const QString& text) {
    return done(post, element(selector) + u"/value"_s, {{u"text"_s, text}});
}

bool Browser::press(QChar key) {
    const QJsonObject keyboard{
        {u"type"_s, u"key"_s},
        {u"id"_s, u"keyboard"_s},
        {u"actions"_s, QJsonArray{keyAction(u"keyDown"_s, key), keyAction(u"keyUp"_s, key)}}};
    return done(post, u"/actions"_s, {{u"actions"_s, QJsonArray{keyboard}}});
}

bool Browser::tabTo(const QString& selector) {
    constexpr int most = 200; // more than any page has
    for (int i = 0; i < most; ++i) {
        if (isFocused(selector)) {
            return true;
        }
        if (!press(tab)) {
            return false;
        }
    }
    m_problem = u"the focus never came to "_s + selector;
    return false;
}

bool Browser::shows(const QString& selector) {
    const QString found = element(selector);
    return !found.endsWith(u"/missing") && command(get, found + u"/displayed"_s).toBool();
}

QString Browser::text(const QString& selector) {
    return command(get, element(selector) + u"/text"_s).toString();
}

QString Browser::label(const QString& selector) {
    return command(get, element(selector) + u"/computedlabel"_s).toString();
}

QString Browser::role(const QString& selector) {
    return command(get, element(selector) + u"/computedrole"_s).toString();
}

bool Browser::isFocused(const QString& selector) {
    const QJsonArray arguments{selector};
    return command(post, u"/execute/sync"_s,
                   {{u"script"_s, u"return document.activeElement.matches(arguments[0])"_s},
                    {u"args"_s, arguments}})
        .toBool();
}

QJsonValue Browser::evaluate(const QString& expression) {
    return command(post, u"/execute/sync"_s,
                   {{u"script"_s, QString(u"return "_s + expression)}, {u"args"_s, QJsonArray()}});
}

bool Browser::setTheme(Theme theme) {
    const QJsonObject feature{{u"name"_s, u"prefers-color-scheme"_s},
                              {u"value"_s, theme == Theme::Dark ? u"dark"_s : u"light"_s}};
    return devtools(u"Emulation.setEmulatedMedia"_s, {{u"features"_s, QJsonArray{feature}}});
}

bool Browser::setSize(int width, int height) {
    return devtools(
        u"Emulation.setDeviceMetricsOverride"_s,
        {{u"width"_s, width}, {u"height"_s, height}, {u"deviceScaleFactor"_s, 1}, {u"mobile"_s, false}});
}

QJsonArray Browser::cookies() {
    return command(get, u"/cookie"_s).toArray();
}

QJsonArray Browser::errors() {
    return command(post, u"/se/log"_s, {{u"type"_s, u"browser"_s}}).toArray();
}

bool Browser::openTab(const QString& url) {
    const QJsonObject made = command(post, u"/window/new"_s, {{u"type"_s, u"tab"_s}}).toObject();
    return done(post, u"/window"_s, {{u"handle"_s, made.value(u"handle")}}) && open(url);
}

bool Browser::goToTab(qsizetype number) {
    const QJsonArray handles = command(get, u"/window/handles"_s).toArray();
    return done(post, u"/window"_s, {{u"handle"_s, handles.at(number)}});
}
