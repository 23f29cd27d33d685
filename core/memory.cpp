// Small memory utilities of the library heap: copies, duplicates, byte swapping, sub-byte
// repacking, the page size and the free helpers. All functions are thread-safe.
#include <cstdint>
#include <cstring>
#include <mutex>

#include <orvik/oerr.h>
#include <orvik/omsc.h>

namespace {

constexpr long kPageSize = 4096;
constexpr long kRepackArgsNumber = 629;
constexpr long kRepackUnsupportedNumber = 657;

std::mutex gPageSizeMutex;
long gPageSize = 0;

// omsc_MemRepack has no report argument: it prints its report and deletes it.
void PrintRepackReport(long number, const wchar_t *message) {
    Oerr_ErrorReport *report =
        oerr_CreateErrorReport(L"omsc_MemRepack", number, OERR_KIND_ERROR, nullptr, L"%s", message);
    oerr_PrintErrorReport(report, OERR_REPORT_FULL);
    oerr_DeleteErrorReportEx(&report);
}

// Units are packed most significant first within a byte.
void Unpack(std::uint8_t *dest, const std::uint8_t *src, unsigned unitBits, long count) {
    const unsigned perByte = 8 / unitBits;
    const unsigned mask = (1u << unitBits) - 1;
    for (long i = 0; i < count; ++i) {
        const unsigned k = static_cast<unsigned>(i % perByte);
        dest[i] = static_cast<std::uint8_t>((src[i / perByte] >> (8 - unitBits * (k + 1))) & mask);
    }
}

// Every destination byte is written whole; unused low bits of a trailing byte are zero.
void Pack(std::uint8_t *dest, const std::uint8_t *src, unsigned unitBits, long count) {
    const unsigned perByte = 8 / unitBits;
    const unsigned mask = (1u << unitBits) - 1;
    unsigned acc = 0;
    for (long i = 0; i < count; ++i) {
        const unsigned k = static_cast<unsigned>(i % perByte);
        acc |= (src[i] & mask) << (8 - unitBits * (k + 1));
        if (k == perByte - 1 || i == count - 1) {
            dest[i / perByte] = static_cast<std::uint8_t>(acc);
            acc = 0;
        }
    }
}

template <class U> void SwapEach(unsigned char *p, long count, U (*swap)(U)) {
    for (long i = 0; i < count; ++i, p += sizeof(U)) {
        U v;
        std::memcpy(&v, p, sizeof v);
        v = swap(v);
        std::memcpy(p, &v, sizeof v);
    }
}
std::uint16_t Swap16(std::uint16_t v) { return __builtin_bswap16(v); }
std::uint32_t Swap32(std::uint32_t v) { return __builtin_bswap32(v); }
std::uint64_t Swap64(std::uint64_t v) { return __builtin_bswap64(v); }

} // namespace

extern "C" {

ORVIK_API void *omsc_MemCpy(void *dest, const void *src, size_t count) ORVIK_NOEXCEPT {
    if (dest && src && count) std::memcpy(dest, src, count);
    return dest;
}

ORVIK_API void *omsc_MemMove(void *dest, const void *src, size_t count) ORVIK_NOEXCEPT {
    if (dest && src && count) std::memmove(dest, src, count);
    return dest;
}

// The heap takes signed 32-bit sizes, so a larger count cannot be duplicated.
ORVIK_API void *omsc_MemDup(const void *src, size_t count) ORVIK_NOEXCEPT {
    if (!src || count == 0 || count > INT32_MAX) return nullptr;
    void *copy = omsc_HeapMalloc(static_cast<int32_t>(count));
    if (copy) std::memcpy(copy, src, count);
    return copy;
}

// Sizes 2, 4 and 8 are true reversals. Any other size exchanges each element's first size/2
// bytes with the bytes counting back from element start + count - 1: the element count, not
// the size, fixes the mirror point. That is a reversal only when count equals size and is
// kept so on purpose for the callers that rely on it. An exchange whose partner byte lies
// outside the buffer (count * size bytes) is skipped.
ORVIK_API void omsc_MemSwab(void *buffer, long count, long size) ORVIK_NOEXCEPT {
    if (!buffer || count <= 0 || size <= 0) return;
    auto *p = static_cast<unsigned char *>(buffer);
    long total;
    if (__builtin_mul_overflow(count, size, &total)) return;
    switch (size) {
    case 2:
        SwapEach(p, count, Swap16);
        return;
    case 4:
        SwapEach(p, count, Swap32);
        return;
    case 8:
        SwapEach(p, count, Swap64);
        return;
    default:
        break;
    }
    for (long start = 0; start < total; start += size) {
        for (long j = 0; j < size / 2; ++j) {
            const long partner = start + count - 1 - j;
            if (partner < 0 || partner >= total) continue;
            std::swap(p[start + j], p[partner]);
        }
    }
}

// Returns 0 on success, 1 on failure (after printing the report). A negative unit count is
// treated as a bad argument.
ORVIK_API long omsc_MemRepack(void *dest, long destUnitBits, long destPackageBits, const void *src,
                              long srcUnitBits, long srcPackageBits, long unitCount)
    ORVIK_NOEXCEPT {
    if (unitCount == 0) return 0;
    if (!dest || !src || unitCount < 0 || srcUnitBits > srcPackageBits ||
        destUnitBits > destPackageBits) {
        PrintRepackReport(kRepackArgsNumber, L"Args");
        return 1;
    }
    auto *d = static_cast<std::uint8_t *>(dest);
    const auto *s = static_cast<const std::uint8_t *>(src);
    const auto subByte = [](long bits) { return bits == 4 || bits == 2 || bits == 1; };
    if (destUnitBits == 8 && destPackageBits == 8 && srcPackageBits == 8 && subByte(srcUnitBits)) {
        Unpack(d, s, static_cast<unsigned>(srcUnitBits), unitCount);
        return 0;
    }
    if (srcUnitBits == 8 && srcPackageBits == 8 && destPackageBits == 8 && subByte(destUnitBits)) {
        Pack(d, s, static_cast<unsigned>(destUnitBits), unitCount);
        return 0;
    }
    PrintRepackReport(kRepackUnsupportedNumber, L"Unit or package size params not yet supported");
    return 1;
}

// Fixed by design rather than asked of the system, so that every host routes the same
// request sizes to the big heap.
ORVIK_API long omsc_MemPageSizeGet(void) ORVIK_NOEXCEPT {
    std::lock_guard<std::mutex> guard(gPageSizeMutex);
    if (gPageSize == 0) gPageSize = kPageSize;
    return gPageSize;
}

ORVIK_API void omsc_HeapFreeEx(void **block) ORVIK_NOEXCEPT {
    if (!block) return;
    omsc_HeapFree(*block);
    *block = nullptr;
}

ORVIK_API void omsc_FreeFunc(void *block) ORVIK_NOEXCEPT {
    if (block) omsc_HeapFree(block);
}

ORVIK_API void omsc_FreePtrFunc(void **block) ORVIK_NOEXCEPT {
    if (block) omsc_HeapFree(*block);
}

// The arena keeps no statistics to print or report, and is never torn down while the
// process may still hold its blocks.
ORVIK_API void omsc_HeapBigExit(void) ORVIK_NOEXCEPT {}
ORVIK_API void omsc_HeapPrint(void) ORVIK_NOEXCEPT {}
ORVIK_API long omsc_HeapInfo(void) ORVIK_NOEXCEPT { return 0; }

} // extern "C"
