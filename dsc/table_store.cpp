// The file side of descriptor tables: the two record designs, the checks every record read
// from a file passes before it is used, and the data blocks of columns.
#include "dsc/table_store.hpp"

#include <algorithm>
#include <cstring>

#include "core/guard.hpp"
#include "dsc/report.hpp"

using orvik::core::SetError;

namespace orvik::dsc {

namespace {

const wchar_t *const kTypeNames[] = {L"integer", L"real", L"string", nullptr};

const Omif_ItemDescription kTableItems[] = {OMIF_FIELD(OMIF_ITEM_LONG, L"numRows", 1),
                                            OMIF_TABLE_END};
const Omif_ItemDescription kColumnItems[] = {
    OMIF_FIELD(OMIF_ITEM_LONG, L"numRows", 1), OMIF_FIELD(OMIF_ITEM_ULONG, L"columnDataPtr", 1),
    OMIF_FIELD_ENUM(L"dataType", kTypeNames), OMIF_FIELD(OMIF_ITEM_LONG, L"maxNumChars", 1),
    OMIF_TABLE_END};
const wchar_t *const kKindNames[] = {L"direct",   L"linear", L"logarithmic",
                                     L"explicit", L"unique", nullptr};
const Omif_ItemDescription kBinFunctionItems[] = {
    OMIF_FIELD(OMIF_ITEM_LONG, L"numBins", 1),
    OMIF_FIELD_ENUM(L"binFunctionType", kKindNames),
    OMIF_FIELD(OMIF_ITEM_DOUBLE, L"minLimit", 1),
    OMIF_FIELD(OMIF_ITEM_DOUBLE, L"maxLimit", 1),
    OMIF_FIELD_PTR(OMIF_ITEM_BASEDATA, L"binLimits", 1),
    OMIF_TABLE_END};
const Omif_DesignTable kDesigns[] = {{kTableDesign, kTableItems},
                                     {kColumnDesign, kColumnItems},
                                     {kBinFunctionDesign, kBinFunctionItems},
                                     {nullptr, nullptr}};

Omif_BuiltinDesigns g_designs = OMIF_BUILTIN_DESIGNS(kDesigns, nullptr);

uint32_t U32(const unsigned char *b) {
    return uint32_t{b[0]} | uint32_t{b[1]} << 8 | uint32_t{b[2]} << 16 | uint32_t{b[3]} << 24;
}

// The first bytes of a file belong to the header tag; no data block starts there.
constexpr int64_t kFirstDataByte = 20;
// Zeros are written in pieces of this size, so a large new block costs little memory.
constexpr int64_t kChunk = 1 << 16;

} // namespace

const Omif_Design *StoreDesign(const wchar_t *name, const wchar_t *fn, Oerr_ErrorReport **err) {
    Oerr_ErrorReport *inner = nullptr;
    const Omif_Design *d = omif_BuiltinDesignFetch(&g_designs, name, &inner);
    if (!d) SetError(err, fn, kStoreDesignMissing, inner, L"Design %s is not available", name);
    return d;
}

bool DecodeTableRecord(const unsigned char *bytes, long count, TableRecord &out) {
    if (!bytes || count != kTableRecordSize) return false;
    out.numRows = static_cast<int32_t>(U32(bytes));
    return out.numRows >= 1 && out.numRows <= ODSC_MAX_BINS;
}

bool DecodeColumnRecord(const unsigned char *bytes, long count, int32_t tableRows, int64_t fileSize,
                        ColumnRecord &out) {
    if (!bytes || count != kColumnRecordSize) return false;
    ColumnRecord r{};
    r.numRows = static_cast<int32_t>(U32(bytes));
    r.columnDataPtr = U32(bytes + 4);
    r.dataType = bytes[8] | bytes[9] << 8;
    r.maxNumChars = static_cast<int32_t>(U32(bytes + 10));
    if (r.numRows < tableRows || r.numRows > ODSC_MAX_BINS) return false;
    if (r.dataType == ODSC_COLUMN_STRING) {
        if (r.maxNumChars < 1 || r.maxNumChars > ODSC_MAX_STRING_BYTES) return false;
    } else if (r.dataType != ODSC_COLUMN_INTEGER && r.dataType != ODSC_COLUMN_REAL) {
        return false;
    } else if (r.maxNumChars != 0) {
        return false;
    }
    const int64_t end = int64_t{r.columnDataPtr} + r.numRows * ElementSize(r);
    if (r.columnDataPtr < kFirstDataByte || end > fileSize) return false;
    out = r;
    return true;
}

bool ReadColumnRecord(Odsc_Table *table, const std::wstring &path, const std::wstring &name,
                      bool &found, ColumnRecord &out, Oerr_ErrorReport **err, const wchar_t *fn) {
    found = false;
    long count = 0;
    auto *bytes = static_cast<unsigned char *>(
        ohfa_ObjectDataReadIfPresent(table->file, path.c_str(), OHFA_SEEK_PATH, &count, err));
    if (*err) {
        SetError(err, fn, kStoreReadFailed, *err, L"Cannot read column \"%s\"", name.c_str());
        return false;
    }
    Ohfa_Entry entry{};
    const bool exists =
        bytes || ohfa_EntryPeek(table->file, OHFA_SEEK_PATH, path.c_str(), &entry, nullptr) > 0;
    if (!exists) return true;
    found = true;
    if (bytes) ohfa_EntryCurrentGet(table->file, &entry, nullptr);
    const long fileSize = ohfa_FileSize(table->file, nullptr);
    const bool sound = std::strcmp(entry.type, "Odsc_Column") == 0 &&
                       DecodeColumnRecord(bytes, count, table->numRows, fileSize, out);
    omsc_HeapFree(bytes);
    if (!sound)
        SetError(err, fn, kStoreDamaged, nullptr, L"Column \"%s\" is damaged", name.c_str());
    return sound;
}

bool RewriteColumnRecord(Odsc_Table *table, const std::wstring &path, const ColumnRecord &r,
                         Oerr_ErrorReport **err, const wchar_t *fn) {
    const Omif_Design *design = StoreDesign(kColumnDesign, fn, err);
    if (!design) return false;
    if (ohfa_ObjectWrite(table->file, path.c_str(), nullptr, nullptr, OHFA_WRITE_CURRENT, &r,
                         design, err) == 0)
        return true;
    SetError(err, fn, kStoreRecordWriteFailed, *err, L"Cannot write the record of column %s",
             path.c_str());
    return false;
}

uint32_t NewDataBlock(Ohfa_File *file, int64_t rows, int64_t elementSize, uint32_t from,
                      int64_t fromElementSize, int64_t keepRows, Oerr_ErrorReport **err,
                      const wchar_t *fn) {
    const int64_t size = rows * elementSize;
    if (size <= 0 || size > 0x7FFFFFFF) {
        SetError(err, fn, kStoreTooLarge, nullptr, L"A column of %ld bytes does not fit in a file",
                 static_cast<long>(size));
        return 0;
    }
    const uint32_t at = ohfa_NextFreePos(file, static_cast<long>(size), err);
    if (at == 0) {
        SetError(err, fn, kStoreNoSpace, *err, L"ohfa_NextFreePos failed");
        return 0;
    }
    // Filled in pieces: kept rows converted to the new element width, the rest zero.
    const int64_t rowsPerChunk = std::max<int64_t>(1, kChunk / elementSize);
    std::vector<unsigned char> out, in;
    for (int64_t row = 0; row < rows; row += rowsPerChunk) {
        const int64_t n = std::min(rowsPerChunk, rows - row);
        out.assign(static_cast<size_t>(n * elementSize), 0);
        const int64_t kept = std::clamp<int64_t>(keepRows - row, 0, n);
        if (from != 0 && kept > 0) {
            in.resize(static_cast<size_t>(kept * fromElementSize));
            if (ohfa_FileMIFDataRead(file, static_cast<long>(from + row * fromElementSize),
                                     static_cast<long>(in.size()), in.data(),
                                     err) != static_cast<long>(in.size())) {
                SetError(err, fn, kStoreDataReadFailed, *err, L"Cannot read column data");
                ReleaseDataBlock(file, at, size);
                return 0;
            }
            const int64_t width = std::min(elementSize, fromElementSize);
            for (int64_t i = 0; i < kept; ++i)
                std::memcpy(&out[static_cast<size_t>(i * elementSize)],
                            &in[static_cast<size_t>(i * fromElementSize)],
                            static_cast<size_t>(width));
        }
        if (ohfa_FileMIFDataWrite(file, static_cast<long>(at + row * elementSize),
                                  static_cast<long>(out.size()), out.data(),
                                  err) != static_cast<long>(out.size())) {
            SetError(err, fn, kStoreDataWriteFailed, *err, L"Cannot write column data");
            ReleaseDataBlock(file, at, size);
            return 0;
        }
    }
    return at;
}

void ReleaseDataBlock(Ohfa_File *file, uint32_t position, int64_t size) {
    Oerr_ErrorReport *e = nullptr;
    if (ohfa_FreeSpace(file, position, static_cast<long>(size), &e) == 0) return;
    Oerr_ErrorReport *wrapped =
        oerr_CreateErrorReport(nullptr, 0, OERR_KIND_PLAIN, e, L"A column block stays unused");
    oerr_PrintErrorReport(wrapped, OERR_REPORT_FULL);
    oerr_DeleteErrorReportEx(&wrapped);
}

} // namespace orvik::dsc
