/* Exercises the C interface from strict C11: at least one function of every module. */
#define _POSIX_C_SOURCE 200809L /* mkdtemp, setenv */

#ifdef _WIN32
#include <direct.h>
#include <process.h>
#else
#include <sys/stat.h>
#include <unistd.h>
#endif

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>

#include <orvik/odll.h>
#include <orvik/odsc.h>
#include <orvik/oerr.h>
#include <orvik/ofga.h>
#include <orvik/ofio.h>
#include <orvik/ofnp.h>
#include <orvik/ogda.h>
#include <orvik/ohfa.h>
#include <orvik/ohst.h>
#include <orvik/oimg.h>
#include <orvik/oint.h>
#include <orvik/olex.h>
#include <orvik/omif.h>
#include <orvik/omsc.h>
#include <orvik/oplg.h>
#include <orvik/opmg.h>
#include <orvik/oprf.h>
#include <orvik/opxm.h>
#include <orvik/osta.h>
#include <orvik/ostr.h>
#include <orvik/othr.h>
#include <orvik/otxt.h>

static int failures = 0;
#define CHECK(cond)                                                                                \
    do {                                                                                           \
        if (!(cond)) {                                                                             \
            fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond);               \
            ++failures;                                                                            \
        }                                                                                          \
    } while (0)

static char scratch[64];

#ifdef _WIN32
/* The few POSIX calls this test needs, in their Windows forms. */
static int setenv(const char *name, const char *value, int replace) {
    (void)replace;
    return _putenv_s(name, value);
}
#define mkdir(path, mode) _mkdir(path)
#define rmdir(path) _rmdir(path)
/* Fills the trailing "XXXXXX" with the process id and a counter until _mkdir creates it. */
static char *mkdtemp(char *name) {
    char *x = name + strlen(name) - 6;
    for (unsigned n = 0; n < 1000; ++n) {
        snprintf(x, 7, "%03u%03u", (unsigned)_getpid() % 1000u, n);
        if (_mkdir(name) == 0) return name;
    }
    return NULL;
}
#endif

/* <scratch>/<leaf>, narrow and wide. */
static const char *Narrow(const char *leaf) {
    static char path[128];
    snprintf(path, sizeof path, "%s/%s", scratch, leaf);
    return path;
}

static const wchar_t *Wide(const char *leaf) {
    /* Test paths are ASCII; widened one character at a time, as the C libraries disagree on
     * what "%s" means in a wide format. */
    static wchar_t path[128];
    const char *narrow = Narrow(leaf);
    size_t i = 0;
    for (; narrow[i] && i + 1 < sizeof path / sizeof path[0]; ++i) path[i] = (wchar_t)narrow[i];
    path[i] = L'\0';
    return path;
}

static int WriteText(const char *leaf, const char *text) {
    FILE *f = fopen(Narrow(leaf), "w");
    if (!f) return 0;
    fputs(text, f);
    return fclose(f) == 0;
}

/* What the definition parser handed over. */
typedef struct {
    int clauses;
    int categoryBegins;
    int numberParameters;
    double defaultNumber;
} Clauses;

static long CountClause(void *clientData, const Olex_Clause *clause, Oerr_ErrorReport **err) {
    Clauses *seen = clientData;
    (void)err;
    ++seen->clauses;
    if (clause->kind == OLEX_CATEGORY_BEGIN && wcscmp(clause->text, L"view") == 0)
        ++seen->categoryBegins;
    if (clause->kind == OLEX_PARAMETER && clause->type == 1 && wcscmp(clause->text, L"zoom") == 0)
        ++seen->numberParameters;
    if (clause->kind == OLEX_DEFAULT_NUMBER) seen->defaultNumber = clause->numbers[0];
    return 0;
}

static long StopAtFirst(void *clientData, const Olex_Clause *clause, Oerr_ErrorReport **err) {
    (void)clientData;
    (void)clause;
    *err = oerr_CreateErrorReport(L"StopAtFirst", 1, 2, NULL, L"stop");
    return -1;
}

static const char kDefinitions[] = "view { zoom : OPMG_NUMBER default 1.5; }\n";

