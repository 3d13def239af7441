// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QJsonValue>

#include <map>
#include <vector>

/// The compact JSON text of a document that changes a little at a time. The text
/// of the parts that did not change is kept, so that the next text of a large
/// document costs a copy. "Unchanged" means: still the same implicitly shared
/// data as last time. What is kept is a secret and is wiped when dropped.
class DocumentText {
public:
    DocumentText() = default;
    ~DocumentText() = default;
    Q_DISABLE_COPY_MOVE(DocumentText)

    /// Byte for byte QJsonDocument(state).toJson(QJsonDocument::Compact), in one
    /// buffer that was never moved; the caller wipes it.
    [[nodiscard]] QByteArray of(const QJsonObject& state);

    /// Wipes and forgets everything.
    void clear();

private:
    // One value of the document: an outer object by its members, an array by
    // blocks of elements, anything else as one text. Each text is a JSON array,
    // whose brackets are left out when it is used.
    class Node {
    public:
        Node() = default;
        ~Node();
        Q_DISABLE_COPY_MOVE(Node)

        void update(const QJsonValue& value, int depth);
        [[nodiscard]] qsizetype length() const;
        void appendTo(QByteArray& out) const;

    private:
        void updateMembers(const QJsonObject& object, int depth);
        void updateBlocks(const QJsonArray& array);
        void updateText(const QJsonValue& value);
        void forget();

        enum class Form { Text, Members, Blocks };
        Form m_form = Form::Text;
        QJsonValue m_value = QJsonValue::Undefined;
        std::vector<QByteArray> m_texts;
        std::map<QString, Node> m_members;
        QByteArray m_key;
    };

    Node m_root;
};
