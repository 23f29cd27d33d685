// Window records: four 32-bit values (first row, first column, rows, columns).
#include <orvik/ogda.h>

#include "core/guard.hpp"
#include "gda/report.hpp"

using orvik::core::SetError;
using orvik::core::SetOutOfMemory;
using namespace orvik::gda;

extern "C" {

ORVIK_API Ogda_Window *ogda_WindowCreate(int32_t rOffset, int32_t cOffset, int32_t nRows,
                                         int32_t nColumns, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    auto *w = static_cast<Ogda_Window *>(omsc_HeapMalloc(sizeof(Ogda_Window)));
    if (!w) {
        SetOutOfMemory(err, L"ogda_WindowCreate");
        return nullptr;
    }
    *w = Ogda_Window{rOffset, cOffset, nRows, nColumns};
    return w;
}

ORVIK_API Ogda_Window *ogda_WindowCopy(const Ogda_Window *src, Ogda_Window *dst,
                                       Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const fn = L"ogda_WindowCopy";
    if (err) *err = nullptr;
    if (!src) {
        SetError(err, fn, kWindowNoSource, nullptr, L"Null source window");
        return nullptr;
    }
    if (!dst) {
        dst = static_cast<Ogda_Window *>(omsc_HeapMalloc(sizeof(Ogda_Window)));
        if (!dst) {
            SetOutOfMemory(err, fn);
            return nullptr;
        }
    }
    *dst = *src;
    return dst;
}

ORVIK_API void ogda_WindowDelete(Ogda_Window *window) ORVIK_NOEXCEPT { omsc_HeapFree(window); }

} // extern "C"
