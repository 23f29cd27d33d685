// The dictionary encoder. Text is gathered per top-level design and handed to the sink
// in one piece, so a file writer is called once per design, not once per token.
//
//   dictionary := design* "."
//   design     := "{" item* "}" name ","
//   item       := count ":" prefix letter part name ","     prefix := "" | "*" | "p"
//   part (e)   := count ":" (name ",")*
//   part (o)   := design-name ","
//   part (x)   := design
#include <charconv>
#include <string>

#include "core/guard.hpp"
#include "mif/codec.hpp"
#include "mif/item_types.hpp"
#include "mif/report.hpp"

using orvik::core::SetError;
using namespace orvik::mif;

namespace orvik::mif {
namespace {

constexpr const wchar_t *kItemStep = L"omif_EncodeItem";
constexpr const wchar_t *kDesignStep = L"omif_EncodeDesign";
constexpr const wchar_t *kDictionaryStep = L"omif_DictionaryEncode";

class Encoder {
  public:
    Encoder(TextSink &sink, Oerr_ErrorReport **err) : m_sink(sink), m_err(err) {}

    long Dictionary(const Omif_Dictionary *dictionary) {
        for (const Omif_Design *d = dictionary->designs; d; d = d->next) {
            if (!Design(d, 0) || !Flush(kDesignStep)) {
                SetError(m_err, kDictionaryStep, kEncodeDesignFailed, Inner(),
                         L"omif_EncodeDesign fail");
                return -1;
            }
        }
        m_text += '.';
        if (!Flush(kDictionaryStep)) return -1;
        return m_written;
    }

  private:
    bool Design(const Omif_Design *design, int depth) {
        if (!design) return Fail(kDesignStep, kEncodeNoDesign, L"No design");
        if (!design->name) return Fail(kDesignStep, kEncodeNoDesignName, L"No design name");
        if (depth > OMIF_MAX_NESTING)
            return Fail(kDesignStep, kEncodeTooDeep,
                        L"Design %s: inline designs nested deeper than %ld levels", design->name,
                        static_cast<long>(OMIF_MAX_NESTING));
        m_text += '{';
        for (const Omif_Item *item = design->items; item; item = item->next) {
            if (!Item(item, depth)) {
                SetError(m_err, kDesignStep, kEncodeItemFailed, Inner(), L"omif_EncodeItem fail");
                return false;
            }
        }
        m_text += '}';
        return Name(design->name, kDesignStep);
    }

    bool Item(const Omif_Item *item, int depth) {
        if (!item) return Fail(kItemStep, kEncodeNoItem, L"No item");
        const ItemTypeInfo *info = TypeInfo(item->type);
        if (!info) return true; // not an item: nothing is written
        if (!item->name) return Fail(kItemStep, kEncodeNoItemName, L"No item name");
        if (item->count < 0)
            return Fail(kItemStep, kEncodeBadCount, L"Item %s has count %ld", item->name,
                        static_cast<long>(item->count));
        Number(item->count);
        m_text += ':';
        if (item->indirect == 1) m_text += item->pointerKind == OMIF_POINTER_COUNTED ? 'p' : '*';
        m_text += info->letter;
        switch (item->type) {
        case OMIF_ITEM_ENUM:
            Number(item->enumNames && item->enumCount > 0 ? item->enumCount : 0);
            m_text += ':';
            for (int32_t i = 0; item->enumNames && i < item->enumCount; ++i) {
                if (!item->enumNames[i])
                    return Fail(kItemStep, kEncodeMissingEnumName,
                                L"Item %s: enumeration name %ld missing", item->name,
                                static_cast<long>(i));
                if (!Name(item->enumNames[i], kItemStep)) return false;
            }
            break;
        case OMIF_ITEM_OBJECT:
            if (!item->design || !item->design->name)
                return Fail(kItemStep, kEncodeNoElementDesign, L"Item %s has no element design",
                            item->name);
            if (!Name(item->design->name, kItemStep)) return false;
            break;
        case OMIF_ITEM_INLINE_OBJECT:
            if (!item->design)
                return Fail(kItemStep, kEncodeNoElementDesign, L"Item %s has no element design",
                            item->name);
            if (!Design(item->design, depth + 1)) {
                SetError(m_err, kItemStep, kEncodeInlineDesignFailed, Inner(),
                         L"omif_EncodeDesign fail");
                return false;
            }
            break;
        default:
            break;
        }
        return Name(item->name, kItemStep);
    }

    // Names go out as 8-bit text; only characters the decoder takes back are accepted.
    bool Name(const wchar_t *name, const wchar_t *step) {
        for (const wchar_t *c = name; *c; ++c) {
            if (!IsNameCharacter(static_cast<uint32_t>(*c)))
                return Fail(step, kEncodeBadNameCharacter,
                            L"Name %s: character 0x%02lx cannot be written", name,
                            static_cast<long>(static_cast<uint32_t>(*c)));
            m_text += static_cast<char>(*c);
        }
        m_text += ',';
        return true;
    }

    void Number(int32_t value) {
        char digits[16];
        auto r = std::to_chars(digits, digits + sizeof digits, value);
        m_text.append(digits, r.ptr);
    }

    bool Flush(const wchar_t *step) {
        Oerr_ErrorReport *writerErr = nullptr;
        if (!m_sink.Write(m_text, &writerErr)) {
            SetError(m_err, step, kEncodeWriteFailed, writerErr, L"writeFunc failed");
            return false;
        }
        m_written += static_cast<long>(m_text.size());
        m_text.clear();
        return true;
    }

    template <class... Args>
    bool Fail(const wchar_t *step, long number, const wchar_t *format, Args... args) {
        SetError(m_err, step, number, nullptr, format, args...);
        return false;
    }
    Oerr_ErrorReport *Inner() const { return m_err ? *m_err : nullptr; }

    TextSink &m_sink;
    Oerr_ErrorReport **m_err;
    std::string m_text;
    long m_written = 0;
};

} // namespace

long EncodeDictionary(const Omif_Dictionary *dictionary, TextSink &sink, Oerr_ErrorReport **err) {
    return Encoder(sink, err).Dictionary(dictionary);
}

} // namespace orvik::mif
