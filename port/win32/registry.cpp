// Win32 registry access (see port/registry.hpp): wide Reg* calls, texts as REG_SZ, numbers as
// REG_DWORD.
#include "port/registry.hpp"

#include <cstdint>
#include <cstring>

#include "port/win32/win32_text.hpp"

namespace orvik::port::registry {

namespace {

HKEY RootHandle(const std::wstring &root) {
    if (root == L"HKEY_CURRENT_USER") return HKEY_CURRENT_USER;
    if (root == L"HKEY_LOCAL_MACHINE") return HKEY_LOCAL_MACHINE;
    if (root == L"HKEY_USERS") return HKEY_USERS;
    if (root == L"HKEY_CLASSES_ROOT") return HKEY_CLASSES_ROOT;
    return nullptr;
}

std::wstring SubKey(const std::wstring &path) {
    std::wstring key = path;
    for (wchar_t &c : key) {
        if (c == L'/') c = L'\\';
    }
    return key;
}

// Closes an open key when it goes out of scope.
struct OpenKey {
    HKEY handle = nullptr;
    ~OpenKey() {
        if (handle) RegCloseKey(handle);
    }
};

} // namespace

bool Available() { return true; }
std::string Reason(Code code) { return win32::ErrorText(static_cast<DWORD>(code)); }

Code ReadValues(const std::wstring &root, const std::wstring &path, std::vector<Value> &values,
                bool &exists) {
    values.clear();
    exists = false;
    HKEY base = RootHandle(root);
    if (!base) return ERROR_INVALID_HANDLE;
    OpenKey key;
    LONG code = RegOpenKeyExW(base, SubKey(path).c_str(), 0, KEY_QUERY_VALUE, &key.handle);
    if (code == ERROR_FILE_NOT_FOUND) return 0;
    if (code != ERROR_SUCCESS) return code;
    exists = true;
    DWORD count = 0, longestName = 0, longestData = 0;
    code = RegQueryInfoKeyW(key.handle, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                            &count, &longestName, &longestData, nullptr, nullptr);
    if (code != ERROR_SUCCESS) return code;
    std::wstring name(longestName + 1, L'\0');
    std::vector<BYTE> data(longestData + sizeof(wchar_t));
    for (DWORD i = 0; i < count; ++i) {
        DWORD nameLength = static_cast<DWORD>(name.size());
        DWORD type = 0;
        DWORD dataLength = static_cast<DWORD>(data.size());
        code = RegEnumValueW(key.handle, i, name.data(), &nameLength, nullptr, &type, data.data(),
                             &dataLength);
        if (code == ERROR_NO_MORE_ITEMS) break;
        if (code != ERROR_SUCCESS) return code;
        Value value;
        value.name.assign(name.data(), nameLength);
        if (type == REG_DWORD && dataLength == sizeof(DWORD)) {
            DWORD number = 0;
            std::memcpy(&number, data.data(), sizeof number);
            value.isNumber = true;
            value.number = static_cast<long>(static_cast<std::int32_t>(number));
        } else if (type == REG_SZ || type == REG_EXPAND_SZ) {
            // The stored text may or may not end with its terminator.
            std::wstring text(dataLength / sizeof(wchar_t), L'\0');
            std::memcpy(text.data(), data.data(), text.size() * sizeof(wchar_t));
            while (!text.empty() && text.back() == L'\0') text.pop_back();
            value.text = text;
        } else {
            continue;
        }
        values.push_back(std::move(value));
    }
    return 0;
}

Code DeleteTree(const std::wstring &root, const std::wstring &path) {
    HKEY base = RootHandle(root);
    if (!base) return ERROR_INVALID_HANDLE;
    // The root itself is never removed.
    if (path.empty()) return ERROR_ACCESS_DENIED;
    const LONG code = RegDeleteTreeW(base, SubKey(path).c_str());
    return code == ERROR_FILE_NOT_FOUND ? 0 : code;
}

Code Create(const std::wstring &root, const std::wstring &path) {
    HKEY base = RootHandle(root);
    if (!base) return ERROR_INVALID_HANDLE;
    OpenKey key;
    return RegCreateKeyExW(base, SubKey(path).c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                           KEY_WRITE, nullptr, &key.handle, nullptr);
}

Code ReplaceValues(const std::wstring &root, const std::wstring &path,
                   const std::vector<Value> &values) {
    HKEY base = RootHandle(root);
    if (!base) return ERROR_INVALID_HANDLE;
    OpenKey key;
    LONG code =
        RegOpenKeyExW(base, SubKey(path).c_str(), 0, KEY_QUERY_VALUE | KEY_SET_VALUE, &key.handle);
    if (code != ERROR_SUCCESS) return code;
    // Old values go first, so that a value no longer saved does not linger.
    for (;;) {
        wchar_t name[16384];
        DWORD length = 16384;
        code = RegEnumValueW(key.handle, 0, name, &length, nullptr, nullptr, nullptr, nullptr);
        if (code == ERROR_NO_MORE_ITEMS) break;
        if (code != ERROR_SUCCESS) return code;
        code = RegDeleteValueW(key.handle, name);
        if (code != ERROR_SUCCESS) return code;
    }
    for (const Value &v : values) {
        if (v.isNumber) {
            const DWORD number = static_cast<DWORD>(static_cast<std::int32_t>(v.number));
            code = RegSetValueExW(key.handle, v.name.c_str(), 0, REG_DWORD,
                                  reinterpret_cast<const BYTE *>(&number), sizeof number);
        } else {
            code = RegSetValueExW(key.handle, v.name.c_str(), 0, REG_SZ,
                                  reinterpret_cast<const BYTE *>(v.text.c_str()),
                                  static_cast<DWORD>((v.text.size() + 1) * sizeof(wchar_t)));
        }
        if (code != ERROR_SUCCESS) return code;
    }
    return 0;
}

} // namespace orvik::port::registry
