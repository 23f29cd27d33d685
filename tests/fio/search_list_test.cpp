// Folder scans with patterns, search lists from text and environment, ofio_Which and
// collecting files along a list.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <orvik/ofio.h>

#include "core/heap_seam.hpp"
#include "fio_test_util.hpp"

namespace {

std::vector<std::wstring> Entries(ostr_StringList *list) {
    std::vector<std::wstring> out;
    for (int32_t i = 0; list && i < list->count; ++i) {
        out.emplace_back(list->strings[i] ? list->strings[i] : L"<null>");
    }
    ostr_StringListDelete(list, nullptr);
    return out;
}

class FioSearch : public ::testing::Test {
  protected:
    void Touch(const std::string &leaf) {
        std::filesystem::create_directories(std::filesystem::path(dir.Narrow(leaf)).parent_path());
        WriteRaw(dir.Narrow(leaf), leaf);
    }
    std::wstring W(const std::string &leaf) { return dir.Wide(leaf); }
    TempDir dir;
    Oerr_ErrorReport *err = nullptr;
};

TEST_F(FioSearch, DirScanMatchesFilesOnlyInNameOrder) {
    for (const char *f : {"d/b.pdf", "d/a.pdf", "d/Z.pdf", "d/c.txt", "d/pdf", "d/x.pdf.bak"}) {
        Touch(f);
    }
    std::filesystem::create_directories(dir.Narrow("d/folder.pdf"));
    EXPECT_EQ(Entries(ofio_DirScan(W("d").c_str(), L"*.pdf", &err)),
              (std::vector<std::wstring>{W("d/Z.pdf"), W("d/a.pdf"), W("d/b.pdf")}));
    EXPECT_EQ(Entries(ofio_DirScan(W("d/").c_str(), L"?.txt", &err)),
              std::vector<std::wstring>{W("d/c.txt")});
    EXPECT_EQ(Entries(ofio_DirScan(W("d").c_str(), nullptr, &err)).size(), 6u);
    EXPECT_EQ(Entries(ofio_DirScan(W("d").c_str(), L"*.img", &err)), std::vector<std::wstring>{});
    EXPECT_EQ(err, nullptr);
    EXPECT_EQ(ofio_DirScan(W("nothere").c_str(), L"*", &err), nullptr);
    ExpectReport(err, L"ofio_DirScan", 2,
                 L"Cannot scan folder \"" + W("nothere") + L"\": " +
                     SystemReason(L"No such file or directory"));
}

TEST_F(FioSearch, ListsFromTextExpandTrimSplitAndDropRepeats) {
    orvik_test::SetEnv("OFIO_T_PAIR", "/a;/b");
    orvik_test::SetEnv("OFIO_T_BEE", "/bee");
    orvik_test::SetEnv("OFIO_T_UNSET", nullptr);
    EXPECT_EQ(
        Entries(ofio_SearchListCreateFromText(
            L" $OFIO_T_PAIR ; \\c\\d\\ ;;/a; ${OFIO_T_BEE}/x;$OFIO_T_UNSET/y;/", &err)),
        (std::vector<std::wstring>{L"/a", L"/b", L"/c/d", L"/bee/x", L"$OFIO_T_UNSET/y", L"/"}));
    EXPECT_EQ(Entries(ofio_SearchListCreateFromText(L" ; ;", &err)), std::vector<std::wstring>{});
    EXPECT_EQ(Entries(ofio_SearchListCreateFromText(nullptr, &err)), std::vector<std::wstring>{});
    EXPECT_EQ(err, nullptr);

    orvik_test::SetEnv("OFIO_T_LIST", "$OFIO_T_BEE;rel/dir");
    EXPECT_EQ(Entries(ofio_SearchListCreateFromEnv(L"OFIO_T_LIST", &err)),
              (std::vector<std::wstring>{L"/bee", L"rel/dir"}));
    EXPECT_EQ(ofio_SearchListCreateFromEnv(L"OFIO_T_UNSET", &err), nullptr);
    ExpectReport(err, L"ofio_SearchListCreateFromEnv", 7,
                 L"Environment variable OFIO_T_UNSET is not set");
    orvik_test::SetUnconvertibleEnv("OFIO_T_BAD", "");
    EXPECT_EQ(ofio_SearchListCreateFromEnv(L"OFIO_T_BAD", &err), nullptr);
    ExpectReport(err, L"ofio_SearchListCreateFromEnv", 6,
                 L"Environment variable OFIO_T_BAD holds text that cannot be converted");
}

TEST_F(FioSearch, WhichTakesTheFirstFolderHoldingTheFile) {
    Touch("one/common.dat");
    Touch("two/common.dat");
    Touch("two/only.dat");
    Touch("two/sub/deep.dat");
    std::filesystem::create_directories(dir.Narrow("one/folder.dat"));
    Touch("two/folder.dat");
    std::wstring text = W("missing") + L";" + W("one") + L";" + W("two");
    ostr_StringList *list = ofio_SearchListCreateFromText(text.c_str(), &err);
    ASSERT_NE(list, nullptr);

    struct Case {
        const wchar_t *name;
        std::wstring expected;
    } cases[] = {{L"common.dat", W("one/common.dat")},
                 {L"only.dat", W("two/only.dat")},
                 {L"folder.dat", W("two/folder.dat")},
                 {L"sub\\deep.dat", W("two/sub/deep.dat")}};
    for (const Case &c : cases) {
        wchar_t *found = ofio_Which(list, c.name, &err);
        ASSERT_NE(found, nullptr) << c.expected.size();
        EXPECT_EQ(std::wstring(found), c.expected);
        omsc_HeapFree(found);
    }
    std::wstring absolute = W("two/only.dat");
    wchar_t *found = ofio_Which(nullptr, absolute.c_str(), &err);
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(std::wstring(found), absolute);
    omsc_HeapFree(found);

    EXPECT_EQ(ofio_Which(list, L"nope.dat", &err), nullptr);
    ExpectReport(err, L"ofio_Which", 7, L"File nope.dat not found in the search list");
    EXPECT_EQ(ofio_Which(list, L"sub", &err), nullptr);
    ExpectReport(err, L"ofio_Which", 7, L"File sub not found in the search list");
    std::wstring absentAbsolute = W("one/only.dat");
    EXPECT_EQ(ofio_Which(list, absentAbsolute.c_str(), &err), nullptr);
    ExpectReport(err, L"ofio_Which", 7,
                 L"File " + absentAbsolute + L" not found in the search list");
    EXPECT_EQ(ofio_Which(nullptr, L"common.dat", &err), nullptr);
    ExpectReport(err, L"ofio_Which", 7, L"File common.dat not found in the search list");
    ostr_StringListDelete(list, nullptr);
}

TEST_F(FioSearch, FilesFindCollectsFolderByFolder) {
    for (const char *f : {"p/z.dll", "p/a.dll", "p/readme", "q/b.dll", "q/a.dll", "r/x.dlk"}) {
        Touch(f);
    }
    std::wstring text = W("q") + L";" + W("gone") + L";" + W("p");
    ostr_StringList *list = ofio_SearchListCreateFromText(text.c_str(), &err);
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(Entries(ofio_SearchListFilesFind(list, L"*.dll", &err)),
              (std::vector<std::wstring>{W("q/a.dll"), W("q/b.dll"), W("p/a.dll"), W("p/z.dll")}));
    EXPECT_EQ(Entries(ofio_SearchListFilesFind(list, L"*.dlk", &err)), std::vector<std::wstring>{});
    EXPECT_EQ(Entries(ofio_SearchListFilesFind(nullptr, L"*", &err)), std::vector<std::wstring>{});
    EXPECT_EQ(err, nullptr);
    ostr_StringListDelete(list, nullptr);

    // A folder that exists but cannot be scanned ends the search with a report.
    std::wstring bad = W("p/readme") + L";" + W("q");
    list = ofio_SearchListCreateFromText(bad.c_str(), &err);
    EXPECT_EQ(ofio_SearchListFilesFind(list, L"*.dll", &err), nullptr);
    ExpectReport(err, L"ofio_SearchListFilesFind", 2,
                 L"Cannot scan folder \"" + W("p/readme") + L"\": " +
                     SystemReason(L"Not a directory"));
    ostr_StringListDelete(list, nullptr);
}

TEST_F(FioSearch, ExhaustedHeapGivesCleanFailures) {
    Touch("h/a.x");
    Touch("h/b.x");
    std::wstring folder = W("h");
    for (long n = 1;; ++n) {
        orvik::core::testing::FailNthAllocation(n);
        Oerr_ErrorReport *foundErr = nullptr, *listErr = nullptr, *scanErr = nullptr;
        ostr_StringList *found = ofio_SearchListFilesFind(nullptr, L"*", &foundErr);
        ostr_StringList *list = ofio_SearchListCreateFromText(folder.c_str(), &listErr);
        ostr_StringList *scan = list ? ofio_SearchListFilesFind(list, L"*.x", &scanErr) : nullptr;
        orvik::core::testing::ClearAllocationFailure();
        // Each call either succeeded without a report or failed with one.
        EXPECT_EQ(found == nullptr, foundErr != nullptr);
        EXPECT_EQ(list == nullptr, listErr != nullptr);
        if (list) {
            EXPECT_EQ(scan == nullptr, scanErr != nullptr);
        }
        oerr_DeleteErrorReportEx(&foundErr);
        oerr_DeleteErrorReportEx(&listErr);
        oerr_DeleteErrorReportEx(&scanErr);
        bool complete = found && list && scan;
        if (scan) {
            EXPECT_EQ(Entries(scan), (std::vector<std::wstring>{W("h/a.x"), W("h/b.x")}));
        }
        ostr_StringListDelete(found, nullptr);
        ostr_StringListDelete(list, nullptr);
        if (complete) break;
        ASSERT_LT(n, 200);
    }
}

// Dropping repeats once compared every folder with every folder kept: 160k folders took 20 s.
TEST_F(FioSearch, LongListsAreLinear) {
    std::wstring text;
    for (int i = 0; i < 200000; ++i)
        text += L"/f" + std::to_wstring(i) + L";/f" + std::to_wstring(i / 2) + L";";
    const auto start = std::chrono::steady_clock::now();
    ostr_StringList *list = ofio_SearchListCreateFromText(text.c_str(), &err);
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->count, 200000);
    EXPECT_STREQ(list->strings[199999], L"/f199999");
    ostr_StringListDelete(list, nullptr);
    EXPECT_LT(seconds,
              10.0); // about a second even under sanitizers when linear; minutes when quadratic
}

} // namespace
