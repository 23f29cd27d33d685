// The library's own preference implementation (oprf_Default...): the default database in
// memory, loaded from definition and preference files, with its callback list. Its data
// pointer is the module's Database; every method takes the module mutex for its own work and
// releases it before callbacks run.
#include <cmath>
#include <string>
#include <vector>

#include <orvik/oprf.h>

#include "core/guard.hpp"
#include "core/heap_config.hpp"
#include "prefs/model.hpp"
#include "prefs/module.hpp"
#include "prefs/report.hpp"
#include "prefs/store.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using namespace orvik::prefs;

namespace {

// The big heap's size in megabytes, read when the heap creates its arena.
double HeapSizeLookup() {
    Oerr_ErrorReport *err = nullptr;
    const double megabytes = opmg_GetNumberPreference(L"memory", L"heap_size", &err);
    oerr_DeleteErrorReportEx(&err);
    return megabytes;
}

void NotFound(Oerr_ErrorReport **err, const wchar_t *fn, const wchar_t *category,
              const wchar_t *name) {
    SetError(err, fn, kNotFound, nullptr, L"CategoryListFindParameterInCategory failed for %s.%s",
             category ? category : L"<Null>", name ? name : L"<Null>");
}

} // namespace

extern "C" {

ORVIK_API void *oprf_DefaultData(void) ORVIK_NOEXCEPT { return &TheModule().database; }

ORVIK_API long oprf_DefaultDatabaseInitialize(void * /*data*/, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    const wchar_t *fn = L"oprf_DefaultDatabaseInitialize";
    if (err) *err = nullptr;
    return Guarded<long>(err, fn, -1, [&]() -> long {
        Oerr_ErrorReport *inner = nullptr;
        ListHolder list(opmg_LoadPDFs(&inner));
        if (inner) {
            SetError(err, fn, kFileFailed, inner, L"opmg_LoadPDFs failed");
            return -1;
        }
        if (opmg_PrfParse(list.list, &inner) != 0) {
            // A damaged preference file leaves the defaults (and what was read before it).
            Warn(fn, kParseFailed, inner, L"opmg_PrfParse failed; defaults used");
        }
        {
            Module &m = TheModule();
            std::lock_guard<std::mutex> lock(m.mutex);
            m.database.Clear();
            m.database.list = list.Release();
            m.database.Reindex();
        }
        orvik::core::SetHeapSizePreferenceLookup(HeapSizeLookup);
        return 0;
    });
}

ORVIK_API long oprf_DefaultDatabaseTerminate(void * /*data*/, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    orvik::core::SetHeapSizePreferenceLookup(nullptr);
    Module &m = TheModule();
    std::lock_guard<std::mutex> lock(m.mutex);
    m.database.Clear();
    m.database.callbacks.clear();
    return 0;
}

ORVIK_API long oprf_DefaultDatabaseFlush(void * /*data*/, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    return 0;
}

ORVIK_API long oprf_DefaultPreferenceAddCB(void * /*data*/, const wchar_t *category,
                                           const wchar_t *name, Opmg_CallbackFunc function,
                                           void *clientData, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    const wchar_t *fn = L"oprf_DefaultPreferenceAddCB";
    if (err) *err = nullptr;
    return Guarded<long>(err, fn, -1, [&]() -> long {
        if (!function) {
            SetError(err, fn, kBadArgument, nullptr, L"Missing callback function");
            return -1;
        }
        Module &m = TheModule();
        std::lock_guard<std::mutex> lock(m.mutex);
        if (!m.database.Find(category, name)) {
            NotFound(err, fn, category, name);
            return -1;
        }
        m.database.callbacks[Key(category, name)].push_back({function, clientData});
        return 0;
    });
}

ORVIK_API long oprf_DefaultPreferenceRemCB(void * /*data*/, const wchar_t *category,
                                           const wchar_t *name, Opmg_CallbackFunc function,
                                           void *clientData, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    const wchar_t *fn = L"oprf_DefaultPreferenceRemCB";
    if (err) *err = nullptr;
    return Guarded<long>(err, fn, -1, [&]() -> long {
        Module &m = TheModule();
        std::lock_guard<std::mutex> lock(m.mutex);
        auto it = m.database.callbacks.find(Key(category, name));
        if (it != m.database.callbacks.end()) {
            auto &list = it->second;
            for (auto e = list.begin(); e != list.end(); ++e) {
                if (e->function == function && e->clientData == clientData) {
                    list.erase(e);
                    if (list.empty()) m.database.callbacks.erase(it);
                    return 0;
                }
            }
        }
        const std::wstring qualified = QualifiedName(category, name);
        SetError(err, fn, kNotFound, nullptr, L"No such callback registered for %s",
                 qualified.c_str());
        return -1;
    });
}

ORVIK_API long oprf_DefaultPreferenceGet(void * /*data*/, const wchar_t *category,
                                         const wchar_t *name, Opmg_Preference *value,
                                         Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    const wchar_t *fn = L"oprf_DefaultPreferenceGet";
    if (err) *err = nullptr;
    return Guarded<long>(err, fn, -1, [&]() -> long {
        if (!value) {
            SetError(err, fn, kBadArgument, nullptr, L"Missing value");
            return -1;
        }
        bool expand = false;
        {
            Module &m = TheModule();
            std::lock_guard<std::mutex> lock(m.mutex);
            const Opmg_Parameter *p = m.database.Find(category, name);
            if (!p) {
                NotFound(err, fn, category, name);
                return -1;
            }
            *value = Opmg_Preference{};
            CopyValue(*value, p->value);
            value->type = p->type;
            expand = (p->attributes & OPMG_ATTR_ENVEXPAND) != 0;
        }
        if (expand && value->string) {
            Oerr_ErrorReport *inner = nullptr;
            wchar_t *expanded = ostr_StringEvaluate(value->string, &inner);
            if (!expanded) {
                ClearValue(*value);
                SetError(err, fn, kBadValue, inner, L"Cannot expand %s.%s", category, name);
                return -1;
            }
            omsc_HeapFree(value->string);
            value->string = expanded;
        }
        return 0;
    });
}

ORVIK_API long oprf_DefaultPreferencePut(void * /*data*/, const wchar_t *category,
                                         const wchar_t *name, const Opmg_Preference *value,
                                         Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    const wchar_t *fn = L"oprf_DefaultPreferencePut";
    if (err) *err = nullptr;
    return Guarded<long>(err, fn, -1, [&]() -> long {
        if (!value) {
            SetError(err, fn, kBadArgument, nullptr, L"Missing value");
            return -1;
        }
        if (value->type == OPMG_COLOR && value->color.count != 3 && value->color.count != 4) {
            SetError(err, fn, kBadValue, nullptr, L"A colour has 3 or 4 components, not %d",
                     static_cast<int>(value->color.count));
            return -1;
        }
        if (value->type == OPMG_NUMBER && !std::isfinite(value->number)) {
            // The preference file has no form for these.
            SetError(err, fn, kBadValue, nullptr, L"A preference number must be finite");
            return -1;
        }
        struct Holder {
            Opmg_Preference v{};
            ~Holder() { ClearValue(v); }
        } holder;
        Opmg_Preference &stored = holder.v;
        bool logging = false;
        Oerr_ErrorReport *warning = nullptr;
        {
            Module &m = TheModule();
            std::lock_guard<std::mutex> lock(m.mutex);
            Opmg_Parameter *p = m.database.Find(category, name);
            if (!p) {
                NotFound(err, fn, category, name);
                return -1;
            }
            if (p->type != value->type) {
                SetError(err, fn, kTypeMismatch, nullptr, L"Type mismatch");
                return -1;
            }
            StoreValue(category, *p, *value, &warning);
            m.database.unsaved = true;
            logging = m.logging;
            CopyValue(stored, p->value);
        }
        PrintWarning(warning);
        if (logging) {
            const std::wstring qualified = QualifiedName(category, name);
            oerr_MessageLog(OERR_KIND_PLAIN, L"Preference %s changed", qualified.c_str());
        }
        RunCallbacks(category, name, stored);
        return 0;
    });
}

} // extern "C"
