import numpy as np
import pytest

import orvik
from conftest import pattern

xr = pytest.importorskip("xarray")


@pytest.fixture
def scene(path):
    bands = [pattern(lambda r, c, b=b: r * 3 + c + b * 1000, np.uint16, (130, 90))
             for b in range(3)]
    with orvik.create(path) as f:
        image = f.create_image("/Scene")
        for b, data in enumerate(bands):
            image.create_layer(f"B{b}", (130, 90), np.uint16, (32, 32), nodata=0).write(data)
        f.create_image("/Empty")
    return path, np.stack(bands)


def test_open_dataset_is_lazy_and_complete(scene):
    path, bands = scene
    ds = xr.open_dataset(path, engine="orvik")
    var = ds["Scene"]
    assert var.dims == ("band", "y", "x") and var.shape == (3, 130, 90)
    assert var.attrs["bands"] == ["B0", "B1", "B2"] and var.attrs["nodata"] == 0
    assert "Empty" not in ds
    np.testing.assert_array_equal(var[1, 10:50:3, 7:80].values, bands[1, 10:50:3, 7:80])
    np.testing.assert_array_equal(var[:, 5, :].values, bands[:, 5, :])
    np.testing.assert_array_equal(var.values, bands)


def test_open_dataset_with_chunks_is_backed_by_dask(scene):
    path, bands = scene
    ds = xr.open_dataset(path, engine="orvik", chunks={})
    data = ds["Scene"].data
    assert type(data).__module__.startswith("dask")
    assert data.chunksize == (1, 32, 32)
    assert float(ds["Scene"].mean()) == pytest.approx(bands.mean())
    np.testing.assert_array_equal(ds["Scene"].sel(band=2).values, bands[2])
