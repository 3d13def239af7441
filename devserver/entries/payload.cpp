// SPDX-License-Identifier: MIT
#include "devserver/entries/payload.h"

#include "devserver/base/text.h"
#include "devserver/base/time.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <array>

namespace devserver {
namespace {

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
    return u"The field %1 must be %2."_s.arg(field, what);
}

// Takes a field over; the sentence that refuses its value, or an empty one.
QString readField(const QString& name, const QJsonValue& value, Change& change) {
    const QString text = value.toString();
    if (name == u"description") {
        change.description = text;
        return !value.isString() || !isStorableText(text) ? mustBe(name, u"text"_s)
               : text.size() > longestDescription
                   ? u"The description is longer than %1 characters."_s.arg(longestDescription)
                   : QString();
    }
    if (name == u"project_id") {
        change.projectId = value.isNull() ? std::nullopt : std::optional(text);
        return value.isNull() || isId(text) ? QString() : mustBe(name, u"a project's id or null"_s);
    }
    if (name == u"tag_ids") {
        const QJsonArray tags = value.toArray();
        change.tagIds = QJsonDocument(tags).toJson(QJsonDocument::Compact);
        const bool ids =
            std::all_of(tags.begin(), tags.end(), [](const QJsonValue& tag) { return isId(tag.toString()); });
        return value.isArray() && ids && tags.size() <= mostTags
                   ? QString()
                   : mustBe(name, u"a list of at most %1 tag ids"_s.arg(mostTags));
    }
    if (name == u"billable") {
        change.billable = value.toBool();
        return value.isBool() ? QString() : mustBe(name, u"true or false"_s);
    }
    const auto instant = parseInstant(text);
    if (name == u"start_at") {
        change.startAt = instant;
    } else {
        change.stopAt = instant;
    }
    return instant ? QString() : mustBe(name, u"an ISO 8601 time with an offset"_s);
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
            return u"The field %1 is missing."_s.arg(QLatin1StringView(required));
        }
    }
    if (operation == Operation::Update && payload.isEmpty()) {
        return u"The update names no field to change."_s;
    }
    Change change;
    for (auto field = payload.begin(); field != payload.end(); ++field) {
        if (!holds(fields->allowed, field.key())) {
            return u"The payload has a field that this operation does not take."_s;
        }
        if (const QString problem = readField(field.key(), field.value(), change); !problem.isEmpty()) {
            return problem;
        }
    }
    return change;
}

} // namespace devserver
