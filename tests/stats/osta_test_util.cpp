#include "osta_test_util.hpp"

#include <algorithm>
#include <cmath>
#include <map>

namespace {
WarningCapture *g_active = nullptr;
bool g_installed = false;
} // namespace

// The dispatcher connects a listener per installation, so the alternative function is
// installed once per program and forwards to the capture that is alive.
WarningCapture::WarningCapture() {
    if (!g_installed) {
        oerr_SetAltErrorFunction(&WarningCapture::Alt, nullptr);
        g_installed = true;
    }
    g_active = this;
}

WarningCapture::~WarningCapture() { g_active = nullptr; }

void WarningCapture::Alt(void *, Oerr_ErrorReport *r, Oerr_ErrorReportingMode,
                         Oerr_ErrorReport **) {
    if (!g_active) return;
    for (; r; r = r->next)
        if (r->kind == OERR_KIND_WARNING)
            g_active->seen_.emplace_back(r->function ? r->function : L"",
                                         r->message ? r->message : L"");
}

Reference Expected(std::vector<double> v) {
    Reference r{};
    std::sort(v.begin(), v.end());
    r.n = v.size();
    r.minimum = v.front();
    r.maximum = v.back();
    long double sum = 0;
    for (double x : v) sum += x;
    const long double mean = sum / v.size();
    long double m2 = 0;
    for (double x : v) m2 += (x - mean) * (x - mean);
    r.mean = double(mean);
    r.stddev = v.size() > 1 ? double(std::sqrt(m2 / (v.size() - 1))) : 0;
    r.lowerMedian = v[(v.size() - 1) / 2];
    r.median = (v[(v.size() - 1) / 2] + v[v.size() / 2]) / 2;
    std::map<double, size_t> counts;
    for (double x : v) ++counts[x];
    size_t best = 0;
    for (auto &[value, c] : counts)
        if (c > best) {
            best = c;
            r.mode = value;
        }
    return r;
}

void ExpectExact(const Osta_Statistics &s, const Reference &r) {
    EXPECT_EQ(s.minimum, r.minimum);
    EXPECT_EQ(s.maximum, r.maximum);
    EXPECT_NEAR(s.mean, r.mean, 1e-12 * std::max(1.0, std::fabs(r.mean)));
    EXPECT_EQ(s.median, r.lowerMedian);
    EXPECT_EQ(s.mode, r.mode);
    EXPECT_NEAR(s.stddev, r.stddev, 1e-10 * std::max(1.0, r.stddev));
}
