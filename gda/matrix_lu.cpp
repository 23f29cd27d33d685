// LU decomposition with partial pivoting: the kernels and ogda_MatrixLUDecomposition.
#include <algorithm>
#include <cmath>
#include <numeric>

#include "core/guard.hpp"
#include "gda/matrix_checks.hpp"
#include "gda/matrix_dense.hpp"
#include "gda/report.hpp"

namespace orvik::gda {

namespace {

bool IsFinite(double v) { return std::isfinite(v); }
bool IsFinite(const std::complex<double> &v) {
    return std::isfinite(v.real()) && std::isfinite(v.imag());
}

} // namespace

template <class W>
LuResult LuFactor(Dense<W> &a, std::vector<int32_t> &perm, int32_t &sign, double epsilon) {
    const int32_t n = a.rows;
    double largest = 0;
    for (const W &v : a.v) {
        if (!IsFinite(v)) {
            return LuResult::kNotFinite;
        }
        largest = std::max(largest, std::abs(v));
    }
    const double tolerance = n * epsilon * largest;
    perm.resize(n);
    std::iota(perm.begin(), perm.end(), 0);
    sign = 1;
    for (int32_t k = 0; k < n; ++k) {
        int32_t p = k;
        for (int32_t i = k + 1; i < n; ++i) {
            if (std::abs(a.at(i, k)) > std::abs(a.at(p, k))) {
                p = i;
            }
        }
        // `<=` makes an all-zero matrix (tolerance 0) singular as well.
        if (std::abs(a.at(p, k)) <= tolerance) {
            return LuResult::kSingular;
        }
        if (p != k) {
            std::swap_ranges(&a.at(k, 0), &a.at(k, 0) + n, &a.at(p, 0));
            std::swap(perm[k], perm[p]);
            sign = -sign;
        }
        const W pivot = a.at(k, k);
        for (int32_t i = k + 1; i < n; ++i) {
            const W factor = a.at(i, k) / pivot;
            a.at(i, k) = factor;
            for (int32_t j = k + 1; j < n; ++j) {
                a.at(i, j) -= factor * a.at(k, j);
            }
        }
    }
    return LuResult::kFactored;
}

template <class W> void LuSolve(const Dense<W> &lu, const std::vector<int32_t> &perm, Dense<W> &b) {
    const int32_t n = lu.rows;
    Dense<W> x(n, b.cols);
    for (int32_t i = 0; i < n; ++i) {
        std::copy_n(&b.at(perm[i], 0), b.cols, &x.at(i, 0));
    }
    for (int32_t c = 0; c < b.cols; ++c) {
        for (int32_t i = 1; i < n; ++i) {
            W sum = x.at(i, c);
            for (int32_t k = 0; k < i; ++k) {
                sum -= lu.at(i, k) * x.at(k, c);
            }
            x.at(i, c) = sum;
        }
        for (int32_t i = n - 1; i >= 0; --i) {
            W sum = x.at(i, c);
            for (int32_t k = i + 1; k < n; ++k) {
                sum -= lu.at(i, k) * x.at(k, c);
            }
            x.at(i, c) = sum / lu.at(i, i);
        }
    }
    b.v.swap(x.v);
}

template LuResult LuFactor<double>(Dense<double> &, std::vector<int32_t> &, int32_t &, double);
template LuResult LuFactor<std::complex<double>>(Dense<std::complex<double>> &,
                                                 std::vector<int32_t> &, int32_t &, double);
template void LuSolve<double>(const Dense<double> &, const std::vector<int32_t> &, Dense<double> &);
template void LuSolve<std::complex<double>>(const Dense<std::complex<double>> &,
                                            const std::vector<int32_t> &,
                                            Dense<std::complex<double>> &);

} // namespace orvik::gda

using namespace orvik::gda;
using orvik::core::SetError;

extern "C" ORVIK_API Ogda_BaseData *ogda_MatrixLUDecomposition(Ogda_BaseData *matrix,
                                                               int32_t *pivots, int32_t *sign,
                                                               Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"ogda_MatrixLUDecomposition";
    if (err) {
        *err = nullptr;
    }
    if (!CheckSquareMatrix(kFn, matrix, err)) {
        return nullptr;
    }
    if (!pivots) {
        SetError(err, kFn, kAlgebraNoPivots, nullptr, L"Null pivot array");
        return nullptr;
    }
    return orvik::core::Guarded<Ogda_BaseData *>(err, kFn, nullptr, [&] {
        return WithWorkType(matrix->datatype, [&]<class W>() -> Ogda_BaseData * {
            Dense<W> a = Load<W>(matrix);
            std::vector<int32_t> perm;
            int32_t parity = 1;
            switch (LuFactor(a, perm, parity, StorageEpsilon(matrix->datatype))) {
            case LuResult::kSingular:
                SetError(err, kFn, kAlgebraSingular, nullptr, L"The matrix is singular");
                return nullptr;
            case LuResult::kNotFinite:
                SetError(err, kFn, kAlgebraNotFinite, nullptr,
                         L"The matrix holds a value that is not finite");
                return nullptr;
            case LuResult::kFactored:
                break;
            }
            Store(a, matrix);
            std::copy(perm.begin(), perm.end(), pivots);
            if (sign) {
                *sign = parity;
            }
            return matrix;
        });
    });
}
