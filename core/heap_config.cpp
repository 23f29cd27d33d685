// The replaceable lookup of the big heap's size (see heap_config.hpp).
#include "core/heap_config.hpp"

#include <atomic>

namespace orvik::core {

namespace {
std::atomic<HeapSizeLookup> gLookup{nullptr};
}

double HeapSizePreference() {
    const HeapSizeLookup lookup = gLookup.load(std::memory_order_acquire);
    return lookup ? lookup() : 0.0;
}

void SetHeapSizePreferenceLookup(HeapSizeLookup lookup) {
    gLookup.store(lookup, std::memory_order_release);
}

} // namespace orvik::core
