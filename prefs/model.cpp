// The heap records of the preference database (see model.hpp).
#include "prefs/model.hpp"

#include <cwchar>
#include <new>

#include <orvik/ostr.h>

namespace orvik::prefs {

namespace {

template <class T> T *HeapRecord() {
    void *block = omsc_HeapMalloc(static_cast<int32_t>(sizeof(T)));
    if (!block) throw std::bad_alloc();
    return static_cast<T *>(block);
}

ostr_StringList *CopyList(const ostr_StringList *list) {
    if (!list) return nullptr;
    ostr_StringList *copy = ostr_StringListCopy(list, nullptr, nullptr);
    if (!copy) throw std::bad_alloc();
    for (int32_t i = 0; i < list->count; ++i) {
        if (list->strings[i] && !copy->strings[i]) {
            ostr_StringListDelete(copy, nullptr);
            throw std::bad_alloc();
        }
    }
    return copy;
}

} // namespace

wchar_t *HeapText(const wchar_t *text) {
    if (!text) return nullptr;
    wchar_t *copy = ostr_StringCopy(text, nullptr);
    if (!copy) throw std::bad_alloc();
    return copy;
}

wchar_t *HeapText(const std::wstring &text) { return HeapText(text.c_str()); }

void ClearValue(Opmg_Preference &value) {
    omsc_HeapFree(value.string);
    value.string = nullptr;
}

void CopyValue(Opmg_Preference &destination, const Opmg_Preference &source) {
    wchar_t *text = HeapText(source.string);
    omsc_HeapFree(destination.string);
    destination = source;
    destination.string = text;
}

Opmg_Parameter *NewParameter(const wchar_t *name, Opmg_Type type) {
    auto *p = HeapRecord<Opmg_Parameter>();
    try {
        p->name = HeapText(name);
    } catch (...) {
        omsc_HeapFree(p);
        throw;
    }
    p->type = p->declaredType = type;
    p->value.type = p->defaultValue.type = type;
    return p;
}

void FreeParameter(Opmg_Parameter *p) {
    if (!p) return;
    omsc_HeapFree(p->name);
    ClearValue(p->value);
    ClearValue(p->defaultValue);
    ostr_StringListDelete(p->enums, nullptr);
    ostr_StringListDelete(p->hideOn, nullptr);
    ostr_StringListDelete(p->showOn, nullptr);
    omsc_HeapFree(p->typedefName);
    omsc_HeapFree(p);
}

Opmg_Parameter *CopyParameter(const Opmg_Parameter &source) {
    Opmg_Parameter *p = NewParameter(source.name, source.type);
    try {
        p->declaredType = source.declaredType;
        CopyValue(p->value, source.value);
        CopyValue(p->defaultValue, source.defaultValue);
        p->attributes = source.attributes;
        p->maxLength = source.maxLength;
        p->minimum = source.minimum;
        p->maximum = source.maximum;
        p->enums = CopyList(source.enums);
        p->hideOn = CopyList(source.hideOn);
        p->showOn = CopyList(source.showOn);
        p->typedefName = HeapText(source.typedefName);
        p->stored = source.stored;
    } catch (...) {
        FreeParameter(p);
        throw;
    }
    return p;
}

Opmg_Category *NewCategory(const wchar_t *name) {
    auto *c = HeapRecord<Opmg_Category>();
    try {
        c->name = HeapText(name);
    } catch (...) {
        omsc_HeapFree(c);
        throw;
    }
    return c;
}

void FreeCategory(Opmg_Category *c) {
    if (!c) return;
    for (Opmg_Parameter *p = c->parameters; p;) {
        Opmg_Parameter *next = p->next;
        FreeParameter(p);
        p = next;
    }
    omsc_HeapFree(c->name);
    omsc_HeapFree(c);
}

void FreeList(Opmg_Category *list) {
    while (list) {
        Opmg_Category *next = list->next;
        FreeCategory(list);
        list = next;
    }
}

Opmg_Category *CopyCategory(const Opmg_Category &source, const wchar_t *newName) {
    Opmg_Category *c = NewCategory(newName ? newName : source.name);
    try {
        Opmg_Parameter **tail = &c->parameters;
        for (const Opmg_Parameter *p = source.parameters; p; p = p->next) {
            *tail = CopyParameter(*p);
            tail = &(*tail)->next;
        }
    } catch (...) {
        FreeCategory(c);
        throw;
    }
    return c;
}

Opmg_Category *FindCategory(const Opmg_Category *list, const wchar_t *name) {
    if (!name) return nullptr;
    for (const Opmg_Category *c = list; c; c = c->next) {
        if (c->name && std::wcscmp(c->name, name) == 0) return const_cast<Opmg_Category *>(c);
    }
    return nullptr;
}

Opmg_Parameter *FindParameter(const Opmg_Category *category, const wchar_t *name) {
    if (!category || !name) return nullptr;
    for (Opmg_Parameter *p = category->parameters; p; p = p->next) {
        if (p->name && std::wcscmp(p->name, name) == 0) return p;
    }
    return nullptr;
}

void MergeInto(Opmg_Category **list, Opmg_Category *from) {
    Opmg_Category **tail = list;
    while (*tail) tail = &(*tail)->next;
    while (from) {
        Opmg_Category *category = from;
        from = from->next;
        category->next = nullptr;
        Opmg_Category *existing = FindCategory(*list, category->name);
        if (!existing) {
            *tail = category;
            tail = &category->next;
            continue;
        }
        while (Opmg_Parameter *p = category->parameters) {
            category->parameters = p->next;
            p->next = nullptr;
            Opmg_Parameter **at = &existing->parameters;
            while (*at && std::wcscmp((*at)->name, p->name) != 0) at = &(*at)->next;
            if (*at) { // a later definition replaces the earlier one in place
                p->next = (*at)->next;
                FreeParameter(*at);
            }
            *at = p;
        }
        FreeCategory(category);
    }
}

bool BooleanText(const wchar_t *text) {
    return text && (ostr_Eqic(text, L"yes") || ostr_Eqic(text, L"on") || ostr_Eqic(text, L"true"));
}

} // namespace orvik::prefs
