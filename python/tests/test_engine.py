import numpy as np
import pytest

import remora
from conftest import CORNERS
from remora import engine


def test_a_flat_file_is_trained_and_tracks(scene, tmp_path):
    images = [engine.prepare(frame) for frame in scene.frames]
    for direction, name in enumerate("xy"):
        engine.train_bunches(images[:5], scene.xy[:5], tmp_path / f"{name}.lpb", direction, 12,
                             predictors=20, generations=2)
    engine.export_flat(tmp_path / "x.lpb", tmp_path / "y.lpb", tmp_path / "s.flp")
    with engine.FastShapeTracker(tmp_path / "s.flp") as tracker:
        assert tracker.positions.shape == (4, 2)
        xy = tracker.predict(images[0], CORNERS + 2)
        assert np.abs(tracker.predict(images[0], xy) - CORNERS).max() < 1.5
        tracker.positions = CORNERS
        assert np.array_equal(tracker.positions, CORNERS)
        for bad in (np.zeros((3, 2)), "x", None):
            with pytest.raises(remora.Error):
                tracker.positions = bad
        for bad in (np.zeros((2, 2, 2)), np.zeros((0, 4)), "x"):
            with pytest.raises(remora.Error):
                tracker.predict(bad)
        tracker.predict(np.full((1, 1), np.nan), np.full((4, 2), 1e300))
    with pytest.raises(remora.Error, match="closed"):
        tracker.predict(images[0])


def test_the_engine_reads_plain_models(plain, scene):
    tracker = engine.FastShapeTracker(plain / "stage0.flp")
    assert np.abs(tracker.predict(engine.prepare(scene.frames[0])) - CORNERS).max() < 2


@pytest.mark.parametrize("change", [
    dict(images=[]), dict(images=[np.zeros((40, 40)), np.zeros((40, 41))]), dict(direction=2),
    dict(positions=np.zeros((2, 0, 2))), dict(positions=np.full((2, 1, 2), 99.0)),
    dict(positions=np.full((2, 1, 2), np.nan)), dict(radius=np.nan), dict(predictors=0),
    dict(generations=-1), dict(file="/nowhere/x.lpb"),
])
def test_trainings_that_cannot_be(tmp_path, change):
    call = dict(images=[np.zeros((80, 80))] * 2, positions=np.full((2, 1, 2), 40.0), direction=0,
                file=tmp_path / "x.lpb", radius=9, predictors=5, generations=1)
    with pytest.raises(remora.Error) as fault:
        engine.train_bunches(**{**call, **change})
    assert "\n" not in str(fault.value) and not list(tmp_path.iterdir())


def test_files_that_are_none(tmp_path, folder):
    (tmp_path / "x").write_text("1 2 three")
    for make in (engine.FastShapeTracker, lambda f: engine.export_flat(f, f, tmp_path / "o")):
        for file in (tmp_path / "x", tmp_path / "none", tmp_path):
            with pytest.raises(remora.Error):
                make(file)
