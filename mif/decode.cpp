// The dictionary decoder: a recursive-descent reader of the grammar in encode.cpp, one
// character at a time. `o` items name their design; the names are resolved after the
// whole text is read, so designs may stand in any order. Every count is checked against
// its 32-bit (or 16-bit) range, names are limited in length, and inline designs in depth,
// so that no input makes the decoder crash, loop or allocate more than the text justifies.
#include <cstdint>
#include <new>
#include <string>
#include <vector>

#include "core/guard.hpp"
#include "mif/codec.hpp"
#include "mif/design_tree.hpp"
#include "mif/dictionary.hpp"
#include "mif/item_types.hpp"
#include "mif/layout.hpp"
#include "mif/report.hpp"

using orvik::core::SetError;
using orvik::core::SetOutOfMemory;
using namespace orvik::mif;

namespace orvik::mif {
namespace {

constexpr const wchar_t *kCountStep = L"omif_DecodeCount";
constexpr const wchar_t *kEnumCountStep = L"omif_DecodeEnumCount";
constexpr const wchar_t *kNameStep = L"omif_DecodeName";
constexpr const wchar_t *kItemStep = L"omif_DecodeItem";
constexpr const wchar_t *kDesignStep = L"omif_DecodeDesign";
constexpr const wchar_t *kDictionaryStep = L"omif_DictionaryDecode";

// Longest name accepted; no legitimate name comes near it.
constexpr size_t kMaxNameLength = 65535;

template <class T> T *NewZeroed() { return static_cast<T *>(omsc_HeapMalloc(sizeof(T))); }

class Decoder {
  public:
    Decoder(TextSource &source, Oerr_ErrorReport **err) : m_source(source), m_err(err) {}

    // Links the decoded designs into `dictionary`; false after a report (the caller undoes
    // the additions).
    bool Run(Omif_Dictionary *dictionary) {
        const Omif_Design *mark = dictionary->index->last;
        for (;;) {
            const int c = Get(kDictionaryStep);
            if (c < 0) return false;
            if (c == '.') break;
            const size_t references = m_references.size();
            Omif_Design *design = Design(c, 0);
            if (!design)
                return Wrap(kDictionaryStep, kDecodeDesignFailed, L"omif_DecodeDesign failed");
            bool linked;
            try {
                linked = LinkIfUnique(dictionary, design);
            } catch (...) {
                DestroyDesign(design);
                throw;
            }
            if (!linked) { // same name as an earlier design: the earlier one stays
                DestroyDesign(design);
                m_references.resize(references);
            }
        }
        for (const Reference &r : m_references) {
            r.item->design = FindDesign(dictionary, r.designName.c_str());
            if (!r.item->design) {
                SetError(m_err, kDictionaryStep, kDecodeMissingDesign, nullptr,
                         L"Design %s named by item %s is not in the dictionary",
                         r.designName.c_str(), r.item->name);
                return false;
            }
        }
        LayoutGroup layout;
        for (Omif_Design *d = mark ? mark->next : dictionary->designs; d; d = d->next)
            layout.Add(d);
        if (!layout.Run(m_err))
            return Wrap(kDictionaryStep, kDecodeSizesFailed, L"SetSizes failed");
        return true;
    }

  private:
    struct Reference {
        Omif_Item *item;
        std::wstring designName;
    };

    // The next character, or a negative value after a report under `step`.
    int Get(const wchar_t *step) {
        const int c = m_source.Next();
        if (c >= 0) return c;
        if (c == TextSource::kFailed) {
            SetError(m_err, step, kDecodeReadFailed, m_source.TakeFailure(), L"readFunc failed");
        } else {
            SetError(m_err, step, kDecodeUnexpectedEnd, nullptr,
                     L"Unexpected end of dictionary text");
        }
        return -1;
    }

