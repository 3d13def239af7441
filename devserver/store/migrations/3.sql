-- SPDX-License-Identifier: MIT
ALTER TABLE users ADD COLUMN password_hash TEXT;
