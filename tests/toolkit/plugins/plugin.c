/* A test plug-in. Built several times with different switches:
 *   FAIL_CREATE     create reports failure
 *   FAIL_CONFIGURE  configure reports failure
 *   NO_DESTROY      the destroy entry is missing (the library must be refused)
 *   NO_CONFIGURE    no configure and no parameter entry */
#include <orvik/odll.h>

#include <stdio.h>
#include <stdlib.h>

#include "test_plugin.h"

#ifdef _WIN32
#define EXPORT __declspec(dllexport)
#else
#define EXPORT __attribute__((visibility("default")))
#endif

static void Log(const char *event, const wchar_t *instance) {
    const char *file = getenv(TEST_PLUGIN_LOG_VARIABLE);
    if (!file) return;
    FILE *f = fopen(file, "ab"); /* "\n" stays one byte on Windows */
    if (!f) return;
    fprintf(f, "%s %ls\n", event, instance ? instance : L"?");
    fclose(f);
}

EXPORT long orvikPluginCreate(const wchar_t *className, const wchar_t *instanceName, void **data,
                              Oerr_ErrorReport **err) {
    (void)err;
    Log("create", instanceName);
#ifdef FAIL_CREATE
    (void)className;
    (void)data;
    return -1;
#else
    TestPluginData *d = calloc(1, sizeof *d);
    if (!d) return -1;
    swprintf(d->className, 64, L"%ls", className);
    swprintf(d->instanceName, 64, L"%ls", instanceName);
    *data = d;
    return 0;
#endif
}

#ifndef NO_DESTROY
EXPORT long orvikPluginDestroy(void *data, Oerr_ErrorReport **err) {
    (void)err;
    TestPluginData *d = data;
    Log("destroy", d ? d->instanceName : NULL);
    free(d);
    return 0;
}
#endif

#ifndef NO_CONFIGURE
EXPORT long orvikPluginConfigure(void *data, Oerr_ErrorReport **err) {
    (void)err;
    TestPluginData *d = data;
    Log("configure", d->instanceName);
#ifdef FAIL_CONFIGURE
    return -1;
#else
    d->configured++;
    return 0;
#endif
}

EXPORT const wchar_t *orvikPluginParameter(void *data, const wchar_t *name) {
    TestPluginData *d = data;
    if (wcscmp(name, L"instance") == 0) return d->instanceName;
    if (wcscmp(name, L"class") == 0) return d->className;
    return NULL;
}
#endif
