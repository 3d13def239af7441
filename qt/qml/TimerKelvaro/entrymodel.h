// SPDX-License-Identifier: MIT
#pragma once

#include "controller/controller.h"
#include "rowdiff.h"
#include "state/daysums.h"

#include <QAbstractListModel>
#include <QHash>
#include <QPointer>
#include <QTimer>
#include <QVariant>
#include <QVariantList>
#include <QVariantMap>
#include <qqmlintegration.h>

#include <vector>

/// The controller's closed entries as rows that stay, each day's first one with the day's sum, and what is
/// looked for among them. However many there are, no letter that is typed waits for all of them: they
/// are looked through a few milliseconds at a time, and the list changes when that is done.
class EntryModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(
        Controller* controller MEMBER m_controller WRITE setController NOTIFY controllerChanged REQUIRED)
    /// What description, project or client have to hold; empty for all entries.
    Q_PROPERTY(QString wanted MEMBER m_wanted WRITE setWanted NOTIFY wantedChanged)
    /// Whether the list holds only what was looked for.
    Q_PROPERTY(bool finding READ finding NOTIFY listed)
    Q_PROPERTY(int count READ count NOTIFY listed)
    /// Of what is listed.
    Q_PROPERTY(QString sum READ sum NOTIFY listed)
    /// With the running timer; so is the week's.
    Q_PROPERTY(QString today READ today NOTIFY totalsChanged)
    Q_PROPERTY(QString week READ week NOTIFY totalsChanged)

public:
    enum Role {
        RowRole = Qt::UserRole, ///< "row": the controller's map
        IdRole,                 ///< "id"
        DayRole,                ///< "day": "2026-11-22" above the day's first row, "" elsewhere
        DaySumRole,             ///< "daySum": "05:30:00"
        TimesRole,   ///< "times": "09:10–10:25", with " +1" when it ends on the next day, and with
                     ///< the offsets where the clocks were changed between the two
        ProjectRole, ///< "project": the catalog's map, {} without one
    };

    explicit EntryModel(QObject* parent = nullptr);

    void setController(Controller* controller);
    void setWanted(const QString& wanted);

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

    [[nodiscard]] bool finding() const { return !m_foundFor.isEmpty(); }
    [[nodiscard]] int count() const { return rowCount(); }
    [[nodiscard]] QString sum() const;
    [[nodiscard]] QString today() const;
    [[nodiscard]] QString week() const;

    /// A time stamp as the clocks of the account's zone show it, with their offset.
    Q_INVOKABLE [[nodiscard]] QString inZone(const QString& stamp) const;

    /// The row that shows this entry, or -1.
    Q_INVOKABLE [[nodiscard]] int indexOf(const QString& id) const;

    /// Looks through some of the entries; false when that was the last of them.
    bool search();

Q_SIGNALS:
    void controllerChanged();
    void wantedChanged();
    void listed();
    /// After listed(): the rows are those of another search than before, or all of them again.
    void replaced();
    void totalsChanged();

private:
    /// All entries, or those that were found: row by row what it shows and what it counts.
    struct Rows {
        ProjectedEntries entries;
        std::vector<DaySums::Entry> sums;

        void remove(const RowSpan& span);
        /// Of those entries; their sums are still to be read.
        void insert(const RowSpan& span, const ProjectedEntries& from);
    };

    void follow();
    void readCatalog();
    void readEntries();
    void remove(const RowSpan& span);
    void insert(const RowSpan& span, const ProjectedEntries& entries);
    void readRows();
    void read(int row);
    void startSearch();
    void show(Rows rows);
    void turnTo(Rows rows);
    void update(Rows rows);
    void readHeadings();
    void readWeekday();
    void readTotals();
    [[nodiscard]] const Rows& shown() const { return finding() ? m_found : m_all; }
    [[nodiscard]] const QString& searchedText(int row);
    [[nodiscard]] QString times(const QJsonObject& entry) const;
    [[nodiscard]] DaySums::Totals totals();

    QPointer<Controller> m_controller;
    LocalDays m_days;
    QString m_zone;
    QHash<QString, QVariantMap> m_projects;
    QVariantList m_catalog;
    int m_weekday = Qt::Sunday; ///< that weeks begin with

    Rows m_all;
    std::vector<bool> m_read;     ///< of m_all, whether its sum is that of the entry
    std::vector<QString> m_texts; ///< of m_all, what is searched; null until it is wanted
    Rows m_found;
    std::vector<DaySums::Heading> m_headings; ///< of what is shown

    QString m_wanted;
    QString m_needle;
    QString m_foundFor; ///< the needle of m_found; empty while all are shown
    Rows m_finds;       ///< of the search under way
    int m_searched = 0;
    QTimer m_search;

    DaySums::Totals m_closed;
    QDate m_today;
    DaySums::Totals m_told;
};
