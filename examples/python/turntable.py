"""Loads a model file and renders it from all sides, as turntable frames:
turntable.py [FOLDER [MODEL [FRAMES]]] writes FOLDER/turntable_NN.png (by default the
glTF file of nested cubes in the test data, 8 frames) and a contact sheet of them all."""

import os
import sys

import numpy as np

import lumox

HERE = os.path.dirname(os.path.abspath(__file__))
DEFAULT_MODEL = os.path.join(HERE, "..", "..", "tests", "data", "models", "cube_nodes.gltf")


def main(folder, model, frames):
    with lumox.Owner() as form:
        root = lumox.Node(form)
        root.add(lumox.Attributes(form, lighting=True, light_two_side=True))
        light = lumox.Light(form, kind=lumox.LightKind.lkDirection)
        light.direction = (-0.4, 0.6, 1.0)
        root.add(light)
        loaded = lumox.load_model(model, form)
        # Centre and radius of the model's vertices, node transformations applied.
        centre, radius = loaded.bounding_sphere()
        # The model turns about its own centre (a node moves it to the origin), seen from
        # a little above (an outer node tilts it towards the camera).
        turn = lumox.Node(form)
        loaded.transformation.translation = tuple(-c for c in centre)
        turn.add(loaded)
        tilt = lumox.Node(form)
        tilt.transformation.rotation.x = 20
        tilt.add(turn)
        root.add(tilt)

        view = lumox.View(form, width=320, height=240, background_color=lumox.rgb(0.15, 0.15, 0.2))
        camera = lumox.PerspectiveCamera(form, view_angle=40, view_near=radius * 0.1,
                                         view_far=radius * 10)
        camera.transformation.translation = (0, 0, -radius * 3)
        view.camera = camera
        view.on_render = lambda v: root.render(v)

        images = []
        for k in range(frames):
            turn.transformation.rotation.y = k * 360.0 / frames
            image = view.image()
            images.append(image)
            name = os.path.join(folder, "turntable_%02d.png" % k)
            view.save_image(name)
        # A contact sheet of every frame, from the arrays.
        sheet = lumox.Bitmap()
        sheet.from_array(np.concatenate(images, axis=1))
        sheet.save_to_file(os.path.join(folder, "turntable_sheet.png"))
        turned = sum(not np.array_equal(a, b) for a, b in zip(images, images[1:]))
        print("wrote %d frames of %s to %s (%d differ from the one before)" %
              (frames, os.path.basename(model), folder, turned))
        if turned < frames - 1:
            sys.exit("turntable: the model did not turn")


if __name__ == "__main__":
    folder = sys.argv[1] if len(sys.argv) > 1 else "."
    model = sys.argv[2] if len(sys.argv) > 2 else DEFAULT_MODEL
    frames = int(sys.argv[3]) if len(sys.argv) > 3 else 8
    os.makedirs(folder, exist_ok=True)
    main(folder, model, frames)
