// The toolkit's initialised flag (oint.h). One atomic: read without a lock by every module
// that checks it.
#include <atomic>

#include <orvik/oint.h>

namespace {
std::atomic<bool> g_initialised{false};
} // namespace

extern "C" {

ORVIK_API long oint_InitToolkit(Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    g_initialised.store(true, std::memory_order_release);
    return 0;
}

ORVIK_API Omsc_Boolean oint_GetInit(void) ORVIK_NOEXCEPT {
    return g_initialised.load(std::memory_order_acquire) ? OMSC_TRUE : OMSC_FALSE;
}

ORVIK_API void oint_DeInit(Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    g_initialised.store(false, std::memory_order_release);
}

} // extern "C"
