import numpy as np
import pytest

import orvik


def test_float_layer_statistics_and_stored_histogram_against_numpy(path):
    rng = np.random.default_rng(3)
    data = (rng.standard_normal((200, 170)) * 40 + 7).astype(np.float32)
    data[:20, :30] = -999  # no-data: left out of everything
    with orvik.create(path) as f:
        layer = f.create_image("/I").create_layer("L", data.shape, np.float32, (64, 64),
                                                  nodata=-999)
        layer.write(data)
        assert layer.histogram is None and layer.bin_function is None
        computed, counts = layer.compute_statistics(histogram=True)
    valid = data[data != -999].astype(np.float64)
    with orvik.open(path) as f:
        layer = f["/I/L"]
        stats, stored, bins = layer.statistics, layer.histogram, layer.bin_function
    assert stats == computed
    assert stats["min"] == valid.min() and stats["max"] == valid.max()
    assert stats["mean"] == pytest.approx(valid.mean(), rel=1e-12)
    assert stats["stddev"] == pytest.approx(valid.std(ddof=1), rel=1e-12)
    assert stats["median"] == np.sort(valid)[(valid.size - 1) // 2]  # the lower middle value
    assert stored.dtype == np.float64 and stored.shape == (256,)
    np.testing.assert_array_equal(stored, counts)
    assert bins["type"] == "linear" and bins["bins"] == 256 and bins["limits"] is None
    assert (bins["min"], bins["max"]) == (valid.min(), valid.max())
    expected, edges = np.histogram(valid, 256, (valid.min(), valid.max()))
    np.testing.assert_array_equal(stored, expected)
    fullest = expected.argmax()
    assert stats["mode"] == pytest.approx((edges[fullest] + edges[fullest + 1]) / 2)


def test_integer_layers_store_one_bin_per_value(path):
    data = (np.indices((90, 110)).sum(axis=0) % 37 + 5).astype(np.uint8)
    data[data == 20] = 9  # 9 becomes the most frequent value; 20 never occurs
    with orvik.create(path) as f:
        layer = f.create_image("/I").create_layer("L", data.shape, np.uint8, thematic=True)
        layer.write(data)
        layer.compute_statistics()
        stored, bins = layer.histogram, layer.bin_function
        stats = layer.statistics
    assert bins["type"] == "direct" and (bins["min"], bins["max"]) == (5, 41)
    np.testing.assert_array_equal(stored, np.bincount(data.ravel() - 5))
    assert stored[20 - 5] == 0
    assert stats["mode"] == 9 and stats["median"] == np.sort(data.ravel())[(data.size - 1) // 2]


def test_colour_table_round_trips_and_resizes_the_descriptor_table(path):
    rgba = np.random.default_rng(4).random((37, 4))
    with orvik.create(path) as f:
        layer = f.create_image("/I").create_layer("L", (50, 60), np.uint8, thematic=True)
        layer.write(np.indices((50, 60)).sum(axis=0) % 37)
        assert layer.colour_table is None
        layer.compute_statistics()
        counts = layer.histogram
        layer.colour_table = rgba
        got = layer.colour_table
        assert got.shape == (37, 4) and got.dtype == np.float64
        np.testing.assert_array_equal(got, rgba)
        np.testing.assert_array_equal(layer.histogram, counts)  # the other column is kept
        # Fewer rows: the table shrinks; its histogram keeps its first rows, and the stored
        # bin function, which no longer fits, is no longer reported.
        layer.colour_table = rgba[:10]
        np.testing.assert_array_equal(layer.histogram, counts[:10])
        assert layer.bin_function is None
        assert f.check() == []
    with orvik.open(path) as f:
        np.testing.assert_array_equal(f["/I/L"].colour_table, rgba[:10])


def test_three_colour_components_read_as_opaque(path):
    rgb = np.array([[0, 0, 0], [1, 0.5, 0.25], [0.125, 1, 1]])
    with orvik.create(path) as f:
        layer = f.create_image("/I").create_layer("L", (4, 4), np.uint8)
        layer.colour_table = rgb.tolist()  # any array-like
        got = layer.colour_table
    np.testing.assert_array_equal(got[:, :3], rgb)
    np.testing.assert_array_equal(got[:, 3], 1.0)


def test_bad_colour_tables_are_refused_before_the_file_is_touched(path):
    with orvik.create(path) as f:
        layer = f.create_image("/I").create_layer("L", (4, 4), np.uint8)
        with pytest.raises(ValueError, match=r"\(n, 3\) or \(n, 4\).*\(5, 2\)"):
            layer.colour_table = np.zeros((5, 2))
        with pytest.raises(ValueError, match=r"\(0, 4\)"):
            layer.colour_table = np.zeros((0, 4))
        with pytest.raises(ValueError, match="0..1.*row 1, component 2"):
            layer.colour_table = [[0, 0, 0], [0, 0, 1.5]]
        with pytest.raises(ValueError, match="0..1"):
            layer.colour_table = [[0, 0, np.nan]]
        assert layer.colour_table is None and layer.histogram is None
    with orvik.open(path) as f:
        with pytest.raises(ValueError, match="read-only"):
            f["/I/L"].colour_table = np.zeros((2, 4))
        assert f["/I/L"].colour_table is None
