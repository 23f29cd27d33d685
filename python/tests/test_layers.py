import numpy as np
import pytest

import orvik
from conftest import PIXEL_TYPES, pattern


@pytest.mark.parametrize("kind,dtype,values", PIXEL_TYPES,
                         ids=[str(np.dtype(t[1])) if not isinstance(t[0], str) else t[0]
                              for t in PIXEL_TYPES])
def test_every_pixel_type_round_trips(path, kind, dtype, values):
    data = pattern(values, dtype, (70, 90))
    with orvik.create(path) as f:
        layer = f.create_image("/Image").create_layer("L", (70, 90), kind, (32, 16))
        assert layer.dtype == np.dtype(dtype)
        layer.write(data)
    with orvik.open(path) as f:
        layer = f["/Image/L"]
        assert layer.shape == (70, 90) and layer.block_shape == (32, 16)
        np.testing.assert_array_equal(layer.read(), data)
        # A window across block edges into a caller's array with padded rows.
        backing = np.zeros((40, 64), dtype=dtype)
        out = backing[:, 5:50]
        got = layer.read((20, 10, 40, 45), out=out)
        assert got is out
        np.testing.assert_array_equal(out, data[20:60, 10:55])
        assert not backing[:, :5].any() and not backing[:, 50:].any()
        assert f.check() == []


def test_string_layers_round_trip(path):
    texts = np.array([["a", "bé", ""], ["long text", "x", "€"]], dtype=object)
    with orvik.create(path) as f:
        layer = f.create_image("/Image").create_layer("S", (2, 3), "string", cell_bytes=16)
        layer.write(texts)
        assert layer.dtype == object
        np.testing.assert_array_equal(layer.read(), texts)
        with pytest.raises(orvik.Error, match="longer"):
            layer[0, 0] = "x" * 40


def test_nodata_fills_unwritten_blocks_and_values_are_converted(path):
    with orvik.create(path) as f:
        layer = f.create_image("/I").create_layer("L", (100, 100), np.uint8, (32, 32), nodata=7)
        layer[40:42, 40:42] = np.array([[3.7, 300], [-5, 2]])
        assert layer.nodata == 7.0
        got = layer[38:44, 38:44]
    expected = np.full((6, 6), 7, np.uint8)
    expected[2:4, 2:4] = [[3, 255], [0, 2]]
    np.testing.assert_array_equal(got, expected)


def test_slicing_forms_match_numpy(layer_file):
    path, data = layer_file
    with orvik.open(path) as f:
        layer = f["/Image/L"]
        for key in [(slice(None), slice(None)), (slice(10, 250), slice(63, 129)),
                    (slice(-5, None), slice(None, 3)), (slice(0, 300, 7), slice(199, 0, -3)),
                    (5, slice(None)), (slice(None), -1), (299, 199), slice(60, 70),
                    (slice(100, 50), slice(None))]:
            np.testing.assert_array_equal(layer[key], data[key], err_msg=str(key))
        assert np.asarray(layer).shape == (300, 200)


def test_assignment_and_read_only_files(layer_file):
    path, data = layer_file
    with orvik.open(path, "r+") as f:
        layer = f["/Image/L"]
        layer[60:70, 60:70] = -1
        layer[0, :] = np.arange(200)
        with pytest.raises(ValueError, match="steps of 1"):
            layer[::2, :] = 0
        with pytest.raises(ValueError, match=r"\(3, 3\).*\(2, 2\)"):
            layer[0:2, 0:2] = np.zeros((3, 3))
    data[60:70, 60:70] = -1
    data[0, :] = np.arange(200)
    with orvik.open(path) as f:
        np.testing.assert_array_equal(f["/Image/L"].read(), data)
        with pytest.raises(ValueError, match="read-only"):
            f["/Image/L"][0, 0] = 1
        # The library shares one handle per name and process: update needs the reader closed.
        with pytest.raises(ValueError, match="already open read-only"):
            orvik.open(path, "r+")
        assert f["/Image/L"][0, 5] == 5