/* Definition text parsed from C, clause by clause and into a category list. */
static void Definitions(void) {
    Oerr_ErrorReport *err = NULL;
    Clauses seen = {0, 0, 0, 0.0};
    CHECK(olex_Parse(L"view.pdf", kDefinitions, strlen(kDefinitions), CountClause, &seen, &err) ==
          0);
    CHECK(err == NULL && seen.categoryBegins == 1 && seen.numberParameters == 1);
    CHECK(seen.defaultNumber == 1.5 && seen.clauses >= 4);
    CHECK(olex_Parse(L"view.pdf", kDefinitions, strlen(kDefinitions), StopAtFirst, NULL, &err) ==
          -1);
    int stopped = 0; /* the clause function's report is kept in the chain */
    for (const Oerr_ErrorReport *r = err; r; r = r->next)
        stopped |= r->message && wcscmp(r->message, L"stop") == 0;
    CHECK(err != NULL && stopped);
    oerr_DeleteErrorReportEx(&err);

    Opmg_Category *list = NULL;
    CHECK(opmg_ParseText(L"view.pdf", kDefinitions, strlen(kDefinitions), &list, &err) == 0 &&
          err == NULL);
    const Opmg_Parameter *zoom =
        opmg_CategoryListFindParameterInCategory(list, L"view", L"zoom", &err);
    CHECK(zoom != NULL && zoom->type == OPMG_NUMBER && zoom->value.number == 1.5);
    opmg_FreeCategoryList(list);
}

/* The preference database started from a definition folder, reached through opmg_ and
 * through the default implementation's own methods. */
static void Preferences(void) {
    Oerr_ErrorReport *err = NULL;
    setenv("GIO_PDF_PATH", Narrow("pdf"), 1);
    setenv("GIO_PREFERENCES_PATH", Narrow("user"), 1);
    CHECK(WriteText("pdf/view.pdf", kDefinitions));
    CHECK(opmg_Init(&err) == 0 && err == NULL);
    CHECK(opmg_GetGlobalPreferenceHandle() == oprf_DefaultData()); /* installed by start-up */
    CHECK(opmg_GetNumberPreference(L"view", L"zoom", &err) == 1.5 && err == NULL);
    CHECK(opmg_PutNumberPreference(L"view", L"zoom", 2.25, &err) == 0 && err == NULL);
    Opmg_Preference value;
    memset(&value, 0, sizeof value);
    CHECK(oprf_DefaultPreferenceGet(oprf_DefaultData(), L"view", L"zoom", &value, &err) == 0);
    CHECK(err == NULL && value.type == OPMG_NUMBER && value.number == 2.25);
    CHECK(oprf_DefaultPreferenceGet(oprf_DefaultData(), L"view", L"none", &value, &err) == -1);
    CHECK(err != NULL);
    oerr_DeleteErrorReportEx(&err);
    CHECK(opmg_Close(&err) == 0);
    oerr_DeleteErrorReportEx(&err);
    remove(Narrow("pdf/view.pdf"));
}

/* The toolkit's start-up flag and an HFA file created and recognised from C. */
/* Statistics and a colour column of a layer, written and read back. */
static void LayerRecords(Ohfa_File *file) {
    Oerr_ErrorReport *err = NULL;
    CHECK(ohfa_EntrySeek(file, OHFA_SEEK_ROOT, NULL, &err) == 1);
    CHECK(ohfa_EntryWrite(file, OHFA_WRITE_LAST_CHILD, L"Layer_1", L"Layer", &err) == 0);
    Osta_Statistics stats = {1, 9, 5, 4, 3, 2};
    CHECK(osta_StatisticsWrite(file, L"/Layer_1", &stats, &err) == 0 && err == NULL);
    Osta_Statistics *read = osta_StatisticsRead(file, L"/Layer_1", NULL, OMSC_FALSE, &err);
    CHECK(read != NULL && err == NULL && read->maximum == 9);
    osta_StatisticsDelete(read);
    Odsc_Table *table = odsc_TableCreate(file, L"/Layer_1", 16, &err);
    CHECK(table != NULL && err == NULL);
    Osta_ColorTable *red = osta_ColorTableCreate(16, &err);
    CHECK(red != NULL);
    if (table && red) {
        ((double *)red->data)[15] = 0.5;
        CHECK(osta_ColorTableWrite(table, red, OSTA_RED, 10, -1, &err) == 6 && err == NULL);
        ((double *)red->data)[15] = 0;
        CHECK(osta_ColorTableRead(table, red, OSTA_RED, 0, 16, &err) == red && err == NULL);
        CHECK(((double *)red->data)[15] == 0.5);
    }
    osta_ColorTableDelete(red);
    CHECK(odsc_TableClose(table, &err) == 0);
}

