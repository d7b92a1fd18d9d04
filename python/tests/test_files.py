"""Scenes, forms, models and drawings: load and save round trips, load warnings as a list,
errors with the library's message and the file and line."""

import base64
import json

import numpy as np
import pytest

import lumox

HEAD = '<LUMGL version="1" program="Lumox" description="t">\n<Objects>\n'
TAIL = "\n</Objects>\n</LUMGL>\n"


def scene_file(tmp_path, body, name="s.lumgl"):
    path = tmp_path / name
    path.write_text(HEAD + body + TAIL)
    return str(path)


def test_scene_saved_from_python_loads_back_with_its_owner(scene, tmp_path):
    scene.ball.radius = 0.6
    name = str(tmp_path / "ball.lumgl")
    lumox.save_scene(scene.root, name, description="from Python")
    assert "from Python" in open(name).read()
    warns = []
    with lumox.Owner() as other:
        root = lumox.load_scene(name, other, warnings=warns)
        # The writer puts a material's diffuse colour where the reader does not look for
        # it: the library keeps that and says so, if at all, in this warning only.
        assert all(w.kind is lumox.LoadWarningKind.lwDiffuseNotRead for w in warns)
        balls = [c for c in walk(root) if isinstance(c, lumox.Sphere)]
        assert len(balls) == 1 and balls[0].radius == pytest.approx(0.6)
        assert root.owner is other
    # Without an owner the root belongs to its Python object.
    alone = lumox.load_scene(name, warnings=[])
    assert alone.owner is None and alone.count == scene.root.count


def test_load_warnings_as_a_list_a_python_warning_or_strict(tmp_path):
    name = scene_file(tmp_path, '<TLUMSPHERE name="S" Radius="3" Radus="2"/>')
    found = []
    root = lumox.load_scene(name, warnings=found)
    assert root.count == 1
    (w,) = found
    assert w.kind is lumox.LoadWarningKind.lwUnreadAttribute
    assert (w.file_name, w.line, w.element) == (name, 3, "TLUMSPHERE")
    assert str(w) == f'{name}:3: element "TLUMSPHERE": ' + w.text and "Radus" in w.text
    with pytest.warns(lumox.LoadWarning, match="Radus"):
        lumox.load_scene(name)
    assert lumox.check_scene(name) == found
    target = lumox.Node()
    with pytest.raises(lumox.LoadError) as e:
        lumox.load_scene(name, root=target, strict=True)
    assert e.value.line == 3 and e.value.warnings == found
    assert target.count == 0  # a strict load that failed adds nothing


@pytest.mark.parametrize("body, line, element, text", [
    ('<TLUMSPHERE name="S"/>\n<TLUMSPHERE name="S2" Radius="Z"/>', 4, "TLUMSPHERE",
     "'Z' is not a valid floating point value"),
    ('<TLUMSPHERE name="S">\n<Color Color="000000FF" Alpha="0,5"/></TLUMSPHERE>', 4, "Color",
     "Alpha"),
])
def test_scene_errors_carry_the_message_file_and_line(tmp_path, body, line, element, text):
    name = scene_file(tmp_path, body)
    with lumox.Owner() as form:
        with pytest.raises(lumox.LoadError) as e:
            lumox.load_scene(name, form)
    err = e.value
    assert (err.file_name, err.line, err.element) == (name, line, element)
    assert text in str(err) and f"(line {line})" in str(err)
    assert isinstance(err, lumox.Error)


def test_scene_files_that_are_not_scenes(tmp_path, data):
    (tmp_path / "text.lumgl").write_text("just text")
    for name, why in (("missing.lumgl", "No such file"), ("", "is a directory")):
        with pytest.raises(lumox.LoadError, match=why):
            lumox.load_scene(str(tmp_path / name))
    # Text without "Objects" loads nothing, as the library's reader says in a warning.
    text = str(tmp_path / "text.lumgl")
    assert [w.text for w in lumox.check_scene(text)] == ['no "Objects" element: nothing was loaded']
    with pytest.raises(lumox.LoadError, match="nothing was loaded"):
        lumox.load_scene(text, strict=True)
    # A long comment before the root is no reason to refuse a scene.
    with open(data("scenes", "good", "two_objects_and_group.xml")) as f:
        head, rest = f.read().split("\n", 1)
    (tmp_path / "big.lumgl").write_text(head + "\n<!-- " + "x" * 70000 + " -->\n" + rest)
    assert lumox.load_scene(str(tmp_path / "big.lumgl"), warnings=[]).count > 0


def test_form_round_trip_and_form_errors(data, tmp_path):
    with lumox.Owner() as form:
        top = lumox.load_form(form, data("forms", "handwritten.lumform"))
        view = form.find_component("View1")
        assert view in top and view.width == 320 and view.camera is form.find_component("Eye")
        assert view.controller.mode is lumox.PresentationMode.pmLeft
        text = lumox.form_text(form)
        name = str(tmp_path / "again.lumform")
        lumox.save_form(form, name)
    with lumox.Owner() as again:
        lumox.load_form(again, name)
        assert lumox.form_text(again) == text
    with lumox.Owner() as form:
        lumox.Sphere(form, name="Kept")
        with pytest.raises(lumox.FormError) as e:
            lumox.read_form_text(form, "LUMFORM 1\nobject X: TLumSphere\n  Radius = abc\nend\n",
                                 "t.lumform")
        assert (e.value.file_name, e.value.line, e.value.property) == ("t.lumform", 3, "X.Radius")
        assert "is not a number" in e.value.reason
        # The owner is left as it was.
        assert [c.name for c in form.components] == ["Kept"]
        with pytest.raises(lumox.FormError, match="cannot be opened"):
            lumox.load_form(form, str(tmp_path / "missing.lumform"))


