// The _orvik extension: open files and raster layers over the C interface. The pure-Python
// package `orvik` builds the user-facing classes on top of these.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <atomic>
#include <cwchar>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <orvik/ohfa.h>
#include <orvik/oimg.h>
#include <orvik/oint.h>
#include <orvik/omsc.h>
#include <orvik/osta.h>
#include <orvik/ostr.h>

#include "calls.hpp"
#include "pixels.hpp"
#include "tables.hpp"

namespace orvik_py {
namespace {

struct LayerHandle;

// An open file as one Python File object holds it.
struct FileHandle {
    // Cleared only while the file's lock is held alone, so a call that finds it set under
    // the lock may use it.
    std::atomic<Ohfa_File *> file{nullptr};
    std::shared_ptr<FileMutex> lock;
    std::wstring path;
    bool writable = false;
    std::vector<std::weak_ptr<LayerHandle>> layers;

    Ohfa_File *Open() const {
        if (!file) throw py::value_error("I/O operation on a closed file");
        return file;
    }
    void Close();
    ~FileHandle() {
        try {
            if (file) Close();
        } catch (...) {
            // A close that fails while Python drops the object cannot be raised anywhere.
        }
    }
};

// An opened overview level and its description.
struct LevelHandle {
    Oimg_Layer *layer = nullptr;
    Oimg_LayerInfo info{};
};

// An open layer with the overview levels opened so far (level k has factor 2^k). Another
// thread may close the layer (or rebuild its overviews) between the checks a call makes with
// the GIL and the moment it holds the file's lock; so `layer` is cleared and `levels` changed
// only while the file's lock is held alone, and calls take their handle from Resolve under
// the lock. `info` and `path` are copies: they stay readable after a close.
struct LayerHandle {
    std::shared_ptr<FileHandle> owner;
    std::atomic<Oimg_Layer *> layer{nullptr};
    Oimg_LayerInfo info{};
    std::wstring path;
    std::map<int, LevelHandle> levels;

