// Typed and untyped get and put, through the installed implementation's methods. A typed get
// checks the type the implementation reports against the one asked for.
#include <string>

#include <orvik/opmg.h>

#include "core/guard.hpp"
#include "prefs/model.hpp"
#include "prefs/module.hpp"
#include "prefs/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using namespace orvik::prefs;

namespace {

// Owns the text of a fetched value.
struct ValueHolder {
    Opmg_Preference value{};
    ~ValueHolder() { ClearValue(value); }
};

bool Fetch(const wchar_t *fn, const wchar_t *category, const wchar_t *name, Opmg_Preference &value,
           Oerr_ErrorReport **err) {
    Methods methods;
    if (!CurrentMethods(methods) || !methods.get) {
        SetError(err, fn, kMissingMethod, nullptr, L"Missing prefGet");
        return false;
    }
    Oerr_ErrorReport *inner = nullptr;
    if (methods.get(methods.data, category, name, &value, &inner) != 0) {
        SetError(err, fn, kMethodFailed, inner, L"ImplementationMethods.prefGet failed");
        return false;
    }
    return true;
}

bool FetchTyped(const wchar_t *fn, const wchar_t *category, const wchar_t *name, Opmg_Type type,
                ValueHolder &holder, Oerr_ErrorReport **err) {
    if (!Fetch(fn, category, name, holder.value, err)) return false;
    if (holder.value.type != type) {
        SetError(err, fn, kTypeMismatch, nullptr, L"Type mismatch");
        return false;
    }
    return true;
}

long Store(const wchar_t *fn, const wchar_t *category, const wchar_t *name,
           const Opmg_Preference &value, Oerr_ErrorReport **err, bool untyped = false) {
    Methods methods;
    if (!CurrentMethods(methods) || !methods.put) {
        SetError(err, fn, kMissingMethod, nullptr, L"Missing prefPut");
        return -1;
    }
    Oerr_ErrorReport *inner = nullptr;
    if (methods.put(methods.data, category, name, &value, &inner) != 0) {
        if (untyped) {
            const std::wstring qualified = QualifiedName(category, name);
            SetError(err, fn, kMethodFailed, inner, L"ParameterValuePut failed for %s",
                     qualified.c_str());
        } else {
            SetError(err, fn, kMethodFailed, inner, L"ImplementationMethods.prefPut failed");
        }
        return -1;
    }
    return 0;
}

wchar_t *TakeText(ValueHolder &holder) {
    wchar_t *text = holder.value.string;
    holder.value.string = nullptr;
    if (!text) { // an implementation may leave empty text out
        text = ostr_StringCopy(L"", nullptr);
        if (!text) throw std::bad_alloc();
    }
    return text;
}

Opmg_Preference TextValue(Opmg_Type type, const wchar_t *text) {
    Opmg_Preference v{};
    v.type = type;
    v.string = const_cast<wchar_t *>(text ? text : L"");
    return v;
}

} // namespace

