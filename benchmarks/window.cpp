// SPDX-License-Identifier: MIT
#include <QApplication>
#include <QFont>
#include <QQmlApplicationEngine>
#include <QQuickStyle>

using namespace Qt::StringLiterals;

/// The least that a Material window can be: what the program's start is compared with.
int main(int argc, char* argv[]) {
    const QApplication application(argc, argv);
    QQuickStyle::setStyle(u"Material"_s);
    QApplication::setFont(QFont(u"Arimo"_s, 11));
    QQmlApplicationEngine engine(QUrl(u"qrc:/Window.qml"_s));
    return engine.rootObjects().isEmpty() ? 1 : QApplication::exec();
}
