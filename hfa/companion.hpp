// Internal: companion data files. A store of variable-size blocks (a raster layer whose pixel
// data would carry its HFA file past a threshold) may keep its blocks in a file of its own
// beside the HFA file, at 64-bit offsets (docs/hfa-format.md, "Companion data files"). The
// parent entry holds a "Companion" record of type "Ohfa_Companion" naming the file and its
// identity, and an "Ohfa_BlockIndex64" child naming the blocks; the file holds a 64-byte
// header and then the stored blocks, appended: a rewritten block goes to the end and its old
// bytes stay as leaked space until a copy (repack) writes the store afresh. Copies give the
// copy a companion of its own, entry deletes remove it, rename moves it, the check verifies
// the pairing and every block.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <orvik/ohfa.h>

#include "port/file_system.hpp"

namespace orvik::hfa {

inline constexpr const wchar_t *kCompanionName = L"Companion";
inline constexpr const wchar_t *kCompanionType = L"Ohfa_Companion";
constexpr uint32_t kCompanionRecordSize = 280;
constexpr int64_t kCompanionHeaderSize = 64;
constexpr uint32_t kCompanionVersion = 1;
inline constexpr char kCompanionTag[16] = "OHFA_BLOCK_FILE";
constexpr int64_t kDefaultCompanionThreshold = int64_t{1} << 30;

// Host form of the "Ohfa_Companion" record (file form 280 bytes).
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
// name, a part of the identity and ".blocks") and writes its header; fills `record`.
bool CreateCompanion(Ohfa_File *file, CompanionRecord &record, Oerr_ErrorReport **err,
                     const wchar_t *fn);
// Whether the record's name is a plain file name (no folder part), as every name written is.
bool PlainCompanionName(const CompanionRecord &record);
// The companion files that the records of the file name (plain names only).
bool CompanionFiles(Ohfa_File *file, std::vector<std::string> &names, Oerr_ErrorReport **err,
                    const wchar_t *fn);
// Reads the record under the entry at `parentPath`: 1 found, 0 none, -1 (reported).
long ReadCompanionRecord(Ohfa_File *file, const std::wstring &parentPath, CompanionRecord &record,
                         Oerr_ErrorReport **err, const wchar_t *fn);
// The record from its file form (280 bytes); false when `bytes` cannot be one.
bool CompanionFromBytes(const unsigned char *bytes, std::size_t count, CompanionRecord &record);
void CompanionToBytes(const CompanionRecord &record, unsigned char *bytes);
// Opens the companion a record names (read-only when the HFA file is) and checks its header:
// present, whole, its tag, version and identity those of the record. Null with a report
// naming the layer and the file.
std::unique_ptr<Companion> OpenCompanion(Ohfa_File *file, const std::wstring &layerPath,
                                         const CompanionRecord &record, Oerr_ErrorReport **err,
                                         const wchar_t *fn);
// Appends `count` bytes; `at` receives where they went.
bool AppendToCompanion(Companion &c, const void *bytes, int64_t count, uint64_t &at,
                       Oerr_ErrorReport **err, const wchar_t *fn);
// Appends `count` pieces of `bytes` bytes together in one vectored write.
bool AppendToCompanion(Companion &c, const port::fs::Piece *pieces, std::size_t count,
                       int64_t bytes, uint64_t &at, Oerr_ErrorReport **err, const wchar_t *fn);
// Hands what the stream still buffers to the system, so that a write naming the appended
// blocks (in the HFA file) reaches the system after them.
bool FlushCompanion(Companion &c, Oerr_ErrorReport **err, const wchar_t *fn);
bool ReadFromCompanion(Companion &c, uint64_t at, void *bytes, int64_t count,
                       Oerr_ErrorReport **err, const wchar_t *fn);

// Carries companion data files through a copy: the copy of a store gets a companion of its
// own (a new identity and name) holding the written blocks, and its 64-bit index names them
// there. Records of one copy are matched by their parent (the copy's own numbering).
class CompanionCarry {
  public:
    // For an "Ohfa_Companion" record (file form in `bytes`): creates the copy's companion and
    // turns `bytes` into its record. For an "Ohfa_BlockIndex64": appends the written blocks
    // to the copy's companion (handed to the system) and turns `bytes` into the index naming them.
    // Other types are left alone. A source that cannot be read gives `problem` (a description, and
    // *skipped its cause) and empty `bytes`; false only when writing the copy fails.
    bool Carry(Ohfa_File *src, Ohfa_File *dst, long parent, const Ohfa_Entry &e,
               std::vector<unsigned char> &bytes, std::wstring &problem, Oerr_ErrorReport **skipped,
               Oerr_ErrorReport **err, const wchar_t *fn);

  private:
    struct Pair {
        CompanionRecord from{}, to{};
    };
    std::vector<std::pair<long, Pair>> m_pairs;
};

} // namespace orvik::hfa
