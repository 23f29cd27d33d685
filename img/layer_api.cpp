// Images and layers: the layer record and its design, creating and opening a layer with the
// checks that keep a damaged record from driving any allocation, and the small queries.
#include <cstring>

#include <orvik/opxm.h>

#include "core/guard.hpp"
#include "hfa/file.hpp"
#include "img/coded_store.hpp"
#include "img/layer.hpp"
#include "img/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;

namespace {

const Omif_ItemDescription kLayerItems[] = {
    OMIF_FIELD(OMIF_ITEM_LONG, L"width", 1),       OMIF_FIELD(OMIF_ITEM_LONG, L"height", 1),
    OMIF_FIELD(OMIF_ITEM_LONG, L"pixelType", 1),   OMIF_FIELD(OMIF_ITEM_LONG, L"blockWidth", 1),
    OMIF_FIELD(OMIF_ITEM_LONG, L"blockHeight", 1), OMIF_FIELD(OMIF_ITEM_LONG, L"layerKind", 1),
    OMIF_FIELD(OMIF_ITEM_LONG, L"cellBytes", 1),   OMIF_FIELD(OMIF_ITEM_LONG, L"hasNoData", 1),
    OMIF_FIELD(OMIF_ITEM_DOUBLE, L"noData", 1),    OMIF_TABLE_END};
const Omif_DesignTable kDesigns[] = {{orvik::img::kLayerType, kLayerItems}, {nullptr, nullptr}};
Omif_BuiltinDesigns g_designs = OMIF_BUILTIN_DESIGNS(kDesigns, nullptr);
static_assert(sizeof(Oimg_LayerInfo) == 40);

std::wstring Child(const std::wstring &parent, const wchar_t *name) {
    return (parent.empty() || parent.back() != L'/' ? parent + L"/" : parent) + name;
}

void Delete(Oerr_ErrorReport *&report) { oerr_DeleteErrorReportEx(&report); }

// Whether the entry's type is a raster layer's (entry types are narrow, zero-padded text).
bool IsLayerEntry(const Ohfa_Entry &e) {
    return std::strncmp(e.type, "Oimg_Layer", sizeof e.type) == 0;
}

// The file form of a block never written: every pixel the no-data value (0 without one;
// the empty text for "string" layers).
void BuildNoDataBlock(Oimg_Layer &layer) {
    const orvik::img::Geometry &g = layer.geometry;
    const Oimg_LayerInfo &info = layer.info;
    layer.noDataBlock.assign(static_cast<std::size_t>(g.blockBytes), 0);
    if (!info.hasNoData || info.pixelType == OGDA_STRING) return;
    std::vector<double> values(static_cast<std::size_t>(info.blockWidth), info.noData);
    std::vector<unsigned char> host(static_cast<std::size_t>(info.blockWidth) * g.hostBytes);
    omsc_AddressOf_opxm_Convert()[OGDA_F64][info.pixelType](values.data(), host.data(),
                                                            info.blockWidth);
    orvik::img::EncodeRow(info, g, host.data(), 0, info.blockWidth, layer.noDataBlock.data());
    for (int32_t r = 1; r < info.blockHeight; ++r)
        std::memcpy(layer.noDataBlock.data() + r * g.rowBytes, layer.noDataBlock.data(),
                    static_cast<std::size_t>(g.rowBytes));
}

} // namespace

