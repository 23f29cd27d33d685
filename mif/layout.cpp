// Host layout of designs. Items follow each other in order, each at the next multiple of
// its alignment; the record is rounded up to its strictest alignment - exactly what a C
// compiler does for the matching struct. Sizes are computed in 64 bits and refused above
// INT32_MAX, so no design can describe a record the 32-bit size fields cannot hold.
#include "mif/layout.hpp"

#include <algorithm>
#include <climits>
#include <cstdint>

#include "core/guard.hpp"
#include "mif/item_types.hpp"
#include "mif/report.hpp"

using namespace orvik::mif;

namespace orvik::mif {
namespace {

constexpr const wchar_t *kStep = L"SetSizes";

int64_t AlignUp(int64_t value, int64_t align) { return (value + align - 1) / align * align; }

const wchar_t *NameOf(const wchar_t *name) { return name ? name : L"(null)"; }

} // namespace

void LayoutGroup::Add(Omif_Design *design) {
    if (m_state.emplace(design, State::kPending).second) m_order.push_back(design);
}

bool LayoutGroup::Run(Oerr_ErrorReport **err) {
    for (Omif_Design *d : m_order)
        if (m_state[d] == State::kPending && !Layout(d, 0, err)) return false;
    // A pointer's element may be the design that holds the pointer, so element sizes of
    // indirect objects are settled once every design has its size.
    for (Omif_Item *item : m_indirectObjects) item->elementSize = item->design->hostSize;
    return true;
}

bool LayoutGroup::ElementOf(Omif_Item *item, const Omif_Design *owner, int depth, int32_t &size,
                            int32_t &align, Oerr_ErrorReport **err) {
    Omif_Design *element = item->design;
    if (!element) {
        core::SetError(err, kStep, kLayoutNoElementDesign, nullptr,
                       L"Item %s of design %s has no element design", NameOf(item->name),
                       NameOf(owner->name));
        return false;
    }
    if (item->type == OMIF_ITEM_INLINE_OBJECT) {
        if (!Layout(element, depth + 1, err)) return false;
    } else if (auto it = m_state.find(element); it != m_state.end()) {
        if (it->second == State::kPending && !item->indirect) {
            if (!Layout(element, depth + 1, err)) return false;
        } else if (it->second == State::kInProgress && !item->indirect) {
            core::SetError(err, kStep, kLayoutRecursive, nullptr,
                           L"Design %s contains itself (item %s)", NameOf(element->name),
                           NameOf(item->name));
            return false;
        }
    }
    if (item->indirect) {
        m_indirectObjects.push_back(item);
        size = element->hostSize;
        align = 1;
    } else {
        size = element->hostSize;
        align = std::max<int32_t>(element->alignment, 1);
    }
    return true;
}

bool LayoutGroup::Layout(Omif_Design *design, int depth, Oerr_ErrorReport **err) {
    if (depth > OMIF_MAX_NESTING) {
        core::SetError(err, kStep, kLayoutTooDeep, nullptr,
                       L"Design %s: objects nested deeper than %ld levels", NameOf(design->name),
                       static_cast<long>(OMIF_MAX_NESTING));
        return false;
    }
    auto tracked = m_state.find(design);
    if (tracked != m_state.end()) tracked->second = State::kInProgress;

    int64_t offset = 0;
    int32_t recordAlign = 1;
    Omif_Item *previous = nullptr;
    for (Omif_Item *item = design->items; item; item = item->next) {
        const ItemTypeInfo *info = TypeInfo(item->type);
        if (!info) {
            core::SetError(err, kStep, kLayoutUnknownType, nullptr,
                           L"Item %s of design %s has unknown type %ld", NameOf(item->name),
                           NameOf(design->name), static_cast<long>(item->type));
            return false;
        }
        if (item->count < 0) {
            core::SetError(err, kStep, kLayoutBadCount, nullptr,
                           L"Item %s of design %s has count %ld", NameOf(item->name),
                           NameOf(design->name), static_cast<long>(item->count));
            return false;
        }
        int32_t elementSize = info->hostSize;
        int32_t elementAlign = info->hostAlign;
        if (IsObjectType(item->type) &&
            !ElementOf(item, design, depth, elementSize, elementAlign, err))
            return false;
        item->elementSize = elementSize;

        int64_t size;
        int32_t align;
        if (item->indirect) {
            const bool counted = item->pointerKind == OMIF_POINTER_COUNTED;
            size = counted ? sizeof(CountedPointerHost) : sizeof(void *);
            align = counted ? alignof(CountedPointerHost) : alignof(void *);
        } else {
            size = static_cast<int64_t>(item->count) * elementSize;
            align = elementAlign;
        }
        offset = AlignUp(offset, align);
        if (previous)
            previous->padding =
                static_cast<int32_t>(offset - previous->offset - previous->hostSize);
        if (offset + size > INT32_MAX) {
            core::SetError(err, kStep, kLayoutTooLarge, nullptr,
                           L"Design %s is larger than 2147483647 bytes on this host (item %s)",
                           NameOf(design->name), NameOf(item->name));
            return false;
        }
        item->offset = static_cast<int32_t>(offset);
        item->hostSize = static_cast<int32_t>(size);
        offset += size;
        recordAlign = std::max(recordAlign, align);
        previous = item;
    }
    const int64_t total = AlignUp(offset, recordAlign);
    if (total > INT32_MAX) {
        core::SetError(err, kStep, kLayoutTooLarge, nullptr,
                       L"Design %s is larger than 2147483647 bytes on this host",
                       NameOf(design->name));
        return false;
    }
    if (previous)
        previous->padding = static_cast<int32_t>(total - previous->offset - previous->hostSize);
    design->hostSize = static_cast<int32_t>(total);
    design->alignment = recordAlign;
    if (tracked != m_state.end()) tracked->second = State::kDone;
    return true;
}

bool SetSizes(Omif_Design *design, Oerr_ErrorReport **err) {
    // Every design the tree owns (inline designs, and `o` designs a converted tree owns)
    // belongs to the group, so that references among them are settled together.
    LayoutGroup group;
    std::vector<Omif_Design *> pending{design};
    while (!pending.empty()) {
        Omif_Design *d = pending.back();
        pending.pop_back();
        group.Add(d);
        for (Omif_Item *item = d->items; item; item = item->next)
            if (item->design && item->ownsDesign) pending.push_back(item->design);
    }
    return group.Run(err);
}

} // namespace orvik::mif
