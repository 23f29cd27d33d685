// Preference database: loading 100 definition files of 100 parameters each, and the cost of
// one number lookup in the resulting database (target: at most 1 microsecond).
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include <orvik/opmg.h>

namespace {

constexpr int kFiles = 100;
constexpr int kParameters = 100;

// Writes the definition files once into a temporary folder and points GIO_PDF_PATH at it.
const std::string &DefinitionFolder() {
    static const std::string folder = [] {
        std::string tmpl = (std::filesystem::temp_directory_path() / "prefs-bench-XXXXXX").string();
        if (!mkdtemp(tmpl.data())) std::abort();
        for (int f = 0; f < kFiles; ++f) {
            std::ofstream out(tmpl + "/defs" + std::to_string(f) + ".pdf");
            out << "pdf \"bench " << f << "\";\ncategory" << f << " {\n";
            for (int p = 0; p < kParameters; ++p) {
                switch (p % 4) {
                case 0:
                    out << "  number" << p << " : OPMG_NUMBER min 0 max 1000 default " << p
                        << ";\n";
                    break;
                case 1:
                    out << "  text" << p << " : OPMG_STRING maxlength 64 default \"value " << p
                        << "\";\n";
                    break;
                case 2:
                    out << "  choice" << p
                        << " : OPMG_STRING enums {one, two, three} default \"two\";\n";
                    break;
                default:
                    out << "  colour" << p << " : OPMG_COLOR default pc 1,2,3 unix 4,5,6;\n";
                    break;
                }
            }
            out << "}\n";
        }
        setenv("GIO_PDF_PATH", tmpl.c_str(), 1);
        unsetenv("GIO_PREFERENCES_PATH");
        return tmpl;
    }();
    return folder;
}

void BM_LoadDefinitionFiles(benchmark::State &state) {
    DefinitionFolder();
    for (auto _ : state) {
        Oerr_ErrorReport *err = nullptr;
        Opmg_Category *list = opmg_LoadPDFs(&err);
        if (!list || err) state.SkipWithError("loading failed");
        opmg_FreeCategoryList(list);
    }
    state.counters["parameters"] = kFiles * kParameters;
}
BENCHMARK(BM_LoadDefinitionFiles)->Unit(benchmark::kMillisecond);

void BM_GetNumberPreference(benchmark::State &state) {
    DefinitionFolder();
    Oerr_ErrorReport *err = nullptr;
    if (opmg_Init(&err) != 0) state.SkipWithError("opmg_Init failed");
    double sum = 0;
    for (auto _ : state) {
        sum += opmg_GetNumberPreference(L"category57", L"number48", &err);
    }
    if (err || sum != 48.0 * static_cast<double>(state.iterations()))
        state.SkipWithError("wrong value");
    opmg_Close(&err);
}
BENCHMARK(BM_GetNumberPreference);

} // namespace

BENCHMARK_MAIN();