namespace orvik::img {

const Omif_Design *LayerDesign(Oerr_ErrorReport **err) {
    return omif_BuiltinDesignFetch(&g_designs, kLayerType, err);
}

long PeekEntry(Ohfa_File *file, const std::wstring &path, Ohfa_Entry *entry,
               Oerr_ErrorReport **err) {
    Oerr_ErrorReport *inner = nullptr;
    const long found = ohfa_EntryPeek(file, OHFA_SEEK_PATH, path.c_str(), entry, &inner);
    if (err)
        *err = inner;
    else
        Delete(inner);
    return found;
}

Oimg_Layer *OpenLayer(Ohfa_File *file, const std::wstring &path, Oerr_ErrorReport **err,
                      const wchar_t *fn) {
    Ohfa_Entry e{};
    const long found = PeekEntry(file, path, &e, err);
    if (found <= 0) {
        SetError(err, fn, kNotFound, found < 0 && err ? *err : nullptr, L"Layer %s not found",
                 path.c_str());
        return nullptr;
    }
    if (!IsLayerEntry(e) || e.dataSize != static_cast<int32_t>(kLayerRecordSize) || e.data == 0) {
        SetError(err, fn, kBadRecord, nullptr, L"Entry %s is not a raster layer (%ld bytes)",
                 path.c_str(), static_cast<long>(e.dataSize));
        return nullptr;
    }
    auto layer = std::make_unique<Oimg_Layer>();
    layer->file = file;
    layer->path = path;
    const Omif_Design *design = LayerDesign(err);
    if (!design || ohfa_FileHostDataRead(file, e.data, design, kLayerRecordSize, &layer->info,
                                         err) != static_cast<long>(kLayerRecordSize)) {
        SetError(err, fn, kBadRecord, *err, L"Cannot read the record of layer %s", path.c_str());
        return nullptr;
    }
    const Oimg_LayerInfo &i = layer->info;
    layer->geometry = GeometryOf(i);
    if (!layer->geometry.valid) {
        SetError(err, fn, kBadRecord, nullptr,
                 L"Layer %s refused: %s (width %ld, height %ld, pixel type %ld, blocks %ld x "
                 L"%ld, cell %ld)",
                 path.c_str(), layer->geometry.problem.c_str(), static_cast<long>(i.width),
                 static_cast<long>(i.height), static_cast<long>(i.pixelType),
                 static_cast<long>(i.blockWidth), static_cast<long>(i.blockHeight),
                 static_cast<long>(i.cellBytes));
        return nullptr;
    }
    // Everything that may throw comes before the store opens: the handle owns the store
    // only once it is returned.
    BuildNoDataBlock(*layer);
    layer->block.resize(static_cast<std::size_t>(layer->geometry.blockBytes));
    layer->hostRow.resize(static_cast<std::size_t>(i.blockWidth) * 16);
    const long coded = StorageFound(file, path, err);
    if (coded > 0) {
        if (!OpenCodedStore(*layer, err, fn)) return nullptr;
    } else if (coded < 0 ||
               !(layer->cache = ohfa_CacheOpen(file, Child(path, kBlocksName).c_str(), err))) {
        SetError(err, fn, kStoreFailed, *err, L"Cannot open the blocks of layer %s", path.c_str());
        return nullptr;
    }
    const Ohfa_CacheNode *n = layer->cache ? ohfa_CacheNodeGet(layer->cache) : nullptr;
    const Geometry &g = layer->geometry;
    if (n && (n->blocksize != g.blockBytes || n->blockcount != g.blockCount)) {
        SetError(err, fn, kStoreMismatch, nullptr,
                 L"Layer %s refused: its store holds %ld blocks of %ld bytes, %ld x %ld pixels "
                 L"in %ld x %ld blocks need %lld of %lld",
                 path.c_str(), static_cast<long>(n->blockcount), static_cast<long>(n->blocksize),
                 static_cast<long>(i.width), static_cast<long>(i.height),
                 static_cast<long>(i.blockWidth), static_cast<long>(i.blockHeight),
                 static_cast<long long>(g.blockCount), static_cast<long long>(g.blockBytes));
        Oerr_ErrorReport *late = nullptr;
        ohfa_CacheClose(layer->cache, &late);
        Delete(late);
        return nullptr;
    }
    return layer.release();
}

Oimg_Layer *CreateLayer(Ohfa_File *file, const std::wstring &parentPath, const wchar_t *name,
                        const Oimg_LayerInfo &given, Oerr_ErrorReport **err, const wchar_t *fn,
                        const Oimg_LayerStorage *storage, long placement) {
    Oimg_LayerInfo info = given;
    if (info.blockWidth == 0) info.blockWidth = kDefaultBlockSide;
    if (info.blockHeight == 0) info.blockHeight = kDefaultBlockSide;
    if (info.pixelType == OGDA_STRING && info.cellBytes == 0) info.cellBytes = kDefaultCellBytes;
    info.hasNoData = info.hasNoData ? 1 : 0;
    const Geometry g = GeometryOf(info);
    if (!g.valid) {
        SetError(err, fn, kBadArgument, nullptr,
                 L"Cannot create layer %s: %s (width %ld, height %ld, pixel type %ld, blocks "
                 L"%ld x %ld)",
                 name, g.problem.c_str(), static_cast<long>(info.width),
                 static_cast<long>(info.height), static_cast<long>(info.pixelType),
                 static_cast<long>(info.blockWidth), static_cast<long>(info.blockHeight));
        return nullptr;
    }
    if (placement < OIMG_PLACE_AUTO || placement > OIMG_PLACE_COMPANION) {
        SetError(err, fn, kBadArgument, nullptr, L"Cannot create layer %s: placement %ld unknown",
                 name, placement);
        return nullptr;
    }
    // The pixel data counted whole, written or not: a layer that would carry the file past
    // the threshold once filled goes to a companion file from the start.
    const bool external = placement == OIMG_PLACE_COMPANION ||
                          (placement == OIMG_PLACE_AUTO &&
                           file->fileEnd + g.blockCount * g.blockBytes > file->companionThreshold);
    Oimg_LayerStorage defaults{};
    oimg_LayerStorageInit(&defaults);
    if (external && !storage) storage = &defaults;
    Oimg_LayerStorage settled{};
    std::wstring problem;
    if (storage && !SettleStorage(settled = *storage, info.pixelType, problem)) {
        SetError(err, fn, kBadArgument, nullptr,
                 L"Cannot create layer %s: %s (codec %ld, level %ld, predictor %ld, checksum %ld)",
                 name, problem.c_str(), static_cast<long>(storage->codec),
                 static_cast<long>(storage->level), static_cast<long>(storage->predictor),
                 static_cast<long>(storage->checksum));
        return nullptr;
    }
    const std::wstring path = Child(parentPath, name);
    if (PeekEntry(file, path, nullptr, err) != 0) {
        SetError(err, fn, kExists, err ? *err : nullptr, L"Node %s already exists", path.c_str());
        return nullptr;
    }
    const Omif_Design *design = LayerDesign(err);
    if (!design || ohfa_ObjectWrite(file, parentPath.c_str(), name, kLayerType,
                                    OHFA_WRITE_LAST_CHILD, &info, design, err) != 0) {
        SetError(err, fn, kWriteFailed, *err, L"Cannot write the record of layer %s", path.c_str());
        return nullptr;
    }
    if (storage) {
        // The companion file exists, whole, before any record names it.
        hfa::CompanionRecord companion;
        if ((external && !hfa::CreateCompanion(file, companion, err, fn)) ||
            !CreateCodedStore(file, path, g, settled, external ? &companion : nullptr, err, fn))
            return nullptr;
        return OpenLayer(file, path, err, fn);
    }
    Ohfa_Cache *cache =
        ohfa_CacheCreate(file, path.c_str(), kBlocksName, static_cast<long>(g.blockBytes),
                         static_cast<long>(g.blockCount), err);
    if (!cache || ohfa_CacheClose(cache, err) != 0) {
        SetError(err, fn, kStoreFailed, *err, L"Cannot create the blocks of layer %s",
                 path.c_str());
        return nullptr;
    }
    return OpenLayer(file, path, err, fn);
}

bool CloseLayer(Oimg_Layer *layer, Oerr_ErrorReport **err, const wchar_t *fn) {
    const bool ok = CloseStore(layer, err, fn);
    if (!ok)
        SetError(err, fn, kStoreFailed, *err, L"Cannot write the blocks of layer %s",
                 layer->path.c_str());
    delete layer;
    return ok;
}

} // namespace orvik::img

