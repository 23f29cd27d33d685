// Overviews: reduced-resolution copies of a layer, each level half the size of the one
// before (rounded up), stored as child layers "Overview_<factor>". One pass over the layer:
// strips of two block rows are read, reduced 2 x 2 into one block row of the first level,
// written, and handed on to the next level, which reduces them once it holds two block rows
// of its own, and so on. Pixels are reduced in the layer's own type: the mean for continuous
// layers (integers rounded half away from zero), the most frequent value for thematic ones
// (the earliest of the 2 x 2 window among equals); no-data pixels are left out.
#include <cmath>
#include <cstring>
#include <memory>
#include <optional>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "core/guard.hpp"
#include "img/coded_store.hpp"
#include "img/layer.hpp"
#include "img/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;

namespace orvik::img {
namespace {

constexpr const wchar_t *kPrefix = L"/Overview_";
constexpr int kMaxLevels = 31;

template <class F> struct Complex {
    F re, im;
    bool operator==(const Complex &o) const { return re == o.re && im == o.im; }
};

template <class T> struct Reduce {
    static T Mean(const T *v, int n) {
        double sum = 0;
        for (int i = 0; i < n; ++i) sum += static_cast<double>(v[i]);
        const double m = sum / n;
        if constexpr (std::is_integral_v<T>) return static_cast<T>(std::round(m));
        return static_cast<T>(m);
    }
};
// The mean of a full 2 x 2 window without no-data, the common case, in a form the compiler
// vectorises; equal to Reduce<T>::Mean of the four values.
template <class T> T Mean4(T a, T b, T c, T d) {
    if constexpr (std::is_unsigned_v<T> && sizeof(T) <= 2) {
        return static_cast<T>((uint32_t{a} + b + c + d + 2) >> 2);
    } else if constexpr (std::is_integral_v<T>) {
        const int64_t s = int64_t{a} + b + c + d;
        return static_cast<T>(s >= 0 ? (s + 2) / 4 : -((-s + 2) / 4));
    } else {
        return static_cast<T>((((0.0 + a) + b) + c + d) / 4);
    }
}

// One output row of full 2 x 2 means, out[c] from columns 2c and 2c + 1 of both rows, for
// c < count. u8 layers, the commonest, take sixteen input bytes a step with SSE2.
template <class T> void MeanRow(const T *top, const T *bottom, T *out, int32_t count) {
    for (int32_t c = 0; c < count; ++c)
        out[c] = Mean4(top[2 * c], top[2 * c + 1], bottom[2 * c], bottom[2 * c + 1]);
}
#if defined(__SSE2__)
template <>
void MeanRow<uint8_t>(const uint8_t *top, const uint8_t *bottom, uint8_t *out, int32_t count) {
    const __m128i low = _mm_set1_epi16(0x00FF), two = _mm_set1_epi16(2);
    int32_t c = 0;
    for (; c + 8 <= count; c += 8) {
        const __m128i t = _mm_loadu_si128(reinterpret_cast<const __m128i *>(top + 2 * c));
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i *>(bottom + 2 * c));
        // Even and odd bytes as 16-bit lanes, summed: eight sums of four.
        __m128i sum = _mm_add_epi16(_mm_and_si128(t, low), _mm_srli_epi16(t, 8));
        sum = _mm_add_epi16(sum, _mm_add_epi16(_mm_and_si128(b, low), _mm_srli_epi16(b, 8)));
        sum = _mm_srli_epi16(_mm_add_epi16(sum, two), 2);
        _mm_storel_epi64(reinterpret_cast<__m128i *>(out + c), _mm_packus_epi16(sum, sum));
    }
    for (; c < count; ++c)
        out[c] = Mean4(top[2 * c], top[2 * c + 1], bottom[2 * c], bottom[2 * c + 1]);
}
#endif

template <class F> struct Reduce<Complex<F>> {
    static Complex<F> Mean(const Complex<F> *v, int n) {
        double re = 0, im = 0;
        for (int i = 0; i < n; ++i) re += v[i].re, im += v[i].im;
        return {static_cast<F>(re / n), static_cast<F>(im / n)};
    }
};

template <class T> T Mode(const T *v, int n) {
    int best = 0, bestCount = 0;
    for (int i = 0; i < n; ++i) {
        int count = 0;
        for (int j = 0; j < n; ++j) count += v[j] == v[i];
        if (count > bestCount) best = i, bestCount = count;
    }
    return v[best];
}

// One level being built: rows of the level above wait in `input` until two are there.
template <class T> struct Level {
    Oimg_Layer *layer = nullptr; // owned
    int32_t width = 0, height = 0;
    int32_t inWidth = 0, inHeight = 0;
    std::vector<T> input; // up to 2 * blockHeight rows of the level above
    int32_t inputRows = 0;
    int32_t inputSeen = 0; // rows of the level above received so far
    int32_t written = 0;   // rows of this level written
    std::vector<T> output; // up to blockHeight rows of this level
};

template <class T> class Builder {
  public:
    Builder(Oimg_Layer *base, Oerr_ErrorReport **err, const wchar_t *fn)
        : m_base(base), m_err(err), m_fn(fn) {
        const Oimg_LayerInfo &i = base->info;
        m_thematic = i.layerKind == OIMG_THEMATIC;
        m_hasNoData = i.hasNoData != 0;
        if (m_hasNoData) {
            // The no-data value as the layer stores it.
            unsigned char host[16] = {};
            DecodeRow(i, base->geometry, base->noDataBlock.data(), 0, 1, host);
            std::memcpy(&m_noData, host, sizeof m_noData);
        }
    }
    ~Builder() {
        for (auto &l : m_levels) {
            Oerr_ErrorReport *e = nullptr;
            if (l.layer) CloseLayer(l.layer, &e, m_fn);
            oerr_DeleteErrorReportEx(&e);
        }
    }
    Builder(const Builder &) = delete;
    Builder &operator=(const Builder &) = delete;

    bool AddLevel(Oimg_Layer *layer) {
        Level<T> l;
        l.layer = layer;
        l.width = layer->info.width;
        l.height = layer->info.height;
        const Oimg_LayerInfo &above = m_levels.empty() ? m_base->info : m_levels.back().layer->info;
        l.inWidth = above.width;
        l.inHeight = above.height;
        try {
            m_levels.push_back(std::move(l));
        } catch (...) {
            // The level is not in the list the destructor closes: close it here.
            Oerr_ErrorReport *e = nullptr;
            CloseLayer(layer, &e, m_fn);
            oerr_DeleteErrorReportEx(&e);
            throw;
        }
        return true;
    }

    bool Run() {
        const Oimg_LayerInfo &i = m_base->info;
        const int32_t strip = 2 * i.blockHeight;
        std::vector<T> rows;
        for (int32_t r = 0; r < i.height; r += strip) {
            const int32_t n = std::min(strip, i.height - r);
            rows.resize(static_cast<std::size_t>(n) * i.width);
            if (!Transfer(m_base, r, n, rows.data(), false)) return false;
            if (!Feed(0, rows.data(), n)) return false;
        }
        return Finish();
    }

    // The next `n` rows of the layer, whole width, unpadded.
    bool Add(const T *rows, int32_t n) { return Feed(0, rows, n); }
    // Reports of later calls go to `err`.
    void ReportTo(Oerr_ErrorReport **err) { m_err = err; }

    // Closes the levels, which writes what they hold.
    bool Finish() {
        for (auto &l : m_levels) {
            Oerr_ErrorReport *e = nullptr;
            const bool ok = CloseLayer(l.layer, &e, m_fn);
            l.layer = nullptr;
            if (!ok) {
                *m_err = e;
                return false;
            }
        }
        return true;
    }

  private:
    bool Transfer(Oimg_Layer *layer, int32_t row, int32_t rows, T *pixels, bool write) {
        const Oimg_LayerInfo &i = layer->info;
        Ogda_BaseData d{};
        d.numrows = rows;
        d.numcolumns = i.width;
        d.datatype = static_cast<Ogda_PixelType>(i.pixelType);
        d.objecttype = Ogda_Raster;
        d.data = d.dataStart = pixels;
        d.numbytes = static_cast<int32_t>(sizeof(T));
        d.lineBytes = d.numbytes * i.width;
        d.derivedFlag = 1;
        d.numelements = rows * i.width;
        return write ? WriteWindow(layer, row, 0, rows, i.width, &d, m_err, m_fn)
                     : ReadWindow(layer, row, 0, rows, i.width, &d, m_err, m_fn);
    }

    T Combine(T *v, int n) const {
        int kept = 0;
        for (int i = 0; i < n; ++i)
            if (!(m_hasNoData && v[i] == m_noData)) v[kept++] = v[i];
        if (kept == 0) return m_hasNoData ? m_noData : T{};
        return m_thematic ? Mode(v, kept) : Reduce<T>::Mean(v, kept);
    }

    // Hands `n` rows of the level above to level k.
    bool Feed(std::size_t k, const T *rows, int32_t n) {
        if (k == m_levels.size()) return true;
        Level<T> &l = m_levels[k];
        const std::size_t w = static_cast<std::size_t>(l.inWidth);
        // Rows are reduced where they stand; only a row left without its pair is kept.
        const T *source = rows;
        if (l.inputRows > 0) {
            l.input.insert(l.input.end(), rows, rows + w * n);
            source = l.input.data();
        }
        l.inputRows += n;
        l.inputSeen += n;
        const bool last = l.inputSeen == l.inHeight;
        std::size_t used = 0; // rows of `source` reduced
        while (l.inputRows >= 2 || (last && l.inputRows == 1)) {
            const int pairRows = std::min(l.inputRows, 2);
            const T *top = source + used * w;
            const T *bottom = pairRows == 2 ? top + w : nullptr;
            const std::size_t at = l.output.size();
            l.output.resize(at + static_cast<std::size_t>(l.width));
            T *out = l.output.data() + at;
            int32_t c = 0;
            if constexpr (std::is_arithmetic_v<T>) {
                if (bottom && !m_thematic && !m_hasNoData) {
                    c = l.inWidth / 2;
                    MeanRow(top, bottom, out, c);
                }
            }
            for (; c < l.width; ++c) {
                T v[4];
                int n4 = 0;
                const int32_t x = 2 * c;
                v[n4++] = top[x];
                if (x + 1 < l.inWidth) v[n4++] = top[x + 1];
                if (bottom) {
                    v[n4++] = bottom[x];
                    if (x + 1 < l.inWidth) v[n4++] = bottom[x + 1];
                }
                out[c] = Combine(v, n4);
            }
            used += static_cast<std::size_t>(pairRows);
            l.inputRows -= pairRows;
            const auto held =
                static_cast<int32_t>(l.output.size() / static_cast<std::size_t>(l.width));
            if (held == l.layer->info.blockHeight || l.written + held == l.height) {
                if (!Transfer(l.layer, l.written, held, l.output.data(), true) ||
                    !Feed(k + 1, l.output.data(), held))
                    return false;
                l.written += held;
                l.output.clear();
            }
        }
        if (source == rows) {
            l.input.assign(rows + used * w,
                           rows + used * w + w * static_cast<std::size_t>(l.inputRows));
        } else {
            l.input.erase(l.input.begin(), l.input.begin() + static_cast<std::ptrdiff_t>(used * w));
        }
        return true;
    }

    Oimg_Layer *m_base;
    Oerr_ErrorReport **m_err;
    const wchar_t *m_fn;
    bool m_thematic = false;
    bool m_hasNoData = false;
    T m_noData{};
    std::vector<Level<T>> m_levels;
};

std::wstring LevelPath(const Oimg_Layer *layer, long factor) {
    return layer->path + kPrefix + std::to_wstring(factor);
}

long CountLevels(Oimg_Layer *layer, Oerr_ErrorReport **err) {
    long count = 0;
    for (long f = 2; count < kMaxLevels; f *= 2, ++count) {
        const long found = PeekEntry(layer->file, LevelPath(layer, f), nullptr, err);
        if (found < 0) return -1;
        if (found == 0) break;
    }
    return count;
}

// Deletes the old levels and creates the new ones, each handed to `builder`. Returns the number
// of levels, or -1.
template <class T>
long Prepare(Oimg_Layer *layer, Builder<T> &builder, Oerr_ErrorReport **err, const wchar_t *fn) {
    if (!DeleteOverviews(layer, err, fn)) return -1;
    Oimg_LayerInfo info = layer->info;
    long levels = 0;
    for (long f = 2;
         (info.width > info.blockWidth || info.height > info.blockHeight) && levels < kMaxLevels;
         f *= 2, ++levels) {
        info.width = (info.width + 1) / 2;
        info.height = (info.height + 1) / 2;
        // A coded layer's levels are coded alike: they are as large a part of the file.
        Oimg_Layer *level = CreateLayer(
            layer->file, layer->path, (std::wstring(kPrefix + 1) + std::to_wstring(f)).c_str(),
            info, err, fn, layer->coded ? &layer->coded->storage : nullptr);
        if (!level) {
            SetError(err, fn, kOverviewLevelFailed, *err, L"Cannot create overview %ld of layer %s",
                     f, layer->path.c_str());
            return -1;
        }
        builder.AddLevel(level);
    }
    return levels;
}

template <class T> long Build(Oimg_Layer *layer, Oerr_ErrorReport **err, const wchar_t *fn) {
    Builder<T> builder(layer, err, fn);
    const long levels = Prepare(layer, builder, err, fn);
    if (levels > 0 && !builder.Run()) {
        SetError(err, fn, kOverviewLevelFailed, *err, L"Cannot build the overviews of layer %s",
                 layer->path.c_str());
        return -1;
    }
    return levels;
}

template <class T> struct Tag { using Type = T; };

// Calls f(Tag<T>{}) with the host pixel type T of the layer's pixels; text layers have none
// (reported).
template <class F>
auto ForPixelType(Oimg_Layer *layer, Oerr_ErrorReport **err, const wchar_t *fn, F &&f)
    -> decltype(f(Tag<uint8_t>{})) {
    switch (layer->info.pixelType) {
    case OGDA_U1:
    case OGDA_U2:
    case OGDA_U4:
    case OGDA_U8:
        return f(Tag<uint8_t>{});
    case OGDA_S8:
        return f(Tag<int8_t>{});
    case OGDA_U16:
        return f(Tag<uint16_t>{});
    case OGDA_S16:
        return f(Tag<int16_t>{});
    case OGDA_U32:
        return f(Tag<uint32_t>{});
    case OGDA_S32:
        return f(Tag<int32_t>{});
    case OGDA_F32:
        return f(Tag<float>{});
    case OGDA_F64:
        return f(Tag<double>{});
    case OGDA_C64:
        return f(Tag<Complex<float>>{});
    case OGDA_C128:
        return f(Tag<Complex<double>>{});
    default:
        SetError(err, fn, kOverviewTextLayer, nullptr,
                 L"Layer %s holds text: no overviews are built", layer->path.c_str());
        return {};
    }
}

long BuildFor(Oimg_Layer *layer, Oerr_ErrorReport **err, const wchar_t *fn) {
    const auto levels = ForPixelType(layer, err, fn, [&](auto tag) -> std::optional<long> {
        return Build<typename decltype(tag)::Type>(layer, err, fn);
    });
    return levels ? *levels : -1;
}

} // namespace

