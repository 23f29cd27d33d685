// Preference files and registry keys: reading (with the warnings for stale entries), the
// exact text written, save and load round trips, the save targets, atomic replacement and
// the registry emulation.
#ifndef _WIN32
#include <sys/wait.h>
#include <unistd.h>
#endif

#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "port/registry.hpp"
#include "prefs/atomic_file.hpp"
#include "prefs_test_util.hpp"

namespace {

const char *const kDefinitions = R"(viewer {
  title : OPMG_STRING default "abc";
  zoom : OPMG_NUMBER default 1.5;
  ink : OPMG_COLOR default 1,2,3;
  flag : OPMG_STRING boolean default "no";
}
memory { heap_size : OPMG_NUMBER default 0; }
)";

const char *const kHead = "/*\n"
                          "******************************************************\n"
                          "** v8preference - This file is automatically created  \n"
                          "**                 by the ORVIK Preferences Editor.   \n"
                          "*/\n\n\n";

class Files : public PrefsFixture {
  protected:
    void SetUp() override {
        PrefsFixture::SetUp();
        Definitions("viewer.pdf", kDefinitions);
    }
    std::wstring Title() {
        Oerr_ErrorReport *err = nullptr;
        wchar_t *t = opmg_GetStringPreference(L"viewer", L"title", &err);
        std::wstring out = t ? t : L"<null>";
        omsc_HeapFree(t);
        oerr_DeleteErrorReportEx(&err);
        return out;
    }
    double Zoom() {
        Oerr_ErrorReport *err = nullptr;
        return opmg_GetNumberPreference(L"viewer", L"zoom", &err);
    }
};

// The definitions parsed into a new list (the caller frees it).
Opmg_Category *DefinitionList() {
    Opmg_Category *list = nullptr;
    opmg_ParseText(L"d", kDefinitions, std::strlen(kDefinitions), &list, nullptr);
    return list;
}

bool gFaultCalled = false;
bool FailHalfway() {
    gFaultCalled = true;
    return false;
}
#ifndef _WIN32
// Ends the child process half-way through a save.
bool CrashHalfway() { _exit(3); }
#endif

} // namespace

TEST_F(Files, TheFirstElementOfThePathWinsAndStaleEntriesWarn) {
    WriteFile(m_dir.Narrow("site/v8preference"),
              "viewer.title : \"site\";\nviewer.zoom : 7.000000;\n"
              "viewer.gone : \"x\";\nold.thing : 1;\n");
    WriteFile(m_dir.Narrow("user/v8preference"), "/* mine */\nviewer.title : \"user\";\n");
    WarningCollector w;
    Init();
    EXPECT_EQ(Title(), L"user");
    EXPECT_EQ(Zoom(), 7);
    EXPECT_EQ(w.messages,
              (std::vector<std::wstring>{L"Entry viewer.gone is no longer valid!.",
                                         L"old.thing: Preference category old not found"}));
    EXPECT_EQ(w.inner[0], m_dir.Wide("site/v8preference") + L":3:1");
    EXPECT_EQ(opmg_PreferenceChangesUnsaved(), OMSC_FALSE);
}

TEST_F(Files, AMalformedPreferenceFileKeepsWhatCameBeforeTheFault) {
    WriteFile(m_dir.Narrow("user/v8preference"), "viewer.zoom : 3;\nviewer.title \"x\";\n");
    WarningCollector w;
    Init();
    EXPECT_EQ(Zoom(), 3);
    EXPECT_EQ(Title(), L"abc");
    ASSERT_EQ(w.messages.size(), 1u);
    EXPECT_EQ(w.messages[0], L"opmg_PrfParse failed; defaults used");
}

