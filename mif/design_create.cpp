// Creating designs from item descriptions: counted arrays, terminated tables and
// variable argument lists all end in BuildDesign.
#include "mif/design_create.hpp"

#include <climits>
#include <vector>

#include "core/guard.hpp"
#include "core/heap_text.hpp"
#include "mif/design_tree.hpp"
#include "mif/dictionary.hpp"
#include "mif/item_types.hpp"
#include "mif/layout.hpp"
#include "mif/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using orvik::core::SetOutOfMemory;

namespace orvik::mif {
namespace {

// Longest item table accepted when the length comes from a terminator.
constexpr int32_t kMaxTableItems = 1 << 20;

const wchar_t *NameOf(const wchar_t *name) { return name ? name : L"(null)"; }

class Builder {
  public:
    Builder(const Omif_Dictionary *dictionary, const wchar_t *function, Oerr_ErrorReport **err)
        : m_dictionary(dictionary), m_function(function), m_err(err) {}

    // Builds without layout; the caller lays out the whole tree once.
    Omif_Design *Build(const wchar_t *name, const Omif_ItemDescription *items, int32_t itemCount,
                       int depth) {
        if (!name) return Fail(kCreateBadArgument, L"NULL design name");
        if (depth > OMIF_MAX_NESTING)
            return Fail(kCreateTooDeep, L"Design %s: inline designs nested deeper than %ld levels",
                        name, static_cast<long>(OMIF_MAX_NESTING));
        if (itemCount < 0) itemCount = TableLength(items);
        if (itemCount < 0)
            return Fail(kCreateBadArgument, L"Item table of design %s has no end", name);
        if (itemCount > 0 && !items)
            return Fail(kCreateBadArgument, L"NULL item list for design %s", name);

        auto *design = static_cast<Omif_Design *>(omsc_HeapMalloc(sizeof(Omif_Design)));
        if (!design) return NoMemory();
        design->name = core::HeapDup(name);
        if (!design->name) return NoMemory(design);
        Omif_Item **tail = &design->items;
        for (int32_t i = 0; i < itemCount; ++i) {
            auto *item = static_cast<Omif_Item *>(omsc_HeapMalloc(sizeof(Omif_Item)));
            if (!item) return NoMemory(design);
            *tail = item;
            tail = &item->next;
            if (!FillItem(item, items[i], name, i, depth)) {
                DestroyDesign(design);
                return nullptr;
            }
        }
        return design;
    }

  private:
    static int32_t TableLength(const Omif_ItemDescription *items) {
        if (!items) return 0;
        for (int32_t n = 0; n < kMaxTableItems; ++n)
            if (items[n].type == OMIF_ITEM_END) return n;
        return -1;
    }

    bool FillItem(Omif_Item *item, const Omif_ItemDescription &d, const wchar_t *designName,
                  int32_t position, int depth) {
        if (!d.name) {
            Fail(kCreateBadItem, L"Item %ld of design %s has no name",
                 static_cast<long>(position + 1), designName);
            return false;
        }
        if (!TypeInfo(d.type)) {
            Fail(kCreateBadItem, L"Item %s of design %s has unknown type %ld", d.name, designName,
                 static_cast<long>(d.type));
            return false;
        }
        if (d.count < 0 || (d.indirect != 0 && d.indirect != 1) ||
            (d.pointerKind != OMIF_POINTER_PLAIN && d.pointerKind != OMIF_POINTER_COUNTED)) {
            Fail(kCreateBadItem, L"Item %s of design %s: count %ld, indirect %ld, pointer kind %ld",
                 d.name, designName, static_cast<long>(d.count), static_cast<long>(d.indirect),
                 static_cast<long>(d.pointerKind));
            return false;
        }
        item->type = d.type;
        item->count = d.count;
        item->indirect = d.indirect;
        item->pointerKind = d.indirect ? d.pointerKind : OMIF_POINTER_PLAIN;
        item->name = core::HeapDup(d.name);
        if (!item->name) return NoMemory() != nullptr;
        if (d.type == OMIF_ITEM_ENUM) return FillEnum(item, d, designName);
        if (d.type == OMIF_ITEM_OBJECT) return FillReference(item, d, designName);
        if (d.type == OMIF_ITEM_INLINE_OBJECT) return FillInline(item, d, designName, depth);
        return true;
    }

    bool FillEnum(Omif_Item *item, const Omif_ItemDescription &d, const wchar_t *designName) {
        int32_t n = 0;
        if (d.enumNames)
            while (n <= INT16_MAX && d.enumNames[n]) ++n;
        if (n > INT16_MAX) {
            Fail(kCreateBadItem, L"Item %s of design %s has more than 32767 enumeration names",
                 d.name, designName);
            return false;
        }
        if (n == 0) return true;
        item->enumNames =
            static_cast<wchar_t **>(omsc_HeapMalloc(n * static_cast<int32_t>(sizeof(wchar_t *))));
        if (!item->enumNames) return NoMemory() != nullptr;
        item->enumCount = static_cast<int16_t>(n);
        for (int32_t i = 0; i < n; ++i) {
            item->enumNames[i] = core::HeapDup(d.enumNames[i]);
            if (!item->enumNames[i]) return NoMemory() != nullptr;
        }
        return true;
    }

    bool FillReference(Omif_Item *item, const Omif_ItemDescription &d, const wchar_t *designName) {
        const Omif_Design *element = d.design;
        if (!element && d.designName && m_dictionary)
            element = FindDesign(m_dictionary, d.designName);
        if (!element) {
            Fail(kCreateBadItem, L"Item %s of design %s: element design %s not found", d.name,
                 designName, NameOf(d.designName));
            return false;
        }
        item->design = const_cast<Omif_Design *>(element);
        return true;
    }

