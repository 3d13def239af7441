-- SPDX-License-Identifier: MIT
-- Each row is the JSON object that the query answered with, so that an export
-- holds the same whatever has changed since.
CREATE TABLE report_snapshots (id ID PRIMARY KEY, workspace_id ID NOT NULL
   REFERENCES workspaces(id), user_id ID NOT NULL REFERENCES users(id),
   created_at BIGINT NOT NULL, header TEXT NOT NULL);
CREATE TABLE report_rows (snapshot_id ID NOT NULL REFERENCES report_snapshots(id),
   position INTEGER NOT NULL, content TEXT NOT NULL,
   PRIMARY KEY (snapshot_id, position));