    Oimg_Layer *Open() const {
        if (!layer || !owner->file) throw py::value_error("operation on a closed layer");
        return layer;
    }
    // Closes the overview handles; without the GIL, holding the file's lock.
    long CloseLevels(Oerr_ErrorReport **err) {
        long rc = 0;
        for (auto &[level, handle] : levels) {
            Oerr_ErrorReport *e = nullptr;
            if (oimg_LayerClose(handle.layer, &e) < 0 && rc == 0) {
                rc = -1;
                *err = e;
            } else {
                oerr_DeleteErrorReportEx(&e);
            }
        }
        levels.clear();
        return rc;
    }
    // Closes every handle of the layer (also after a failure, which is kept).
    long CloseAll(Oerr_ErrorReport **err) {
        long rc = CloseLevels(err);
        Oimg_Layer *base = layer.exchange(nullptr);
        Oerr_ErrorReport *e = nullptr;
        if (base && oimg_LayerClose(base, &e) < 0 && rc == 0) {
            rc = -1;
            *err = e;
        } else {
            oerr_DeleteErrorReportEx(&e);
        }
        return rc;
    }
    void Close() {
        if (!layer) return;
        Call(
            owner->lock.get(), [&](Oerr_ErrorReport **err) { return CloseAll(err); }, IsNegative);
    }
    ~LayerHandle() {
        if (!layer) return;
        try {
            Close();
        } catch (...) {
        }
    }
};

void FileHandle::Close() {
    if (!file) return;
    for (auto &weak : layers) {
        if (auto layer = weak.lock()) layer->Close();
    }
    layers.clear();
    Ohfa_File *closed = nullptr;
    Call(
        lock.get(),
        [&](Oerr_ErrorReport **err) {
            closed = file.exchange(nullptr);
            return closed ? ohfa_FileClose(closed, err) : 0L;
        },
        IsNegative, true);
    lock.reset();
    if (closed) ForgetFileLock(closed);
}

void EnsureInitialised() {
    static bool done = false;
    if (done) return;
    Call(
        nullptr,
        [](Oerr_ErrorReport **err) {
            if (!oint_GetInit() && oint_InitToolkit(err) < 0) return -1L;
            return ohfa_Init(err);
        },
        IsNegative);
    done = true;
}

std::shared_ptr<FileHandle> Adopt(Ohfa_File *file, const std::wstring &path, bool writable) {
    auto handle = std::make_shared<FileHandle>();
    handle->file = file;
    handle->lock = FileLock(file, !writable);
    handle->path = path;
    handle->writable = writable;
    return handle;
}

std::shared_ptr<FileHandle> OpenFile(const std::wstring &path, const std::string &mode) {
    if (mode != "r" && mode != "r+") {
        throw py::value_error("mode must be \"r\" or \"r+\", got \"" + mode + "\"");
    }
    EnsureInitialised();
    const std::wstring wmode = mode == "r" ? L"r" : L"r+";
    Ohfa_File *f = Call(
        nullptr,
        [&](Oerr_ErrorReport **err) { return ohfa_FileOpen(path.c_str(), wmode.c_str(), 0, err); },
        IsNull, true);
    auto handle = Adopt(f, path, mode != "r");
    if (handle->writable && handle->lock->readOnly) {
        // The library handed out the handle of an earlier read-only open of this name.
        handle->Close();
        throw py::value_error("file is already open read-only in this process; close it "
                              "before opening it with mode \"r+\"");
    }
    return handle;
}

std::shared_ptr<FileHandle> CreateFile(const std::wstring &path) {
    EnsureInitialised();
    Ohfa_File *f = Call(
        nullptr,
        [&](Oerr_ErrorReport **err) {
            return ohfa_FileCreateWithOptions(path.c_str(), 0, err, OHFA_OPTION_BLOCK_CACHE, 1, 0);
        },
        IsNull, true);
    return Adopt(f, path, true);
}

// Whether the file is still open once its lock is held; a report when another thread closed it
// meanwhile.
bool Live(const FileHandle &fh, Oerr_ErrorReport **err) {
    if (fh.file) return true;
    *err = oerr_CreateErrorReport(L"orvik.File", 1, OERR_KIND_ERROR, nullptr,
                                  L"The file was closed by another thread during the call");
    return false;
}

// Copies and frees a list; runs without the GIL, inside the call that made the list.
std::vector<std::wstring> TakeList(ostr_StringList *list) {
    std::unique_ptr<ostr_StringList, void (*)(ostr_StringList *)> owned(
        list, [](ostr_StringList *l) { ostr_StringListDelete(l, nullptr); });
    std::vector<std::wstring> out;
    for (int32_t i = 0; list && i < list->count; ++i) out.emplace_back(list->strings[i]);
    return out;
}

std::vector<std::wstring> ListEntries(FileHandle &fh, const std::wstring &node) {
    Ohfa_File *f = fh.Open();
    std::vector<std::wstring> names;
    Call(
        fh.lock.get(),
        [&](Oerr_ErrorReport **err) {
            if (!Live(fh, err)) return -1L;
            ostr_StringList *list = ohfa_ObjectList(f, node.c_str(), err);
            if (!list) return -1L;
            names = TakeList(list);
            return 0L;
        },
        IsNegative);
    return names;
}

// The type of the entry at `path`, or None when there is none.
std::optional<std::string> EntryType(FileHandle &fh, const std::wstring &path) {
    Ohfa_File *f = fh.Open();
    Ohfa_Entry entry{};
    const long found = Call(
        fh.lock.get(),
        [&](Oerr_ErrorReport **err) {
            if (!Live(fh, err)) return 0L;
            return ohfa_EntryPeek(f, OHFA_SEEK_PATH, path.c_str(), &entry, err);
        },
        [](long) { return false; });
    if (!found) return std::nullopt;
    return std::string(entry.type, strnlen(entry.type, sizeof entry.type));
}

std::vector<std::wstring> CheckFile(FileHandle &fh) {
    Ohfa_File *f = fh.Open();
    std::vector<std::wstring> problems;
    Call(
        fh.lock.get(),
        [&](Oerr_ErrorReport **err) {
            if (!Live(fh, err)) return -1L;
            ostr_StringList *list = nullptr;
            const long rc = ohfa_FileCheck(f, &list, err);
            problems = TakeList(list);
            return rc;
        },
        IsNegative);
    std::vector<std::wstring> lines;
    for (std::wstring &line : problems) {
        if (line.rfind(OHFA_CHECK_LEAK_PREFIX, 0) != 0) lines.push_back(std::move(line));
    }
    return lines;
}

void RequireWritable(const FileHandle &fh) {
    if (!fh.writable) throw py::value_error("file is open read-only (mode \"r\")");
}

std::shared_ptr<LayerHandle> AdoptLayer(const std::shared_ptr<FileHandle> &fh, Oimg_Layer *l) {
    auto handle = std::make_shared<LayerHandle>();
    handle->owner = fh;
    handle->layer = l;
    handle->info = *oimg_LayerInfoGet(l);
    const wchar_t *path = oimg_LayerPathGet(l);
    handle->path = path ? path : L"";
    fh->layers.push_back(handle);
    return handle;
}

std::shared_ptr<LayerHandle> OpenLayer(const std::shared_ptr<FileHandle> &fh,
                                       const std::wstring &path) {
    Ohfa_File *f = fh->Open();
    Oimg_Layer *l = Call(
        fh->lock.get(),
        [&](Oerr_ErrorReport **err) {
            return Live(*fh, err) ? oimg_LayerOpen(f, path.c_str(), err) : nullptr;
        },
        IsNull);
    return AdoptLayer(fh, l);
}

void CreateImage(FileHandle &fh, const std::wstring &parent, const std::wstring &name) {
    Ohfa_File *f = fh.Open();
    RequireWritable(fh);
    Call(
        fh.lock.get(),
        [&](Oerr_ErrorReport **err) {
            if (!Live(fh, err)) return -1L;
            return oimg_ImageCreate(f, parent.empty() ? nullptr : parent.c_str(), name.c_str(),
                                    err);
        },
        IsNegative);
}

std::shared_ptr<LayerHandle> CreateLayer(const std::shared_ptr<FileHandle> &fh,
                                         const std::wstring &image, const std::wstring &name,
                                         int64_t rows, int64_t columns, const py::object &dtype,
                                         int64_t blockRows, int64_t blockColumns,
                                         std::optional<double> nodata, bool thematic,
                                         int cellBytes) {
    Ohfa_File *f = fh->Open();
    RequireWritable(*fh);
    const Ogda_PixelType type = PixelTypeFromArgument(dtype);
    const int64_t limit = INT32_MAX;
    if (rows < 1 || columns < 1 || rows > limit || columns > limit) {
        throw py::value_error("layer shape (" + std::to_string(rows) + ", " +
                              std::to_string(columns) + ") must be positive 32-bit sizes");
    }
    if (blockRows < 1 || blockColumns < 1 || blockRows > limit || blockColumns > limit) {
        throw py::value_error("block shape (" + std::to_string(blockRows) + ", " +
                              std::to_string(blockColumns) + ") must be positive 32-bit sizes");
    }
    Oimg_LayerInfo info{};
    info.width = static_cast<int32_t>(columns);
    info.height = static_cast<int32_t>(rows);
    info.pixelType = type;
    info.blockWidth = static_cast<int32_t>(blockColumns);
    info.blockHeight = static_cast<int32_t>(blockRows);
    info.layerKind = thematic ? OIMG_THEMATIC : OIMG_CONTINUOUS;
    info.cellBytes = type == OGDA_STRING ? cellBytes : 0;
    info.hasNoData = nodata.has_value() ? 1 : 0;
    info.noData = nodata.value_or(0.0);
    Oimg_Layer *l = Call(
        fh->lock.get(),
        [&](Oerr_ErrorReport **err) {
            if (!Live(*fh, err)) return static_cast<Oimg_Layer *>(nullptr);
            return oimg_LayerCreate(f, image.c_str(), name.c_str(), &info, err);
        },
        IsNull);
    return AdoptLayer(fh, l);
}

void Flush(FileHandle &fh) {
    Ohfa_File *f = fh.Open();
    std::vector<std::shared_ptr<LayerHandle>> open;
    for (auto &weak : fh.layers) {
        if (auto l = weak.lock(); l && l->layer) open.push_back(l);
    }
    Call(
        fh.lock.get(),
        [&](Oerr_ErrorReport **err) {
            if (!Live(fh, err)) return -1L;
            for (auto &l : open) {
                Oimg_Layer *handle = l->layer;
                if (handle && oimg_LayerFlush(handle, err) < 0) return -1L;
            }
            return ohfa_FileFlush(f, err);
        },
        IsNegative, true);
}

// ---- Layers ------------------------------------------------------------------------------

// The handle of level `level` (0: the layer) while the file's lock is held; null with a
// report when another thread closed the layer or rebuilt its overviews meanwhile.
Oimg_Layer *Resolve(LayerHandle &lh, int level, Oerr_ErrorReport **err) {
    Oimg_Layer *handle = lh.layer;
    if (handle && level != 0) {
        auto it = lh.levels.find(level);
        handle = it == lh.levels.end() ? nullptr : it->second.layer;
    }
    if (!handle) {
        *err = oerr_CreateErrorReport(L"orvik.Layer", 1, OERR_KIND_ERROR, nullptr,
                                      L"The layer was closed, or its overviews rebuilt, by "
                                      L"another thread during the call");
    }
    return handle;
}

// How a window read holds the file's lock: shared on a file the library opened read-only, whose
// layers the library reads from several threads at once; alone otherwise.
Hold ReadHold(const LayerHandle &lh) {
    return lh.owner->lock->readOnly ? Hold::Shared : Hold::Alone;
}

// The description of level `level` (0: the layer), opening the overview on first use.
Oimg_LayerInfo LevelInfo(LayerHandle &lh, int level) {
    lh.Open();
    if (level == 0) return lh.info;
    if (level < 0 || level > 30) {
        throw py::value_error("overview level " + std::to_string(level) + " out of range");
    }
    Oimg_LayerInfo info{};
    bool found = false;
    Call(
        lh.owner->lock.get(),
        [&](Oerr_ErrorReport **) {
            auto it = lh.levels.find(level);
            if (it != lh.levels.end()) info = it->second.info, found = true;
            return 0L;
        },
        [](long) { return false; }, false, ReadHold(lh));
    if (found) return info;
    long count = -1;
    Call(
        lh.owner->lock.get(),
        [&](Oerr_ErrorReport **err) {
            Oimg_Layer *base = Resolve(lh, 0, err);
            if (!base) return -1L;
            if (auto it = lh.levels.find(level); it != lh.levels.end()) {
                info = it->second.info; // another thread opened it meanwhile
                return 0L;
            }
            count = oimg_LayerOverviewCount(base, err);
            if (count < level) return count < 0 ? -1L : 0L;
            Oimg_Layer *ov = oimg_LayerOverviewOpen(base, 1L << level, err);
            if (!ov) return -1L;
            info = *oimg_LayerInfoGet(ov);
            lh.levels.emplace(level, LevelHandle{ov, info});
            return 0L;
        },
        IsNegative);
    if (count >= 0 && count < level) {
        throw py::value_error("overview level " + std::to_string(level) + " requested, layer has " +
                              std::to_string(count));
    }
    return info;
}

py::dict InfoOf(LayerHandle &lh, int level) {
    const Oimg_LayerInfo info = LevelInfo(lh, level);
    const Oimg_LayerInfo *i = &info;
    py::dict d;
    d["rows"] = i->height;
    d["columns"] = i->width;
    d["pixel_type"] = i->pixelType;
    d["block_rows"] = i->blockHeight;
    d["block_columns"] = i->blockWidth;
    d["thematic"] = i->layerKind == OIMG_THEMATIC;
    d["cell_bytes"] = i->cellBytes;
    d["nodata"] = i->hasNoData ? py::object(py::float_(i->noData)) : py::object(py::none());
    d["path"] = py::cast(lh.path);
    return d;
}

void CheckWindow(const Oimg_LayerInfo *info, int64_t row, int64_t column, int64_t rows,
                 int64_t columns) {
    if (row < 0 || column < 0 || rows < 1 || columns < 1 || row + rows > info->height ||
        column + columns > info->width) {
        throw py::value_error("window at row " + std::to_string(row) + ", column " +
                              std::to_string(column) + " of " + std::to_string(rows) + " x " +
                              std::to_string(columns) + " pixels lies outside the layer of " +
                              std::to_string(info->height) + " x " + std::to_string(info->width) +
                              " pixels");
    }
}

py::array ReadStrings(LayerHandle &lh, int level, int32_t row, int32_t column, int32_t rows,
                      int32_t columns) {
    Ogda_BaseData *data = Call(
        lh.owner->lock.get(),
        [&](Oerr_ErrorReport **err) {
            return ogda_BaseDataCreate(rows, columns, OGDA_STRING, Ogda_Raster, nullptr, err);
        },
        IsNull);
    std::unique_ptr<Ogda_BaseData, void (*)(Ogda_BaseData *)> owned(data, [](Ogda_BaseData *d) {
        py::gil_scoped_release nogil;
        ogda_BaseDataDelete(d, nullptr);
    });
    Call(
        lh.owner->lock.get(),
        [&](Oerr_ErrorReport **err) {
            Oimg_Layer *l = Resolve(lh, level, err);
            return l ? oimg_LayerReadWindow(l, row, column, rows, columns, data, err) : -1L;
        },
        IsNegative, false, ReadHold(lh));
    py::array out(py::dtype("O"), {rows, columns});
    auto *cells = static_cast<PyObject **>(out.mutable_data());
    for (int32_t r = 0; r < rows; ++r) {
        auto *line = reinterpret_cast<wchar_t **>(static_cast<char *>(data->data) +
                                                  static_cast<size_t>(r) * data->lineBytes);
        for (int32_t c = 0; c < columns; ++c) {
            py::str s = py::cast(std::wstring(line[c] ? line[c] : L""));
            PyObject *old = cells[static_cast<size_t>(r) * columns + c];
            cells[static_cast<size_t>(r) * columns + c] = s.release().ptr();
            Py_XDECREF(old);
        }
    }
    return out;
}

// Reads the window into `out` (a new array when None); the library writes the array itself.
py::array Read(LayerHandle &lh, int64_t row, int64_t column, int64_t rows, int64_t columns,
               int level, py::object out) {
    const Oimg_LayerInfo levelInfo = LevelInfo(lh, level);
    const Oimg_LayerInfo *info = &levelInfo;
    CheckWindow(info, row, column, rows, columns);
    const auto r = static_cast<int32_t>(row), c = static_cast<int32_t>(column);
    const auto nr = static_cast<int32_t>(rows), nc = static_cast<int32_t>(columns);
    if (info->pixelType == OGDA_STRING) {
        if (!out.is_none()) throw py::type_error("\"string\" layers read into new arrays only");
        return ReadStrings(lh, level, r, c, nr, nc);
    }
    const py::dtype dtype = DtypeOf(info->pixelType);
    py::array target;
    if (out.is_none()) {
        target = py::array(dtype, {rows, columns});
    } else {
        if (!py::isinstance<py::array>(out)) {
            throw py::type_error("out must be a numpy array, got " + Text(py::type::of(out)));
        }
        target = py::reinterpret_borrow<py::array>(out);
        if (!target.dtype().equal(dtype)) {
            throw py::type_error("out has dtype " + Text(target.dtype()) + ", the layer reads as " +
                                 Text(dtype));
        }
        if (target.ndim() != 2 || target.shape(0) != rows || target.shape(1) != columns) {
            std::string shape;
            for (py::ssize_t i = 0; i < target.ndim(); ++i) {
                shape += (i ? ", " : "") + std::to_string(target.shape(i));
            }
            throw py::value_error("out has shape (" + shape + "), the window is (" +
                                  std::to_string(rows) + ", " + std::to_string(columns) + ")");
        }
        if (!target.writeable()) throw py::value_error("out is not writable");
    }
    Ogda_BaseData view = ViewOf(target, static_cast<Ogda_PixelType>(info->pixelType));
    Call(
        lh.owner->lock.get(),
        [&](Oerr_ErrorReport **err) {
            Oimg_Layer *l = Resolve(lh, level, err);
            return l ? oimg_LayerReadWindow(l, r, c, nr, nc, &view, err) : -1L;
        },
        IsNegative, false, ReadHold(lh));
    return target;
}

void WriteStrings(LayerHandle &lh, const py::array &values, int32_t row, int32_t column) {
    const auto rows = static_cast<int32_t>(values.shape(0));
    const auto columns = static_cast<int32_t>(values.shape(1));
    std::vector<std::wstring> texts;
    texts.reserve(static_cast<size_t>(rows) * columns);
    for (py::handle item : values.attr("ravel")())
        texts.push_back(py::str(item).cast<std::wstring>());
    Call(
        lh.owner->lock.get(),
        [&](Oerr_ErrorReport **err) {
            Oimg_Layer *l = Resolve(lh, 0, err);
            if (!l) return -1L;
            Ogda_BaseData *data =
                ogda_BaseDataCreate(rows, columns, OGDA_STRING, Ogda_Raster, nullptr, err);
            if (!data) return -1L;
            long rc = 0;
            for (int32_t r = 0; r < rows && rc == 0; ++r) {
                auto *line = reinterpret_cast<wchar_t **>(static_cast<char *>(data->data) +
                                                          static_cast<size_t>(r) * data->lineBytes);
                for (int32_t c = 0; c < columns; ++c) {
                    const std::wstring &t = texts[static_cast<size_t>(r) * columns + c];
                    auto *copy =
                        static_cast<wchar_t *>(omsc_HeapMalloc((t.size() + 1) * sizeof(wchar_t)));
                    if (!copy) {
                        *err = oerr_CreateErrorReport(L"orvik.Layer.write", 5, 2, nullptr,
                                                      L"Out of memory");
                        rc = -1;
                        break;
                    }
                    wmemcpy(copy, t.c_str(), t.size() + 1);
                    line[c] = copy;
                }
            }
            if (rc == 0) rc = oimg_LayerWriteWindow(l, row, column, rows, columns, data, err);
            ogda_BaseDataDelete(data, nullptr);
            return rc;
        },
        IsNegative);
}

void Write(LayerHandle &lh, py::array values, int64_t row, int64_t column) {
    lh.Open();
    RequireWritable(*lh.owner);
    const Oimg_LayerInfo *info = &lh.info;
    if (values.ndim() != 2) {
        throw py::value_error("expected a 2-D array, got " + std::to_string(values.ndim()) +
                              " dimensions");
    }
    CheckWindow(info, row, column, values.shape(0), values.shape(1));
    const auto r = static_cast<int32_t>(row), c = static_cast<int32_t>(column);
    if (info->pixelType == OGDA_STRING) {
        WriteStrings(lh, values, r, c);
        return;
    }
    const Ogda_PixelType type = PixelTypeOf(values.dtype());
    if (type == OGDA_PIXEL_INVALID) {
        throw py::type_error("cannot write an array of dtype " + Text(values.dtype()) +
                             " to a layer");
    }
    Ogda_BaseData view = ViewOf(values, type);
    Call(
        lh.owner->lock.get(),
        [&](Oerr_ErrorReport **err) {
            Oimg_Layer *l = Resolve(lh, 0, err);
            return l ? oimg_LayerWriteWindow(l, r, c, view.numrows, view.numcolumns, &view, err)
                     : -1L;
        },
        IsNegative);
}

long BuildOverviews(LayerHandle &lh) {
    lh.Open();
    RequireWritable(*lh.owner);
    return Call(
        lh.owner->lock.get(),
        [&](Oerr_ErrorReport **err) {
            Oimg_Layer *l = Resolve(lh, 0, err);
            if (!l) return -1L;
            // Handles of the old levels go first: building replaces those entries.
            if (lh.CloseLevels(err) < 0) return -1L;
            return oimg_LayerBuildOverviews(l, err);
        },
        IsNegative);
}

long OverviewCount(LayerHandle &lh) {
    lh.Open();
    return Call(
        lh.owner->lock.get(),
        [&](Oerr_ErrorReport **err) {
            Oimg_Layer *l = Resolve(lh, 0, err);
            return l ? oimg_LayerOverviewCount(l, err) : -1L;
        },
        IsNegative);
}

py::dict StatisticsDict(const Osta_Statistics &s) {
    py::dict d;
    d["min"] = s.minimum;
    d["max"] = s.maximum;
    d["mean"] = s.mean;
    d["median"] = s.median;
    d["mode"] = s.mode;
    d["stddev"] = s.stddev;
    return d;
}

// Computes the layer's statistics and histogram counts; on a writable file they are also
// stored with the layer (its "Statistics" entry and the histogram column).
py::tuple ComputeStatistics(LayerHandle &lh) {
    lh.Open();
    Ohfa_File *f = lh.owner->Open();
    const std::wstring &path = lh.path;
    Osta_Statistics s{};
    Osta_Histogram *histogram = nullptr;
    std::vector<double> counts;
    Call(
        lh.owner->lock.get(),
        [&](Oerr_ErrorReport **err) {
            // A layer still open under the lock also means its file is.
            Oimg_Layer *l = Resolve(lh, 0, err);
            if (!l) return -1L;
            if (lh.owner->writable) {
                if (oimg_LayerFlush(l, err) < 0 ||
                    osta_LayerStatisticsUpdate(f, path.c_str(), nullptr, nullptr, &s, err) < 0)
                    return -1L;
            }
            if (!osta_LayerStatisticsCompute(l, nullptr, nullptr, &s, &histogram, err)) return -1L;
            if (histogram && histogram->table) {
                const Ogda_BaseData *t = histogram->table;
                for (int32_t i = 0; i < t->numrows; ++i) {
                    counts.push_back(
                        *reinterpret_cast<const double *>(static_cast<const char *>(t->data) +
                                                          static_cast<size_t>(i) * t->lineBytes));
                }
            }
            osta_HistogramDelete(histogram);
            return 0L;
        },
        IsNegative);
    return py::make_tuple(StatisticsDict(s),
                          py::array(py::dtype::of<double>(),
                                    {static_cast<py::ssize_t>(counts.size())}, counts.data()));
}

py::object Statistics(LayerHandle &lh) {
    lh.Open();
    Ohfa_File *f = lh.owner->Open();
    Osta_Statistics s{};
    bool found = false;
    Call(
        lh.owner->lock.get(),
        [&](Oerr_ErrorReport **err) {
            if (!Resolve(lh, 0, err)) return -1L;
            found = osta_StatisticsRead(f, lh.path.c_str(), &s, OMSC_FALSE, err) != nullptr;
            return 0L;
        },
        IsNegative);
    if (!found) return py::none();
    return StatisticsDict(s);
}

// The file of a layer for descriptor-table calls, checked under the file's lock.
LayerFile FileOf(LayerHandle &lh) {
    lh.Open();
    return LayerFile{lh.owner->lock.get(), lh.owner->Open(), lh.path,
                     [&lh](Oerr_ErrorReport **err) { return Resolve(lh, 0, err) != nullptr; }};
}

py::object Histogram(LayerHandle &lh) { return StoredHistogram(FileOf(lh)); }

py::object ColourTable(LayerHandle &lh) { return StoredColourTable(FileOf(lh)); }

void SetColourTable(LayerHandle &lh,
                    const py::array_t<double, py::array::c_style | py::array::forcecast> &rgba) {
    LayerFile file = FileOf(lh);
    RequireWritable(*lh.owner);
    WriteColourTable(file, rgba);
}

// The format version when `path` is an HFA file, else 0; what the check meets on the way
// (a short or foreign file) becomes warnings.
long IsHfaFile(const std::wstring &path) {
    EnsureInitialised();
    return Call(
        nullptr, [&](Oerr_ErrorReport **err) { return ohfa_IsHFAFile(path.c_str(), err); },
        [](long) { return false; });
}

// Hands `text` to the library's message log, which reports it like the library's own
// warnings (here: as an OrvikWarning of the calling thread).
void MessageLog(long kind, const std::wstring &text) {
    Call(
        nullptr, [&](Oerr_ErrorReport **) { return oerr_MessageLog(kind, L"%s", text.c_str()); },
        [](long) { return false; });
}

} // namespace
} // namespace orvik_py

