// Shared helpers for the BaseData tests.
#pragma once

#include <cstddef>
#include <string>

#include <gtest/gtest.h>

#include <orvik/oerr.h>
#include <orvik/ogda.h>

#include "core/heap_seam.hpp"
#include "port/system_heap.hpp"

// Owns the report a call leaves; handing out the address drops the previous report first.
class ReportHolder {
  public:
    ReportHolder() = default;
    ~ReportHolder() { oerr_DeleteErrorReportEx(&m_report); }
    ReportHolder(const ReportHolder &) = delete;
    ReportHolder &operator=(const ReportHolder &) = delete;
    operator Oerr_ErrorReport **() {
        oerr_DeleteErrorReportEx(&m_report);
        return &m_report;
    }
    Oerr_ErrorReport *get() const { return m_report; }

  private:
    Oerr_ErrorReport *m_report = nullptr;
};

inline void ExpectReport(const Oerr_ErrorReport *r, const wchar_t *function, int32_t number,
                         const wchar_t *message) {
    ASSERT_NE(r, nullptr) << "no report, expected: " << std::wstring(message).size();
    EXPECT_STREQ(r->function, function);
    EXPECT_EQ(r->number, number);
    EXPECT_EQ(r->kind, OERR_KIND_ERROR);
    EXPECT_STREQ(r->message, message);
}

// The heap uses the C allocator: the usable size is exact under AddressSanitizer and rounded
// up to the allocator's granule otherwise.
#if defined(__SANITIZE_ADDRESS__)
#define ORVIK_EXACT_BLOCK_SIZES 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ORVIK_EXACT_BLOCK_SIZES 1
#endif
#endif

inline void ExpectBlockSize(const void *block, size_t bytes) {
    ASSERT_NE(block, nullptr);
#ifdef ORVIK_EXACT_BLOCK_SIZES
    EXPECT_EQ(orvik::port::system_heap::UsableSize(const_cast<void *>(block)), bytes);
#else
    EXPECT_GE(orvik::port::system_heap::UsableSize(const_cast<void *>(block)), bytes);
    // A reused chunk may carry up to one minimum chunk of slack.
    EXPECT_LT(orvik::port::system_heap::UsableSize(const_cast<void *>(block)), bytes + 40);
#endif
}
