"""Files, entries and images."""

import os

from . import _orvik
from ._layer import Layer

__all__ = ["File", "Entry", "Image", "open", "create", "is_hfa_file"]

IMAGE_TYPE = "Oimg_Image"
LAYER_TYPE = "Oimg_Layer"


def _norm(node):
    if not isinstance(node, str):
        raise TypeError(f"node paths are str, got {type(node).__name__}")
    if not node.startswith("/"):
        node = "/" + node
    if len(node) > 1:
        node = node.rstrip("/")
    return node


def _join(parent, name):
    return (parent.rstrip("/") + "/" + name) if parent != "/" else "/" + name


class File:
    """An open HFA file; use as a context manager or close it."""

    def __init__(self, handle):
        self._h = handle
        self._layers = {}

    @property
    def path(self):
        return self._h.path

    @property
    def writable(self):
        return self._h.writable

    @property
    def closed(self):
        return self._h.closed

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()
        return False

    def __repr__(self):
        state = "closed" if self.closed else ("r+" if self.writable else "r")
        return f"<orvik.File {self.path!r} {state}>"

    def close(self):
        """Closes the file and every layer opened through it."""
        self._layers.clear()
        self._h.close()

    def flush(self):
        """Writes what the layers and the file hold in memory."""
        self._h.flush()

    def check(self):
        """The integrity check of the file as stored: a list of problems (empty: sound)."""
        return self._h.check()

    def ls(self, node="/", recursive=False):
        """Node paths below ``node``: its children, or every descendant in preorder."""
        node = _norm(node)
        paths = [p for p in self._h.list(node) if p != node]
        if recursive:
            return paths
        depth = node.count("/") + (0 if node == "/" else 1)
        return [p for p in paths if p.count("/") == depth]

    def entry_type(self, node):
        """The type of the entry at ``node``, or None when there is none."""
        return self._h.entry_type(_norm(node))

    def __contains__(self, node):
        return self.entry_type(node) is not None

    def __getitem__(self, node):
        node = _norm(node)
        kind = self._h.entry_type(node)
        if kind is None:
            raise KeyError(node)
        if kind == IMAGE_TYPE:
            return Image(self, node)
        if kind == LAYER_TYPE:
            return self._layer(node)
        return Entry(self, node, kind)

    def _layer(self, node):
        layer = self._layers.get(node)
        if layer is None or layer.closed:
            layer = Layer(self, self._h.open_layer(node))
            self._layers[node] = layer
        return layer

    def create_image(self, node):
        """Creates the image entry ``node`` (its parent must exist) and returns it."""
        node = _norm(node)
        parent, _, name = node.rpartition("/")
        self._h.create_image(parent or "/", name)
        return Image(self, node)

    @property
    def images(self):
        """Every image of the file, in file order."""
        return [self[p] for p in self.ls("/", recursive=True)
                if self._h.entry_type(p) == IMAGE_TYPE]


class Entry:
    """An entry of the tree that is neither an image nor a layer."""

    def __init__(self, file, path, kind):
        self.file, self.path, self.type = file, path, kind

    def __repr__(self):
        return f"<orvik.Entry {self.path} ({self.type})>"

    @property
    def children(self):
        return self.file.ls(self.path)


class Image:
    """An image: an entry whose children are its layers."""

    def __init__(self, file, path):
        self.file, self.path = file, path

    def __repr__(self):
        return f"<orvik.Image {self.path} layers={self.layer_names}>"

    @property
    def name(self):
        return self.path.rsplit("/", 1)[-1]

    @property
    def layer_names(self):
        return [p.rsplit("/", 1)[-1] for p in self.file.ls(self.path)
                if self.file.entry_type(p) == LAYER_TYPE]

    @property
    def layers(self):
        return [self[n] for n in self.layer_names]

    def __getitem__(self, name):
        path = _join(self.path, name)
        if self.file.entry_type(path) != LAYER_TYPE:
            raise KeyError(name)
        return self.file._layer(path)

    def __iter__(self):
        return iter(self.layers)

    def __len__(self):
        return len(self.layer_names)

    def create_layer(self, name, shape, dtype, block_shape=(256, 256), nodata=None,
                     thematic=False, cell_bytes=32):
        """Creates layer ``name`` of ``shape`` (rows, columns) and ``dtype`` (a numpy dtype,
        or "u1", "u2", "u4", "string"); never-written pixels read as ``nodata`` (0 without)."""
        rows, columns = (int(v) for v in shape)
        brows, bcols = (int(v) for v in block_shape)
        handle = self.file._h.create_layer(self.path, name, rows, columns, dtype, brows, bcols,
                                           None if nodata is None else float(nodata),
                                           bool(thematic), int(cell_bytes))
        layer = Layer(self.file, handle)
        self.file._layers[_join(self.path, name)] = layer
        return layer


def open(path, mode="r"):
    """Opens an existing file, read-only ("r") or for update ("r+")."""
    return File(_orvik.open(os.fspath(path), mode))


def create(path):
    """Creates (truncating) a file, open for update."""
    return File(_orvik.create(os.fspath(path)))


def is_hfa_file(path):
    """The file's format version when ``path`` is an HFA file, else 0. Why a file is not
    one (too short, a foreign header) arrives as OrvikWarning."""
    return _orvik.is_hfa_file(os.fspath(path))
