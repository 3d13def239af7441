// SPDX-License-Identifier: MIT
#include "tests/window/windowfixture.h"

#include <QApplication>
#include <QFile>
#include <QFontDatabase>
#include <QFontInfo>
#include <QGlyphRun>
#include <QTemporaryDir>
#include <QTest>
#include <QTextLayout>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

/// The machine's fonts as if the package of Arimo were not installed.
bool hideArimo(const QTemporaryDir& folder) {
    QFile rules(folder.filePath(u"fonts.conf"_s));
    QByteArray text = "<fontconfig><include>/etc/fonts/fonts.conf</include><selectfont><rejectfont>";
    for (const QByteArray& family : {QByteArray("Arimo"), QByteArray("Cousine"), QByteArray("Tinos")}) {
        text += "<pattern><patelt name='family'><string>" + family + "</string></patelt></pattern>";
    }
    text += "</rejectfont></selectfont></fontconfig>";
    return rules.open(QIODevice::WriteOnly) && rules.write(text) == text.size() &&
           qputenv("FONTCONFIG_FILE", QFile::encodeName(rules.fileName()));
}

bool isHebrew(QChar character) {
    return character.script() == QChar::Script_Hebrew;
}

/// Whether every character of it is drawn, and not a box in its place.
bool isDrawn(const QString& text, const QFont& font) {
    QTextLayout layout(text, font);
    layout.beginLayout();
    layout.createLine();
    layout.endLayout();
    const QList<QGlyphRun> runs = layout.glyphRuns();
    return !runs.isEmpty() && std::all_of(runs.begin(), runs.end(), [](const QGlyphRun& run) {
        return !run.glyphIndexes().contains(0);
    });
}

} // namespace

/// The window on a machine without its font.
class WindowFallbackFontTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void drawsEveryTextInHebrew();
};

void WindowFallbackFontTest::drawsEveryTextInHebrew() {
    QVERIFY(!QFontDatabase::families().contains(u"Arimo"_s));
    QVERIFY(QFontInfo(QGuiApplication::font()).family() != u"Arimo"_s);
    const WindowFixture fixture;
    int hebrew = 0;
    for (int tab = 0; tab < 5; ++tab) {
        fixture.openTab(tab);
        const QList<QQuickItem*> items = WindowFixture::textItems(fixture.window->contentItem());
        for (const QQuickItem* const item : items) {
            const QString text = item->property("text").toString();
            hebrew += int(std::any_of(text.begin(), text.end(), isHebrew));
            QVERIFY2(isDrawn(text, item->property("font").value<QFont>()), qPrintable(text));
        }
    }
    QVERIFY(hebrew > 40);
}

int main(int argc, char* argv[]) {
    const QTemporaryDir folder;
    if (!hideArimo(folder)) {
        qFatal("the fonts' rules cannot be written");
    }
    QApplication application(argc, argv);
    prepareApplication();
    WindowFallbackFontTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "fallbackfont.moc"
