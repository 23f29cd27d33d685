/* A minimal plug-in of the class "ExampleFormats": it keeps a counter as its instance data,
 * counts configurations and answers one parameter. Only create and destroy are required. */
#include <orvik/odll.h>
#include <orvik/omsc.h>

#include <wchar.h>

#define PLUGIN_EXPORT __attribute__((visibility("default")))

typedef struct HelloData {
    long configured;
    wchar_t text[32];
} HelloData;

PLUGIN_EXPORT long orvikPluginCreate(const wchar_t *className, const wchar_t *instanceName,
                                     void **data, Oerr_ErrorReport **err) {
    (void)className;
    HelloData *d = omsc_HeapMalloc((int32_t)sizeof *d);
    if (!d) {
        *err = oerr_CreateErrorReport(L"orvikPluginCreate", 5, OERR_KIND_ERROR, NULL,
                                      L"Out of memory");
        return -1;
    }
    swprintf(d->text, 32, L"hello from %ls", instanceName);
    *data = d;
    return 0;
}

PLUGIN_EXPORT long orvikPluginDestroy(void *data, Oerr_ErrorReport **err) {
    (void)err;
    omsc_HeapFree(data);
    return 0;
}

PLUGIN_EXPORT long orvikPluginConfigure(void *data, Oerr_ErrorReport **err) {
    (void)err;
    ((HelloData *)data)->configured++;
    return 0;
}

PLUGIN_EXPORT const wchar_t *orvikPluginParameter(void *data, const wchar_t *name) {
    return wcscmp(name, L"greeting") == 0 ? ((HelloData *)data)->text : NULL;
}
