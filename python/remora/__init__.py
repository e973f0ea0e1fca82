"""Follows the feature points of a shape through image sequences, and says how sure it is.

    import remora

    remora.train(frames, positions, "model", points=["nose", "tail"])   # F arrays, F x N x 2 pixels

    tracker = remora.Tracker(remora.Model("model"))
    for frame in video:                       # uint8 or float32, H x W or H x W x 3 (red, green, blue)
        xy, confidence, status = tracker.next(frame)

Positions are pixels: x goes right, y goes down, (0, 0) is the middle of the top left pixel; nan is a
position that is not known. What goes wrong raises remora.Error, with one line that says where and
why. Training and tracking let other threads run. remora.engine has what runs the flat files of plain
models.
"""

from __future__ import annotations

from os import PathLike
from typing import TYPE_CHECKING, Sequence, Union

from . import _remora
from ._remora import (
    Disagreement,
    Error,
    HoldsOtherModel,
    Model,
    PointOptions,
    Tracker,
    TrainingResult,
    __version__,
    describe,
    load_picture,
    read_shapes,
    save_png,
    train,
    write_shapes,
)
from ._values import Annotations, Status, TrackedShape, Tracks

if TYPE_CHECKING:
    import pandas

__all__ = [
    "Annotations",
    "Disagreement",
    "Error",
    "HoldsOtherModel",
    "Model",
    "PointOptions",
    "Status",
    "TrackedShape",
    "Tracker",
    "TrainingResult",
    "Tracks",
    "describe",
    "load_picture",
    "read_annotations",
    "read_shapes",
    "read_tracks",
    "save_png",
    "train",
    "write_annotations",
    "write_shapes",
    "write_tracks",
]

_File = Union[str, "PathLike[str]"]


def read_tracks(file: _File, first_frame: int = 0) -> Tracks:
    """Reads a table of tracks, or a shape sequence file whose first shape is of first_frame."""
    return Tracks(*_remora.read_tracks(file, first_frame))


def write_tracks(tracks: Tracks | pandas.DataFrame, file: _File, format: str = "tracks") -> None:
    """Writes tracks, the same bytes as the program does of the same positions.

    format  "tracks", "shapes", "annotations" or that of another program: "coco", "deeplabcut",
            "sleap"
    """
    if not isinstance(tracks, Tracks):
        tracks = Tracks.from_pandas(tracks)
    _remora.write_tracks(file, format, *tracks)


def read_annotations(
    files: _File | Sequence[_File], format: str = "", first_frame: int = 0
) -> Annotations:
    """Reads annotations: tables, shape sequence files, and those of other programs.

    files        one or several, of one set of points
    format       "annotations", "tracks", "shapes", "pts", "imglab", "cvat", "coco", "deeplabcut",
                 "sleap" or "labelme"; otherwise told by what a file holds
    first_frame  number of the first frame, where files do not number theirs
    """
    if isinstance(files, (str, PathLike)):
        files = [files]
    return Annotations(*_remora.read_annotations(files, format, first_frame))


def write_annotations(
    annotations: Annotations | pandas.DataFrame, file: _File, format: str = ""
) -> None:
    """Writes annotations, in the format that the name of the file tells or that is named.

    format  "annotations", "shapes", "coco", "deeplabcut" or "sleap"
    """
    if not isinstance(annotations, Annotations):
        annotations = Annotations.from_pandas(annotations)
    names, frames, xy, images = annotations
    _remora.write_annotations(file, format, names, frames, xy, images)
