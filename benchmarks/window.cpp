// SPDX-License-Identifier: MIT
#include <QApplication>
#include <QFont>
#include <QQmlApplicationEngine>
#include <QQuickStyle>

/// The least that a Material window can be: what the program's start is compared with.
int main(int argc, char* argv[]) {
    const QApplication application(argc, argv);
    QQuickStyle::setStyle(QStringLiteral("Material"));
    QApplication::setFont(QFont(QStringLiteral("Arimo"), 11));
    QQmlApplicationEngine engine(QUrl(QStringLiteral("qrc:/Window.qml")));
    return engine.rootObjects().isEmpty() ? 1 : QApplication::exec();
}