bool DeleteOverviews(Oimg_Layer *layer, Oerr_ErrorReport **err, const wchar_t *fn) {
    const long count = CountLevels(layer, err);
    for (long k = 0, f = 2; k < count; ++k, f *= 2) {
        const std::wstring path = LevelPath(layer, f);
        if (!DeleteStore(layer->file, path, err, fn) ||
            ohfa_ObjectDelete(layer->file, path.c_str(), OHFA_SEEK_PATH, err) != 0) {
            SetError(err, fn, kOverviewLevelFailed, *err, L"Cannot delete overview %s",
                     path.c_str());
            return false;
        }
    }
    return count >= 0;
}

} // namespace orvik::img

// A build fed by the caller; the pixel type is fixed by the derived PushBuild<T>.
struct Oimg_OverviewBuild_ {
    virtual ~Oimg_OverviewBuild_() = default;
    // The next rows; false (reported) when a level could not be written.
    virtual bool Add(const Ogda_BaseData &rows, Oerr_ErrorReport **err) = 0;
    // Writes what the levels hold; false (reported) on failure.
    virtual bool Finish(Oerr_ErrorReport **err) = 0;
    // Closes the levels without a report (before they are deleted).
    virtual void Abandon() = 0;
    Oimg_Layer *layer = nullptr;
    long levels = 0;
    int32_t given = 0;   // rows of the layer handed over
    bool failed = false; // a write failed: no more rows are taken
};

