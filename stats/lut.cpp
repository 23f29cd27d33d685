// LUT records: create, copy, delete.
#include <cstring>

#include "core/guard.hpp"
#include "stats/ohst_records.hpp"
#include "stats/report.hpp"

using namespace orvik::stats;
using orvik::core::SetError;
using orvik::core::SetOutOfMemory;

extern "C" ORVIK_API Ohst_LUT *ohst_LUTCreate(int32_t inMax, int32_t outMax, int32_t nBreakPoints,
                                              Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"ohst_LUTCreate";
    if (err) {
        *err = nullptr;
    }
    if (inMax < 0 || inMax >= OHST_MAX_ENTRIES) {
        SetError(err, kFn, kLutBadInMax, nullptr, L"Bad inMax %ld (0 to %ld allowed)", long{inMax},
                 long{OHST_MAX_ENTRIES - 1});
        return nullptr;
    }
    if (outMax < 0) {
        SetError(err, kFn, kLutBadOutMax, nullptr, L"Bad outMax %ld", long{outMax});
        return nullptr;
    }
    if (nBreakPoints < 0 || nBreakPoints > OHST_MAX_ENTRIES) {
        SetError(err, kFn, kLutBadBreakPointCount, nullptr,
                 L"Bad number of breakpoints %ld (0 to %ld allowed)", long{nBreakPoints},
                 long{OHST_MAX_ENTRIES});
        return nullptr;
    }
    auto *lut = static_cast<Ohst_LUT *>(omsc_HeapMalloc(sizeof(Ohst_LUT)));
    int32_t *table = HeapArray<int32_t>(int64_t{inMax} + 1);
    Ohst_BreakPoint *points = HeapArray<Ohst_BreakPoint>(nBreakPoints);
    if (!lut || !table || (nBreakPoints > 0 && !points)) {
        omsc_HeapFree(lut);
        omsc_HeapFree(table);
        omsc_HeapFree(points);
        SetOutOfMemory(err, kFn);
        return nullptr;
    }
    lut->nBreakPoints = nBreakPoints;
    lut->breakPoints = points;
    lut->table = table;
    lut->inMax = inMax;
    lut->outMax = outMax;
    return lut;
}

extern "C" ORVIK_API Ohst_LUT *ohst_LUTCopy(const Ohst_LUT *source, Ohst_LUT *destination,
                                            Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"ohst_LUTCopy";
    if (err) {
        *err = nullptr;
    }
    if (!IsValidLut(source)) {
        SetError(err, kFn, kOhstBadArgument, nullptr, L"Bad source LUT");
        return nullptr;
    }
    if (source == destination) {
        return destination;
    }
    const int32_t count = source->nBreakPoints;
    const int64_t entries = int64_t{source->inMax} + 1;
    Ohst_LUT *out =
        destination ? destination : static_cast<Ohst_LUT *>(omsc_HeapMalloc(sizeof(Ohst_LUT)));
    int32_t *table = HeapArray<int32_t>(entries);
    Ohst_BreakPoint *points = HeapArray<Ohst_BreakPoint>(count);
    if (!out || !table || (count > 0 && !points)) {
        if (out != destination) {
            omsc_HeapFree(out);
        }
        omsc_HeapFree(table);
        omsc_HeapFree(points);
        SetOutOfMemory(err, kFn);
        return nullptr;
    }
    std::memcpy(table, source->table, sizeof(int32_t) * entries);
    if (count > 0) {
        std::memcpy(points, source->breakPoints, sizeof(Ohst_BreakPoint) * count);
    }
    omsc_HeapFree(out->table);
    omsc_HeapFree(out->breakPoints);
    out->nBreakPoints = count;
    out->breakPoints = points;
    out->table = table;
    out->inMax = source->inMax;
    out->outMax = source->outMax;
    return out;
}

extern "C" ORVIK_API void ohst_LUTDelete(Ohst_LUT *lut) ORVIK_NOEXCEPT {
    if (lut) {
        omsc_HeapFree(lut->breakPoints);
        omsc_HeapFree(lut->table);
        omsc_HeapFree(lut);
    }
}
