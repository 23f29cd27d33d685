// The exported functions of companion data files: creating a layer with its place chosen,
// the file's threshold, and the companion file of an open layer.
#include "core/guard.hpp"
#include "hfa/file.hpp"
#include "img/coded_store.hpp"
#include "img/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using namespace orvik::img;

extern "C" {

ORVIK_API Oimg_Layer *oimg_LayerCreatePlaced(Ohfa_File *file, const wchar_t *imagePath,
                                             const wchar_t *name, const Oimg_LayerInfo *info,
                                             const Oimg_LayerStorage *storage, long placement,
                                             Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"oimg_LayerCreatePlaced";
    if (err) *err = nullptr;
    return Guarded<Oimg_Layer *>(err, kFn, nullptr, [&]() -> Oimg_Layer * {
        if (!file || !imagePath || !name || !info) {
            SetError(err, kFn, kBadArgument, nullptr, L"Invalid file, path, name or record");
            return nullptr;
        }
        return CreateLayer(file, imagePath, name, *info, err, kFn, storage, placement);
    });
}

ORVIK_API long oimg_CompanionThresholdSet(Ohfa_File *file, int64_t bytes, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"oimg_CompanionThresholdSet";
    if (err) *err = nullptr;
    if (!file || bytes < 0) {
        SetError(err, kFn, kBadArgument, nullptr, L"Invalid file or threshold %lld",
                 static_cast<long long>(bytes));
        return -1;
    }
    file->companionThreshold = bytes;
    return 0;
}

ORVIK_API int64_t oimg_CompanionThresholdGet(const Ohfa_File *file) ORVIK_NOEXCEPT {
    return file ? file->companionThreshold : -1;
}

ORVIK_API const wchar_t *oimg_LayerCompanionPathGet(const Oimg_Layer *layer) ORVIK_NOEXCEPT {
    if (!layer || !layer->coded || !layer->coded->companion) return nullptr;
    return layer->coded->companion->path.c_str();
}

} // extern "C"
