// Dictionaries: creation, destruction, adding designs and look-up by name.
//
// Designs stand in the order in which they were added, oldest first, and a design whose
// name is present already is not added again; so names are unique and the index finds
// the same design as a walk of the list would.
#include "mif/dictionary.hpp"

#include <deque>
#include <new>
#include <vector>

#include "core/guard.hpp"
#include "mif/design_tree.hpp"
#include "mif/item_types.hpp"
#include "mif/layout.hpp"
#include "mif/report.hpp"

using orvik::core::Guarded;
using orvik::core::GuardedVoid;
using orvik::core::SetError;
using orvik::core::SetOutOfMemory;

namespace orvik::mif {

Omif_Dictionary *NewDictionary() {
    auto *d = static_cast<Omif_Dictionary *>(omsc_HeapMalloc(sizeof(Omif_Dictionary)));
    if (!d) return nullptr;
    d->index = new (std::nothrow) Omif_DictionaryIndex_;
    if (!d->index) {
        omsc_HeapFree(d);
        return nullptr;
    }
    return d;
}

void FreeDictionary(Omif_Dictionary *dictionary) {
    if (!dictionary) return;
    for (Omif_Design *d = dictionary->designs; d;) {
        Omif_Design *next = d->next;
        DestroyDesign(d);
        d = next;
    }
    delete dictionary->index;
    omsc_HeapFree(dictionary);
}

Omif_Design *FindDesign(const Omif_Dictionary *dictionary, const wchar_t *name) {
    const auto &byName = dictionary->index->byName;
    auto it = byName.find(std::wstring_view(name));
    return it == byName.end() ? nullptr : it->second;
}

bool LinkIfUnique(Omif_Dictionary *dictionary, Omif_Design *design) {
    auto &index = *dictionary->index;
    if (!index.byName.emplace(std::wstring_view(design->name ? design->name : L""), design).second)
        return false;
    design->next = nullptr;
    if (index.last) {
        index.last->next = design;
    } else {
        dictionary->designs = design;
    }
    index.last = design;
    ++dictionary->count;
    return true;
}

void TruncateAfter(Omif_Dictionary *dictionary, Omif_Design *mark) {
    auto &index = *dictionary->index;
    Omif_Design *d = mark ? mark->next : dictionary->designs;
    if (mark) {
        mark->next = nullptr;
    } else {
        dictionary->designs = nullptr;
    }
    index.last = mark;
    while (d) {
        Omif_Design *next = d->next;
        index.byName.erase(std::wstring_view(d->name ? d->name : L""));
        --dictionary->count;
        DestroyDesign(d);
        d = next;
    }
}

namespace {

// Items of a design and of the inline designs within it.
template <class F> void ForEachItem(Omif_Design *design, F &&visit) {
    std::vector<Omif_Design *> pending{design};
    while (!pending.empty()) {
        Omif_Design *d = pending.back();
        pending.pop_back();
        for (Omif_Item *item = d->items; item; item = item->next) {
            visit(item);
            if (item->type == OMIF_ITEM_INLINE_OBJECT && item->design && item->ownsDesign)
                pending.push_back(item->design);
        }
    }
}

class DesignAdder {
  public:
    DesignAdder(Omif_Dictionary *dictionary, const wchar_t *function, Oerr_ErrorReport **err)
        : m_dictionary(dictionary), m_function(function), m_err(err),
          m_mark(dictionary->index->last) {}

    Omif_Design *Run(const Omif_Design *design) {
        Omif_Design *result = nullptr;
        bool ok = false;
        try {
            result = Take(design);
            ok = result && Drain();
        } catch (const std::bad_alloc &) {
            SetOutOfMemory(m_err, m_function);
            ok = false;
        }
        for (Omif_Design *d : m_dropped) DestroyDesign(d);
        if (!ok) {
            TruncateAfter(m_dictionary, m_mark);
            return nullptr;
        }
        return result;
    }

  private:
    // The dictionary's design of that name, adding a copy of `design` when there is none.
    Omif_Design *Take(const Omif_Design *design) {
        if (!design->name) {
            SetError(m_err, m_function, kDictionaryUnnamedDesign, nullptr,
                     L"Design without a name");
            return nullptr;
        }
        if (Omif_Design *present = FindDesign(m_dictionary, design->name)) return present;
        CopyStatus status;
        Omif_Design *copy = CopyDesign(design, status);
        if (!copy) {
            SetOutOfMemory(m_err, m_function, nullptr, L"DesignPrepend failure NULL");
            return nullptr;
        }
        try {
            LinkIfUnique(m_dictionary, copy);
        } catch (...) {
            DestroyDesign(copy);
            throw;
        }
        m_added.push_back(copy);
        return copy;
    }

