// Numbers and texts of HFA reports: the steps shared by many functions keep their own numbers,
// so a report names the step whatever function it served.
#include <gtest/gtest.h>

#include <orvik/ohfa.h>

#include "hfa_test_util.hpp"

using namespace hfa_test;

namespace {

void ExpectRecord(const Oerr_ErrorReport *r, const wchar_t *function, int32_t number,
                  const wchar_t *message) {
    ASSERT_NE(r, nullptr);
    EXPECT_STREQ(r->function, function);
    EXPECT_EQ(r->number, number);
    EXPECT_EQ(r->kind, OERR_KIND_ERROR);
    EXPECT_STREQ(r->message, message);
}

} // namespace

using HfaReports = HfaTest;

TEST_F(HfaReports, HandlesAndNamesAreCheckedFirst) {
    Report err;
    EXPECT_NE(ohfa_FileFlush(nullptr, &err), 0);
    ExpectRecord(err.get(), L"ohfa_FileFlush", 1, L"Invalid file handle!");
    EXPECT_EQ(ohfa_FileCreate(L"", 0, &err), nullptr);
    ExpectRecord(err.get(), L"ohfa_FileCreate", 3, L"Missing file name");
    EXPECT_EQ(ohfa_FileOpen(nullptr, L"r", 0, &err), nullptr);
    ExpectRecord(err.get(), L"ohfa_FileOpen", 3, L"Missing file name");
}

TEST_F(HfaReports, SeekingReportsTheSeekStep) {
    Report err;
    Ohfa_File *file = ohfa_FileCreate(Name("seek.hfa").c_str(), 0, &err);
    ASSERT_NE(file, nullptr) << err.Message();
    EXPECT_EQ(ohfa_EntrySeek(file, OHFA_SEEK_CHILD_NAMED, nullptr, &err), 0);
    ExpectRecord(err.get(), L"ohfa_EntrySeek", 16,
                 L"Name parameter must not be null for requested seek type");
    EXPECT_EQ(ohfa_EntrySeek(file, OHFA_SEEK_CHILD_NAMED, L"", &err), 0);
    ExpectRecord(err.get(), L"ohfa_EntrySeek", 17, L"Name parameter must not be null string");
    EXPECT_EQ(ohfa_EntrySeek(file, 99, L"x", &err), 0);
    ExpectRecord(err.get(), L"ohfa_EntrySeek", 14, L"Invalid seek method");
    EXPECT_EQ(ohfa_FileClose(file, &err), 0);
}
