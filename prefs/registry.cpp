// Registry keys (see registry.hpp): the system registry where the host has one and
// GIO_REGISTRY_PATH is unset, else one file per key, written atomically.
#include "prefs/registry.hpp"

#include <string>

#include <orvik/ofio.h>

#include "core/guard.hpp"
#include "prefs/atomic_file.hpp"
#include "prefs/file_text.hpp"
#include "prefs/prf_text.hpp"
#include "prefs/report.hpp"
#include "strings/environment.hpp"
#include "core/format.hpp"
#include "core/utf8.hpp"
#include "port/registry.hpp"

using orvik::core::SetError;

namespace orvik::prefs {

namespace {

const wchar_t *const kRoots[] = {L"HKEY_CURRENT_USER", L"HKEY_LOCAL_MACHINE", L"HKEY_USERS",
                                 L"HKEY_CLASSES_ROOT"};

namespace reg = orvik::port::registry;

bool RegistryFolderSet(std::wstring &folder) {
    return orvik::text::LookupEnvironment(L"GIO_REGISTRY_PATH", folder) ==
               orvik::text::EnvLookup::Set &&
           !folder.empty();
}

// A registry folder named in the environment takes the place of the system registry, so that
// tests and sandboxed runs touch only files they own.
bool UseSystemRegistry() {
    std::wstring folder;
    return reg::Available() && !RegistryFolderSet(folder);
}

bool SystemFailed(Oerr_ErrorReport **err, const wchar_t *function, const wchar_t *action,
                  const RegistryKey &key, reg::Code code) {
    SetError(err, function, kFileFailed, nullptr, L"%s %s\\%s: %S", action, key.root.c_str(),
             key.path.c_str(), reg::Reason(code).c_str());
    return false;
}

std::wstring RenderValues(const std::vector<RegistryValue> &values) {
    std::wstring text;
    for (const RegistryValue &v : values) {
        if (v.isNumber) {
            text += orvik::text::Format(L"%s : %d ;\n", v.name.c_str(), static_cast<int>(v.number));
        } else {
            text += orvik::text::Format(L"%s : \"%s\" ;\n", v.name.c_str(), v.text.c_str());
        }
    }
    return text;
}

std::wstring RegistryFolder() {
    std::wstring folder;
    if (RegistryFolderSet(folder)) return folder;
    std::wstring home;
    if (orvik::text::LookupEnvironment(L"HOME", home) != orvik::text::EnvLookup::Set)
        home = L"/tmp";
    return home + L"/.config/orvik/registry";
}

std::wstring KeyFile(const RegistryKey &key) {
    std::wstring file = RegistryFolder() + L"/" + key.root;
    if (!key.path.empty()) file += L"/" + key.path;
    return file + L".key";
}

std::wstring KeyFolder(const RegistryKey &key) {
    const std::wstring file = KeyFile(key);
    return file.substr(0, file.rfind(L'/'));
}

} // namespace

bool ParseRegistryKey(const std::wstring &text, RegistryKey &key, Oerr_ErrorReport **err) {
    std::wstring all = text;
    for (wchar_t &c : all) {
        if (c == L'\\') c = L'/';
    }
    const std::size_t slash = all.find(L'/');
    key.root = all.substr(0, slash);
    key.path = slash == std::wstring::npos ? L"" : all.substr(slash + 1);
    while (!key.path.empty() && key.path.back() == L'/') key.path.pop_back();
    bool known = false;
    for (const wchar_t *root : kRoots) known = known || key.root == root;
    // ".." would leave the registry folder.
    if (!known || key.path.find(L"..") != std::wstring::npos) {
        SetError(err, L"ParseRegistryKey", kFileFailed, nullptr,
                 L"Error getting HKEY handle from text");
        return false;
    }
    return true;
}

bool ReadKeyAsPreferenceText(const RegistryKey &key, std::wstring &text, bool &exists,
                             Oerr_ErrorReport **err) {
    if (UseSystemRegistry()) {
        std::vector<reg::Value> found;
        const reg::Code code = reg::ReadValues(key.root, key.path, found, exists);
        if (code != 0) {
            return SystemFailed(err, L"ReadKeyAsPreferenceText", L"Cannot read", key, code);
        }
        std::vector<RegistryValue> values;
        for (const reg::Value &v : found) values.push_back({v.name, v.isNumber, v.text, v.number});
        text = RenderValues(values);
        return true;
    }
    const std::wstring file = KeyFile(key);
    Oerr_ErrorReport *inner = nullptr;
    exists = ofio_FileExists(file.c_str(), &inner) == OMSC_TRUE;
    if (inner) {
        SetError(err, L"ReadKeyAsPreferenceText", kFileFailed, inner, L"Cannot examine %s",
                 file.c_str());
        return false;
    }
    if (!exists) return true;
    std::string bytes;
    if (!ReadWholeFile(file.c_str(), bytes, err)) return false;
    // The key file is preference text with whole value names; render each value as an entry.
    text.clear();
    std::wstring converted;
    if (!orvik::text::Utf8ToWide(bytes, converted).ok) {
        SetError(err, L"ReadKeyAsPreferenceText", kParseFailed, nullptr,
                 L"%s is not valid UTF-8 text", file.c_str());
        return false;
    }
    text = converted;
    return true;
}

bool DeleteKey(const RegistryKey &key, Oerr_ErrorReport **err) {
    if (UseSystemRegistry()) {
        const reg::Code code = reg::DeleteTree(key.root, key.path);
        return code == 0 || SystemFailed(err, L"DeleteKey", L"Cannot remove", key, code);
    }
    const std::wstring file = KeyFile(key);
    Oerr_ErrorReport *inner = nullptr;
    if (ofio_FileExists(file.c_str(), &inner) != OMSC_TRUE) {
        if (!inner) return true;
        SetError(err, L"DeleteKey", kFileFailed, inner, L"Cannot examine %s", file.c_str());
        return false;
    }
    if (ofio_FileRemove(file.c_str(), &inner) != 0) {
        SetError(err, L"DeleteKey", kFileFailed, inner, L"Cannot remove %s", file.c_str());
        return false;
    }
    return true;
}

bool CreateKey(const RegistryKey &key, Oerr_ErrorReport **err) {
    if (UseSystemRegistry()) {
        const reg::Code code = reg::Create(key.root, key.path);
        return code == 0 || SystemFailed(err, L"CreateKey", L"Cannot create", key, code);
    }
    Oerr_ErrorReport *inner = nullptr;
    if (ofio_MaybeMakeDir(KeyFolder(key).c_str(), &inner) != 0) {
        SetError(err, L"CreateKey", kFileFailed, inner, L"ofio_MaybeMakeDir failed");
        return false;
    }
    return WriteKeyValues(key, {}, err);
}

bool WriteKeyValues(const RegistryKey &key, const std::vector<RegistryValue> &values,
                    Oerr_ErrorReport **err) {
    if (UseSystemRegistry()) {
        std::vector<reg::Value> stored;
        for (const RegistryValue &v : values)
            stored.push_back({v.name, v.isNumber, v.text, v.number});
        const reg::Code code = reg::ReplaceValues(key.root, key.path, stored);
        return code == 0 || SystemFailed(err, L"WriteKeyValues", L"Cannot write", key, code);
    }
    return WriteFileAtomically(KeyFile(key), orvik::text::WideToUtf8Lossy(RenderValues(values)),
                               err);
}

} // namespace orvik::prefs
