"""Classes and properties made from the property table: every class constructible, both
names, enumerations, sets, colours, value objects that belong to their component."""

import pytest

import lumox


def test_every_registered_class_is_constructible_with_both_names(form):
    made = 0
    for cls in lumox.classes():
        name = lumox.library_name(cls)
        assert getattr(lumox, name) is cls, name
        props = lumox.properties(cls)
        try:
            obj = cls(form) if issubclass(cls, lumox.Component) else cls()
        except lumox.Error as e:
            # Abstract classes say so; every other one must build.
            assert "abstract" in str(e) or "cannot be created" in str(e), (name, e)
            continue
        made += 1
        assert obj.class_name == name or issubclass(type(obj), cls)
        # Every readable property reads under its snake_case and its library name, and
        # reads the same through both.
        for p in props:
            if p.kind != "Event":
                a, b = getattr(obj, p.python_name), getattr(obj, p.name)
                assert a == b or p.kind == "Object", (name, p.name)
    assert made > 40


def test_enumerations_are_python_enums_with_the_library_names(form):
    a = lumox.Attributes(form)
    assert lumox.TLumPolygonMode is lumox.PolygonMode
    a.polygon_mode = lumox.PolygonMode.pmLine
    assert a.polygon_mode is lumox.PolygonMode.pmLine
    a.polygon_mode = "pmPoint"  # a value name as well
    assert a.polygon_mode == lumox.PolygonMode.pmPoint
    a.polygon_mode = int(lumox.PolygonMode.pmFill)
    assert a.polygon_mode is lumox.PolygonMode.pmFill
    with pytest.raises(ValueError, match="PolygonMode"):
        a.polygon_mode = "pmNoSuchMode"


def test_sets_are_frozensets_of_members(form):
    c = lumox.MouseController(form)
    flag = type(next(iter(lumox.CntrlFlag)))
    first, second = list(flag)[:2]
    c.cntrl_flags = {first, second}
    assert c.cntrl_flags == frozenset({first, second})
    c.cntrl_flags = [first.name]
    assert c.cntrl_flags == frozenset({first})
    c.cntrl_flags = ()
    assert c.cntrl_flags == frozenset()


def test_colours_and_value_objects_belong_to_their_component(form):
    m = lumox.Material(form)
    diffuse = m.color_diffuse
    diffuse.rgb = (1, 0, 0)
    assert m.color_diffuse.rgb == pytest.approx((1, 0, 0))
    # The same value object every time.
    assert m.color_diffuse is diffuse
    other = lumox.Material(form)
    other.color_diffuse = m.color_diffuse  # copied in by Assign, not shared
    m.color_diffuse.rgb = (0, 1, 0)
    assert other.color_diffuse.rgb == pytest.approx((1, 0, 0))
    # A bad channel anywhere changes none of them.
    with pytest.raises(TypeError):
        diffuse.rgba = (0, 0, 1, "x")
    assert diffuse.rgb == pytest.approx((0, 1, 0))
    # lumox.rgb, the colour property and the rgb setter agree on halves and NaN.
    for c in (0.5 / 255, 2.5 / 255, float("nan"), 7.0):
        diffuse.rgb = (c, 0, 0)
        other.color_diffuse.color = (c, 0, 0)
        assert lumox.rgb(c, 0, 0) == diffuse.color == other.color_diffuse.color
    assert lumox.rgb(0.5 / 255, 0, 1) == 0xFF0001


def test_component_references_check_the_accepted_class(form):
    s = lumox.Sphere(form)
    m = lumox.Material(form)
    s.material = m
    assert s.material is m
    with pytest.raises(TypeError):
        s.material = lumox.Sphere(form)
    s.material = None
    assert s.material is None
    # Freeing the referenced component clears the reference, as the library does.
    s.material = m
    m.free()
    assert s.material is None


def test_one_python_object_per_library_object(form):
    root = lumox.Node(form)
    ball = lumox.Sphere(form)
    root.add(ball)
    assert root.items[0] is ball
    assert ball in form.components
