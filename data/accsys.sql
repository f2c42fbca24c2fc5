-- "accsys.mdb": what each accounting system can deliver and where its item exports keep each
-- item attribute. The program only reads this file.
CREATE TABLE tblAccounting (
    Accounting TEXT(50) COLLATE NOCASE NOT NULL PRIMARY KEY,
    UseQBSDK   BOOLEAN,
    UseIFF     BOOLEAN,
    UseTDF     BOOLEAN,
    UseCSV     BOOLEAN,
    Country    TEXT(10) COLLATE NOCASE,
    UseQBSDK7  BOOLEAN
);

-- Position is the 1-based column of the field in an item row of the export; column 1 holds the
-- row keyword INVITEM.
CREATE TABLE tblImport (
    Accounting TEXT(50) COLLATE NOCASE,
    Control    TEXT(50) COLLATE NOCASE,
    Field      TEXT(50) COLLATE NOCASE,
    Position   INTEGER,
    "default"  BOOLEAN DEFAULT 0
);

CREATE TABLE tblExclude (
    Code       TEXT(50) COLLATE NOCASE,
    Exclude    BOOLEAN DEFAULT 0,
    Accounting TEXT(50) COLLATE NOCASE,
    Type       TEXT(50) COLLATE NOCASE
);

-- The column of an item row whose value is looked up as tblExclude.Code.
CREATE TABLE tblExcludeLocation (
    accounting TEXT(50) COLLATE NOCASE,
    type       TEXT(50) COLLATE NOCASE,
    location   INTEGER
);

INSERT INTO tblAccounting (Accounting, UseQBSDK, UseIFF, UseTDF, UseCSV, Country, UseQBSDK7) VALUES
    ('QuickBooks', 1, 1, 1, 1, 'US', 1),
    ('QuickBooks 2007 and earlier', 1, 1, 1, 1, 'US', 0),
    ('Peachtree', 0, 1, 1, 1, 'US', 0);

-- QuickBooks IIF item export, header:
-- !INVITEM NAME REFNUM TIMESTAMP INVITEMTYPE DESC PURCHASEDESC ACCNT ASSETACCNT COGSACCNT QNTY
-- QNTY PRICE COST TAXABLE SALESTAXCODE PAYMETH TAXVEND PREFVEND REORDERPOINT EXTRA CUSTFLD1 ...
CREATE TEMP TABLE qb_fields (Control TEXT, Field TEXT, Position INTEGER, is_default BOOLEAN);
INSERT INTO qb_fields VALUES
    ('cmbItemScan0', 'Item Name', 2, 0),
    ('cmbItemScan0', 'Custom Field 1', 22, 0),
    ('cmbItemScan0', 'Custom Field 2', 23, 0),
    ('cmbItemScan0', 'Custom Field 3', 24, 0),
    ('cmbItemScan0', 'Custom Field 4', 25, 0),
    ('cmbItemScan0', 'Custom Field 5', 26, 0),
    ('cmbItemDescrip', 'Description', 6, 1),
    ('cmbItemDescrip', 'Purchase Description', 7, 0);

CREATE TEMP TABLE qb_systems (Accounting TEXT);
INSERT INTO qb_systems VALUES ('QuickBooks'), ('QuickBooks 2007 and earlier');

INSERT INTO tblImport (Accounting, Control, Field, Position, "default")
    SELECT s.Accounting, f.Control, f.Field, f.Position, f.is_default
    FROM qb_systems s, qb_fields f ORDER BY s.rowid, f.rowid;

CREATE TEMP TABLE qb_codes (Code TEXT);
INSERT INTO qb_codes VALUES ('INVENTORY'), ('PART'), ('OTHC'), ('SERV'), ('DISC'), ('GROUP'),
    ('ASSEM');

INSERT INTO tblExclude (Code, Exclude, Accounting, Type)
    SELECT c.Code, 0, s.Accounting, 'Products' FROM qb_systems s, qb_codes c
    ORDER BY s.rowid, c.rowid;

INSERT INTO tblExcludeLocation (accounting, type, location)
    SELECT Accounting, 'Products', 5 FROM qb_systems ORDER BY rowid;

-- Peachtree inventory item list saved as a tab-separated file of INVITEM rows:
-- INVITEM, Item ID, Description, Description for Sales, Item Class, UPC / SKU, Part Number.
INSERT INTO tblImport (Accounting, Control, Field, Position, "default") VALUES
    ('Peachtree', 'cmbItemScan0', 'Item ID', 2, 0),
    ('Peachtree', 'cmbItemScan0', 'UPC / SKU', 6, 0),
    ('Peachtree', 'cmbItemScan0', 'Part Number', 7, 0),
    ('Peachtree', 'cmbItemDescrip', 'Description', 3, 1),
    ('Peachtree', 'cmbItemDescrip', 'Description for Sales', 4, 0);

INSERT INTO tblExclude (Code, Exclude, Accounting, Type) VALUES
    ('Stock item', 0, 'Peachtree', 'Products'),
    ('Non-stock item', 0, 'Peachtree', 'Products'),
    ('Service', 0, 'Peachtree', 'Products'),
    ('Labor', 0, 'Peachtree', 'Products'),
    ('Assembly', 0, 'Peachtree', 'Products'),
    ('Activity item', 0, 'Peachtree', 'Products'),
    ('Charge item', 0, 'Peachtree', 'Products'),
    ('Description only', 1, 'Peachtree', 'Products');

INSERT INTO tblExcludeLocation (accounting, type, location) VALUES ('Peachtree', 'Products', 5);