def test_argument_errors_name_the_sizes(layer_file):
    path, _ = layer_file
    with orvik.open(path) as f:
        layer = f["/Image/L"]
        with pytest.raises(ValueError, match="row 250, column 0 of 100 x 10.*300 x 200"):
            layer.read((250, 0, 100, 10))
        with pytest.raises(TypeError, match="float64.*float32"):
            layer.read((0, 0, 2, 2), out=np.zeros((2, 2)))
        with pytest.raises(ValueError, match=r"\(3, 2\).*\(2, 2\)"):
            layer.read((0, 0, 2, 2), out=np.zeros((3, 2), np.float32))
        with pytest.raises(ValueError, match="not row-contiguous"):
            layer.read((0, 0, 4, 4), out=np.zeros((4, 4), np.float32, order="F"))
        with pytest.raises(TypeError, match="float16"):
            orvik.create(path.with_name("x.hfa")).create_image("/I").create_layer(
                "L", (2, 2), np.float16)
        with pytest.raises(IndexError):
            layer[300, 0]
        with pytest.raises(KeyError):
            f["/Image/Missing"]


def test_library_failures_carry_the_report_chain(tmp_path, layer_file):
    with pytest.raises(orvik.FileError) as caught:
        orvik.open(tmp_path / "missing.hfa")
    assert isinstance(caught.value, OSError)
    functions = [r[0] for r in caught.value.reports]
    assert functions[0] == "ohfa_FileOpen" and functions[-1].startswith("ofio_")
    assert "missing.hfa" in str(caught.value)
    path, _ = layer_file
    with orvik.open(path, "r+") as f:
        with pytest.raises(orvik.Error) as caught:
            f.create_image("/Nowhere/Image")
        assert not isinstance(caught.value, OSError) and caught.value.reports


def test_tree_listing_entries_and_check(layer_file):
    path, _ = layer_file
    with orvik.open(path, "r+") as f:
        f.create_image("/Image2")
        assert f.ls() == ["/Image", "/Image2"]
        assert f.ls("/Image", recursive=True) == ["/Image/L", "/Image/L/Blocks"]
        assert isinstance(f["/Image"], orvik.Image) and f["/Image"].layer_names == ["L"]
        entry = f["/Image/L/Blocks"]
        assert isinstance(entry, orvik.Entry) and entry.type == "Ohfa_CacheNode"
        assert "/Image2" in f and "/Image3" not in f
        f.flush()
        assert f.check() == []
    assert orvik.is_hfa_file(path) == 1
    f.close()  # a second close is harmless
    with pytest.raises(ValueError, match="closed"):
        f.ls()


def test_overviews(layer_file):
    path, data = layer_file
    with orvik.open(path, "r+") as f:
        layer = f["/Image/L"]
        assert layer.overviews == []
        assert layer.build_overviews() == 3
        assert layer.overviews == [2, 4, 8]
        half = layer.read(level=1)
        assert half.shape == (150, 100)
        expected = data.reshape(150, 2, 100, 2).mean(axis=(1, 3))
        np.testing.assert_allclose(half, expected)
        assert layer.read((0, 0, 5, 5), level=3).shape == (5, 5)
        with pytest.raises(ValueError, match="level 4.*3"):
            layer.read(level=4)


def test_statistics_against_numpy(path):
    data = pattern(lambda r, c: (r * 7 + c * 3) % 50, np.int16, (150, 130))
    data[:10, :10] = -9  # no-data: left out
    with orvik.create(path) as f:
        layer = f.create_image("/I").create_layer("L", data.shape, np.int16, (32, 32), nodata=-9)
        layer.write(data)
        assert layer.statistics is None
        stats, counts = layer.compute_statistics(histogram=True)
    valid = data[data != -9].astype(np.float64)
    assert stats["min"] == valid.min() and stats["max"] == valid.max()
    assert stats["mean"] == pytest.approx(valid.mean())
    assert stats["stddev"] == pytest.approx(valid.std(ddof=1))  # the sample deviation
    assert stats["median"] == pytest.approx(np.median(valid), abs=1)
    assert stats["mode"] == np.bincount(valid.astype(int)).argmax()
    assert counts.sum() == valid.size
    with orvik.open(path) as f:
        assert f["/I/L"].statistics == stats
        assert f["/I/L"].compute_statistics() == stats