PYBIND11_MODULE(_orvik, m) {
    using namespace orvik_py;
    m.doc() = "Low-level binding of the orvik core library; use the `orvik` package.";
    InstallReportCollector();
    RegisterTranslator();

    py::class_<FileHandle, std::shared_ptr<FileHandle>>(m, "FileHandle")
        .def_property_readonly("path", [](const FileHandle &f) { return f.path; })
        .def_property_readonly("writable", [](const FileHandle &f) { return f.writable; })
        .def_property_readonly("closed", [](const FileHandle &f) { return f.file == nullptr; })
        .def("close", &FileHandle::Close)
        .def("flush", &Flush)
        .def("list", &ListEntries)
        .def("entry_type", &EntryType)
        .def("check", &CheckFile)
        .def("create_image", &CreateImage)
        .def("open_layer", &OpenLayer)
        .def("create_layer", &CreateLayer);

    py::class_<LayerHandle, std::shared_ptr<LayerHandle>>(m, "LayerHandle")
        .def("info", &InfoOf, py::arg("level") = 0)
        .def("read", &Read, py::arg("row"), py::arg("column"), py::arg("rows"), py::arg("columns"),
             py::arg("level") = 0, py::arg("out") = py::none())
        .def("write", &Write)
        .def("build_overviews", &BuildOverviews)
        .def("overview_count", &OverviewCount)
        .def("statistics", &Statistics)
        .def("compute_statistics", &ComputeStatistics)
        .def("histogram", &Histogram)
        .def("colour_table", &ColourTable)
        .def("set_colour_table", &SetColourTable)
        .def("close", &LayerHandle::Close)
        .def_property_readonly("closed", [](const LayerHandle &l) { return l.layer == nullptr; });

    m.def("open", &OpenFile);
    m.def("create", &CreateFile);
    m.def("is_hfa_file", &IsHfaFile);
    m.def("message_log", &MessageLog);
}
