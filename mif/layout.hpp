// Internal: the host layout of designs ("SetSizes"): element and item sizes, offsets,
// padding, record size and alignment. Works on caller-owned designs; no shared state.
#pragma once

#include <unordered_map>
#include <vector>

#include <orvik/omif.h>

namespace orvik::mif {

// Lays out a group of designs that may refer to each other. A design's `o` items that
// refer to a design of the group are laid out after it (a design that holds itself
// directly is an error); references outside the group are taken as laid out already.
class LayoutGroup {
  public:
    void Add(Omif_Design *design);
    // Reports under "SetSizes"; on failure the sizes of the group are unspecified.
    bool Run(Oerr_ErrorReport **err);

  private:
    enum class State { kPending, kInProgress, kDone };
    bool Layout(Omif_Design *design, int depth, Oerr_ErrorReport **err);
    bool ElementOf(Omif_Item *item, const Omif_Design *owner, int depth, int32_t &size,
                   int32_t &align, Oerr_ErrorReport **err);

    std::unordered_map<const Omif_Design *, State> m_state;
    std::vector<Omif_Design *> m_order;
    std::vector<Omif_Item *> m_indirectObjects;
};

// Lays out one design (with its inline designs).
bool SetSizes(Omif_Design *design, Oerr_ErrorReport **err);

} // namespace orvik::mif
