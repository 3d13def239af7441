// SPDX-License-Identifier: MIT
#include "state/searchtext.h"

using namespace Qt::StringLiterals;

namespace {

/// What people type in place of the marks that Hebrew texts and word processors have.
char16_t plainMark(QChar mark) {
    switch (mark.unicode()) {
    case u'״':
    case u'“':
    case u'”':
    case u'„':
        return u'"';
    case u'׳':
    case u'‘':
    case u'’':
        return u'\'';
    case u'־':
    case u'‐':
    case u'–':
        return u'-';
    default:
        return mark.unicode();
    }
}

/// Points and accents of Hebrew letters, and marks that are not seen at all.
bool isLeftOut(QChar mark) {
    constexpr char16_t firstPoint = 0x0591;
    constexpr char16_t lastPoint = 0x05c7;
    const bool isHebrew = mark.unicode() >= firstPoint && mark.unicode() <= lastPoint;
    return (isHebrew && mark.category() == QChar::Mark_NonSpacing) || mark.category() == QChar::Other_Format;
}

} // namespace

QString searchText(const QString& text) {
    // By its capitals a letter is also one that folding alone keeps apart, as the German sharp s. Both can
    // take a letter apart that was whole, so the form comes last.
    QString folded = text.simplified().toUpper().toCaseFolded().normalized(QString::NormalizationForm_KC);
    folded.removeIf(isLeftOut);
    for (QChar& mark : folded) {
        mark = plainMark(mark);
    }
    return folded;
}

QString searchText(const QStringList& fields) {
    QStringList folded;
    for (const QString& field : fields) {
        folded.append(searchText(field));
    }
    return folded.join(u'\n');
}
