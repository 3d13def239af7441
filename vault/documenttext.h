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

    /// Takes the next document; false when its text is the same as that of the last one.
    bool update(const QJsonObject& state);

    /// Appends, byte for byte, QJsonDocument(state).toJson(QJsonDocument::Compact). With room for the
    /// longest() of it in `out` nothing of the text is left behind elsewhere.
    void appendTo(QByteArray& out) const { m_root.appendTo(out); }
    /// At most a few bytes more than the text has.
    [[nodiscard]] qsizetype longest() const { return m_root.longest(); }

    /// How many objects and arrays lie in each other.
    [[nodiscard]] int nesting() const;

    /// Wipes and forgets everything; the next document is a new one.
    void clear();

private:
    struct Piece {
        QByteArray text;
        int nesting = 0;
        /// False when it is the same text.
        bool replace(QByteArray next);
    };

    // One value of the document: an outer object by its members, an array by
    // blocks of elements, anything else as one text. Each text is a JSON array,
    // whose brackets are left out when it is used.
    class Node {
    public:
        Node() = default;
        ~Node();
        Q_DISABLE_COPY_MOVE(Node)

        bool update(const QJsonValue& value, int depth);
        [[nodiscard]] int nesting() const;
        [[nodiscard]] qsizetype longest() const;
        void appendTo(QByteArray& out) const;

    private:
        bool updateMembers(const QJsonObject& object, int depth);
        bool updateBlocks(const QJsonArray& array);
        void forget();

        enum class Form { Text, Members, Blocks };
        Form m_form = Form::Text;
        QJsonValue m_value = QJsonValue::Undefined;
        std::vector<Piece> m_pieces;
        std::map<QString, Node> m_members;
        QByteArray m_key;
    };

    Node m_root;
};
