-- An installation with one fault of each kind that "huectl check" finds; the expected output is in
-- faulty-installation.txt. The tables are those of simulator/sample-house.sql.
CREATE TABLE vexad_object (id INTEGER PRIMARY KEY, msp TEXT, optionalp TEXT);
CREATE TABLE vexad_object_relation (parentobj_id INTEGER, childobj_id INTEGER, optional TEXT);

INSERT INTO vexad_object VALUES
    (100, '', 'ip_address=''127.0.0.80''|username=''installer''|unknown_models=''by type''');

INSERT INTO vexad_object (id, msp) VALUES
    (110, '1'), (120, '2'), (130, '3'), (140, '4'), (150, '5'), (170, '7'), (180, '8'),
    (190, '99'),                     -- not on the bridge
    (200, '4'),                      -- the same light as 140
    (210, '0'), (220, '256'), (230, '4294967297'), (240, 'hall' || char(27) || '[2J'),
    (250, ''),                       -- no number, and no object below it
    (260, '9,900'), (270, '10' || char(10) || 'Row000009: 6');
INSERT INTO vexad_object_relation
    SELECT 100, id, '' FROM vexad_object WHERE id <> 100;

INSERT INTO vexad_object_relation (parentobj_id, childobj_id, optional) VALUES
    (110, 111, 'tag_complex_element=''on_off'''),
    (110, 112, 'tag_complex_element=value'),
    (110, 113, 'tag_complex_element=''temperature'''),  -- of a white light
    (110, 'x', 'tag_complex_element=''hsv'''),
    (110, 0, 'tag_complex_element=''hsv'''),

    (120, 122, 'tag_complex_element=''value'''),        -- without on_off
    (120, 123, 'preset=''evening''|tag_complex_element=''on_off'''),

    (130, 131, 'tag_complex_element=''on_off'''),
    (130, 132, 'tag_complex_element=''brightness'''),
    (130, 134, 'tag_complex_element=red'),              -- read as r
    (130, 135, 'tag_complex_element=''g'''),            -- without b
    (130, 139, 'position=''left'''),                    -- without a role

    (140, 141, 'tag_complex_element=''on_off'''),
    (140, 142, 'tag_complex_element=''temperature'''),
    (140, 142, 'tag_complex_element=''hsv'''),          -- a second role
    (200, 201, 'tag_complex_element=''on_off'''),       -- replaces 141

    (150, 151, 'tag_complex_element=''on_off'''),
    (150, 112, 'tag_complex_element=''value'''),        -- drives light 1 already

    (170, 171, 'tag_complex_element=''on_off'''),
    (180, 181, 'tag_complex_element=''on_off'''),
    (190, 191, 'tag_complex_element=''on_off'''),
    (210, 211, 'tag_complex_element=''on_off'''),
    (220, 221, 'tag_complex_element=''on_off'''),
    (230, 231, 'tag_complex_element=''on_off'''),
    (240, 241, 'tag_complex_element=''on_off'''),
    (260, 261, 'tag_complex_element=''on_off'''),
    (270, 271, 'tag_complex_element=''on_off''');
