-- A Loop Habit Tracker full backup as version 23 writes it, small: four habits and their
-- repetitions. Timestamps are milliseconds at midnight UTC of the local day
-- (2024-01-01 is 1704067200000; a day is 86400000).
--
-- Run with: sqlite3 Loop.db < loop-backup-v23.sql

PRAGMA user_version = 23;
BEGIN;
CREATE TABLE Habits (id INTEGER PRIMARY KEY AUTOINCREMENT, archived INTEGER, color INTEGER,
    description TEXT, freq_den INTEGER, freq_num INTEGER, highlight INTEGER, name TEXT,
    position INTEGER, reminder_hour INTEGER, reminder_min INTEGER, reminder_days INTEGER NOT NULL
    DEFAULT 127, type INTEGER NOT NULL DEFAULT 0, target_type INTEGER NOT NULL DEFAULT 0,
    target_value REAL NOT NULL DEFAULT 0, unit TEXT NOT NULL DEFAULT '', question TEXT,
    uuid TEXT);
CREATE TABLE Repetitions (id INTEGER PRIMARY KEY AUTOINCREMENT, habit INTEGER NOT NULL
    REFERENCES Habits(id), timestamp INTEGER NOT NULL, value INTEGER NOT NULL, notes TEXT);

-- 1 "Meditate": every day, palette 7 (#388E3C), a reminder at 07:30, asked "Sat down?".
-- 2 "Gym": 3 in 7 days, palette 1 (#E64A19), listed first (position 0).
-- 3 "Water": numerical, 8 glasses a day, palette 10 (#039BE5).
-- 4 "Old": archived, palette 19 (#AAAAAA), no repetitions.
INSERT INTO Habits (id, archived, color, description, freq_den, freq_num, highlight, name,
    position, reminder_hour, reminder_min, reminder_days, type, target_type, target_value, unit,
    question, uuid) VALUES
    (1, 0, 7, 'A description', 1, 1, 0, 'Meditate', 1, 7, 30, 127, 0, 0, 0, '', 'Sat down?', 'a'),
    (2, 0, 1, '', 7, 3, 0, 'Gym', 0, NULL, NULL, 127, 0, 0, 0, '', '', 'b'),
    (3, 0, 10, '', 1, 1, 0, 'Water', 2, NULL, NULL, 127, 1, 0, 8.0, 'glasses', '', 'c'),
    (4, 1, 19, '', 1, 1, 0, 'Old', 3, NULL, NULL, 127, 0, 0, 0, '', NULL, 'd');

-- Meditate: done by the user on Jan 1, 2 and 4; automatic on Jan 3 (not a checkmark); skipped
-- on Jan 5; not done on Jan 6.
-- Gym: done on Jan 1 and 3.
-- Water: 8000 (reaches 8) on Jan 1, 5500 on Jan 2, 12000 on Jan 3.
INSERT INTO Repetitions (habit, timestamp, value) VALUES
    (1, 1704067200000, 2), (1, 1704153600000, 2), (1, 1704240000000, 1),
    (1, 1704326400000, 2), (1, 1704412800000, 3), (1, 1704499200000, 0),
    (2, 1704067200000, 2), (2, 1704240000000, 2),
    (3, 1704067200000, 8000), (3, 1704153600000, 5500), (3, 1704240000000, 12000);
COMMIT;
