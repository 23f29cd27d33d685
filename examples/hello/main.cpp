// A minimal client: makes a two-level error report, prints it in full and brief form, and
// round-trips a text through the narrow conversion.
#include <cstdio>

#include <orvik/oerr.h>
#include <orvik/omsc.h>
#include <orvik/otxt.h>

int main() {
    Oerr_ErrorReport *inner = oerr_CreateErrorReport(L"ohfa_FileOpen", 3, OERR_KIND_ERROR, nullptr,
                                                     L"Cannot open %s", L"example.hfa");
    Oerr_ErrorReport *outer =
        oerr_CreateErrorReport(L"example_Main", 1, OERR_KIND_ERROR, inner, nullptr);
    std::puts("Full report:");
    std::fflush(stdout);
    oerr_PrintErrorReportNoEML(outer, OERR_REPORT_FULL);
    std::puts("Brief report:");
    std::fflush(stdout);
    oerr_PrintErrorReportNoEML(outer, OERR_REPORT_BRIEF);
    oerr_DeleteErrorReportEx(&outer);

    Oerr_ErrorReport *err = nullptr;
    char *utf8 = otxt_Text_Unicode2Ascii(L"Gr\u00fc\u00dfe", &err);
    if (err) {
        oerr_PrintErrorReportNoEML(err, OERR_REPORT_FULL);
        oerr_DeleteErrorReportEx(&err);
        return 1;
    }
    std::printf("UTF-8 text: %s\n", utf8);
    omsc_HeapFree(utf8);
    return 0;
}
