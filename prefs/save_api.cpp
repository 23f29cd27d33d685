// Saving the preference database: to a folder's preference file or to a registry key, for
// the user (the element under GIO_PERSONAL) or the site (the last element).
#include <memory>
#include <cmath>
#include <string>
#include <vector>

#include <orvik/ofio.h>
#include <orvik/opmg.h>

#include "core/guard.hpp"
#include "core/heap_text.hpp"
#include "prefs/file_text.hpp"
#include "prefs/model.hpp"
#include "prefs/module.hpp"
#include "prefs/prf_text.hpp"
#include "prefs/prf_writer.hpp"
#include "prefs/registry.hpp"
#include "prefs/report.hpp"
#include "strings/environment.hpp"
#include "core/format.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using namespace orvik::prefs;

namespace {

// Converts a preference file into registry values.
bool ReadV8PreferenceToRegistry(const std::wstring &file, const RegistryKey &key,
                                Oerr_ErrorReport **err) {
    std::string bytes;
    if (!ReadWholeFile(file.c_str(), bytes, err)) return false;
    std::vector<RegistryValue> values;
    auto take = [&](const PrfEntry &e) {
        RegistryValue v;
        v.name = e.category + L"." + e.name;
        switch (e.kind) {
        case PrfEntry::Text:
            v.text = e.text;
            break;
        case PrfEntry::Number:
            if (e.number == std::floor(e.number) && std::fabs(e.number) <= 2147483647.0) {
                v.isNumber = true;
                v.number = static_cast<long>(e.number);
            } else {
                v.text = orvik::text::Format(L"%f", e.number);
            }
            break;
        case PrfEntry::Color:
            v.text =
                e.color.count == 4
                    ? orvik::text::Format(L"%d,%d,%d,%d", e.color.red, e.color.green, e.color.blue,
                                          e.color.alpha)
                    : orvik::text::Format(L"%d,%d,%d", e.color.red, e.color.green, e.color.blue);
            break;
        }
        values.push_back(std::move(v));
        return true;
    };
    if (!ScanPreferenceText(file.c_str(), bytes.data(), bytes.size(), take, err)) return false;
    return WriteKeyValues(key, values, err);
}

long SaveToKey(const wchar_t *fn, const std::wstring &element, const Opmg_Category *list,
               Oerr_ErrorReport **err) {
    RegistryKey key;
    Oerr_ErrorReport *inner = nullptr;
    if (!ParseRegistryKey(element, key, err)) return -1;
    wchar_t *tempRoot = ofio_TempDirGet(&inner);
    if (!tempRoot) {
        SetError(err, fn, kFileFailed, inner, L"ofio_TempDirGet failed");
        return -1;
    }
    const std::wstring folder = std::wstring(tempRoot) + L"/OPMG";
    omsc_HeapFree(tempRoot);
    if (ofio_MaybeMakeDir(folder.c_str(), &inner) != 0) {
        SetError(err, fn, kFileFailed, inner, L"ofio_MaybeMakeDir failed");
        return -1;
    }
    wchar_t *tempName = ofio_TempFileCreate(folder.c_str(), L"prf", nullptr, &inner);
    if (!tempName) {
        SetError(err, fn, kFileFailed, inner, L"ofio_TempFileCreate failed");
        return -1;
    }
    const std::wstring temp(tempName);
    omsc_HeapFree(tempName);
    long rc = -1;
    if (!WriteV8Preference(list, temp, &inner)) {
        SetError(err, fn, kFileFailed, inner, L"WriteV8Preferencefailed");
    } else if (!DeleteKey(key, &inner)) {
        SetError(err, fn, kFileFailed, inner, L"Couldn't delete reg key %s", element.c_str());
    } else if (!CreateKey(key, &inner)) {
        SetError(err, fn, kFileFailed, inner, L"Couldn't create reg key %s", element.c_str());
    } else if (!ReadV8PreferenceToRegistry(temp, key, &inner)) {
        SetError(err, fn, kFileFailed, inner, L"ReadV8PreferenceToRegistry failed");
    } else {
        rc = 0;
    }
    if (ofio_FileRemove(temp.c_str(), &inner) != 0 && rc == 0) {
        SetError(err, fn, kFileFailed, inner, L"Could'nt delete %s", temp.c_str());
        return -1;
    }
    oerr_DeleteErrorReportEx(&inner);
    return rc;
}

long SaveToFolder(const wchar_t *fn, const std::wstring &folder, int index,
                  const std::wstring &fileName, const Opmg_Category *list, Oerr_ErrorReport **err) {
    Oerr_ErrorReport *inner = nullptr;
    if (ofio_FileExists(folder.c_str(), &inner) == OMSC_TRUE &&
        ofio_IsDirectory(folder.c_str(), &inner) != OMSC_TRUE) {
        SetError(err, fn, kFileFailed, inner, L"%d not a directory and not a reg key", index);
        return -1;
    }
    oerr_DeleteErrorReportEx(&inner);
    if (ofio_MaybeMakeDir(folder.c_str(), &inner) != 0) {
        SetError(err, fn, kFileFailed, inner, L"ofio_MaybeMakeDir failed");
        return -1;
    }
    const std::wstring path = (folder == L"/" ? folder : folder + L"/") + fileName;
    if (!WriteV8Preference(list, path, &inner)) {
        SetError(err, fn, kFileFailed, inner, L"WriteV8Preferencefailed");
        return -1;
    }
    return 0;
}

// Whether `element` is `personal` or lies below it.
bool Under(const std::wstring &element, const std::wstring &personal) {
    if (personal.empty() || element.rfind(personal, 0) != 0) return false;
    return element.size() == personal.size() || element[personal.size()] == L'/' ||
           personal.back() == L'/';
}

long Save(const wchar_t *fn, bool global, Oerr_ErrorReport **err) {
    Oerr_ErrorReport *inner = nullptr;
    // Freed on every way out, a throw included.
    std::unique_ptr<ostr_StringList, void (*)(ostr_StringList *)> elements(
        ofio_SearchListCreateFromEnv(L"GIO_PREFERENCES_PATH", &inner),
        [](ostr_StringList *l) { ostr_StringListDelete(l, nullptr); });
    if (!elements || elements->count == 0) {
        SetError(err, fn, kFileFailed, inner,
                 L"Environment variable ORVIK_PREFERENCES_PATH yields invalid search list");
        return -1;
    }
    std::vector<std::wstring> list;
    for (int32_t i = 0; i < elements->count; ++i) {
        list.emplace_back(elements->strings[i] ? elements->strings[i] : L"");
    }
    elements.reset();

    if (orvik::core::TakeHeapText(opmg_GetDataBaseType(nullptr)) == L"global") global = true;

    int target = static_cast<int>(list.size()) - 1;
    if (!global) {
        target = 0;
        std::wstring personal;
        if (orvik::text::LookupEnvironment(L"GIO_PERSONAL", personal) ==
            orvik::text::EnvLookup::Set) {
            for (wchar_t &c : personal) {
                if (c == L'\\') c = L'/';
            }
            for (std::size_t i = 0; i < list.size(); ++i) {
                if (Under(list[i], personal)) {
                    target = static_cast<int>(i);
                    break;
                }
            }
        }
    }

    ListHolder snapshot;
    std::wstring fileName;
    {
        Module &m = TheModule();
        std::lock_guard<std::mutex> lock(m.mutex);
        for (const Opmg_Category *c = m.database.list; c; c = c->next) {
            Opmg_Category *copy = CopyCategory(*c);
            copy->next = snapshot.list; // reversed here, put right below
            snapshot.list = copy;
        }
        fileName = m.fileName;
    }
    Opmg_Category *ordered = nullptr;
    while (Opmg_Category *c = snapshot.list) {
        snapshot.list = c->next;
        c->next = ordered;
        ordered = c;
    }
    snapshot.list = ordered;

    const std::wstring &element = list[static_cast<std::size_t>(target)];
    const long rc = element.rfind(L"HKEY_", 0) == 0
                        ? SaveToKey(fn, element, snapshot.list, err)
                        : SaveToFolder(fn, element, target, fileName, snapshot.list, err);
    if (rc == 0) {
        Module &m = TheModule();
        std::lock_guard<std::mutex> lock(m.mutex);
        m.database.unsaved = false;
    }
    return rc;
}

} // namespace

extern "C" {

ORVIK_API long opmg_SaveUserPreference(Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    const wchar_t *fn = L"opmg_SaveUserPreference";
    if (err) *err = nullptr;
    return Guarded<long>(err, fn, -1, [&] { return Save(fn, false, err); });
}

ORVIK_API long opmg_SaveGlobalPreference(Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    const wchar_t *fn = L"opmg_SaveGlobalPreference";
    if (err) *err = nullptr;
    return Guarded<long>(err, fn, -1, [&] { return Save(fn, true, err); });
}

ORVIK_API long opmg_WritePreferenceFile(const Opmg_Category *list, const wchar_t *fileName,
                                        Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    const wchar_t *fn = L"opmg_WritePreferenceFile";
    if (err) *err = nullptr;
    return Guarded<long>(err, fn, -1, [&]() -> long {
        if (!fileName || !*fileName) {
            SetError(err, fn, kBadArgument, nullptr, L"Missing file name");
            return -1;
        }
        Oerr_ErrorReport *inner = nullptr;
        if (!WriteV8Preference(list, fileName, &inner)) {
            SetError(err, fn, kFileFailed, inner, L"WriteV8Preferencefailed");
            return -1;
        }
        return 0;
    });
}

} // extern "C"
