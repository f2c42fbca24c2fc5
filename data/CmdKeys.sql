-- "CmdKeys.mdb": the keys offered by the command keys picker. Value is the key in stored token
-- form; Ascii is the key's Windows virtual-key code, which is what a pressed key is matched by.
CREATE TABLE Keys (
    "Index" INTEGER NOT NULL PRIMARY KEY,
    Name    TEXT(50) COLLATE NOCASE,
    ToolTip TEXT(100) COLLATE NOCASE,
    Value   TEXT(50) COLLATE NOCASE,
    Ascii   INTEGER
);

INSERT INTO Keys ("Index", Name, ToolTip, Value, Ascii) VALUES
    (0, 'Tab', 'Tab key', '<TAB>', 9),
    (1, 'Enter', 'Enter (Return) key', '<RET>', 13),
    (2, 'Esc', 'Escape key', '<ESC>', 27),
    (3, 'Backspace', 'Backspace key', '<BS>', 8),
    (4, 'Space', 'Space bar', '<SP>', 32),
    (5, 'Page Up', 'Page Up key', '<PGUP>', 33),
    (6, 'Page Down', 'Page Down key', '<PGDN>', 34),
    (7, 'End', 'End key', '<END>', 35),
    (8, 'Home', 'Home key', '<HOME>', 36),
    (9, 'Left', 'Left arrow key', '<LEFT>', 37),
    (10, 'Up', 'Up arrow key', '<UP>', 38),
    (11, 'Right', 'Right arrow key', '<RIGHT>', 39),
    (12, 'Down', 'Down arrow key', '<DOWN>', 40),
    (13, 'Insert', 'Insert key', '<INS>', 45),
    (14, 'Delete', 'Delete key', '<DEL>', 46),
    (15, 'F1', 'Function key F1', '<F1>', 112),
    (16, 'F2', 'Function key F2', '<F2>', 113),
    (17, 'F3', 'Function key F3', '<F3>', 114),
    (18, 'F4', 'Function key F4', '<F4>', 115),
    (19, 'F5', 'Function key F5', '<F5>', 116),
    (20, 'F6', 'Function key F6', '<F6>', 117),
    (21, 'F7', 'Function key F7', '<F7>', 118),
    (22, 'F8', 'Function key F8', '<F8>', 119),
    (23, 'F9', 'Function key F9', '<F9>', 120),
    (24, 'F10', 'Function key F10', '<F10>', 121),
    (25, 'F11', 'Function key F11', '<F11>', 122),
    (26, 'F12', 'Function key F12', '<F12>', 123);
