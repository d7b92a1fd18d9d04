"""Bad input: wrong types, out-of-range values (ignored as the library's setters ignore
them), freed components, missing files, no display, and handlers that raise. Each gets a
Python exception or the library's silent rule, never a crash."""

import traceback

import numpy as np
import pytest

import lumox
from conftest import run_python


@pytest.mark.parametrize("cls, prop, value, error", [
    (lumox.Sphere, "radius", "big", TypeError),
    (lumox.Sphere, "slices", 2.5, TypeError),
    (lumox.Sphere, "enabled", "yes", TypeError),
    (lumox.Sphere, "material", 5, TypeError),
    (lumox.Sphere, "on_before_render", 5, TypeError),
    (lumox.Sphere, "name", 3, TypeError),
    (lumox.Attributes, "polygon_mode", 2.5, TypeError),
    (lumox.Attributes, "polygon_mode", 99, ValueError),
    (lumox.Sphere, "slices", 2 ** 40, (ValueError, OverflowError)),
])
def test_wrong_types_raise_and_leave_the_value(form, cls, prop, value, error):
    obj = cls(form)
    before = getattr(obj, prop)
    with pytest.raises(error) as e:
        setattr(obj, prop, value)
    assert prop in str(e.value) or cls.__name__ in str(e.value) or "takes" in str(e.value)
    assert getattr(obj, prop) == before


def test_wrong_arguments_to_constructors_and_methods(form):
    for call, error, words in (
            (lambda: lumox.Sphere("not an owner"), TypeError, "owner"),
            (lambda: lumox.Sphere(form, form), TypeError, None),
            (lambda: lumox.Sphere(form, radious=1), TypeError, "no property"),
            (lambda: lumox.Node(form).add("sphere"), TypeError, None),
            (lambda: lumox.Color(form), TypeError, None),  # a value object takes no owner
            (lambda: lumox.View(form).pick("a", 1), TypeError, None),
            (lambda: lumox.View(form).key_press("ab"), ValueError, None),
            # The process's one application stays whatever its keywords were.
            (lambda: lumox.Application(bogus=1), TypeError, "no property"),
            (lambda: lumox.Application(active="yes"), TypeError, None)):
        with pytest.raises(error, match=words):
            call()
    assert not lumox.Application().freed and lumox.Application().process_idle() in (True, False)


def test_freed_components_raise_wherever_they_are_used(form):
    root = lumox.Node(form)
    ball = lumox.Sphere(form, name="Gone")
    colour = ball.color
    ball.free()
    for use in (lambda: ball.radius, lambda: setattr(ball, "radius", 1),
                lambda: root.add(ball), lambda: colour.rgb,
                lambda: lumox.Sphere(form).__setattr__("material", ball),
                lambda: lumox.save_scene(ball, "x.lumgl"), lambda: ball.vertices()):
        with pytest.raises(lumox.Error, match='"Gone" was freed'):
            use()
    with pytest.raises(lumox.Error, match="was freed"):
        lumox.Sphere(ball)  # a freed owner


def test_missing_files_and_unwritable_places(scene, tmp_path):
    with pytest.raises(lumox.Error):
        lumox.Bitmap().load_from_file(str(tmp_path / "missing.png"))
    kept = tmp_path / "kept.png"
    scene.view.save_image(str(kept))
    old = kept.read_bytes()
    with pytest.raises(lumox.Error):
        scene.view.save_image(str(tmp_path / "missing" / "x.png"))
    with pytest.raises(ValueError):
        scene.view.save_image(str(kept), 0, 10)
    with pytest.raises(lumox.Error):
        lumox.save_scene(scene.root, str(tmp_path / "no" / "dir" / "x.lumgl"))
    assert kept.read_bytes() == old
    with pytest.raises(lumox.Error):
        lumox.PointSet(scene.root.owner).load_from_file(str(tmp_path / "missing.xyz"))


def test_a_view_without_a_display_names_the_packages(tmp_path):
    out = tmp_path / "none.png"
    p = run_python(f"""
        import lumox
        v = lumox.View(width=8, height=8)
        for call in (v.image, lambda: v.save_image({str(out)!r})):
            try:
                call()
            except lumox.Error as e:
                print("Error:", e)
    """, env={"__EGL_VENDOR_LIBRARY_FILENAMES": "/nonexistent"})
    assert p.returncode == 0, p.stderr
    lines = p.stdout.splitlines()
    assert len(lines) == 2, p.stdout
    for line in lines:
        assert "No EGL display is available: install libegl1" in line
    assert not out.exists()


def boom(view):
    raise ValueError("boom in on_render")


def test_raising_handlers_propagate_out_of_image_and_pick_and_leave_no_gl_state(scene):
    good = scene.view.image()
    with pytest.raises(ValueError, match="boom in on_render") as e:
        scene.view.on_render = boom
        scene.view.image()
    # The traceback reaches into the handler.
    assert any(f.name == "boom" for f in traceback.extract_tb(e.value.__traceback__))
    scene.view.on_render = lambda v: scene.root.render(v)
    # Raised while the scene's node is pushed, more times than the matrix stack is deep,
    # so state left over would show.
    scene.ball.on_before_render = boom
    for _ in range(40):
        with pytest.raises(ValueError):
            scene.view.image()
    with pytest.raises(ValueError, match="boom"):
        scene.view.pick(80, 60)
    scene.ball.on_before_render = None
    np.testing.assert_array_equal(scene.view.image(), good)
    assert scene.view.pick(80, 60).object is scene.ball


def test_handlers_returning_the_wrong_type_raise(scene):
    v = scene.view
    for result in ("not a key", -1, 1.5, 70000):
        v.on_key_down = lambda s, key, shift: result
        with pytest.raises(TypeError, match="OnKeyDown returns a key code 0..65535 or None"):
            v.key_down(lumox.VK_LEFT)
    v.on_mouse_wheel = lambda *a: "yes"
    with pytest.raises(TypeError, match="OnMouseWheel returns True, False or None, not str"):
        v.mouse_wheel(120, 1, 1)
    with pytest.raises(lumox.ConvertError, match="cannot take the value 1000000000000"):
        v.mouse_move(1, 1, shift=[10**30])
    scene.view.on_key_down = None
    assert scene.view.key_down(lumox.VK_LEFT) == lumox.VK_LEFT


def test_a_raising_timer_handler_comes_out_of_process_idle(form):
    timer = lumox.Timer(form, rate=1000)

    def tick(sender, lag):
        timer.enabled = False
        raise KeyError("tick")

    timer.on_timer = tick
    timer.enabled = True
    with pytest.raises(KeyError):
        for _ in range(100000):
            lumox.Application().process_idle()
    assert lumox.Application().process_idle() in (True, False)
