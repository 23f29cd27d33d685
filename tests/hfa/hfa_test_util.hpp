// Test helpers for HFA files: package set-up, a report holder, a collector of printed
// warnings, raw file access and the little-endian words of the on-disk records.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include <orvik/ohfa.h>
#include <orvik/oint.h>

#include "fio/fio_test_util.hpp"
#include "hfa/file.hpp"

namespace hfa_test {

// Every test starts with an initialised toolkit and package and leaves no file open.
class HfaTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(oint_InitToolkit(nullptr), 0);
        ASSERT_EQ(ohfa_Init(nullptr), 0);
    }
    std::wstring Name(const std::string &leaf) const { return m_dir.Wide(leaf); }
    std::string Path(const std::string &leaf) const { return m_dir.Narrow(leaf); }

    TempDir m_dir;
};

class Report {
  public:
    Report() = default;
    ~Report() { oerr_DeleteErrorReportEx(&m_r); }
    Report(const Report &) = delete;
    Report &operator=(const Report &) = delete;
    Oerr_ErrorReport **operator&() {
        oerr_DeleteErrorReportEx(&m_r);
        return &m_r;
    }
    Oerr_ErrorReport *get() const { return m_r; }
    explicit operator bool() const { return m_r != nullptr; }
    std::wstring Message() const { return m_r && m_r->message ? m_r->message : L""; }
    std::wstring Function() const { return m_r && m_r->function ? m_r->function : L""; }
    // Whether any record of the chain carries that message.
    bool Has(const std::wstring &message) const {
        for (auto *r = m_r; r; r = r->next)
            if (r->message && message == r->message) return true;
        return false;
    }

  private:
    Oerr_ErrorReport *m_r = nullptr;
};

// Collects the messages of every report printed while it lives. The alternative error
// function is installed once per process (each installation connects one more listener) and
// sends to whichever collector is current.
class PrintedReports {
  public:
    PrintedReports() {
        static const bool installed = [] {
            oerr_SetAltErrorFunction(&PrintedReports::Take, nullptr);
            return true;
        }();
        (void)installed;
        Current() = this;
    }
    ~PrintedReports() { Current() = nullptr; }
    PrintedReports(const PrintedReports &) = delete;
    PrintedReports &operator=(const PrintedReports &) = delete;
    const std::vector<std::wstring> &Messages() const { return m_messages; }
    std::vector<long> Kinds() const { return m_kinds; }

  private:
    static PrintedReports *&Current() {
        static PrintedReports *current = nullptr;
        return current;
    }
    static void Take(void *, Oerr_ErrorReport *report, Oerr_ErrorReportingMode,
                     Oerr_ErrorReport **) {
        PrintedReports *me = Current();
        if (!me) return;
        for (auto *r = report; r; r = r->next) {
            me->m_messages.push_back(r->message ? r->message : L"");
            me->m_kinds.push_back(r->kind);
        }
    }
    std::vector<std::wstring> m_messages;
    std::vector<long> m_kinds;
};

inline uint32_t Word(const std::string &bytes, std::size_t at) {
    return static_cast<uint32_t>(static_cast<unsigned char>(bytes[at])) |
           static_cast<uint32_t>(static_cast<unsigned char>(bytes[at + 1])) << 8 |
           static_cast<uint32_t>(static_cast<unsigned char>(bytes[at + 2])) << 16 |
           static_cast<uint32_t>(static_cast<unsigned char>(bytes[at + 3])) << 24;
}

inline void PutWord(std::string &bytes, std::size_t at, uint32_t value) {
    for (int i = 0; i < 4; ++i) bytes[at + i] = static_cast<char>(value >> (8 * i));
}

// The dictionary text every new file stores.
inline const std::string kNewDictionary =
    "{1:lversion,1:LfreeList,1:LrootEntryPtr,1:sentryHeaderLength,1:LdictionaryPtr,}Ohfa_File,"
    "{1:Lnext,1:Lprev,1:Lparent,1:Lchild,1:Ldata,1:ldataSize,64:cname,32:ctype,1:tmodTime,}"
    "Ohfa_Entry,{16:clabel,1:LheaderPtr,}Ohfa_HeaderTag,{1:LfreeList,1:lfreeSize,}"
    "Ohfa_FreeListNode,{1:lsize,1:Lptr,}Ohfa_Data,.";

// Free blocks as (position, size), from the cache or the disk list.
inline std::vector<std::pair<uint32_t, uint32_t>> FreeBlocks(Ohfa_File *file) {
    std::vector<std::pair<uint32_t, uint32_t>> out;
    if (file->freeList.Loaded()) {
        for (const auto &b : file->freeList.Blocks()) out.emplace_back(b.position, b.size);
        return out;
    }
    Oerr_ErrorReport *e = nullptr;
    orvik::hfa::WalkDiskList(
        file, [&](uint32_t p, uint32_t, uint32_t s) { out.emplace_back(p, s); }, &e, L"test");
    oerr_DeleteErrorReportEx(&e);
    return out;
}

// A design of one 32-bit item per name character count, to grow a dictionary.
inline Omif_Design *SmallDesign(const std::wstring &name, int items) {
    std::vector<std::wstring> names;
    std::vector<Omif_ItemDescription> table;
    names.reserve(static_cast<std::size_t>(items));
    for (int i = 0; i < items; ++i) names.push_back(L"item" + std::to_wstring(i));
    for (const auto &n : names) table.push_back(OMIF_FIELD(OMIF_ITEM_LONG, n.c_str(), 1));
    return omif_DesignCreate(name.c_str(), table.data(), items, nullptr, nullptr);
}

// Checks the file `name` (opened read-only): the problem count (-1 when it cannot be opened
// or checked), every line in `lines`.
inline long CheckLines(const std::wstring &name, std::vector<std::wstring> &lines) {
    lines.clear();
    Ohfa_File *f = ohfa_FileOpen(name.c_str(), L"r", 0, nullptr);
    if (!f) return -1;
    ostr_StringList *list = nullptr;
    const long n = ohfa_FileCheck(f, &list, nullptr);
    for (int32_t i = 0; list && i < list->count; ++i) lines.push_back(list->strings[i]);
    ostr_StringListDelete(list, nullptr);
    ohfa_FileClose(f, nullptr);
    return n;
}

// Whether some line contains all of the fragments.
inline bool Said(const std::vector<std::wstring> &lines,
                 std::initializer_list<std::wstring> fragments) {
    for (const auto &line : lines) {
        bool all = true;
        for (const auto &f : fragments) all = all && line.find(f) != std::wstring::npos;
        if (all) return true;
    }
    return false;
}

inline std::string Joined(const std::vector<std::wstring> &lines) {
    std::string out;
    for (const auto &l : lines) out += std::string(l.begin(), l.end()) + "\n";
    return out;
}

} // namespace hfa_test
