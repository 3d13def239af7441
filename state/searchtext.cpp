// SPDX-License-Identifier: MIT
#include "state/searchtext.h"

using namespace Qt::StringLiterals;

QString searchText(const QString& text) {
    // By its capitals a letter is also one that folding alone keeps apart, as the German sharp s. Both can
    // take a letter apart that was whole, so the form comes last.
    return text.simplified().toUpper().toCaseFolded().normalized(QString::NormalizationForm_KC);
}

QString searchText(const QStringList& fields) {
    QStringList folded;
    for (const QString& field : fields) {
        folded.append(searchText(field));
    }
    return folded.join(u'\n');
}
