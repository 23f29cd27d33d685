// Internal: dense working copies of matrix BaseData objects and the LU kernels that run on
// them. Every supported pixel type is worked in double precision: f32 and f64 as double, c64
// and c128 as std::complex<double>. Pure functions; thread-safe.
#pragma once

#include <complex>
#include <cstdint>
#include <vector>

#include <orvik/ogda.h>

namespace orvik::gda {

// A rows x cols block in row-major order.
template <class W> struct Dense {
    Dense(int32_t r, int32_t c) : rows(r), cols(c), v(static_cast<size_t>(r) * c) {}
    W &at(int64_t r, int64_t c) { return v[static_cast<size_t>(r * cols + c)]; }
    const W &at(int64_t r, int64_t c) const { return v[static_cast<size_t>(r * cols + c)]; }
    int32_t rows;
    int32_t cols;
    std::vector<W> v;
};

inline bool IsMatrixPixelType(int32_t type) {
    return type == OGDA_F32 || type == OGDA_F64 || type == OGDA_C64 || type == OGDA_C128;
}

// Relative precision of the object's own element type: the singularity threshold follows the
// precision the caller's data was given in, not the precision it is worked in.
double StorageEpsilon(Ogda_PixelType type);

// Copies every element of `o` (any object type, by its layout) into a dense block; `o` must
// hold one of the four matrix pixel types matching W.
template <class W> Dense<W> Load(const Ogda_BaseData *o);
// Writes a dense block of o's shape back, rounding to o's element type.
template <class W> void Store(const Dense<W> &d, Ogda_BaseData *o);

enum class LuResult { kFactored, kSingular, kNotFinite };

// Factors the n x n block in place (L below the diagonal with unit diagonal implied, U on and
// above); perm[i] is the original row of row i, sign the parity of the exchanges. kSingular,
// leaving `a` partly factored, when a pivot is no larger than n * epsilon * the largest
// magnitude in `a`; kNotFinite, before any change, when `a` holds an infinity or NaN.
template <class W>
LuResult LuFactor(Dense<W> &a, std::vector<int32_t> &perm, int32_t &sign, double epsilon);

// Overwrites the n x m block b with the solution x of A x = b, given LuFactor's result for A.
template <class W> void LuSolve(const Dense<W> &lu, const std::vector<int32_t> &perm, Dense<W> &b);

// Runs body.template operator()<W>() with the working type for a matrix pixel type.
template <class F> decltype(auto) WithWorkType(Ogda_PixelType type, F &&body) {
    if (type == OGDA_C64 || type == OGDA_C128) {
        return body.template operator()<std::complex<double>>();
    }
    return body.template operator()<double>();
}

} // namespace orvik::gda
