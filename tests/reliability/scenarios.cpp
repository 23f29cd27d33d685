#include "scenarios.hpp"

#include <cstring>
#include <filesystem>

#include <orvik/odsc.h>
#include <orvik/oimg.h>
#include <orvik/omif.h>
#include <orvik/oplg.h>
#include <orvik/osta.h>

#include "prefs/prefs_test_util.hpp"

namespace sweep {

namespace {

struct DataDeleter {
    void operator()(Ogda_BaseData *d) const { ogda_BaseDataDelete(d, nullptr); }
};
using Data = std::unique_ptr<Ogda_BaseData, DataDeleter>;

constexpr int32_t kWidth = 40, kHeight = 30, kBlock = 16, kRows = 16;
const wchar_t *const kLayer = L"/Image/Band_1";

Data NewData(int32_t rows, int32_t columns, Ogda_ObjectType kind, Ogda_PixelType type) {
    return Data(ogda_BaseDataCreate(rows, columns, type, kind, nullptr, nullptr));
}

uint8_t *Pixel(Ogda_BaseData *d, int r, int c) {
    return static_cast<uint8_t *>(d->data) + int64_t{r} * d->lineBytes + c;
}

// Everything the runs use, made before any seam is armed.
struct World {
    World() {
        EXPECT_EQ(oint_InitToolkit(nullptr), 0);
        EXPECT_EQ(ohfa_Init(nullptr), 0);
        for (int r = 0; r < kHeight; ++r)
            for (int c = 0; c < kWidth; ++c) *Pixel(pixels.get(), r, c) = (r * 7 + c * 3) % 251;
        for (int r = 0; r < 10; ++r)
            for (int c = 0; c < 10; ++c) *Pixel(patch.get(), r, c) = 255;
        for (int i = 0; i < kRows; ++i) static_cast<double *>(column->data)[i] = i * 1.5;
        bins = odsc_BinFunctionCreate(kRows, ODSC_BIN_LINEAR, 0, 256, nullptr, nullptr);
        EXPECT_NE(bins, nullptr);
    }
    ~World() { odsc_BinFunctionDelete(bins); }

