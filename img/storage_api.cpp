// The exported functions of coded layers: creating one with a storage record, its record,
// its stored size and the check of every block.
#include "core/guard.hpp"
#include "hfa/file.hpp"
#include "img/coded_store.hpp"
#include "img/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using namespace orvik::img;

extern "C" {

ORVIK_API void oimg_LayerStorageInit(Oimg_LayerStorage *storage) ORVIK_NOEXCEPT {
    if (!storage) return;
    *storage = Oimg_LayerStorage{};
    storage->checksum = OIMG_CHECKSUM_XXH3;
}

ORVIK_API Oimg_Layer *oimg_LayerCreateWithStorage(Ohfa_File *file, const wchar_t *imagePath,
                                                  const wchar_t *name, const Oimg_LayerInfo *info,
                                                  const Oimg_LayerStorage *storage,
                                                  Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"oimg_LayerCreateWithStorage";
    if (err) *err = nullptr;
    return Guarded<Oimg_Layer *>(err, kFn, nullptr, [&]() -> Oimg_Layer * {
        if (!file || !imagePath || !name || !info) {
            SetError(err, kFn, kBadArgument, nullptr, L"Invalid file, path, name or record");
            return nullptr;
        }
        return CreateLayer(file, imagePath, name, *info, err, kFn, storage);
    });
}

ORVIK_API long oimg_LayerStorageGet(const Oimg_Layer *layer, Oimg_LayerStorage *storage,
                                    Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"oimg_LayerStorageGet";
    if (err) *err = nullptr;
    if (!layer || !storage) {
        SetError(err, kFn, kStorageBadArgument, nullptr, L"Invalid layer or storage record");
        return -1;
    }
    *storage = layer->coded ? layer->coded->storage : Oimg_LayerStorage{};
    return layer->coded ? 1 : 0;
}

ORVIK_API long oimg_LayerStoredBytes(Oimg_Layer *layer, int64_t *stored, int64_t *decoded,
                                     Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"oimg_LayerStoredBytes";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        if (!layer) {
            SetError(err, kFn, kStorageBadArgument, nullptr, L"Invalid layer");
            return -1;
        }
        if (!FlushStore(layer, err, kFn)) {
            SetError(err, kFn, kStorageReadFailed, *err, L"Cannot write the blocks of layer %s",
                     layer->path.c_str());
            return -1;
        }
        int64_t s = 0, d = 0;
        if (layer->coded) {
            for (const auto &slot : layer->coded->index.slots)
                if (slot.at != 0) {
                    s += slot.size;
                    d += layer->geometry.blockBytes;
                }
        } else {
            const Ohfa_CacheNode *n = ohfa_CacheNodeGet(layer->cache);
            for (int32_t b = 0; b < n->blockcount; ++b)
                if (ohfa_CacheBlockIsStored(layer->cache, b)) s = d += n->blocksize;
        }
        if (stored) *stored = s;
        if (decoded) *decoded = d;
        return 0;
    });
}

ORVIK_API long oimg_LayerCheck(Oimg_Layer *layer, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"oimg_LayerCheck";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        if (!layer) {
            SetError(err, kFn, kStorageBadArgument, nullptr, L"Invalid layer");
            return -1;
        }
        return CheckStore(layer, err, kFn);
    });
}

} // extern "C"
