// Freeing, copying and narrow/wide conversion of design trees. Both walks use explicit
// work lists, so that long chains of referenced designs cannot exhaust the stack.
#include "mif/design_tree.hpp"

#include <new>
#include <string>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <vector>

#include "core/heap_text.hpp"
#include "core/utf8.hpp"

namespace orvik::mif {
namespace {

template <class D> struct Tree;
template <> struct Tree<Omif_Design> {
    using Item = Omif_Item;
    using Char = wchar_t;
};
template <> struct Tree<Omif_DesignA> {
    using Item = Omif_ItemA;
    using Char = char;
};

template <class T> T *NewZeroed() { return static_cast<T *>(omsc_HeapMalloc(sizeof(T))); }

// Frees a design tree without allocating (a release must not fail) and without recursion (a
// decoded dictionary may nest deeply): the items of each owned design join the end of the
// chain being freed.
template <class D> void Destroy(D *design) {
    if (!design) return;
    auto *item = design->items;
    auto *tail = item;
    while (tail && tail->next) tail = tail->next;
    omsc_HeapFree(design->name);
    omsc_HeapFree(design);
    while (item) {
        if (item->ownsDesign && item->design) {
            D *child = item->design;
            if (child->items) {
                tail->next = child->items;
                while (tail->next) tail = tail->next;
            }
            omsc_HeapFree(child->name);
            omsc_HeapFree(child);
        }
        auto *next = item->next;
        if (item->enumNames) {
            for (int32_t i = 0; i < item->enumCount; ++i) omsc_HeapFree(item->enumNames[i]);
            omsc_HeapFree(item->enumNames);
        }
        omsc_HeapFree(item->name);
        omsc_HeapFree(item);
        item = next;
    }
}

// Converts one text to a new heap text of the target form; null stays null.
template <class To, class From> CopyStatus ConvertText(const From *in, To *&out) {
    out = nullptr;
    if (!in) return CopyStatus::kOk;
    if constexpr (std::is_same_v<To, From>) {
        out = core::HeapDup(in);
    } else if constexpr (std::is_same_v<To, wchar_t>) {
        std::wstring w;
        if (!text::Utf8ToWide(in, w).ok) return CopyStatus::kBadText;
        out = core::HeapDup(std::wstring_view(w));
    } else {
        std::string s;
        if (!text::WideToUtf8(in, s).ok) return CopyStatus::kBadText;
        out = core::HeapDup(std::string_view(s));
    }
    return out ? CopyStatus::kOk : CopyStatus::kNoMemory;
}

template <class Dst, class Src> class TreeCopier {
    using DstItem = typename Tree<Dst>::Item;
    using DstChar = typename Tree<Dst>::Char;
    static constexpr bool kSameForm = std::is_same_v<Dst, Src>;

  public:
    explicit TreeCopier(bool convertReferences) : m_convertReferences(convertReferences) {}

    Dst *Run(const Src *src, CopyStatus &status) {
        status = CopyStatus::kOk;
        if (!src) return nullptr;
        Dst *root = Shell();
        if (!root) {
            status = CopyStatus::kNoMemory;
            return nullptr;
        }
        try {
            Track(src, root);
            while (!m_work.empty() && status == CopyStatus::kOk) {
                auto [s, d] = m_work.back();
                m_work.pop_back();
                status = Fill(s, d);
            }
        } catch (const std::bad_alloc &) {
            status = CopyStatus::kNoMemory;
        }
        if (status == CopyStatus::kOk) FixReferences();
        if (status != CopyStatus::kOk) {
            Destroy(root);
            return nullptr;
        }
        return root;
    }

  private:
    // The new design is linked to its owner before anything can throw, so that destroying
    // the root frees it.
    static Dst *Shell() { return NewZeroed<Dst>(); }
    void Track(const Src *src, Dst *d) {
        m_copies.emplace(src, d);
        m_work.emplace_back(src, d);
    }

    CopyStatus Fill(const Src *s, Dst *d) {
        d->hostSize = s->hostSize;
        d->alignment = s->alignment;
        if (auto st = ConvertText(s->name, d->name); st != CopyStatus::kOk) return st;
        DstItem **tail = &d->items;
        for (auto *si = s->items; si; si = si->next) {
            DstItem *di = NewZeroed<DstItem>();
            if (!di) return CopyStatus::kNoMemory;
            *tail = di;
            tail = &di->next;
            di->type = si->type;
            di->elementSize = si->elementSize;
            di->hostSize = si->hostSize;
            di->offset = si->offset;
            di->count = si->count;
            di->pointerKind = si->pointerKind;
            di->indirect = si->indirect;
            di->padding = si->padding;
            if (auto st = ConvertText(si->name, di->name); st != CopyStatus::kOk) return st;
            if (si->enumNames && si->enumCount > 0) {
                di->enumNames = static_cast<DstChar **>(
                    omsc_HeapMalloc(static_cast<int32_t>(si->enumCount * sizeof(DstChar *))));
                if (!di->enumNames) return CopyStatus::kNoMemory;
                di->enumCount = si->enumCount;
                for (int32_t i = 0; i < si->enumCount; ++i)
                    if (auto st = ConvertText(si->enumNames[i], di->enumNames[i]);
                        st != CopyStatus::kOk)
                        return st;
            }
            if (si->design) {
                if (auto st = CopyElementDesign(si, di); st != CopyStatus::kOk) return st;
            }
        }
        return CopyStatus::kOk;
    }

    template <class SrcItem> CopyStatus CopyElementDesign(const SrcItem *si, DstItem *di) {
        const Src *target = si->design;
        if (auto it = m_copies.find(target); it != m_copies.end()) {
            di->design = it->second;
            return CopyStatus::kOk;
        }
        const bool owned = si->type == OMIF_ITEM_INLINE_OBJECT || si->ownsDesign;
        if (owned || m_convertReferences || !kSameForm) {
            di->design = Shell();
            if (!di->design) return CopyStatus::kNoMemory;
            di->ownsDesign = 1;
            Track(target, di->design);
            return CopyStatus::kOk;
        }
        if constexpr (kSameForm) {
            // Possibly copied later by its owner; settled in FixReferences.
            di->design = const_cast<Dst *>(target);
            m_references.push_back(di);
        }
        return CopyStatus::kOk;
    }

    void FixReferences() {
        if constexpr (kSameForm) {
            for (DstItem *di : m_references)
                if (auto it = m_copies.find(di->design); it != m_copies.end())
                    di->design = it->second;
        }
    }

    bool m_convertReferences;
    std::unordered_map<const Src *, Dst *> m_copies;
    std::vector<std::pair<const Src *, Dst *>> m_work;
    std::vector<DstItem *> m_references;
};

} // namespace

void DestroyDesign(Omif_Design *design) { Destroy(design); }
void DestroyDesign(Omif_DesignA *design) { Destroy(design); }

Omif_Design *CopyDesign(const Omif_Design *design, CopyStatus &status) {
    return TreeCopier<Omif_Design, Omif_Design>(false).Run(design, status);
}

Omif_Design *WidenDesign(const Omif_DesignA *design, CopyStatus &status) {
    return TreeCopier<Omif_Design, Omif_DesignA>(true).Run(design, status);
}

Omif_DesignA *NarrowDesign(const Omif_Design *design, CopyStatus &status) {
    return TreeCopier<Omif_DesignA, Omif_Design>(true).Run(design, status);
}

} // namespace orvik::mif
