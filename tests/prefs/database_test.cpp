// The database through the opmg_ interface: start-up from definition and preference files,
// typed and untyped access with their type checks, the length cut, callbacks, the
// implementation table and the heap's size preference.
#ifndef _WIN32
#include <sys/wait.h>
#include <unistd.h>
#endif

#include <atomic>
#include <cmath>
#include <string>
#include <thread>
#include <vector>

#include "core/heap_config.hpp"
#include "prefs_test_util.hpp"

namespace {

const char *const kDefinitions = R"(memory { heap_size : OPMG_NUMBER default 64; }
viewer {
  title : OPMG_STRING maxlength 5 default "abc";
  home : OPMG_STRING expand default "$PREFS_TEST_HOME/x";
  mode : OPMG_STRING enums {fast, slow};
  flag : OPMG_STRING boolean default "on";
  zoom : OPMG_NUMBER default 1.5;
  ink : OPMG_COLOR default 1,2,3;
}
)";

class Database : public PrefsFixture {
  protected:
    void SetUp() override {
        PrefsFixture::SetUp();
        Definitions("viewer.pdf", kDefinitions);
        Init();
    }
};

struct Seen {
    std::vector<std::wstring> names;
    std::vector<double> numbers;
};

void OnChange(const wchar_t *category, const wchar_t *name, const Opmg_Preference *value,
              void *data) {
    auto *seen = static_cast<Seen *>(data);
    seen->names.push_back(std::wstring(category) + L"." + name);
    seen->numbers.push_back(value->number);
}

} // namespace

TEST_F(Database, TypedGetsReturnTheDefinedDefaults) {
    EnvScope env;
    env.Set("PREFS_TEST_HOME", "/h");
    Oerr_ErrorReport *err = nullptr;
    wchar_t *title = opmg_GetStringPreference(L"viewer", L"title", &err);
    EXPECT_STREQ(title, L"abc");
    omsc_HeapFree(title);
    wchar_t *home = opmg_GetStringPreference(L"viewer", L"home", &err);
    EXPECT_STREQ(home, L"/h/x"); // expanded when read
    omsc_HeapFree(home);
    wchar_t *mode = opmg_GetEnumPreference(L"viewer", L"mode", &err);
    EXPECT_STREQ(mode, L"fast"); // no default: the first name
    omsc_HeapFree(mode);
    EXPECT_EQ(opmg_GetBooleanPreference(L"viewer", L"flag", &err), OMSC_TRUE);
    EXPECT_EQ(opmg_GetNumberPreference(L"viewer", L"zoom", &err), 1.5);
    Opmg_Color ink{};
    EXPECT_EQ(opmg_GetColorPreference(L"viewer", L"ink", &ink, &err), 0);
    EXPECT_EQ(ink.count, 3);
    EXPECT_EQ(ink.blue, 3);
    EXPECT_EQ(err, nullptr);
}

TEST_F(Database, PutsAreReadBackAndMarkChangesUnsaved) {
    Oerr_ErrorReport *err = nullptr;
    EXPECT_EQ(opmg_PreferenceChangesUnsaved(), OMSC_FALSE);
    ASSERT_EQ(opmg_PutNumberPreference(L"viewer", L"zoom", 2.25, &err), 0);
    EXPECT_EQ(opmg_PreferenceChangesUnsaved(), OMSC_TRUE);
    EXPECT_EQ(opmg_GetNumberPreference(L"viewer", L"zoom", &err), 2.25);
    ASSERT_EQ(opmg_PutEnumPreference(L"viewer", L"mode", L"slow", &err), 0);
    ASSERT_EQ(opmg_PutBooleanPreference(L"viewer", L"flag", OMSC_FALSE, &err), 0);
    EXPECT_EQ(opmg_GetBooleanPreference(L"viewer", L"flag", &err), OMSC_FALSE);
    const Opmg_Color c{4, 9, 8, 7, 6};
    ASSERT_EQ(opmg_PutColorPreference(L"viewer", L"ink", &c, &err), 0);
    Opmg_Color back{};
    opmg_GetColorPreference(L"viewer", L"ink", &back, &err);
    EXPECT_EQ(back.count, 4);
    EXPECT_EQ(back.alpha, 6);

    Opmg_Preference *v = opmg_GetPreference(L"viewer", L"mode", &err);
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(v->type, OPMG_ENUM);
    EXPECT_STREQ(v->string, L"slow");
    Opmg_Preference *dup = opmg_PreferenceDup(v, &err);
    EXPECT_NE(dup->string, v->string);
    EXPECT_STREQ(dup->string, L"slow");
    opmg_PreferenceFree(dup);
    omsc_HeapFree(v->string);
    v->string = ostr_StringCopy(L"fast", nullptr);
    EXPECT_EQ(opmg_PutPreference(L"viewer", L"mode", v, &err), 0);
    opmg_PreferenceFree(v);
    wchar_t *mode = opmg_GetEnumPreference(L"viewer", L"mode", &err);
    EXPECT_STREQ(mode, L"fast");
    omsc_HeapFree(mode);
    EXPECT_EQ(err, nullptr);
}

