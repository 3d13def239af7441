// SPDX-License-Identifier: MIT
#include "importtext.h"

#include <QJsonDocument>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype longRows = 200;

} // namespace

ImportText::ImportText(QObject* parent) : QObject(parent), m_text(indented({})) {
    m_later.setSingleShot(true);
    connect(&m_later, &QTimer::timeout, this, &ImportText::read);
}

void ImportText::setController(Controller* controller) {
    if (m_controller == controller) {
        return;
    }
    m_controller = controller;
    connect(controller, &Controller::changed, this, &ImportText::follow);
    follow();
    Q_EMIT controllerChanged();
}

void ImportText::follow() {
    const qint64 number = m_controller->importCounts().value(u"number"_s).toLongLong();
    if (number == m_number) {
        return;
    }
    m_number = number;
    if (m_controller->importRows().size() > longRows) {
        m_later.start();
    } else {
        m_later.stop();
        read();
    }
}

void ImportText::read() {
    m_text = indented(QJsonObject::fromVariantMap(m_controller->importPreview()));
    Q_EMIT textChanged();
}

QString ImportText::indented(const QJsonObject& object) {
    const QByteArray wide = QJsonDocument(object).toJson();
    QByteArray text;
    text.reserve(wide.size());
    // No value holds a line break of its own, so each line begins with its indentation: four blanks a step.
    for (qsizetype from = 0; from < wide.size();) {
        const qsizetype next = std::min(wide.size(), wide.indexOf('\n', from) + 1);
        qsizetype first = from;
        while (wide.at(first) == ' ') {
            ++first;
        }
        const bool closesEmpty = (wide.at(first) == ']' && text.endsWith("[\n")) ||
                                 (wide.at(first) == '}' && text.endsWith("{\n"));
        if (closesEmpty) {
            text.chop(1);
        } else {
            text.append((first - from) / 2, ' ');
        }
        text.append(wide.constData() + first, next - first);
        from = next;
    }
    text.chop(1);
    return QString::fromUtf8(text);
}
