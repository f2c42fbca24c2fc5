-- The local database "dbscan.mdb": settings, the translation tables and the import scratch tables.
-- Text columns compare without regard to case, as the program's users have always relied on:
-- a scan of "abc" finds the pair stored as "ABC". Yes/no columns are declared BOOLEAN
-- (0 false, non-zero true). The key "PrimaryKey" of the two pair tables is their primary key.
PRAGMA page_size = 4096;
PRAGMA journal_mode = DELETE;

CREATE TABLE tblCodelink (
    ScanValue   TEXT(100) COLLATE NOCASE NOT NULL PRIMARY KEY,
    ReturnValue TEXT(160) COLLATE NOCASE,
    Descrip     TEXT(255) COLLATE NOCASE,
    -- A pair typed in by hand carries no unit of measure: it counts as one.
    Unit        DOUBLE DEFAULT 1
);

CREATE TABLE tblManual (
    ScanValue   TEXT(100) COLLATE NOCASE NOT NULL PRIMARY KEY,
    ReturnValue TEXT(160) COLLATE NOCASE
);

CREATE TABLE tblAppendStr (
    Name   TEXT(50) COLLATE NOCASE,
    String TEXT(255) COLLATE NOCASE,
    Use    INTEGER DEFAULT 0
);

CREATE TABLE tblImportErrors (
    ScanCode         TEXT(100) COLLATE NOCASE,
    ReturnCode       TEXT(160) COLLATE NOCASE,
    ErrorDescription TEXT(255) COLLATE NOCASE,
    Unit             DOUBLE
);

CREATE TABLE tblPreview (
    PrevScan   TEXT(100) COLLATE NOCASE,
    PrevReturn TEXT(160) COLLATE NOCASE,
    Unit       DOUBLE
);

CREATE TABLE tblSettings (
    Accounting     TEXT(50) COLLATE NOCASE,
    ComPort        TEXT(255) COLLATE NOCASE,
    PortSetting    TEXT(50) COLLATE NOCASE,
    RetAsScan      BOOLEAN,
    CRLF           BOOLEAN,
    ACK            BOOLEAN,
    autostart      BOOLEAN,
    append         TEXT(255) COLLATE NOCASE,
    SharedDataBase TEXT(255) COLLATE NOCASE,
    IsDBShared     BOOLEAN,
    Source         TEXT(255) COLLATE NOCASE,
    CustomScan     TEXT(100) COLLATE NOCASE,
    CustomReturn   TEXT(100) COLLATE NOCASE
);

INSERT INTO tblSettings (Accounting, ComPort, PortSetting, RetAsScan, CRLF, ACK, autostart,
                         append, SharedDataBase, IsDBShared, Source, CustomScan, CustomReturn)
VALUES ('QuickBooks', '1', '9600,N,8,1', 0, 1, 0, 0, '<RetVal><RET>', NULL, 0, NULL, NULL, NULL);

INSERT INTO tblAppendStr (Name, String, Use) VALUES
    ('Enter', '<RetVal><RET>', 0),
    ('Tab', '<RetVal><TAB>', 0),
    ('Tab Unit Enter', '<RetVal><TAB><UoM><RET>', 0),
    ('Unit Tab', '<RetVal><TAB><UoM><TAB>', 0),
    ('Nothing', '<RetVal>', 0);
