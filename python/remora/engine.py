"""The engine alone, for the flat files of plain models.

    image = remora.engine.prepare(frame)
    coarse = remora.engine.FastShapeTracker("model/stage0.flp")
    fine = remora.engine.FastShapeTracker("model/stage1.flp")
    xy = fine.predict(image, coarse.predict(image))

It predicts in the coordinates of its training frames and notices nothing of what it loses;
remora.Tracker does.
"""

from ._remora import engine as _engine

FastShapeTracker = _engine.FastShapeTracker
prepare = _engine.prepare
train_bunches = _engine.train_bunches
export_flat = _engine.export_flat

__all__ = ["FastShapeTracker", "export_flat", "prepare", "train_bunches"]
