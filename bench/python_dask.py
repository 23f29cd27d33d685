"""A dask LocalCluster of 2 worker processes over a 16384 x 16384 u8 layer, against one
process reading the whole layer.

Usage: PYTHONPATH=<build>/python python3 bench/python_dask.py [folder]   (default /tmp)

Both compute the mean of the layer: the single process reads it whole (Layer.read) and calls
numpy's mean; the cluster reads 2048 x 2048 chunks (whole 512 x 512 blocks) in its workers.
The file is in the page cache. The cluster's start-up is timed apart from the computation.
"""

import os
import sys
import time

import numpy as np

import orvik


def main(folder):
    import distributed

    path = os.path.join(folder, "bench_dask_u8.hfa")
    rng = np.random.default_rng(3)
    with orvik.create(path) as f:
        layer = f.create_image("/I").create_layer("L", (16384, 16384), np.uint8, (512, 512))
        for top in range(0, 16384, 1024):
            layer.write(rng.integers(0, 256, (1024, 16384), dtype=np.uint8), top, 0)
    with orvik.open(path) as f:
        layer = f["/I/L"]
        layer.read((0, 0, 16384, 16384))  # page cache warm
        times = []
        for _ in range(3):
            t = time.perf_counter()
            mean = layer.read().mean()
            times.append(time.perf_counter() - t)
        single = min(times)
        print(f"one process, whole-layer read + numpy mean: {single:.2f} s (best of 3)")
        t = time.perf_counter()
        with distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True,
                                      dashboard_address=None) as cluster, \
                distributed.Client(cluster) as client:
            started = time.perf_counter() - t
            times = []
            for size in (2048, 1024, 4096):
                # A new graph each time (other chunks), so no result is reused.
                x = layer.to_dask(chunks=(size, size))
                t = time.perf_counter()
                got = client.compute(x.mean(), sync=True)
                times.append(time.perf_counter() - t)
                print(f"  chunks {size} x {size}: {times[-1]:.2f} s")
            assert abs(got - mean) < 1e-9
        print(f"LocalCluster, 2 worker processes: start {started:.2f} s, mean "
              f"{min(times):.2f} s (best of 3 chunkings; {single / min(times):.2f}x the single process)")
    os.remove(path)


if __name__ == "__main__":
    main(sys.argv[1] if len(sys.argv) > 1 else "/tmp")
