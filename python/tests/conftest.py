import os
import subprocess
from types import SimpleNamespace

import numpy as np
import pytest

import remora

QUICK = dict(predictors=12, generations=1)
CORNERS = np.array([[60.0, 60.0], [100.0, 62.0], [58.0, 95.0], [101.0, 99.0]])


@pytest.fixture(scope="session")
def scene(tmp_path_factory):
    """A picture that moves by whole pixels, and four points on it; also as files."""
    noise = np.random.default_rng(1).random((160, 200))
    for axis in (0, 1) * 3:
        noise = noise + np.roll(noise, 1, axis) + np.roll(noise, -1, axis)
    picture = (255 * (noise - noise.min()) / np.ptp(noise)).astype(np.uint8)
    frames = [np.roll(picture, (i, 2 * i), (0, 1)) for i in range(10)]
    xy = np.array([CORNERS + (2 * i, i) for i in range(10)])
    base = tmp_path_factory.mktemp("scene") / "shot"
    files = [f"{base}.{i:05d}.png" for i in range(10)]
    for frame, file in zip(frames, files):
        remora.save_png(frame, file)
    return SimpleNamespace(frames=frames, xy=xy, base=str(base), files=files)


@pytest.fixture(scope="session")
def folder(scene, tmp_path_factory):
    out = tmp_path_factory.mktemp("models") / "model"
    remora.train(scene.frames[:5], scene.xy[:5], out, **QUICK)
    return out


@pytest.fixture(scope="session")
def model(folder):
    return remora.Model(folder)


@pytest.fixture(scope="session")
def plain(scene, tmp_path_factory):
    out = tmp_path_factory.mktemp("models") / "plain"
    remora.train(scene.frames[:5], scene.xy[:5], out, plain=True, radii=[12], steps=[2], **QUICK)
    return out


@pytest.fixture(scope="session")
def program():
    """Runs the program remora, and returns what it prints."""
    if not os.environ.get("REMORA_PROGRAM"):
        pytest.skip("the program remora is not built")
    return lambda *arguments: subprocess.run(
        [os.environ["REMORA_PROGRAM"], *map(str, arguments)], check=True, stdout=subprocess.PIPE
    ).stdout


def contents(folder):
    return {file.name: file.read_bytes() for file in folder.iterdir()}