TEST_F(Database, BooleansAreTrueForYesOnTrueInAnyCase) {
    Oerr_ErrorReport *err = nullptr;
    Opmg_Preference v{};
    v.type = OPMG_BOOLEAN;
    for (const auto &[text, expected] :
         std::vector<std::pair<const wchar_t *, Omsc_Boolean>>{{L"YES", OMSC_TRUE},
                                                               {L"On", OMSC_TRUE},
                                                               {L"tRUE", OMSC_TRUE},
                                                               {L"1", OMSC_FALSE},
                                                               {L"yes ", OMSC_FALSE},
                                                               {L"", OMSC_FALSE}}) {
        v.string = const_cast<wchar_t *>(text);
        ASSERT_EQ(opmg_PutPreference(L"viewer", L"flag", &v, &err), 0);
        EXPECT_EQ(opmg_GetBooleanPreference(L"viewer", L"flag", &err), expected) << text;
    }
}

TEST_F(Database, AskingForAnotherTypeIsATypeMismatch) {
    Oerr_ErrorReport *err = nullptr;
    EXPECT_EQ(opmg_GetNumberPreference(L"viewer", L"title", &err), 0.0);
    ExpectReport(err, L"opmg_GetNumberPreference", L"Type mismatch");
    EXPECT_EQ(opmg_GetStringPreference(L"viewer", L"mode", &err), nullptr);
    ExpectReport(err, L"opmg_GetStringPreference", L"Type mismatch");
    EXPECT_EQ(opmg_PutStringPreference(L"viewer", L"zoom", L"1", &err), -1);
    EXPECT_EQ(ChainText(err), L"ImplementationMethods.prefPut failed | Type mismatch");
    oerr_DeleteErrorReportEx(&err);
    EXPECT_EQ(opmg_GetNumberPreference(L"viewer", L"zoom", &err), 1.5); // unchanged
    EXPECT_EQ(opmg_PreferenceChangesUnsaved(), OMSC_FALSE);
}

TEST_F(Database, MissingParametersNameCategoryAndName) {
    Oerr_ErrorReport *err = nullptr;
    EXPECT_EQ(opmg_GetNumberPreference(L"viewer", L"nothing", &err), 0.0);
    EXPECT_EQ(ChainText(err), L"ImplementationMethods.prefGet failed | "
                              L"CategoryListFindParameterInCategory failed for viewer.nothing");
    oerr_DeleteErrorReportEx(&err);
    EXPECT_EQ(opmg_PutNumberPreference(nullptr, L"zoom", 1, &err), -1);
    EXPECT_EQ(ChainText(err), L"ImplementationMethods.prefPut failed | "
                              L"CategoryListFindParameterInCategory failed for <Null>.zoom");
    oerr_DeleteErrorReportEx(&err);
    Opmg_Preference v{};
    v.type = OPMG_NUMBER;
    EXPECT_EQ(opmg_PutPreference(L"x", nullptr, &v, &err), -1);
    EXPECT_EQ(Message(err), L"ParameterValuePut failed for x.<Null>");
    oerr_DeleteErrorReportEx(&err);
    v.number = NAN;
    EXPECT_EQ(opmg_PutPreference(L"viewer", L"zoom", &v, &err), -1);
    oerr_DeleteErrorReportEx(&err);
}

