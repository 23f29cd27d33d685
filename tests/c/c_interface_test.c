/* Exercises the C interface from strict C11: at least one function of every module. */
#include <stdio.h>
#include <string.h>
#include <wchar.h>

#include <orvik/oerr.h>
#include <orvik/ofga.h>
#include <orvik/ofio.h>
#include <orvik/ofnp.h>
#include <orvik/ogda.h>
#include <orvik/ohst.h>
#include <orvik/omif.h>
#include <orvik/omsc.h>
#include <orvik/opxm.h>
#include <orvik/ostr.h>
#include <orvik/othr.h>
#include <orvik/otxt.h>

static int failures = 0;
#define CHECK(cond)                                                                            \
    do {                                                                                       \
        if (!(cond)) {                                                                         \
            fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond);           \
            ++failures;                                                                        \
        }                                                                                      \
    } while (0)

int main(void) {
    Oerr_ErrorReport *err;
    oerr_Init(&err);
    CHECK(err == NULL);

    Oerr_ErrorReport *inner = oerr_CreateErrorReport(L"inner_Func", 3, 2, NULL, L"bad %s %ld",
                                                     L"value", 42L);
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

    Omif_Design *point = omif_DesignCreateX(L"Point", &err, OMIF_ITEM_DOUBLE, L"x", 1,
                                            OMIF_DIRECT, OMIF_ITEM_SHORT, L"y", 1, OMIF_DIRECT,
                                            OMIF_ITEM_END);
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
    if (failures == 0) printf("C interface: all checks passed\n");
    return failures == 0 ? 0 : 1;
}
