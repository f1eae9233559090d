-- A habit store as model version 1 ("HabitV1") wrote it: one table per entity (Z_PK primary
-- key, Z_OPT row version, one column per attribute and per to-one relationship, dates as
-- seconds since 2001-01-01 UTC), the metadata table and the highest primary key per entity.
-- Version 1 habits have no "lastFivePerformingDates" and no "lastPerformingDateProgress", and
-- may lack a colour or a repeat interval.
--
-- Blobs: a colour is its 0xRRGGBB number as a little-endian 64-bit integer; a repeat interval is
-- times then days, little-endian 64-bit integers.
--
-- Run with: sqlite3 Habit.sqlite < make-v1-store.sql

BEGIN;

CREATE TABLE Z_METADATA (Z_KEY TEXT PRIMARY KEY, Z_TYPE INTEGER NOT NULL, Z_VALUE);
CREATE TABLE Z_PRIMARYKEY (Z_NAME TEXT PRIMARY KEY, Z_MAX INTEGER NOT NULL);

CREATE TABLE "Habit" (Z_PK INTEGER PRIMARY KEY, Z_OPT INTEGER NOT NULL, "color" BLOB,
    "creationDate" REAL, "name" TEXT, "question" TEXT, "remind" INTEGER, "remindTime" REAL,
    "repeatInterval" BLOB);
CREATE TABLE "Performing" (Z_PK INTEGER PRIMARY KEY, Z_OPT INTEGER NOT NULL, "date" REAL,
    "habit" INTEGER);
CREATE INDEX "Z_Performing_habit" ON "Performing" ("habit");

-- Z_TYPE 4: a text value.
INSERT INTO Z_METADATA (Z_KEY, Z_TYPE, Z_VALUE) VALUES
    ('NSStoreUUID', 4, '6A1F0C2E-3B4D-4E5F-8A9B-0C1D2E3F4A5B'),
    ('NSStoreModelVersionIdentifier', 4, 'HabitV1');

-- 1 "Water": colour 0x123456, 3 times in 7 days, a reminder, eight checkmarks.
-- 2 "Read":  no colour, every day, no checkmarks.
-- 3 "Walk":  no colour, no repeat interval, two checkmarks.
INSERT INTO "Habit" VALUES
    (1, 1, X'5634120000000000', 725700000.0, 'Water', 'Why drink?', 1, 725706000.0,
        X'03000000000000000700000000000000'),
    (2, 1, NULL, 725710000.0, 'Read', NULL, 0, NULL, X'01000000000000000100000000000000'),
    (3, 1, NULL, 725720000.0, 'Walk', 'Outside?', 0, NULL, NULL);

-- 2024-01-01 09:00 UTC is 725792400 seconds after 2001-01-01; one checkmark a day for eight
-- days, stored out of order.
INSERT INTO "Performing" VALUES
    (1, 1, 725792400.0 + 3 * 86400, 1),
    (2, 1, 725792400.0 + 0 * 86400, 1),
    (3, 1, 725792400.0 + 7 * 86400, 1),
    (4, 1, 725792400.0 + 1 * 86400, 1),
    (5, 1, 725792400.0 + 5 * 86400, 1),
    (6, 1, 725792400.0 + 2 * 86400, 1),
    (7, 1, 725792400.0 + 6 * 86400, 1),
    (8, 1, 725792400.0 + 4 * 86400, 1),
    (9, 1, 725792400.0, 3),
    (10, 1, 725792400.0 + 86400, 3);

INSERT INTO Z_PRIMARYKEY (Z_NAME, Z_MAX) VALUES ('Habit', 3), ('Performing', 10);

COMMIT;
