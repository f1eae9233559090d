-- Adds to a store made by make-v1-store.sql a checkmark of habit 1 ("Water") without a date.
--
-- Run with: sqlite3 Habit.sqlite < add-checkmark-without-date.sql

BEGIN;
INSERT INTO "Performing" VALUES (11, 1, NULL, 1);
UPDATE Z_PRIMARYKEY SET Z_MAX = 11 WHERE Z_NAME = 'Performing';
COMMIT;
