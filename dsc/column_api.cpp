// Descriptor-table columns: exist, open, create, read, write, close. A column's rows are one
// fixed-size element each in its data block, so a run of rows is one positioned transfer.
#include <algorithm>
#include <cstring>

#include <orvik/ofnp.h>

#include "core/guard.hpp"
#include "dsc/column_values.hpp"
#include "dsc/report.hpp"
#include "dsc/table_store.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using orvik::core::SetOutOfMemory;
using namespace orvik::dsc;

namespace {

// A name that can be an entry name below the table.
bool ValidName(const wchar_t *name) {
    if (!name || !*name || std::wcschr(name, L'/')) return false;
    return std::wcslen(name) <= OFNP_NAME_MAX;
}

// Checks table and name; reports under `fn`.
bool CheckTableAndName(const Odsc_Table *table, const wchar_t *name, const wchar_t *fn,
                       Oerr_ErrorReport **err) {
    if (!IsTable(table)) {
        SetError(err, fn, kColumnBadArgument, nullptr, L"Invalid descriptor table");
        return false;
    }
    if (!ValidName(name)) {
        SetError(err, fn, kColumnBadArgument, nullptr, L"Invalid column name \"%s\"",
                 name ? name : L"(null)");
        return false;
    }
    return true;
}

bool CheckRows(const Odsc_Column *c, int32_t startRow, int32_t nRows, const wchar_t *fn,
               Oerr_ErrorReport **err) {
    if (!IsColumn(c)) {
        SetError(err, fn, kColumnBadArgument, nullptr, L"Invalid descriptor table column");
        return false;
    }
    if (startRow < 0 || nRows < 1 || int64_t{startRow} + nRows > c->table->numRows) {
        SetError(err, fn, kColumnBadRows, nullptr,
                 L"Rows %ld to %ld are outside the %ld rows of %s", long{startRow},
                 long{startRow} + nRows - 1, long{c->table->numRows}, c->name.c_str());
        return false;
    }
    return true;
}

Odsc_Column *OpenHandle(Odsc_Table *table, const wchar_t *name, std::wstring path,
                        const ColumnRecord &r, const wchar_t *fn, Oerr_ErrorReport **err) {
    Odsc_Column *c = NewHandle<Odsc_Column>();
    if (!c) {
        SetOutOfMemory(err, fn);
        return nullptr;
    }
    try {
        c->name = name;
        c->path = std::move(path);
        table->open.push_back(c);
    } catch (...) {
        FreeHandle(c); // the caller's barrier reports the exhaustion
        throw;
    }
    c->magic = kColumnMagic;
    c->table = table;
    c->record = r;
    return c;
}

bool IsOpen(const Odsc_Table *table, const wchar_t *name) {
    return std::any_of(table->open.begin(), table->open.end(),
                       [&](const Odsc_Column *c) { return c->name == name; });
}

// Renews the entry's modification time after its data changed.
bool Stamp(Odsc_Column *c, Oerr_ErrorReport **err, const wchar_t *fn) {
    Ohfa_File *file = c->table->file;
    if (ohfa_EntrySeek(file, OHFA_SEEK_PATH, c->path.c_str(), err) > 0 &&
        ohfa_EntryWrite(file, OHFA_WRITE_CURRENT, nullptr, nullptr, err) == 0)
        return true;
    SetError(err, fn, kColumnStampFailed, *err, L"Cannot update column %s", c->path.c_str());
    return false;
}

// Makes a string column at least `width` bytes wide: a new block with every row, the record
// pointed at it, then the old block freed.
bool Widen(Odsc_Column *c, int64_t width, Oerr_ErrorReport **err, const wchar_t *fn) {
    ColumnRecord r = c->record;
    const int64_t oldWidth = r.maxNumChars;
    const uint32_t at = NewDataBlock(c->table->file, r.numRows, width, r.columnDataPtr, oldWidth,
                                     r.numRows, err, fn);
    if (at == 0) return false;
    r.columnDataPtr = at;
    r.maxNumChars = static_cast<int32_t>(width);
    if (!RewriteColumnRecord(c->table, c->path, r, err, fn)) {
        ReleaseDataBlock(c->table->file, at, r.numRows * width);
        return false;
    }
    ReleaseDataBlock(c->table->file, c->record.columnDataPtr, c->record.numRows * oldWidth);
    c->record = r;
    return true;
}

// The bytes of nRows elements for the column; widens a string column when needed.
bool Encode(Odsc_Column *c, int32_t nRows, const Ogda_BaseData *values,
            std::vector<unsigned char> &bytes, Oerr_ErrorReport **err, const wchar_t *fn) {
    const auto type = static_cast<Odsc_ColumnType>(c->record.dataType);
    if (type != ODSC_COLUMN_STRING) {
        if (EncodeNumbers(values, type, nRows, bytes)) return true;
        SetOutOfMemory(err, fn);
        return false;
    }
    std::vector<std::string> texts;
    EncodeStrings(values, nRows, texts);
    size_t longest = 0;
    for (const auto &t : texts) longest = std::max(longest, t.size());
    if (longest + 1 > ODSC_MAX_STRING_BYTES) {
        SetError(err, fn, kColumnTooLong, nullptr,
                 L"A string of %ld bytes does not fit in column %s", static_cast<long>(longest),
                 c->name.c_str());
        return false;
    }
    if (static_cast<int64_t>(longest) + 1 > c->record.maxNumChars &&
        !Widen(c, static_cast<int64_t>(longest) + 1, err, fn))
        return false;
    const size_t width = static_cast<size_t>(c->record.maxNumChars);
    bytes.assign(width * static_cast<size_t>(nRows), 0);
    for (size_t i = 0; i < texts.size(); ++i)
        std::memcpy(&bytes[i * width], texts[i].data(), texts[i].size());
    return true;
}

} // namespace

