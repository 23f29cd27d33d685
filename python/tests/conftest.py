import numpy as np
import pytest

import orvik

# Every pixel type with a value pattern exact in it: (layer dtype argument, read dtype, values).
PIXEL_TYPES = [
    ("u1", np.uint8, lambda r, c: (r * 3 + c) % 2),
    ("u2", np.uint8, lambda r, c: (r * 3 + c) % 4),
    ("u4", np.uint8, lambda r, c: (r * 5 + c) % 16),
    (np.uint8, np.uint8, lambda r, c: (r * 7 + c * 13) % 256),
    (np.int8, np.int8, lambda r, c: (r * 7 + c * 13) % 256 - 128),
    (np.uint16, np.uint16, lambda r, c: (r * 301 + c * 7) % 65536),
    (np.int16, np.int16, lambda r, c: (r * 301 + c * 7) % 65536 - 32768),
    (np.uint32, np.uint32, lambda r, c: (r * 100003 + c * 77) % 2**32),
    (np.int32, np.int32, lambda r, c: (r * 100003 + c * 77) % 2**32 - 2**31),
    (np.float32, np.float32, lambda r, c: r * 0.5 - c * 0.25),
    (np.float64, np.float64, lambda r, c: r * 1e-3 - c * 1e7),
    (np.complex64, np.complex64, lambda r, c: r * 0.5 - 1j * c),
    (np.complex128, np.complex128, lambda r, c: r * 1e-3 + 1j * c * 1e5),
]


def pattern(values, dtype, shape):
    r, c = np.indices(shape)
    return np.asarray(values(r, c)).astype(dtype)


@pytest.fixture
def path(tmp_path):
    return tmp_path / "test.hfa"


@pytest.fixture
def layer_file(path):
    """A file with /Image/L: 300 x 200 f32 in 64 x 64 blocks holding r * 1000 + c."""
    data = pattern(lambda r, c: r * 1000 + c, np.float32, (300, 200))
    with orvik.create(path) as f:
        f.create_image("/Image").create_layer("L", (300, 200), np.float32, (64, 64)).write(data)
    return path, data
