"""Fixtures of the Python suite: an owner that frees a test's components, the test data,
a small lit scene with a view, and running a script in a fresh interpreter."""

import os
import subprocess
import sys
import textwrap

import numpy as np
import pytest

import lumox

DATA = os.environ.get("LUMOX_TEST_DATA",
                      os.path.join(os.path.dirname(__file__), "..", "..", "tests", "data"))


@pytest.fixture
def form():
    with lumox.Owner() as owner:
        yield owner


@pytest.fixture
def data():
    return lambda *parts: os.path.join(DATA, *parts)


class Scene:
    """A red ball at the origin, lit, seen from z = 3 by a 160 x 120 view."""

    def __init__(self, form):
        self.root = lumox.Node(form)
        self.root.add(lumox.Attributes(form, lighting=True))
        light = lumox.Light(form, kind=lumox.LightKind.lkDirection)
        light.direction = (0, 0, 1)
        self.root.add(light)
        self.material = lumox.Material(form)
        self.material.color_diffuse.rgb = (1, 0, 0)
        self.material.color_ambient.rgb = (0.2, 0, 0)
        self.root.add(self.material)
        self.ball = lumox.Sphere(form, name="Ball", radius=0.5, slices=32, stacks=24)
        self.root.add(self.ball)
        self.view = lumox.View(form, width=160, height=120)
        self.camera = lumox.PerspectiveCamera(form)
        self.camera.transformation.translation.z = -3
        self.view.camera = self.camera
        self.view.on_render = lambda v: self.root.render(v)


@pytest.fixture
def scene(form):
    return Scene(form)


def red(pixel):
    return pixel[0] > 100 and pixel[1] < 60 and pixel[2] < 60


def run_python(code, env=None, timeout=120):
    """Runs code in a fresh interpreter with this one's module path; returns the process."""
    full = dict(os.environ)
    full.update(env or {})
    return subprocess.run([sys.executable, "-c", textwrap.dedent(code)], env=full,
                          capture_output=True, text=True, timeout=timeout)


def lit_pixels(image, threshold=40):
    return int((np.asarray(image)[:, :, :3].max(axis=2) > threshold).sum())
