// Internal: entry data that names a block of its own by file position, outside the entry
// tree. The one such record is a descriptor table's column ("Odsc_Column": l numRows,
// L columnDataPtr, e dataType, l maxNumChars; see docs/hfa-format.md), whose values lie in a
// separate block. A copy must carry that block and point the copied record at it, and the
// check must count the block as the entry's, or the copy would name bytes of some other
// structure and the check would call the values leaked.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orvik::hfa {

struct LinkedBlock {
    uint32_t position = 0;
    int64_t size = 0;
};

// The block the record of type `type` (the entry's type field, not terminated when full)
// names, from its file form: false when the type names no block, the record does not have
// its size, or its fields cannot describe a block (no rows, an unknown value type).
bool LinkedBlockOf(const char *type, std::size_t typeSize, const unsigned char *bytes,
                   std::size_t count, LinkedBlock &out);
// Points the record (file form, of a type LinkedBlockOf accepted) at `position`.
void SetLinkedBlock(unsigned char *bytes, uint32_t position);

} // namespace orvik::hfa
