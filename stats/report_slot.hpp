// Internal: the barrier of the statistics module's file readers and writers, whose steps test
// *err after each callee and so need a real report slot even when the caller passed none.
#pragma once

#include "core/guard.hpp"

namespace orvik::stats {

// Clears *err, runs `body` with a slot that is always real (the caller's, or a local one
// deleted on return) inside the exception barrier.
template <class R, class F>
R WithReport(Oerr_ErrorReport **err, const wchar_t *fn, R failure, F &&body) noexcept {
    if (err) *err = nullptr;
    Oerr_ErrorReport *local = nullptr;
    Oerr_ErrorReport **e = err ? err : &local;
    R r = orvik::core::Guarded<R>(e, fn, failure, [&]() -> R { return body(e); });
    oerr_DeleteErrorReportEx(&local);
    return r;
}

} // namespace orvik::stats