namespace orvik::img {
namespace {

constexpr const wchar_t *kAddRowsFn = L"oimg_OverviewBuildAddRows";

template <class T> class PushBuild final : public Oimg_OverviewBuild_ {
  public:
    explicit PushBuild(Oimg_Layer *base, Oerr_ErrorReport **err)
        : m_builder(std::make_unique<Builder<T>>(base, err, kAddRowsFn)) {}
    Builder<T> &builder() { return *m_builder; }

    bool Add(const Ogda_BaseData &d, Oerr_ErrorReport **err) override {
        m_builder->ReportTo(err);
        const std::size_t line = sizeof(T) * static_cast<std::size_t>(layer->info.width);
        if (static_cast<std::size_t>(d.lineBytes) == line)
            return m_builder->Add(static_cast<const T *>(d.dataStart), d.numrows);
        // Padded lines are packed first: the builder takes rows back to back.
        m_rows.resize(line / sizeof(T) * static_cast<std::size_t>(d.numrows));
        for (int32_t r = 0; r < d.numrows; ++r)
            std::memcpy(m_rows.data() + r * (line / sizeof(T)),
                        static_cast<const unsigned char *>(d.dataStart) +
                            static_cast<std::size_t>(r) * d.lineBytes,
                        line);
        return m_builder->Add(m_rows.data(), d.numrows);
    }
    bool Finish(Oerr_ErrorReport **err) override {
        m_builder->ReportTo(err);
        return m_builder->Finish();
    }
    void Abandon() override {
        Oerr_ErrorReport *ignored = nullptr;
        m_builder->ReportTo(&ignored);
        m_builder.reset();
        oerr_DeleteErrorReportEx(&ignored);
    }

  private:
    std::unique_ptr<Builder<T>> m_builder;
    std::vector<T> m_rows;
};

// Why `rows` cannot be the next rows of the build, or null.
const wchar_t *BadRows(const Oimg_OverviewBuild_ &b, const Ogda_BaseData *d) {
    const Oimg_LayerInfo &i = b.layer->info;
    if (!d || !d->dataStart || d->objecttype == Ogda_Matrix || d->numrows < 1) return L"no rows";
    if (d->datatype != i.pixelType || d->numcolumns != i.width ||
        d->numbytes != ogda_NumBytePerPixelFromType(d->datatype) ||
        d->lineBytes < int64_t{d->numbytes} * i.width)
        return L"rows of another width or pixel type";
    if (d->numrows > i.height - b.given) return L"more rows than the layer holds";
    return nullptr;
}

} // namespace
} // namespace orvik::img

