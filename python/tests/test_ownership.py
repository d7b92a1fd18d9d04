"""Freeing in every order: the owner first, the component first, Python's references
first, the collector last, and the interpreter's exit with live objects."""

import gc
import weakref

import pytest

import lumox
from conftest import run_python


def test_owner_first_leaves_python_references_that_raise():
    with lumox.Owner() as form:
        root = lumox.Node(form)
        ball = lumox.Sphere(form, name="Ball")
        root.add(ball)
        colour = ball.color
    for obj in (root, ball, colour):
        assert obj.freed
    with pytest.raises(lumox.Error, match='TLumSphere "Ball" was freed'):
        ball.radius = 1
    with pytest.raises(lumox.Error, match="was freed"):
        colour.rgb  # a value object of a freed component too
    assert "freed" in repr(ball)


def test_component_first_is_taken_out_of_its_owner_and_node(form):
    root = lumox.Node(form)
    ball = lumox.Sphere(form)
    root.add(ball)
    ball.free()
    assert root.count == 0
    assert ball not in form.components
    # A second free is a use of a freed component, never a double free.
    with pytest.raises(lumox.Error, match="was freed"):
        ball.free()


def test_python_references_dropped_first_keep_owned_components(form):
    root = lumox.Node(form)
    lumox.Sphere(form, name="Kept", radius=0.75)
    gc.collect()
    kept = form.find_component("Kept")
    assert kept.radius == 0.75
    del root, kept
    gc.collect()
    assert form.find_component("Kept").radius == 0.75


def test_component_without_owner_goes_with_its_python_object_or_its_value_objects():
    ball = lumox.Sphere(name="Alone")
    watcher = lumox.Node()
    watcher.add(ball)
    del ball
    gc.collect()
    # The node heard of the removal: no dangling item.
    assert watcher.count == 0
    # A value object keeps the component it belongs to alive.
    colour = lumox.Sphere().color
    gc.collect()
    colour.rgb = (0, 0, 1)
    assert colour.rgb == pytest.approx((0, 0, 1))


def test_giving_an_owner_later_hands_the_component_over():
    ball = lumox.Sphere()
    with lumox.Owner() as form:
        form.insert_component(ball)
        inner = lumox.Owner(form)
        for bad in (inner, form):  # an owner cycle would never be freed
            with pytest.raises(lumox.Error, match="own itself or one of its owners"):
                inner.insert_component(bad)
        assert inner.owner is form and form.owner is None
        ref = ball
        del ball
        gc.collect()
        assert ref.owner is form
    assert ref.freed


def test_cycles_through_handlers_break_by_the_collector_or_the_owner_going_first():
    view = lumox.View(width=8, height=8)
    node = lumox.Node()
    # A cycle: the view's handler refers to the view and the node.
    view.on_render = lambda v: (view, node)
    probe = weakref.ref(view)
    del view, node
    gc.collect()
    assert probe() is None
    form = lumox.Owner()
    view = lumox.View(form, width=8, height=8)
    view.on_render = lambda v: form
    form.free()
    assert view.freed
    del form, view
    gc.collect()



def test_interpreter_exit_inside_a_with_block_with_live_freed_and_loose_objects():
    p = run_python("""
        import sys, lumox
        form = lumox.Owner()
        root = lumox.Node(form)
        view = lumox.View(form, width=16, height=16)
        view.on_render = lambda v: root.render(v)
        view.camera = lumox.PerspectiveCamera(form)
        root.add(lumox.Sphere(form))
        view.image()
        alone = lumox.Sphere()
        alone.on_before_render = lambda v: alone
        loose = lumox.View(width=4, height=4)
        loose.on_render = lambda v: loose
        colour = lumox.Material(form).color_diffuse
        gone = lumox.Owner()
        ball = lumox.Sphere(gone)
        gone.free()
        print("end")
        with lumox.Owner() as f2:
            lumox.Sphere(f2)
            sys.exit(0)
    """)
    assert p.returncode == 0, p.stderr
    assert p.stdout.strip() == "end"
    assert "Traceback" not in p.stderr and "Error" not in p.stderr


def test_freeing_from_a_handler_waits_for_the_frame_to_end(form):
    # The view frees itself, an object frees itself while drawn, an owner frees all:
    # each happens once the call from Python returns, never under the library's feet.
    view = lumox.View(form, width=16, height=16)
    view.on_render = lambda v: v.free()
    assert view.image().shape == (16, 16, 4)
    assert view.freed
    ball = lumox.Sphere(form)
    ball.on_before_render = lambda v: ball.free()
    root = lumox.Node(form)
    root.add(ball)
    other = lumox.View(form, width=16, height=16)
    other.on_render = lambda v: root.render(v)
    other.image()
    assert ball.freed and root.count == 0
    inner = lumox.Owner(form)
    clicked = lumox.View(inner, width=8, height=8)
    clicked.on_click = lambda v: inner.destroy_components()
    clicked.click()
    assert clicked.freed and not inner.freed
    alone = lumox.View(width=8, height=8)

    def drop(v):
        nonlocal alone
        alone = None  # the last reference goes inside the frame

    alone.on_render = drop
    alone.image()
    assert alone is None
    obj = lumox.Lum3dObj(form)
    obj.add_part()
    obj.on_before_render = lambda v: obj.delete_part(0)
    root.add(obj)
    with pytest.raises(lumox.Error, match="handler"):
        other.image()
    assert obj.part_count == 1


def test_the_collector_inside_a_library_call_frees_once_it_returns(form):
    # The first item's handler lets the collector run while the node walks its items;
    # the third, Python's own and in a cycle, must outlive the walk.
    root = lumox.Node(form)
    keep = []

    def first(s):
        keep.clear()
        gc.set_threshold(gc.get_count()[0] - 1)
        gc.enable()

    def cycle():
        alone = lumox.Sphere(radius=7.0)
        alone.on_before_render = lambda v: alone
        return alone

    threshold, enabled = gc.get_threshold(), gc.isenabled()
    gc.disable()
    try:
        for handler in (first, lambda s: None):
            item = lumox.Sphere(form)
            item.on_after_init = handler
            root.add(item)
        keep.append(cycle())
        root.add(keep[0])
        del item
        assert root.world_bounds() is not None
    finally:
        gc.set_threshold(*threshold)
        (gc.enable if enabled else gc.disable)()
    gc.collect()
    assert root.count == 2


def test_an_object_of_a_python_subclass_lasts_while_an_owner_holds_its_component(form):
    class Ball(lumox.Sphere):
        def hello(self):
            return "hi"

    ball = Ball(form, name="b")
    ball.note = "mine"
    del ball
    gc.collect()
    again = form.find_component("b")
    assert type(again) is Ball and again.note == "mine" and again.hello() == "hi"
    form.remove_component(again)  # without an owner it goes with its object again
    probe = weakref.ref(again)
    del again
    gc.collect()
    assert probe() is None
    # A cycle through the owner is collected.
    other = lumox.Owner()
    Ball(other).back = other
    probe = weakref.ref(other)
    del other
    gc.collect()
    assert probe() is None
