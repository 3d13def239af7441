-- SPDX-License-Identifier: MIT
-- The page's sessions were of the same kind as the clients'; those of before end.
UPDATE sessions SET revoked_at = {now} WHERE client = 'web' AND revoked_at IS NULL;