using namespace orvik::img;

extern "C" {

ORVIK_API long oimg_LayerBuildOverviews(Oimg_Layer *layer, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"oimg_LayerBuildOverviews";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        if (!layer) {
            SetError(err, kFn, kOverviewBadArgument, nullptr, L"Invalid layer");
            return -1;
        }
        return BuildFor(layer, err, kFn);
    });
}

ORVIK_API long oimg_LayerOverviewCount(Oimg_Layer *layer, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"oimg_LayerOverviewCount";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        if (!layer) {
            SetError(err, kFn, kOverviewBadArgument, nullptr, L"Invalid layer");
            return -1;
        }
        const long n = CountLevels(layer, err);
        if (n < 0) SetError(err, kFn, kOverviewLevelFailed, *err, L"ohfa_EntryPeek failed");
        return n;
    });
}

ORVIK_API long oimg_LayerOverviewFactor(Oimg_Layer *layer, double scale, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"oimg_LayerOverviewFactor";
    const long levels = oimg_LayerOverviewCount(layer, err);
    if (levels < 0) {
        SetError(err, kFn, kOverviewLevelFailed, *err, L"oimg_LayerOverviewCount failed");
        return -1;
    }
    long factor = 1;
    for (long k = 0; k < levels && scale >= 2.0 * factor; ++k) factor *= 2;
    return factor;
}

