CREATE TABLE packs (id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, chemistry TEXT NOT NULL DEFAULT '', cells INTEGER NOT NULL DEFAULT 0, nominal INTEGER NOT NULL DEFAULT 0, since TEXT, note TEXT NOT NULL DEFAULT '');
CREATE TABLE runs (id TEXT PRIMARY KEY, kind TEXT NOT NULL, began TEXT NOT NULL, ended TEXT, how TEXT NOT NULL, why TEXT, mah_in REAL, mah_out REAL, wh_in REAL, wh_out REAL, seconds REAL, temperature_max REAL, volts_min REAL, volts_max REAL, resistance REAL, settings TEXT, log TEXT, pack INTEGER REFERENCES packs (id) ON DELETE SET NULL);
CREATE INDEX runs_began ON runs (began);
INSERT INTO packs VALUES (1, 'Vieux', 'NiCd', 6, 2000, '2019-04-01', 'au garage');
INSERT INTO runs VALUES ('one', 'charge', '2026-01-02T10:00:00', '2026-01-02T11:12:00', 'rule', '', 1500, 0, 11, 0, 4320, 41, 6.1, 8.8, NULL, 'MODE 1', '/old/St_CH.txt', 1);
INSERT INTO runs VALUES ('two', 'discharge', '2026-01-02T12:00:00', '2026-01-02T13:00:00', 'rule', '', 0, 1400, 0, 9.5, 3600, NULL, 5.9, 8.1, NULL, '6 éléments', '/old/S_DCH.txt', 1);
INSERT INTO runs VALUES ('three', 'discharge', '2026-01-03T12:00:00', '2026-01-03T12:10:00', 'stop', '', 0, 200, 0, 1.6, 600, NULL, 7.5, 8.1, NULL, '6 éléments', '/old/S_DCH2.txt', NULL);
PRAGMA user_version = 1;
