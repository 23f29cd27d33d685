// Loads every plug-in of the class "ExampleFormats" from the folder given on the command line
// (or the class's path variable), configures them and prints one parameter of each.
#include <cstdio>
#include <cstdlib>
#include <string>

#include <orvik/odll.h>

int main(int argc, char **argv) {
    if (argc > 1) setenv("GIO_EXAMPLE_FORMATS_PATH", argv[1], 1);
    Oerr_ErrorReport *err = nullptr;
    ostr_StringList *names = odll_ClassInstancesGet(L"ExampleFormats", OMSC_FALSE, &err);
    if (!names) {
        oerr_PrintErrorReportNoEML(err, OERR_REPORT_FULL);
        oerr_DeleteErrorReportEx(&err);
        return 1;
    }
    long configured = odll_ClassInstancesConfig(L"ExampleFormats", &err);
    std::printf("configured %ld instance(s)\n", configured);
    for (long i = 0; i < names->count; ++i) {
        wchar_t *text = odll_InstanceConfigParameterValueFind(L"ExampleFormats", names->strings[i],
                                                              L"greeting", &err);
        std::printf("%ls: %ls\n", names->strings[i], text ? text : L"(none)");
        omsc_HeapFree(text);
    }
    ostr_StringListDelete(names, nullptr);
    odll_InstanceCloseAll(&err);
    return 0;
}