TEST_F(Database, LongStringsAreCutToTheMaximumLengthWithAWarning) {
    WarningCollector w;
    Oerr_ErrorReport *err = nullptr;
    ASSERT_EQ(opmg_PutStringPreference(L"viewer", L"title", L"abcdefgh", &err), 0);
    ASSERT_EQ(w.messages.size(), 1u);
    EXPECT_EQ(w.messages[0], L"String 'abcdefgh' exceeds maximum length of 5 for preference "
                             L"viewer.title; using 'abcde'");
    EXPECT_EQ(w.kinds[0], OERR_KIND_WARNING);
    wchar_t *title = opmg_GetStringPreference(L"viewer", L"title", &err);
    EXPECT_STREQ(title, L"abcde");
    omsc_HeapFree(title);
    ASSERT_EQ(opmg_PutStringPreference(L"viewer", L"title", L"12345", &err), 0);
    EXPECT_EQ(w.messages.size(), 1u); // exactly the maximum: no cut
    // Characters outside the BMP count once, though they take two units on Windows.
    ASSERT_EQ(opmg_PutStringPreference(L"viewer", L"title",
                                       L"\U0001F600\U0001F600\U0001F600\U0001F600\U0001F600", &err),
              0);
    EXPECT_EQ(w.messages.size(), 1u);
    ASSERT_EQ(
        opmg_PutStringPreference(L"viewer", L"title", L"ab\U0001F600\U0001F600\U0001F600x", &err),
        0);
    ASSERT_EQ(w.messages.size(), 2u);
    title = opmg_GetStringPreference(L"viewer", L"title", &err);
    EXPECT_STREQ(title, L"ab\U0001F600\U0001F600\U0001F600");
    omsc_HeapFree(title);
}

TEST_F(Database, CallbacksFireOnChangeUntilRemoved) {
    Seen seen, other;
    Oerr_ErrorReport *err = nullptr;
    ASSERT_EQ(opmg_AddPreferenceCallback(L"viewer", L"zoom", OnChange, &seen, &err), 0);
    ASSERT_EQ(opmg_AddCallback(L"viewer", L"zoom", OnChange, &other, &err), 0);
    Opmg_CallbackEntry entries[4];
    EXPECT_EQ(opmg_GetCallbackList(L"viewer", L"zoom", entries, 4, &err), 2);
    EXPECT_EQ(entries[1].clientData, &other);
    opmg_PutNumberPreference(L"viewer", L"zoom", 3, &err);
    opmg_PutNumberPreference(L"viewer", L"title", 3, &err); // refused: no call
    oerr_DeleteErrorReportEx(&err);
    ASSERT_EQ(opmg_RemovePreferenceCallback(L"viewer", L"zoom", OnChange, &seen, &err), 0);
    opmg_PutNumberPreference(L"viewer", L"zoom", 4, &err);
    ASSERT_EQ(opmg_RemoveCallback(L"viewer", L"zoom", OnChange, &other, &err), 0);
    opmg_PutNumberPreference(L"viewer", L"zoom", 5, &err);
    EXPECT_EQ(seen.names, std::vector<std::wstring>{L"viewer.zoom"});
    EXPECT_EQ(seen.numbers, std::vector<double>{3});
    EXPECT_EQ(other.numbers, (std::vector<double>{3, 4}));
    EXPECT_EQ(opmg_GetCallbackList(L"viewer", L"zoom", nullptr, 0, &err), 0);
    EXPECT_EQ(opmg_RemoveCallback(L"viewer", L"zoom", OnChange, &other, &err), -1);
    oerr_DeleteErrorReportEx(&err);
    EXPECT_EQ(opmg_AddPreferenceCallback(L"viewer", L"none", OnChange, &seen, &err), -1);
    EXPECT_EQ(ChainText(err), L"ImplementationMethods.prefAddCB failed | "
                              L"CategoryListFindParameterInCategory failed for viewer.none");
    oerr_DeleteErrorReportEx(&err);
}

