"""The headless view: images as arrays, files and PNG for notebooks, picking, input events
with Python callables, controllers, the timer and the idle loop."""

import numpy as np
import pytest

import lumox
from conftest import lit_pixels, red


def test_image_is_a_rgba_array_of_the_frame_without_a_copy(scene):
    img = scene.view.image()
    assert img.shape == (120, 160, 4) and img.dtype == np.uint8
    # The array owns the read-back itself.
    assert not img.flags["OWNDATA"] and img.base is not None
    assert red(img[60, 80]), img[60, 80]
    assert not red(img[5, 5])
    assert img[60, 80, 3] == 255
    # A top-down array: a ball moved up shows in the upper rows.
    scene.ball.transformation.translation.y = 0.8
    up = scene.view.image()
    assert lit_pixels(up[:60]) > lit_pixels(up[60:])
    # Another size on request.
    assert scene.view.image(64, 48).shape == (48, 64, 4)
    with pytest.raises(ValueError):
        scene.view.image(0, 10)


def test_save_image_and_repr_png_match_image(scene, tmp_path):
    name = tmp_path / "ball.png"
    scene.view.save_image(str(name))
    (tmp_path / "repr.png").write_bytes(scene.view._repr_png_())
    for path in (name, tmp_path / "repr.png"):
        assert path.read_bytes()[:8] == b"\x89PNG\r\n\x1a\n"
        bitmap = lumox.Bitmap()  # read back as the library reads image files
        bitmap.load_from_file(str(path))
        pixels = bitmap.to_array()
        assert pixels.shape == (120, 160, 4) and red(pixels[60, 80])
    scene.view.save_image(str(tmp_path / "ball.jpg"), 32, 24)
    assert (tmp_path / "ball.jpg").read_bytes()[:2] == b"\xff\xd8"
    # Arrays in: floats 0..1 as colours take them, bytes as they are, nothing wrapped.
    bitmap = lumox.Bitmap()
    bitmap.from_array(np.array([[[0.9, 0.5, 0.1]]]))
    assert bitmap.to_array().tolist() == [[[230, 128, 26, 255]]]
    for bad, error in (([[[300, -1, 128]]], ValueError), ([[["a", "b", "c"]]], TypeError)):
        with pytest.raises(error):
            bitmap.from_array(np.array(bad))
    assert bitmap.to_array().tolist() == [[[230, 128, 26, 255]]]


def test_pick_returns_the_component_and_the_point(scene):
    hit = scene.view.pick(80, 60)
    assert hit.object is scene.ball
    x, y, z = hit.point
    assert abs(x) < 0.05 and abs(y) < 0.05 and z == pytest.approx(0.5, abs=0.02)
    miss = scene.view.pick(3, 3)
    assert miss.object is None and miss.point is None


def test_mouse_and_key_events_call_python_with_the_library_arguments(scene):
    seen = []
    v = scene.view
    v.on_mouse_down = lambda s, b, sh, x, y: seen.append(("down", s, b, sh, x, y))
    v.on_mouse_move = lambda s, sh, x, y: seen.append(("move", x, y))
    v.on_key_down = lambda s, key, sh: lumox.VK_RIGHT if key == lumox.VK_LEFT else None
    v.on_key_press = lambda s, ch: ch.upper()
    v.on_mouse_wheel = lambda s, sh, delta, x, y: delta > 0
    v.mouse_down(10, 20, lumox.MouseButton.mbRight, {lumox.ShiftStateItem.ssCtrl})
    v.mouse_move(11, 21)
    assert seen[0][0] == "down" and seen[0][1] is v and seen[0][2] is lumox.MouseButton.mbRight
    assert lumox.ShiftStateItem.ssCtrl in seen[0][3] and seen[0][4:] == (10, 20)
    assert seen[1] == ("move", 11, 21)
    # Handlers change reference arguments by returning the new value.
    assert v.key_down(lumox.VK_LEFT) == lumox.VK_RIGHT
    assert v.key_down(lumox.VK_UP) == lumox.VK_UP
    assert v.key_press("a") == "A"
    assert v.mouse_wheel(120, 5, 5) is True
    assert v.mouse_wheel(-120, 5, 5) is False
    assert v.on_key_press("s", "b") == "B"  # the handler reads back as the callable
    v.on_mouse_down = None
    assert v.on_mouse_down is None


def test_a_controller_made_with_keywords_moves_its_object(scene):
    car = lumox.CarController(scene.root.owner, controlled=scene.camera, max_speed=5)
    car.accelerate(1)
    z = scene.camera.transformation.translation.z
    car.move()
    assert scene.camera.transformation.translation.z != z


def test_timer_ticks_python_handler_from_the_idle_loop(form):
    ticks = []
    timer = lumox.Timer(form, rate=1000)
    app = lumox.Application()
    assert app is lumox.Application()

    def tick(sender, lag):
        assert sender is timer
        ticks.append(lag)
        if len(ticks) == 3:
            timer.enabled = False

    timer.on_timer = tick
    timer.enabled = True
    assert app.run(timeout=10)
    assert len(ticks) == 3
    # An on_idle handler of Python's asks to be called again until it is done.
    calls = []
    app.on_idle = lambda a: (calls.append(a), len(calls) >= 4)[1]
    while not app.process_idle():
        pass
    assert len(calls) == 4 and calls[0] is app
    app.on_idle = None


def test_on_render_gets_the_view_and_none_clears_it(scene):
    drawn = []
    scene.view.on_render = lambda v: (drawn.append(v), scene.root.render(v))
    scene.view.image()
    assert drawn == [scene.view]
    scene.view.on_render = None
    assert lit_pixels(scene.view.image()) == 0


def test_image_of_a_scene_without_camera_or_handler(form):
    v = lumox.View(form, width=20, height=10, background_color=lumox.rgb(0, 0, 1))
    img = v.image()
    assert img.shape == (10, 20, 4)
    assert tuple(img[5, 10, :3]) == (0, 0, 255)
