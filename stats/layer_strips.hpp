// Internal: reading raster layers for the statistics computations one strip at a time. A strip
// is one block row tall and as many whole blocks wide as fit kStripPixels; only the span from
// its first to its last sampled row and column is read. Skip factors count from the layer's
// row 0 and column 0.
#pragma once

#include <cstdint>
#include <memory>

#include <orvik/oimg.h>

#include "stats/compute_scan.hpp"

namespace orvik::stats {

constexpr int64_t kStripPixels = 1 << 18;

struct BaseDataDeleter {
    void operator()(Ogda_BaseData *d) const { ogda_BaseDataDelete(d, nullptr); }
};
using OwnedBaseData = std::unique_ptr<Ogda_BaseData, BaseDataDeleter>;

// The sampled span of one strip: rows row .. row + rows - 1, columns likewise.
struct StripWindow {
    int32_t row = 0, column = 0, rows = 0, columns = 0;
};

class LayerStrips {
  public:
    // `shape`: the layer whose block geometry cuts the strips.
    LayerStrips(const Oimg_LayerInfo &shape, int32_t skipX, int32_t skipY);

    // A buffer for one strip of pixels of `type`; null with a report (5) under `fn`.
    OwnedBaseData NewBuffer(int32_t type, Oerr_ErrorReport **err, const wchar_t *fn) const;

    // Calls f(window) for every strip holding a sampled pixel; stops at the first false.
    template <class F> bool ForEach(F &&f) const {
        for (int64_t r0 = 0; r0 < height_; r0 += rows_) {
            const int64_t r1 = std::min<int64_t>(r0 + rows_, height_);
            const int64_t first = NextSample(r0, sy_);
            if (first >= r1) continue;
            const int64_t last = first + (r1 - 1 - first) / sy_ * sy_;
            for (int64_t c0 = 0; c0 < width_; c0 += columns_) {
                const int64_t c1 = std::min<int64_t>(c0 + columns_, width_);
                const int64_t left = NextSample(c0, sx_);
                if (left >= c1) continue;
                const int64_t right = left + (c1 - 1 - left) / sx_ * sx_;
                if (!f(StripWindow{int32_t(first), int32_t(left), int32_t(last - first + 1),
                                   int32_t(right - left + 1)}))
                    return false;
            }
        }
        return true;
    }

    // Reads the window of `layer` into `buffer`; `view` becomes the part holding it. Reports a
    // failure (7) under `fn`.
    static bool Read(Oimg_Layer *layer, const StripWindow &w, const Ogda_BaseData &buffer,
                     Ogda_BaseData &view, Oerr_ErrorReport **err, const wchar_t *fn);

    // The sampled pixels of a view. `collapse`: an unpadded view sampled whole is one line
    // (grids of several layers that must match position by position keep their lines).
    Grid Sampled(const Ogda_BaseData &view, bool collapse) const;

  private:
    static int64_t NextSample(int64_t at, int64_t step) { return (at + step - 1) / step * step; }

    int32_t width_, height_, sx_, sy_;
    int32_t rows_ = 0, columns_ = 0;
};

} // namespace orvik::stats
