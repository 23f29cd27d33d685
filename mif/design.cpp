// Exported design functions: destroy, copy and narrow/wide conversion.
#include <orvik/omif.h>

#include "core/guard.hpp"
#include "mif/design_tree.hpp"
#include "mif/layout.hpp"
#include "mif/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using orvik::core::SetOutOfMemory;
using orvik::mif::CopyStatus;
using namespace orvik::mif;

namespace {

template <class R>
R *CopyFailed(CopyStatus status, const wchar_t *function, Oerr_ErrorReport **err) {
    if (status == CopyStatus::kBadText) {
        SetError(err, function, kDesignUnconvertibleName, nullptr,
                 L"A name of the design cannot be converted");
    } else {
        SetOutOfMemory(err, function);
    }
    return nullptr;
}

} // namespace

extern "C" {

ORVIK_API void omif_DesignDestroy(Omif_Design *design, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    orvik::mif::DestroyDesign(design);
}

ORVIK_API void omif_DesignDelete(Omif_Design **design, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    if (!design) return;
    orvik::mif::DestroyDesign(*design);
    *design = nullptr;
}

ORVIK_API void omif_DesignDestroyA(Omif_DesignA *design, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    orvik::mif::DestroyDesign(design);
}

ORVIK_API Omif_Design *omif_DesignCopy(const Omif_Design *design, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    static const wchar_t *const kName = L"omif_DesignCopy";
    if (!design) {
        SetError(err, kName, kDesignNoDesign, nullptr, L"NULL design");
        return nullptr;
    }
    CopyStatus status;
    Omif_Design *copy = orvik::mif::CopyDesign(design, status);
    return copy ? copy : CopyFailed<Omif_Design>(status, kName, err);
}

ORVIK_API Omif_Design *omif_DesignA2U(const Omif_DesignA *design, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    static const wchar_t *const kName = L"omif_DesignA2U";
    return Guarded<Omif_Design *>(err, kName, nullptr, [&]() -> Omif_Design * {
        if (!design) {
            SetError(err, kName, kDesignNoDesign, nullptr, L"NULL design");
            return nullptr;
        }
        CopyStatus status;
        Omif_Design *wide = orvik::mif::WidenDesign(design, status);
        if (!wide) return CopyFailed<Omif_Design>(status, kName, err);
        // A narrow design may have been put together by hand; its sizes are recomputed.
        bool laidOut;
        try {
            laidOut = orvik::mif::SetSizes(wide, err);
        } catch (...) {
            orvik::mif::DestroyDesign(wide);
            throw;
        }
        if (!laidOut) {
            SetError(err, kName, kDesignSizesFailed, err ? *err : nullptr, L"SetSizes failed");
            orvik::mif::DestroyDesign(wide);
            return nullptr;
        }
        return wide;
    });
}

ORVIK_API Omif_DesignA *omif_DesignU2A(const Omif_Design *design, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    static const wchar_t *const kName = L"omif_DesignU2A";
    if (!design) {
        SetError(err, kName, kDesignNoDesign, nullptr, L"NULL design");
        return nullptr;
    }
    CopyStatus status;
    Omif_DesignA *narrow = orvik::mif::NarrowDesign(design, status);
    return narrow ? narrow : CopyFailed<Omif_DesignA>(status, kName, err);
}

} // extern "C"