    // Digits up to ":" (the first character is given), at most `max`.
    bool Count(int c, const wchar_t *step, int32_t max, int32_t &value) {
        int64_t v = 0;
        bool digits = false;
        for (;; c = Get(step)) {
            if (c < 0) return false;
            if (c == ':' && digits) break;
            if (c < '0' || c > '9') {
                SetError(m_err, step, kDecodeBadCount, nullptr,
                         L"Non-numeric character %c (0x%02lx) for count", static_cast<wint_t>(c),
                         static_cast<long>(c));
                return false;
            }
            v = v * 10 + (c - '0');
            digits = true;
            if (v > max) {
                SetError(m_err, step, kDecodeCountTooLarge, nullptr, L"Count exceeds %ld",
                         static_cast<long>(max));
                return false;
            }
        }
        value = static_cast<int32_t>(v);
        return true;
    }

    // Printable characters up to "," into m_name; false after a report.
    bool ReadName() {
        m_name.clear();
        for (;;) {
            const int c = Get(kNameStep);
            if (c < 0) return false;
            if (c == ',') return true;
            if (!IsNameCharacter(static_cast<uint32_t>(c))) {
                SetError(m_err, kNameStep, kDecodeBadName, nullptr,
                         L"Non-printable character %c (0x%02lx) for name", static_cast<wint_t>(c),
                         static_cast<long>(c));
                return false;
            }
            if (m_name.size() == kMaxNameLength) {
                SetError(m_err, kNameStep, kDecodeNameTooLong, nullptr,
                         L"Name longer than %ld characters", static_cast<long>(kMaxNameLength));
                return false;
            }
            m_name.push_back(static_cast<char>(c));
        }
    }

    // A name as a new heap string, or null after a report.
    wchar_t *Name() {
        if (!ReadName()) return nullptr;
        auto *text = static_cast<wchar_t *>(
            omsc_HeapMalloc(static_cast<int32_t>((m_name.size() + 1) * sizeof(wchar_t))));
        if (!text) {
            SetOutOfMemory(m_err, kNameStep);
            return nullptr;
        }
        for (size_t i = 0; i < m_name.size(); ++i) text[i] = static_cast<unsigned char>(m_name[i]);
        return text;
    }

    // A design whose first character `c` has been read; null after a report.
    Omif_Design *Design(int c, int depth) {
        if (c != '{') {
            SetError(m_err, kDesignStep, kDecodeBadDesignStart, nullptr,
                     L"Character %c (0x%02lx) does not start a design", static_cast<wint_t>(c),
                     static_cast<long>(c));
            return nullptr;
        }
        if (depth > OMIF_MAX_NESTING) {
            SetError(m_err, kDesignStep, kDecodeTooDeep, nullptr,
                     L"Designs nested deeper than %ld levels", static_cast<long>(OMIF_MAX_NESTING));
            return nullptr;
        }
        Omif_Design *design = NewZeroed<Omif_Design>();
        if (!design) {
            SetOutOfMemory(m_err, kDesignStep);
            return nullptr;
        }
        try {
            if (FillDesign(design, depth)) return design;
        } catch (...) {
            DestroyDesign(design);
            throw;
        }
        DestroyDesign(design);
        return nullptr;
    }

    bool FillDesign(Omif_Design *design, int depth) {
        Omif_Item **tail = &design->items;
        for (;;) {
            const int c = Get(kDesignStep);
            if (c < 0) return false;
            if (c == '}') break;
            Omif_Item *item = NewZeroed<Omif_Item>();
            if (!item) {
                SetOutOfMemory(m_err, kDesignStep);
                return false;
            }
            *tail = item;
            tail = &item->next;
            if (!Item(c, item, depth))
                return Wrap(kDesignStep, kDecodeItemFailed, L"omif_DecodeItem failed");
        }
        design->name = Name();
        return design->name ||
               Wrap(kDesignStep, kDecodeDesignNameFailed, L"omif_DecodeName failed");
    }

