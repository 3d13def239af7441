// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>

#include <optional>
#include <variant>

namespace devserver {

enum class Operation { Create, Start, Update, Stop, Delete, Restore };

/// "entry.create", "timer.start", "entry.update", "timer.stop", "entry.delete", "entry.restore".
[[nodiscard]] std::optional<Operation> operationNamed(const QString& name);

/// Whether the operation makes an entry rather than changing one.
[[nodiscard]] bool creates(Operation operation);

/// What a mutation sets; a field that its payload does not hold stays as it is.
struct Change {
    std::optional<QString> description;
    std::optional<std::optional<QString>> projectId;
    std::optional<QByteArray> tagIds; ///< a compact JSON array
    std::optional<bool> billable;
    std::optional<qint64> startAt;
    std::optional<std::optional<qint64>> stopAt;
};

/// Reads an operation's payload: either the change, or one sentence that says
/// why it cannot be used. Each operation has its own set of fields; any other
/// field is refused, so that nothing that was sent is dropped unseen.
[[nodiscard]] std::variant<Change, QString> readChange(Operation operation, const QJsonObject& payload);

} // namespace devserver