TEST_F(Database, ACallbackMayReadAndWritePreferences) {
    struct Chain {
        static void Bump(const wchar_t *, const wchar_t *, const Opmg_Preference *v, void *) {
            Oerr_ErrorReport *e = nullptr;
            opmg_PutNumberPreference(L"memory", L"heap_size",
                                     v->number + opmg_GetNumberPreference(L"viewer", L"zoom", &e),
                                     &e);
        }
    };
    Oerr_ErrorReport *err = nullptr;
    ASSERT_EQ(opmg_AddPreferenceCallback(L"viewer", L"zoom", Chain::Bump, nullptr, &err), 0);
    opmg_PutNumberPreference(L"viewer", L"zoom", 10, &err);
    EXPECT_EQ(opmg_GetNumberPreference(L"memory", L"heap_size", &err), 20);
}

TEST_F(Database, ChangeLoggingPrintsEachChange) {
    WarningCollector w;
    opmg_InitPreferenceChangeLogging(OMSC_TRUE);
    Oerr_ErrorReport *err = nullptr;
    opmg_PutNumberPreference(L"viewer", L"zoom", 2, &err);
    opmg_InitPreferenceChangeLogging(OMSC_FALSE);
    opmg_PutNumberPreference(L"viewer", L"zoom", 3, &err);
    EXPECT_EQ(w.messages, std::vector<std::wstring>{L"Preference viewer.zoom changed"});
}

TEST_F(Database, TheHeapReadsItsSizeFromMemoryHeapSize) {
    EXPECT_EQ(orvik::core::HeapSizePreference(), 64);
    Oerr_ErrorReport *err = nullptr;
    opmg_PutNumberPreference(L"memory", L"heap_size", 128, &err);
    EXPECT_EQ(orvik::core::HeapSizePreference(), 128);
    opmg_Close(&err);
    EXPECT_EQ(orvik::core::HeapSizePreference(), 0); // disconnected
}

namespace {

struct Fake {
    int initialized = 0, flushed = 0, terminated = 0;
    long flushResult = 0;
};

long FakeInit(void *d, Oerr_ErrorReport **) { return ++static_cast<Fake *>(d)->initialized, 0; }
long FakeTerm(void *d, Oerr_ErrorReport **) { return ++static_cast<Fake *>(d)->terminated, 0; }
long FakeFlush(void *d, Oerr_ErrorReport **err) {
    auto *f = static_cast<Fake *>(d);
    ++f->flushed;
    if (f->flushResult) *err = oerr_CreateErrorReport(L"FakeFlush", 1, 2, nullptr, L"disk");
    return f->flushResult;
}
long FakeCB(void *, const wchar_t *, const wchar_t *, Opmg_CallbackFunc, void *,
            Oerr_ErrorReport **) {
    return 0;
}
long FakeGet(void *, const wchar_t *, const wchar_t *, Opmg_Preference *v, Oerr_ErrorReport **) {
    *v = Opmg_Preference{};
    v->type = OPMG_NUMBER;
    v->number = 42;
    return 0;
}
long FakePut(void *, const wchar_t *, const wchar_t *, const Opmg_Preference *,
             Oerr_ErrorReport **err) {
    *err = oerr_CreateErrorReport(L"FakePut", 1, 2, nullptr, L"read-only store");
    return -1;
}

#define FAKE_METHODS(data)                                                                         \
    OPMG_DATA, (void *)(data), OPMG_DATABASE_INITIALIZE, (void *)FakeInit,                         \
        OPMG_DATABASE_TERMINATE, (void *)FakeTerm, OPMG_DATABASE_FLUSH, (void *)FakeFlush,         \
        OPMG_PREFERENCE_ADD_CB, (void *)FakeCB, OPMG_PREFERENCE_REM_CB, (void *)FakeCB,            \
        OPMG_PREFERENCE_GET, (void *)FakeGet

} // namespace

