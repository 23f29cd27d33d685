import pickle

import numpy as np
import pytest

import orvik
from conftest import pattern

da = pytest.importorskip("dask.array")


def test_chunks_follow_blocks_and_tasks_pickle(layer_file):
    path, data = layer_file
    with orvik.open(path) as f:
        layer = f["/Image/L"]
        x = layer.to_dask(chunks=(128, 64))
        assert x.chunks == ((128, 128, 44), (64, 64, 64, 8)) and x.dtype == np.float32
        with pytest.raises(ValueError, match=r"\(100, 64\).*\(64, 64\)"):
            layer.to_dask(chunks=(100, 64))
        graph = dict(x.__dask_graph__())
        # A task names the file and window only: small, and it pickles.
        task = pickle.loads(pickle.dumps(graph[(x.name, 2, 3)]))
        assert task[1:] == (str(path), "/Image/L", 0, 256, 192, 44, 8)
        np.testing.assert_array_equal(x.compute(scheduler="threads"), data)
        np.testing.assert_array_equal(x[100:200, 30:150].compute(), data[100:200, 30:150])


def test_store_writes_a_graph_through_one_writer(path):
    source = da.from_array(pattern(lambda r, c: r - c, np.int32, (200, 150)), chunks=(70, 40))
    with orvik.create(path) as f:
        layer = f.create_image("/I").create_layer("L", (250, 150), np.int32, (64, 64))
        orvik.store(source * 2, layer, row=50)
        with pytest.raises(ValueError, match="200 x 150 at \\(60, 0\\).*250 x 150"):
            orvik.store(source, layer, row=60)
    with orvik.open(path) as f:
        got = f["/I/L"].read()
    np.testing.assert_array_equal(got[50:], source.compute() * 2)
    assert not got[:50].any()


def test_local_cluster_of_two_worker_processes(tmp_path):
    distributed = pytest.importorskip("distributed")
    path = tmp_path / "big.hfa"
    rng = np.random.default_rng(11)
    counts = np.zeros(256, np.int64)
    with orvik.create(path) as f:
        layer = f.create_image("/I").create_layer("L", (8192, 8192), np.uint8, (512, 512))
        for top in range(0, 8192, 1024):
            strip = rng.integers(0, 256, (1024, 8192), dtype=np.uint8)
            counts += np.bincount(strip.ravel(), minlength=256)
            layer.write(strip, top, 0)
    # numpy's mean and standard deviation of the whole layer, from its exact histogram.
    values = np.arange(256, dtype=np.float64)
    mean = np.average(values, weights=counts)
    std = np.sqrt(np.average((values - mean) ** 2, weights=counts))
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True,
                                  dashboard_address=None) as cluster, \
            distributed.Client(cluster) as client, orvik.open(path) as f:
        x = f["/I/L"].to_dask(chunks=(2048, 2048))
        got_mean, got_std = client.compute([x.mean(), x.std()], sync=True)
    assert got_mean == pytest.approx(mean, rel=1e-12)
    assert got_std == pytest.approx(std, rel=1e-12)
