// The body of the companion-file fuzz target, shared with the replay test. Each process first
// writes a small sound HFA file holding one external layer (its companion record given a fixed
// name and identity, so seeds stay valid from run to run). An input then supplies the bytes of
// the companion file and of the layer's 64-bit block index record:
//
//   byte 0     flags: 1 no companion file at all, 2 open for update (write a window, then
//              delete the layer)
//   bytes 1-2  length n of the companion part (little-endian; cut to what the input holds)
//   then       n bytes: the whole companion file
//   then       the index record's bytes, over the record's own (never past its size)
//
// Opening the layer must either refuse with a report or give a layer whose windows read
// without a crash; a window written with success reads back; the file check always answers;
// and the delete never needs the companion: it succeeds and leaves a sound file, with the
// companion file gone unless its whole header names another file.
#pragma once

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "fuzz/img_layer_target.hpp"

namespace img_companion_fuzz {

inline void Delete(Oerr_ErrorReport *&err) { oerr_DeleteErrorReportEx(&err); }

constexpr unsigned kNoCompanion = 1, kUpdate = 2;
constexpr const wchar_t *kLayer = L"/Image/L";
constexpr char kCompanionName[] = "input.blocks";
constexpr uint32_t kIdentity[4] = {0x6f726976, 0x6b2d6675, 0x7a7a2d69, 0x64656e74};
constexpr std::size_t kHeaderBytes = 64;

struct Template {
    std::string hfa;       // the HFA file, its companion record fixed
    std::string companion; // its companion file, header fixed alike
    uint32_t indexAt = 0;  // the block index record: position and size in `hfa`
    uint32_t indexSize = 0;
};

inline std::string Slurp(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

inline void Spill(const std::string &path, const char *bytes, std::size_t count) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes, static_cast<std::streamsize>(count));
}

inline void PutWord(char *p, uint32_t v) {
    for (int i = 0; i < 4; ++i) p[i] = static_cast<char>(v >> (8 * i));
}

inline const std::string &Folder() {
    FUZZ_CHECK(!orvik_fuzz::ScratchFolder().empty());
    return orvik_fuzz::ScratchFolder();
}

// A 64 x 48 u8 layer of 16 x 16 blocks (checksummed, no codec), 9 of its 12 blocks written.
inline Template MakeTemplate() {
    const std::string path = Folder() + "/template.hfa";
    const std::wstring name(path.begin(), path.end());
    Oerr_ErrorReport *err = nullptr;
    Ohfa_File *f = ohfa_FileCreate(name.c_str(), 0, &err);
    FUZZ_CHECK(f != nullptr && oimg_ImageCreate(f, nullptr, L"Image", &err) == 0);
    Oimg_LayerInfo info{};
    info.width = 64;
    info.height = 48;
    info.pixelType = OGDA_U8;
    info.blockWidth = info.blockHeight = 16;
    info.layerKind = OIMG_CONTINUOUS;
    Oimg_Layer *layer =
        oimg_LayerCreatePlaced(f, L"/Image", L"L", &info, nullptr, OIMG_PLACE_COMPANION, &err);
    FUZZ_CHECK(layer != nullptr);
    const std::wstring companion = oimg_LayerCompanionPathGet(layer);
    Ogda_BaseData *d = ogda_BaseDataCreate(40, 40, OGDA_U8, Ogda_Raster, nullptr, &err);
    FUZZ_CHECK(d != nullptr);
    for (int i = 0; i < 40 * 40; ++i) static_cast<unsigned char *>(d->data)[i] = (i * 7) & 255;
    FUZZ_CHECK(oimg_LayerWriteWindow(layer, 0, 0, 40, 40, d, &err) == 0);
    ogda_BaseDataDelete(d, nullptr);
    FUZZ_CHECK(oimg_LayerClose(layer, &err) == 0);
    Ohfa_Entry record{}, index{};
    FUZZ_CHECK(ohfa_EntryPeek(f, OHFA_SEEK_PATH, L"/Image/L/Companion", &record, &err) == 1 &&
               ohfa_EntryPeek(f, OHFA_SEEK_PATH, L"/Image/L/BlockIndex", &index, &err) == 1);
    FUZZ_CHECK(ohfa_FileClose(f, &err) == 0);
    FUZZ_CHECK(record.dataSize == 280 && index.dataSize > 16);

    Template t;
    t.hfa = Slurp(path);
    t.companion = Slurp(std::string(companion.begin(), companion.end()));
    FUZZ_CHECK(t.hfa.size() >= record.data + 280u && t.companion.size() > kHeaderBytes);
    t.indexAt = index.data;
    t.indexSize = static_cast<uint32_t>(index.dataSize);
    // A fixed name, identity and creation time, in the record and the companion's header.
    char *r = &t.hfa[record.data];
    std::memset(r, 0, 256);
    std::memcpy(r, kCompanionName, sizeof kCompanionName);
    for (int i = 0; i < 4; ++i) {
        PutWord(r + 256 + 4 * i, kIdentity[i]);
        PutWord(&t.companion[24 + 4 * i], kIdentity[i]);
    }
    std::memset(r + 272, 0, 8);
    std::memset(&t.companion[40], 0, 8);
    std::filesystem::remove(path);
    std::filesystem::remove(std::filesystem::path(companion));
    return t;
}

