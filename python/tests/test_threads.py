import threading
import time
import warnings
from concurrent.futures import ThreadPoolExecutor

import numpy as np
import pytest

import orvik
from conftest import pattern


def test_four_threads_read_windows_of_one_layer(path):
    data = pattern(lambda r, c: (r * 31 + c * 7) % 65521, np.uint16, (1024, 768))
    with orvik.create(path) as f:
        f.create_image("/I").create_layer("L", data.shape, np.uint16, (64, 64)).write(data)
    rng = np.random.default_rng(5)
    windows = [(int(r), int(c), 100, 90) for r, c in
               zip(rng.integers(0, 924, 200), rng.integers(0, 678, 200))]
    with orvik.open(path) as f:
        layer = f["/I/L"]
        single = [layer.read(w) for w in windows]
        with ThreadPoolExecutor(4) as pool:
            threaded = list(pool.map(layer.read, windows))
    for w, a, b in zip(windows, single, threaded):
        np.testing.assert_array_equal(a, b, err_msg=str(w))
        np.testing.assert_array_equal(a, data[w[0]:w[0] + 100, w[1]:w[1] + 90])


def test_reports_raised_in_several_threads_at_once(tmp_path):
    # Errors and printed reports from eight threads at once: each thread gets its own chain
    # and its own warnings, and nothing deadlocks on the library's callback section.
    start = threading.Barrier(8)

    def work(i):
        start.wait()
        caught = []
        for k in range(50):
            try:
                orvik.open(tmp_path / f"missing-{i}-{k}.hfa")
            except orvik.FileError as e:
                caught.append(e.reports[0][2])
            orvik._orvik.message_log(1, f"thread {i} message {k}")
        return caught

    # catch_warnings swaps module state, so it wraps the whole pool, not each thread.
    with warnings.catch_warnings(record=True) as seen:
        warnings.simplefilter("always")
        with ThreadPoolExecutor(8) as pool:
            results = list(pool.map(work, range(8)))
    for i, caught in enumerate(results):
        assert len(caught) == 50 and all(f"missing-{i}-" in m for m in caught)
    messages = sorted(str(w.message) for w in seen if w.category is orvik.OrvikWarning)
    assert messages == sorted(f"thread {i} message {k}" for i in range(8) for k in range(50))


def test_closing_while_other_threads_read_ends_their_reads_cleanly(path):
    # Readers that passed the open check before a close must find the handle gone under the
    # file's lock (an error), never a freed one; a run under ASan turns the latter into a crash.
    data = pattern(lambda r, c: r + c, np.uint16, (512, 512))
    with orvik.create(path) as f:
        layer = f.create_image("/I").create_layer("L", data.shape, np.uint16, (64, 64))
        layer.write(data)
        layer.build_overviews()
    for close_file in (False, True):
        f = orvik.open(path)
        layer = f["/I/L"]
        started = threading.Barrier(4)

        def reader(level):
            layer.read((0, 0, 64, 64), level=level)
            started.wait()
            reads = 1
            while True:
                try:
                    got = layer.read((0, 0, 64, 64), level=level)
                except (orvik.Error, ValueError) as e:
                    return reads, str(e)
                assert level != 0 or got[5, 7] == 12
                reads += 1

        with ThreadPoolExecutor(3) as pool:
            futures = [pool.submit(reader, level) for level in (0, 1, 0)]
            started.wait()
            time.sleep(0.02)
            (f.close if close_file else layer.close)()
            results = [future.result(timeout=60) for future in futures]
        for reads, message in results:
            assert reads > 0 and "closed" in message
        f.close()
