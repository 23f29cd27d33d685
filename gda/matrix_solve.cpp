// Solving linear systems and inverting matrices through the LU factors.
#include "core/guard.hpp"
#include "gda/matrix_checks.hpp"
#include "gda/matrix_dense.hpp"
#include "gda/report.hpp"

using namespace orvik::gda;
using orvik::core::SetError;

namespace {

// Factors `a` (already checked) and, when that works, hands the factors to `use`, which
// returns the result object. Singular and non-finite matrices are reported under `fn`.
template <class W, class Use>
Ogda_BaseData *WithFactors(const wchar_t *fn, const Ogda_BaseData *a, Oerr_ErrorReport **err,
                           Use &&use) {
    Dense<W> lu = Load<W>(a);
    std::vector<int32_t> perm;
    int32_t sign = 1;
    switch (LuFactor(lu, perm, sign, StorageEpsilon(a->datatype))) {
    case LuResult::kSingular:
        SetError(err, fn, kAlgebraSingular, nullptr, L"The matrix is singular");
        return nullptr;
    case LuResult::kNotFinite:
        SetError(err, fn, kAlgebraNotFinite, nullptr,
                 L"The matrix holds a value that is not finite");
        return nullptr;
    case LuResult::kFactored:
        break;
    }
    return use(lu, perm);
}

// Writes `result` into `out`, or into a new object shaped like `like` when `out` is null.
template <class W>
Ogda_BaseData *Deliver(const wchar_t *fn, const Dense<W> &result, const Ogda_BaseData *like,
                       Ogda_BaseData *out, Oerr_ErrorReport **err) {
    if (!out) {
        Oerr_ErrorReport *inner = nullptr;
        out = ogda_BaseDataCreate(like->numrows, like->numcolumns, like->datatype, like->objecttype,
                                  nullptr, &inner);
        if (!out) {
            SetError(err, fn, kAlgebraCreateFailed, inner, L"ogda_BaseDataCreate failed");
            return nullptr;
        }
    }
    Store(result, out);
    return out;
}

} // namespace

extern "C" ORVIK_API Ogda_BaseData *ogda_MatrixDivide(const Ogda_BaseData *a,
                                                      const Ogda_BaseData *b, Ogda_BaseData *x,
                                                      Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"ogda_MatrixDivide";
    if (err) {
        *err = nullptr;
    }
    if (!CheckSquareMatrix(kFn, a, err)) {
        return nullptr;
    }
    if (!b || !b->data) {
        SetError(err, kFn, kAlgebraNoRightHandSide, nullptr, L"Null right-hand side");
        return nullptr;
    }
    if (b->objecttype != Ogda_Matrix && b->objecttype != Ogda_Table) {
        SetError(err, kFn, kAlgebraBadRightHandSide, nullptr,
                 L"The right-hand side must be a matrix or a table");
        return nullptr;
    }
    if (b->datatype != a->datatype) {
        SetError(err, kFn, kAlgebraTypeMismatch, nullptr,
                 L"The data type is not matched between the input and output data");
        return nullptr;
    }
    if (b->numrows != a->numrows || b->numcolumns < 1) {
        SetError(err, kFn, kAlgebraSizeMismatch, nullptr,
                 L"The data size is not matched between the input and output data");
        return nullptr;
    }
    if (x && !CheckSameKind(kFn, x, b, err)) {
        return nullptr;
    }
    return orvik::core::Guarded<Ogda_BaseData *>(err, kFn, nullptr, [&] {
        return WithWorkType(a->datatype, [&]<class W>() {
            return WithFactors<W>(kFn, a, err, [&](const Dense<W> &lu, const auto &perm) {
                Dense<W> solution = Load<W>(b);
                LuSolve(lu, perm, solution);
                return Deliver(kFn, solution, b, x, err);
            });
        });
    });
}

extern "C" ORVIK_API Ogda_BaseData *ogda_MatrixInvert(const Ogda_BaseData *matrix,
                                                      Ogda_BaseData *inverse,
                                                      Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    constexpr const wchar_t *kFn = L"ogda_MatrixInvert";
    if (err) {
        *err = nullptr;
    }
    if (!CheckSquareMatrix(kFn, matrix, err) ||
        (inverse && !CheckSameKind(kFn, inverse, matrix, err))) {
        return nullptr;
    }
    return orvik::core::Guarded<Ogda_BaseData *>(err, kFn, nullptr, [&] {
        return WithWorkType(matrix->datatype, [&]<class W>() {
            return WithFactors<W>(kFn, matrix, err, [&](const Dense<W> &lu, const auto &perm) {
                const int32_t n = matrix->numrows;
                Dense<W> identity(n, n);
                for (int32_t i = 0; i < n; ++i) {
                    identity.at(i, i) = W(1);
                }
                LuSolve(lu, perm, identity);
                return Deliver(kFn, identity, matrix, inverse, err);
            });
        });
    });
}
