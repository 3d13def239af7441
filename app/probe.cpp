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

using namespace Qt::StringLiterals;

namespace {

constexpr int deadlineMs = 20000;
constexpr int exitNotReady = 2;
constexpr int exitNotWritable = 3;

} // namespace

Probe::Probe(Controller& controller, QQuickWindow* window, QString file)
    : m_controller(controller), m_window(window), m_file(std::move(file)) {
    m_deadline.setSingleShot(true);
    connect(&m_deadline, &QTimer::timeout, qApp, [] { QCoreApplication::exit(exitNotReady); });
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
        QCoreApplication::exit(exitNotWritable);
        return;
    }
    file.close();
    if (m_window) {
        // The picture is a convenience; the result file alone is the outcome.
        static_cast<void>(m_window->grabWindow().save(m_file + u".png"_s));
    }
    QCoreApplication::quit();
}