TEST_F(Files, PreferenceTextFaultsAreReportedWithPositions) {
    Opmg_Category *list = DefinitionList();
    ASSERT_NE(list, nullptr);
    auto fault = [&](const std::string &text) {
        Oerr_ErrorReport *err = nullptr;
        EXPECT_EQ(opmg_PrfParseText(L"p", text.data(), text.size(), list, &err), -1);
        std::wstring chain = ChainText(err);
        oerr_DeleteErrorReportEx(&err);
        return chain;
    };
    const std::wstring head = L"Cannot read preferences from p | ";
    EXPECT_EQ(fault("viewer.title : \"open;\n"), head + L"p:1:16: unterminated string");
    EXPECT_EQ(fault("\n  viewer title"), head + L"p:2:9: expected \".\" after the category name");
    EXPECT_EQ(fault("viewer.zoom : 1,2;"), head + L"p:1:19: a colour has 3 or 4 components");
    EXPECT_EQ(fault("viewer.ink : 1,2,3,4,5;"), head + L"p:1:21: expected \";\"");
    EXPECT_EQ(fault("viewer.ink : 1,2.5,3;"),
              head + L"p:1:22: colour components are whole numbers");
    EXPECT_EQ(fault("viewer.zoom : nan;"), head + L"p:1:15: expected a number");
    EXPECT_EQ(fault("/* never closed"), head + L"p:1:1: unterminated comment");
    EXPECT_EQ(fault("viewer.title : \"\xc3\";"), head + L"p:1:16: string is not valid UTF-8 text");
    // A string runs to the quote that ends the line with ";", so quotes and lines inside it stay.
    const std::string text = "viewer.title : \"say \"hi\" there;\nnext\" ;  \n";
    Oerr_ErrorReport *err = nullptr;
    ASSERT_EQ(opmg_PrfParseText(L"p", text.data(), text.size(), list, &err), 0);
    EXPECT_STREQ(
        opmg_CategoryListFindParameterInCategory(list, L"viewer", L"title", &err)->value.string,
        L"say \"hi\" there;\nnext");
    opmg_FreeCategoryList(list);
}

TEST_F(Files, SavingWritesTheExactTextWithStoredValuesOnly) {
    Init();
    Oerr_ErrorReport *err = nullptr;
    opmg_PutStringPreference(L"viewer", L"title", L"Grüße", &err);
    opmg_PutNumberPreference(L"viewer", L"zoom", 2.5, &err);
    const Opmg_Color four{4, 10, 20, 30, 40};
    opmg_PutColorPreference(L"viewer", L"ink", &four, &err);
    opmg_PutNumberPreference(L"memory", L"heap_size", 256, &err);
    ASSERT_EQ(opmg_SaveUserPreference(&err), 0) << ChainText(err);
    EXPECT_EQ(opmg_PreferenceChangesUnsaved(), OMSC_FALSE);
    const std::string expected = std::string(kHead) + "viewer.title : \"Grüße\";\n"
                                                      "viewer.zoom : 2.500000;\n"
                                                      "viewer.ink : 10,20,30,40;\n"
                                                      "\n"
                                                      "memory.heap_size : 256.000000;\n"
                                                      "\n";
    EXPECT_EQ(ReadRaw(m_dir.Narrow("user/v8preference")), expected);
#ifndef _WIN32 // Windows files have no mode bits; the folder's permissions apply
    using std::filesystem::perms;
    EXPECT_EQ(std::filesystem::status(m_dir.Narrow("user/v8preference")).permissions(),
              perms::owner_read | perms::owner_write | perms::group_read | perms::others_read);
#endif
    EXPECT_FALSE(std::filesystem::exists(m_dir.Narrow("site")));
}

TEST_F(Files, SavedValuesLoadAgainUnchanged) {
    Init();
    Oerr_ErrorReport *err = nullptr;
    // A character outside the BMP goes to the file as four UTF-8 bytes and comes back whole.
    opmg_PutStringPreference(L"viewer", L"title", L"multi\nline \"quoted\" \U0001F600", &err);
    opmg_PutNumberPreference(L"viewer", L"zoom", -0.125, &err);
    const Opmg_Color three{3, -1, 0, 255, 0};
    opmg_PutColorPreference(L"viewer", L"ink", &three, &err);
    opmg_PutBooleanPreference(L"viewer", L"flag", OMSC_TRUE, &err);
    ASSERT_EQ(opmg_SaveUserPreference(&err), 0);
    const std::string first = ReadRaw(m_dir.Narrow("user/v8preference"));
    EXPECT_NE(first.find("\xF0\x9F\x98\x80"), std::string::npos);
    ASSERT_EQ(opmg_Close(&err), 0);
    Init();
    EXPECT_EQ(Title(), L"multi\nline \"quoted\" \U0001F600");
    EXPECT_EQ(Zoom(), -0.125);
    Opmg_Color c{};
    opmg_GetColorPreference(L"viewer", L"ink", &c, &err);
    EXPECT_EQ(c.count, 3);
    EXPECT_EQ(c.red, -1);
    EXPECT_EQ(c.blue, 255);
    EXPECT_EQ(opmg_GetBooleanPreference(L"viewer", L"flag", &err), OMSC_TRUE);
    ASSERT_EQ(opmg_SaveUserPreference(&err), 0);
    EXPECT_EQ(ReadRaw(m_dir.Narrow("user/v8preference")), first);
}

