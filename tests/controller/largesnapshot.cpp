// SPDX-License-Identifier: MIT
#include "tests/controller/largesnapshot.h"

#include "tests/support/sample.h"

QJsonObject largeSnapshot(const QString& word) {
    QJsonArray entries;
    for (int i = 0; i < 400; ++i) {
        QJsonObject entry =
            sample::entry(u"e%1"_s.arg(i), u"2026-03-02T10:00:00Z"_s, u"2026-03-02T11:00:00Z"_s);
        entry.insert(u"description", word + u" %1"_s.arg(i));
        entries.append(entry);
    }
    return sample::snapshot(entries);
}
