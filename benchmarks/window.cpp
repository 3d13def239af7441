// SPDX-License-Identifier: MIT
#include "benchmarks/window.h"

#include <QApplication>
#include <QFont>
#include <QQmlApplicationEngine>
#include <QQuickStyle>

using namespace Qt::StringLiterals;

int showBareWindow() {
    QQuickStyle::setStyle(u"Material"_s);
    QApplication::setFont(QFont(u"Arimo"_s, 11));
    QQmlApplicationEngine engine(QUrl(u"qrc:/Window.qml"_s));
    return engine.rootObjects().isEmpty() ? 1 : QApplication::exec();
}
