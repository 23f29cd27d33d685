// Toolkit start-up as an application does it: the not-installed path (thrown, logged once per
// process) and a full start with the toolkit flag, the preference database and the plug-in
// layer.
#include "port/environment.hpp"
#include "toolkit/toolkit_test_util.hpp"

#include <orvik/oint.h>
#include <orvik/oplg.h>

#include "toolkit/startup_paths.hpp"

namespace {

namespace tk = orvik::toolkit;

class ToolkitStart : public ::testing::Test {
  protected:
    void SetUp() override {
        for (const auto &w : tk::StartupVariables()) {
            std::string n(w.begin(), w.end());
            if (n != "PATH") m_env.Set(n.c_str(), std::nullopt);
        }
        m_env.Set("PATH", std::getenv("PATH") ? std::getenv("PATH") : "/usr/bin")
            .Set("GIO_PERSONAL", m_dir.Narrow("personal"));
        m_home = m_dir.Narrow("home");
        std::filesystem::create_directories(m_home);
    }
    void TearDown() override {
        Oerr_ErrorReport *err = nullptr;
        oint_DeInit(&err);
        oerr_DeleteErrorReportEx(&err);
        opmg_Close(&err);
        oerr_DeleteErrorReportEx(&err);
        oplg_Close(&err);
        oerr_DeleteErrorReportEx(&err);
    }
    TempDir m_dir;
    EnvScope m_env;
    std::string m_home;
};

TEST_F(ToolkitStart, NotInstalledIsThrownAndLoggedOnce) {
    WarningCollector printed;
    for (int round = 0; round < 2; ++round) {
        try {
            DefaultToolkitContext context(W(m_home).c_str(), false);
            ADD_FAILURE() << "start-up without an installation succeeded";
        } catch (OerrException &e) {
            Oerr_ErrorReport *r = e.Release();
            EXPECT_EQ(Message(r), L"Vortane ToolKit is not installed");
            oerr_DeleteErrorReportEx(&r);
        }
        EXPECT_EQ(oint_GetInit(), OMSC_FALSE);
        EXPECT_EQ(oplg_IsStarted(), OMSC_FALSE);
    }
    long logged = 0;
    for (const auto &m : printed.messages) logged += m == L"Vortane ToolKit is not installed";
    EXPECT_EQ(logged, 1);
    // The environment was settled before the installation was looked for.
    EXPECT_EQ(std::string(std::getenv("GIO_HOME")), m_home);
    EXPECT_EQ(std::string(std::getenv("GIO_ETC_PATH")), m_home + "/etc");
}

TEST_F(ToolkitStart, InstalledStartsPreferencesToolkitAndPlugins) {
    std::filesystem::create_directories(m_home + "/etc");
    WriteFile(m_home + "/defaults/test.pdf", "tk { greeting : OPMG_STRING default \"hi\"; }\n");
    std::optional<DefaultToolkitContext> context;
    try {
        context.emplace(W(m_home).c_str(), L"dbg", false);
    } catch (OerrException &e) {
        Oerr_ErrorReport *r = e.Release();
        FAIL() << ChainText(r);
    }
    const Oint_ToolkitData *d = context->Data();
    ASSERT_NE(d, nullptr);
    EXPECT_EQ(d->preferencesStarted, OMSC_TRUE);
    EXPECT_EQ(d->toolkitStarted, OMSC_TRUE);
    EXPECT_EQ(d->pluginLayerStarted, OMSC_TRUE);
    EXPECT_EQ(oint_GetInit(), OMSC_TRUE);
    EXPECT_EQ(oplg_IsStarted(), OMSC_TRUE);
    const std::wstring host = orvik::port::HostArchitecture();
    const std::string archm = std::string(host.begin(), host.end()) + "-dbg";
    EXPECT_EQ(orvik_test::GetEnv("GIO_ARCHM"), archm);
    EXPECT_EQ(orvik_test::GetEnv("GIO_PDF_PATH"),
              m_home + "/defaults/" + archm + ";" + m_home + "/defaults");
    // The preference database was read along the settled definition path.
    Oerr_ErrorReport *err = nullptr;
    wchar_t *greeting = opmg_GetStringPreference(L"tk", L"greeting", &err);
    ASSERT_NE(greeting, nullptr) << ChainText(err);
    EXPECT_STREQ(greeting, L"hi");
    omsc_HeapFree(greeting);
}

} // namespace