using namespace orvik::img;

extern "C" {

ORVIK_API long oimg_ImageCreate(Ohfa_File *file, const wchar_t *parentPath, const wchar_t *name,
                                Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"oimg_ImageCreate";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        if (!file || !name) {
            SetError(err, kFn, kBadArgument, nullptr, L"Invalid file or name");
            return -1;
        }
        const std::wstring path = Child(parentPath ? parentPath : L"/", name);
        const long exists = PeekEntry(file, path, nullptr, err);
        if (exists != 0) {
            SetError(err, kFn, kExists, *err, L"Node %s already exists", path.c_str());
            return -1;
        }
        if (ohfa_EntrySeek(file, OHFA_SEEK_PATH, parentPath ? parentPath : L"/", err) <= 0) {
            SetError(err, kFn, kNotFound, *err, L"nodePath %s not found",
                     parentPath ? parentPath : L"/");
            return -1;
        }
        if (ohfa_EntryWrite(file, OHFA_WRITE_LAST_CHILD, name, kImageType, err) != 0) {
            SetError(err, kFn, kWriteFailed, *err, L"ohfa_EntryWrite failed");
            return -1;
        }
        return 0;
    });
}

ORVIK_API Oimg_Layer *oimg_LayerCreate(Ohfa_File *file, const wchar_t *imagePath,
                                       const wchar_t *name, const Oimg_LayerInfo *info,
                                       Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"oimg_LayerCreate";
    if (err) *err = nullptr;
    return Guarded<Oimg_Layer *>(err, kFn, nullptr, [&]() -> Oimg_Layer * {
        if (!file || !imagePath || !name || !info) {
            SetError(err, kFn, kBadArgument, nullptr, L"Invalid file, path, name or record");
            return nullptr;
        }
        return CreateLayer(file, imagePath, name, *info, err, kFn);
    });
}

