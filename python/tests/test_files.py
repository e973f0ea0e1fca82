import numpy as np
import pytest

import remora
from remora import Annotations, Error, Status, Tracks


def some_tracks():
    xy = np.arange(12.0).reshape(3, 2, 2)
    xy[2, 1] = np.nan
    confidence = np.array([[0.5, 1.0], [0.25, np.nan], [0.75, 0.0]])
    status = np.array([[0, 1], [0, 0], [0, 2]], np.uint8)
    return Tracks(["nose", "tail"], np.array([4, 6, 7]), xy, confidence, status)


def equal(one, other):
    return all(np.array_equal(a, b) if isinstance(a, list) else
               np.array_equal(a, b, equal_nan=True) for a, b in zip(one, other))


def test_tracks_go_to_files_and_come_back(tmp_path):
    tracks = some_tracks()
    file = tmp_path / "tracks.csv"
    remora.write_tracks(tracks, file)
    assert file.read_text().splitlines()[1] == "4,0,nose,0.0000,1.0000,0.500,tracked"
    assert equal(remora.read_tracks(file), tracks)
    assert remora.read_annotations(file).by_frame().keys() == {4, 6, 7}
    with pytest.raises(Error, match="tracks.csv"):
        file.write_text("frame,point\n1,2\n")
        remora.read_tracks(file)


@pytest.mark.parametrize("change", [
    dict(names=["nose"]), dict(names=["a,b", "c"]), dict(frames=[1, 2]), dict(frames=[1, 1, 2]),
    dict(xy=np.zeros((3, 2))), dict(xy=None), dict(confidence=np.full((3, 2), 2.0)),
    dict(confidence=np.zeros((2, 3))), dict(status=np.full((3, 2), 9)),
])
def test_tracks_that_cannot_be_are_not_written(tmp_path, change):
    with pytest.raises(Error):
        remora.write_tracks(some_tracks()._replace(**change), tmp_path / "t.csv")
    with pytest.raises(Error, match="no format"):
        remora.write_tracks(some_tracks(), tmp_path / "t.csv", format="mine")
    assert not list(tmp_path.iterdir())


def test_annotations_go_to_files_and_come_back(tmp_path):
    xy = some_tracks().xy
    annotations = Annotations(["nose", "tail"], np.array([1, 5, 9]), xy, ["a.png", "b.png", "c.png"])
    for name in ("table.csv", "coco.json"):
        remora.write_annotations(annotations, tmp_path / name)
        back = remora.read_annotations([tmp_path / name])
        assert back.names == annotations.names and back.files == annotations.files
        assert np.allclose(back.xy, xy, equal_nan=True, atol=1e-4)
    remora.write_shapes(xy, tmp_path / "shapes.txt")
    assert np.array_equal(remora.read_shapes(tmp_path / "shapes.txt"), xy, equal_nan=True)
    assert (remora.read_annotations(tmp_path / "shapes.txt", first_frame=3).frames == [3, 4, 5]).all()
    for annotated, name, reason in (
        (annotations._replace(frames=[1, 1, 2], files=[]), "t.csv", "frame 1"),
        (annotations._replace(names=["a"]), "t.csv", "differing"),
        (annotations, "t.what", "tells no format"),
    ):
        with pytest.raises(Error, match=reason):
            remora.write_annotations(annotated, tmp_path / name)


def test_pictures(tmp_path):
    colour = np.random.default_rng(0).integers(0, 255, (7, 5, 3), np.uint8)
    for picture in (colour, colour[:, :, 1], colour[::-1], colour[:, ::2, ::-1]):
        remora.save_png(picture, tmp_path / "p.png")
        assert np.array_equal(remora.load_picture(tmp_path / "p.png"), picture)
    for bad in (colour.astype(np.float32), colour[:0], colour[:, :, :2]):
        with pytest.raises(Error):
            remora.save_png(bad, tmp_path / "p.png")


def test_tables_of_pandas(tmp_path):
    pandas = pytest.importorskip("pandas", reason="python3-pandas is not installed")
    tracks = some_tracks()
    table = tracks.to_pandas()
    assert list(table.columns) == "frame point name x y confidence status".split()
    assert equal(Tracks.from_pandas(table.sample(frac=1, random_state=1)), tracks)
    remora.write_tracks(tracks, tmp_path / "a.csv")
    remora.write_tracks(pandas.read_csv(tmp_path / "a.csv"), tmp_path / "b.csv")
    assert (tmp_path / "a.csv").read_bytes() == (tmp_path / "b.csv").read_bytes()
    sparse = Tracks.from_pandas(table.drop(index=[0])[["frame", "point", "x", "y"]])
    assert sparse.names == ["0", "1"] and sparse.status[0, 0] == Status.LOST
    known = Annotations.from_pandas(table)
    assert Annotations.from_pandas(known.to_pandas()).names == ["nose", "tail"]
    for bad in (table[["x", "y"]], pandas.concat([table, table]), [1]):
        with pytest.raises(Error):
            Annotations.from_pandas(bad)
