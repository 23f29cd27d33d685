// Internal: companion data files. A raster layer whose pixel data would carry its HFA file
// past a threshold keeps its blocks in a file of its own beside the HFA file, at 64-bit
// offsets (docs/hfa-format.md, "Companion data files"). The layer's entry holds a
// "Companion" record naming the file and its identity, a storage record as coded layers have,
// and a 64-bit block index; the file holds a 64-byte header and then the stored blocks,
// appended: a rewritten block goes to the end and its old bytes stay as leaked space until a
// copy (repack) writes the layer afresh.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include <orvik/oimg.h>

namespace orvik::img {

inline constexpr const wchar_t *kCompanionName = L"Companion";
inline constexpr const wchar_t *kCompanionType = L"Oimg_Companion";
constexpr uint32_t kCompanionRecordSize = 280;
constexpr int64_t kCompanionHeaderSize = 64;
constexpr uint32_t kCompanionVersion = 1;
inline constexpr char kCompanionTag[16] = "OHFA_BLOCK_FILE";
constexpr int64_t kDefaultCompanionThreshold = int64_t{1} << 30;

// Host form of the "Oimg_Companion" record (file form 280 bytes).
struct CompanionRecord {
    char fileName[256]; // UTF-8, relative to the HFA file's folder, zero-terminated
    uint32_t identity[4];
    double created; // seconds since 1970-01-01 00:00 UTC
};

// An open companion file: its stream and where the next blocks go.
struct Companion {
    Ofio_File *stream = nullptr; // owned
    std::wstring path;           // as opened
    int64_t end = 0;             // the append point: the file's length when opened, then grown
    ~Companion();
};

const Omif_Design *CompanionDesign(Oerr_ErrorReport **err);
// The companion's path: its record name in the folder of the HFA file.
std::wstring CompanionPath(const Ohfa_File *file, const char *fileName);

// Creates a new companion file for the HFA file (a fresh identity and a name of the HFA file's
// name, a part of the identity and ".blocks"), writes its header and syncs it; fills `record`.
bool CreateCompanion(Ohfa_File *file, CompanionRecord &record, Oerr_ErrorReport **err,
                     const wchar_t *fn);
// Reads the record under the layer entry at `layerPath`: 1 found, 0 none, -1 (reported).
long ReadCompanionRecord(Ohfa_File *file, const std::wstring &layerPath, CompanionRecord &record,
                         Oerr_ErrorReport **err, const wchar_t *fn);
// Opens the companion a record names (read-only when the HFA file is) and checks its header:
// present, whole, its tag, version and identity those of the record. Null with a report
// naming the layer and the file.
std::unique_ptr<Companion> OpenCompanion(Ohfa_File *file, const std::wstring &layerPath,
                                         const CompanionRecord &record, Oerr_ErrorReport **err,
                                         const wchar_t *fn);
// Appends `count` bytes; `at` receives where they went.
bool AppendToCompanion(Companion &c, const void *bytes, int64_t count, uint64_t &at,
                       Oerr_ErrorReport **err, const wchar_t *fn);
// Writes what the stream holds through to the disk.
bool SyncCompanion(Companion &c, Oerr_ErrorReport **err, const wchar_t *fn);
bool ReadFromCompanion(Companion &c, uint64_t at, void *bytes, int64_t count, Oerr_ErrorReport **err,
                       const wchar_t *fn);

} // namespace orvik::img
