// The body of the descriptor-table fuzz target, shared with the replay test: arbitrary bytes
// opened as an HFA file whose layer "/Layer_1" may hold a descriptor table. Every column that
// opens must read all its rows (its record was checked against the file before use) and
// every statistics record must read or be refused with a report; nothing may crash, hang or
// allocate beyond what the file can fill. Leaks and memory errors are caught by the
// sanitizers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <string>

#include <orvik/ohfa.h>
#include <orvik/oint.h>
#include <orvik/osta.h>

#include "fuzz/check.hpp"
#include "fuzz/hfa_open_target.hpp"

namespace dsc_table_fuzz {

// Opens and reads every column the table may have.
inline void ReadColumns(Odsc_Table *table) {
    static const wchar_t *const kNames[] = {L"Histogram", L"Red",         L"Green",   L"Blue",
                                            L"Opacity",   L"Class_Names", L"Contrast"};
    const int32_t rows = odsc_TableGetNumRows(table);
    FUZZ_CHECK(rows >= 1 && rows <= ODSC_MAX_BINS);
    for (const wchar_t *name : kNames) {
        Oerr_ErrorReport *err = nullptr;
        Odsc_Column *c = odsc_ColumnOpen(table, name, &err);
        FUZZ_CHECK((c == nullptr) == (err != nullptr));
        oerr_DeleteErrorReportEx(&err);
        if (!c) continue;
        Ogda_BaseData *v = odsc_ColumnRead(c, 0, rows, nullptr, &err);
        FUZZ_CHECK(v != nullptr && err == nullptr && v->numrows == rows);
        ogda_BaseDataDelete(v, nullptr);
        FUZZ_CHECK(odsc_ColumnClose(c, nullptr) == 0);
    }
    Oerr_ErrorReport *err = nullptr;
    Odsc_BinFunction *f = odsc_TableGetBinFunction(table, &err);
    FUZZ_CHECK(f == nullptr || f->numBins == rows);
    oerr_DeleteErrorReportEx(&err);
    odsc_BinFunctionDelete(f);
    Osta_Histogram *h = osta_HistogramReadIfPresent(table, nullptr, 0, rows, &err);
    oerr_DeleteErrorReportEx(&err);
    osta_HistogramDelete(h);
    Osta_ColorTableStack *s = osta_ColorTableStackRead(table, nullptr, 0, rows, &err);
    oerr_DeleteErrorReportEx(&err);
    osta_ColorTableStackDelete(s);
}

inline int RunOne(const uint8_t *data, std::size_t size) {
    static const bool ready = oint_InitToolkit(nullptr) == 0 && ohfa_Init(nullptr) == 0;
    FUZZ_CHECK(ready);
    const std::string &path = hfa_open_fuzz::ScratchPath();
    {
        std::ofstream out(path, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char *>(data), static_cast<std::streamsize>(size));
    }
    const std::wstring name(path.begin(), path.end());
    Oerr_ErrorReport *err = nullptr;
    Ohfa_File *f = ohfa_FileOpen(name.c_str(), L"r", 0, &err);
    oerr_DeleteErrorReportEx(&err);
    if (!f) return 0;
    Odsc_Table *table = odsc_TableOpen(f, L"/Layer_1", &err);
    FUZZ_CHECK((table == nullptr) == (err != nullptr));
    oerr_DeleteErrorReportEx(&err);
    if (table) {
        ReadColumns(table);
        FUZZ_CHECK(odsc_TableClose(table, nullptr) == 0);
    }
    Osta_Statistics *s = osta_StatisticsRead(f, L"/Layer_1/Sub", nullptr, OMSC_TRUE, &err);
    oerr_DeleteErrorReportEx(&err);
    osta_StatisticsDelete(s);
    Osta_Covariance *c = osta_CovarianceRead(f, L"/Layer_1", nullptr, &err);
    oerr_DeleteErrorReportEx(&err);
    osta_CovarianceDelete(c, nullptr);
    Osta_ExcludedValues *x = nullptr;
    osta_StatisticsAreValuesExcluded(f, L"/Layer_1", &x, &err);
    oerr_DeleteErrorReportEx(&err);
    osta_ExcludedValuesDelete(x);
    FUZZ_CHECK(ohfa_FileClose(f, nullptr) == 0);
    return 0;
}

} // namespace dsc_table_fuzz
