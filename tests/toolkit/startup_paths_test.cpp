// Start-up's environment: every variable of the table unset and set, the order in which they
// are settled, the variables always written, the length limit of single paths, and the
// helpers (installation from the executable, machine-wide data folder, sinks).
#include "toolkit/toolkit_test_util.hpp"

#include <map>
#include <sstream>

#include <orvik/oint.h>
#include "port/environment.hpp"
#include "toolkit/startup_paths.hpp"

namespace {

namespace tk = orvik::toolkit;

std::string Get(const char *name) { return orvik_test::GetEnv(name).value_or("<unset>"); }

void ReplaceAll(std::string &text, const std::string &from, const std::string &to) {
    for (std::size_t at = text.find(from); at != std::string::npos;
         at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
}

// Expected values are written for Linux; another host's architecture name, PATH separator and
// shared data folder take their places (on Linux the fixture's XDG_DATA_DIRS gives
// "/xdg/share").
std::string Host(std::string text) {
    const std::wstring arch = orvik::port::HostArchitecture();
    const std::wstring data = orvik::port::SharedDataFolder();
    ReplaceAll(text, "/xdg/share", std::string(data.begin(), data.end()));
    ReplaceAll(text, "Linux", std::string(arch.begin(), arch.end()));
    ReplaceAll(text, "/bin:/usr/bin",
               std::string("/bin") + static_cast<char>(orvik::port::PathListSeparator()) +
                   "/usr/bin");
    return text;
}

class StartupPaths : public ::testing::Test {
  protected:
    void SetUp() override {
        for (const auto &w : tk::StartupVariables()) {
            std::string n(w.begin(), w.end());
            m_env.Set(n.c_str(),
                      n == "PATH" ? std::optional<std::string>("/usr/bin:/bin") : std::nullopt);
        }
        m_env.Set("GIO_PERSONAL", "/personal")
            .Set("XDG_DATA_DIRS", "/xdg/share:/other/share")
            .Set("GIO_TEST_HOME", std::nullopt);
    }
    bool Settle(const char *home = "/opt/tk", const char *mode = nullptr) {
        Oerr_ErrorReport *err = nullptr;
        std::wstring h = home ? W(home) : L"", m = mode ? W(mode) : L"";
        bool ok = DefaultToolkitContextUtil::InitOrvikToolkitPaths(
            home ? h.c_str() : nullptr, mode ? m.c_str() : nullptr, false, &err);
        EXPECT_EQ(err, nullptr) << ChainText(err);
        oerr_DeleteErrorReportEx(&err);
        return ok;
    }
    EnvScope m_env;
};

TEST_F(StartupPaths, TheTableInOrder) {
    std::vector<std::wstring> expected = {L"GIO_HOME",
                                          L"GIO_ARCH",
                                          L"GIO_ARCH_MODE",
                                          L"GIO_ARCHM",
                                          L"ORVIK_BIN_PATH",
                                          L"GIO_ETC_PATH",
                                          L"GIO_FONT_PATH",
                                          L"GIO_SYMBOL_PATH",
                                          L"GIO_RASTER_FORMATS_PATH",
                                          L"ORVIK_VECTOR_FORMATS_PATH",
                                          L"GIO_PDF_PATH",
                                          L"GIO_DEVICES_PATH",
                                          L"GIO_PREFERENCES_PATH",
                                          L"GIO_CFG_PATH",
                                          L"GIO_GLOBAL_DATA",
                                          L"GIO_GEOMETRIC_MODELS_PATH",
                                          L"GIO_RESAMPLE_METHODS_PATH",
                                          L"GIO_PROJECTIONS_PATH",
                                          L"GIO_FONT_SERVERS_PATH",
                                          L"GIO_FILE_FILTERS_PATH",
                                          L"ARCHOME",
                                          L"PATH"};
    EXPECT_EQ(tk::StartupVariables(), expected);
}

TEST_F(StartupPaths, EveryUnsetVariableGetsItsDefault) {
    ASSERT_TRUE(Settle("/opt/tk"));
    const std::string g = "/xdg/share/orvik/toolkit-0.1";
    std::map<std::string, std::string> expected = {
        {"GIO_HOME", "/opt/tk"},
        {"GIO_ARCH", "Linux"},
        {"GIO_ARCH_MODE", "<unset>"},
        {"GIO_ARCHM", "Linux"},
        {"ORVIK_BIN_PATH", "/opt/tk/bin/Linux"},
        {"GIO_ETC_PATH", "/opt/tk/etc"},
        {"GIO_FONT_PATH", "/opt/tk/etc/fonts"},
        {"GIO_SYMBOL_PATH", "/opt/tk/etc/symbols;/opt/tk/etc"},
        {"GIO_RASTER_FORMATS_PATH", "/opt/tk/usr/lib/Linux/RasterFormats"},
        {"ORVIK_VECTOR_FORMATS_PATH", "/opt/tk/usr/lib/Linux/VectorFormats"},
        {"GIO_PDF_PATH", "/opt/tk/defaults/Linux;/opt/tk/defaults"},
        {"GIO_DEVICES_PATH", "/opt/tk/devices"},
        {"GIO_PREFERENCES_PATH", "/opt/tk/defaults;/personal"},
        {"GIO_CFG_PATH", "/opt/tk/devices/Linux;/opt/tk/etc;/personal;" + g + "/devices/"},
        {"GIO_GLOBAL_DATA", g},
        {"GIO_GEOMETRIC_MODELS_PATH",
         "/personal/GeometricModels;/opt/tk/usr/lib/Linux/GeometricModels"},
        {"GIO_RESAMPLE_METHODS_PATH",
         "/personal/ResampleMethods;/opt/tk/usr/lib/Linux/ResampleMethods"},
        {"GIO_PROJECTIONS_PATH", "/opt/tk/etc;/opt/tk/bin/Linux"},
        {"GIO_FONT_SERVERS_PATH", "/opt/tk/usr/lib/Linux/FontServers"},
        {"GIO_FILE_FILTERS_PATH", "/opt/tk/usr/lib/Linux/FileFilters"},
        {"ARCHOME", "/opt/tk/archome/Linux"},
        {"PATH", "/opt/tk/archome/Linux/bin:/usr/bin:/bin"},
    };
    for (const auto &[name, value] : expected) EXPECT_EQ(Get(name.c_str()), Host(value)) << name;
    // Starting again changes nothing: PATH does not get the folder twice.
    ASSERT_TRUE(Settle("/elsewhere"));
    for (const auto &[name, value] : expected) EXPECT_EQ(Get(name.c_str()), Host(value)) << name;
}

TEST_F(StartupPaths, SetVariablesAreKeptExceptArchmAndPath) {
    for (const auto &w : tk::StartupVariables()) {
        std::string n(w.begin(), w.end());
        if (n != "PATH") m_env.Set(n.c_str(), "/preset/" + n);
    }
    m_env.Set("GIO_ARCH", "Arch").Set("GIO_ARCH_MODE", "debug").Set("GIO_HOME", "/home-set");
    ASSERT_TRUE(Settle("/ignored", "release"));
    for (const auto &w : tk::StartupVariables()) {
        std::string n(w.begin(), w.end());
        if (n == "PATH" || n == "GIO_ARCHM" || n == "GIO_ARCH" || n == "GIO_ARCH_MODE" ||
            n == "GIO_HOME")
            continue;
        EXPECT_EQ(Get(n.c_str()), "/preset/" + n);
    }
    EXPECT_EQ(Get("GIO_HOME"), "/home-set");
    EXPECT_EQ(Get("GIO_ARCH_MODE"), "debug");
    EXPECT_EQ(Get("GIO_ARCHM"), "Arch-debug"); // always composed again
    EXPECT_EQ(Get("PATH"), Host("/preset/ARCHOME/bin:/usr/bin:/bin"));
}

TEST_F(StartupPaths, LaterDefaultsUseEarlierValues) {
    m_env.Set("GIO_ETC_PATH", "/my/etc").Set("GIO_ARCH", "Sun").Set("GIO_ARCHM", "stale");
    ASSERT_TRUE(Settle("/h", "64"));
    EXPECT_EQ(Get("GIO_ARCH_MODE"), "64");
    EXPECT_EQ(Get("GIO_ARCHM"), "Sun-64");
    EXPECT_EQ(Get("GIO_FONT_PATH"), "/my/etc/fonts");
    EXPECT_EQ(Get("GIO_SYMBOL_PATH"), "/my/etc/symbols;/h/etc");
    EXPECT_EQ(Get("ORVIK_BIN_PATH"), "/h/bin/Sun-64");
    EXPECT_EQ(Get("GIO_GLOBAL_DATA"), Host("/xdg/share/orvik/toolkit-0.1"));
    EXPECT_EQ(Get("PATH"), Host("/h/archome/Sun-64/bin:/usr/bin:/bin"));
}

TEST_F(StartupPaths, PathsNamingUnsetVariablesAreLeftOut) {
    m_env.Set("GIO_PERSONAL", std::nullopt).Set("PATH", std::nullopt);
    ASSERT_TRUE(Settle("/h"));
    EXPECT_EQ(Get("GIO_PREFERENCES_PATH"), "/h/defaults");
    EXPECT_EQ(Get("GIO_GEOMETRIC_MODELS_PATH"), Host("/h/usr/lib/Linux/GeometricModels"));
    EXPECT_EQ(Get("GIO_CFG_PATH"),
              Host("/h/devices/Linux;/h/etc;/xdg/share/orvik/toolkit-0.1/devices/"));
    EXPECT_EQ(Get("PATH"), Host("/h/archome/Linux/bin"));
}

TEST_F(StartupPaths, SinglePathsAreLimitedTo256Characters) {
    // "/etc" makes 256 characters exactly; "/devices" makes more.
    std::string home = "/" + std::string(251, 'h');
    WarningCollector warnings;
    ASSERT_TRUE(Settle(home.c_str()));
    EXPECT_EQ(Get("GIO_ETC_PATH"), home + "/etc");
    EXPECT_EQ(Get("GIO_DEVICES_PATH"), "<unset>");
    EXPECT_EQ(Get("GIO_SYMBOL_PATH"), home + "/etc"); // "$GIO_ETC_PATH/symbols" is too long
    EXPECT_EQ(Get("GIO_PREFERENCES_PATH"), "/personal");
    EXPECT_TRUE(warnings.Has(L"Expansion of $GIO_HOME/devices for GIO_DEVICES_PATH exceeds 256 "
                             L"characters; left out"));
    EXPECT_EQ(tk::ExpandSinglePath(L"X", L"/" + std::wstring(255, L'a')).value_or(L"-").size(),
              256u);
    EXPECT_FALSE(tk::ExpandSinglePath(L"X", L"/" + std::wstring(256, L'a')));
}

TEST(StartupHelpers, HomeFromExecutable) {
    EXPECT_EQ(tk::HomeFromExecutable(L"/opt/tk/bin/Linux/app"), L"/opt/tk");
    EXPECT_EQ(tk::HomeFromExecutable(L"/opt/tk/bin/app"), L"/opt/tk");
    EXPECT_EQ(tk::HomeFromExecutable(L"C:\\tk\\bin\\Win32\\app.exe"), L"C:/tk");
    EXPECT_EQ(tk::HomeFromExecutable(L"/bin/app"), L"/");
    EXPECT_EQ(tk::HomeFromExecutable(L"/usr/local/games/app"), L"/usr/local/games");
    EXPECT_EQ(tk::HomeFromExecutable(L"/a/bin/x/y/app"), L"/a/bin/x/y"); // too far up
    EXPECT_EQ(tk::HomeFromExecutable(L"app"), L"");
    // The test program itself lives in the build tree's "tests" folder.
    std::wstring self = DefaultToolkitContextUtil::GIOHomeFromCmdLine();
    EXPECT_EQ(self.substr(self.rfind(L'/') + 1), L"tests");
}

TEST(StartupHelpers, GlobalAppStoreFollowsTheDataFolderConvention) {
    EnvScope env;
    std::wstring out;
    env.Set("GIO_GLOBAL_DATA", std::nullopt).Set("XDG_DATA_DIRS", std::nullopt);
    EXPECT_EQ(DefaultToolkitContextUtil::ComputeGlobalAppStore(out), OMSC_TRUE);
#ifdef _WIN32
    // The common application-data folder; XDG_DATA_DIRS means nothing there.
    const std::wstring common = orvik::port::SharedDataFolder();
    EXPECT_EQ(common.find(L'\\'), std::wstring::npos);
    EXPECT_EQ(out, common + L"/orvik/toolkit-0.1");
    env.Set("XDG_DATA_DIRS", "/srv/data/:/x");
    DefaultToolkitContextUtil::ComputeGlobalAppStore(out);
    EXPECT_EQ(out, common + L"/orvik/toolkit-0.1");
#else
    EXPECT_EQ(out, L"/usr/local/share/orvik/toolkit-0.1");
    env.Set("XDG_DATA_DIRS", "relative/share:/x");
    DefaultToolkitContextUtil::ComputeGlobalAppStore(out);
    EXPECT_EQ(out, L"/usr/local/share/orvik/toolkit-0.1");
    env.Set("XDG_DATA_DIRS", "/srv/data/:/x");
    DefaultToolkitContextUtil::ComputeGlobalAppStore(out);
    EXPECT_EQ(out, L"/srv/data/orvik/toolkit-0.1");
#endif
    env.Set("GIO_GLOBAL_DATA", "/given");
    DefaultToolkitContextUtil::ComputeGlobalAppStore(out);
    EXPECT_EQ(out, L"/given");
}

TEST(StartupHelpers, IsDirectoryWriteable) {
    TempDir dir;
    EXPECT_EQ(DefaultToolkitContextUtil::IsDirectoryWriteable(W(dir.Path()).c_str()), OMSC_TRUE);
    EXPECT_TRUE(std::filesystem::is_empty(dir.Path())); // the probe file is gone
    EXPECT_EQ(DefaultToolkitContextUtil::IsDirectoryWriteable(dir.Wide("missing").c_str()),
              OMSC_FALSE);
    EXPECT_EQ(DefaultToolkitContextUtil::IsDirectoryWriteable(nullptr), OMSC_FALSE);
    if (orvik_test::FolderModesBind()) {
        std::filesystem::create_directory(dir.Narrow("ro"));
        std::filesystem::permissions(dir.Narrow("ro"), std::filesystem::perms::owner_read |
                                                           std::filesystem::perms::owner_exec);
        EXPECT_EQ(DefaultToolkitContextUtil::IsDirectoryWriteable(dir.Wide("ro").c_str()),
                  OMSC_FALSE);
        std::filesystem::permissions(dir.Narrow("ro"), std::filesystem::perms::owner_all);
    }
}

TEST(StartupHelpers, SinkFraming) {
    Oerr_ErrorReport *inner = oerr_CreateErrorReport(L"inner_Fn", 3, OERR_KIND_ERROR, nullptr,
                                                     L"%s", L"line one\nline two");
    Oerr_ErrorReport *outer =
        oerr_CreateErrorReport(L"outer_Fn", 4, OERR_KIND_ERROR, inner, L"%s", L"outer failed");
    std::ostringstream out;
    DefaultToolkitContextUtil::Errors2ostream(out, outer);
    EXPECT_EQ(out.str(), " ***outer failed IN FUNCTION outer_Fn***\n"
                         " ***line one IN FUNCTION inner_Fn***\n"
                         " >>>line two\n");
    oerr_DeleteErrorReportEx(&outer);
    std::ostringstream msg;
    DefaultToolkitContextUtil::Messages2ostream(msg, L"Configuring \u00e9t\u00e9\nstep 2\n");
    EXPECT_EQ(msg.str(), "Configuring \xc3\xa9t\xc3\xa9\n >>>step 2\n");
    std::ostringstream none;
    DefaultToolkitContextUtil::Errors2ostream(none, nullptr);
    DefaultToolkitContextUtil::Messages2ostream(none, nullptr);
    EXPECT_EQ(none.str(), "\n");
}

} // namespace
