"""Meshes from NumPy arrays: parts' vertex, normal, colour and index arrays and point sets'
points, set in one call and read back; and what the bad ones raise."""

import numpy as np
import pytest

import lumox


def quad_part(obj):
    part = obj.add_part("quad")
    v = np.array([[-1, -1, 0], [1, -1, 0], [1, 1, 0], [-1, 1, 0]], float)
    n = np.tile([0.0, 0.0, 1.0], (4, 1))
    c = np.array([[255, 0, 0], [0, 255, 0], [0, 0, 255], [255, 255, 255]], np.uint8)
    part.set_vertex_data(v, normals=n, tex_coords=v[:, :2] * 0.5 + 0.5, colors=c)
    part.add_indices(lumox.PrimitiveType.GL_TRIANGLES, np.array([[0, 1, 2], [0, 2, 3]]))
    return part, v, n, c


def test_part_arrays_round_trip(form):
    obj = lumox.Lum3dObj(form)
    part, v, n, c = quad_part(obj)
    np.testing.assert_array_equal(part.vertices(), v)
    np.testing.assert_array_equal(part.normals(), n)
    np.testing.assert_allclose(part.tex_coords()[:, :2], v[:, :2] * 0.5 + 0.5)
    colours = part.colors()
    assert colours.shape == (4, 4)
    np.testing.assert_allclose(colours[:, :3], c / 255.0)
    np.testing.assert_array_equal(colours[:, 3], 1)
    ((mode, idx),) = part.index_lists()
    assert mode is lumox.PrimitiveType.GL_TRIANGLES
    np.testing.assert_array_equal(idx, [0, 1, 2, 0, 2, 3])
    assert obj.total_vertex_count == 4 and obj.parts == [part] and part.container is obj
    # The returned arrays are copies: changing them leaves the mesh alone.
    part.vertices()[:] = 9
    assert part.vertices().max() == 1


def test_part_arrays_reject_bad_shapes_and_keep_the_old_mesh(form):
    obj = lumox.Lum3dObj(form)
    part, v, _, _ = quad_part(obj)
    with pytest.raises(ValueError, match=r"\(N, 3\)"):
        part.set_vertex_data(np.zeros((4, 2)))
    with pytest.raises(ValueError, match="differ in rows"):
        part.set_vertex_data(v, normals=np.zeros((3, 3)))
    with pytest.raises(TypeError):
        part.set_vertex_data(np.array(["a", "b", "c"]).reshape(1, 3))
    with pytest.raises(ValueError):
        part.add_indices("GL_TRIANGLES", [-1, 0, 1])
    with pytest.raises(ValueError, match="PrimitiveType|mode"):
        part.add_indices("GL_NO_SUCH", [0, 1, 2])
    np.testing.assert_array_equal(part.vertices(), v)
    assert len(part.index_lists()) == 1
    obj.delete_part(0)
    with pytest.raises(lumox.Error, match="was freed"):
        part.vertices()


def test_point_set_from_arrays_in_one_call(form):
    pts = lumox.PointSet(form, point_size=4)
    rng = np.random.default_rng(1)
    xyz = rng.uniform(-1, 1, (1000, 3))
    rgb = rng.uniform(0, 1, (1000, 3)).astype(np.float32)
    pts.set_points(xyz, rgb)
    assert pts.point_count == 1000 and pts.colored
    np.testing.assert_array_equal(pts.points(), xyz)
    np.testing.assert_allclose(pts.colors()[:, :3], rgb)
    # Fortran-ordered, float32 and integer arrays are taken too (converted).
    pts.set_points(np.asfortranarray(xyz.astype(np.float32)))
    np.testing.assert_allclose(pts.points(), xyz, rtol=1e-6)
    pts.set_points(np.array([[0, 0, 0], [1, 2, 3]]))
    np.testing.assert_array_equal(pts.points(), [[0, 0, 0], [1, 2, 3]])
    pts.set_points(np.zeros((0, 3)))
    assert pts.point_count == 0
    with pytest.raises(ValueError, match="rows"):
        pts.set_points(xyz, rgb[:10])


def test_shapes_expose_their_built_mesh(form):
    ball = lumox.Sphere(form, slices=8, stacks=4)
    v = ball.vertices()
    assert v.shape[1] == 3 and ball.vertex_count == len(v)
    poly = lumox.Polygon(form)
    poly.set_contour(0, np.array([[0, 0], [1, 0], [1, 1]]))
    assert poly.contour_count == 1
    np.testing.assert_array_equal(np.asarray(poly.contour(0))[:, :2], [[0, 0], [1, 0], [1, 1]])
