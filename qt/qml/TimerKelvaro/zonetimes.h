// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QString>
#include <QStringList>
#include <QTimeZone>
#include <QVariantList>
#include <qqmlintegration.h>

/// What a field for a time and its calendar know of the clocks in one time zone. Days
/// are texts like "2026-09-23", so that no time zone can move them.
class ZoneTimes : public QObject {
    Q_OBJECT
    QML_ELEMENT
    /// By its IANA name; universal time where nothing is known of it.
    Q_PROPERTY(QString zone MEMBER m_zone REQUIRED)

public:
    using QObject::QObject;

    /// As TimeText has it, now.
    Q_INVOKABLE [[nodiscard]] QString completed(const QString& typed, const QString& other,
                                                const QString& former) const;
    Q_INVOKABLE [[nodiscard]] QString meant(const QString& typed, const QString& other,
                                            const QString& former) const;
    Q_INVOKABLE [[nodiscard]] QString stepped(const QString& text, int minutes, const QString& other,
                                              const QString& former) const;

    Q_INVOKABLE [[nodiscard]] bool saysDaysEnd(const QString& typed) const;

    /// A whole one, day and all.
    Q_INVOKABLE [[nodiscard]] bool isTime(const QString& text) const;
    /// The day that the clocks show at the first of the two that is a time, or now.
    Q_INVOKABLE [[nodiscard]] QString day(const QString& text, const QString& other) const;
    Q_INVOKABLE [[nodiscard]] QString movedDay(const QString& day, int days, int months) const;
    /// Six weeks from the week on that the month of `day` begins in; the weekday is counted as by QDate.
    Q_INVOKABLE [[nodiscard]] QStringList month(const QString& day, int firstWeekday) const;

    /// The quarters of an hour of a day, and the time of `text` where that is another: each with its "time",
    /// "text" and "offset", of which the text is empty when the clocks skip it, and the offset unless they
    /// show it twice.
    Q_INVOKABLE [[nodiscard]] QVariantList quarters(const QString& day, const QString& text) const;
    /// Where they stand for the first of the two that is a time, or for now.
    Q_INVOKABLE [[nodiscard]] int quarterOf(const QString& day, const QString& text,
                                            const QString& other) const;

private:
    [[nodiscard]] QTimeZone timeZone() const;
    [[nodiscard]] QDateTime shown(const QString& text, const QString& other) const;

    QString m_zone;
};
