-- SPDX-License-Identifier: MIT
-- What reports count by. Rates are in hundredths of the workspace's currency
-- per hour, null where none was agreed; durations are rounded up to whole
-- rounding_minutes, 0 for not at all; the language decides which day begins a week.
ALTER TABLE workspaces ADD COLUMN language TEXT NOT NULL DEFAULT 'he'
   CHECK (language IN ('he', 'en'));
ALTER TABLE workspaces ADD COLUMN currency TEXT NOT NULL DEFAULT 'ILS';
ALTER TABLE workspaces ADD COLUMN rounding_minutes INTEGER NOT NULL DEFAULT 0;
ALTER TABLE projects ADD COLUMN hourly_rate BIGINT;
CREATE TABLE tasks (id ID PRIMARY KEY, project_id ID NOT NULL
   REFERENCES projects(id), name TEXT NOT NULL);
CREATE INDEX tasks_of ON tasks (project_id);
ALTER TABLE time_entries ADD COLUMN task_id ID REFERENCES tasks(id);
CREATE TABLE tags (id ID PRIMARY KEY, workspace_id ID NOT NULL
   REFERENCES workspaces(id), name TEXT NOT NULL);
CREATE INDEX tags_of ON tags (workspace_id);
