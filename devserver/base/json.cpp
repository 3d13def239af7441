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
    return add({separator(), "\"", name, "\":"});
}

JsonWriter& JsonWriter::value(const QString& text) {
    const QByteArray utf8 = text.toUtf8();
    if (std::none_of(utf8.begin(), utf8.end(), needsEscape)) {
        return add({separator(), "\"", utf8, "\""});
    }
    add({separator(), "\""});
    for (auto from = utf8.begin(); from != utf8.end();) {
        const auto special = std::find_if(from, utf8.end(), needsEscape);
        const bool found = special != utf8.end();
        add({{from, special}, found ? escaped(*special) : QByteArray()});
        from = special + (found ? 1 : 0);
    }
    return add({"\""});
}

JsonWriter& JsonWriter::instant(const char* name, const std::optional<qint64>& moment) {
    key(name);
    return moment ? add({"\"", instantText(*moment), "\""}) : json("null");
}

// Nothing stands before the first value of all, of an array, or of a field.
QByteArrayView JsonWriter::separator() const {
    const char last = m_out.isEmpty() ? '[' : m_out.back();
    return last == '{' || last == '[' || last == ':' ? "" : ",";
}

// Grows once for all: appended by one, as QByteArray does it, the hundred pieces of a
// report's row take longer than what they are made from.
JsonWriter& JsonWriter::add(std::initializer_list<QByteArrayView> pieces) {
    const qsizetype before = m_out.size();
    qsizetype after = before;
    for (const QByteArrayView piece : pieces) {
        after += piece.size();
    }
    if (after > m_out.capacity()) {
        m_out.reserve(std::max(qsizetype{1000}, 2 * after));
    }
    m_out.resize(after);
    char* to = m_out.data() + before;
    for (const QByteArrayView piece : pieces) {
        to = std::copy(piece.begin(), piece.end(), to);
    }
    return *this;
}

} // namespace devserver