TEST_F(Database, AnotherImplementationServesGetsAndPuts) {
    Fake fake;
    Oerr_ErrorReport *err = nullptr;
    ASSERT_EQ(opmg_PreferenceImplementationMethodsSet(FAKE_METHODS(&fake), OPMG_PREFERENCE_PUT,
                                                      (void *)FakePut, 0, &err),
              0);
    EXPECT_EQ(opmg_GetGlobalPreferenceHandle(), &fake);
    ASSERT_EQ(opmg_Init(&err), 0);
    EXPECT_EQ(fake.initialized, 1);
    EXPECT_EQ(opmg_GetNumberPreference(L"any", L"thing", &err), 42);
    EXPECT_EQ(opmg_PutNumberPreference(L"any", L"thing", 1, &err), -1);
    EXPECT_EQ(ChainText(err), L"ImplementationMethods.prefPut failed | read-only store");
    oerr_DeleteErrorReportEx(&err);
    {
        WarningCollector w;
        Seen seen;
        // The older interface still reaches the default list, with a warning.
        EXPECT_EQ(opmg_AddCallback(L"viewer", L"zoom", OnChange, &seen, &err), 0);
        EXPECT_EQ(w.messages,
                  std::vector<std::wstring>{
                      L"Default preference implementation has changed; preference "
                      L"callbacks should no longer be added directly via opmg_AddCallback"});
        opmg_RemoveCallback(L"viewer", L"zoom", OnChange, &seen, &err);
    }
    fake.flushResult = -1;
    EXPECT_EQ(opmg_Close(&err), -1);
    EXPECT_EQ(ChainText(err), L"ImplementationMethods.dbFlush failed | disk");
    oerr_DeleteErrorReportEx(&err);
    EXPECT_EQ(fake.terminated, 1);
    InstallDefault();
}

TEST_F(Database, InstallingRequiresEveryMethodAndKnownKeys) {
    Fake fake;
    Oerr_ErrorReport *err = nullptr;
    EXPECT_EQ(opmg_PreferenceImplementationMethodsSet(FAKE_METHODS(&fake), 0, &err), -1);
    ExpectReport(err, L"opmg_PreferenceImplementationMethodsSet", L"Missing PREFERENCE_PUT");
    EXPECT_EQ(opmg_PreferenceImplementationMethodsSet(OPMG_DATABASE_INITIALIZE, (void *)FakeInit, 0,
                                                      &err),
              -1);
    ExpectReport(err, L"opmg_PreferenceImplementationMethodsSet", L"Missing DATA");
    EXPECT_EQ(opmg_PreferenceImplementationMethodsSet(FAKE_METHODS(&fake), OPMG_PREFERENCE_PUT,
                                                      (void *)nullptr, 0, &err),
              -1);
    ExpectReport(err, L"opmg_PreferenceImplementationMethodsSet", L"Missing PREFERENCE_PUT");
    EXPECT_EQ(opmg_PreferenceImplementationMethodsSet(FAKE_METHODS(&fake), 77, (void *)FakePut,
                                                      OPMG_PREFERENCE_PUT, (void *)FakePut, 0,
                                                      &err),
              -1);
    ExpectReport(err, L"opmg_PreferenceImplementationMethodsSet", L"Unknown method: 77");
    // Nothing changed: the default implementation still answers.
    EXPECT_EQ(opmg_GetNumberPreference(L"viewer", L"zoom", &err), 1.5);
}

