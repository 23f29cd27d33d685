// Readable listings of designs and dictionaries, and of the values of one item of a host
// record (for debugging dumps). Output is UTF-8 through narrow stdio.
#include <complex>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string>

#include <orvik/ogda.h>

#include "core/guard.hpp"
#include "mif/item_types.hpp"
#include "core/utf8.hpp"
#include "mif/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using namespace orvik::mif;

namespace orvik::mif {
namespace {

constexpr int32_t kDefaultMaxValues = 8;

std::string Utf8(const wchar_t *text) { return text ? text::WideToUtf8Lossy(text) : "(null)"; }

std::string Indent(int n) { return std::string(static_cast<size_t>(n), ' '); }

std::string ItemHeading(const Omif_Item *item) {
    const ItemTypeInfo *info = TypeInfo(item->type);
    std::string s = std::to_string(item->count) + ':';
    if (item->indirect == 1) s += item->pointerKind == OMIF_POINTER_COUNTED ? 'p' : '*';
    s += info ? info->letter : '?';
    s += ' ' + Utf8(item->name);
    if (item->type == OMIF_ITEM_ENUM) {
        s += " (";
        for (int32_t i = 0; item->enumNames && i < item->enumCount; ++i)
            s += (i ? ", " : "") + Utf8(item->enumNames[i]);
        s += ')';
    } else if (item->type == OMIF_ITEM_OBJECT) {
        s += " -> " + (item->design ? Utf8(item->design->name) : std::string("(none)"));
    }
    return s;
}

void PrintDesign(FILE *file, const Omif_Design *design, int indent, int depth) {
    const std::string pad = Indent(indent);
    std::fprintf(file, "%sDesign %s: host size %ld, alignment %ld\n", pad.c_str(),
                 Utf8(design->name).c_str(), static_cast<long>(design->hostSize),
                 static_cast<long>(design->alignment));
    std::fprintf(file, "%s  %8s %8s %8s  item\n", pad.c_str(), "offset", "size", "padding");
    for (const Omif_Item *item = design->items; item; item = item->next) {
        std::fprintf(file, "%s  %8ld %8ld %8ld  %s\n", pad.c_str(), static_cast<long>(item->offset),
                     static_cast<long>(item->hostSize), static_cast<long>(item->padding),
                     ItemHeading(item).c_str());
        if (item->type == OMIF_ITEM_INLINE_OBJECT && item->design) {
            if (depth < OMIF_MAX_NESTING) {
                PrintDesign(file, item->design, indent + 4, depth + 1);
            } else {
                std::fprintf(file, "%s    ...\n", pad.c_str());
            }
        }
    }
}

// Reads a value of type T at `p` regardless of alignment.
template <class T> T Load(const unsigned char *p) {
    T v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

class ValuePrinter {
  public:
    ValuePrinter(FILE *file, int32_t maxValues)
        : m_file(file), m_max(maxValues > 0 ? maxValues : kDefaultMaxValues) {}

    void Item(const unsigned char *record, const Omif_Item *item, int indent, int depth) {
        const std::string pad = Indent(indent);
        const unsigned char *at = record + item->offset;
        const unsigned char *elements = at;
        long count = item->count;
        std::string line = pad + Utf8(item->name);
        if (item->indirect == 1) {
            if (item->pointerKind == OMIF_POINTER_COUNTED) {
                count = Load<int32_t>(at);
                elements = Load<const unsigned char *>(at + offsetof(CountedPointerHost, data));
                line += " (count " + std::to_string(count) + ")";
            } else {
                elements = Load<const unsigned char *>(at);
            }
            if (!elements) {
                std::fprintf(m_file, "%s = NULL\n", line.c_str());
                return;
            }
        }
        if (IsObjectType(item->type)) {
            Objects(line, elements, count, item, indent, depth);
            return;
        }
        line += " =";
        if (item->type == OMIF_ITEM_CHAR) {
            line += " \"" + Text(elements, count) + '"';
        } else {
            for (long i = 0; i < count; ++i) {
                if (i == m_max) {
                    line += " ...";
                    break;
                }
                if (count > 1) line += " [" + std::to_string(i) + ']';
                line += ' ' + Value(elements + i * item->elementSize, item);
            }
        }
        std::fprintf(m_file, "%s\n", line.c_str());
    }

  private:
    void Objects(const std::string &line, const unsigned char *elements, long count,
                 const Omif_Item *item, int indent, int depth) {
        std::fprintf(m_file, "%s:\n", line.c_str());
        if (!item->design) return;
        if (depth >= OMIF_MAX_NESTING) {
            std::fprintf(m_file, "%s  ...\n", Indent(indent).c_str());
            return;
        }
        for (long i = 0; i < count; ++i) {
            if (i == m_max) {
                std::fprintf(m_file, "%s  ...\n", Indent(indent).c_str());
                break;
            }
            std::fprintf(m_file, "%s  [%ld]\n", Indent(indent).c_str(), i);
            const unsigned char *element = elements + i * item->elementSize;
            for (const Omif_Item *inner = item->design->items; inner; inner = inner->next)
                Item(element, inner, indent + 4, depth + 1);
        }
    }

    std::string Text(const unsigned char *p, long count) {
        std::string s;
        for (long i = 0; i < count && p[i]; ++i) {
            if (p[i] >= 0x20 && p[i] < 0x7f && p[i] != '"' && p[i] != '\\') {
                s += static_cast<char>(p[i]);
            } else {
                char hex[8];
                std::snprintf(hex, sizeof hex, "\\x%02x", p[i]);
                s += hex;
            }
        }
        return s;
    }

    static std::string Number(const char *format, double v) {
        char buf[64];
        std::snprintf(buf, sizeof buf, format, v);
        return buf;
    }

    std::string Value(const unsigned char *p, const Omif_Item *item) {
        switch (item->type) {
        case OMIF_ITEM_ENUM: {
            const uint32_t v = Load<uint32_t>(p);
            if (item->enumNames && v < static_cast<uint32_t>(item->enumCount) && item->enumNames[v])
                return Utf8(item->enumNames[v]);
            return std::to_string(v);
        }
        case OMIF_ITEM_U1:
        case OMIF_ITEM_U2:
        case OMIF_ITEM_U4:
        case OMIF_ITEM_UCHAR:
            return std::to_string(*p);
        case OMIF_ITEM_USHORT:
            return std::to_string(Load<uint16_t>(p));
        case OMIF_ITEM_SHORT:
            return std::to_string(Load<int16_t>(p));
        case OMIF_ITEM_ULONG:
            return std::to_string(Load<uint32_t>(p));
        case OMIF_ITEM_LONG:
        case OMIF_ITEM_S32:
            return std::to_string(Load<int32_t>(p));
        case OMIF_ITEM_FLOAT:
            return Number("%.9g", Load<float>(p));
        case OMIF_ITEM_DOUBLE:
        case OMIF_ITEM_TIME:
            return Number("%.17g", Load<double>(p));
        case OMIF_ITEM_COMPLEX: {
            const auto c = Load<std::complex<float>>(p);
            return '(' + Number("%.9g", c.real()) + ", " + Number("%.9g", c.imag()) + ')';
        }
        case OMIF_ITEM_DCOMPLEX: {
            const auto c = Load<std::complex<double>>(p);
            return '(' + Number("%.17g", c.real()) + ", " + Number("%.17g", c.imag()) + ')';
        }
        case OMIF_ITEM_BASEDATA: {
            const auto b = Load<Ogda_BaseData>(p);
            return "BaseData " + std::to_string(b.numrows) + " x " + std::to_string(b.numcolumns) +
                   " type " + std::to_string(static_cast<int>(b.datatype)) +
                   (b.data ? "" : " (no data)");
        }
        default:
            return "?";
        }
    }

    FILE *m_file;
    int32_t m_max;
};

} // namespace
} // namespace orvik::mif

extern "C" {

ORVIK_API long omif_FprintfDesign(FILE *file, const Omif_Design *design, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    static const wchar_t *const kName = L"omif_FprintfDesign";
    return Guarded<long>(err, kName, -1, [&]() -> long {
        if (!file || !design) {
            SetError(err, kName, kPrintArgs, nullptr, L"Args");
            return -1;
        }
        orvik::mif::PrintDesign(file, design, 0, 0);
        return 0;
    });
}

ORVIK_API long omif_FprintfDictionary(FILE *file, const Omif_Dictionary *dictionary,
                                      Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    static const wchar_t *const kName = L"omif_FprintfDictionary";
    return Guarded<long>(err, kName, -1, [&]() -> long {
        if (!file || !dictionary) {
            SetError(err, kName, kPrintArgs, nullptr, L"Args");
            return -1;
        }
        std::fprintf(file, "Dictionary of %ld designs\n", static_cast<long>(dictionary->count));
        for (const Omif_Design *d = dictionary->designs; d; d = d->next)
            orvik::mif::PrintDesign(file, d, 2, 0);
        return 0;
    });
}

ORVIK_API long omif_FprintfItem(FILE *file, const void *object, const Omif_Item *item,
                                int32_t indent, int32_t maxValues, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    static const wchar_t *const kName = L"omif_FprintfItem";
    return Guarded<long>(err, kName, -1, [&]() -> long {
        if (!file || !object || !item || !orvik::mif::TypeInfo(item->type)) {
            SetError(err, kName, kPrintArgs, nullptr, L"Args");
            return -1;
        }
        orvik::mif::ValuePrinter(file, maxValues)
            .Item(static_cast<const unsigned char *>(object), item,
                  indent < 0     ? 0
                  : indent > 256 ? 256
                                 : indent,
                  0);
        return 0;
    });
}

} // extern "C"
