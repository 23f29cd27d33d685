// Internal: how descriptor tables sit in an HFA file. The table is the entry
// "Descriptor_Table" (design "Odsc_Table") below its layer; each column is a child entry
// (design "Odsc_Column") whose record points at a separate block of fixed-size elements, so
// that any run of rows is one positioned transfer. See docs/hfa-format.md.
// Handles are used by one thread at a time, like the file they belong to.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <orvik/odsc.h>

namespace orvik::dsc {

constexpr const wchar_t *kTableDesign = L"Odsc_Table";
constexpr const wchar_t *kColumnDesign = L"Odsc_Column";
// The optional bin function of a table: its host record is Odsc_BinFunction itself.
constexpr const wchar_t *kBinFunctionDesign = L"Odsc_BinFunction";
constexpr const wchar_t *kBinFunctionEntry = L"#Bin_Function#";
// File sizes of the two records.
constexpr long kTableRecordSize = 4;
constexpr long kColumnRecordSize = 14;

// Host form of "Odsc_Table": l numRows.
struct TableRecord {
    int32_t numRows;
};

// Host form of "Odsc_Column": l numRows, L columnDataPtr, e dataType, l maxNumChars.
struct ColumnRecord {
    int32_t numRows;
    uint32_t columnDataPtr;
    int32_t dataType;    // Odsc_ColumnType
    int32_t maxNumChars; // bytes per string element, terminator included; 0 for numbers
};

// The shared designs (built once, owned by the module); null with a report of `fn`.
const Omif_Design *StoreDesign(const wchar_t *name, const wchar_t *fn, Oerr_ErrorReport **err);

// Bytes one element of the column takes in its data block.
inline int64_t ElementSize(const ColumnRecord &r) {
    switch (r.dataType) {
    case ODSC_COLUMN_INTEGER:
        return 4;
    case ODSC_COLUMN_REAL:
        return 8;
    case ODSC_COLUMN_STRING:
        return r.maxNumChars;
    default:
        return 0;
    }
}

// The column record in file form, from raw bytes: false when the byte count is not the
// record's, or any field cannot belong to a sound column of a table of `tableRows` rows in a
// file of `fileSize` bytes (a column may hold more rows than its table, never fewer).
bool DecodeColumnRecord(const unsigned char *bytes, long count, int32_t tableRows, int64_t fileSize,
                        ColumnRecord &out);
// The table record; false unless it holds 1 to ODSC_MAX_BINS rows.
bool DecodeTableRecord(const unsigned char *bytes, long count, TableRecord &out);

} // namespace orvik::dsc

struct Odsc_Table_ {
    uint32_t magic;
    Ohfa_File *file;
    std::wstring tablePath; // node path of the table entry
    int32_t numRows;
    std::vector<Odsc_Column_ *> open;
};

struct Odsc_Column_ {
    uint32_t magic;
    Odsc_Table *table;
    std::wstring name;
    std::wstring path; // node path of the column entry
    orvik::dsc::ColumnRecord record;
};

namespace orvik::dsc {

constexpr uint32_t kTableMagic = 0x4f445442;  // "ODTB"
constexpr uint32_t kColumnMagic = 0x4f44434c; // "ODCL"

inline bool IsTable(const Odsc_Table *t) { return t && t->magic == kTableMagic; }
inline bool IsColumn(const Odsc_Column *c) { return c && c->magic == kColumnMagic; }

// Handles live in library-heap blocks; null on exhaustion.
template <class T> T *NewHandle() {
    void *p = omsc_HeapMalloc(sizeof(T));
    return p ? new (p) T{} : nullptr;
}
template <class T> void FreeHandle(T *h) {
    if (!h) return;
    h->magic = 0;
    h->~T();
    omsc_HeapFree(h);
}

// Reads the column entry at `path` and checks it (reports under `fn`). found is false when
// there is no entry of that name; a damaged record is an error.
bool ReadColumnRecord(Odsc_Table *table, const std::wstring &path, const std::wstring &name,
                      bool &found, ColumnRecord &out, Oerr_ErrorReport **err, const wchar_t *fn);

// Writes the column record into its existing entry (in place; the size never changes).
bool RewriteColumnRecord(Odsc_Table *table, const std::wstring &path, const ColumnRecord &r,
                         Oerr_ErrorReport **err, const wchar_t *fn);

// A new data block of `rows` elements of `elementSize` bytes: the first `keepRows` rows are
// copied from the block at `from` (0: none), the rest zero. Returns its position, 0 on
// failure.
uint32_t NewDataBlock(Ohfa_File *file, int64_t rows, int64_t elementSize, uint32_t from,
                      int64_t fromElementSize, int64_t keepRows, Oerr_ErrorReport **err,
                      const wchar_t *fn);

// Returns a data block to the free list; a failure only leaks the block and is printed.
void ReleaseDataBlock(Ohfa_File *file, uint32_t position, int64_t size);

} // namespace orvik::dsc
