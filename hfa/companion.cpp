// Companion data files: creating one with a fresh identity, opening it with the checks that
// refuse a missing, cut or foreign file, and the positioned transfers of stored blocks.
#include "hfa/companion.hpp"

#include <chrono>
#include <cstring>
#include <random>

#include "core/guard.hpp"
#include "core/utf8.hpp"
#include "fio/stream.hpp"
#include "hfa/entry.hpp"
#include "hfa/file.hpp"
#include "hfa/report.hpp"

using orvik::core::SetError;

namespace orvik::hfa {
namespace {

const Omif_ItemDescription kCompanionItems[] = {
    OMIF_FIELD(OMIF_ITEM_CHAR, L"fileName", 256), OMIF_FIELD(OMIF_ITEM_ULONG, L"identity", 4),
    OMIF_FIELD(OMIF_ITEM_TIME, L"created", 1), OMIF_TABLE_END};
const Omif_DesignTable kDesigns[] = {{kCompanionType, kCompanionItems}, {nullptr, nullptr}};
Omif_BuiltinDesigns g_designs = OMIF_BUILTIN_DESIGNS(kDesigns, nullptr);
static_assert(sizeof(CompanionRecord) == 280);

void PutWord(unsigned char *p, uint32_t v) {
    for (int i = 0; i < 4; ++i) p[i] = static_cast<unsigned char>(v >> (8 * i));
}
uint32_t Word(const unsigned char *p) {
    return uint32_t{p[0]} | uint32_t{p[1]} << 8 | uint32_t{p[2]} << 16 | uint32_t{p[3]} << 24;
}

// The file form of the header of a companion with `record`'s identity.
void HeaderBytes(const CompanionRecord &record, unsigned char (&h)[kCompanionHeaderSize]) {
    std::memset(h, 0, sizeof h);
    std::memcpy(h, kCompanionTag, sizeof kCompanionTag);
    PutWord(h + 16, kCompanionVersion);
    PutWord(h + 20, static_cast<uint32_t>(kCompanionHeaderSize));
    for (int i = 0; i < 4; ++i) PutWord(h + 24 + 4 * i, record.identity[i]);
    std::memcpy(h + 40, &record.created, 8); // little-endian hosts only, as every record
}

std::wstring Hex(uint32_t v) {
    static const wchar_t kDigits[] = L"0123456789abcdef";
    std::wstring s(8, L'0');
    for (int i = 7; i >= 0; --i, v >>= 4) s[static_cast<std::size_t>(i)] = kDigits[v & 15];
    return s;
}

std::wstring Child(const std::wstring &parent, const wchar_t *name) {
    return (parent.empty() || parent.back() != L'/' ? parent + L"/" : parent) + name;
}

} // namespace

Companion::~Companion() {
    Oerr_ErrorReport *late = nullptr;
    ofio_FileClose(stream, &late);
    oerr_DeleteErrorReportEx(&late);
}

const Omif_Design *CompanionDesign(Oerr_ErrorReport **err) {
    return omif_BuiltinDesignFetch(&g_designs, kCompanionType, err);
}

std::wstring CompanionPath(const Ohfa_File *file, const char *fileName) {
    const std::size_t slash = file->name.find_last_of(L'/');
    const std::wstring folder = slash == std::wstring::npos ? L"" : file->name.substr(0, slash + 1);
    std::size_t n = 0;
    while (n < sizeof(CompanionRecord::fileName) && fileName[n] != 0) ++n;
    return folder + text::Utf8ToWideLossy(std::string_view(fileName, n));
}

bool CreateCompanion(Ohfa_File *file, CompanionRecord &record, Oerr_ErrorReport **err,
                     const wchar_t *fn) {
    record = CompanionRecord{};
    std::random_device random;
    for (uint32_t &w : record.identity) w = static_cast<uint32_t>(random());
    record.created =
        std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
    const std::size_t slash = file->name.find_last_of(L'/');
    const std::wstring base =
        slash == std::wstring::npos ? file->name : file->name.substr(slash + 1);
    const std::string name = text::WideToUtf8Lossy(base + L"." + Hex(record.identity[0]) +
                                                   Hex(record.identity[1]) + L".blocks");
    if (name.size() >= sizeof record.fileName) {
        SetError(err, fn, kCompanionFailed, nullptr,
                 L"Cannot name a companion file for %s: the name is too long", file->name.c_str());
        return false;
    }
    std::memcpy(record.fileName, name.data(), name.size());
    const std::wstring path = CompanionPath(file, record.fileName);
    unsigned char header[kCompanionHeaderSize];
    HeaderBytes(record, header);
    Ofio_File *stream = ofio_FileOpen(path.c_str(), L"wx+b", err);
    bool ok = stream && ofio_FileWriteDirect(stream, 0, header, kCompanionHeaderSize, err) ==
                            static_cast<long>(kCompanionHeaderSize);
    if (stream) {
        Oerr_ErrorReport *late = nullptr;
        const bool closed = ofio_FileClose(stream, ok ? err : &late) == 0;
        oerr_DeleteErrorReportEx(&late);
        ok = ok && closed;
    }
    if (!ok) {
        SetError(err, fn, kCompanionFailed, *err, L"Cannot create companion file %s", path.c_str());
        return false;
    }
    return true;
}

bool CompanionFromBytes(const unsigned char *bytes, std::size_t count, CompanionRecord &record) {
    if (count != kCompanionRecordSize) return false;
    record = CompanionRecord{};
    std::memcpy(record.fileName, bytes, sizeof record.fileName);
    record.fileName[sizeof record.fileName - 1] = 0;
    for (int i = 0; i < 4; ++i) record.identity[i] = Word(bytes + 256 + 4 * i);
    std::memcpy(&record.created, bytes + 272, 8);
    return true;
}

void CompanionToBytes(const CompanionRecord &record, unsigned char *bytes) {
    std::memcpy(bytes, record.fileName, sizeof record.fileName);
    for (int i = 0; i < 4; ++i) PutWord(bytes + 256 + 4 * i, record.identity[i]);
    std::memcpy(bytes + 272, &record.created, 8);
}

bool PlainCompanionName(const CompanionRecord &record) {
    const std::string_view name(record.fileName, strnlen(record.fileName, sizeof record.fileName));
    return !name.empty() && name != "." && name != ".." &&
           name.find_first_of("/\\:") == std::string_view::npos;
}

bool CompanionFiles(Ohfa_File *file, std::vector<std::string> &names, Oerr_ErrorReport **err,
                    const wchar_t *fn) {
    Ohfa_Entry root{};
    std::vector<std::pair<uint32_t, Ohfa_Entry>> entries;
    if (!ReadEntry(file, file->header.rootEntryPtr, root, err, fn) ||
        !CollectSubtree(file, root.child, entries, err, fn))
        return false;
    for (const auto &[position, e] : entries) {
        if (std::strncmp(e.type, "Ohfa_Companion", sizeof e.type) != 0 ||
            e.dataSize != static_cast<int32_t>(kCompanionRecordSize))
            continue;
        unsigned char raw[kCompanionRecordSize];
        CompanionRecord record;
        if (!ReadAt(file, e.data, raw, kCompanionRecordSize, err, fn)) return false;
        if (CompanionFromBytes(raw, sizeof raw, record) && PlainCompanionName(record))
            names.emplace_back(record.fileName);
    }
    return true;
}

long ReadCompanionRecord(Ohfa_File *file, const std::wstring &layerPath, CompanionRecord &record,
                         Oerr_ErrorReport **err, const wchar_t *fn) {
    Ohfa_Entry e{};
    const std::wstring path = Child(layerPath, kCompanionName);
    const long found = ohfa_EntryPeek(file, OHFA_SEEK_PATH, path.c_str(), &e, err);
    if (found == 0) return 0;
    const Omif_Design *design = found > 0 ? CompanionDesign(err) : nullptr;
    if (!design || std::strncmp(e.type, "Ohfa_Companion", sizeof e.type) != 0 ||
        e.dataSize != static_cast<int32_t>(kCompanionRecordSize) ||
        ohfa_FileHostDataRead(file, e.data, design, kCompanionRecordSize, &record, err) !=
            static_cast<long>(kCompanionRecordSize)) {
        SetError(err, fn, kCompanionFailed, *err, L"Cannot read the companion record of %s",
                 layerPath.c_str());
        return -1;
    }
    record.fileName[sizeof record.fileName - 1] = 0;
    return 1;
}

std::unique_ptr<Companion> OpenCompanion(Ohfa_File *file, const std::wstring &layerPath,
                                         const CompanionRecord &record, Oerr_ErrorReport **err,
                                         const wchar_t *fn) {
    auto c = std::make_unique<Companion>();
    c->path = CompanionPath(file, record.fileName);
    if (!PlainCompanionName(record)) {
        SetError(err, fn, kCompanionMismatch, nullptr,
                 L"Layer %s refused: its companion file name \"%s\" is not a plain file name",
                 layerPath.c_str(), c->path.c_str());
        return nullptr;
    }
    Oerr_ErrorReport *why = nullptr;
    c->stream = ofio_FileOpen(c->path.c_str(), file->readOnly ? L"rb" : L"r+b", &why);
    if (!c->stream) {
        SetError(err, fn, kCompanionMissing, why,
                 L"Layer %s: its companion file %s cannot be opened", layerPath.c_str(),
                 c->path.c_str());
        return nullptr;
    }
    unsigned char h[kCompanionHeaderSize], want[kCompanionHeaderSize];
    int64_t size = 0;
    if (!c->stream->Size(size, err, fn)) {
        SetError(err, fn, kCompanionFailed, *err, L"Layer %s: cannot read companion file %s",
                 layerPath.c_str(), c->path.c_str());
        return nullptr;
    }
    if (size < kCompanionHeaderSize) {
        SetError(err, fn, kCompanionTruncated, nullptr,
                 L"Layer %s refused: companion file %s is truncated (%lld bytes, its header "
                 L"alone takes %lld)",
                 layerPath.c_str(), c->path.c_str(), static_cast<long long>(size),
                 static_cast<long long>(kCompanionHeaderSize));
        return nullptr;
    }
    if (!c->stream->ReadExact(0, h, sizeof h, err, fn)) {
        SetError(err, fn, kCompanionFailed, *err, L"Layer %s: cannot read companion file %s",
                 layerPath.c_str(), c->path.c_str());
        return nullptr;
    }
    HeaderBytes(record, want);
    if (std::memcmp(h, kCompanionTag, sizeof kCompanionTag) != 0 ||
        Word(h + 16) != kCompanionVersion ||
        Word(h + 20) != static_cast<uint32_t>(kCompanionHeaderSize)) {
        SetError(err, fn, kCompanionMismatch, nullptr,
                 L"Layer %s refused: %s is not a companion data file of version %ld",
                 layerPath.c_str(), c->path.c_str(), static_cast<long>(kCompanionVersion));
        return nullptr;
    }
    if (std::memcmp(h + 24, want + 24, 24) != 0) {
        SetError(err, fn, kCompanionMismatch, nullptr,
                 L"Layer %s refused: companion file %s belongs to another file (its identity "
                 L"%s%s%s%s differs from the layer's)",
                 layerPath.c_str(), c->path.c_str(), Hex(Word(h + 24)).c_str(),
                 Hex(Word(h + 28)).c_str(), Hex(Word(h + 32)).c_str(), Hex(Word(h + 36)).c_str());
        return nullptr;
    }
    c->end = size;
    return c;
}

bool AppendToCompanion(Companion &c, const void *bytes, int64_t count, uint64_t &at,
                       Oerr_ErrorReport **err, const wchar_t *fn) {
    at = static_cast<uint64_t>(c.end);
    if (!c.stream->Write(c.end, bytes, static_cast<std::size_t>(count), err, fn)) return false;
    c.end += count;
    return true;
}

bool AppendToCompanion(Companion &c, const port::fs::Piece *pieces, std::size_t count,
                       int64_t bytes, uint64_t &at, Oerr_ErrorReport **err, const wchar_t *fn) {
    at = static_cast<uint64_t>(c.end);
    if (!c.stream->WritePieces(c.end, pieces, count, err, fn)) return false;
    c.end += bytes;
    return true;
}

bool FlushCompanion(Companion &c, Oerr_ErrorReport **err, const wchar_t *fn) {
    return c.stream->Flush(err, fn);
}

bool ReadFromCompanion(Companion &c, uint64_t at, void *bytes, int64_t count,
                       Oerr_ErrorReport **err, const wchar_t *fn) {
    return c.stream->ReadExact(static_cast<int64_t>(at), bytes, static_cast<std::size_t>(count),
                               err, fn);
}

} // namespace orvik::hfa
