// The six fixed HFA designs as a built-in design set. Item names and types follow the
// on-disk record tables of docs/hfa-format.md.
#include "hfa/designs.hpp"

#include <orvik/ohfa.h>

#include "core/guard.hpp"

namespace {

const Omif_ItemDescription kTagItems[] = {OMIF_FIELD(OMIF_ITEM_CHAR, L"label", 16),
                                          OMIF_FIELD(OMIF_ITEM_ULONG, L"headerPtr", 1),
                                          OMIF_TABLE_END};

const Omif_ItemDescription kHeaderItems[] = {OMIF_FIELD(OMIF_ITEM_LONG, L"version", 1),
                                             OMIF_FIELD(OMIF_ITEM_ULONG, L"freeList", 1),
                                             OMIF_FIELD(OMIF_ITEM_ULONG, L"rootEntryPtr", 1),
                                             OMIF_FIELD(OMIF_ITEM_SHORT, L"entryHeaderLength", 1),
                                             OMIF_FIELD(OMIF_ITEM_ULONG, L"dictionaryPtr", 1),
                                             OMIF_TABLE_END};

const Omif_ItemDescription kEntryItems[] = {
    OMIF_FIELD(OMIF_ITEM_ULONG, L"next", 1),   OMIF_FIELD(OMIF_ITEM_ULONG, L"prev", 1),
    OMIF_FIELD(OMIF_ITEM_ULONG, L"parent", 1), OMIF_FIELD(OMIF_ITEM_ULONG, L"child", 1),
    OMIF_FIELD(OMIF_ITEM_ULONG, L"data", 1),   OMIF_FIELD(OMIF_ITEM_LONG, L"dataSize", 1),
    OMIF_FIELD(OMIF_ITEM_CHAR, L"name", 64),   OMIF_FIELD(OMIF_ITEM_CHAR, L"type", 32),
    OMIF_FIELD(OMIF_ITEM_TIME, L"modTime", 1), OMIF_TABLE_END};

const Omif_ItemDescription kNodeItems[] = {OMIF_FIELD(OMIF_ITEM_ULONG, L"freeList", 1),
                                           OMIF_FIELD(OMIF_ITEM_LONG, L"freeSize", 1),
                                           OMIF_TABLE_END};

const Omif_ItemDescription kDataItems[] = {OMIF_FIELD(OMIF_ITEM_LONG, L"size", 1),
                                           OMIF_FIELD(OMIF_ITEM_ULONG, L"ptr", 1), OMIF_TABLE_END};

const Omif_ItemDescription kCacheNodeItems[] = {
    OMIF_FIELD(OMIF_ITEM_LONG, L"blocksize", 1), OMIF_FIELD(OMIF_ITEM_LONG, L"blockcount", 1),
    OMIF_FIELD(OMIF_ITEM_LONG, L"bytecount", 1), OMIF_FIELD(OMIF_ITEM_LONG, L"rootptr", 1),
    OMIF_TABLE_END};

const Omif_DesignTable kDesigns[] = {{orvik::hfa::kHeaderDesign, kHeaderItems},
                                     {orvik::hfa::kEntryDesign, kEntryItems},
                                     {orvik::hfa::kTagDesign, kTagItems},
                                     {orvik::hfa::kNodeDesign, kNodeItems},
                                     {orvik::hfa::kDataDesign, kDataItems},
                                     {orvik::hfa::kCacheNodeDesign, kCacheNodeItems},
                                     {nullptr, nullptr}};

Omif_BuiltinDesigns g_designs = OMIF_BUILTIN_DESIGNS(kDesigns, nullptr);

// The host records must have exactly the layout MIF gives the designs.
static_assert(sizeof(Ohfa_HeaderTag) == 20 && sizeof(Ohfa_FileHeader) == 20 &&
              sizeof(Ohfa_Entry) == 128 && sizeof(Ohfa_FreeListNode) == 8 &&
              sizeof(Ohfa_Data) == 8 && sizeof(Ohfa_CacheNode) == 16);

} // namespace

namespace orvik::hfa {

const Omif_Design *FixedDesign(const wchar_t *name, Oerr_ErrorReport **err) {
    return omif_BuiltinDesignFetch(&g_designs, name, err);
}

} // namespace orvik::hfa

extern "C" ORVIK_API const Omif_Design *ohfa_DesignFetch(const wchar_t *name,
                                                         Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    return orvik::core::Guarded<const Omif_Design *>(
        err, L"ohfa_DesignFetch", nullptr, [&] { return orvik::hfa::FixedDesign(name, err); });
}
