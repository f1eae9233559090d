-- A Loop Habit Tracker backup of version 13: colours are ARGB numbers, there is no "value"
-- column (every repetition is a checkmark) and no "question" (the description is the question).
--
-- Run with: sqlite3 Loop.db < loop-backup-v13.sql

PRAGMA user_version = 13;
BEGIN;
CREATE TABLE Habits (id INTEGER PRIMARY KEY AUTOINCREMENT, archived INTEGER, color INTEGER,
    description TEXT, freq_den INTEGER, freq_num INTEGER, highlight INTEGER, name TEXT,
    position INTEGER, reminder_hour INTEGER, reminder_min INTEGER, reminder_days INTEGER NOT NULL
    DEFAULT 127);
CREATE TABLE Repetitions (id INTEGER PRIMARY KEY AUTOINCREMENT, habit INTEGER NOT NULL
    REFERENCES Habits(id), timestamp INTEGER NOT NULL);
-- 0xFF123456 as a signed 32-bit number is -15584170.
INSERT INTO Habits VALUES (1, 0, -15584170, 'Twenty pages?', 1, 1, 0, 'Read', 0, NULL, NULL, 127);
INSERT INTO Repetitions (habit, timestamp) VALUES (1, 1704067200000), (1, 1704153600000);
COMMIT;
