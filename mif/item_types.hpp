// Internal: what each MIF item type is - its letter in the text form, its host element
// size and alignment, and its element size in the file form. Read-only tables; thread-safe.
#pragma once

#include <cstdint>

#include <orvik/omif.h>

namespace orvik::mif {

struct ItemTypeInfo {
    char letter;       // letter in the text form
    int32_t hostSize;  // host bytes per element; 0 for objects (their design decides)
    int32_t hostAlign; // host alignment of an element; 0 for objects
    int32_t fileSize;  // file bytes per element; 0 for packed, object and base-data items
    int32_t perByte;   // packed items: elements per file byte (8, 4, 2); otherwise 0
};

// Null for codes outside 1..19.
const ItemTypeInfo *TypeInfo(int32_t type);
// The type code of a text-form letter, or 0.
int32_t TypeFromLetter(int letter);

inline bool IsObjectType(int32_t type) {
    return type == OMIF_ITEM_OBJECT || type == OMIF_ITEM_INLINE_OBJECT;
}

// Host form of a counted-pointer item.
struct CountedPointerHost {
    int32_t count;
    void *data;
};

// Text-form names are printable ASCII other than ",", which ends them.
inline bool IsNameCharacter(uint32_t c) { return c >= 0x20 && c <= 0x7e && c != ','; }

} // namespace orvik::mif
