// SPDX-License-Identifier: MIT
#include "tests/state/fixtures.h"

#include <QFile>
#include <QJsonDocument>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

QString text(const QJsonValue& value) {
    if (value.isUndefined()) {
        return u"nothing"_s;
    }
    const QByteArray json = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return QString::fromUtf8(json.mid(1, json.size() - 2));
}

QString objectDifferences(const QJsonObject& expected, const QJsonObject& actual, const QString& path) {
    QStringList keys = expected.keys() + actual.keys();
    keys.sort();
    keys.removeDuplicates();
    QString all;
    for (const QString& key : std::as_const(keys)) {
        all += differences(expected.value(key), actual.value(key), path + u'.' + key);
    }
    return all;
}

QString arrayDifferences(const QJsonArray& expected, const QJsonArray& actual, const QString& path) {
    QString all;
    for (qsizetype i = 0; i < std::max(expected.size(), actual.size()); ++i) {
        all += differences(expected.at(i), actual.at(i), u"%1[%2]"_s.arg(path).arg(i));
    }
    return all;
}

} // namespace

QJsonArray casesOf(const QString& file) {
    QFile source(QStringLiteral(TEST_DATA "/") + file);
    if (!source.open(QIODevice::ReadOnly)) {
        qFatal("cannot open %s", qPrintable(source.fileName()));
    }
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(source.readAll(), &error);
    if (error.error != QJsonParseError::NoError) {
        qFatal("%s: %s at %d", qPrintable(file), qPrintable(error.errorString()), error.offset);
    }
    if (document.array().isEmpty()) {
        qFatal("%s holds no cases", qPrintable(file));
    }
    return document.array();
}

void addCases(const QString& file) {
    QTest::addColumn<QJsonObject>("given");
    for (const auto& element : casesOf(file)) {
        const QJsonObject given = element.toObject();
        QTest::newRow(qPrintable(given.value("name"_L1).toString())) << given;
    }
}

QString differences(const QJsonValue& expected, const QJsonValue& actual, const QString& path) {
    if (expected.isObject() && actual.isObject()) {
        return objectDifferences(expected.toObject(), actual.toObject(), path);
    }
    if (expected.isArray() && actual.isArray()) {
        return arrayDifferences(expected.toArray(), actual.toArray(), path);
    }
    if (expected == actual) {
        return {};
    }
    return u"\n%1: expected %2, got %3"_s.arg(path, text(expected), text(actual));
}