ORVIK_API Oimg_Layer *oimg_LayerOverviewOpen(Oimg_Layer *layer, long factor, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"oimg_LayerOverviewOpen";
    if (err) *err = nullptr;
    return Guarded<Oimg_Layer *>(err, kFn, nullptr, [&]() -> Oimg_Layer * {
        if (!layer || factor < 1 || (factor & (factor - 1)) != 0) {
            SetError(err, kFn, kOverviewBadArgument, nullptr, L"Invalid layer or factor %ld",
                     factor);
            return nullptr;
        }
        Oimg_Layer *level =
            OpenLayer(layer->file, factor == 1 ? layer->path : LevelPath(layer, factor), err, kFn);
        if (!level)
            SetError(err, kFn, kOverviewNoLevel, *err, L"No overview of factor %ld", factor);
        return level;
    });
}

ORVIK_API Oimg_OverviewBuild *oimg_OverviewBuildBegin(Oimg_Layer *layer, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"oimg_OverviewBuildBegin";
    if (err) *err = nullptr;
    return Guarded<Oimg_OverviewBuild *>(err, kFn, nullptr, [&]() -> Oimg_OverviewBuild * {
        if (!layer) {
            SetError(err, kFn, kPushBadArgument, nullptr, L"Invalid layer");
            return nullptr;
        }
        using Made = std::unique_ptr<Oimg_OverviewBuild_>;
        Made build = ForPixelType(layer, err, kFn, [&](auto tag) -> Made {
            auto b = std::make_unique<PushBuild<typename decltype(tag)::Type>>(layer, err);
            b->layer = layer;
            b->levels = Prepare(layer, b->builder(), err, kFn);
            if (b->levels < 0) return nullptr;
            return b;
        });
        return build.release();
    });
}

