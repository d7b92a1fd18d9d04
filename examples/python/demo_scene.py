"""Builds a scene like the lumox demo in Python (shapes, materials, two lights, a texture
made from a NumPy array, fog, a clip plane, a point cloud and a mesh from arrays, the axes
cross) and writes it as demo_scene.png: demo_scene.py [FOLDER]."""

import math
import os
import sys

import numpy as np

import lumox


def material(owner, node, rgb, specular=(0.3, 0.3, 0.3), shininess=40):
    m = lumox.Material(owner, shininess=shininess)
    m.color_ambient.rgb = [c * 0.3 for c in rgb]
    m.color_diffuse.rgb = rgb
    m.color_specular.rgb = specular
    node.add(m)
    return m


def place(shape, node, x, y, z=0.0):
    shape.transformation.translation = (x, y, z)
    node.add(shape)
    return shape


def build(form):
    root = lumox.Node(form)
    fog = lumox.Fog(form, start_depth=5, end_depth=14, mode=lumox.FogMode.fmLinear)
    fog.color = (0.06, 0.09, 0.16)
    root.add(fog)
    key = lumox.Light(form, kind=lumox.LightKind.lkDirection)
    key.direction = (-0.5, 0.8, 0.7)
    key.color_ambient.rgb = (0.2, 0.2, 0.2)
    root.add(key)
    blue = lumox.Light(form, id=lumox.LightID.idLight1)
    blue.transformation.translation = (4, 2.5, 1)
    blue.color_diffuse.rgb = (0.2, 0.45, 0.75)
    root.add(blue)
    root.add(lumox.Attributes(form, lighting=True, light_two_side=True))

    # The back row: the simple shapes, each after a material of its own.
    material(form, root, (0.9, 0.2, 0.2))
    place(lumox.Sphere(form, radius=0.6, slices=32, stacks=24), root, -3.0, 1.2)
    material(form, root, (0.9, 0.7, 0.2))
    place(lumox.Box(form, width=1, height=1, depth=1), root, -1.5, 1.2)
    material(form, root, (0.2, 0.8, 0.3))
    cylinder = place(lumox.Cylinder(form, base_radius=0.5, top_radius=0.2, height=1.2, closed=True,
                                    slices=24), root, 0.0, 0.7)
    cylinder.transformation.rotation.x = -90
    material(form, root, (0.3, 0.5, 0.95))
    place(lumox.Torus(form, radius=0.45, thickness=0.15, slices=32, stacks=16), root, 1.6, 1.2)
    material(form, root, (0.8, 0.4, 0.9))
    place(lumox.Disc(form, outer_radius=0.6, inner_radius=0.25, sweep_angle=300), root, 3.0, 1.2)

    # The front row: a textured rectangle, a body of rotation, an extruded polygon and a
    # tube, a mesh and a point cloud from arrays.
    checker = np.zeros((64, 64, 3), np.uint8)
    checker[(np.arange(64)[:, None] // 8 + np.arange(64)[None, :] // 8) % 2 == 0] = (230, 200, 60)
    checker[checker.sum(axis=2) == 0] = (40, 60, 160)
    texture = lumox.Texture(form)
    texture.bitmap.from_array(checker)
    root.add(texture)
    material(form, root, (1, 1, 1))
    floor = place(lumox.Rectangle(form, width=1.4, height=1.4, textured=True), root, -3.0, -0.9)
    floor.texture = texture
    floor.transformation.rotation.x = 70
    texture_off = lumox.Texture(form, enabled=False)
    root.add(texture_off)

    material(form, root, (0.95, 0.55, 0.3))
    vase = lumox.RotObj(form, slices=24, stacks=16)
    # The profile of the body: a radius along z, from a Python callable.
    vase.on_calc_z = lambda old, t: (0.3 + 0.2 * math.sin(t * math.pi * 1.5), 0.0, t * 1.2 - 0.6)
    place(vase, root, -1.5, -0.8).transformation.rotation.x = -90

    material(form, root, (0.4, 0.9, 0.9))
    star = lumox.Polygon(form, depth=0.3)
    angles = np.arange(10) * math.pi / 5
    radii = np.where(np.arange(10) % 2 == 0, 0.6, 0.25)
    star.set_contour(0, np.column_stack([radii * np.sin(angles), radii * np.cos(angles)]))
    place(star, root, 0.0, -0.8)

    material(form, root, (0.9, 0.9, 0.5))
    tube = lumox.Tube(form, segments=12)
    for k in range(9):
        a = k * math.pi / 4
        tube.add_section((0.5 * math.cos(a), 0.5 * math.sin(a), k * 0.08), 0.08)
    place(tube, root, 1.5, -0.8)

    # Vertex colours show unlit: the mesh has attributes of its own.
    mesh = lumox.Lum3dObj(form, attributes=lumox.Attributes(form, lighting=False))
    part = mesh.add_part("fan")
    n = 24
    a = np.linspace(0, 2 * math.pi, n, endpoint=False)
    vertices = np.vstack([[0, 0, 0.3], np.column_stack([0.6 * np.cos(a), 0.6 * np.sin(a), np.zeros(n)])])
    colours = np.vstack([[1, 1, 1, 1], np.column_stack([(np.cos(a) + 1) / 2, (np.sin(a) + 1) / 2,
                                                         np.full(n, 0.5), np.ones(n)])])
    part.set_vertex_data(vertices, colors=colours)
    part.add_indices(lumox.PrimitiveType.GL_TRIANGLE_FAN, list(range(n + 1)) + [1])
    place(mesh, root, 3.0, -0.8)

    cloud = lumox.PointSet(form, point_size=2)
    rng = np.random.default_rng(1)
    points = rng.normal(0, 0.35, (4000, 3))
    cloud.set_points(points, colors=np.clip(points + 0.5, 0, 1))
    place(cloud, root, 0.0, -2.4)

    return root


def main(folder):
    with lumox.Owner() as form:
        root = build(form)
        view = lumox.View(form, width=800, height=500, background_color=lumox.rgb(0.06, 0.09, 0.16))
        view.coordinates.visible = True
        camera = lumox.PerspectiveCamera(form, view_far=30)
        camera.transformation.translation = (0, 0, -8)
        view.camera = camera
        # A clip plane, x <= 3.3, cuts the disc on the right: render state applies to
        # what is drawn after it in the frame.
        clip = lumox.Clip(form, x=-1, y=0, z=0, w=3.3)
        view.on_render = lambda v: (clip.render(v), root.render(v))
        image = view.image()
        name = os.path.join(folder, "demo_scene.png")
        view.save_image(name)
        lit = int((image[:, :, :3].max(axis=2) > 60).sum())
        print("wrote %s: %d x %d, %d lit pixels" % (name, image.shape[1], image.shape[0], lit))
        if lit < image.shape[0] * image.shape[1] // 20:
            sys.exit("demo_scene: the picture is almost empty")


if __name__ == "__main__":
    folder = sys.argv[1] if len(sys.argv) > 1 else "."
    os.makedirs(folder, exist_ok=True)
    main(folder)
