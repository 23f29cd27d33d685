// Built-in design sets: static tables of designs created together, at first use, into one
// process-wide dictionary per set. Creation runs inside the thread-unsafe section; the
// finished dictionary is published with release/acquire, so later fetches take no lock.
#include <atomic>
#include <vector>

#include <orvik/omif.h>
#include <orvik/othr.h>

#include "core/guard.hpp"
#include "mif/design_create.hpp"
#include "mif/design_tree.hpp"
#include "mif/dictionary.hpp"
#include "mif/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using orvik::core::SetOutOfMemory;
using namespace orvik::mif;

namespace {

constexpr const wchar_t *kGet = L"omif_BuiltinDictionaryGet";

class UnsafeSection {
  public:
    UnsafeSection() { othr_ThreadUnsafeCodeEnter(0); }
    ~UnsafeSection() { othr_ThreadUnsafeCodeExit(); }
    UnsafeSection(const UnsafeSection &) = delete;
    UnsafeSection &operator=(const UnsafeSection &) = delete;
};

// Copies into `dictionary` the designs of `base` that the `o` items of `items` (and of
// their inline tables) name and that the dictionary lacks.
bool ImportReferences(Omif_Dictionary *dictionary, const Omif_ItemDescription *items,
                      Omif_BuiltinDesigns *base, int depth, Oerr_ErrorReport **err) {
    if (depth > OMIF_MAX_NESTING) return true; // the builder reports the nesting
    for (; items && items->type != OMIF_ITEM_END; ++items) {
        if (items->type == OMIF_ITEM_INLINE_OBJECT && items->items &&
            !ImportReferences(dictionary, items->items, base, depth + 1, err))
            return false;
        if (items->type != OMIF_ITEM_OBJECT || items->design || !items->designName || !base ||
            orvik::mif::FindDesign(dictionary, items->designName))
            continue;
        const Omif_Design *found = omif_BuiltinDesignFetch(base, items->designName, err);
        if (!found) return false; // reported with the name by the fetch
        if (!orvik::mif::AddDesignCopy(dictionary, found, kGet, err)) return false;
    }
    return true;
}

bool FillSet(Omif_Dictionary *dictionary, Omif_BuiltinDesigns *set, Oerr_ErrorReport **err) {
    for (const Omif_DesignTable *t = set->designs; t && t->name; ++t) {
        if (!ImportReferences(dictionary, t->items, set->base, 0, err)) {
            SetError(err, kGet, kBuiltinCreateFailed, err ? *err : nullptr,
                     L"Cannot create design %s", t->name);
            return false;
        }
        Omif_Design *design = orvik::mif::BuildDesign(t->name, t->items, -1, dictionary, kGet, err);
        bool linked = false;
        if (design) {
            try {
                linked = orvik::mif::LinkIfUnique(dictionary, design);
            } catch (...) {
                orvik::mif::DestroyDesign(design);
                throw;
            }
            if (!linked) {
                orvik::mif::DestroyDesign(design);
                SetError(err, kGet, kBuiltinDeclaredTwice, nullptr, L"Design %s is declared twice",
                         t->name);
            }
        }
        if (!linked) return false;
    }
    return true;
}

Omif_Dictionary *CreateSet(Omif_BuiltinDesigns *set, Oerr_ErrorReport **err) {
    Omif_Dictionary *dictionary = orvik::mif::NewDictionary();
    if (!dictionary) {
        SetOutOfMemory(err, kGet);
        return nullptr;
    }
    bool ok;
    try {
        ok = FillSet(dictionary, set, err);
    } catch (...) {
        orvik::mif::FreeDictionary(dictionary);
        throw;
    }
    if (ok) return dictionary;
    orvik::mif::FreeDictionary(dictionary);
    return nullptr;
}

} // namespace

extern "C" {

ORVIK_API const Omif_Dictionary *omif_BuiltinDictionaryGet(Omif_BuiltinDesigns *set,
                                                           Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    return Guarded<const Omif_Dictionary *>(err, kGet, nullptr, [&]() -> const Omif_Dictionary * {
        if (!set) {
            SetError(err, kGet, kBuiltinNoSet, nullptr, L"NULL design set");
            return nullptr;
        }
        std::atomic_ref<Omif_Dictionary *> published(set->dictionary);
        if (Omif_Dictionary *d = published.load(std::memory_order_acquire)) return d;
        UnsafeSection section;
        if (Omif_Dictionary *d = published.load(std::memory_order_relaxed)) return d;
        Omif_Dictionary *d = CreateSet(set, err);
        if (d) published.store(d, std::memory_order_release);
        return d;
    });
}

ORVIK_API const Omif_Design *omif_BuiltinDesignFetch(Omif_BuiltinDesigns *set, const wchar_t *name,
                                                     Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    static const wchar_t *const kName = L"omif_BuiltinDesignFetch";
    if (!name) {
        SetError(err, kName, kBuiltinNoName, nullptr, L"NULL name");
        return nullptr;
    }
    const Omif_Dictionary *dictionary = omif_BuiltinDictionaryGet(set, err);
    if (!dictionary) {
        SetError(err, kName, kBuiltinDictionaryFailed, err ? *err : nullptr,
                 L"omif_BuiltinDictionaryGet failed");
        return nullptr;
    }
    const Omif_Design *design = orvik::mif::FindDesign(dictionary, name);
    if (!design) SetError(err, kName, kBuiltinNotFound, nullptr, L"No built-in design %s", name);
    return design;
}

} // extern "C"
