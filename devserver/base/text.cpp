// SPDX-License-Identifier: MIT
#include "devserver/base/text.h"

#include <QCryptographicHash>
#include <QJsonDocument>
#include <QUuid>

#include <algorithm>

namespace devserver {

bool isId(const QString& id) {
    return QUuid::fromString(id).toString(QUuid::WithoutBraces) == id;
}

QString newId() {
    return QUuid::createUuid().toString(QUuid::WithoutBraces);
}

bool isStorableText(QStringView text) {
    return !text.contains(QChar(0)) && text.isValidUtf16();
}

QString durationText(qint64 seconds) {
    const auto twoDigits = [](qint64 number) { return QString::number(number).rightJustified(2, u'0'); };
    return QString::number(seconds / 3600) + u':' + twoDigits(seconds / 60 % 60) + u':' +
           twoDigits(seconds % 60);
}

QString harmless(const QString& text) {
    const auto isControl = [](QChar c) { return c.category() == QChar::Other_Control; };
    // An apostrophe of the text's own would otherwise be the one that withoutGuard takes away.
    const auto isPassedOver = [&](QChar c) {
        return c == u'\'' || c.isSpace() || c.category() == QChar::Other_Format || isControl(c);
    };
    const auto first = std::find_if_not(text.begin(), text.end(), isPassedOver);
    const bool isFormula = first != text.end() && u"=+-@＝＋－＠"_s.contains(*first);
    return isFormula || std::any_of(text.begin(), first, isControl) ? u'\'' + text : text;
}

QString withoutGuard(const QString& text) {
    const QString rest = text.mid(1);
    return text.startsWith(u'\'') && harmless(rest) != rest ? rest : text;
}

QString fingerprintOf(const QJsonObject& record) {
    const QByteArray text = QJsonDocument(record).toJson(QJsonDocument::Compact);
    return QString::fromLatin1(QCryptographicHash::hash(text, QCryptographicHash::Sha256).toHex());
}

} // namespace devserver
