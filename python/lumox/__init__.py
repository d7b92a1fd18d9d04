"""Lumox: components for interactive 3D scenes drawn with OpenGL, rendered headless.

Every class of the library is here with its published properties, under Python's names
(``lumox.Sphere``, ``radius``) and the library's (``lumox.TLumSphere``, ``Radius``)::

    import lumox

    with lumox.Owner() as form:                 # frees everything it owns on leaving
        root = lumox.Node(form)
        ball = lumox.Sphere(form, radius=0.5)
        ball.color.rgb = (1, 0, 0)
        root.add(ball)
        view = lumox.View(form, width=400, height=300)
        view.camera = lumox.PerspectiveCamera(form)
        view.camera.transformation.translation.z = -3
        view.on_render = lambda v: root.render(v)
        image = view.image()                    # (300, 400, 4) uint8

A component made without an owner belongs to its Python object and is freed with it.
A Python reference to a component its owner freed raises lumox.Error when used. An
object of a Python subclass of a lumox class stays the component's object (its class
and attributes) for as long as an owner holds the component.
"""

import os as _os
import tempfile as _tempfile
import time as _time

from ._lumox import *  # noqa: F401,F403 (the classes, enumerations and functions)
from ._lumox import __version__  # noqa: F401


def _view_repr_png(self):
    """The frame as PNG bytes, for notebooks."""
    with _tempfile.TemporaryDirectory() as folder:
        name = _os.path.join(folder, "frame.png")
        self.save_image(name)
        with open(name, "rb") as f:
            return f.read()


View._repr_png_ = _view_repr_png  # noqa: F405


def _application_run(self, timeout=None):
    """Runs idle processing (the timers) until it reports done, every timer being
    disabled, or until timeout seconds have passed. Returns whether it ended done."""
    end = None if timeout is None else _time.monotonic() + timeout
    while not self.process_idle():
        if end is not None and _time.monotonic() >= end:
            return False
    return True


Application.run = _application_run  # noqa: F405
