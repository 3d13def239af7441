-- SPDX-License-Identifier: MIT
-- ID is text that sorts by its bytes on both databases. Instants are seconds
-- since the epoch, truth values 0 and 1.
CREATE TABLE users (id ID PRIMARY KEY, email TEXT NOT NULL UNIQUE,
   display_name TEXT NOT NULL, timezone TEXT NOT NULL);
CREATE TABLE sessions (id ID PRIMARY KEY, user_id ID NOT NULL REFERENCES users(id),
   token_hash TEXT NOT NULL UNIQUE, client TEXT NOT NULL, device_name TEXT NOT NULL,
   created_at BIGINT NOT NULL, revoked_at BIGINT);
CREATE TABLE workspaces (id ID PRIMARY KEY, name TEXT NOT NULL,
   created_at BIGINT NOT NULL);
CREATE TABLE members (workspace_id ID NOT NULL REFERENCES workspaces(id),
   user_id ID NOT NULL REFERENCES users(id), PRIMARY KEY (workspace_id, user_id));
CREATE TABLE clients (id ID PRIMARY KEY, workspace_id ID NOT NULL
   REFERENCES workspaces(id), name TEXT NOT NULL);
CREATE TABLE projects (id ID PRIMARY KEY, workspace_id ID NOT NULL
   REFERENCES workspaces(id), client_id ID REFERENCES clients(id), name TEXT NOT NULL,
   color TEXT NOT NULL, archived SMALLINT NOT NULL CHECK (archived IN (0, 1)));
CREATE TABLE time_entries (id ID PRIMARY KEY, workspace_id ID NOT NULL
   REFERENCES workspaces(id), user_id ID NOT NULL REFERENCES users(id),
   description TEXT NOT NULL, project_id ID REFERENCES projects(id),
   tag_ids TEXT NOT NULL, billable SMALLINT NOT NULL CHECK (billable IN (0, 1)),
   start_at BIGINT NOT NULL, stop_at BIGINT CHECK (stop_at >= start_at),
   deleted_at BIGINT, version BIGINT NOT NULL);
CREATE INDEX time_entries_order ON time_entries (workspace_id, start_at, id);
CREATE UNIQUE INDEX one_running_timer ON time_entries (user_id)
   WHERE stop_at IS NULL AND deleted_at IS NULL;
CREATE TABLE timesheet_periods (id ID PRIMARY KEY, workspace_id ID NOT NULL
   REFERENCES workspaces(id), user_id ID NOT NULL REFERENCES users(id),
   status TEXT NOT NULL CHECK (status IN ('open', 'submitted', 'approved')),
   from_date TEXT NOT NULL, to_date TEXT NOT NULL, timezone TEXT NOT NULL,
   start_at BIGINT NOT NULL, end_at BIGINT NOT NULL CHECK (end_at > start_at),
   version BIGINT NOT NULL, last_reason TEXT);
CREATE INDEX timesheet_periods_of ON timesheet_periods (workspace_id, user_id);
-- What was answered to each mutation, so that a repeated push hears the same again.
CREATE TABLE mutations (user_id ID NOT NULL REFERENCES users(id),
   mutation_id ID NOT NULL, fingerprint TEXT NOT NULL, result TEXT NOT NULL,
   PRIMARY KEY (user_id, mutation_id));
