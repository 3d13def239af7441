// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>

#include <initializer_list>
#include <optional>

namespace devserver {

/// Writes a JSON text from its beginning to its end, straight as UTF-8: a
/// snapshot of 50,000 entries would otherwise be built twice, once as a tree
/// and once as text. Commas come by themselves.
class JsonWriter {
public:
    JsonWriter& beginObject() { return json("{"); }
    JsonWriter& endObject() { return add({"}"}); }
    JsonWriter& beginArray() { return json("["); }
    JsonWriter& endArray() { return add({"]"}); }

    /// What comes next is this field's value. `name` needs no escaping.
    JsonWriter& key(const char* name);

    JsonWriter& value(const QString& text);
    JsonWriter& value(bool truth) { return json(truth ? "true" : "false"); }
    JsonWriter& value(int number) { return value(qint64{number}); }
    JsonWriter& value(qint64 number) { return json(QByteArray::number(number)); }
    JsonWriter& value(const char*) = delete; // would be a truth value
    template <typename Value>
    JsonWriter& value(const std::optional<Value>& content) {
        return content ? value(*content) : json("null");
    }

    template <typename Value>
    JsonWriter& field(const char* name, const Value& content) {
        return key(name).value(content);
    }

    /// An instant as "2024-03-05T07:08:09Z", or null.
    JsonWriter& instant(const char* name, const std::optional<qint64>& moment);

    /// A value that is JSON already.
    JsonWriter& json(QByteArrayView text) { return add({separator(), text}); }
    JsonWriter& json(const char* name, QByteArrayView text) { return key(name).json(text); }

    [[nodiscard]] QByteArray take() { return std::move(m_out); }

private:
    JsonWriter& add(std::initializer_list<QByteArrayView> pieces);
    [[nodiscard]] QByteArrayView separator() const;

    QByteArray m_out;
};

} // namespace devserver
