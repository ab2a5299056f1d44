-- An installation with lamps whose models the daemon does not know: it drives them by their types. The
-- lights themselves are described in newer-lights.json; sample-house.sql explains the tables.

CREATE TABLE vexad_object (
    id        INTEGER PRIMARY KEY,
    msp       TEXT,
    optionalp TEXT,
    name      TEXT
);
CREATE TABLE vexad_object_relation (
    parentobj_id INTEGER,
    childobj_id  INTEGER,
    optional     TEXT
);

INSERT INTO vexad_object (id, msp, optionalp, name) VALUES
    (100, '', 'ip_address=''127.0.0.80''|username=''simulated-house-user''|unknown_models=''by_type''', 'Bridge'),
    (110, '1', '', 'Entrance'),  -- a dimmable light
    (120, '2', '', 'Sofa'),      -- an extended colour light, gamut C
    (130, '3', '', 'Radio'),     -- a plug that can only be switched
    (140, '4', '', 'Mirror');    -- a colour temperature light
INSERT INTO vexad_object_relation (parentobj_id, childobj_id, optional) VALUES
    (100, 110, ''), (100, 120, ''), (100, 130, ''), (100, 140, '');

-- The last digit of an object is its role: 1 on_off, 2 value, 3 temperature, 4 r, 5 g, 6 b, 7 hsv.
INSERT INTO vexad_object_relation (parentobj_id, childobj_id, optional) VALUES
    (110, 111, 'tag_complex_element=''on_off'''),
    (110, 112, 'tag_complex_element=''value'''),

    (120, 121, 'tag_complex_element=''on_off'''),
    (120, 122, 'tag_complex_element=''value'''),
    (120, 123, 'tag_complex_element=''temperature'''),
    (120, 124, 'tag_complex_element=''r'''),
    (120, 125, 'tag_complex_element=''g'''),
    (120, 126, 'tag_complex_element=''b'''),
    (120, 127, 'tag_complex_element=''hsv'''),

    (130, 131, 'tag_complex_element=''on_off'''),

    (140, 141, 'tag_complex_element=''on_off'''),
    (140, 142, 'tag_complex_element=''value'''),
    (140, 143, 'tag_complex_element=''temperature''');
