// Internal: what the integrity check's walk learns about space, for the free-list rebuild.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

struct Ohfa_File_;

namespace orvik::hfa {

// Walks the file as stored (as ohfa_FileCheck does). Returns the number of problems that are
// not about the free list alone, with the first of them in *firstDamage; in *unclaimed, in
// increasing order, the ranges (position, length) that no structure but a free block claims.
long UnclaimedSpace(Ohfa_File_ *file, std::vector<std::pair<int64_t, int64_t>> *unclaimed,
                    std::wstring *firstDamage);

} // namespace orvik::hfa