    bool Item(int c, Omif_Item *item, int depth) {
        if (!Count(c, kCountStep, INT32_MAX, item->count))
            return Wrap(kItemStep, kDecodeItemCountFailed, L"omif_DecodeCount failed");
        c = Get(kItemStep);
        if (c == '*' || c == 'p') {
            item->indirect = 1;
            item->pointerKind = c == 'p' ? OMIF_POINTER_COUNTED : OMIF_POINTER_PLAIN;
            c = Get(kItemStep);
        }
        if (c < 0) return false;
        item->type = TypeFromLetter(c);
        if (!item->type) {
            SetError(m_err, kItemStep, kDecodeUnknownType, nullptr,
                     L"Unknown item type %c (0x%02lx)", static_cast<wint_t>(c),
                     static_cast<long>(c));
            return false;
        }
        if (item->type == OMIF_ITEM_ENUM && !EnumNames(item)) return false;
        if (item->type == OMIF_ITEM_OBJECT) {
            if (!ReadName())
                return Wrap(kItemStep, kDecodeItemNameFailed, L"omif_DecodeName failed");
            m_references.push_back({item, std::wstring(m_name.begin(), m_name.end())});
        }
        if (item->type == OMIF_ITEM_INLINE_OBJECT) {
            const int first = Get(kItemStep);
            if (first < 0) return false;
            item->design = Design(first, depth + 1);
            if (!item->design)
                return Wrap(kItemStep, kDecodeInlineDesignFailed, L"omif_DecodeDesign failed");
            item->ownsDesign = 1;
        }
        item->name = Name();
        return item->name || Wrap(kItemStep, kDecodeItemNameFailed, L"omif_DecodeName failed");
    }

    bool EnumNames(Omif_Item *item) {
        int32_t count;
        const int c = Get(kEnumCountStep);
        if (c < 0 || !Count(c, kEnumCountStep, INT16_MAX, count))
            return Wrap(kItemStep, kDecodeEnumCountFailed, L"omif_DecodeEnumCount failed");
        if (count == 0) return true;
        // Grown as names arrive, so a large count without names allocates little.
        std::vector<wchar_t *> names;
        for (int32_t i = 0; i < count; ++i) {
            wchar_t *name = Name();
            if (!name) {
                for (wchar_t *n : names) omsc_HeapFree(n);
                return Wrap(kItemStep, kDecodeItemNameFailed, L"omif_DecodeName failed");
            }
            try {
                names.push_back(name);
            } catch (...) {
                omsc_HeapFree(name);
                for (wchar_t *n : names) omsc_HeapFree(n);
                throw;
            }
        }
        item->enumNames = static_cast<wchar_t **>(
            omsc_HeapMalloc(static_cast<int32_t>(names.size() * sizeof(wchar_t *))));
        if (!item->enumNames) {
            for (wchar_t *n : names) omsc_HeapFree(n);
            SetOutOfMemory(m_err, kItemStep);
            return false;
        }
        for (size_t i = 0; i < names.size(); ++i) item->enumNames[i] = names[i];
        item->enumCount = static_cast<int16_t>(count);
        return true;
    }

    bool Wrap(const wchar_t *step, long number, const wchar_t *message) {
        SetError(m_err, step, number, m_err ? *m_err : nullptr, L"%s", message);
        return false;
    }

    TextSource &m_source;
    Oerr_ErrorReport **m_err;
    std::string m_name;
    std::vector<Reference> m_references;
};

} // namespace

Omif_Dictionary *DecodeDictionary(TextSource &source, Omif_Dictionary *into,
                                  Oerr_ErrorReport **err) {
    Omif_Dictionary *dictionary = into ? into : NewDictionary();
    if (!dictionary) {
        SetOutOfMemory(err, kDictionaryStep);
        return nullptr;
    }
    Omif_Design *mark = dictionary->index->last;
    bool ok;
    try {
        ok = Decoder(source, err).Run(dictionary);
    } catch (const std::bad_alloc &) {
        SetOutOfMemory(err, kDictionaryStep, err ? *err : nullptr);
        ok = false;
    }
    if (ok) return dictionary;
    if (into) {
        TruncateAfter(into, mark);
    } else {
        FreeDictionary(dictionary);
    }
    return nullptr;
}

} // namespace orvik::mif