inline const Template &TheTemplate() {
    static const bool ready = oint_InitToolkit(nullptr) == 0 && ohfa_Init(nullptr) == 0;
    FUZZ_CHECK(ready);
    static const Template t = MakeTemplate();
    return t;
}

// The input that reproduces the template: flags, the companion and the index unchanged.
inline std::string SoundInput(unsigned flags) {
    const Template &t = TheTemplate();
    std::string in(3, '\0');
    in[0] = static_cast<char>(flags);
    in[1] = static_cast<char>(t.companion.size() & 255);
    in[2] = static_cast<char>(t.companion.size() >> 8);
    return in + t.companion + t.hfa.substr(t.indexAt, t.indexSize);
}

// Writes a window over one block and the next, flushes, and when that succeeded reads it back.
inline void WriteAndReadBack(Oimg_Layer *layer) {
    Oerr_ErrorReport *err = nullptr;
    Ogda_BaseData *d = ogda_BaseDataCreate(8, 20, OGDA_U8, Ogda_Raster, nullptr, &err);
    Ogda_BaseData *back = ogda_BaseDataCreate(8, 20, OGDA_U8, Ogda_Raster, nullptr, &err);
    FUZZ_CHECK(d != nullptr && back != nullptr);
    for (int i = 0; i < 8 * 20; ++i) static_cast<unsigned char *>(d->data)[i] = (i * 5) & 255;
    if (oimg_LayerWriteWindow(layer, 20, 8, 8, 20, d, &err) == 0 &&
        oimg_LayerFlush(layer, &err) == 0) {
        FUZZ_CHECK(oimg_LayerReadWindow(layer, 20, 8, 8, 20, back, &err) == 0);
        FUZZ_CHECK(std::memcmp(d->data, back->data, 8 * 20) == 0);
    } else {
        FUZZ_CHECK(err != nullptr);
    }
    Delete(err);
    ogda_BaseDataDelete(d, nullptr);
    ogda_BaseDataDelete(back, nullptr);
}

inline int RunOne(const uint8_t *data, std::size_t size) {
    const Template &t = TheTemplate();
    if (size < 3) return 0;
    const unsigned flags = data[0];
    const std::size_t n = std::min<std::size_t>(data[1] | std::size_t{data[2]} << 8, size - 3);
    const uint8_t *companion = data + 3, *index = companion + n;
    const std::size_t indexBytes = std::min<std::size_t>(size - 3 - n, t.indexSize);

    std::string hfa = t.hfa;
    std::memcpy(&hfa[t.indexAt], index, indexBytes);
    const std::string path = Folder() + "/input.hfa";
    const std::string companionPath = Folder() + "/" + kCompanionName;
    Spill(path, hfa.data(), hfa.size());
    std::error_code ignored;
    std::filesystem::remove(companionPath, ignored);
    if (!(flags & kNoCompanion)) Spill(companionPath, reinterpret_cast<const char *>(companion), n);
    const bool sound = !(flags & kNoCompanion) && n == t.companion.size() &&
                       std::memcmp(companion, t.companion.data(), n) == 0 &&
                       std::memcmp(index, t.hfa.data() + t.indexAt, indexBytes) == 0;

    const bool update = flags & kUpdate;
    const std::wstring name(path.begin(), path.end());
    Oerr_ErrorReport *err = nullptr;
    Ohfa_File *f = ohfa_FileOpen(name.c_str(), update ? L"r+" : L"r", 0, &err);
    FUZZ_CHECK(f != nullptr); // only data inside records changed: the file always opens
    Oimg_Layer *layer = oimg_LayerOpen(f, kLayer, &err);
    FUZZ_CHECK(layer != nullptr || err != nullptr);
    FUZZ_CHECK(layer != nullptr || !sound); // the harness reaches the layer's blocks
    Delete(err);
    if (layer) {
        img_layer_fuzz::ReadLayer(layer);
        if (update) WriteAndReadBack(layer);
        if (oimg_LayerClose(layer, &err) != 0) FUZZ_CHECK(err != nullptr);
        Delete(err);
    }
    hfa_open_fuzz::Check(f);
    if (update) {
        // The companion file's header before the delete decides whether it may go.
        const std::string before = Slurp(companionPath);
        const bool foreign = std::filesystem::exists(companionPath) &&
                             before.size() >= kHeaderBytes &&
                             before.compare(0, 40, t.companion, 0, 40) != 0;
        FUZZ_CHECK(oimg_LayerDelete(f, kLayer, &err) == 0);
        FUZZ_CHECK(hfa_open_fuzz::Check(f) == 0);
        FUZZ_CHECK(std::filesystem::exists(companionPath) == foreign);
    }
    FUZZ_CHECK(ohfa_FileClose(f, &err) == 0);
    return 0;
}

} // namespace img_companion_fuzz
