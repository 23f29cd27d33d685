"""Reads through the Python package against the same reads made by the C library directly.

Usage: PYTHONPATH=<build>/python python3 bench/python_read.py [folder]   (default /tmp)

1. A 4096 x 4096 f32 layer (256 x 256 blocks) read whole into numpy: Layer.read(out=) into a
   given array against oimg_LayerReadWindow into the same buffer, and Layer.read() into a new
   array against oimg_LayerRead into a new BaseData, the C calls made through ctypes on the
   same library (one call each: the library's own time, no binding).
2. One vs two threads reading random 256 x 256 windows of one 8192 x 8192 u8 layer of one
   open file.
3. Per-call cost of a 1 x 1 window read.
Times are medians of repeated runs; wall clock and process CPU time are both given, since the
machine may be shared.
"""

import ctypes
import os
import statistics
import sys
import time
from concurrent.futures import ThreadPoolExecutor

import numpy as np

import orvik


def median_time(fn, repeat):
    walls, cpus = [], []
    for _ in range(repeat):
        w, c = time.perf_counter(), time.process_time()
        fn()
        walls.append(time.perf_counter() - w)
        cpus.append(time.process_time() - c)
    return statistics.median(walls), statistics.median(cpus)


class BaseData(ctypes.Structure):
    _fields_ = [("numrows", ctypes.c_int32), ("numcolumns", ctypes.c_int32),
                ("datatype", ctypes.c_int32), ("objecttype", ctypes.c_int32),
                ("data", ctypes.c_void_p), ("dataStart", ctypes.c_void_p),
                ("lineBytes", ctypes.c_int32), ("derivedFlag", ctypes.c_int32),
                ("numelements", ctypes.c_int32), ("numbytes", ctypes.c_int32),
                ("tag", ctypes.c_uint32)]


def c_library():
    import glob
    so = glob.glob(os.path.join(os.path.dirname(orvik._orvik.__file__), "..", "..",
                                "liborvikcore.so*"))
    lib = ctypes.CDLL(sorted(so)[0] if so else "liborvikcore.so.0")
    lib.ohfa_FileOpen.restype = ctypes.c_void_p
    lib.ohfa_FileOpen.argtypes = [ctypes.c_wchar_p, ctypes.c_wchar_p, ctypes.c_uint32,
                                  ctypes.c_void_p]
    lib.oimg_LayerOpen.restype = ctypes.c_void_p
    lib.oimg_LayerOpen.argtypes = [ctypes.c_void_p, ctypes.c_wchar_p, ctypes.c_void_p]
    lib.oimg_LayerReadWindow.argtypes = [ctypes.c_void_p] + [ctypes.c_int32] * 4 + [
        ctypes.POINTER(BaseData), ctypes.c_void_p]
    lib.oimg_LayerRead.restype = ctypes.c_void_p
    lib.oimg_LayerRead.argtypes = [ctypes.c_void_p, ctypes.c_void_p, ctypes.c_void_p]
    lib.ogda_BaseDataDelete.argtypes = [ctypes.c_void_p, ctypes.c_void_p]
    lib.oimg_LayerClose.argtypes = [ctypes.c_void_p, ctypes.c_void_p]
    lib.ohfa_FileClose.argtypes = [ctypes.c_void_p, ctypes.c_void_p]
    return lib


def numpy_against_c(folder):
    path = os.path.join(folder, "bench_f32.hfa")
    data = np.random.default_rng(1).random((4096, 4096), dtype=np.float32)
    with orvik.create(path) as f:
        f.create_image("/I").create_layer("L", data.shape, np.float32, (256, 256)).write(data)
    out = np.empty_like(data)
    with orvik.open(path) as f:
        layer = f["/I/L"]
        layer.read()  # page cache warm
        new = median_time(layer.read, 15)
        given = median_time(lambda: layer.read(out=out), 15)
    assert np.array_equal(out, data)

    lib = c_library()
    fh = lib.ohfa_FileOpen(path, "r", 0, None)
    lh = lib.oimg_LayerOpen(fh, "/I/L", None)
    view = BaseData(4096, 4096, 9, 3, out.ctypes.data, out.ctypes.data, 4096 * 4, 1,
                    4096 * 4096, 4, 0)
    out[:] = 0
    c_call = median_time(lambda: lib.oimg_LayerReadWindow(lh, 0, 0, 4096, 4096,
                                                          ctypes.byref(view), None), 15)
    assert np.array_equal(out, data)
    c_new = median_time(lambda: lib.ogda_BaseDataDelete(lib.oimg_LayerRead(lh, None, None), None),
                        15)
    lib.oimg_LayerClose(lh, None)
    lib.ohfa_FileClose(fh, None)
    mib = data.nbytes / 2**20
    print("4096 x 4096 f32, whole layer (64 MiB), median of 15:")
    for name, (wall, cpu), c in [("C, given buffer", c_call, c_call),
                                 ("C, new BaseData", c_new, c_new),
                                 ("Layer.read(out=)", given, c_call),
                                 ("Layer.read()", new, c_new)]:
        print(f"  {name:18s} wall {wall * 1e3:7.1f} ms ({mib / wall:6.0f} MiB/s)  "
              f"cpu {cpu * 1e3:7.1f} ms   vs the C call alike: wall {c[0] / wall:4.2f}x, "
              f"cpu {c[1] / cpu:4.2f}x")
    os.remove(path)


def threads_and_overhead(folder):
    path = os.path.join(folder, "bench_u8.hfa")
    rng = np.random.default_rng(2)
    with orvik.create(path) as f:
        layer = f.create_image("/I").create_layer("L", (8192, 8192), np.uint8, (256, 256))
        for top in range(0, 8192, 1024):
            layer.write(rng.integers(0, 256, (1024, 8192), dtype=np.uint8), top, 0)
    windows = [(int(r), int(c), 256, 256) for r, c in
               zip(rng.integers(0, 8192 - 256, 2000), rng.integers(0, 8192 - 256, 2000))]
    with orvik.open(path) as f:
        layer = f["/I/L"]
        layer.read()
        for threads in (1, 2):
            def run():
                with ThreadPoolExecutor(threads) as pool:
                    for part in range(threads):
                        pool.submit(lambda p=part: [layer.read(w) for w in windows[p::threads]])
            wall, cpu = median_time(run, 5)
            print(f"2000 windows of 256 x 256 u8, {threads} thread(s): wall {wall * 1e3:.0f} ms "
                  f"({len(windows) / wall:.0f} windows/s), cpu {cpu * 1e3:.0f} ms")
        one = np.empty((1, 1), np.uint8)
        n = 20000
        wall, cpu = median_time(lambda: [layer.read((5, 7, 1, 1), out=one) for _ in range(n)], 5)
        print(f"1 x 1 window read: {wall / n * 1e6:.2f} us per call wall, "
              f"{cpu / n * 1e6:.2f} us cpu")
    os.remove(path)


if __name__ == "__main__":
    folder = sys.argv[1] if len(sys.argv) > 1 else "/tmp"
    numpy_against_c(folder)
    threads_and_overhead(folder)