    TempDir dir;
    const std::wstring source = dir.Wide("source.hfa"), copy = dir.Wide("copy.hfa"),
                       part = dir.Wide("part.hfa"), ascii = dir.Wide("stack.txt");
    Data pixels = NewData(kHeight, kWidth, Ogda_Raster, OGDA_U8);
    Data patch = NewData(10, 10, Ogda_Raster, OGDA_U8);
    Data read = NewData(kHeight, kWidth, Ogda_Raster, OGDA_U8);
    Data overview = NewData(kHeight / 2, kWidth / 2, Ogda_Raster, OGDA_U8);
    Data column = NewData(kRows, 1, Ogda_Table, OGDA_F64);
    Data columnRead = NewData(kRows, 1, Ogda_Table, OGDA_F64);
    Odsc_BinFunction *bins = nullptr;
    Osta_Statistics statistics{0, 250, 125, 124, 7, 72.5};
    Osta_Statistics statisticsRead{};
    std::string sourceBytes; // the source as prepared
};

World &W() {
    static World world;
    return world;
}

std::string Narrow(const std::wstring &w) { return std::string(w.begin(), w.end()); }

void Remove(const std::wstring &name) {
    std::error_code ec;
    std::filesystem::remove(Narrow(name), ec);
}

// Fills an open file: the image and its layer, overviews, statistics and a table with a bin
// function and one column.
void Fill(Ohfa_File *f, Steps &s) {
    World &w = W();
    Report err;
    if (!s("oimg_ImageCreate", oimg_ImageCreate(f, nullptr, L"Image", &err) == 0, err)) return;
    Oimg_LayerInfo info{kWidth, kHeight, OGDA_U8, kBlock, kBlock, OIMG_CONTINUOUS, 0, 0, 0};
    Oimg_Layer *layer = oimg_LayerCreate(f, L"/Image", L"Band_1", &info, &err);
    if (!s("oimg_LayerCreate", layer != nullptr, err)) return;
    bool ok = s("oimg_LayerWrite", oimg_LayerWrite(layer, w.pixels.get(), &err) == 0, err) &&
              s("oimg_LayerBuildOverviews", oimg_LayerBuildOverviews(layer, &err) > 0, err);
    ok = s("oimg_LayerClose", oimg_LayerClose(layer, &err) == 0, err) && ok;
    if (!ok) return;
    if (!s("osta_StatisticsWrite", osta_StatisticsWrite(f, kLayer, &w.statistics, &err) == 0, err))
        return;
    Odsc_Table *table = odsc_TableCreate(f, kLayer, kRows, &err);
    if (!s("odsc_TableCreate", table != nullptr, err)) return;
    if (s("odsc_TableSetBinFunction", odsc_TableSetBinFunction(table, w.bins, &err) == 0, err)) {
        Odsc_Column *c = odsc_ColumnCreate(table, L"Histogram", ODSC_COLUMN_REAL, &err);
        if (s("odsc_ColumnCreate", c != nullptr, err)) {
            s("odsc_ColumnWrite", odsc_ColumnWrite(c, 0, kRows, w.column.get(), &err) == kRows,
              err);
            s("odsc_ColumnClose", odsc_ColumnClose(c, &err) == 0, err);
        }
    }
    s("odsc_TableClose", odsc_TableClose(table, &err) == 0, err);
}

void CreateSource(Steps &s) {
    Report err;
    Ohfa_File *f = ohfa_FileCreate(W().source.c_str(), 0, &err);
    if (!s("ohfa_FileCreate", f != nullptr, err)) return;
    Fill(f, s);
    s("ohfa_FileClose", ohfa_FileClose(f, &err) == 0, err);
}

// The source file, made once and copied into place for every run.
void PrepareSource() {
    World &w = W();
    if (w.sourceBytes.empty()) {
        Remove(w.source);
        Steps s;
        CreateSource(s);
        ASSERT_FALSE(s.Failed());
        w.sourceBytes = ReadRaw(Narrow(w.source));
    }
    WriteRaw(Narrow(w.source), w.sourceBytes);
}

// Reads the whole layer, its overview of factor 2, the statistics and the table.
void ReadAll(Ohfa_File *f, Steps &s) {
    World &w = W();
    Report err;
    Oimg_Layer *layer = oimg_LayerOpen(f, kLayer, &err);
    if (!s("oimg_LayerOpen", layer != nullptr, err)) return;
    if (s("oimg_LayerReadWindow",
          oimg_LayerReadWindow(layer, 0, 0, kHeight, kWidth, w.read.get(), &err) == 0, err)) {
        Oimg_Layer *o = oimg_LayerOverviewOpen(layer, 2, &err);
        if (s("oimg_LayerOverviewOpen", o != nullptr, err)) {
            s("oimg_LayerReadWindow", // overview
              oimg_LayerReadWindow(o, 0, 0, kHeight / 2, kWidth / 2, w.overview.get(), &err) == 0,
              err);
            s("oimg_LayerClose", oimg_LayerClose(o, &err) == 0, err); // overview
        }
    }
    s("oimg_LayerClose", oimg_LayerClose(layer, &err) == 0, err);
    if (s.Failed()) return;
    if (!s("osta_StatisticsRead",
           osta_StatisticsRead(f, kLayer, &w.statisticsRead, OMSC_FALSE, &err) != nullptr, err))
        return;
    Odsc_Table *table = odsc_TableOpen(f, kLayer, &err);
    if (!s("odsc_TableOpen", table != nullptr, err)) return;
    Odsc_BinFunction *bins = odsc_TableGetBinFunction(table, &err);
    if (s.Answer("odsc_TableGetBinFunction", bins != nullptr, err)) {
        odsc_BinFunctionDelete(bins);
        Odsc_Column *c = odsc_ColumnOpen(table, L"Histogram", &err);
        if (s("odsc_ColumnOpen", c != nullptr, err)) {
            s("odsc_ColumnRead",
              odsc_ColumnRead(c, 0, kRows, w.columnRead.get(), &err) == w.columnRead.get(), err);
            s("odsc_ColumnClose", odsc_ColumnClose(c, &err) == 0, err);
        }
    }
    s("odsc_TableClose", odsc_TableClose(table, &err) == 0, err);
}

void ResetReads() {
    World &w = W();
    for (Ogda_BaseData *d : {w.read.get(), w.overview.get(), w.columnRead.get()})
        std::memset(d->data, 0, static_cast<std::size_t>(d->lineBytes) * d->numrows);
    w.statisticsRead = {};
}

// What a completed read gave back.
void ExpectReadsMatch(const Ogda_BaseData *expectedPixels, const Osta_Statistics &statistics) {
    World &w = W();
    for (int r = 0; r < kHeight; ++r)
        ASSERT_EQ(std::memcmp(Pixel(w.read.get(), r, 0),
                              Pixel(const_cast<Ogda_BaseData *>(expectedPixels), r, 0), kWidth),
                  0)
            << "row " << r;
    EXPECT_EQ(std::memcmp(&w.statisticsRead, &statistics, sizeof statistics), 0);
    EXPECT_EQ(std::memcmp(w.columnRead->data, w.column->data, kRows * sizeof(double)), 0);
    EXPECT_NE(*Pixel(w.overview.get(), 14, 19), 0);
}

// After a run that changed the source: it is sound, and when the run completed it is opened
// read-only for the checks of its content (null otherwise).
Ohfa_File *SoundSource(bool completed) {
    ExpectSound(W().source, false);
    if (!completed) return nullptr;
    Ohfa_File *f = ohfa_FileOpen(W().source.c_str(), L"r", 0, nullptr);
    EXPECT_NE(f, nullptr);
    return f;
}

void VerifySourceUnchanged() {
    EXPECT_TRUE(ReadRaw(Narrow(W().source)) == W().sourceBytes) << "the source changed";
}

} // namespace

const std::string &SoundFileBytes() {
    PrepareSource();
    return W().sourceBytes;
}

Scenario CreateScenario() {
    return {"create",
            [] {
                W();
                Remove(W().source);
            },
            [](Steps &s) { CreateSource(s); },
            [](bool completed) {
                const bool opened = ExpectSound(W().source, !completed);
                if (!completed || !opened) return;
                Ohfa_File *f = ohfa_FileOpen(W().source.c_str(), L"r", 0, nullptr);
                ASSERT_NE(f, nullptr);
                ResetReads();
                Steps s;
                ReadAll(f, s);
                ohfa_FileClose(f, nullptr);
                ASSERT_FALSE(s.Failed());
                ExpectReadsMatch(W().pixels.get(), W().statistics);
            }};
}

Scenario ReadScenario() {
    return {"reopen and read",
            [] {
                PrepareSource();
                ResetReads();
            },
            [](Steps &s) {
                Report err;
                Ohfa_File *f = ohfa_FileOpen(W().source.c_str(), L"r", 0, &err);
                if (!s("ohfa_FileOpen", f != nullptr, err)) return;
                ReadAll(f, s);
                s("ohfa_FileClose", ohfa_FileClose(f, &err) == 0, err);
            },
            [](bool completed) {
                VerifySourceUnchanged();
                if (completed) ExpectReadsMatch(W().pixels.get(), W().statistics);
            }};
}

Scenario RewriteScenario() {
    return {
        "rewrite", [] { PrepareSource(); },
        [](Steps &s) {
            World &w = W();
            Report err;
            Ohfa_File *f = ohfa_FileOpen(w.source.c_str(), L"r+b", 0, &err);
            if (!s("ohfa_FileOpen", f != nullptr, err)) return;
            Oimg_Layer *layer = oimg_LayerOpen(f, kLayer, &err);
            if (s("oimg_LayerOpen", layer != nullptr, err)) {
                if (s("oimg_LayerWriteWindow",
                      oimg_LayerWriteWindow(layer, 12, 12, 10, 10, w.patch.get(), &err) == 0, err))
                    s("oimg_LayerBuildOverviews", oimg_LayerBuildOverviews(layer, &err) > 0, err);
                s("oimg_LayerClose", oimg_LayerClose(layer, &err) == 0, err);
            }
            if (!s.Failed()) {
                const Osta_Statistics changed{1, 255, 126, 125, 255, 80};
                s("osta_StatisticsWrite", osta_StatisticsWrite(f, kLayer, &changed, &err) == 0,
                  err);
            }
            if (!s.Failed()) {
                Odsc_Table *table = odsc_TableOpen(f, kLayer, &err);
                if (s("odsc_TableOpen", table != nullptr, err)) {
                    s("odsc_TableResize", odsc_TableResize(table, 2 * kRows, &err) == table, err);
                    s("odsc_TableClose", odsc_TableClose(table, &err) == 0, err);
                }
            }
            s("ohfa_FileClose", ohfa_FileClose(f, &err) == 0, err);
        },
        [](bool completed) {
            Ohfa_File *f = SoundSource(completed);
            if (!f) return;
            Oimg_Layer *layer = oimg_LayerOpen(f, kLayer, nullptr);
            ASSERT_NE(layer, nullptr);
            Data one = NewData(1, 1, Ogda_Raster, OGDA_U8);
            EXPECT_EQ(oimg_LayerReadWindow(layer, 21, 21, 1, 1, one.get(), nullptr), 0);
            EXPECT_EQ(*Pixel(one.get(), 0, 0), 255);
            oimg_LayerClose(layer, nullptr);
            Odsc_Table *table = odsc_TableOpen(f, kLayer, nullptr);
            EXPECT_EQ(odsc_TableGetNumRows(table), 2 * kRows);
            odsc_TableClose(table, nullptr);
            ohfa_FileClose(f, nullptr);
        }};
}

Scenario DeleteScenario() {
    return {"delete", [] { PrepareSource(); },
            [](Steps &s) {
                Report err;
                Ohfa_File *f = ohfa_FileOpen(W().source.c_str(), L"r+b", 0, &err);
                if (!s("ohfa_FileOpen", f != nullptr, err)) return;
                if (s("ohfa_ObjectDelete",
                      ohfa_ObjectDelete(f, L"/Image/Band_1/Statistics", OHFA_SEEK_PATH, &err) == 0,
                      err))
                    s("oimg_LayerDelete", oimg_LayerDelete(f, kLayer, &err) == 0, err);
                s("ohfa_FileClose", ohfa_FileClose(f, &err) == 0, err);
            },
            [](bool completed) {
                Ohfa_File *f = SoundSource(completed);
                if (!f) return;
                EXPECT_EQ(ohfa_EntrySeek(f, OHFA_SEEK_PATH, kLayer, nullptr), 0);
                ohfa_FileClose(f, nullptr);
            }};
}

Scenario CopyScenario() {
    return {
        "copy",
        [] {
            PrepareSource();
            Remove(W().copy);
            Remove(W().part);
        },
        [](Steps &s) {
            World &w = W();
            Report err;
            if (!s("ohfa_FileCopy", ohfa_FileCopy(w.source.c_str(), w.copy.c_str(), &err) > 0, err))
                return;
            Ohfa_File *from = ohfa_FileOpen(w.source.c_str(), L"r", 0, &err);
            if (!s("ohfa_FileOpen", from != nullptr, err)) return;
            Ohfa_File *to = ohfa_FileCreate(w.part.c_str(), 0, &err);
            if (s("ohfa_FileCreate", to != nullptr, err)) {
                s("ohfa_ObjectCopy", ohfa_ObjectCopy(from, L"/Image", to, L"/", &err) > 0, err);
                s("ohfa_FileClose", ohfa_FileClose(to, &err) == 0, err);
            }
            s("ohfa_FileClose", ohfa_FileClose(from, &err) == 0, err);
        },
        [](bool completed) {
            VerifySourceUnchanged();
            ExpectSound(W().copy, !completed);
            ExpectSound(W().part, !completed);
            if (!completed) return;
            for (const std::wstring *name : {&W().copy, &W().part}) {
                Ohfa_File *f = ohfa_FileOpen(name->c_str(), L"r", 0, nullptr);
                ASSERT_NE(f, nullptr);
                ResetReads();
                Steps s;
                ReadAll(f, s);
                ohfa_FileClose(f, nullptr);
                EXPECT_FALSE(s.Failed());
                ExpectReadsMatch(W().pixels.get(), W().statistics);
            }
        }};
}

namespace {

constexpr int32_t kLarge = 256; // a 256 x 256 u16 layer in 64 x 64 blocks: 16 blocks of 8 KiB

struct LargeWorld {
    std::wstring name = W().dir.Wide("large.hfa");
    std::string bytes;
    Data pixels = NewData(kLarge, kLarge, Ogda_Raster, OGDA_U16);
    Data read;
};

LargeWorld &L() {
    static LargeWorld world;
    return world;
}

uint16_t *Pixel16(Ogda_BaseData *d, int r) {
    return reinterpret_cast<uint16_t *>(static_cast<char *>(d->data) + int64_t{r} * d->lineBytes);
}

void PrepareLarge() {
    LargeWorld &l = L();
    if (l.bytes.empty()) {
        for (int r = 0; r < kLarge; ++r)
            for (int c = 0; c < kLarge; ++c) Pixel16(l.pixels.get(), r)[c] = r * 331 + c;
        Remove(l.name);
        Ohfa_File *f = ohfa_FileCreate(l.name.c_str(), 0, nullptr);
        ASSERT_NE(f, nullptr);
        ASSERT_EQ(oimg_ImageCreate(f, nullptr, L"Image", nullptr), 0);
        Oimg_LayerInfo info{kLarge, kLarge, OGDA_U16, 64, 64, OIMG_CONTINUOUS, 0, 0, 0};
        Oimg_Layer *layer = oimg_LayerCreate(f, L"/Image", L"Band_1", &info, nullptr);
        ASSERT_NE(layer, nullptr);
        EXPECT_EQ(oimg_LayerWrite(layer, l.pixels.get(), nullptr), 0);
        EXPECT_EQ(oimg_LayerClose(layer, nullptr), 0);
        EXPECT_EQ(osta_StatisticsWrite(f, kLayer, &W().statistics, nullptr), 0);
        EXPECT_EQ(ohfa_FileClose(f, nullptr), 0);
        l.bytes = ReadRaw(Narrow(l.name));
    }
    WriteRaw(Narrow(l.name), l.bytes);
    l.read.reset();
}

} // namespace

Scenario LargeReadScenario() {
    return {"large read", [] { PrepareLarge(); },
            [](Steps &s) {
                Report err;
                Ohfa_File *f = ohfa_FileOpen(L().name.c_str(), L"r", 0, &err);
                if (!s("ohfa_FileOpen", f != nullptr, err)) return;
                Oimg_Layer *layer = oimg_LayerOpen(f, kLayer, &err);
                if (s("oimg_LayerOpen", layer != nullptr, err)) {
                    Ogda_BaseData *d = oimg_LayerRead(layer, nullptr, &err);
                    if (s("oimg_LayerRead", d != nullptr, err)) L().read.reset(d);
                    s("oimg_LayerClose", oimg_LayerClose(layer, &err) == 0, err);
                }
                Osta_Statistics st{};
                s("osta_StatisticsRead",
                  osta_StatisticsRead(f, kLayer, &st, OMSC_FALSE, &err) != nullptr, err);
                s("ohfa_FileClose", ohfa_FileClose(f, &err) == 0, err);
            },
            [](bool completed) {
                EXPECT_TRUE(ReadRaw(Narrow(L().name)) == L().bytes) << "the file changed";
                if (!completed) return;
                ASSERT_TRUE(L().read);
                for (int r = 0; r < kLarge; ++r)
                    ASSERT_EQ(std::memcmp(Pixel16(L().read.get(), r), Pixel16(L().pixels.get(), r),
                                          kLarge * sizeof(uint16_t)),
                              0)
                        << "row " << r;
            }};
}

// ---- Preferences ----------------------------------------------------------------------

namespace {

const char *const kDefinitions = "viewer {\n"
                                 "  title : OPMG_STRING default \"abc\";\n"
                                 "  zoom : OPMG_NUMBER default 1.5;\n"
                                 "}\n";
const char *const kStored = "viewer.title : \"stored\";\nviewer.zoom : 3.000000;\n";

struct PrefsWorld {
    TempDir dir;
    EnvScope env;
    std::string saved; // the file a completed run leaves
};
PrefsWorld *g_prefs = nullptr;

std::vector<std::string> FilesIn(const std::string &folder) {
    std::vector<std::string> out;
    for (const auto &e : std::filesystem::directory_iterator(folder))
        out.push_back(e.path().filename().string());
    return out;
}

} // namespace

PreferenceEnvironment::PreferenceEnvironment() {
    g_prefs = new PrefsWorld;
    const TempDir &d = g_prefs->dir;
    g_prefs->env.Set("GIO_PDF_PATH", d.Narrow("pdf"))
        .Set("GIO_PREFERENCES_PATH", d.Narrow("user"))
        .Set("GIO_PERSONAL", d.Narrow("user"))
        .Set("GIO_REGISTRY_PATH", d.Narrow("registry"))
        .Set("GIO_PREFERENCE_DATABASE_TYPE", std::nullopt)
        .Set("GIO_ARCH", std::nullopt);
    WriteFile(d.Narrow("pdf/viewer.pdf"), kDefinitions);
    Oerr_ErrorReport *err = nullptr;
    EXPECT_EQ(oplg_PreferenceImplementationSet(&err), 0);
    oerr_DeleteErrorReportEx(&err);
}

PreferenceEnvironment::~PreferenceEnvironment() {
    Oerr_ErrorReport *err = nullptr;
    opmg_Close(&err);
    oerr_DeleteErrorReportEx(&err);
    delete g_prefs;
    g_prefs = nullptr;
}

Scenario PreferenceScenario() {
    return {"preference load and save",
            [] {
                Oerr_ErrorReport *err = nullptr;
                opmg_Close(&err);
                oerr_DeleteErrorReportEx(&err);
                std::filesystem::remove_all(g_prefs->dir.Narrow("user"));
                WriteFile(g_prefs->dir.Narrow("user/v8preference"), kStored);
            },
            [](Steps &s) {
                Report err;
                if (s("opmg_Init", opmg_Init(&err) == 0, err)) {
                    wchar_t *title = opmg_GetStringPreference(L"viewer", L"title", &err);
                    s("opmg_GetStringPreference", title != nullptr, err);
                    omsc_HeapFree(title);
                    if (s("opmg_PutStringPreference",
                          opmg_PutStringPreference(L"viewer", L"title", L"changed", &err) == 0,
                          err) &&
                        s("opmg_PutNumberPreference",
                          opmg_PutNumberPreference(L"viewer", L"zoom", 0.25, &err) == 0, err))
                        s("opmg_SaveUserPreference", opmg_SaveUserPreference(&err) == 0, err);
                }
                s("opmg_Close", opmg_Close(&err) == 0, err);
            },
            [](bool completed) {
                const std::string user = g_prefs->dir.Narrow("user");
                const std::string now = ReadRaw(user + "/v8preference");
                if (completed && g_prefs->saved.empty()) g_prefs->saved = now;
                // The save replaces the file whole or not at all, and leaves nothing beside it.
                EXPECT_TRUE(now.find(kStored) != std::string::npos || now == g_prefs->saved) << now;
                EXPECT_EQ(FilesIn(user), std::vector<std::string>{"v8preference"});
                if (completed) {
                    EXPECT_NE(now.find("\"changed\""), std::string::npos) << now;
                }
            },
            false};
}

// ---- Decoders -------------------------------------------------------------------------

Scenario DictionaryScenario() {
    return {"dictionary decode", [] {},
            [](Steps &s) {
                Report err;
                Omif_Dictionary *d = omif_DictionaryDecodeFromString(
                    L"{1:lversion,1:LfreeList,1:LrootEntryPtr,1:sentryHeaderLength,"
                    L"1:LdictionaryPtr,}Ohfa_File,{1:Lnext,1:Lprev,1:Lparent,1:Lchild,1:Ldata,"
                    L"1:ldataSize,64:cname,32:ctype,1:tmodTime,}Ohfa_Entry,{16:clabel,"
                    L"1:LheaderPtr,}Ohfa_HeaderTag,{1:LfreeList,1:lfreeSize,}Ohfa_FreeListNode,"
                    L"{1:lsize,1:Lptr,}Ohfa_Data,{1:lnumrows,1:e3:thematic,athematic,fft,"
                    L"layerType,1:oOmif_String,name,0:pcstring,1:x{1:lvalue,2:*dw,}Inner,inner,"
                    L"0:poOhfa_Data,blocks,}Sweep_Layer,{0:pcstring,}Omif_String,.",
                    &err);
                s("omif_DictionaryDecodeFromString", d != nullptr, err);
                omif_DictionaryDelete(&d, nullptr);
            },
            [](bool) {}};
}

Scenario AsciiScenario() {
    return {"BaseData ASCII read",
            [] {
                if (!std::filesystem::exists(Narrow(W().ascii)))
                    WriteRaw(Narrow(W().ascii), "1 2 3 4\n5 6 7 8\n9 10 11 12\n");
            },
            [](Steps &s) {
                Report err;
                Ogda_BaseDataStack *stack = ogda_CreateBaseDataStackFromAscii(
                    Ogda_Raster, OGDA_F64, 0, 2, 0, W().ascii.c_str(), &err);
                if (s("ogda_CreateBaseDataStackFromAscii", stack != nullptr, err))
                    s("ogda_BaseDataStackReadAscii",
                      ogda_BaseDataStackReadAscii(stack, W().ascii.c_str(), &err) == stack, err);
                ogda_BaseDataStackDelete(stack, nullptr);
            },
            [](bool) {}};
}

} // namespace sweep
