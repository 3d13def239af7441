// SPDX-License-Identifier: MIT
#include "app/probe.h"

#include "controller/controller.h"

#include <QCoreApplication>
#include <QFile>
#include <QGuiApplication>
#include <QImage>
#include <QJsonDocument>
#include <QJsonObject>
#include <QQuickWindow>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

constexpr int deadlineMs = 20000;
constexpr int exitNotReady = 2;
constexpr int exitNotWritable = 3;

void fail(int code, const QString& sentence) {
    std::fputs(qPrintable(sentence + u'\n'), stderr);
    QCoreApplication::exit(code);
}

} // namespace

Probe::Probe(Controller& controller, QQuickWindow* window, QString file)
    : m_controller(controller), m_window(window), m_file(std::move(file)) {
    m_deadline.setSingleShot(true);
    connect(&m_deadline, &QTimer::timeout, qApp, [] {
        fail(exitNotReady, u"The server's data was not loaded within 20 seconds: see that the server is "
                           "running and that its address is right."_s);
    });
    m_deadline.start(deadlineMs);
    connect(&controller, &Controller::ready, this, &Probe::write);
}

void Probe::write() {
    if (!m_deadline.isActive()) {
        return;
    }
    m_deadline.stop();
    const QJsonObject result{
        {u"native_qml_loaded"_s, !m_window.isNull()},     {u"workspaces"_s, m_controller.workspaces().size()},
        {u"entries"_s, m_controller.entries().size()},    {u"read_only"_s, true},
        {u"platform"_s, QGuiApplication::platformName()}, {u"pending"_s, m_controller.pending()},
    };
    const QByteArray text = QJsonDocument(result).toJson(QJsonDocument::Indented);
    QFile file(m_file);
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size() || !file.flush()) {
        fail(exitNotWritable,
             u"The result could not be written to %1 (%2)."_s.arg(m_file, file.errorString()));
        return;
    }
    file.close();
    if (m_window) {
        // The picture is a convenience; the result file alone is the outcome.
        static_cast<void>(m_window->grabWindow().save(m_file + u".png"_s));
    }
    QCoreApplication::quit();
}