TEST_F(Files, SaveTargetsFollowPersonalAndGlobal) {
    m_env.Set("GIO_PREFERENCES_PATH",
              m_dir.Narrow("site") + ";" + m_dir.Narrow("home/me") + ";" + m_dir.Narrow("global"));
    m_env.Set("GIO_PERSONAL", m_dir.Narrow("home"));
    Init();
    Oerr_ErrorReport *err = nullptr;
    opmg_PutNumberPreference(L"viewer", L"zoom", 4, &err);
    ASSERT_EQ(opmg_SaveUserPreference(&err), 0);
    EXPECT_TRUE(std::filesystem::exists(m_dir.Narrow("home/me/v8preference")));
    ASSERT_EQ(opmg_SaveGlobalPreference(&err), 0);
    EXPECT_TRUE(std::filesystem::exists(m_dir.Narrow("global/v8preference")));
    EXPECT_FALSE(std::filesystem::exists(m_dir.Narrow("site/v8preference")));
    // A global database keeps even the user's save in the global element.
    m_env.Set("GIO_PREFERENCE_DATABASE_TYPE", "global");
    std::filesystem::remove(m_dir.Narrow("global/v8preference"));
    ASSERT_EQ(opmg_SaveUserPreference(&err), 0);
    EXPECT_TRUE(std::filesystem::exists(m_dir.Narrow("global/v8preference")));
    // Another file name is used for reading and writing alike.
    m_env.Set("GIO_PREFERENCE_DATABASE_TYPE", std::nullopt);
    ASSERT_EQ(opmg_InitPreferenceFileName(L"prefs.txt", &err), 0);
    ASSERT_EQ(opmg_SaveUserPreference(&err), 0);
    EXPECT_NE(ReadRaw(m_dir.Narrow("home/me/prefs.txt")).find("** prefs.txt - This file"),
              std::string::npos);
}

TEST_F(Files, SaveFailuresSayWhy) {
    Init();
    Oerr_ErrorReport *err = nullptr;
    m_env.Set("GIO_PREFERENCES_PATH", " ; ");
    EXPECT_EQ(opmg_SaveUserPreference(&err), -1);
    ExpectReport(err, L"opmg_SaveUserPreference",
                 L"Environment variable ORVIK_PREFERENCES_PATH yields invalid search list");
    WriteFile(m_dir.Narrow("plain"), "x");
    m_env.Set("GIO_PREFERENCES_PATH", m_dir.Narrow("plain"));
    EXPECT_EQ(opmg_SaveUserPreference(&err), -1);
    ExpectReport(err, L"opmg_SaveUserPreference", L"0 not a directory and not a reg key");
    m_env.Set("GIO_PREFERENCES_PATH", m_dir.Narrow("plain/sub"));
    EXPECT_EQ(opmg_SaveUserPreference(&err), -1);
    ExpectReport(err, L"opmg_SaveUserPreference", L"ofio_MaybeMakeDir failed");
    m_env.Set("GIO_PREFERENCES_PATH", "HKEY_NOWHERE\\Software");
    EXPECT_EQ(opmg_SaveUserPreference(&err), -1);
    ExpectReport(err, L"ParseRegistryKey", L"Error getting HKEY handle from text");
}

TEST_F(Files, AFailedSaveLeavesTheOldFileAndNoTemporaryFile) {
    Init();
    Oerr_ErrorReport *err = nullptr;
    opmg_PutNumberPreference(L"viewer", L"zoom", 2, &err);
    ASSERT_EQ(opmg_SaveUserPreference(&err), 0);
    const std::string old = ReadRaw(m_dir.Narrow("user/v8preference"));
    opmg_PutNumberPreference(L"viewer", L"zoom", 3, &err);
    orvik::prefs::SetWriteFaultHook(FailHalfway);
    EXPECT_EQ(opmg_SaveUserPreference(&err), -1);
    orvik::prefs::SetWriteFaultHook(nullptr);
    EXPECT_TRUE(gFaultCalled);
    EXPECT_EQ(Message(err), L"WriteV8Preferencefailed");
    oerr_DeleteErrorReportEx(&err);
    EXPECT_EQ(opmg_PreferenceChangesUnsaved(), OMSC_TRUE);
    EXPECT_EQ(ReadRaw(m_dir.Narrow("user/v8preference")), old);
    int files = 0;
    for (const auto &e : std::filesystem::directory_iterator(m_dir.Narrow("user"))) {
        (void)e;
        ++files;
    }
    EXPECT_EQ(files, 1);
}