static void HfaFiles(void) {
    Oerr_ErrorReport *err = NULL;
    CHECK(oint_GetInit() == OMSC_FALSE);
    CHECK(ohfa_IsHFAFile(Wide("new.hfa"), &err) == 0);
    CHECK(err != NULL); /* the package is not ready yet */
    oerr_DeleteErrorReportEx(&err);

    CHECK(oint_InitToolkit(&err) == 0 && err == NULL);
    CHECK(oint_GetInit() == OMSC_TRUE);
    CHECK(ohfa_Init(&err) == 0 && err == NULL);
    Ohfa_File *file = ohfa_FileCreate(Wide("new.hfa"), 0, &err);
    CHECK(file != NULL && err == NULL);
    if (file) {
        /* A raster layer from C: a 3 x 2 u8 window written and read back as s16. */
        Oimg_LayerInfo info = {5, 4, OGDA_U8, 0, 0, OIMG_CONTINUOUS, 0, 0, 0.0};
        CHECK(oimg_ImageCreate(file, NULL, L"Image", &err) == 0 && err == NULL);
        Oimg_Layer *layer = oimg_LayerCreate(file, L"/Image", L"Layer", &info, &err);
        CHECK(layer != NULL && err == NULL);
        unsigned char pixels[6] = {1, 2, 3, 4, 5, 250};
        int16_t back[6] = {0};
        Ogda_BaseData *in = ogda_BaseDataCreate(3, 2, OGDA_U8, Ogda_Raster, pixels, &err);
        Ogda_BaseData *out = ogda_BaseDataCreate(3, 2, OGDA_S16, Ogda_Raster, back, &err);
        CHECK(oimg_LayerWriteWindow(layer, 1, 3, 3, 2, in, &err) == 0 && err == NULL);
        CHECK(oimg_LayerReadWindow(layer, 1, 3, 3, 2, out, &err) == 0 && err == NULL);
        CHECK(back[0] == 1 && back[5] == 250);
        ogda_BaseDataDelete(in, NULL);
        ogda_BaseDataDelete(out, NULL);
        CHECK(oimg_LayerClose(layer, &err) == 0 && err == NULL);
        /* A coded layer: zstd with the default level, checksums on. */
        Oimg_LayerStorage storage;
        oimg_LayerStorageInit(&storage);
        storage.codec = OIMG_CODEC_ZSTD;
        layer = oimg_LayerCreateWithStorage(file, L"/Image", L"Coded", &info, &storage, &err);
        CHECK(layer != NULL && err == NULL);
        CHECK(oimg_LayerStorageGet(layer, &storage, &err) == 1 && storage.level == 3);
        CHECK(storage.checksum == OIMG_CHECKSUM_XXH3 && oimg_LayerCheck(layer, &err) == 0);
        CHECK(oimg_LayerClose(layer, &err) == 0 && err == NULL);
        LayerRecords(file);
        CHECK(ohfa_FileClose(file, &err) == 0 && err == NULL);
    }
    CHECK(ohfa_IsHFAFile(Wide("new.hfa"), &err) > 0 && err == NULL);
    CHECK(WriteText("plain.txt", "not an HFA file\n"));
    CHECK(ohfa_IsHFAFile(Wide("plain.txt"), &err) == 0 && err == NULL);
    CHECK(ohfa_IsHFAFile(Wide("missing.hfa"), &err) == 0 && err == NULL);
    oint_DeInit(&err);
    CHECK(oint_GetInit() == OMSC_FALSE);
    remove(Narrow("new.hfa"));
    remove(Narrow("plain.txt"));
}

