// SPDX-License-Identifier: MIT
#include "vault/documenttext.h"

#include "vault/wipe.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <cstring>
#include <utility>

namespace {

// The document and its snapshot are taken apart; their members hold the large arrays.
constexpr int depthOfMembers = 2;
// Large enough for few pieces, small enough for one change to cost little.
constexpr qsizetype blockSize = 256;

// A handle is one pointer to data that nobody changes while it is shared, and
// every handle compared here is kept: equal pointers mean equal text. Comparing
// the values instead would be slow and too lenient: 2^63 equals 2^63 - 1 there.
template <typename Handle>
bool sharesData(const Handle& left, const Handle& right) {
    static_assert(sizeof(Handle) == sizeof(void*));
    return std::memcmp(static_cast<const void*>(&left), static_cast<const void*>(&right), sizeof(Handle)) ==
           0;
}

bool isUnchanged(const QJsonValue& before, const QJsonValue& now) {
    if (before.type() != now.type()) {
        return false;
    }
    switch (now.type()) {
    case QJsonValue::Object:
        return sharesData(before.toObject(), now.toObject());
    case QJsonValue::Array:
        return sharesData(before.toArray(), now.toArray());
    case QJsonValue::Double:
        return false;
    default:
        return before == now;
    }
}

QByteArray listText(const QJsonArray& values) {
    return QJsonDocument(values).toJson(QJsonDocument::Compact);
}

QByteArrayView withoutBrackets(const QByteArray& text) {
    return QByteArrayView(text).sliced(1, text.size() - 2);
}

bool blockIsUnchanged(const QJsonArray& before, const QJsonArray& now, qsizetype first) {
    const qsizetype end = std::min(first + blockSize, now.size());
    if (end != std::min(first + blockSize, before.size())) {
        return false;
    }
    for (qsizetype index = first; index < end; ++index) {
        if (!isUnchanged(before.at(index), now.at(index))) {
            return false;
        }
    }
    return true;
}

// How deep the brackets of a text go, leaving out those within strings.
int nestingOf(const QByteArray& text) {
    int depth = 0;
    int deepest = 0;
    bool quoted = false;
    for (qsizetype index = 0; index < text.size(); ++index) {
        const char character = text.at(index);
        if (character == '"') {
            quoted = !quoted;
        } else if (quoted) {
            index += character == '\\' ? 1 : 0;
        } else if (character == '{' || character == '[') {
            deepest = std::max(deepest, ++depth);
        } else if (character == '}' || character == ']') {
            --depth;
        }
    }
    return deepest;
}

QByteArray blockText(const QJsonArray& array, qsizetype first) {
    QJsonArray block;
    for (qsizetype index = first; index < std::min(first + blockSize, array.size()); ++index) {
        block.append(array.at(index));
    }
    return listText(block);
}

} // namespace

bool DocumentText::update(const QJsonObject& state) {
    return m_root.update(state, 0);
}

int DocumentText::nesting() const {
    return m_root.nesting();
}

void DocumentText::clear() {
    m_root.update(QJsonValue::Undefined, 0);
}

bool DocumentText::Piece::replace(QByteArray next) {
    if (text == next) {
        wipe(next);
        return false;
    }
    wipe(text);
    text = std::move(next);
    nesting = nestingOf(text);
    return true;
}

DocumentText::Node::~Node() {
    forget();
    wipe(m_key);
}

bool DocumentText::Node::update(const QJsonValue& value, int depth) {
    const bool asMembers = value.isObject() && depth < depthOfMembers;
    const Form form = asMembers ? Form::Members : value.isArray() ? Form::Blocks : Form::Text;
    const bool sameForm = form == m_form;
    if (!sameForm || value.isUndefined()) {
        forget();
    }
    m_form = form;
    if (value.isUndefined() || isUnchanged(m_value, value)) {
        return false;
    }
    bool changed = !sameForm;
    if (form == Form::Members) {
        changed |= updateMembers(value.toObject(), depth);
    } else if (form == Form::Blocks) {
        changed |= updateBlocks(value.toArray());
    } else {
        m_pieces.resize(1);
        changed |= m_pieces.front().replace(listText({value}));
    }
    m_value = value;
    return changed;
}

bool DocumentText::Node::updateMembers(const QJsonObject& object, int depth) {
    const auto isGone = [&object](const auto& member) { return !object.contains(member.first); };
    bool changed = std::erase_if(m_members, isGone) > 0;
    for (auto member = object.begin(); member != object.end(); ++member) {
        Node& node = m_members[member.key()];
        if (node.m_key.isEmpty()) {
            node.m_key = listText({member.key()});
            changed = true;
        }
        changed |= node.update(member.value(), depth + 1);
    }
    return changed;
}

bool DocumentText::Node::updateBlocks(const QJsonArray& array) {
    const QJsonArray before = m_value.toArray();
    const auto count = static_cast<size_t>((array.size() + blockSize - 1) / blockSize);
    bool changed = count != m_pieces.size();
    while (m_pieces.size() > count) {
        wipe(m_pieces.back().text);
        m_pieces.pop_back();
    }
    m_pieces.resize(count);
    for (size_t block = 0; block < count; ++block) {
        const qsizetype first = static_cast<qsizetype>(block) * blockSize;
        Piece& piece = m_pieces[block];
        if (piece.text.isEmpty() || !blockIsUnchanged(before, array, first)) {
            changed |= piece.replace(blockText(array, first));
        }
    }
    return changed;
}

void DocumentText::Node::forget() {
    for (Piece& piece : m_pieces) {
        wipe(piece.text);
    }
    m_pieces.clear();
    m_members.clear();
    m_value = QJsonValue::Undefined;
}

int DocumentText::Node::nesting() const {
    if (m_form == Form::Text) {
        return m_pieces.front().nesting - 1; // without the list around it
    }
    int deepest = m_form == Form::Members ? 0 : 1;
    for (const Piece& piece : m_pieces) {
        deepest = std::max(deepest, piece.nesting);
    }
    for (const auto& [name, member] : m_members) {
        deepest = std::max(deepest, member.nesting());
    }
    return m_form == Form::Members ? deepest + 1 : deepest;
}

qsizetype DocumentText::Node::longest() const {
    // Brackets give way to commas.
    qsizetype length = 2;
    for (const Piece& piece : m_pieces) {
        length += piece.text.size();
    }
    for (const auto& [name, member] : m_members) {
        length += member.m_key.size() + member.longest();
    }
    return length;
}

void DocumentText::Node::appendTo(QByteArray& out) const {
    if (m_form == Form::Text) {
        out.append(withoutBrackets(m_pieces.front().text));
        return;
    }
    out.append(m_form == Form::Members ? '{' : '[');
    bool first = true;
    const auto separate = [&out, &first] {
        if (!std::exchange(first, false)) {
            out.append(',');
        }
    };
    // In the order of the object, which is not left to another string comparison.
    const QJsonObject object = m_value.toObject();
    for (auto name = object.begin(); name != object.end(); ++name) {
        const Node& member = m_members.at(name.key());
        separate();
        out.append(withoutBrackets(member.m_key)).append(':');
        member.appendTo(out);
    }
    for (const Piece& piece : m_pieces) {
        separate();
        out.append(withoutBrackets(piece.text));
    }
    out.append(m_form == Form::Members ? '}' : ']');
}