// POSIX only: the save dies in a forked child.
#ifndef _WIN32
TEST_F(Files, AProcessKilledMidSaveLeavesTheOldFileWhole) {
    Init();
    Oerr_ErrorReport *err = nullptr;
    opmg_PutNumberPreference(L"viewer", L"zoom", 2, &err);
    ASSERT_EQ(opmg_SaveUserPreference(&err), 0);
    const std::string old = ReadRaw(m_dir.Narrow("user/v8preference"));
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        Oerr_ErrorReport *e = nullptr;
        opmg_PutStringPreference(L"viewer", L"title", std::wstring(5000, L'x').c_str(), &e);
        orvik::prefs::SetWriteFaultHook(CrashHalfway);
        opmg_SaveUserPreference(&e);
        _exit(0); // not reached
    }
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 3); // it died half-way through the write
    EXPECT_EQ(ReadRaw(m_dir.Narrow("user/v8preference")), old);
    // The dead process's half-written temporary file is all that remains of it.
    int temporaries = 0;
    for (const auto &e : std::filesystem::directory_iterator(m_dir.Narrow("user"))) {
        if (e.path().filename().string().rfind(".v8preference.", 0) == 0) ++temporaries;
    }
    EXPECT_EQ(temporaries, 1);
}
#endif

TEST_F(Files, RegistryKeysAreSavedAndReadThroughTheEmulation) {
    m_env.Set("GIO_PREFERENCES_PATH", "HKEY_CURRENT_USER\\Software\\Orvik;" + m_dir.Narrow("site"));
    // TMPDIR names the temporary folder on POSIX, TMP on Windows.
    m_env.Set("TMPDIR", m_dir.Narrow("tmp")).Set("TMP", m_dir.Narrow("tmp"));
    std::filesystem::create_directories(m_dir.Narrow("tmp"));
    WriteFile(m_dir.Narrow("site/v8preference"), "viewer.title : \"site\";\n");
    Init();
    EXPECT_EQ(Title(), L"site"); // the key does not exist yet
    Oerr_ErrorReport *err = nullptr;
    opmg_PutStringPreference(L"viewer", L"title", L"from key", &err);
    opmg_PutNumberPreference(L"viewer", L"zoom", 3, &err);
    const Opmg_Color ink{3, 4, 5, 6, 0};
    opmg_PutColorPreference(L"viewer", L"ink", &ink, &err);
    opmg_PutNumberPreference(L"memory", L"heap_size", 0.5, &err);
    ASSERT_EQ(opmg_SaveUserPreference(&err), 0) << ChainText(err);
    const std::string key = m_dir.Narrow("registry/HKEY_CURRENT_USER/Software/Orvik.key");
    EXPECT_EQ(ReadRaw(key), "viewer.title : \"from key\" ;\n"
                            "viewer.zoom : 3 ;\n"
                            "viewer.ink : \"4,5,6\" ;\n"
                            "memory.heap_size : \"0.500000\" ;\n");
    // The temporary preference file under <temp>/OPMG is gone again.
    EXPECT_TRUE(std::filesystem::is_empty(m_dir.Narrow("tmp/OPMG")));
    ASSERT_EQ(opmg_Close(&err), 0);
    Init();
    EXPECT_EQ(Title(), L"from key");
    EXPECT_EQ(Zoom(), 3);
    Opmg_Color back{};
    opmg_GetColorPreference(L"viewer", L"ink", &back, &err);
    EXPECT_EQ(back.green, 5);
    EXPECT_EQ(opmg_GetNumberPreference(L"memory", L"heap_size", &err), 0.5);
    // Saving again replaces the key's values rather than adding to them.
    opmg_PutStringPreference(L"viewer", L"title", L"again", &err);
    ASSERT_EQ(opmg_SaveUserPreference(&err), 0);
    const std::string text = ReadRaw(key);
    EXPECT_EQ(text.find("from key"), std::string::npos);
    EXPECT_NE(text.find("viewer.title : \"again\" ;\n"), std::string::npos);
}

