"""What remora returns, and its forms as tables of pandas."""

from __future__ import annotations

from enum import IntEnum
from typing import TYPE_CHECKING, Any, Iterable, NamedTuple, Sequence

import numpy as np

from ._remora import Error

if TYPE_CHECKING:
    import pandas


class Status(IntEnum):
    """What is known of a tracked position."""

    TRACKED = 0  #: seen where it is
    OCCLUDED = 1  #: not to be recognised; placed where the shape has it, given the others
    LOST = 2  #: the shape was not found; the place is where the point was last


class TrackedShape(NamedTuple):
    """Where the N points are in a frame."""

    xy: np.ndarray  #: N x 2 positions, pixels; nan before the shape was seen
    confidence: np.ndarray  #: N, 0 ... 1: share of such positions that are close; nan: not known
    status: np.ndarray  #: N of uint8: remora.Status


class Tracks(NamedTuple):
    """Where N points were in F frames."""

    names: list[str]  #: of the points
    frames: np.ndarray  #: F numbers, ascending
    xy: np.ndarray  #: F x N x 2 positions, pixels
    confidence: np.ndarray  #: F x N
    status: np.ndarray  #: F x N of uint8: remora.Status

    @classmethod
    def of(cls, names: Sequence[str], shapes: Iterable[TrackedShape], first_frame: int = 0) -> Tracks:
        """The shapes of successive frames, as remora.Tracker.next returned them."""
        shapes = list(shapes)
        sides = len(shapes), len(names)
        return cls(
            list(names),
            np.arange(first_frame, first_frame + len(shapes)),
            np.reshape([shape.xy for shape in shapes], (*sides, 2)),
            np.reshape([shape.confidence for shape in shapes], sides),
            np.reshape([shape.status for shape in shapes], sides),
        )

    def to_pandas(self) -> pandas.DataFrame:
        """A row for each frame and point: frame, point, name, x, y, confidence, status."""
        words = np.array([status.name.lower() for status in Status])
        table = _table(self.names, self.frames, self.xy)
        table["confidence"] = np.ravel(self.confidence)
        table["status"] = words[np.ravel(self.status)]
        return table

    @classmethod
    def from_pandas(cls, table: pandas.DataFrame) -> Tracks:
        """From columns frame, name or point, x, y and, where they are there, confidence and status.

        A row that is missing is a position that is lost."""
        grid = _Grid(table)
        xy = grid.places()
        confidence = grid.filled("confidence", np.nan)
        status = grid.filled("status", None)
        unseen = np.isnan(xy).any(axis=2)
        codes = np.where(unseen, Status.LOST, Status.TRACKED).astype(np.uint8)
        for code in Status:
            codes[(status == code.name.lower()) | (status == int(code))] = code
        return cls(grid.names, grid.frames, xy, confidence.astype(float), codes)


class Annotations(NamedTuple):
    """Known positions of N points in F frames."""

    names: list[str]  #: of the points
    frames: np.ndarray  #: F numbers
    xy: np.ndarray  #: F x N x 2 positions, pixels; nan where a point is not seen
    files: list[str]  #: F images or recordings; empty texts where nothing tells

    def by_frame(self) -> dict[int, np.ndarray]:
        """The positions by number of the frame, as remora.train takes them."""
        return {int(frame): xy for frame, xy in zip(self.frames, self.xy)}

    def to_pandas(self) -> pandas.DataFrame:
        """A row for each frame and point: frame, point, name, x, y, file."""
        table = _table(self.names, self.frames, self.xy)
        table["file"] = np.repeat(np.array(self.files, dtype=object), len(self.names))
        return table

    @classmethod
    def from_pandas(cls, table: pandas.DataFrame) -> Annotations:
        """From columns frame, name or point, x, y, of frames of one recording.

        A row that is missing is a point that is not seen."""
        grid = _Grid(table)
        return cls(grid.names, grid.frames, grid.places(), [""] * len(grid.frames))


def _pandas() -> Any:
    try:
        import pandas
    except ImportError:
        raise Error("pandas is not installed") from None
    return pandas


def _table(names: Sequence[str], frames: np.ndarray, xy: np.ndarray) -> pandas.DataFrame:
    points = len(names)
    return _pandas().DataFrame(
        {
            "frame": np.repeat(frames, points),
            "point": np.tile(np.arange(points), len(frames)),
            "name": np.tile(np.array(names, dtype=object), len(frames)),
            "x": np.ravel(xy[..., 0]),
            "y": np.ravel(xy[..., 1]),
        }
    )


class _Grid:
    """The rows of a table by their frame and point."""

    def __init__(self, table: pandas.DataFrame):
        if not isinstance(table, _pandas().DataFrame):
            raise Error(f"a table of pandas is needed, not {type(table).__name__}")
        self._table = table
        key = "name" if "name" in table else "point"
        for column in ("frame", key, "x", "y"):
            if column not in table:
                raise Error(f"the table has no column {column}")
            if column in ("frame", key) and table[column].isna().any():
                raise Error(f"column {column} has empty cells")
        ordered = table.sort_values("point", kind="stable") if "point" in table else table
        points = list(dict.fromkeys(ordered[key]))
        self.names = [str(name) for name in points]
        self._column = table[key].map({point: i for i, point in enumerate(points)}).to_numpy()
        self.frames, self._row = np.unique(table["frame"].to_numpy(), return_inverse=True)
        if table.duplicated(["frame", key]).any():
            raise Error("the table has two rows for a frame and point")

    def filled(self, column: str, default: Any) -> np.ndarray:
        values = np.full((len(self.frames), len(self.names)), default, dtype=object)
        if column in self._table:
            values[self._row, self._column] = self._table[column].to_numpy()
        return values

    def places(self) -> np.ndarray:
        return np.stack([self.filled(side, np.nan) for side in "xy"], axis=2).astype(float)
