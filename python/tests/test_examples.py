"""Runs examples/python, each as its first line says."""

import importlib.util
import os
import subprocess
import sys
from pathlib import Path

import pytest

import remora

EXAMPLES = Path(__file__).resolve().parents[2] / "examples" / "python"
# Stands in for the window and the camera, which machines that test have none of.
WINDOW = '''
import glob, sys, remora
class VideoCapture:
    def __init__(self, camera): self.files = sorted(glob.glob("{base}.*.png"))
    def read(self):
        if not self.files: return False, None
        grey = remora.load_picture(self.files.pop(0))
        return True, grey[:, :, None].repeat(3, axis=2)
def circle(frame, place, *_): print(*place)
def imshow(name, frame): assert frame.shape == (160, 200, 3)
keys = iter({keys})
def waitKey(wait): return next(keys)
'''


def needs(*names):
    missing = [name for name in names if importlib.util.find_spec(name) is None]
    return pytest.mark.skipif(bool(missing), reason="not installed: " + ", ".join(missing))


def run(example, *arguments, path=""):
    environment = {**os.environ, "PYTHONPATH": f"{path}:{os.environ.get('PYTHONPATH', '')}"}
    return subprocess.run([sys.executable, EXAMPLES / example, *map(str, arguments)],
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, env=environment)


def test_images(folder, scene, program, tmp_path):
    done = run("images.py", folder, tmp_path / "t.csv", *scene.files)
    assert done.returncode == 0, done.stderr
    program("track", folder, *scene.files, "--csv", tmp_path / "p.csv")
    assert (tmp_path / "t.csv").read_bytes() == (tmp_path / "p.csv").read_bytes()


@needs("cv2")
def test_video(folder, scene, tmp_path):
    import cv2

    writer = cv2.VideoWriter(str(tmp_path / "v.avi"), cv2.VideoWriter_fourcc(*"MJPG"), 25, (200, 160))
    for frame in scene.frames:
        writer.write(frame[:, :, None].repeat(3, axis=2))
    writer.release()
    done = run("video.py", folder, tmp_path / "v.avi", tmp_path / "t.csv")
    assert done.returncode == 0, done.stderr
    assert abs(remora.read_tracks(tmp_path / "t.csv").xy - scene.xy).max() < 4


@pytest.mark.parametrize("keys, code", [([255, 32, 255, 27], 0), ([255] * 20, 1)])
def test_live(folder, scene, tmp_path, keys, code):
    (tmp_path / "cv2.py").write_text(WINDOW.format(base=scene.base, keys=keys))
    done = run("live.py", folder, path=tmp_path)
    assert done.returncode == code, done.stderr
    x, y = map(int, done.stdout.splitlines()[0].split())
    assert abs(x - scene.xy[0, 0, 0]) < 4 and abs(y - scene.xy[0, 0, 1]) < 4
    assert done.stderr == ("" if code == 0 else "camera 0 gives no picture\n")
    done = run("live.py", tmp_path / "none", path=tmp_path)
    assert done.returncode == 1 and done.stderr.startswith("live.py: ")


@needs("pandas", "matplotlib")
def test_errors(scene, tmp_path):
    known = remora.Annotations(list("abcd"), range(10), scene.xy, [""] * 10)
    remora.write_annotations(known, tmp_path / "table.csv")
    done = run("errors.py", scene.base, tmp_path / "table.csv", tmp_path / "errors.png")
    assert done.returncode == 0, done.stderr
    assert "residuals: {'a': " in done.stdout and "mean" in done.stdout
    assert min(remora.load_picture(tmp_path / "errors.png").shape[:2]) > 300
