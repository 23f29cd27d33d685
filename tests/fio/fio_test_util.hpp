// Test helpers for the file layer: a temporary directory per test, raw file access that
// bypasses the layer, and report checks.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <orvik/oerr.h>

#include "portable.hpp"

class TempDir {
  public:
    TempDir() : m_path(orvik_test::MakeTempFolder("ofio-test-")) {}
    ~TempDir() {
        std::error_code ec;
        std::filesystem::remove_all(m_path, ec);
    }
    const std::string &Path() const { return m_path; }
    std::string Narrow(const std::string &leaf) const { return m_path + "/" + leaf; }
    std::wstring Wide(const std::string &leaf) const {
        std::string n = Narrow(leaf);
        return std::wstring(n.begin(), n.end()); // test paths are ASCII
    }

  private:
    std::string m_path;
};

inline std::string ReadRaw(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void WriteRaw(const std::string &path, const std::string &bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

// Ends an expected message where the system's reason stands: Windows words its own reasons,
// so there any non-empty text is accepted in its place.
constexpr wchar_t kAnySystemReason[] = L"\x1A<system reason>";

// The system's reason for a failure: the text given (the POSIX wording) on POSIX hosts.
inline std::wstring SystemReason(const wchar_t *posix) {
#ifdef _WIN32
    (void)posix;
    return kAnySystemReason;
#else
    return posix;
#endif
}

// Checks the head record of a chain and releases the chain.
inline void ExpectReport(Oerr_ErrorReport *&err, const wchar_t *function, long number,
                         const std::wstring &message) {
    ASSERT_NE(err, nullptr);
    EXPECT_STREQ(err->function, function);
    EXPECT_EQ(err->number, number);
    EXPECT_EQ(err->kind, 2);
    const std::wstring actual = err->message ? err->message : L"";
    const std::wstring any = kAnySystemReason;
    if (message.size() >= any.size() &&
        message.compare(message.size() - any.size(), any.size(), any) == 0) {
        const std::wstring head = message.substr(0, message.size() - any.size());
        EXPECT_EQ(actual.substr(0, head.size()), head);
        EXPECT_GT(actual.size(), head.size()) << "no system reason";
    } else {
        EXPECT_EQ(actual, message);
    }
    oerr_DeleteErrorReportEx(&err);
}
