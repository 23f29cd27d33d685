// Records that name a block of their own (see linked_blocks.hpp).
#include "hfa/linked_blocks.hpp"

#include <cstring>

namespace orvik::hfa {

namespace {

constexpr char kColumnType[] = "Odsc_Column";
constexpr std::size_t kColumnRecordSize = 14;
constexpr std::size_t kPointerAt = 4;
constexpr int32_t kLargestString = 65536;

int32_t Long(const unsigned char *b) {
    return static_cast<int32_t>(static_cast<uint32_t>(b[0]) | static_cast<uint32_t>(b[1]) << 8 |
                                static_cast<uint32_t>(b[2]) << 16 |
                                static_cast<uint32_t>(b[3]) << 24);
}

} // namespace

bool LinkedBlockOf(const char *type, std::size_t typeSize, const unsigned char *bytes,
                   std::size_t count, LinkedBlock &out) {
    if (count != kColumnRecordSize || typeSize < sizeof kColumnType ||
        std::memcmp(type, kColumnType, sizeof kColumnType) != 0)
        return false;
    const int32_t rows = Long(bytes);
    const auto position = static_cast<uint32_t>(Long(bytes + kPointerAt));
    const int32_t valueType = bytes[8] | bytes[9] << 8;
    const int32_t width = Long(bytes + 10);
    int64_t element = 0;
    switch (valueType) {
    case 0: // integer
        element = 4;
        break;
    case 1: // real
        element = 8;
        break;
    case 2: // string
        element = width >= 1 && width <= kLargestString ? width : 0;
        break;
    default:
        break;
    }
    if (rows < 1 || element == 0 || position == 0) return false;
    out.position = position;
    out.size = int64_t{rows} * element;
    return true;
}

void SetLinkedBlock(unsigned char *bytes, uint32_t position) {
    for (int i = 0; i < 4; ++i)
        bytes[kPointerAt + static_cast<std::size_t>(i)] =
            static_cast<unsigned char>(position >> (8 * i));
}

} // namespace orvik::hfa
