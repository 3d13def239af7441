// SPDX-License-Identifier: MIT
#include "devserver/base/json.h"

#include "devserver/base/time.h"

#include <algorithm>

namespace devserver {
namespace {

bool needsEscape(char c) {
    return c == '"' || c == '\\' || static_cast<unsigned char>(c) < 0x20;
}

// As QJsonDocument has it.
QByteArray escaped(char c) {
    constexpr QByteArrayView known("\"\\\b\f\n\r\t");
    constexpr QByteArrayView letters("\"\\bfnrt");
    const qsizetype at = known.indexOf(c);
    return at >= 0 ? QByteArray("\\") + letters[at] : "\\u00" + QByteArray(1, c).toHex();
}

} // namespace

JsonWriter& JsonWriter::key(const char* name) {
    separate();
    m_out += '"';
    m_out += name;
    m_out += "\":";
    return *this;
}

JsonWriter& JsonWriter::value(const QString& text) {
    separate();
    const QByteArray utf8 = text.toUtf8();
    m_out += '"';
    auto from = utf8.cbegin();
    while (from != utf8.cend()) {
        const auto special = std::find_if(from, utf8.cend(), needsEscape);
        m_out.append(from, special - from);
        if (special == utf8.cend()) {
            break;
        }
        m_out += escaped(*special);
        from = special + 1;
    }
    return add('"');
}

JsonWriter& JsonWriter::instant(const char* name, const std::optional<qint64>& moment) {
    return key(name).json(moment ? '"' + instantText(*moment) + '"' : QByteArray("null"));
}

JsonWriter& JsonWriter::json(QByteArrayView text) {
    separate();
    m_out += text;
    return *this;
}

JsonWriter& JsonWriter::begin(char bracket) {
    separate();
    return add(bracket);
}

JsonWriter& JsonWriter::add(char c) {
    m_out += c;
    return *this;
}

// Nothing stands before the first value of all, of an array, or of a field.
void JsonWriter::separate() {
    if (!m_out.isEmpty() && !QByteArrayView("{[:").contains(m_out.back())) {
        m_out += ',';
    }
}

} // namespace devserver
