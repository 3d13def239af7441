-- SPDX-License-Identifier: MIT
INSERT INTO users (id, email, display_name, timezone)
   VALUES ('{user}', 'developer@localhost', 'Developer', 'Asia/Jerusalem');
INSERT INTO workspaces (id, name, created_at) VALUES ('{workspace}', 'Development', {now});
INSERT INTO members (workspace_id, user_id) VALUES ('{workspace}', '{user}');