// With no registry folder named, Windows keeps "HKEY_" keys in the system registry.
TEST_F(Files, RegistryKeysUseTheSystemRegistryWhereThereIsOne) {
    if (!orvik::port::registry::Available()) GTEST_SKIP() << "this host has no system registry";
    const std::wstring path = L"Software/OrvikTest/" + std::to_wstring(std::random_device{}());
    const std::string element = "HKEY_CURRENT_USER\\" + std::string(path.begin(), path.end());
    m_env.Set("GIO_REGISTRY_PATH", std::nullopt)
        .Set("GIO_PREFERENCES_PATH", element + ";" + m_dir.Narrow("site"));
    Init();
    Oerr_ErrorReport *err = nullptr;
    opmg_PutStringPreference(L"viewer", L"title", L"in the registry \U0001F600", &err);
    opmg_PutNumberPreference(L"viewer", L"zoom", 3, &err);
    ASSERT_EQ(opmg_SaveUserPreference(&err), 0) << ChainText(err);
    std::vector<orvik::port::registry::Value> values;
    bool exists = false;
    ASSERT_EQ(orvik::port::registry::ReadValues(L"HKEY_CURRENT_USER", path, values, exists), 0);
    EXPECT_TRUE(exists);
    ASSERT_EQ(values.size(), 2u);
    EXPECT_EQ(values[0].name, L"viewer.title");
    EXPECT_EQ(values[0].text, L"in the registry \U0001F600");
    EXPECT_EQ(values[1].name, L"viewer.zoom");
    EXPECT_TRUE(values[1].isNumber);
    EXPECT_EQ(values[1].number, 3);
    ASSERT_EQ(opmg_Close(&err), 0);
    Init();
    EXPECT_EQ(Title(), L"in the registry \U0001F600");
    EXPECT_EQ(Zoom(), 3);
    EXPECT_EQ(orvik::port::registry::DeleteTree(L"HKEY_CURRENT_USER", path), 0);
    ASSERT_EQ(orvik::port::registry::ReadValues(L"HKEY_CURRENT_USER", path, values, exists), 0);
    EXPECT_FALSE(exists);
}

TEST_F(Files, WritingAListToANamedFile) {
    Opmg_Category *list = DefinitionList();
    ASSERT_NE(list, nullptr);
    Oerr_ErrorReport *err = nullptr;
    ASSERT_EQ(opmg_WritePreferenceFile(list, m_dir.Wide("plain.prf").c_str(), &err), 0);
    // Nothing is stored yet: the head alone.
    EXPECT_EQ(ReadRaw(m_dir.Narrow("plain.prf")),
              std::string(kHead).replace(3 + 55 + 3, 12, "plain.prf"));
    EXPECT_EQ(opmg_WritePreferenceFile(list, m_dir.Wide("missing/x").c_str(), &err), -1);
    EXPECT_EQ(Message(err), L"WriteV8Preferencefailed");
    oerr_DeleteErrorReportEx(&err);
    opmg_FreeCategoryList(list);
}

TEST_F(Files, QuotedNumbersAndColoursAreReadByTheParametersType) {
    Opmg_Category *list = DefinitionList();
    ASSERT_NE(list, nullptr);
    WarningCollector w;
    // U+0131 would read as "1" if wide text were narrowed carelessly.
    const std::string text = "viewer.zoom : \"12.5\" ;\nviewer.ink : \"7,8,9\";\n"
                             "viewer.zoom : \"\xc4\xb1\";\nviewer.title : 5;\n";
    Oerr_ErrorReport *err = nullptr;
    ASSERT_EQ(opmg_PrfParseText(L"p", text.data(), text.size(), list, &err), 0);
    EXPECT_EQ(
        opmg_CategoryListFindParameterInCategory(list, L"viewer", L"zoom", &err)->value.number,
        12.5);
    EXPECT_EQ(
        opmg_CategoryListFindParameterInCategory(list, L"viewer", L"ink", &err)->value.color.blue,
        9);
    EXPECT_STREQ(
        opmg_CategoryListFindParameterInCategory(list, L"viewer", L"title", &err)->value.string,
        L"abc");
    EXPECT_EQ(w.messages, (std::vector<std::wstring>{
                              L"Entry viewer.zoom does not fit the preference's type; ignored",
                              L"Entry viewer.title does not fit the preference's type; ignored"}));
    opmg_FreeCategoryList(list);
}