ORVIK_API Oimg_Layer *oimg_LayerOpen(Ohfa_File *file, const wchar_t *layerPath,
                                     Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"oimg_LayerOpen";
    if (err) *err = nullptr;
    return Guarded<Oimg_Layer *>(err, kFn, nullptr, [&]() -> Oimg_Layer * {
        if (!file || !layerPath) {
            SetError(err, kFn, kBadArgument, nullptr, L"Invalid file or path");
            return nullptr;
        }
        return OpenLayer(file, layerPath, err, kFn);
    });
}

ORVIK_API long oimg_LayerDelete(Ohfa_File *file, const wchar_t *layerPath, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"oimg_LayerDelete";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        if (!file || !layerPath) {
            SetError(err, kFn, kBadArgument, nullptr, L"Invalid file or path");
            return -1;
        }
        // Only the entry's type is checked: the delete reads nothing of the layer (a layer
        // whose record, store or companion file is damaged or missing must still go). The
        // entry delete returns the blocks of every store below it, overviews' included, and
        // removes their companion files once nothing names them.
        Ohfa_Entry e{};
        const long found = PeekEntry(file, layerPath, &e, err);
        if (found <= 0) {
            SetError(err, kFn, kNotFound, found < 0 ? *err : nullptr, L"Layer %s not found",
                     layerPath);
            return -1;
        }
        if (!IsLayerEntry(e)) {
            SetError(err, kFn, kBadRecord, nullptr, L"Entry %s is not a raster layer", layerPath);
            return -1;
        }
        if (ohfa_ObjectDelete(file, layerPath, OHFA_SEEK_PATH, err) == 0) return 0;
        SetError(err, kFn, kWriteFailed, *err, L"Cannot delete layer %s", layerPath);
        return -1;
    });
}

ORVIK_API long oimg_LayerClose(Oimg_Layer *layer, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"oimg_LayerClose";
    if (err) *err = nullptr;
    if (!layer) return 0;
    return Guarded<long>(err, kFn, -1,
                         [&]() -> long { return CloseLayer(layer, err, kFn) ? 0 : -1; });
}

ORVIK_API long oimg_LayerFlush(Oimg_Layer *layer, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"oimg_LayerFlush";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        if (!layer) {
            SetError(err, kFn, kBadArgument, nullptr, L"Invalid layer");
            return -1;
        }
        if (FlushStore(layer, err, kFn)) return 0;
        SetError(err, kFn, kStoreFailed, *err, L"Cannot write the blocks of layer %s",
                 layer->path.c_str());
        return -1;
    });
}

ORVIK_API const Oimg_LayerInfo *oimg_LayerInfoGet(const Oimg_Layer *layer) ORVIK_NOEXCEPT {
    return layer ? &layer->info : nullptr;
}

ORVIK_API const wchar_t *oimg_LayerPathGet(const Oimg_Layer *layer) ORVIK_NOEXCEPT {
    return layer ? layer->path.c_str() : nullptr;
}

ORVIK_API Ohfa_Cache *oimg_LayerCacheGet(Oimg_Layer *layer) ORVIK_NOEXCEPT {
    return layer ? layer->cache : nullptr;
}

} // extern "C"
