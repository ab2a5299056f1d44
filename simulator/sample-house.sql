-- A sample installation: one bridge with six lights, one of each class. Change it as you like; the
-- lights themselves are described in sample-lights.json.
--
-- vexad_object: every object of the installation. optionalp of the bridge contains its address and
-- user; msp of a light is its number on the bridge.
-- vexad_object_relation: parents and children; for children of a light, optional names the role.

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
    (100, '', 'ip_address=''127.0.0.80''|username=''simulated-house-user''', 'Bridge'),
    (110, '1', '', 'Hall'),         -- white
    (120, '2', '', 'Kitchen'),      -- white tones
    (130, '3', '', 'Shelf'),        -- colours only
    (140, '4', '', 'Living room'),  -- colours and white tones, second gamut
    (150, '5', '', 'Desk'),         -- the same, third gamut
    (160, '6', '', 'Bedroom');      -- the same, of the newest models
INSERT INTO vexad_object_relation (parentobj_id, childobj_id, optional) VALUES
    (100, 110, ''), (100, 120, ''), (100, 130, ''), (100, 140, ''), (100, 150, ''), (100, 160, '');

-- The last digit of an object is its role: 1 on_off, 2 value, 3 temperature, 4 r, 5 g, 6 b, 7 hsv.
INSERT INTO vexad_object_relation (parentobj_id, childobj_id, optional) VALUES
    (110, 111, 'tag_complex_element=''on_off'''),
    (110, 112, 'tag_complex_element=''value'''),

    (120, 121, 'tag_complex_element=''on_off'''),
    (120, 122, 'tag_complex_element=''value'''),
    (120, 123, 'tag_complex_element=''temperature'''),

    (130, 131, 'tag_complex_element=on_off'),
    (130, 132, 'tag_complex_element=value'),
    (130, 134, 'tag_complex_element=r'),
    (130, 135, 'tag_complex_element=g'),
    (130, 136, 'tag_complex_element=b'),

    (140, 141, 'tag_complex_element=''on_off'''),
    (140, 142, 'tag_complex_element=''value'''),
    (140, 143, 'tag_complex_element=''temperature'''),
    (140, 144, 'tag_complex_element=''r'''),
    (140, 145, 'tag_complex_element=''g'''),
    (140, 146, 'tag_complex_element=''b'''),
    (140, 147, 'tag_complex_element=''hsv'''),
    -- A preset is no role of the light: the daemon leaves it out, although it is the last on_off.
    (140, 149, 'preset=''evening''|tag_complex_element=''on_off'''),

    (150, 151, 'position=''left''|tag_complex_element=on_off'),
    (150, 152, 'position=''left''|tag_complex_element=value'),
    (150, 153, 'position=''left''|tag_complex_element=temperature'),
    (150, 157, 'position=''left''|tag_complex_element=hsv'),

    (160, 161, 'tag_complex_element=''on_off'''),
    (160, 162, 'tag_complex_element=''value'''),
    (160, 163, 'tag_complex_element=''temperature'''),
    (160, 164, 'tag_complex_element=''r'''),
    (160, 165, 'tag_complex_element=''g'''),
    (160, 166, 'tag_complex_element=''b'''),
    (160, 167, 'tag_complex_element=''hsv''');

-- Every role object is an object of its own, named after its light and its role.
INSERT INTO vexad_object (id, msp, optionalp, name)
SELECT childobj_id, '', '', light.name || ' ' || CASE childobj_id % 10
       WHEN 1 THEN 'on/off' WHEN 2 THEN 'brightness' WHEN 3 THEN 'temperature' WHEN 4 THEN 'red'
       WHEN 5 THEN 'green' WHEN 6 THEN 'blue' WHEN 7 THEN 'colour' ELSE 'preset' END
FROM vexad_object_relation JOIN vexad_object AS light ON light.id = parentobj_id
WHERE parentobj_id <> 100;