/* Class path names of the plug-in loader, and the plug-in layer started and stopped. */
static void Plugins(void) {
    Oerr_ErrorReport *err = NULL;
    wchar_t *name = odll_ClassPathNameGet(L"RasterFormats", &err);
    CHECK(err == NULL && name != NULL && wcscmp(name, L"GIO_RASTER_FORMATS_PATH") == 0);
    omsc_HeapFree(name);
    CHECK(odll_ClassPathNameGet(L"", &err) == NULL);
    CHECK(err != NULL && err->number == 1);
    oerr_DeleteErrorReportEx(&err);
    CHECK(odll_InstanceIsOpen(L"RasterFormats", L"none") == OMSC_FALSE);

    CHECK(oplg_Init(&err) == 0 && err == NULL);
    CHECK(oplg_IsStarted() == OMSC_TRUE);
    CHECK(oplg_EnvironmentSet(&err) == 0 && err == NULL);
    CHECK(oplg_Close(&err) == 0 && err == NULL);
    CHECK(oplg_IsStarted() == OMSC_FALSE);
}

/* A linear bin function and a histogram over it; statistics and skip factors records. */
static void Statistics(void) {
    Oerr_ErrorReport *err = NULL;
    Odsc_BinFunction *bins = odsc_BinFunctionCreate(10, ODSC_BIN_LINEAR, 0.0, 10.0, NULL, &err);
    CHECK(err == NULL && bins != NULL && odsc_BinFunctionGetNumBins(bins) == 10);
    CHECK(odsc_BinFunctionValueToBin(bins, 2.5) == 2);
    CHECK(odsc_BinFunctionValueToBin(bins, 99.0) == 9); /* the end bins collect outliers */
    CHECK(odsc_BinFunctionBinToValue(bins, 2) == 2.5);
    CHECK(odsc_ColumnTypePixelType(ODSC_COLUMN_REAL) == OGDA_F64);

    Osta_Histogram *histogram = osta_HistogramCreate(bins, 10, &err);
    CHECK(err == NULL && histogram != NULL);
    if (histogram) {
        CHECK(histogram->binFunction != bins && histogram->binFunction->numBins == 10);
        CHECK(histogram->table != NULL && histogram->table->numelements == 10);
        CHECK(histogram->table->datatype == OGDA_F64);
    }
    osta_HistogramDelete(histogram);
    odsc_BinFunctionDelete(bins);

    Osta_Statistics *stats = osta_StatisticsCreate(&err);
    CHECK(err == NULL && stats != NULL && stats->maximum == 0.0 && stats->stddev == 0.0);
    osta_StatisticsDelete(stats);
    Osta_SkipFactors *skip = osta_SkipFactorsCreate(2, 3, &err);
    CHECK(err == NULL && skip != NULL && skip->skipFactorX == 2 && skip->skipFactorY == 3);
    osta_SkipFactorsDelete(skip);
    CHECK(osta_SkipFactorsCreate(0, 1, &err) == NULL && err != NULL);
    oerr_DeleteErrorReportEx(&err);
}