ORVIK_API long oimg_OverviewBuildAddRows(Oimg_OverviewBuild *build, const Ogda_BaseData *rows,
                                         Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    return Guarded<long>(err, kAddRowsFn, -1, [&]() -> long {
        if (!build || build->failed) {
            SetError(err, kAddRowsFn, kPushBadArgument, nullptr,
                     build ? L"The build has failed" : L"Invalid build");
            return -1;
        }
        if (const wchar_t *why = BadRows(*build, rows)) {
            SetError(err, kAddRowsFn, kPushBadRows, nullptr, L"Cannot take %s for layer %s", why,
                     build->layer->path.c_str());
            build->failed = true;
            return -1;
        }
        build->failed = true; // until the rows are in: an exception leaves the build failed
        if (!build->Add(*rows, err)) {
            SetError(err, kAddRowsFn, kPushLevelFailed, *err,
                     L"Cannot build the overviews of layer %s", build->layer->path.c_str());
            return -1;
        }
        build->failed = false;
        build->given += rows->numrows;
        return 0;
    });
}

ORVIK_API long oimg_OverviewBuildEnd(Oimg_OverviewBuild *build, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"oimg_OverviewBuildEnd";
    if (err) *err = nullptr;
    const std::unique_ptr<Oimg_OverviewBuild_> owned(build);
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        if (!build) {
            SetError(err, kFn, kPushBadArgument, nullptr, L"Invalid build");
            return -1;
        }
        Oimg_Layer *layer = build->layer;
        if (!build->failed && build->given == layer->info.height) {
            if (build->Finish(err)) return build->levels;
            SetError(err, kFn, kPushLevelFailed, *err, L"Cannot build the overviews of layer %s",
                     layer->path.c_str());
        } else {
            SetError(err, kFn, kPushIncomplete, nullptr,
                     L"The overviews of layer %s were given %ld of %ld rows", layer->path.c_str(),
                     long{build->given}, long{layer->info.height});
        }
        // Half-built levels would read as if complete: they go.
        build->Abandon();
        Oerr_ErrorReport *inner = nullptr;
        DeleteOverviews(layer, &inner, kFn);
        oerr_DeleteErrorReportEx(&inner);
        return -1;
    });
}

} // extern "C"
