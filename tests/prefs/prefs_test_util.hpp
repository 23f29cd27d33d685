// Test helpers for the preference module (beside the file layer's temporary folder and raw
// file access): environment settings undone at the end of a test, a collector of printed warnings,
// report checks and a database reset.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include <orvik/oerr.h>
#include <orvik/opmg.h>
#include <orvik/oplg.h>
#include <orvik/oprf.h>

#include "fio/fio_test_util.hpp"

// Writes a file, creating its folder first.
inline void WriteFile(const std::string &path, const std::string &bytes) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    WriteRaw(path, bytes);
}

// Sets (or unsets, with nullopt) environment variables for the life of the object.
class EnvScope {
  public:
    EnvScope &Set(const char *name, std::optional<std::string> value) {
        m_saved.push_back({name, orvik_test::GetEnv(name)});
        orvik_test::SetEnv(name, value ? value->c_str() : nullptr);
        return *this;
    }
    ~EnvScope() {
        for (auto it = m_saved.rbegin(); it != m_saved.rend(); ++it) {
            orvik_test::SetEnv(it->first.c_str(), it->second ? it->second->c_str() : nullptr);
        }
    }

  private:
    std::vector<std::pair<std::string, std::optional<std::string>>> m_saved;
};

// Collects the head messages of every report printed while it lives.
class WarningCollector {
  public:
    WarningCollector() {
        m_connection = OerrDispatcher::Instance().Connect(OerrDispatcher::ReportSignal::slot_type(
            [this](const OerrErrorReport &r, Oerr_ErrorReportingMode) {
                const Oerr_ErrorReport *head = r.Get();
                if (!head) return;
                messages.push_back(head->message ? head->message : L"");
                kinds.push_back(head->kind);
                inner.push_back(head->next && head->next->message ? head->next->message : L"");
            }));
    }
    ~WarningCollector() { m_connection->connection.disconnect(); }
    bool Has(const std::wstring &message) const {
        for (const auto &m : messages) {
            if (m == message) return true;
        }
        return false;
    }
    std::vector<std::wstring> messages;
    std::vector<int> kinds;
    std::vector<std::wstring> inner; // the position record of a warning, if any

  private:
    OerrDispatcher::Connection m_connection;
};

inline std::wstring Message(const Oerr_ErrorReport *r) {
    return r && r->message ? r->message : L"";
}

// Every message of a chain, head first, joined by " | ".
inline std::wstring ChainText(const Oerr_ErrorReport *r) {
    std::wstring out;
    for (; r; r = r->next) {
        if (!out.empty()) out += L" | ";
        out += Message(r);
    }
    return out;
}

inline void ExpectReport(Oerr_ErrorReport *&err, const wchar_t *function,
                         const std::wstring &message) { // any report number
    ASSERT_NE(err, nullptr);
    EXPECT_STREQ(err->function, function);
    EXPECT_EQ(err->kind, 2);
    EXPECT_EQ(Message(err), message);
    oerr_DeleteErrorReportEx(&err);
}

// Installs the default implementation again (tests may have replaced it).
inline void InstallDefault() {
    Oerr_ErrorReport *err = nullptr;
    ASSERT_EQ(oplg_PreferenceImplementationSet(&err), 0) << ChainText(err);
    ASSERT_EQ(err, nullptr) << ChainText(err);
}

// A database set up from definition files in <dir>/pdf and preference folders <dir>/user and
// <dir>/site; closed again at the end.
class PrefsFixture : public ::testing::Test {
  protected:
    void SetUp() override {
        InstallDefault();
        m_env.Set("GIO_PDF_PATH", m_dir.Narrow("pdf"))
            .Set("GIO_PREFERENCES_PATH", m_dir.Narrow("user") + ";" + m_dir.Narrow("site"))
            .Set("GIO_PERSONAL", m_dir.Narrow("user"))
            .Set("GIO_REGISTRY_PATH", m_dir.Narrow("registry"))
            .Set("GIO_PREFERENCE_DATABASE_TYPE", std::nullopt)
            .Set("GIO_ARCH", std::nullopt);
        std::filesystem::create_directories(m_dir.Narrow("pdf"));
    }
    void TearDown() override {
        Oerr_ErrorReport *err = nullptr;
        opmg_Close(&err);
        oerr_DeleteErrorReportEx(&err);
        opmg_InitPreferenceFileName(L"v8preference", nullptr);
        opmg_InitPreferenceChangeLogging(OMSC_FALSE);
    }
    void Definitions(const std::string &leaf, const std::string &text) {
        WriteFile(m_dir.Narrow("pdf/" + leaf), text);
    }
    void Init() {
        Oerr_ErrorReport *err = nullptr;
        ASSERT_EQ(opmg_Init(&err), 0) << ChainText(err);
    }
    TempDir m_dir;
    EnvScope m_env;
};