int main(void) {
    Oerr_ErrorReport *err;
    oerr_Init(&err);
    CHECK(err == NULL);

    Oerr_ErrorReport *inner =
        oerr_CreateErrorReport(L"inner_Func", 3, 2, NULL, L"bad %s %ld", L"value", 42L);
    Oerr_ErrorReport *outer = oerr_CreateErrorReport(L"outer_Func", 1, 2, inner, NULL);
    CHECK(outer != NULL && outer->next == inner);
    CHECK(wcscmp(inner->message, L"bad value 42") == 0);
    oerr_DeleteErrorReportEx(&outer);
    CHECK(outer == NULL);

    unsigned char *block = omsc_HeapMalloc(64);
    CHECK(block != NULL && block[0] == 0 && block[63] == 0);
    omsc_HeapFreeEx((void **)&block);
    CHECK(block == NULL);
    CHECK(omsc_HeapMalloc(0) == NULL);

    char *narrow = otxt_Text_Unicode2Ascii(L"caf\x00e9", &err);
    CHECK(err == NULL && narrow != NULL && strcmp(narrow, "caf\xc3\xa9") == 0);
    omsc_HeapFree(narrow);

    Othr_Mutex m = OTHR_MUTEX_INITIALIZER;
    othr_MutexLock(&m);
    othr_MutexUnlock(&m);
    othr_MutexDestroy(&m);

    /* Reporting modes are plain integers. */
    oerr_PrintErrorReportNoEML(NULL, 1);

    ostr_StringList *list = ostr_StringListCreate(0, &err);
    CHECK(err == NULL && list != NULL);
    list = ostr_StringListAppend(list, L"b", &err);
    list = ostr_StringListAppend(list, L"a", &err);
    ostr_StringListSort(list);
    CHECK(ostr_StringListCount(list) == 2 && wcscmp(list->strings[0], L"a") == 0);
    ostr_StringListDelete(list, &err);
    CHECK(err == NULL);

    wchar_t *path = ofnp_NodePathJoin(L"/Layer_1", L"Statistics", &err);
    CHECK(err == NULL && path != NULL && wcscmp(path, L"/Layer_1/Statistics") == 0);
    omsc_HeapFree(path);

    Ofio_File *sink = ofio_NullDeviceOpen(&err);
    CHECK(err == NULL && sink != NULL);
    CHECK(ofio_WriteSeq(sink, "abc", 3, &err) == 3 && err == NULL);
    CHECK(ofio_Tell(sink, &err) == 3);
    CHECK(ofio_FileClose(sink, &err) == 0 && err == NULL);

    Ogda_BaseData *bd = ogda_BaseDataCreate(2, 3, OGDA_U8, Ogda_Raster, NULL, &err);
    CHECK(err == NULL && bd != NULL && bd->numelements == 6 && bd->lineBytes == 3);
    ogda_BaseDataDelete(bd, &err);
    CHECK(err == NULL);

    Ogda_BaseData *matrix = ofga_MatrixCreate(2, 2, OGDA_F64, &err);
    CHECK(err == NULL && matrix != NULL && matrix->objecttype == Ogda_Matrix);
    ofga_MatrixDelete(matrix, &err);
    CHECK(err == NULL);

    const Opxm_ConvertRow *convert = omsc_AddressOf_opxm_Convert();
    const double real = 300.7;
    unsigned char byte = 0;
    convert[OGDA_F64][OGDA_U8](&real, &byte, 1);
    CHECK(byte == 255); /* saturates */

    Ohst_LUT *lut = ohst_LUTCreate(255, 255, 2, &err);
    CHECK(err == NULL && lut != NULL && lut->nBreakPoints == 2 && lut->breakPoints != NULL);
    lut->breakPoints[0].x = 0;
    lut->breakPoints[0].y = 255;
    lut->breakPoints[1].x = 255;
    lut->breakPoints[1].y = 0;
    CHECK(ohst_BreakPointsToTable(lut, &err) == 0 && err == NULL);
    CHECK(lut->table[0] == 255 && lut->table[255] == 0);
    ohst_LUTDelete(lut);

    Omif_Design *point = omif_DesignCreateX(L"Point", &err, OMIF_ITEM_DOUBLE, L"x", 1, OMIF_DIRECT,
                                            OMIF_ITEM_SHORT, L"y", 1, OMIF_DIRECT, OMIF_ITEM_END);
    CHECK(err == NULL && point != NULL);
    struct {
        double x;
        short y;
    } record = {1.5, 7};
    CHECK(omif_ObjectSize(&record, point, &err) == 10 && err == NULL);
    omif_DesignDelete(&point, &err);
    CHECK(point == NULL);

    Omsc_Boolean yes = OMSC_TRUE;
    CHECK(sizeof yes == 4);

#ifdef _WIN32
    const char *tmp = getenv("TEMP");
#else
    const char *tmp = getenv("TMPDIR");
#endif
    snprintf(scratch, sizeof scratch, "%s/orvik-c-XXXXXX", tmp && strlen(tmp) < 40 ? tmp : "/tmp");
    CHECK(mkdtemp(scratch) != NULL);
    CHECK(mkdir(Narrow("pdf"), 0700) == 0);
    Definitions();
    Preferences();
    HfaFiles();
    Plugins();
    Statistics();
    rmdir(Narrow("pdf"));
    CHECK(rmdir(scratch) == 0); /* every file made above was removed */

    if (failures == 0) printf("C interface: all checks passed\n");
    return failures == 0 ? 0 : 1;
}
