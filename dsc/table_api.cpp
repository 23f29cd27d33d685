// Descriptor tables: create, open, resize and close the table of a layer.
#include <cstring>
#include <memory>

#include <orvik/ofnp.h>

#include "core/guard.hpp"
#include "core/heap_text.hpp"
#include "dsc/report.hpp"
#include "dsc/table_store.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using orvik::core::SetOutOfMemory;
using namespace orvik::dsc;

namespace {

// Node path of the table entry of a layer; empty with a report on a bad path.
std::wstring TablePath(const wchar_t *layerPath, const wchar_t *fn, Oerr_ErrorReport **err) {
    if (!layerPath) {
        SetError(err, fn, kTableBadArgument, nullptr, L"Invalid layer path");
        return {};
    }
    wchar_t *joined = ofnp_NodePathJoin(layerPath, ODSC_TABLE_ENTRY_NAME, err);
    if (!joined) {
        SetError(err, fn, kTableBadArgument, *err, L"Invalid layer path %s", layerPath);
        return {};
    }
    return orvik::core::TakeHeapText(joined);
}

bool WriteTableRecord(Odsc_Table *t, const wchar_t *parent, long where, int32_t rows,
                      Oerr_ErrorReport **err, const wchar_t *fn) {
    const Omif_Design *design = StoreDesign(kTableDesign, fn, err);
    if (!design) return false;
    const TableRecord record{rows};
    const wchar_t *name = where == OHFA_WRITE_CURRENT ? nullptr : ODSC_TABLE_ENTRY_NAME;
    if (ohfa_ObjectWrite(t->file, parent, name, kTableDesign, where, &record, design, err) == 0)
        return true;
    SetError(err, fn, kTableWriteFailed, *err, L"Cannot write descriptor table %s",
             t->tablePath.c_str());
    return false;
}

// The direct children of the table entry that are columns, by name.
bool ColumnNames(Odsc_Table *t, std::vector<std::wstring> &names, Oerr_ErrorReport **err,
                 const wchar_t *fn) {
    std::unique_ptr<ostr_StringList, void (*)(ostr_StringList *)> list(
        ohfa_ObjectList(t->file, t->tablePath.c_str(), err),
        [](ostr_StringList *l) { ostr_StringListDelete(l, nullptr); }); // freed on a throw too
    if (!list) {
        SetError(err, fn, kTableListFailed, *err, L"Cannot list the columns of %s",
                 t->tablePath.c_str());
        return false;
    }
    const std::wstring prefix = t->tablePath + L"/";
    for (int32_t i = 0; i < list->count; ++i) {
        const std::wstring path = list->strings[i] ? list->strings[i] : L"";
        if (path.compare(0, prefix.size(), prefix) != 0) continue;
        const std::wstring name = path.substr(prefix.size());
        if (name.find(L'/') != std::wstring::npos) continue;
        Ohfa_Entry e{};
        if (ohfa_EntryPeek(t->file, OHFA_SEEK_PATH, path.c_str(), &e, nullptr) > 0 &&
            std::strcmp(e.type, "Odsc_Column") == 0)
            names.push_back(name);
    }
    return true;
}

// Gives one column `rows` rows: a new block holding the kept rows, the record pointed at it,
// then the old block freed.
bool ResizeColumn(Odsc_Table *t, const std::wstring &name, int32_t rows, Oerr_ErrorReport **err,
                  const wchar_t *fn) {
    const std::wstring path = t->tablePath + L"/" + name;
    bool found = false;
    ColumnRecord r{};
    if (!ReadColumnRecord(t, path, name, found, r, err, fn)) return false;
    if (!found) return true;
    const int64_t size = ElementSize(r);
    const uint32_t at = NewDataBlock(t->file, rows, size, r.columnDataPtr, size,
                                     std::min(rows, r.numRows), err, fn);
    if (at == 0) return false;
    ColumnRecord updated = r;
    updated.numRows = rows;
    updated.columnDataPtr = at;
    if (!RewriteColumnRecord(t, path, updated, err, fn)) {
        ReleaseDataBlock(t->file, at, rows * size);
        return false;
    }
    ReleaseDataBlock(t->file, r.columnDataPtr, r.numRows * size);
    return true;
}

Odsc_Table *NewTable(Ohfa_File *file, std::wstring path, int32_t rows, const wchar_t *fn,
                     Oerr_ErrorReport **err) {
    Odsc_Table *t = NewHandle<Odsc_Table>();
    if (!t) {
        SetOutOfMemory(err, fn);
        return nullptr;
    }
    t->magic = kTableMagic;
    t->file = file;
    t->tablePath = std::move(path);
    t->numRows = rows;
    return t;
}

} // namespace

