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
    const auto isPassedOver = [](QChar c) {
        return c.isSpace() || c.category() == QChar::Other_Format || c.category() == QChar::Other_Control;
    };
    const auto first = std::find_if_not(text.begin(), text.end(), isPassedOver);
    const bool isFormula = first != text.end() && u"=+-@＝＋－＠"_s.contains(*first);
    const bool beginsWithControl = !text.isEmpty() && text.front().category() == QChar::Other_Control;
    return isFormula || beginsWithControl ? u'\'' + text : text;
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
