// The bin function kept with a descriptor table: the entry "#Bin_Function#" below the table,
// an object of design "Odsc_BinFunction" (the host record is Odsc_BinFunction).
#include "core/guard.hpp"
#include "dsc/bin_function.hpp"
#include "dsc/report.hpp"
#include "dsc/table_store.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using namespace orvik::dsc;

namespace {} // namespace

extern "C" {

ORVIK_API long odsc_TableSetBinFunction(Odsc_Table *table, const Odsc_BinFunction *binFunction,
                                        Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"odsc_TableSetBinFunction";
    if (err) *err = nullptr;
    Oerr_ErrorReport *local = nullptr;
    Oerr_ErrorReport **e = err ? err : &local;
    const long result = Guarded<long>(e, kFn, -1, [&]() -> long {
        if (!IsTable(table) || !IsValidBinFunction(binFunction)) {
            SetError(e, kFn, kBinFunctionBadArgument, nullptr, L"Invalid table or bin function");
            return -1;
        }
        if (binFunction->numBins != table->numRows) {
            SetError(e, kFn, kBinFunctionWrongCount, nullptr,
                     L"A bin function of %ld bins for %ld rows", long{binFunction->numBins},
                     long{table->numRows});
            return -1;
        }
        const Omif_Design *design = StoreDesign(kBinFunctionDesign, kFn, e);
        if (!design) return -1;
        const std::wstring path = table->tablePath + L"/" + kBinFunctionEntry;
        const long exists = ohfa_EntryPeek(table->file, OHFA_SEEK_PATH, path.c_str(), nullptr, e);
        long written = -1;
        if (exists > 0)
            written = ohfa_ObjectWrite(table->file, path.c_str(), nullptr, kBinFunctionDesign,
                                       OHFA_WRITE_CURRENT, binFunction, design, e);
        else if (exists == 0)
            written =
                ohfa_ObjectWrite(table->file, table->tablePath.c_str(), kBinFunctionEntry,
                                 kBinFunctionDesign, OHFA_WRITE_LAST_CHILD, binFunction, design, e);
        if (written == 0) return 0;
        SetError(e, kFn, kBinFunctionWriteFailed, *e, L"Cannot store the bin function of %s",
                 table->tablePath.c_str());
        return -1;
    });
    oerr_DeleteErrorReportEx(&local);
    return result;
}

ORVIK_API Odsc_BinFunction *odsc_TableGetBinFunction(Odsc_Table *table, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"odsc_TableGetBinFunction";
    if (err) *err = nullptr;
    Oerr_ErrorReport *local = nullptr;
    Oerr_ErrorReport **e = err ? err : &local;
    Odsc_BinFunction *result =
        Guarded<Odsc_BinFunction *>(e, kFn, nullptr, [&]() -> Odsc_BinFunction * {
            if (!IsTable(table)) {
                SetError(e, kFn, kBinFunctionBadArgument, nullptr, L"Invalid descriptor table");
                return nullptr;
            }
            const Omif_Design *design = StoreDesign(kBinFunctionDesign, kFn, e);
            if (!design) return nullptr;
            const std::wstring path = table->tablePath + L"/" + kBinFunctionEntry;
            Odsc_BinFunction read{};
            void *found = ohfa_ObjectReadIfPresent(table->file, path.c_str(), OHFA_SEEK_PATH, &read,
                                                   design, e);
            Odsc_BinFunction *copy = nullptr;
            if (*e) {
                SetError(e, kFn, kBinFunctionReadFailed, *e, L"Cannot read the bin function of %s",
                         table->tablePath.c_str());
            } else if (found && read.numBins == table->numRows) {
                // Made anew from its fields, so it passes every check of a new function
                // (limits ascending included) before it is used.
                Oerr_ErrorReport *inner = nullptr;
                if (IsValidBinFunction(&read))
                    copy = odsc_BinFunctionCreate(read.numBins, read.type, read.minLimit,
                                                  read.maxLimit, read.binLimits, &inner);
                if (!copy)
                    SetError(e, kFn, kBinFunctionDamaged, inner,
                             L"The bin function of %s is damaged", table->tablePath.c_str());
            }
            omif_ObjectItemsFree(&read, design, nullptr);
            return copy;
        });
    oerr_DeleteErrorReportEx(&local);
    return result;
}

} // extern "C"