    bool FillInline(Omif_Item *item, const Omif_ItemDescription &d, const wchar_t *designName,
                    int depth) {
        item->ownsDesign = 1;
        if (d.design) {
            CopyStatus status;
            item->design = CopyDesign(d.design, status);
            return item->design || NoMemory() != nullptr;
        }
        if (!d.items || !d.designName) {
            Fail(kCreateBadItem, L"Item %s of design %s has no inline design", d.name, designName);
            return false;
        }
        item->design = Build(d.designName, d.items, -1, depth + 1);
        return item->design != nullptr;
    }

    template <class... Args> Omif_Design *Fail(long number, const wchar_t *format, Args... args) {
        SetError(m_err, m_function, number, nullptr, format, args...);
        return nullptr;
    }
    Omif_Design *NoMemory(Omif_Design *partial = nullptr) {
        DestroyDesign(partial);
        SetOutOfMemory(m_err, m_function);
        return nullptr;
    }

    const Omif_Dictionary *m_dictionary;
    const wchar_t *m_function;
    Oerr_ErrorReport **m_err;
};

} // namespace

Omif_Design *BuildDesign(const wchar_t *name, const Omif_ItemDescription *items, int32_t itemCount,
                         const Omif_Dictionary *dictionary, const wchar_t *function,
                         Oerr_ErrorReport **err) {
    Omif_Design *design = Builder(dictionary, function, err).Build(name, items, itemCount, 0);
    if (!design) return nullptr;
    bool laidOut;
    try {
        laidOut = SetSizes(design, err);
    } catch (...) {
        DestroyDesign(design);
        throw;
    }
    if (!laidOut) {
        SetError(err, function, kCreateSizesFailed, err ? *err : nullptr, L"SetSizes failed");
        DestroyDesign(design);
        return nullptr;
    }
    return design;
}

} // namespace orvik::mif

using orvik::mif::BuildDesign;
using namespace orvik::mif;

namespace {

// Reads one item of a variable argument list; false at OMIF_ITEM_END.
bool NextArgumentItem(va_list *args, Omif_ItemDescription &d) {
    d = {};
    d.type = va_arg(*args, int);
    if (d.type == OMIF_ITEM_END) return false;
    d.name = va_arg(*args, const wchar_t *);
    d.count = va_arg(*args, int);
    const int form = va_arg(*args, int);
    if (form == OMIF_PLAIN_POINTER || form == OMIF_COUNTED_POINTER) {
        d.indirect = 1;
        d.pointerKind = form == OMIF_COUNTED_POINTER ? OMIF_POINTER_COUNTED : OMIF_POINTER_PLAIN;
    } else if (form != OMIF_DIRECT) {
        d.indirect = -1; // refused by the builder with the item's name
    }
    if (d.type == OMIF_ITEM_ENUM) d.enumNames = va_arg(*args, const wchar_t *const *);
    if (d.type == OMIF_ITEM_OBJECT || d.type == OMIF_ITEM_INLINE_OBJECT)
        d.design = va_arg(*args, const Omif_Design *);
    return true;
}

Omif_Design *CreateFromArguments(const wchar_t *name, va_list *args, const wchar_t *function,
                                 Oerr_ErrorReport **err) {
    return Guarded<Omif_Design *>(err, function, nullptr, [&]() -> Omif_Design * {
        if (!args) {
            SetError(err, function, kCreateBadArgument, nullptr, L"NULL argument list");
            return nullptr;
        }
        std::vector<Omif_ItemDescription> items;
        Omif_ItemDescription d;
        while (NextArgumentItem(args, d)) items.push_back(d);
        return BuildDesign(name, items.data(), static_cast<int32_t>(items.size()), nullptr,
                           function, err);
    });
}

} // namespace

extern "C" {

ORVIK_API Omif_Design *omif_DesignCreate(const wchar_t *name, const Omif_ItemDescription *items,
                                         int32_t itemCount, const Omif_Dictionary *dictionary,
                                         Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    static const wchar_t *const kName = L"omif_DesignCreate";
    return Guarded<Omif_Design *>(err, kName, nullptr, [&]() -> Omif_Design * {
        if (itemCount < 0) {
            SetError(err, kName, kCreateBadArgument, nullptr, L"Negative item count %ld",
                     static_cast<long>(itemCount));
            return nullptr;
        }
        return BuildDesign(name, items, itemCount, dictionary, kName, err);
    });
}

ORVIK_API Omif_Design *omif_DesignCreateFromTable(const wchar_t *name,
                                                  const Omif_ItemDescription *table,
                                                  const Omif_Dictionary *dictionary,
                                                  Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    static const wchar_t *const kName = L"omif_DesignCreateFromTable";
    return Guarded<Omif_Design *>(err, kName, nullptr, [&]() -> Omif_Design * {
        return BuildDesign(name, table, -1, dictionary, kName, err);
    });
}

ORVIK_API Omif_Design *omif_DesignCreateVAPtr(const wchar_t *name, Oerr_ErrorReport **err,
                                              va_list *args) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    return CreateFromArguments(name, args, L"omif_DesignCreateVAPtr", err);
}

ORVIK_API Omif_Design *omif_DesignCreateX(const wchar_t *name, Oerr_ErrorReport **err, ...)
    ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    va_list args;
    va_start(args, err);
    Omif_Design *design = CreateFromArguments(name, &args, L"omif_DesignCreateX", err);
    va_end(args);
    return design;
}

} // extern "C"
