-- SPDX-License-Identifier: MIT
-- Rises with every change of what a snapshot of the workspace shows.
ALTER TABLE workspaces ADD COLUMN revision BIGINT NOT NULL DEFAULT 0;