extern "C" {

ORVIK_API wchar_t *opmg_GetStringPreference(const wchar_t *category, const wchar_t *name,
                                            Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    const wchar_t *fn = L"opmg_GetStringPreference";
    if (err) *err = nullptr;
    return Guarded<wchar_t *>(err, fn, nullptr, [&]() -> wchar_t * {
        ValueHolder h;
        return FetchTyped(fn, category, name, OPMG_STRING, h, err) ? TakeText(h) : nullptr;
    });
}

ORVIK_API double opmg_GetNumberPreference(const wchar_t *category, const wchar_t *name,
                                          Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    const wchar_t *fn = L"opmg_GetNumberPreference";
    if (err) *err = nullptr;
    return Guarded<double>(err, fn, 0.0, [&]() -> double {
        ValueHolder h;
        return FetchTyped(fn, category, name, OPMG_NUMBER, h, err) ? h.value.number : 0.0;
    });
}

ORVIK_API Omsc_Boolean opmg_GetBooleanPreference(const wchar_t *category, const wchar_t *name,
                                                 Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    const wchar_t *fn = L"opmg_GetBooleanPreference";
    if (err) *err = nullptr;
    return Guarded<Omsc_Boolean>(err, fn, OMSC_FALSE, [&]() -> Omsc_Boolean {
        ValueHolder h;
        if (!FetchTyped(fn, category, name, OPMG_BOOLEAN, h, err)) return OMSC_FALSE;
        return BooleanText(h.value.string) ? OMSC_TRUE : OMSC_FALSE;
    });
}

ORVIK_API wchar_t *opmg_GetEnumPreference(const wchar_t *category, const wchar_t *name,
                                          Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    const wchar_t *fn = L"opmg_GetEnumPreference";
    if (err) *err = nullptr;
    return Guarded<wchar_t *>(err, fn, nullptr, [&]() -> wchar_t * {
        ValueHolder h;
        return FetchTyped(fn, category, name, OPMG_ENUM, h, err) ? TakeText(h) : nullptr;
    });
}

ORVIK_API long opmg_GetColorPreference(const wchar_t *category, const wchar_t *name,
                                       Opmg_Color *color, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    const wchar_t *fn = L"opmg_GetColorPreference";
    if (err) *err = nullptr;
    return Guarded<long>(err, fn, -1, [&]() -> long {
        if (!color) {
            SetError(err, fn, kBadArgument, nullptr, L"Missing colour");
            return -1;
        }
        ValueHolder h;
        if (!FetchTyped(fn, category, name, OPMG_COLOR, h, err)) return -1;
        *color = h.value.color;
        return 0;
    });
}

ORVIK_API long opmg_PutStringPreference(const wchar_t *category, const wchar_t *name,
                                        const wchar_t *value, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    const wchar_t *fn = L"opmg_PutStringPreference";
    if (err) *err = nullptr;
    return Guarded<long>(
        err, fn, -1, [&] { return Store(fn, category, name, TextValue(OPMG_STRING, value), err); });
}

ORVIK_API long opmg_PutNumberPreference(const wchar_t *category, const wchar_t *name, double value,
                                        Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    const wchar_t *fn = L"opmg_PutNumberPreference";
    if (err) *err = nullptr;
    return Guarded<long>(err, fn, -1, [&] {
        Opmg_Preference v{};
        v.type = OPMG_NUMBER;
        v.number = value;
        return Store(fn, category, name, v, err);
    });
}

ORVIK_API long opmg_PutBooleanPreference(const wchar_t *category, const wchar_t *name,
                                         Omsc_Boolean value, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    const wchar_t *fn = L"opmg_PutBooleanPreference";
    if (err) *err = nullptr;
    return Guarded<long>(err, fn, -1, [&] {
        return Store(fn, category, name,
                     TextValue(OPMG_BOOLEAN, value != OMSC_FALSE ? L"true" : L"false"), err);
    });
}

ORVIK_API long opmg_PutEnumPreference(const wchar_t *category, const wchar_t *name,
                                      const wchar_t *value, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    const wchar_t *fn = L"opmg_PutEnumPreference";
    if (err) *err = nullptr;
    return Guarded<long>(
        err, fn, -1, [&] { return Store(fn, category, name, TextValue(OPMG_ENUM, value), err); });
}

ORVIK_API long opmg_PutColorPreference(const wchar_t *category, const wchar_t *name,
                                       const Opmg_Color *color, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    const wchar_t *fn = L"opmg_PutColorPreference";
    if (err) *err = nullptr;
    return Guarded<long>(err, fn, -1, [&]() -> long {
        if (!color) {
            SetError(err, fn, kBadArgument, nullptr, L"Missing colour");
            return -1;
        }
        Opmg_Preference v{};
        v.type = OPMG_COLOR;
        v.color = *color;
        return Store(fn, category, name, v, err);
    });
}

ORVIK_API Opmg_Preference *opmg_GetPreference(const wchar_t *category, const wchar_t *name,
                                              Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    const wchar_t *fn = L"opmg_GetPreference";
    if (err) *err = nullptr;
    return Guarded<Opmg_Preference *>(err, fn, nullptr, [&]() -> Opmg_Preference * {
        ValueHolder h;
        if (!Fetch(fn, category, name, h.value, err)) return nullptr;
        Oerr_ErrorReport *inner = nullptr;
        Opmg_Preference *copy = opmg_PreferenceDup(&h.value, &inner);
        if (!copy) SetError(err, fn, kOutOfMemory, inner, L"ParameterValueCopy failed");
        return copy;
    });
}

ORVIK_API long opmg_PutPreference(const wchar_t *category, const wchar_t *name,
                                  const Opmg_Preference *value, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    const wchar_t *fn = L"opmg_PutPreference";
    if (err) *err = nullptr;
    return Guarded<long>(err, fn, -1, [&]() -> long {
        if (!value) {
            SetError(err, fn, kBadArgument, nullptr, L"Missing value");
            return -1;
        }
        return Store(fn, category, name, *value, err, true);
    });
}

ORVIK_API void opmg_PreferenceFree(Opmg_Preference *value) ORVIK_NOEXCEPT {
    if (!value) return;
    ClearValue(*value);
    omsc_HeapFree(value);
}

ORVIK_API Opmg_Preference *opmg_PreferenceDup(const Opmg_Preference *value, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    const wchar_t *fn = L"opmg_PreferenceDup";
    if (err) *err = nullptr;
    return Guarded<Opmg_Preference *>(err, fn, nullptr, [&]() -> Opmg_Preference * {
        if (!value) return nullptr;
        auto *copy = static_cast<Opmg_Preference *>(
            omsc_HeapMalloc(static_cast<int32_t>(sizeof(Opmg_Preference))));
        if (!copy) throw std::bad_alloc();
        try {
            CopyValue(*copy, *value);
        } catch (...) {
            omsc_HeapFree(copy);
            throw;
        }
        return copy;
    });
}

ORVIK_API long opmg_ParameterValueCopy(Opmg_Preference *destination, const Opmg_Preference *source,
                                       Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    const wchar_t *fn = L"opmg_ParameterValueCopy";
    if (err) *err = nullptr;
    return Guarded<long>(err, fn, -1, [&]() -> long {
        if (!destination || !source) {
            SetError(err, fn, kBadArgument, nullptr, L"Missing value");
            return -1;
        }
        if (destination != source) CopyValue(*destination, *source);
        return 0;
    });
}

} // extern "C"
