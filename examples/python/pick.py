"""Picks objects in a small scene: a ball, a crate and a two-part mesh. For a few window
points it prints what lies under them and the scene point hit, then marks every hit on
the image (pick.png): pick.py [FOLDER]."""

import os
import sys

import numpy as np

import lumox


def main(folder):
    with lumox.Owner() as form:
        view = lumox.View(form, width=320, height=200)
        camera = lumox.PerspectiveCamera(form)
        camera.transformation.translation.z = -4
        view.camera = camera

        root = lumox.Node(form)
        ball = lumox.Sphere(form, name="Ball", radius=0.6, slices=24, stacks=16)
        ball.color.rgb = (0.9, 0.2, 0.2)
        ball.transformation.translation.x = -1.0
        crate = lumox.Box(form, name="Crate")
        crate.color.rgb = (0.9, 0.7, 0.2)
        crate.transformation.translation = (0.4, 0.4, -0.5)
        tiles = lumox.Lum3dObj(form, name="Tiles")
        for k, colour in enumerate([(0.2, 0.4, 0.9), (0.2, 0.8, 0.4)]):
            part = tiles.add_part("tile%d" % k)
            x = 0.8 + 0.5 * k
            part.set_vertex_data(np.array([[x, -1, 0], [x + 0.45, -1, 0], [x + 0.45, -0.4, 0],
                                           [x, -0.4, 0]]),
                                 colors=np.tile(colour + (1.0,), (4, 1)))
            part.add_indices("GL_QUADS", [0, 1, 2, 3])
        for item in (ball, crate, tiles):
            root.add(item)
        view.on_render = lambda v: root.render(v)

        # Window points: the centre of each object (found by projecting it), and a corner.
        targets = [("ball", view.win_from_3d((-1.0, 0, 0))),
                   ("crate", view.win_from_3d((0.4, 0.4, 0))),
                   ("second tile", view.win_from_3d((1.55, -0.7, 0))),
                   ("corner", (5, 5, 0))]
        image = view.image().copy()
        found = 0
        for what, (x, y, _) in targets:
            x, y = int(x), int(y)
            hit = view.pick(x, y)
            name = hit.object.name if hit.object is not None else "nothing"
            where = "" if hit.point is None else " at (%.2f, %.2f, %.2f)" % hit.point
            part = " (part %d)" % hit.num if isinstance(hit.object, lumox.Lum3dObj) else ""
            print("%s at (%d, %d): %s%s%s" % (what, x, y, name, part, where))
            if hit.object is not None:
                found += 1
                image[max(0, y - 2):y + 3, max(0, x - 2):x + 3] = (255, 255, 255, 255)
        marked = lumox.Bitmap()
        marked.from_array(image)
        marked.save_to_file(os.path.join(folder, "pick.png"))
        if found != 3:
            sys.exit("pick: %d of the three objects found" % found)


if __name__ == "__main__":
    folder = sys.argv[1] if len(sys.argv) > 1 else "."
    os.makedirs(folder, exist_ok=True)
    main(folder)
