// SPDX-License-Identifier: MIT
#include "devserver/base/jsontext.h"

#include <algorithm>

namespace devserver {
namespace {

void appendEscaped(QByteArray& out, char c) {
    constexpr char hexDigits[] = "0123456789abcdef";
    switch (c) {
    case '"':
        out += "\\\"";
        return;
    case '\\':
        out += "\\\\";
        return;
    case '\n':
        out += "\\n";
        return;
    case '\r':
        out += "\\r";
        return;
    case '\t':
        out += "\\t";
        return;
    default:
        out += "\\u00";
        out += hexDigits[(c >> 4) & 0xf];
        out += hexDigits[c & 0xf];
    }
}

bool needsEscape(char c) {
    return c == '"' || c == '\\' || static_cast<unsigned char>(c) < 0x20;
}

} // namespace

void appendString(QByteArray& out, QStringView text) {
    const QByteArray utf8 = text.toUtf8();
    out += '"';
    auto from = utf8.cbegin();
    while (from != utf8.cend()) {
        const auto special = std::find_if(from, utf8.cend(), needsEscape);
        out.append(from, special - from);
        if (special == utf8.cend()) {
            break;
        }
        appendEscaped(out, *special);
        from = special + 1;
    }
    out += '"';
}

void appendStringOrNull(QByteArray& out, const std::optional<QString>& text) {
    if (text) {
        appendString(out, *text);
    } else {
        out += "null";
    }
}

void closeArray(QByteArray& out) {
    if (out.endsWith(',')) {
        out.chop(1);
    }
    out += ']';
}

bool isId(QStringView id) {
    if (id.size() != 36) {
        return false;
    }
    for (qsizetype i = 0; i < id.size(); ++i) {
        const char16_t c = id[i].unicode();
        const bool hyphen = i == 8 || i == 13 || i == 18 || i == 23;
        const bool digit = (c >= u'0' && c <= u'9') || (c >= u'a' && c <= u'f');
        if (hyphen ? c != u'-' : !digit) {
            return false;
        }
    }
    return true;
}

bool isStorableText(QStringView text) {
    return !text.contains(QChar(0)) && text.isValidUtf16();
}

} // namespace devserver