    // Adds the element designs of every design added so far and points their `o` items
    // at the dictionary's designs; then lays out what was added.
    bool Drain() {
        LayoutGroup layout;
        for (size_t next = 0; next < m_added.size(); ++next) {
            Omif_Design *design = m_added[next];
            layout.Add(design);
            bool ok = true;
            ForEachItem(design, [&](Omif_Item *item) {
                if (!ok || !item->design) return;
                if (item->type == OMIF_ITEM_INLINE_OBJECT) {
                    ok = Take(item->design) != nullptr;
                } else if (item->type == OMIF_ITEM_OBJECT) {
                    Omif_Design *own = Take(item->design);
                    if (!own) {
                        ok = false;
                        return;
                    }
                    if (item->ownsDesign) m_dropped.push_back(item->design);
                    item->design = own;
                    item->ownsDesign = 0;
                }
            });
            if (!ok) return false;
        }
        if (!layout.Run(m_err)) {
            Oerr_ErrorReport *inner = m_err ? *m_err : nullptr;
            SetError(m_err, m_function, kDictionarySizesFailed, inner, L"SetSizes failed");
            return false;
        }
        return true;
    }

    Omif_Dictionary *m_dictionary;
    const wchar_t *m_function;
    Oerr_ErrorReport **m_err;
    Omif_Design *m_mark;
    std::vector<Omif_Design *> m_added;
    std::vector<Omif_Design *> m_dropped;
};

} // namespace

Omif_Design *AddDesignCopy(Omif_Dictionary *dictionary, const Omif_Design *design,
                           const wchar_t *function, Oerr_ErrorReport **err) {
    return DesignAdder(dictionary, function, err).Run(design);
}

} // namespace orvik::mif

using namespace orvik::mif;

extern "C" {

ORVIK_API Omif_Dictionary *omif_DictionaryCreate(Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    Omif_Dictionary *d = NewDictionary();
    if (!d) SetOutOfMemory(err, L"omif_DictionaryCreate");
    return d;
}

ORVIK_API void omif_DictionaryDestroy(Omif_Dictionary *dictionary, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    FreeDictionary(dictionary);
}

ORVIK_API void omif_DictionaryDelete(Omif_Dictionary **dictionary, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    if (!dictionary) return;
    FreeDictionary(*dictionary);
    *dictionary = nullptr;
}

ORVIK_API Omif_Design *omif_DictionaryAddDesign(Omif_Dictionary *dictionary,
                                                const Omif_Design *design, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    static const wchar_t *const kName = L"omif_DictionaryAddDesign";
    return Guarded<Omif_Design *>(err, kName, nullptr, [&]() -> Omif_Design * {
        if (!dictionary || !design) {
            SetError(err, kName, kDictionaryNoArgument, nullptr,
                     dictionary ? L"NULL design" : L"NULL dictionary pointer");
            return nullptr;
        }
        return AddDesignCopy(dictionary, design, kName, err);
    });
}

ORVIK_API Omif_Design *omif_AddDesignToDictionary(Omif_Dictionary *dictionary,
                                                  const Omif_Design *design, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    return omif_DictionaryAddDesign(dictionary, design, err);
}

ORVIK_API Omif_Design *omif_DictionarySearchByName(const Omif_Dictionary *dictionary,
                                                   const wchar_t *name, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    static const wchar_t *const kName = L"omif_DictionarySearchByName";
    if (!name) {
        SetError(err, kName, kSearchNoName, nullptr, L"NULL name");
        return nullptr;
    }
    if (!dictionary) {
        SetError(err, kName, kSearchNoDictionary, nullptr, L"NULL dictionary pointer");
        return nullptr;
    }
    return FindDesign(dictionary, name);
}

ORVIK_API Omif_Design *omif_FindDesignByName(const Omif_Dictionary *dictionary, const wchar_t *name,
                                             Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    return omif_DictionarySearchByName(dictionary, name, err);
}

} // extern "C"