extern "C" {

ORVIK_API Omsc_Boolean odsc_ColumnExist(Odsc_Table *table, const wchar_t *name,
                                        Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"odsc_ColumnExist";
    if (err) *err = nullptr;
    return Guarded<Omsc_Boolean>(err, kFn, OMSC_FALSE, [&] {
        if (!CheckTableAndName(table, name, kFn, err)) return OMSC_FALSE;
        const std::wstring path = table->tablePath + L"/" + name;
        Ohfa_Entry e{};
        Oerr_ErrorReport *inner = nullptr;
        const long r = ohfa_EntryPeek(table->file, OHFA_SEEK_PATH, path.c_str(), &e, &inner);
        if (r < 0 || inner) {
            SetError(err, kFn, kColumnTransferFailed, inner, L"Cannot read column \"%s\"", name);
            return OMSC_FALSE;
        }
        return r > 0 && std::strcmp(e.type, "Odsc_Column") == 0 ? OMSC_TRUE : OMSC_FALSE;
    });
}

ORVIK_API Odsc_Column *odsc_ColumnOpen(Odsc_Table *table, const wchar_t *name,
                                       Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"odsc_ColumnOpen";
    if (err) *err = nullptr;
    Oerr_ErrorReport *local = nullptr;
    Oerr_ErrorReport **e = err ? err : &local;
    Odsc_Column *result = Guarded<Odsc_Column *>(e, kFn, nullptr, [&]() -> Odsc_Column * {
        if (!CheckTableAndName(table, name, kFn, e)) return nullptr;
        if (IsOpen(table, name)) {
            SetError(e, kFn, kColumnAlreadyOpen, nullptr, L"Column \"%s\" is already open", name);
            return nullptr;
        }
        std::wstring path = table->tablePath + L"/" + name;
        bool found = false;
        ColumnRecord r{};
        if (!ReadColumnRecord(table, path, name, found, r, e, kFn)) return nullptr;
        if (!found) {
            SetError(e, kFn, kColumnMissing, nullptr, L"No column \"%s\" in %s", name,
                     table->tablePath.c_str());
            return nullptr;
        }
        return OpenHandle(table, name, std::move(path), r, kFn, e);
    });
    oerr_DeleteErrorReportEx(&local);
    return result;
}

ORVIK_API Odsc_Column *odsc_ColumnCreate(Odsc_Table *table, const wchar_t *name,
                                         Odsc_ColumnType type, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"odsc_ColumnCreate";
    if (err) *err = nullptr;
    Oerr_ErrorReport *local = nullptr;
    Oerr_ErrorReport **e = err ? err : &local;
    Odsc_Column *result = Guarded<Odsc_Column *>(e, kFn, nullptr, [&]() -> Odsc_Column * {
        if (!CheckTableAndName(table, name, kFn, e)) return nullptr;
        if (odsc_ColumnTypePixelType(type) == OGDA_PIXEL_INVALID) {
            SetError(e, kFn, kColumnBadArgument, nullptr, L"Invalid column type %ld",
                     static_cast<long>(type));
            return nullptr;
        }
        std::wstring path = table->tablePath + L"/" + name;
        if (ohfa_EntryPeek(table->file, OHFA_SEEK_PATH, path.c_str(), nullptr, e) != 0) {
            SetError(e, kFn, kColumnExists, *e, L"Column \"%s\" exists already", name);
            return nullptr;
        }
        const Omif_Design *design = StoreDesign(kColumnDesign, kFn, e);
        if (!design) return nullptr;
        ColumnRecord r{table->numRows, 0, type, type == ODSC_COLUMN_STRING ? 1 : 0};
        // The zeroed block is written before the entry that points at it exists.
        const int64_t size = ElementSize(r);
        r.columnDataPtr = NewDataBlock(table->file, r.numRows, size, 0, 0, 0, e, kFn);
        if (r.columnDataPtr == 0) return nullptr;
        if (ohfa_ObjectWrite(table->file, table->tablePath.c_str(), name, kColumnDesign,
                             OHFA_WRITE_LAST_CHILD, &r, design, e) != 0) {
            SetError(e, kFn, kColumnTransferFailed, *e, L"Cannot write column \"%s\"", name);
            ReleaseDataBlock(table->file, r.columnDataPtr, r.numRows * size);
            return nullptr;
        }
        return OpenHandle(table, name, std::move(path), r, kFn, e);
    });
    oerr_DeleteErrorReportEx(&local);
    return result;
}

ORVIK_API Odsc_ColumnType odsc_ColumnGetType(const Odsc_Column *column) ORVIK_NOEXCEPT {
    return IsColumn(column) ? static_cast<Odsc_ColumnType>(column->record.dataType)
                            : ODSC_COLUMN_FORCE_32_BITS;
}

ORVIK_API Ogda_BaseData *odsc_ColumnRead(Odsc_Column *column, int32_t startRow, int32_t nRows,
                                         Ogda_BaseData *values, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"odsc_ColumnRead";
    if (err) *err = nullptr;
    Oerr_ErrorReport *local = nullptr;
    Oerr_ErrorReport **e = err ? err : &local;
    Ogda_BaseData *result = Guarded<Ogda_BaseData *>(e, kFn, nullptr, [&]() -> Ogda_BaseData * {
        if (!CheckRows(column, startRow, nRows, kFn, e)) return nullptr;
        const auto type = static_cast<Odsc_ColumnType>(column->record.dataType);
        if (values && !SuitableValues(values, type, nRows)) {
            SetError(e, kFn, kColumnBadValues, nullptr, L"Values do not suit column %s",
                     column->name.c_str());
            return nullptr;
        }
        const int64_t size = ElementSize(column->record);
        std::vector<unsigned char> bytes(static_cast<size_t>(nRows * size));
        if (ohfa_FileMIFDataRead(column->table->file,
                                 static_cast<long>(column->record.columnDataPtr + startRow * size),
                                 static_cast<long>(bytes.size()), bytes.data(),
                                 e) != static_cast<long>(bytes.size())) {
            SetError(e, kFn, kColumnTransferFailed, *e, L"Cannot read column %s",
                     column->name.c_str());
            return nullptr;
        }
        Ogda_BaseData *rows = DecodeRows(bytes.data(), type, nRows, size);
        if (!rows) {
            SetOutOfMemory(e, kFn);
            return nullptr;
        }
        if (!values) return rows;
        Ogda_BaseData *done =
            ogda_BaseDataCopyExt(rows, 0, 0, values, 0, 0, nRows, 1, OMSC_FALSE, e);
        ogda_BaseDataDelete(rows, nullptr);
        if (!done) SetError(e, kFn, kColumnBadValues, *e, L"ogda_BaseDataCopyExt failed");
        return done;
    });
    oerr_DeleteErrorReportEx(&local);
    return result;
}

ORVIK_API long odsc_ColumnWrite(Odsc_Column *column, int32_t startRow, int32_t nRows,
                                const Ogda_BaseData *values, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"odsc_ColumnWrite";
    if (err) *err = nullptr;
    Oerr_ErrorReport *local = nullptr;
    Oerr_ErrorReport **e = err ? err : &local;
    const long result = Guarded<long>(e, kFn, -1, [&]() -> long {
        if (!CheckRows(column, startRow, nRows, kFn, e)) return -1;
        const auto type = static_cast<Odsc_ColumnType>(column->record.dataType);
        if (!SuitableValues(values, type, nRows)) {
            SetError(e, kFn, kColumnBadValues, nullptr, L"Values do not suit column %s",
                     column->name.c_str());
            return -1;
        }
        std::vector<unsigned char> bytes;
        if (!Encode(column, nRows, values, bytes, e, kFn)) return -1;
        const int64_t size = ElementSize(column->record);
        if (ohfa_FileMIFDataWrite(column->table->file,
                                  static_cast<long>(column->record.columnDataPtr + startRow * size),
                                  static_cast<long>(bytes.size()), bytes.data(),
                                  e) != static_cast<long>(bytes.size())) {
            SetError(e, kFn, kColumnTransferFailed, *e, L"Cannot write column %s",
                     column->name.c_str());
            return -1;
        }
        return Stamp(column, e, kFn) ? long{nRows} : -1;
    });
    oerr_DeleteErrorReportEx(&local);
    return result;
}

ORVIK_API double odsc_ColumnGetModTime(Odsc_Column *column, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"odsc_ColumnGetModTime";
    if (err) *err = nullptr;
    if (!IsColumn(column)) {
        SetError(err, kFn, kColumnBadArgument, nullptr, L"Invalid descriptor table column");
        return -1;
    }
    Ohfa_Entry entry{};
    Oerr_ErrorReport *inner = nullptr;
    if (ohfa_EntryPeek(column->table->file, OHFA_SEEK_PATH, column->path.c_str(), &entry, &inner) <=
        0) {
        SetError(err, kFn, kColumnTransferFailed, inner, L"Cannot read column %s",
                 column->name.c_str());
        return -1;
    }
    return entry.modTime;
}

ORVIK_API long odsc_ColumnClose(Odsc_Column *column, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"odsc_ColumnClose";
    if (err) *err = nullptr;
    if (!column) return 0;
    if (!IsColumn(column)) {
        SetError(err, kFn, kColumnBadArgument, nullptr, L"Invalid descriptor table column");
        return -1;
    }
    auto &open = column->table->open;
    open.erase(std::remove(open.begin(), open.end(), column), open.end());
    FreeHandle(column);
    return 0;
}

} // extern "C"
