// Test helpers for start-up and plug-ins: class folders filled with the test plug-ins, the
// plug-ins' event log, and the environment variables of the installation.
#pragma once

#include <filesystem>

#include <orvik/odll.h>
#include <orvik/ofio.h>

#include "port/dynamic_library.hpp"
#include "portable.hpp"
#include "prefs/prefs_test_util.hpp"

inline std::wstring W(const std::string &s) { return std::wstring(s.begin(), s.end()); }

// Copies the built test plug-in `name` ("alpha", ...) into `folder` as `as` (default
// "<name>.dll") and returns the copy's path.
inline std::string InstallPlugin(const std::string &folder, const std::string &name,
                                 std::string as = {}) {
    if (as.empty()) as = name + ".dll";
    std::filesystem::create_directories(folder);
    std::string to = folder + "/" + as;
    orvik_test::CopyFileOver(std::string(ORVIK_TEST_PLUGIN_DIR) + "/" + name + ".dll", to);
    return to;
}

// Whether the system loader still holds the library.
inline bool IsLoaded(const std::string &path) { return orvik::port::LibraryIsLoaded(path); }

// A temporary installation with its own class folders and plug-in log; every instance is
// closed and every kept class list forgotten at the end.
class PluginFixture : public ::testing::Test {
  protected:
    void SetUp() override {
        m_env.Set("ORVIK_TEST_PLUGIN_LOG", m_dir.Narrow("events.log"))
            .Set("GIO_HOME", m_dir.Narrow("home"))
            .Set("GIO_ARCHM", "Linux")
            .Set("GIO_TEST_CLASS_PATH", std::nullopt)
            .Set("GIO_OTHER_CLASS_PATH", std::nullopt);
        odll_ClassDllListsReset();
    }
    void TearDown() override {
        Oerr_ErrorReport *err = nullptr;
        odll_InstanceCloseAll(&err);
        oerr_DeleteErrorReportEx(&err);
        odll_ClassDllListsReset();
    }
    std::string Events() { return ReadRaw(m_dir.Narrow("events.log")); }
    void ClearEvents() { std::filesystem::remove(m_dir.Narrow("events.log")); }

    TempDir m_dir;
    EnvScope m_env;
};
