-- SPDX-License-Identifier: MIT
-- What was read from a CSV and waits to be written, record by record, with the
-- answers to the steps so far. imported_records outlives it: what was imported
-- once is never imported again, whatever became of the entry.
CREATE TABLE imports (id ID PRIMARY KEY, workspace_id ID NOT NULL
   REFERENCES workspaces(id), user_id ID NOT NULL REFERENCES users(id),
   source_namespace TEXT NOT NULL, checksum TEXT NOT NULL, total INTEGER NOT NULL,
   invalid INTEGER NOT NULL, written INTEGER NOT NULL, checkpoint INTEGER NOT NULL
   CHECK (checkpoint BETWEEN 0 AND total), created_at BIGINT NOT NULL);
CREATE INDEX imports_of ON imports (user_id, created_at);
CREATE TABLE import_records (import_id ID NOT NULL REFERENCES imports(id),
   position INTEGER NOT NULL, file_row INTEGER NOT NULL, content TEXT NOT NULL,
   PRIMARY KEY (import_id, position));
CREATE TABLE import_replies (import_id ID NOT NULL REFERENCES imports(id),
   idempotency_key TEXT NOT NULL, reply TEXT NOT NULL,
   PRIMARY KEY (import_id, idempotency_key));
CREATE TABLE imported_records (user_id ID NOT NULL REFERENCES users(id),
   workspace_id ID NOT NULL REFERENCES workspaces(id), source_namespace TEXT NOT NULL,
   fingerprint TEXT NOT NULL,
   PRIMARY KEY (user_id, workspace_id, source_namespace, fingerprint));
