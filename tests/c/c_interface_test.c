/* Exercises the C interface from strict C11: reports, heap and formatter. */
#include <stdio.h>
#include <string.h>
#include <wchar.h>

#include <orvik/oerr.h>
#include <orvik/omsc.h>
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

    Omsc_Boolean yes = OMSC_TRUE;
    CHECK(sizeof yes == 4);
    if (failures == 0) printf("C interface: all checks passed\n");
    return failures == 0 ? 0 : 1;
}
