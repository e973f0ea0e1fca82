import os
import shutil
import signal
import subprocess
import sys
import threading
import time

import numpy as np
import pytest

import remora
from conftest import QUICK, contents


def test_models_are_those_of_the_program(scene, folder, program, tmp_path):
    remora.write_shapes(scene.xy, tmp_path / "shapes.txt")
    program("train", "--sequence", f"{scene.base}:0:{tmp_path / 'shapes.txt'}", "--frames", "0-4",
            "--predictors", 12, "--generations", 1, "-o", tmp_path / "model")
    assert contents(tmp_path / "model") == contents(folder)


def test_frames_come_in_many_forms(scene, folder, tmp_path):
    colour = (np.repeat(frame[:, :, None], 3, axis=2) for frame in scene.frames[:5])
    forms = {
        "files": (scene.files[:5], scene.xy[:5]),
        "generator": (colour, iter(scene.xy[:5].tolist())),
        "numbers": (scene.frames, {np.int64(i): scene.xy[i] for i in range(5)}),
    }
    for name, (frames, positions) in forms.items():
        result = remora.train(frames, positions, tmp_path / name, **QUICK)
        assert not result.was_there and result.residuals.shape == (4,)
        assert len(result.warnings) == 1 and "few" in result.warnings[0]
        assert contents(tmp_path / name) == contents(folder)
    assert remora.train(scene.files[:5], scene.xy[:5], folder, **QUICK).was_there


@pytest.mark.skipif(shutil.which("ffmpeg") is None, reason="needs ffmpeg")
def test_frames_of_a_video(scene, folder, tmp_path):
    video = tmp_path / "scene.mkv"
    subprocess.run(["ffmpeg", "-v", "error", "-start_number", "0", "-i", f"{scene.base}.%05d.png",
                    "-c:v", "ffv1", "-pix_fmt", "gray", video], check=True)
    remora.train(video, dict(enumerate(scene.xy[:5])), tmp_path / "numbers", **QUICK)
    of_video = contents(tmp_path / "numbers")
    for name, content in contents(folder).items():
        assert name == "model.json" or of_video[name] == content
    with pytest.raises(remora.Error, match="mkv"):
        remora.train(video, {100000: scene.xy[0]}, tmp_path / "none", **QUICK)


def test_options_reach_the_training(scene, tmp_path):
    xy = scene.xy[:4].copy()
    xy[2, 1] = np.nan
    points = ["nose", remora.PointOptions("tail", predictors=20), "fin", "gill"]
    result = remora.train(scene.frames[:4], xy, tmp_path, points=points, radii=[20, 9],
                          steps=[2, 1], seed=7, scale=0.5, **QUICK)
    model = remora.Model(tmp_path)
    assert model.point_names == ["nose", "tail", "fin", "gill"] and model.num_stages == 2
    assert "few" in result.warnings[0]
    with pytest.raises(remora.HoldsOtherModel):
        remora.train(scene.frames[:4], xy, tmp_path, points=points, **QUICK)
    remora.train(scene.frames[:4], xy, tmp_path, force=True, **QUICK)
    assert remora.Model(tmp_path).num_stages == 4


def test_progress_ends_a_training_and_it_goes_on(scene, folder, tmp_path):
    told = []
    out = tmp_path / "model"

    def stop(done, total):
        told.append((done, total))
        return done < 3

    def fail(done, total):
        raise KeyError("mine")

    def nested(done, total):
        remora.train(scene.frames[:5], scene.xy[:5], out, **QUICK)

    with pytest.raises(remora.Error, match="goes on from there"):
        remora.train(scene.frames[:5], scene.xy[:5], out, stop, **QUICK)
    assert [done for done, _ in told] == [0, 1, 2, 3] and not (out / "model.json").exists()
    with pytest.raises(KeyError, match="mine"):
        remora.train(scene.frames[:5], scene.xy[:5], out, progress=fail, **QUICK)
    with pytest.raises(remora.Error, match="another program is writing"):
        remora.train(scene.frames[:5], scene.xy[:5], out, progress=nested, **QUICK)
    told.clear()
    remora.train(scene.frames[:5], scene.xy[:5], out, lambda *now: told.append(now), **QUICK)
    assert told[0][0] == 3 and told[-1][0] == told[-1][1]
    assert contents(out) == contents(folder)


def test_an_interrupt_ends_a_training_in_order(scene, folder, tmp_path):
    np.savez(tmp_path / "scene.npz", frames=scene.frames[:5], xy=scene.xy[:5])
    host = (
        "import numpy, remora, sys; scene = numpy.load(sys.argv[1]);"
        "remora.train(scene['frames'], scene['xy'], sys.argv[2], predictors=400, generations=3)"
    )
    out = tmp_path / "model"
    running = subprocess.Popen([sys.executable, "-c", host, tmp_path / "scene.npz", out],
                               stderr=subprocess.PIPE, text=True)
    units = out / "units"
    while running.poll() is None and not (units.is_dir() and any(units.glob("*.lpb"))):
        time.sleep(0.01)
    running.send_signal(signal.SIGINT)
    message = running.communicate()[1]
    assert "KeyboardInterrupt" in message and running.returncode == -signal.SIGINT
    assert not (out / "model.json").exists() and any(units.glob("*.lpb"))
    remora.train(scene.frames[:5], scene.xy[:5], out, **QUICK)  # the folder can be used at once
    assert contents(out) == contents(folder)


def test_threads_train_beside_each_other(scene, folder, tmp_path):
    outs = [tmp_path / str(i) for i in range(3)]
    counted = []
    threads = [
        threading.Thread(target=remora.train, args=(scene.frames[:5], scene.xy[:5], out),
                         kwargs=QUICK) for out in outs
    ]
    for thread in threads:
        thread.start()
    while any(thread.is_alive() for thread in threads):  # other Python code runs meanwhile
        counted.append(time.sleep(0))
    assert len(counted) > 1
    for out in outs:
        assert contents(out) == contents(folder)


@pytest.mark.parametrize("change, reason", [
    (dict(positions=[np.zeros((4, 2))]), "no positions for frame 1"),
    (dict(frames=[]), "more positions than frames"),
    (dict(frames=[], positions=[]), "nothing to train on"),
    (dict(frames="shot.mp4"), "not one path|shot.mp4"),
    (dict(frames=["nowhere.png"] * 3), "nowhere.png"),
    (dict(frames=[np.zeros((9, 9))] * 3), "frame 0 is float64 of"),
    (dict(positions=[[[1, 2, 3]]] * 3), "positions of frame 0 are float64 of"),
    (dict(positions=["abc"] * 3), "no array of numbers"),
    (dict(positions=np.full((3, 4, 2), 1e300)), "outside frame"),
    (dict(positions=np.full((3, 4, 2), np.nan)), "none of the points|no position"),
    (dict(points=["a", "a", "b", "c"]), "a"),
    (dict(points=["a,b", "x", "b", "c"]), "a,b|name"),
    (dict(predictors=-1), "predictors"),
    (dict(radii=[np.nan]), "radi"),
    (dict(scale=np.inf), "scale"),
    (dict(steps=[0]), "steps|stages"),
    (dict(out=os.devnull), "null"),
])
def test_faults_are_told_in_one_line(scene, tmp_path, change, reason):
    call = dict(frames=scene.frames[:3], positions=scene.xy[:3], out=tmp_path / "m", **QUICK)
    with pytest.raises(remora.Error, match=reason) as fault:
        remora.train(**{**call, **change})
    assert "\n" not in str(fault.value) and str(fault.value)
