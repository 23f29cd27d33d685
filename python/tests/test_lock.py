import os
import subprocess
import sys
import textwrap

import numpy as np

import orvik

CHILD = textwrap.dedent("""
    import sys, orvik
    path = sys.argv[1]
    with orvik.open(path) as f:
        print(int(f["/I/L"][3, 4]))
    for attempt in (lambda: orvik.open(path, "r+"), lambda: orvik.create(path)):
        try:
            attempt()
            print("opened")
        except orvik.FileError as e:
            print("refused" if "already open for writing" in str(e) else "other: " + str(e))
""")


def test_a_second_writing_process_is_refused_readers_are_not(path):
    with orvik.create(path) as f:
        f.create_image("/I").create_layer("L", (10, 10), np.int16)[3, 4] = 17
    run = lambda: subprocess.run([sys.executable, "-c", CHILD, os.fspath(path)],
                                 capture_output=True, text=True, timeout=60,
                                 env=dict(os.environ)).stdout.split()
    with orvik.open(path, "r+") as writer:
        writer["/I/L"][0, 0] = 1
        assert run() == ["17", "refused", "refused"]
        assert writer["/I/L"][3, 4] == 17
    assert run() == ["17", "opened", "opened"]
