// Plug-in classes and instances with real plug-in libraries: class path names, class lists
// from "*.dll" and "*.dlk" files, instance lifecycles, configuration, bad plug-ins and single
// libraries.
#include "toolkit/toolkit_test_util.hpp"

#include "toolkit/plugins/test_plugin.h"

#include <thread>

namespace {

std::wstring PathName(const wchar_t *cls) {
    Oerr_ErrorReport *err = nullptr;
    wchar_t *n = odll_ClassPathNameGet(cls, &err);
    std::wstring out = n ? n : L"<null>";
    omsc_HeapFree(n);
    oerr_DeleteErrorReportEx(&err);
    return out;
}

std::vector<std::wstring> Items(ostr_StringList *list) {
    std::vector<std::wstring> out;
    for (long i = 0; list && i < list->count; ++i) out.push_back(list->strings[i]);
    ostr_StringListDelete(list, nullptr);
    return out;
}

TEST(ClassPathName, UnderscoreBeforeEveryCharacterThatHasNoLowerForm) {
    EXPECT_EQ(PathName(L"RasterFormats"), L"GIO_RASTER_FORMATS_PATH");
    EXPECT_EQ(PathName(L"rasterformats"), L"GIORASTERFORMATS_PATH");
    EXPECT_EQ(PathName(L"Font3D"), L"GIO_FONT_3_D_PATH");
    EXPECT_EQ(PathName(L"a-b c"), L"GIOA_-B_ C_PATH");
    EXPECT_EQ(PathName(L"X"), L"GIO_X_PATH");
    EXPECT_EQ(PathName(L""), L"<null>");
    EXPECT_EQ(PathName(nullptr), L"<null>");
}

TEST_F(PluginFixture, ClassPathFallsBackToTheInstallationFolder) {
    Oerr_ErrorReport *err = nullptr;
    wchar_t *p = odll_ClassPathGet(L"Test", &err);
    ASSERT_NE(p, nullptr) << ChainText(err);
    EXPECT_EQ(std::wstring(p), m_dir.Wide("home") + L"/usr/lib/Linux/Test");
    omsc_HeapFree(p);
    m_env.Set("GIO_TEST_CLASS_PATH", "/a;/b");
    p = odll_ClassPathGet(L"TestClass", &err);
    EXPECT_EQ(std::wstring(p), L"/a;/b");
    omsc_HeapFree(p);
}

TEST_F(PluginFixture, ClassListsComeFromDllFilesAndListFiles) {
    std::string a = m_dir.Narrow("classA"), b = m_dir.Narrow("classB"), x = m_dir.Narrow("extra");
    std::string alpha = InstallPlugin(a, "alpha");
    std::string gamma = InstallPlugin(b, "gamma");
    std::string beta = InstallPlugin(x, "beta");
    std::string lib = InstallPlugin(m_dir.Narrow("home/usr/lib/Linux"), "failconfig");
    // A list file: an absolute name, a name beside the list, one in the installation's
    // library folder, blank lines and surrounding blanks, one missing, one repeat.
    WriteRaw(b + "/more.dlk",
             "  " + beta + "  \n\n\tgamma.dll\r\nfailconfig.dll\nmissing.dll\n" + beta);
    WriteRaw(a + "/notes.txt", "not a library");
    m_env.Set("GIO_TEST_CLASS_PATH", a + ";" + b);
    WarningCollector warnings;
    Oerr_ErrorReport *err = nullptr;
    auto libs = Items(odll_ClassDllListGet(L"TestClass", OMSC_FALSE, &err));
    ASSERT_EQ(err, nullptr) << ChainText(err);
    EXPECT_EQ(libs, (std::vector<std::wstring>{W(alpha), W(gamma), W(beta), W(lib)}));
    EXPECT_TRUE(warnings.Has(L"missing.dll (listed in " + W(b) + L"/more.dlk) not found"));
    EXPECT_TRUE(warnings.Has(L"Building new list of TestClass DLLs."));

    // Kept until rebuilt.
    std::filesystem::remove(alpha);
    EXPECT_EQ(Items(odll_ClassDllListGet(L"TestClass", OMSC_FALSE, &err)).size(), 4u);
    EXPECT_EQ(Items(odll_ClassDllListGet(L"TestClass", OMSC_TRUE, &err)).size(), 3u);

    // An empty class warns and gives an empty list.
    m_env.Set("GIO_OTHER_CLASS_PATH", m_dir.Narrow("nothing"));
    ostr_StringList *none = odll_ClassDllListGet(L"OtherClass", OMSC_FALSE, &err);
    ASSERT_NE(none, nullptr) << ChainText(err);
    EXPECT_EQ(none->count, 0);
    ostr_StringListDelete(none, nullptr);
    EXPECT_TRUE(warnings.Has(L"No OtherClass DLLs found!"));
}

TEST_F(PluginFixture, UnreadableListFileFailsTheSearch) {
    std::string a = m_dir.Narrow("classA");
    std::filesystem::create_directories(a + "/broken.dlk"); // a folder: not read as a file
    WriteRaw(a + "/bad.dlk", std::string("\xff\xfe bad utf-8\n"));
    Oerr_ErrorReport *err = nullptr;
    ostr_StringList *search = ofio_SearchListCreateFromText(W(a).c_str(), &err);
    ostr_StringList *libs = odll_SearchListGenerateAndIdentifyFiles(search, &err);
    ostr_StringListDelete(search, nullptr);
    EXPECT_EQ(libs, nullptr);
    ASSERT_NE(err, nullptr);
    EXPECT_EQ(Message(err), L"ofio_Fgets failed");
    EXPECT_NE(err->next, nullptr);
    oerr_DeleteErrorReportEx(&err);
}

TEST_F(PluginFixture, InstanceLifecycle) {
    std::string a = m_dir.Narrow("classA");
    std::string alpha = InstallPlugin(a, "alpha");
    Oerr_ErrorReport *err = nullptr;
    auto *d = static_cast<TestPluginData *>(
        odll_InstanceOpenByClassName(L"TestClass", L"one", W(alpha).c_str(), &err));
    ASSERT_NE(d, nullptr) << ChainText(err);
    EXPECT_STREQ(d->className, L"TestClass");
    EXPECT_STREQ(d->instanceName, L"one");
    EXPECT_TRUE(IsLoaded(alpha));
    // The same three names give the same instance; another instance name a new one.
    EXPECT_EQ(odll_InstanceOpenByClassName(L"TestClass", L"one", W(alpha).c_str(), &err), d);
    auto *d2 = odll_InstanceOpenByClassName(L"TestClass", L"two", W(alpha).c_str(), &err);
    EXPECT_NE(d2, d);
    EXPECT_EQ(Events(), "create one\ncreate two\n");

    wchar_t *v = odll_InstanceConfigParameterValueFind(L"TestClass", L"two", L"instance", &err);
    ASSERT_NE(v, nullptr);
    EXPECT_STREQ(v, L"two");
    omsc_HeapFree(v);
    EXPECT_EQ(odll_InstanceConfigParameterValueFind(L"TestClass", L"two", L"nope", &err), nullptr);
    EXPECT_EQ(err, nullptr);
    EXPECT_EQ(odll_InstanceConfigParameterValueFind(L"TestClass", L"three", L"instance", &err),
              nullptr);
    EXPECT_EQ(Message(err), L"Unable to open DLL instance three");
    oerr_DeleteErrorReportEx(&err);

    EXPECT_EQ(odll_InstanceClose(L"TestClass", L"one", nullptr, &err), 0) << ChainText(err);
    EXPECT_FALSE(odll_InstanceIsOpen(L"TestClass", L"one"));
    EXPECT_TRUE(odll_InstanceIsOpen(L"TestClass", L"two"));
    EXPECT_TRUE(IsLoaded(alpha)); // "two" still holds it
    EXPECT_EQ(odll_InstanceClose(L"TestClass", L"one", nullptr, &err), -1);
    EXPECT_EQ(Message(err), L"Could not find instance one of class TestClass");
    oerr_DeleteErrorReportEx(&err);
    EXPECT_EQ(odll_InstanceCloseAll(&err), 0);
    EXPECT_FALSE(odll_InstanceIsOpen(L"TestClass", L"two"));
    EXPECT_FALSE(IsLoaded(alpha));
    EXPECT_EQ(Events(), "create one\ncreate two\ndestroy one\ndestroy two\n");
}

TEST_F(PluginFixture, ConcurrentOpensShareOneInstance) {
    std::string alpha = InstallPlugin(m_dir.Narrow("classA"), "alpha");
    std::vector<void *> got(8, nullptr);
    std::vector<std::thread> threads;
    for (size_t i = 0; i < got.size(); ++i)
        threads.emplace_back([&, i] {
            Oerr_ErrorReport *err = nullptr;
            got[i] = odll_InstanceOpenByClassName(L"TestClass", L"shared", W(alpha).c_str(), &err);
            oerr_DeleteErrorReportEx(&err);
        });
    for (auto &t : threads) t.join();
    for (void *g : got) EXPECT_EQ(g, got[0]);
    ASSERT_NE(got[0], nullptr);
    Oerr_ErrorReport *err = nullptr;
    EXPECT_EQ(odll_InstanceClose(L"TestClass", L"shared", nullptr, &err), 0);
    EXPECT_FALSE(IsLoaded(alpha));
    // Every create that lost the race was destroyed again.
    std::string log = Events();
    size_t creates = 0, destroys = 0;
    for (size_t p = 0; (p = log.find("create shared", p)) != std::string::npos; ++p) ++creates;
    for (size_t p = 0; (p = log.find("destroy shared", p)) != std::string::npos; ++p) ++destroys;
    EXPECT_GE(creates, 1u);
    EXPECT_EQ(creates, destroys);
}

TEST_F(PluginFixture, FindOpensTheNamedLibraryAlongTheClassPath) {
    std::string a = m_dir.Narrow("classA"), b = m_dir.Narrow("classB");
    InstallPlugin(b, "gamma");
    m_env.Set("GIO_TEST_CLASS_PATH", a + ";" + b);
    Oerr_ErrorReport *err = nullptr;
    auto *d = static_cast<TestPluginData *>(odll_InstanceFind(L"TestClass", L"gamma", &err));
    ASSERT_NE(d, nullptr) << ChainText(err);
    EXPECT_STREQ(d->instanceName, L"gamma");
    EXPECT_EQ(odll_InstanceFind(L"TestClass", L"gamma", &err), d);
    EXPECT_EQ(odll_InstanceFind(L"TestClass", L"alpha", &err), nullptr);
    EXPECT_EQ(Message(err), L"Could not find instance alpha of class TestClass");
    oerr_DeleteErrorReportEx(&err);
    // Relative folders of a class path are never searched: they would mean the current
    // directory.
    std::filesystem::path cwd = std::filesystem::current_path();
    std::filesystem::current_path(m_dir.Path());
    m_env.Set("GIO_TEST_CLASS_PATH", "classB");
    WarningCollector warnings;
    EXPECT_EQ(odll_InstanceFind(L"TestClass", L"gamma2", &err), nullptr);
    oerr_DeleteErrorReportEx(&err);
    InstallPlugin(b, "gamma", "gamma2.dll");
    EXPECT_EQ(odll_InstanceFind(L"TestClass", L"gamma2", &err), nullptr);
    EXPECT_EQ(Message(err), L"Could not find instance gamma2 of class TestClass");
    oerr_DeleteErrorReportEx(&err);
    EXPECT_TRUE(warnings.Has(L"Relative folder classB in the path of TestClass ignored"));
    ostr_StringList *none = odll_ClassDllListGet(L"TestClass", OMSC_TRUE, &err);
    ASSERT_NE(none, nullptr);
    EXPECT_EQ(none->count, 0);
    ostr_StringListDelete(none, nullptr);
    std::filesystem::current_path(cwd);
    m_env.Set("GIO_TEST_CLASS_PATH", a + ";" + b);
    // A name with a folder part never leaves the class path.
    EXPECT_EQ(odll_InstanceFind(L"TestClass", W("../classB/gamma").c_str(), &err), nullptr);
    oerr_DeleteErrorReportEx(&err);
    EXPECT_EQ(Events(), "create gamma\n");
}

TEST_F(PluginFixture, ClassInstancesOpenConfigureAndSkipBadLibraries) {
    std::string a = m_dir.Narrow("classA"), x = m_dir.Narrow("extra");
    InstallPlugin(a, "alpha");
    InstallPlugin(a, "gamma");
    InstallPlugin(a, "failcreate");
    std::string nodestroy = InstallPlugin(a, "nodestroy");
    WriteRaw(a + "/garbage.dll", "this is not a shared library");
    std::string beta = InstallPlugin(x, "beta");
    WriteRaw(a + "/list.dlk", beta + "\n");
    m_env.Set("GIO_TEST_CLASS_PATH", a);
    WarningCollector warnings;
    Oerr_ErrorReport *err = nullptr;
    auto names = Items(odll_ClassInstancesGet(L"TestClass", OMSC_FALSE, &err));
    ASSERT_EQ(err, nullptr) << ChainText(err);
    EXPECT_EQ(names, (std::vector<std::wstring>{L"alpha", L"beta", L"gamma"}));
    EXPECT_TRUE(warnings.Has(L"Unable to open DLL instance failcreate"));
    EXPECT_TRUE(warnings.Has(L"Unable to open DLL instance nodestroy"));
    EXPECT_TRUE(warnings.Has(L"Unable to open DLL instance garbage"));
    // The library without destroy was refused and unloaded again.
    EXPECT_FALSE(IsLoaded(nodestroy));

    struct Meter {
        long total = -1;
        std::vector<std::wstring> tasks;
        long steps = 0;
    } m;
    Odll_Meter meter{&m,
                     [](void *c, long total, Oerr_ErrorReport **) -> long {
                         static_cast<Meter *>(c)->total = total;
                         return 0;
                     },
                     [](void *c, const wchar_t *task, Oerr_ErrorReport **) -> long {
                         static_cast<Meter *>(c)->tasks.push_back(task);
                         return 0;
                     },
                     [](void *c, long done) { static_cast<Meter *>(c)->steps = done; }};
    // gamma has no configure entry: passed over, not counted.
    EXPECT_EQ(odll_ClassInstancesConfigWithMeter(L"TestClass", &meter, &err), 2) << ChainText(err);
    EXPECT_EQ(m.total, 3);
    EXPECT_EQ(m.tasks, (std::vector<std::wstring>{L"Configuring alpha...", L"Configuring beta...",
                                                  L"Configuring gamma..."}));
    EXPECT_EQ(m.steps, 3);
    auto *alpha = static_cast<TestPluginData *>(odll_InstanceFind(L"TestClass", L"alpha", &err));
    ASSERT_NE(alpha, nullptr);
    EXPECT_EQ(alpha->configured, 1);
    EXPECT_EQ(odll_ClassInstancesConfig(L"TestClass", &err), 2);
    EXPECT_EQ(alpha->configured, 2);

    // A meter that refuses stops before any instance is configured.
    meter.setParameters = [](void *, long, Oerr_ErrorReport **) -> long { return -1; };
    EXPECT_EQ(odll_ClassInstancesConfigWithMeter(L"TestClass", &meter, &err), -1);
    EXPECT_EQ(Message(err), L"Unable to set meter parameters!");
    oerr_DeleteErrorReportEx(&err);
    meter.setParameters = nullptr;
    meter.setTaskName = [](void *, const wchar_t *, Oerr_ErrorReport **) -> long { return -1; };
    EXPECT_EQ(odll_ClassInstancesConfigWithMeter(L"TestClass", &meter, &err), -1);
    EXPECT_EQ(Message(err), L"Unable to set meter task name!");
    oerr_DeleteErrorReportEx(&err);
    EXPECT_EQ(alpha->configured, 2);
}

TEST_F(PluginFixture, FailingConfigureIsReportedAndTheOthersStillRun) {
    std::string a = m_dir.Narrow("classA");
    InstallPlugin(a, "failconfig");
    InstallPlugin(a, "alpha", "zeta.dll");
    m_env.Set("GIO_TEST_CLASS_PATH", a);
    Oerr_ErrorReport *err = nullptr;
    Items(odll_ClassInstancesGet(L"TestClass", OMSC_FALSE, &err));
    ASSERT_EQ(err, nullptr);
    EXPECT_EQ(odll_ClassInstancesConfig(L"TestClass", &err), -1);
    EXPECT_EQ(Message(err), L"DLL data retrieval failure for failconfig");
    oerr_DeleteErrorReportEx(&err);
    EXPECT_EQ(Events(), "create failconfig\ncreate zeta\nconfigure failconfig\nconfigure zeta\n");
}

TEST_F(PluginFixture, EmptyClasses) {
    m_env.Set("GIO_TEST_CLASS_PATH", m_dir.Narrow("none"));
    WarningCollector warnings;
    Oerr_ErrorReport *err = nullptr;
    EXPECT_EQ(odll_ClassInstancesGet(L"TestClass", OMSC_FALSE, &err), nullptr);
    EXPECT_EQ(Message(err), L"No DLL instances");
    oerr_DeleteErrorReportEx(&err);
    EXPECT_EQ(odll_ClassInstancesConfig(L"TestClass", &err), -1);
    EXPECT_EQ(Message(err), L"No DLL instances");
    oerr_DeleteErrorReportEx(&err);
    EXPECT_TRUE(warnings.Has(L"List of TestClass DLLs is now empty."));
}

TEST_F(PluginFixture, BadPluginsAreRefused) {
    std::string a = m_dir.Narrow("classA");
    std::string nodestroy = InstallPlugin(a, "nodestroy");
    std::string failcreate = InstallPlugin(a, "failcreate");
    Oerr_ErrorReport *err = nullptr;
    EXPECT_EQ(odll_InstanceOpenByClassName(L"C", L"i", W(nodestroy).c_str(), &err), nullptr);
    EXPECT_EQ(Message(err), L"Invalid Create and Destroy Function Pointers");
    oerr_DeleteErrorReportEx(&err);
    EXPECT_FALSE(IsLoaded(nodestroy));
    EXPECT_EQ(odll_InstanceOpenByClassName(L"C", L"i", W(failcreate).c_str(), &err), nullptr);
    EXPECT_EQ(Message(err), L"createFunc failed");
    oerr_DeleteErrorReportEx(&err);
    EXPECT_FALSE(IsLoaded(failcreate));
    EXPECT_FALSE(odll_InstanceIsOpen(L"C", L"i"));
    std::wstring missing = m_dir.Wide("classA/missing.dll");
    EXPECT_EQ(odll_InstanceOpenByClassName(L"C", L"i", missing.c_str(), &err), nullptr);
    ASSERT_NE(err, nullptr);
    EXPECT_EQ(Message(err), L"DLL Open failed for " + missing);
    ASSERT_NE(err->next, nullptr);
    EXPECT_EQ(Message(err->next).rfind(L"Could not load DLL " + missing + L":\n", 0), 0u);
    oerr_DeleteErrorReportEx(&err);
    EXPECT_EQ(odll_InstanceOpenByClassName(L"C", nullptr, missing.c_str(), &err), nullptr);
    EXPECT_NE(err, nullptr);
    oerr_DeleteErrorReportEx(&err);
}

TEST_F(PluginFixture, SingleLibraries) {
    std::string alpha = InstallPlugin(m_dir.Narrow("lib"), "alpha");
    Oerr_ErrorReport *err = nullptr;
    OdllHandle h = odll_Open(W(alpha).c_str(), &err);
    ASSERT_NE(h, nullptr) << ChainText(err);
    EXPECT_EQ(std::wstring(h->fileName), W(alpha));
    EXPECT_EQ(odll_ReleaseWindowHandle(h), h->module);
    EXPECT_NE(odll_Find(h, ODLL_CREATE_ENTRY, &err), nullptr);
    EXPECT_EQ(odll_Find(h, "noSuchSymbol", &err), nullptr);
    EXPECT_EQ(Message(err), L"Cannot locate symbol noSuchSymbol");
    oerr_DeleteErrorReportEx(&err);
    EXPECT_NE(odll_FindIfPresent(h, L"orvikPluginDestroy", &err), nullptr);
    EXPECT_EQ(odll_FindIfPresent(h, L"noSuchSymbol", &err), nullptr);
    EXPECT_EQ(err, nullptr);
    std::wstring longName(255, L'x');
    EXPECT_EQ(odll_FindIfPresent(h, longName.c_str(), &err), nullptr);
    EXPECT_EQ(err, nullptr);
    longName += L'x';
    EXPECT_EQ(odll_FindIfPresent(h, longName.c_str(), &err), nullptr);
    EXPECT_EQ(Message(err), L"Temp buffer size exceeded");
    oerr_DeleteErrorReportEx(&err);
    EXPECT_EQ(odll_Close(h, &err), 0);
    EXPECT_FALSE(IsLoaded(alpha));
    EXPECT_EQ(odll_Close(nullptr, &err), 0);

    EXPECT_EQ(odll_Open(m_dir.Wide("lib/none.dll").c_str(), &err), nullptr);
    ASSERT_NE(err, nullptr);
    EXPECT_EQ(Message(err).rfind(L"Could not load DLL " + m_dir.Wide("lib/none.dll") + L":\n", 0),
              0u);
    EXPECT_GT(Message(err).size(), m_dir.Wide("lib/none.dll").size() + 20); // the reason
    oerr_DeleteErrorReportEx(&err);
}

TEST_F(PluginFixture, TheResidentLibraryIsNeverUnloaded) {
    Oerr_ErrorReport *err = nullptr;
    for (const wchar_t *name : {(const wchar_t *)nullptr, L"", L"orasteru.dll", L"ORASTERU.DLL"}) {
        OdllHandle h = odll_Open(name, &err);
        ASSERT_NE(h, nullptr);
        EXPECT_STREQ(h->fileName, L"orasteru.dll");
        // The process image: the program and the libraries loaded with it.
        EXPECT_NE(odll_Find(h, "malloc", &err), nullptr) << ChainText(err);
        EXPECT_EQ(odll_Close(h, &err), 0);
    }
    OdllHandle again = odll_Open(nullptr, &err);
    EXPECT_NE(odll_FindIfPresent(again, L"free", &err), nullptr);
    odll_Close(again, &err);
}

TEST_F(PluginFixture, ResourceLibraryLivesInResBesideTheModule) {
    std::string res = InstallPlugin(m_dir.Narrow("mod/res"), "alpha", "viewerRes.dll");
    Oerr_ErrorReport *err = nullptr;
    OdllHandle h = nullptr;
    EXPECT_EQ(odll_OpenResourceLibrary(m_dir.Wide("mod/viewer.dll").c_str(), &h, &err), 0)
        << ChainText(err);
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(std::wstring(h->fileName), W(res));
    odll_Close(h, &err);
    EXPECT_EQ(odll_OpenResourceLibrary(m_dir.Wide("mod/other.dll").c_str(), &h, &err), -1);
    EXPECT_EQ(h, nullptr);
    EXPECT_EQ(Message(err), L"Could not load DLL");
    oerr_DeleteErrorReportEx(&err);
}

} // namespace