extern "C" {

ORVIK_API Odsc_Table *odsc_TableCreate(Ohfa_File *file, const wchar_t *layerPath, int32_t nRows,
                                       Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"odsc_TableCreate";
    if (err) *err = nullptr;
    Oerr_ErrorReport *local = nullptr;
    Oerr_ErrorReport **e = err ? err : &local;
    Odsc_Table *result = Guarded<Odsc_Table *>(e, kFn, nullptr, [&]() -> Odsc_Table * {
        if (!file || nRows < 1 || nRows > ODSC_MAX_BINS) {
            SetError(e, kFn, kTableBadArgument, nullptr, L"Invalid file or row count %ld",
                     long{nRows});
            return nullptr;
        }
        std::wstring path = TablePath(layerPath, kFn, e);
        if (path.empty()) return nullptr;
        if (ohfa_EntryPeek(file, OHFA_SEEK_PATH, layerPath, nullptr, e) <= 0) {
            SetError(e, kFn, kTableNoLayer, *e, L"Cannot find %s", layerPath);
            return nullptr;
        }
        if (ohfa_EntryPeek(file, OHFA_SEEK_PATH, path.c_str(), nullptr, e) != 0) {
            SetError(e, kFn, kTableExists, *e, L"%s already has a descriptor table", layerPath);
            return nullptr;
        }
        Odsc_Table *t = NewTable(file, std::move(path), nRows, kFn, e);
        if (t && !WriteTableRecord(t, layerPath, OHFA_WRITE_LAST_CHILD, nRows, e, kFn)) {
            FreeHandle(t);
            return nullptr;
        }
        return t;
    });
    oerr_DeleteErrorReportEx(&local);
    return result;
}

ORVIK_API Odsc_Table *odsc_TableOpen(Ohfa_File *file, const wchar_t *layerPath,
                                     Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"odsc_TableOpen";
    if (err) *err = nullptr;
    Oerr_ErrorReport *local = nullptr;
    Oerr_ErrorReport **e = err ? err : &local;
    Odsc_Table *result = Guarded<Odsc_Table *>(e, kFn, nullptr, [&]() -> Odsc_Table * {
        if (!file) {
            SetError(e, kFn, kTableBadArgument, nullptr, L"Invalid OHFA file handle");
            return nullptr;
        }
        std::wstring path = TablePath(layerPath, kFn, e);
        if (path.empty()) return nullptr;
        long count = 0;
        auto *bytes = static_cast<unsigned char *>(
            ohfa_ObjectDataReadIfPresent(file, path.c_str(), OHFA_SEEK_PATH, &count, e));
        if (*e) {
            SetError(e, kFn, kTableReadFailed, *e, L"Cannot read descriptor table %s",
                     path.c_str());
            return nullptr;
        }
        Ohfa_Entry entry{};
        if (!bytes && ohfa_EntryPeek(file, OHFA_SEEK_PATH, path.c_str(), &entry, nullptr) <= 0) {
            SetError(e, kFn, kTableMissing, nullptr, L"%s has no descriptor table", layerPath);
            return nullptr;
        }
        if (bytes) ohfa_EntryCurrentGet(file, &entry, nullptr);
        TableRecord record{};
        const bool sound =
            std::strcmp(entry.type, "Odsc_Table") == 0 && DecodeTableRecord(bytes, count, record);
        omsc_HeapFree(bytes);
        if (!sound) {
            SetError(e, kFn, kTableDamaged, nullptr, L"Descriptor table %s is damaged",
                     path.c_str());
            return nullptr;
        }
        return NewTable(file, std::move(path), record.numRows, kFn, e);
    });
    oerr_DeleteErrorReportEx(&local);
    return result;
}

ORVIK_API Omsc_Boolean odsc_TableExist(Ohfa_File *file, const wchar_t *layerPath,
                                       Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"odsc_TableExist";
    if (err) *err = nullptr;
    return Guarded<Omsc_Boolean>(err, kFn, OMSC_FALSE, [&] {
        Oerr_ErrorReport *inner = nullptr;
        const std::wstring path = TablePath(layerPath, kFn, &inner);
        if (!file || path.empty()) {
            SetError(err, kFn, kTableBadArgument, inner, L"Invalid file or layer path");
            return OMSC_FALSE;
        }
        const long r = ohfa_EntryPeek(file, OHFA_SEEK_PATH, path.c_str(), nullptr, &inner);
        if (r < 0 || inner) {
            SetError(err, kFn, kTableReadFailed, inner, L"Cannot read descriptor table %s",
                     path.c_str());
            return OMSC_FALSE;
        }
        return r > 0 ? OMSC_TRUE : OMSC_FALSE;
    });
}

ORVIK_API int32_t odsc_TableGetNumRows(const Odsc_Table *table) ORVIK_NOEXCEPT {
    return IsTable(table) ? table->numRows : -1;
}

ORVIK_API Odsc_Table *odsc_TableResize(Odsc_Table *table, int32_t nRows, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"odsc_TableResize";
    if (err) *err = nullptr;
    Oerr_ErrorReport *local = nullptr;
    Oerr_ErrorReport **e = err ? err : &local;
    Odsc_Table *result = Guarded<Odsc_Table *>(e, kFn, nullptr, [&]() -> Odsc_Table * {
        if (!IsTable(table) || nRows < 1 || nRows > ODSC_MAX_BINS) {
            SetError(e, kFn, kTableBadArgument, nullptr, L"Invalid table or row count %ld",
                     long{nRows});
            return nullptr;
        }
        if (!table->open.empty()) {
            SetError(e, kFn, kTableColumnsOpen, nullptr, L"Close the columns of %s first",
                     table->tablePath.c_str());
            return nullptr;
        }
        if (nRows == table->numRows) return table;
        std::vector<std::wstring> names;
        if (!ColumnNames(table, names, e, kFn)) return nullptr;
        // Columns always hold at least the table's rows: they grow before the table record
        // and shrink after it, so a resize cut short leaves a readable table.
        const bool grow = nRows > table->numRows;
        const std::wstring path = table->tablePath;
        if (!grow) {
            if (!WriteTableRecord(table, path.c_str(), OHFA_WRITE_CURRENT, nRows, e, kFn))
                return nullptr;
        }
        const int32_t before = table->numRows;
        table->numRows = std::min(before, nRows);
        for (const auto &name : names)
            if (!ResizeColumn(table, name, nRows, e, kFn)) return nullptr;
        if (grow && !WriteTableRecord(table, path.c_str(), OHFA_WRITE_CURRENT, nRows, e, kFn)) {
            table->numRows = before;
            return nullptr;
        }
        table->numRows = nRows;
        return table;
    });
    oerr_DeleteErrorReportEx(&local);
    return result;
}

ORVIK_API long odsc_TableClose(Odsc_Table *table, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"odsc_TableClose";
    if (err) *err = nullptr;
    if (!table) return 0;
    if (!IsTable(table)) {
        SetError(err, kFn, kTableBadArgument, nullptr, L"Invalid descriptor table");
        return -1;
    }
    if (!table->open.empty()) {
        SetError(err, kFn, kTableColumnsOpen, nullptr, L"Close the columns of %s first",
                 table->tablePath.c_str());
        return -1;
    }
    FreeHandle(table);
    return 0;
}

} // extern "C"
