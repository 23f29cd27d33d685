// Decoding a stored data block into a host record of its design.
#include "hfa/stored_data.hpp"

#include <vector>

#include "core/guard.hpp"
#include "hfa/file.hpp"
#include "hfa/report.hpp"

using orvik::core::SetError;

namespace orvik::hfa {

void HostRecord::Reset() {
    if (m_object) omif_ObjectFree(m_object, m_design, nullptr);
    m_object = nullptr;
    m_design = nullptr;
}

bool DecodeDataBlock(Ohfa_File *file, uint32_t position, int32_t size, const Omif_Design *design,
                     HostRecord &out, long &consumed, Oerr_ErrorReport **err, const wchar_t *fn) {
    consumed = 0;
    out.Reset();
    if (size < 0 || int64_t{position} + size > file->fileEnd) {
        SetError(err, fn, kStoredBeyondEnd, nullptr,
                 L"%ld bytes at %lu lie beyond the end of the file", static_cast<long>(size),
                 static_cast<unsigned long>(position));
        return false;
    }
    std::vector<unsigned char> bytes(static_cast<std::size_t>(size));
    if (size > 0 && !ReadAt(file, position, bytes.data(), size, err, fn)) return false;
    void *object = omif_ObjectAllocate(design, err);
    if (!object) {
        SetError(err, fn, kStoredNoRecord, err ? *err : nullptr, L"No host record for design %s",
                 design && design->name ? design->name : L"(null)");
        return false;
    }
    out.Adopt(object, design);
    Omif_Buffer buffer{bytes.data(), size, 0, static_cast<long>(position)};
    consumed = omif_ConvertToHost(nullptr, &buffer, design, object, err);
    if (err && *err) {
        SetError(err, fn, kStoredDecodeFailed, *err, L"omif_ConvertToHost failed");
        return false;
    }
    return true;
}

} // namespace orvik::hfa