// POSIX only: needs fork.
#ifndef _WIN32
TEST_F(Database, ChangingTheImplementationCanBeDisabled) {
    // Disabling cannot be undone, so it runs in a child process.
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        opmg_PreferenceImplementationChangeDisable(L"the site administrator");
        Fake fake;
        Oerr_ErrorReport *err = nullptr;
        const long rc = opmg_PreferenceImplementationMethodsSet(
            FAKE_METHODS(&fake), OPMG_PREFERENCE_PUT, (void *)FakePut, 0, &err);
        const bool ok = rc == -1 && Message(err) ==
                                        L"Changing the preference implementation has been "
                                        L"disabled by the site administrator";
        _exit(ok ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}
#endif

TEST_F(Database, CategoryListFunctionsWorkOnCopies) {
    Oerr_ErrorReport *err = nullptr;
    Opmg_Category *all = opmg_GetCategoryList(&err);
    ASSERT_NE(all, nullptr);
    Opmg_Category *filtered = opmg_FilterCategoryList(all, L"v*", &err);
    ASSERT_NE(filtered, nullptr);
    EXPECT_STREQ(filtered->name, L"viewer");
    EXPECT_EQ(filtered->next, nullptr);
    EXPECT_NE(filtered->parameters, all->next->parameters); // deep copy
    opmg_FreeCategoryList(filtered);

    ASSERT_EQ(opmg_CopyCategory(&all, L"viewer", L"viewer2", &err), 0);
    EXPECT_STREQ(opmg_ListTail(all)->name, L"viewer2");
    ASSERT_NE(opmg_CategoryListFindParameterInCategory(all, L"viewer2", L"ink", &err), nullptr);
    EXPECT_EQ(opmg_CopyCategory(&all, L"nope", L"x", &err), -1);
    ExpectReport(err, L"opmg_CopyCategory", L"Nonexistent category nope");
    EXPECT_EQ(opmg_CopyCategory(&all, L"viewer", L"memory", &err), -1);
    ExpectReport(err, L"opmg_CopyCategory", L"Trouble copying viewer to memory");
    EXPECT_EQ(opmg_CategoryListFindParameterInCategory(all, nullptr, L"ink", &err), nullptr);
    ExpectReport(err, L"opmg_CategoryListFindParameterInCategory",
                 L"CategoryListFindParameterInCategory failed for <Null>.ink");

    EXPECT_EQ(opmg_RemoveCategory(&all, L"memory"), OMSC_TRUE);
    EXPECT_EQ(opmg_RemoveCategory(&all, L"memory"), OMSC_FALSE);
    EXPECT_STREQ(all->name, L"viewer");
    Opmg_Category *second = all->next;
    all->next = nullptr;
    opmg_FreeCatList(second);
    opmg_FreeCategoryList(all);

    Opmg_Preference a{}, b{};
    a.type = OPMG_STRING;
    a.string = const_cast<wchar_t *>(L"text");
    ASSERT_EQ(opmg_ParameterValueCopy(&b, &a, &err), 0);
    EXPECT_STREQ(b.string, L"text");
    EXPECT_NE(b.string, a.string);
    omsc_HeapFree(b.string);
}

TEST_F(Database, SettingsOfTheModule) {
    Oerr_ErrorReport *err = nullptr;
    wchar_t *name = opmg_GetPreferenceFileName(&err);
    EXPECT_STREQ(name, L"v8preference");
    omsc_HeapFree(name);
    EXPECT_EQ(opmg_InitPreferenceFileName(L"a/b", &err), -1);
    oerr_DeleteErrorReportEx(&err);
    ASSERT_EQ(opmg_InitPreferenceFileName(L"other", &err), 0);
    name = opmg_GetPreferenceFileName(&err);
    EXPECT_STREQ(name, L"other");
    omsc_HeapFree(name);
    EnvScope env;
    env.Set("GIO_PREFERENCE_DATABASE_TYPE", "GLOBAL");
    wchar_t *type = opmg_GetDataBaseType(&err);
    EXPECT_STREQ(type, L"global");
    omsc_HeapFree(type);
}

TEST_F(Database, ThreadsMayGetAndPutAtTheSameTime) {
    std::atomic<int> calls{0};
    auto count = [](const wchar_t *, const wchar_t *, const Opmg_Preference *, void *data) {
        ++*static_cast<std::atomic<int> *>(data);
    };
    Oerr_ErrorReport *err = nullptr;
    ASSERT_EQ(opmg_AddPreferenceCallback(L"viewer", L"zoom", count, &calls, &err), 0);
    std::vector<std::thread> threads;
    std::atomic<int> failures{0};
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([t, &failures] {
            Oerr_ErrorReport *e = nullptr;
            for (int i = 0; i < 500; ++i) {
                if (t % 2 == 0) {
                    if (opmg_PutNumberPreference(L"viewer", L"zoom", i, &e) != 0) ++failures;
                } else {
                    const double v = opmg_GetNumberPreference(L"viewer", L"zoom", &e);
                    wchar_t *title = opmg_GetStringPreference(L"viewer", L"title", &e);
                    if (e || !(v >= 0 && v < 500) || !title) ++failures;
                    omsc_HeapFree(title);
                }
                oerr_DeleteErrorReportEx(&e);
            }
        });
    }
    for (auto &th : threads) th.join();
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(calls, 1000);
}
