// SPDX-License-Identifier: MIT
#include "vault/documenttext.h"

#include "vault/wipe.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <cstring>

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

QByteArray blockText(const QJsonArray& array, qsizetype first) {
    QJsonArray block;
    for (qsizetype index = first; index < std::min(first + blockSize, array.size()); ++index) {
        block.append(array.at(index));
    }
    return listText(block);
}

} // namespace

QByteArray DocumentText::of(const QJsonObject& state) {
    m_root.update(state, 0);
    QByteArray text;
    text.reserve(m_root.length());
    m_root.appendTo(text);
    return text;
}

void DocumentText::clear() {
    m_root.update(QJsonValue::Undefined, 0);
}

DocumentText::Node::~Node() {
    forget();
    wipe(m_key);
}

void DocumentText::Node::update(const QJsonValue& value, int depth) {
    const bool asMembers = value.isObject() && depth < depthOfMembers;
    const Form form = asMembers ? Form::Members : value.isArray() ? Form::Blocks : Form::Text;
    if (form != m_form || value.isUndefined()) {
        forget();
    }
    m_form = form;
    if (value.isUndefined() || isUnchanged(m_value, value)) {
        return;
    }
    if (form == Form::Members) {
        updateMembers(value.toObject(), depth);
    } else if (form == Form::Blocks) {
        updateBlocks(value.toArray());
    } else {
        updateText(value);
    }
    m_value = value;
}

void DocumentText::Node::updateMembers(const QJsonObject& object, int depth) {
    std::erase_if(m_members, [&object](const auto& member) { return !object.contains(member.first); });
    for (auto member = object.begin(); member != object.end(); ++member) {
        Node& node = m_members[member.key()];
        if (node.m_key.isEmpty()) {
            node.m_key = listText({member.key()});
        }
        node.update(member.value(), depth + 1);
    }
}

void DocumentText::Node::updateBlocks(const QJsonArray& array) {
    const QJsonArray before = m_value.toArray();
    const auto count = static_cast<size_t>((array.size() + blockSize - 1) / blockSize);
    while (m_texts.size() > count) {
        wipe(m_texts.back());
        m_texts.pop_back();
    }
    m_texts.resize(count);
    for (size_t block = 0; block < count; ++block) {
        const qsizetype first = static_cast<qsizetype>(block) * blockSize;
        if (!m_texts[block].isEmpty() && blockIsUnchanged(before, array, first)) {
            continue;
        }
        wipe(m_texts[block]);
        m_texts[block] = blockText(array, first);
    }
}

void DocumentText::Node::updateText(const QJsonValue& value) {
    m_texts.resize(1);
    wipe(m_texts.front());
    m_texts.front() = listText({value});
}

void DocumentText::Node::forget() {
    for (QByteArray& text : m_texts) {
        wipe(text);
    }
    m_texts.clear();
    m_members.clear();
    m_value = QJsonValue::Undefined;
}

qsizetype DocumentText::Node::length() const {
    // Brackets give way to commas, so that this is at most a few bytes too many.
    qsizetype length = 2;
    for (const QByteArray& text : m_texts) {
        length += text.size();
    }
    for (const auto& [name, member] : m_members) {
        length += member.m_key.size() + member.length();
    }
    return length;
}

void DocumentText::Node::appendTo(QByteArray& out) const {
    if (m_form == Form::Text) {
        out.append(withoutBrackets(m_texts.front()));
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
    for (const QByteArray& text : m_texts) {
        separate();
        out.append(withoutBrackets(text));
    }
    out.append(m_form == Form::Members ? '}' : ']');
}
