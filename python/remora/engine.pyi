from os import PathLike
from typing import Iterable, Optional, Union

import numpy as np
from numpy.typing import ArrayLike, NDArray

_File = Union[str, "PathLike[str]"]

class FastShapeTracker:
    positions: NDArray[np.float64]
    def __init__(self, file: _File) -> None: ...
    def predict(self, image: ArrayLike, start: Optional[ArrayLike] = None) -> NDArray[np.float64]: ...
    def close(self) -> None: ...
    def __enter__(self) -> FastShapeTracker: ...
    def __exit__(self, *exception: object) -> None: ...

def prepare(
    frame: Union[NDArray[np.uint8], NDArray[np.float32]], smooth: bool = True
) -> NDArray[np.float32]: ...
def train_bunches(
    images: Iterable[ArrayLike],
    positions: ArrayLike,
    file: _File,
    direction: int,
    radius: float,
    *,
    predictors: int = 60,
    generations: int = 3,
    seed: int = 1,
) -> None: ...
def export_flat(x_file: _File, y_file: _File, file: _File) -> None: ...
