// The table of MIF item types.
#include "mif/item_types.hpp"

#include <complex>

#include <orvik/ogda.h>

namespace orvik::mif {
namespace {

// Indexed by type code; entry 0 is unused.
constexpr ItemTypeInfo kTypes[OMIF_ITEM_TYPE_MAX + 1] = {
    {0, 0, 0, 0, 0},
    {'x', 0, 0, 0, 0},
    {'o', 0, 0, 0, 0},
    {'e', 4, 4, 2, 0},
    {'1', 1, 1, 0, 8},
    {'2', 1, 1, 0, 4},
    {'4', 1, 1, 0, 2},
    {'C', 1, 1, 1, 0},
    {'c', 1, 1, 1, 0},
    {'S', 2, 2, 2, 0},
    {'s', 2, 2, 2, 0},
    {'L', 4, 4, 4, 0},
    {'l', 4, 4, 4, 0},
    {'f', 4, 4, 4, 0},
    {'d', 8, alignof(double), 8, 0},
    {'m', sizeof(std::complex<float>), alignof(std::complex<float>), 8, 0},
    {'M', sizeof(std::complex<double>), alignof(std::complex<double>), 16, 0},
    {'b', sizeof(Ogda_BaseData), alignof(Ogda_BaseData), 0, 0},
    {'t', 8, alignof(double), 8, 0},
    {'i', 4, 4, 4, 0},
};

constexpr int32_t LetterTableEntry(unsigned char c) {
    for (int32_t t = 1; t <= OMIF_ITEM_TYPE_MAX; ++t)
        if (static_cast<unsigned char>(kTypes[t].letter) == c) return t;
    return 0;
}

struct LetterTable {
    int32_t code[256];
    constexpr LetterTable() : code() {
        for (int c = 0; c < 256; ++c) code[c] = LetterTableEntry(static_cast<unsigned char>(c));
    }
};
constexpr LetterTable kLetters;

} // namespace

const ItemTypeInfo *TypeInfo(int32_t type) {
    return type >= 1 && type <= OMIF_ITEM_TYPE_MAX ? &kTypes[type] : nullptr;
}

int32_t TypeFromLetter(int letter) {
    return letter >= 0 && letter < 256 ? kLetters.code[letter] : 0;
}

} // namespace orvik::mif
