import copy
import threading

import numpy as np
import pytest

import remora
from remora import Status


def follow(model, frames, start=None):
    tracker = remora.Tracker(model)
    if start is not None:
        tracker.start(start)
    return [tracker.next(frame) for frame in frames]


def same(one, other):
    return all(np.array_equal(a, b, equal_nan=True) for a, b in zip(one, other))


def test_tracks_are_where_the_points_are(model, scene):
    shapes = follow(model, scene.frames, scene.xy[0])
    for shape, xy in zip(shapes, scene.xy):
        assert np.linalg.norm(shape.xy - xy, axis=1).max() < 3
        assert (shape.status == Status.TRACKED).all() and shape.status.dtype == np.uint8
        assert (shape.confidence > 0.5).all() and (shape.confidence <= 1).all()


def test_tracks_are_those_of_the_program(folder, model, scene, program, tmp_path):
    program("track", folder, "--sequence", f"{scene.base}:0", "--csv", tmp_path / "program.csv")
    tracks = remora.Tracks.of(model.point_names, follow(model, scene.frames))
    remora.write_tracks(tracks, tmp_path / "python.csv")
    assert (tmp_path / "python.csv").read_bytes() == (tmp_path / "program.csv").read_bytes()


def views(grey):
    """The same picture in many layouts."""
    colour = np.repeat(grey[:, :, None], 3, axis=2)
    wide = np.zeros((grey.shape[0], 2 * grey.shape[1]), np.uint8)
    wide[:, ::2] = grey
    odd = np.zeros(4 * grey.size + 1, np.uint8)[1:].view(np.float32).reshape(grey.shape)
    odd[:] = np.float32(grey) / np.float32(255)
    yield from (grey, grey[:, :, None], np.asfortranarray(grey), wide[:, ::2])
    yield from (grey[::-1].copy()[::-1], grey[:, ::-1].copy()[:, ::-1])
    yield np.hstack([grey, grey])[:, : grey.shape[1]]
    yield from (colour, colour[:, :, ::-1], np.asfortranarray(colour))
    yield np.broadcast_to(grey[:, :, None], colour.shape)
    yield np.dstack([colour, grey])
    yield from (odd, np.repeat(odd[:, :, None], 3, axis=2), np.float32(grey)[::-1][::-1] / 255)


def test_frames_of_any_layout_are_the_same_picture(model, scene):
    tracker = remora.Tracker(model)
    tracker.start(scene.xy[0])
    tracker.next(scene.frames[0])
    wanted = copy.copy(tracker).next(scene.frames[1])
    for view in views(scene.frames[1]):
        assert same(copy.deepcopy(tracker).next(view), wanted), (view.dtype, view.strides)


def test_finding_correcting_and_copies(model, scene):
    tracker = remora.Tracker(model)
    with pytest.raises(remora.Error, match="no frame to correct"):
        tracker.correct(0, 1, 1)
    found = tracker.find(scene.frames[3])
    assert np.abs(found.xy - scene.xy[3]).max() < 4
    other = copy.copy(tracker)
    other.correct(0, *scene.xy[3, 0] + 6)
    one, two = tracker.next(scene.frames[3]), other.next(scene.frames[3])
    assert not same(one, two)
    start = np.where(np.arange(8).reshape(4, 2) < 2, np.nan, scene.xy[0])
    assert np.abs(tracker.start(start) - scene.xy[0]).max() < 3
    tracker.close()
    with pytest.raises(remora.Error, match="closed"):
        tracker.next(scene.frames[0])
    assert other.next(scene.frames[3]).xy.shape == (4, 2)


def test_threads_share_models_and_take_turns_with_trackers(model, scene):
    wanted = follow(model, scene.frames, scene.xy[0])
    results, faults = [], []
    shared = remora.Tracker(model)

    def work(number):
        results.append(follow(model, scene.frames, scene.xy[0]))
        try:
            for frame in scene.frames:
                assert shared.next(frame).xy.shape == (4, 2)
                copy.copy(shared).find(frame)
            if number == 0:
                shared.close()
        except remora.Error as error:
            faults.append(str(error))

    threads = [threading.Thread(target=work, args=(i,)) for i in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert len(results) == 4
    assert all(same(a, b) for tracks in results for a, b in zip(tracks, wanted))
    assert set(faults) <= {"the tracker is closed"}


def test_models_tell_what_they_are(model, folder, plain):
    assert model.point_names == ["0", "1", "2", "3"] and len(model) == model.num_points == 4
    assert not model.is_plain and remora.Model(str(plain)).is_plain
    assert "4 points" in repr(model) and str(folder) in model.files[0]
    assert "points" in remora.describe(folder)
    with pytest.raises(remora.Error, match="no such|nowhere"):
        remora.Model(folder / "nowhere")
    with pytest.raises(remora.Error):
        remora.Model(folder, steps=[1, 2])
