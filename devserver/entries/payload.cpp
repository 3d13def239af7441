// SPDX-License-Identifier: MIT
#include "devserver/entries/payload.h"

#include "devserver/base/jsontext.h"
#include "devserver/base/timestamps.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <array>

namespace devserver {
namespace {

constexpr qsizetype longestDescription = 100'000;
constexpr qsizetype mostTags = 100;

struct OperationFields {
    const char* name;
    Operation operation;
    std::array<const char*, 6> allowed;
    std::array<const char*, 2> required;
};

constexpr std::array<OperationFields, 6> operations{{
    {"entry.create",
     Operation::Create,
     {"description", "project_id", "tag_ids", "billable", "start_at", "stop_at"},
     {"start_at", "stop_at"}},
    {"timer.start",
     Operation::Start,
     {"description", "project_id", "tag_ids", "billable", "start_at"},
     {"start_at"}},
    {"entry.update",
     Operation::Update,
     {"description", "project_id", "tag_ids", "billable", "start_at", "stop_at"},
     {}},
    {"timer.stop", Operation::Stop, {"stop_at"}, {"stop_at"}},
    {"entry.delete", Operation::Delete, {}, {}},
    {"entry.restore", Operation::Restore, {}, {}},
}};

template <std::size_t N>
bool holds(const std::array<const char*, N>& names, const QString& name) {
    return std::any_of(names.begin(), names.end(),
                       [&name](const char* known) { return known && name == QLatin1StringView(known); });
}

QString mustBe(const QString& field, const QString& what) {
    return QStringLiteral("The field %1 must be %2.").arg(field, what);
}

// Each reader returns the sentence that refuses the value; empty when it is taken.

QString readDescription(const QJsonValue& value, Change& change) {
    const QString text = value.toString();
    if (!value.isString() || !isStorableText(text)) {
        return mustBe(QStringLiteral("description"), QStringLiteral("text"));
    }
    if (text.size() > longestDescription) {
        return QStringLiteral("The description is longer than %1 characters.").arg(longestDescription);
    }
    change.description = text;
    return {};
}

QString readProject(const QJsonValue& value, Change& change) {
    if (!value.isNull() && !isId(value.toString())) {
        return mustBe(QStringLiteral("project_id"), QStringLiteral("a project's id or null"));
    }
    change.projectId = value.isNull() ? std::nullopt : std::optional(value.toString());
    return {};
}

QString readTags(const QJsonValue& value, Change& change) {
    const QJsonArray tags = value.toArray();
    const bool ids =
        std::all_of(tags.begin(), tags.end(), [](const QJsonValue& tag) { return isId(tag.toString()); });
    if (!value.isArray() || !ids || tags.size() > mostTags) {
        return mustBe(QStringLiteral("tag_ids"),
                      QStringLiteral("a list of at most %1 tag ids").arg(mostTags));
    }
    change.tagIds = QJsonDocument(tags).toJson(QJsonDocument::Compact);
    return {};
}

QString readBillable(const QJsonValue& value, Change& change) {
    if (!value.isBool()) {
        return mustBe(QStringLiteral("billable"), QStringLiteral("true or false"));
    }
    change.billable = value.toBool();
    return {};
}

QString readStart(const QJsonValue& value, Change& change) {
    change.startAt = parseInstant(value.toString());
    if (!change.startAt) {
        return mustBe(QStringLiteral("start_at"), QStringLiteral("an ISO 8601 time with an offset"));
    }
    return {};
}

QString readStop(const QJsonValue& value, Change& change) {
    change.stopAt = parseInstant(value.toString());
    if (!*change.stopAt) {
        return mustBe(QStringLiteral("stop_at"), QStringLiteral("an ISO 8601 time with an offset"));
    }
    return {};
}

QString readField(const QString& name, const QJsonValue& value, Change& change) {
    if (name == u"description") {
        return readDescription(value, change);
    }
    if (name == u"project_id") {
        return readProject(value, change);
    }
    if (name == u"tag_ids") {
        return readTags(value, change);
    }
    if (name == u"billable") {
        return readBillable(value, change);
    }
    return name == u"start_at" ? readStart(value, change) : readStop(value, change);
}

} // namespace

std::optional<Operation> operationNamed(const QString& name) {
    for (const OperationFields& known : operations) {
        if (name == QLatin1StringView(known.name)) {
            return known.operation;
        }
    }
    return std::nullopt;
}

bool creates(Operation operation) {
    return operation == Operation::Create || operation == Operation::Start;
}

std::variant<Change, QString> readChange(Operation operation, const QJsonObject& payload) {
    const auto fields = std::find_if(operations.begin(), operations.end(),
                                     [operation](const auto& known) { return known.operation == operation; });
    for (const char* required : fields->required) {
        if (required && !payload.contains(QLatin1StringView(required))) {
            return QStringLiteral("The field %1 is missing.").arg(QLatin1StringView(required));
        }
    }
    if (operation == Operation::Update && payload.isEmpty()) {
        return QStringLiteral("The update names no field to change.");
    }
    Change change;
    for (auto field = payload.begin(); field != payload.end(); ++field) {
        if (!holds(fields->allowed, field.key())) {
            return QStringLiteral("The payload has a field that this operation does not take.");
        }
        if (const QString problem = readField(field.key(), field.value(), change); !problem.isEmpty()) {
            return problem;
        }
    }
    return change;
}

} // namespace devserver
