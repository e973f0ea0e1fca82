"""Whatever is given to it, the module answers with an exception: the interpreter goes on."""

import gc
import pickle

import numpy as np
import pytest

import remora
from remora import engine

pytestmark = pytest.mark.filterwarnings("ignore")  # of numpy, about such numbers
ROUNDS = 300
ALLOWED = (remora.Error, TypeError, ValueError, MemoryError, OverflowError)
DTYPES = "u1 i1 f4 >f4 f8 u2 ? c8 O U3 M8[s]".split() + ["u1,f4"]


def any_array(random):
    shape = [int(random.choice([0, 1, 2, 3, 4, 7, 40])) for _ in range(random.integers(0, 5))]
    if random.random() < 0.4:
        shape = [*random.integers(1, 90, 2), *[[], [3]][random.integers(2)]]
    dtype = np.dtype(DTYPES[random.integers(len(DTYPES))] if random.random() < 0.5 else "u1")
    count = int(np.prod(shape, dtype=int))
    raw = random.integers(0, 256, max(count * dtype.itemsize, 1), np.uint8)
    if dtype.hasobject:
        array = np.full(shape, None)
    else:
        array = np.ndarray(shape, dtype, raw) if count else np.zeros(shape, dtype)
    changes = (
        lambda a: a[..., ::-1],
        lambda a: a[::-1],
        lambda a: a.T,
        lambda a: a[::2],
        lambda a: np.broadcast_to(a, (3, *a.shape)),
        lambda a: np.lib.stride_tricks.as_strided(a, strides=[0] * a.ndim),
        lambda a: np.broadcast_to(a[:1, :1], (1 << 27, 1 << 27, *a.shape[2:])),
    )
    for _ in range(random.integers(0, 3)):
        try:
            array = changes[random.integers(len(changes))](array)
        except (IndexError, ValueError):
            pass
    return array


def any_value(random):
    values = (None, True, -1, 0, 3, 1 << 40, 1 << 70, 0.5, np.nan, -np.inf, 1e300, "", "a\0b", "\ud800",
              b"x", [], {}, [[1, 2]], (), {0: 1}, object(), len, remora, np.zeros(3), np.float32(2))
    return any_array(random) if random.random() < 0.5 else values[random.integers(len(values))]


def any_positions(random):
    xy = random.normal(40, 30, (4, 2))
    xy[random.integers(4)] *= random.choice([1, 1e9, 1e300, np.nan, np.inf])
    return xy if random.random() < 0.7 else any_value(random)


def attempt(call, *arguments, **options):
    try:
        return call(*arguments, **options)
    except ALLOWED as fault:
        assert not isinstance(fault, remora.Error) or "\n" not in str(fault)
        return None


@pytest.mark.parametrize("kind", ["following", "plain"])
def test_trackers(kind, model, plain, scene):
    random = np.random.default_rng(2)
    it = model if kind == "following" else remora.Model(plain)
    tracker = remora.Tracker(it)
    for _ in range(ROUNDS):
        attempt(tracker.next, any_array(random) if random.random() < 0.9 else any_value(random))
        attempt(tracker.find, any_value(random))
        attempt(tracker.start, any_positions(random))
        attempt(tracker.correct, any_value(random), any_value(random), any_value(random))
        attempt(tracker.correct, int(random.integers(4)), *random.choice([3, 50, 1e300, -1e9], 2))
        if random.random() < 0.3:
            attempt(tracker.next, scene.frames[0])
    tracker.start(scene.xy[0])
    assert np.abs(tracker.next(scene.frames[0]).xy - scene.xy[0]).max() < 4


def test_functions(model, scene, tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    random = np.random.default_rng(3)
    names = [name for name in remora.__all__ if name != "Status"]
    calls = [getattr(remora, name) for name in names] + [getattr(engine, n) for n in engine.__all__]
    for _ in range(ROUNDS):
        for call in calls:
            attempt(call, *(any_value(random) for _ in range(random.integers(0, 4))))
        frames = [any_array(random) for _ in range(2)]
        attempt(remora.train, frames, [any_positions(random) for _ in frames], "m", predictors=3,
                generations=1)
        attempt(engine.train_bunches, frames, any_value(random), "b", 0, 5, predictors=3)


def test_objects_that_were_never_made(model, scene):
    for make in (remora.Tracker, remora.Model, engine.FastShapeTracker, remora.TrainingResult,
                 remora.Disagreement, remora.PointOptions):
        empty = make.__new__(make)
        for name in dir(make):
            if not name.startswith("__"):
                with pytest.raises(TypeError):
                    getattr(empty, name)(*[scene.frames[0]] * (name not in ("close", "correct")))
        with pytest.raises(TypeError):
            remora.Tracker(empty)
        del empty
        gc.collect()

    class Own(remora.Tracker):
        def __init__(self):
            pass

    with pytest.raises(TypeError):
        Own()
    tracker = remora.Tracker(model)
    tracker.__init__(model)
    tracker.next(scene.frames[0])
    for it in (tracker, model):
        with pytest.raises(TypeError):
            pickle.dumps(it)
