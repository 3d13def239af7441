// SPDX-License-Identifier: MIT
#include "earlierdescriptions.h"

#include "state/projectcolors.h"
#include "state/searchtext.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

/// So many entries at a time take a small part of a frame.
constexpr qsizetype stretch = 500;
constexpr qsizetype most = 20;

const QString idKey = u"id"_s;
const QString descriptionKey = u"description"_s;
const QString projectKey = u"project_id"_s;
const QString billableKey = u"billable"_s;
const QString nameKey = u"name"_s;
const QString colorKey = u"color"_s;

} // namespace

EarlierDescriptions::EarlierDescriptions(QObject* parent) : QObject(parent) {
    m_more.setSingleShot(true);
    m_more.setInterval(0);
    connect(&m_more, &QTimer::timeout, this, &EarlierDescriptions::readOn);
}

void EarlierDescriptions::setController(Controller* controller) {
    m_controller = controller;
    connect(controller, &Controller::changed, this, &EarlierDescriptions::refresh);
    connect(controller, &Controller::accountLeft, this, &EarlierDescriptions::forget);
    refresh();
}

void EarlierDescriptions::setWanted(bool wanted) {
    m_wanted = wanted;
    refresh();
}

void EarlierDescriptions::refresh() {
    if (!m_wanted || !m_controller) {
        return;
    }
    const ProjectedEntries& entries = m_controller->entryRows();
    const QVariantList projects = m_controller->projects();
    // The same entries are the same shared list.
    const bool same = entries.constData() == m_entries.constData() && entries.size() == m_entries.size();
    if (same && projects == m_projectRows && m_workspace == m_controller->workspace()) {
        return;
    }
    if (m_workspace != m_controller->workspace()) {
        forget();
    }
    m_workspace = m_controller->workspace();
    m_projectRows = projects;
    m_projects.clear();
    for (const QVariant& row : projects) {
        m_projects.insert(row.toMap().value(idKey).toString(), row.toMap());
    }
    m_entries = entries;
    m_next = 0;
    m_known.clear();
    m_known.reserve(entries.size()); // growing it takes longer than a stretch
    m_found.clear();
    m_found.reserve(entries.size());
    readOn();
}

void EarlierDescriptions::readOn() {
    const qsizetype end = std::min(m_next + stretch, m_entries.size());
    for (; m_next < end; ++m_next) {
        read(m_entries.at(m_next).entry);
    }
    if (m_next < m_entries.size()) {
        m_more.start();
        return;
    }
    m_more.stop();
    m_known.clear();
    m_offered = std::exchange(m_found, {});
    Q_EMIT updated();
}

void EarlierDescriptions::read(const QJsonObject& entry) {
    const QString description = entry.value(descriptionKey).toString();
    if (description.trimmed().isEmpty()) {
        return;
    }
    const QString project = entry.value(projectKey).toString();
    const QString offered = m_projects.contains(project) ? project : QString();
    const qsizetype known = m_known.size();
    m_known.insert({description, offered});
    if (m_known.size() > known) {
        m_found.append({description, searchText(description), offered, entry.value(billableKey).toBool()});
    }
}

void EarlierDescriptions::forget() {
    m_more.stop();
    m_entries.clear();
    m_projectRows.clear();
    m_projects.clear();
    m_known.clear();
    m_found.clear();
    m_offered.clear();
    Q_EMIT updated();
}

QVariantList EarlierDescriptions::matching(const QString& text) const {
    const QString wanted = searchText(text);
    QVariantList rows;
    for (const Earlier& earlier : m_offered) {
        if (!earlier.folded.contains(wanted)) {
            continue;
        }
        const QVariantMap project = m_projects.value(earlier.projectId);
        rows.append(QVariantMap{
            {descriptionKey, earlier.description},
            {projectKey, earlier.projectId},
            {u"project"_s, project.value(nameKey).toString()},
            {colorKey, ProjectColors::read(project.value(colorKey).toString())},
            {billableKey, earlier.billable},
        });
        if (rows.size() == most) {
            break;
        }
    }
    return rows;
}