def walk(node):
    for item in node.items:
        yield item
        if isinstance(item, lumox.Node):
            yield from walk(item)


def test_models_import_export_and_drawings(data, tmp_path):
    with lumox.Owner() as form:
        root = lumox.load_model(data("models", "cube.obj"), form)
        (cube,) = [o for o in walk(root) if isinstance(o, lumox.Lum3dObj)]
        owner = cube.owner
        while owner is not form:
            owner = owner.owner
        v = cube.part(0).vertices()
        assert v.shape[1] == 3 and v.min() == pytest.approx(-v.max())
        steps = []
        big = lumox.load_model(data("models", "cube.gltf"), form, scale=2.0,
                               on_progress=steps.append)
        # The scale goes on the root's transformation; the vertices stay the file's.
        assert big.transformation.scale.xyz == pytest.approx((2, 2, 2))
        (big_cube,) = [o for o in walk(big) if isinstance(o, lumox.Lum3dObj)]
        assert np.abs(big_cube.part(0).vertices()).max() == pytest.approx(np.abs(v).max())
        # What a progress handler raises comes out as itself, read here or in a child.
        def stop(done):
            raise KeyError("stop")
        for isolated in (False, True):
            with pytest.raises(KeyError, match="stop"):
                lumox.load_model(data("models", "cube.obj"), form, on_progress=stop,
                                 isolated=isolated)
        lumox.save_model(root, str(tmp_path / "out.glb"))
        assert lumox.load_model(str(tmp_path / "out.glb"), form).mesh_counts().triangles == 12
        drawing = lumox.import_dxf(data("models", "drawing.dxf"), owner=form)
        assert drawing.owner is form and drawing.part_count == 4
        with pytest.raises(lumox.Error, match="missing.obj.*does not exist"):
            lumox.load_model(str(tmp_path / "missing.obj"))
        with pytest.raises(lumox.Error):
            lumox.import_dxf(str(tmp_path / "missing.dxf"))


def test_model_import_options_bounds_and_counts(data, tmp_path, form):
    # A glTF whose buffer lies beside its folder: refused, then read through a resource root.
    gltf = json.load(open(data("models", "cube.gltf")))
    uri = gltf["buffers"][0]["uri"]
    (tmp_path / "data.bin").write_bytes(base64.b64decode(uri.split(",", 1)[1]))
    gltf["buffers"][0]["uri"] = "../data.bin"
    (tmp_path / "m").mkdir()
    model = str(tmp_path / "m" / "cube.gltf")
    json.dump(gltf, open(model, "w"))
    with pytest.raises(lumox.Error, match="lies outside the model's folder"):
        lumox.load_model(model, form)
    with pytest.raises(lumox.Error, match="more than the bound of 100 bytes"):
        lumox.load_model(model, form, resource_roots=[str(tmp_path)], max_file_size=100)
    for bad in (float("nan"), float("inf"), 0, -1):
        with pytest.raises(ValueError, match="time_limit"):
            lumox.load_model(model, form, time_limit=bad)
    found = []
    cube = lumox.load_model(model, form, resource_roots=[str(tmp_path)], isolated=True,
                            max_memory_mb=512, time_limit=60, warnings=found)
    assert found == []
    assert cube.mesh_counts() == lumox.MeshCounts(objects=1, vertices=8, triangles=12,
                                                  lines=0, points=0)
    # Boxes and spheres as tuples, None where there is nothing; the sums are the library's.
    (obj,) = [o for o in walk(cube) if isinstance(o, lumox.Lum3dObj)]
    assert obj.local_bounds() == ((-0.5, -0.5, -0.5), (0.5, 0.5, 0.5))
    cube.transformation.translation.x = 1
    assert cube.world_bounds() == ((0.5, -0.5, -0.5), (1.5, 0.5, 0.5))
    assert cube.local_bounds() is None and lumox.Node(form).world_bounds() is None
    centre, radius = cube.bounding_sphere()
    assert centre == (1, 0, 0) and radius == pytest.approx(0.75 ** 0.5)
    # Seen along -Z with 45 degrees a side, the nearest corner decides: 0.5 + 0.5; turned
    # a quarter about Y the box looks the same, and a half-width view stands twice as far.
    turn = lumox.Rotation()
    turn.y = 90
    assert obj.fit_distance((0, 0, 0), 0.5, 0.5, turn=turn) == pytest.approx(1.5)
    assert obj.fit_distance((0, 0, 0), 1, 1, turn=np.eye(4)) == pytest.approx(1.0)
    with pytest.raises(ValueError):
        obj.fit_distance((0, 0, 0), 0, 1)
    with pytest.raises(ValueError, match="4 x 4"):
        obj.fit_distance((0, 0, 0), 1, 1, turn=np.eye(3))
    # A texture the model names but that is not there: a warning, in the list or issued.
    for name in ("twoparts.obj", "twoparts.mtl"):
        (tmp_path / "m" / name).write_bytes(open(data("models", name), "rb").read())
    found = []
    lumox.load_model(str(tmp_path / "m" / "twoparts.obj"), form, warnings=found)
    assert len(found) == 1 and "green.png" in found[0].message
    with pytest.warns(lumox.LoadWarning, match="green.png"):
        lumox.load_model(str(tmp_path / "m" / "twoparts.obj"), form)
