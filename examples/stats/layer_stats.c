/* Opens an HFA file and prints the statistics stored with one of its layers:
 *     orvik_layer_stats FILE.hfa /image/layer
 * A C client of the installed library (find_package(OrvikCore) or pkg-config orvikcore). */
#include <stdio.h>
#include <stdlib.h>

#include <orvik/oerr.h>
#include <orvik/ohfa.h>
#include <orvik/oint.h>
#include <orvik/omsc.h>
#include <orvik/osta.h>
#include <orvik/otxt.h>

/* Prints a report chain in brief form, deletes it and ends the program. */
static int Fail(const char *what, Oerr_ErrorReport *err) {
    fprintf(stderr, "%s failed\n", what);
    if (err) {
        oerr_PrintErrorReportNoEML(err, OERR_REPORT_BRIEF);
        oerr_DeleteErrorReportEx(&err);
    }
    return 1;
}

int main(int argc, char **argv) {
    if (argc != 3) {
        fprintf(stderr, "usage: %s FILE.hfa /image/layer\n", argv[0]);
        return 2;
    }
    Oerr_ErrorReport *err = NULL;
    static const int toolkit = 1;
    if (oint_InitToolkit(&err) != 0 || ohfa_Init(&err) != 0 || !osta_Init(&toolkit, &err))
        return Fail("start-up", err);
    wchar_t *name = otxt_Text_Ascii2Unicode(argv[1], &err);
    wchar_t *layer = name ? otxt_Text_Ascii2Unicode(argv[2], &err) : NULL;
    if (!layer) return Fail("text conversion", err);

    Ohfa_File *file = ohfa_FileOpen(name, L"r", 0, &err);
    if (!file) return Fail("ohfa_FileOpen", err);
    Osta_Statistics *stats = osta_StatisticsRead(file, layer, NULL, OMSC_FALSE, &err);
    if (!stats) {
        ohfa_FileClose(file, NULL);
        if (err) return Fail("osta_StatisticsRead", err);
        fprintf(stderr, "%s has no statistics\n", argv[2]);
        return 1;
    }
    printf("%s %s\n  minimum %g\n  maximum %g\n  mean    %g\n  median  %g\n  mode    %g\n"
           "  stddev  %g\n",
           argv[1], argv[2], stats->minimum, stats->maximum, stats->mean, stats->median,
           stats->mode, stats->stddev);
    osta_StatisticsDelete(stats);
    if (ohfa_FileClose(file, &err) != 0) return Fail("ohfa_FileClose", err);
    omsc_HeapFree(name);
    omsc_HeapFree(layer);
    oint_DeInit(NULL);
    return 0;
}
