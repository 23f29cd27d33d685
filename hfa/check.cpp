// The integrity check of an HFA file: reads the file as stored (header, dictionary, the whole
// entry tree, every data block, the free list) and lists every problem as one line of text.
// Nothing found in the file is trusted: every position is checked against the file before it
// is read, the tree walk visits a position once at most and the free-list walk stops at the
// first link that does not lead forward, so any input ends. Overlaps come from one sorted
// sweep over every byte range that a structure claims (see docs/hfa-check.md). A block cache's
// index and stored blocks are claimed through its node record, read by the cache's own loader.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>
#include <unordered_set>
#include <vector>

#include "core/guard.hpp"
#include "core/utf8.hpp"
#include "hfa/block_index.hpp"
#include "hfa/companion.hpp"
#include "hfa/cache.hpp"
#include "hfa/check.hpp"
#include "hfa/designs.hpp"
#include "hfa/file.hpp"
#include "hfa/link_journal.hpp"
#include "hfa/linked_blocks.hpp"
#include "hfa/report.hpp"
#include "hfa/stored_data.hpp"
#include "mif/codec.hpp"
#include "mif/dictionary.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using namespace orvik::hfa;

namespace {

constexpr const wchar_t *kFn = L"ohfa_FileCheck";
// More lines than this only say how many more problems there were.
constexpr std::size_t kMaxLines = 1000;
// Offsets of the two text items inside an entry record.
constexpr std::size_t kNameAt = 24, kNameWidth = 64, kTypeAt = 88, kTypeWidth = 32;

std::wstring Num(int64_t v) { return std::to_wstring(v); }
std::wstring Wide(const std::string &s) { return orvik::text::Utf8ToWideLossy(s); }

// What claims a byte range: a fixed structure (index into the checker's labels), an entry
// record or an entry's data (index of the entry's node), a block cache's index or one of its
// blocks (index of the node of the cache's entry), or a free block.
enum class Owner { Fixed, Entry, Data, CacheIndex, CacheBlock, Free };

// A byte range claimed by one structure of the file. Its label is built only when a
// problem names it (a path costs a walk up the tree).
struct Span {
    int64_t start;
    int64_t length;
    Owner owner;
    std::size_t index;
    int32_t block = 0; // the block number of a cache block
};

// One entry reached by the tree walk; `up` indexes the parent's node (none for the root).
struct Node {
    uint32_t position;
    std::size_t up;
    std::string name;
    uint32_t child = 0;
};
constexpr std::size_t kNoNode = static_cast<std::size_t>(-1);

class Checker {
  public:
    explicit Checker(Ohfa_File *file) : m_file(file), m_end(file->fileEnd) {}
    ~Checker() {
        if (m_dictionary) orvik::mif::FreeDictionary(m_dictionary);
    }
    Checker(const Checker &) = delete;
    Checker &operator=(const Checker &) = delete;

    void Run() {
        if (m_end > kMaxFileSize)
            Problem(L"File: size " + Num(m_end) + L" exceeds the limit of 2147483647 bytes");
        if (!Header()) return Finish();
        Dictionary();
        Tree();
        FreeList();
        Overlaps();
        Finish();
    }
    std::vector<std::wstring> &Lines() { return m_lines; }
    long Count() const { return static_cast<long>(m_count); }
    // Problems that are not about the free list alone (after Run).
    long Damage() const { return static_cast<long>(m_damage); }
    const std::wstring &FirstDamage() const { return m_firstDamage; }
    // The ranges no structure but a free block claims, in order (after Run).
    std::vector<std::pair<int64_t, int64_t>> Unclaimed() const {
        std::vector<std::pair<int64_t, int64_t>> gaps;
        int64_t reach = 0;
        for (const Span &s : m_spans) { // sorted by Overlaps()
            if (s.owner == Owner::Free) continue;
            if (s.start > reach) gaps.emplace_back(reach, s.start - reach);
            reach = std::max(reach, s.start + s.length);
        }
        if (m_end > reach) gaps.emplace_back(reach, m_end - reach);
        return gaps;
    }

  private:
    // `freeList`: the problem concerns only the free list, which a rebuild replaces.
    void Problem(const std::wstring &text, bool freeList = false) {
        if (!freeList && m_damage++ == 0) m_firstDamage = text;
        ++m_count;
        if (m_lines.size() < kMaxLines) m_lines.push_back(text);
    }
    bool Inside(int64_t start, int64_t length) const {
        return start >= kTagSize && length >= 0 && start + length <= m_end;
    }
    void Claim(int64_t start, int64_t length, Owner owner, std::size_t index) {
        if (length > 0) m_spans.push_back(Span{start, length, owner, index});
    }
    void Claim(int64_t start, int64_t length, const wchar_t *label) {
        m_labels.emplace_back(label);
        Claim(start, length, Owner::Fixed, m_labels.size() - 1);
    }
    std::wstring SpanLabel(const Span &s) const {
        switch (s.owner) {
        case Owner::Entry:
            return EntryLabel(s.index);
        case Owner::Data:
            return L"the data of " + EntryLabel(s.index);
        case Owner::CacheIndex:
            return L"the block index of " + EntryLabel(s.index);
        case Owner::CacheBlock:
            return L"block " + Num(s.block) + L" of " + EntryLabel(s.index);
        case Owner::Free:
            return L"the free block at " + Num(s.start);
        default:
            return m_labels[s.index];
        }
    }
    bool Read(int64_t at, void *bytes, long count) {
        Oerr_ErrorReport *e = nullptr;
        const bool ok = ReadAt(m_file, at, bytes, count, &e, kFn);
        oerr_DeleteErrorReportEx(&e);
        return ok;
    }
    // One fixed record at `at`: its file form in `raw` (`size` bytes) and its host form.
    bool ReadRecord(const wchar_t *design, int64_t at, unsigned char *raw, long size, void *host) {
        Oerr_ErrorReport *e = nullptr;
        const bool ok = Read(at, raw, size) && RecordFromBytes(design, raw, size, host, &e, kFn);
        oerr_DeleteErrorReportEx(&e);
        return ok;
    }
    // Node path of a reached entry, built from the parent indices; the deepest names only
    // when the tree is deeper than any sound file needs ("/..." stands for the rest).
    std::wstring PathOf(std::size_t index) const {
        constexpr std::size_t kMaxDepthShown = 32;
        std::vector<const std::string *> names;
        std::size_t i = index;
        for (; i != kNoNode && m_nodes[i].up != kNoNode && names.size() < kMaxDepthShown;
             i = m_nodes[i].up)
            names.push_back(&m_nodes[i].name);
        std::wstring path = i != kNoNode && m_nodes[i].up != kNoNode ? L"/..." : L"";
        for (auto it = names.rbegin(); it != names.rend(); ++it) path += L"/" + Wide(**it);
        return path.empty() ? L"/" : path;
    }
    std::wstring EntryLabel(std::size_t index) const {
        return L"Entry " + PathOf(index) + L" (at " + Num(m_nodes[index].position) + L")";
    }

    bool Header();
    void Dictionary();
    void Tree();
    void List(std::size_t parentIndex, uint32_t first, std::vector<std::size_t> &todo);
    void Entry(std::size_t index, const unsigned char *raw, const Ohfa_Entry &e);
    void Data(std::size_t index, const Ohfa_Entry &e);
    void CacheStore(std::size_t index, const Ohfa_Entry &e);
    void LinkedValues(std::size_t index, const Ohfa_Entry &e);
    void BlockIndexStore(std::size_t index, const Ohfa_Entry &e);
    void CompanionStore(std::size_t index, const Ohfa_Entry &e);
    void FreeList();
    void Overlaps();
    void Finish();

    Ohfa_File *m_file;
    int64_t m_end;
    Ohfa_FileHeader m_header{};
    uint32_t m_headerPtr = 0;
    Omif_Dictionary *m_dictionary = nullptr; // as stored
    std::vector<Node> m_nodes;
    std::unordered_set<uint32_t> m_seen;
    std::vector<Span> m_spans;
    std::vector<std::wstring> m_labels;
    std::vector<std::wstring> m_lines;
    std::size_t m_count = 0;
    std::size_t m_damage = 0;
    std::wstring m_firstDamage;
    int64_t m_leaked = 0;
    int64_t m_decoded = 0;
    int64_t m_cacheSlots = 0; // index positions claimed so far, over all caches
    int64_t m_summed = 0;     // stored bytes whose checksum was verified
};

bool Checker::Header() {
    unsigned char tagBytes[kTagSize];
    Ohfa_HeaderTag tag{};
    if (!ReadRecord(kTagDesign, 0, tagBytes, kTagSize, &tag)) {
        Problem(L"Header: the file is too short for the header tag");
        return false;
    }
    if (std::memcmp(tag.label, kTagLabel, sizeof kTagLabel) != 0)
        Problem(L"Header: the tag's label is not \"OHFA_HEADER_TAG\"");
    m_headerPtr = tag.headerPtr;
    unsigned char bytes[kHeaderSize];
    if (!Inside(m_headerPtr, kHeaderSize) ||
        !ReadRecord(kHeaderDesign, m_headerPtr, bytes, kHeaderSize, &m_header)) {
        Problem(L"Header: the header pointer " + Num(m_headerPtr) + L" lies outside the file");
        return false;
    }
    Claim(0, kTagSize, L"the header tag");
    // Bytes between the tag and a header placed right behind it are reserved, not lost.
    if (m_headerPtr > kTagSize && m_headerPtr <= kNewHeaderPtr)
        Claim(kTagSize, m_headerPtr - kTagSize, L"the reserved bytes after the tag");
    Claim(m_headerPtr, kHeaderSize, L"the header");
    if (JournalPending(m_file))
        Problem(L"Links: a pair of link writes was interrupted; the next open for update "
                L"completes it");
    if (m_header.version <= 0)
        Problem(L"Header: version " + Num(m_header.version) + L" is not a format version");
    if (m_header.entryHeaderLength != static_cast<int16_t>(kEntrySize))
        Problem(L"Header: entry length " + Num(m_header.entryHeaderLength) + L" is not 128");
    if (m_header.rootEntryPtr == 0 || !Inside(m_header.rootEntryPtr, kEntrySize))
        Problem(L"Header: the root entry pointer " + Num(m_header.rootEntryPtr) +
                L" does not name an entry inside the file");
    if (m_header.dictionaryPtr == 0 || !Inside(m_header.dictionaryPtr, 1))
        Problem(L"Header: the dictionary pointer " + Num(m_header.dictionaryPtr) +
                L" does not lie inside the file");
    if (m_header.freeList != 0 && !Inside(m_header.freeList, kNodeSize))
        Problem(L"Header: the free list pointer " + Num(m_header.freeList) +
                L" does not lie inside the file");
    return true;
}

void Checker::Dictionary() {
    if (m_header.dictionaryPtr == 0 || !Inside(m_header.dictionaryPtr, 1)) return;
    int64_t length = 0;
    Oerr_ErrorReport *e = nullptr;
    m_dictionary = ReadStoredDictionary(m_file, m_header.dictionaryPtr, length, &e, kFn);
    if (!m_dictionary) {
        std::wstring why;
        for (auto *r = e; r; r = r->next)
            if (r->message && !r->next) why = r->message;
        oerr_DeleteErrorReportEx(&e);
        Problem(L"Dictionary: the text at " + Num(m_header.dictionaryPtr) + L" does not decode: " +
                why);
        return;
    }
    Claim(m_header.dictionaryPtr, length, L"the dictionary");
    // It must begin with the five fixed designs, stored as this library defines them.
    Omif_Dictionary *fixed = orvik::mif::NewDictionary();
    if (!fixed) throw std::bad_alloc();
    bool ok = true;
    for (const wchar_t *name : kStoredDesigns) {
        const Omif_Design *d = FixedDesign(name, &e);
        ok = ok && d && orvik::mif::AddDesignCopy(fixed, d, kFn, &e);
    }
    orvik::mif::StringSink expected;
    ok = ok && orvik::mif::EncodeDictionary(fixed, expected, &e) > 0;
    orvik::mif::FreeDictionary(fixed);
    oerr_DeleteErrorReportEx(&e);
    if (!ok) throw std::bad_alloc(); // the built-in designs always encode
    std::string prefix = expected.Text();
    prefix.pop_back(); // the final "."
    std::string stored(prefix.size(), '\0');
    if (int64_t(prefix.size()) > length ||
        !Read(m_header.dictionaryPtr, stored.data(), static_cast<long>(stored.size())) ||
        stored != prefix)
        Problem(L"Dictionary: it does not begin with the five fixed designs Ohfa_File, "
                L"Ohfa_Entry, Ohfa_HeaderTag, Ohfa_FreeListNode, Ohfa_Data");
}

void Checker::Tree() {
    const uint32_t root = m_header.rootEntryPtr;
    if (root == 0 || !Inside(root, kEntrySize)) return;
    unsigned char raw[kEntrySize];
    Ohfa_Entry e{};
    if (!ReadRecord(kEntryDesign, root, raw, kEntrySize, &e)) {
        Problem(L"Entry / (at " + Num(root) + L"): cannot be read");
        return;
    }
    m_nodes.push_back(Node{root, kNoNode, std::string(), e.child});
    m_seen.insert(root);
    if (e.next || e.prev || e.parent)
        Problem(EntryLabel(0) + L": the root has a sibling or parent link");
    std::vector<std::size_t> todo;
    Entry(0, raw, e);
    todo.push_back(0);
    while (!todo.empty()) {
        const std::size_t index = todo.back();
        todo.pop_back();
        if (m_nodes[index].child) List(index, m_nodes[index].child, todo);
    }
}

// Walks one sibling list: every member must name the parent and its predecessor, and no
// position may be reached twice (that ends the list: a cycle or a shared record).
void Checker::List(std::size_t parentIndex, uint32_t first, std::vector<std::size_t> &todo) {
    const uint32_t parent = m_nodes[parentIndex].position;
    uint32_t at = first, expectedPrev = 0;
    std::size_t prevIndex = kNoNode;
    while (at != 0) {
        auto holder = [&] {
            return prevIndex == kNoNode ? EntryLabel(parentIndex) + L": child link"
                                        : EntryLabel(prevIndex) + L": next link";
        };
        if (!Inside(at, kEntrySize)) {
            Problem(holder() + L" " + Num(at) + L" does not name an entry inside the file");
            return;
        }
        if (!m_seen.insert(at).second) {
            Problem(holder() + L" " + Num(at) +
                    L" leads to an entry reached before (a cycle or a "
                    L"shared record)");
            return;
        }
        if (m_nodes.size() > static_cast<std::size_t>(m_end / kEntrySize) + 1) {
            Problem(L"Tree: more entries are linked than the file can hold");
            return;
        }
        unsigned char raw[kEntrySize];
        Ohfa_Entry e{};
        if (!ReadRecord(kEntryDesign, at, raw, kEntrySize, &e)) {
            Problem(holder() + L" " + Num(at) + L": the entry cannot be read");
            return;
        }
        e.name[sizeof e.name - 1] = 0;
        m_nodes.push_back(
            Node{at, parentIndex, std::string(e.name, strnlen(e.name, sizeof e.name)), e.child});
        const std::size_t index = m_nodes.size() - 1;
        if (e.parent != parent)
            Problem(EntryLabel(index) + L": its parent link " + Num(e.parent) + L" is not " +
                    Num(parent));
        if (e.prev != expectedPrev)
            Problem(EntryLabel(index) + L": its previous link " + Num(e.prev) + L" is not " +
                    Num(expectedPrev));
        Entry(index, raw, e);
        todo.push_back(index);
        expectedPrev = at;
        prevIndex = index;
        at = e.next;
    }
}

// The checks of one entry's own fields and its data.
void Checker::Entry(std::size_t index, const unsigned char *raw, const Ohfa_Entry &e) {
    auto label = [&] { return EntryLabel(index); };
    Claim(m_nodes[index].position, kEntrySize, Owner::Entry, index);
    if (!std::memchr(raw + kNameAt, 0, kNameWidth))
        Problem(label() + L": its name is not terminated within 64 bytes");
    if (!std::memchr(raw + kTypeAt, 0, kTypeWidth))
        Problem(label() + L": its type is not terminated within 32 bytes");
    if (index != 0 && m_nodes[index].name.empty()) Problem(label() + L": its name is empty");
    if (!std::isfinite(e.modTime) || e.modTime < 0)
        Problem(label() + L": its modification time is not a time");
    Data(index, e);
}

void Checker::Data(std::size_t index, const Ohfa_Entry &e) {
    auto label = [&] { return EntryLabel(index); };
    if (e.dataSize < 0) {
        Problem(label() + L": its data size " + Num(e.dataSize) + L" is negative");
        return;
    }
    if (e.data == 0 && e.dataSize > 0) {
        Problem(label() + L": " + Num(e.dataSize) + L" bytes of data but no data pointer");
        return;
    }
    if (e.data == 0) return;
    if (e.dataSize == 0) {
        Problem(label() + L": a data pointer " + Num(e.data) + L" but no data size");
        return;
    }
    if (!Inside(e.data, e.dataSize)) {
        Problem(label() + L": its data block " + Num(e.data) + L"+" + Num(e.dataSize) +
                L" does not lie inside the file");
        return;
    }
    Claim(e.data, e.dataSize, Owner::Data, index);
    const std::string type(e.type, strnlen(e.type, sizeof e.type));
    if (type.empty()) {
        Problem(label() + L": it has data but no type");
        return;
    }
    if (!m_dictionary) return; // already reported
    const std::wstring wtype = Wide(type);
    const Omif_Design *design = orvik::mif::FindDesign(m_dictionary, wtype.c_str());
    if (!design) {
        Problem(label() + L": its type \"" + wtype + L"\" is not in the dictionary");
        return;
    }
    // Blocks of a sound file together are smaller than the file: once more bytes than that
    // have been decoded, blocks overlap (the sweep reports it) and decoding stops, so that
    // many entries naming one large block cannot make the check read the file many times.
    m_decoded += e.dataSize;
    if (m_decoded > m_end) return;
    HostRecord record;
    long consumed = 0;
    Oerr_ErrorReport *err = nullptr;
    if (!DecodeDataBlock(m_file, e.data, e.dataSize, design, record, consumed, &err, kFn)) {
        std::wstring why;
        for (auto *r = err; r; r = r->next)
            if (r->message) why = r->message; // the innermost cause
        oerr_DeleteErrorReportEx(&err);
        Problem(label() + L": its data does not decode as " + wtype + L": " + why);
        return;
    }
    // A record shorter than its block is sound: an in-place rewrite by a smaller object
    // leaves the tail of the block unused until the entry is rewritten.
    if (consumed > e.dataSize)
        Problem(label() + L": its data decodes as " + wtype + L" in " + Num(consumed) + L" of " +
                Num(e.dataSize) + L" bytes");
    if (type == "Ohfa_CacheNode") CacheStore(index, e);
    if (type == "Ohfa_BlockIndex") BlockIndexStore(index, e);
    if (type == "Ohfa_BlockIndex64") CompanionStore(index, e);
    LinkedValues(index, e);
}

// A store in a companion data file: the file must be the one its record names (present,
// whole, of the same identity), and its blocks must lie inside it, apart, and match their
// checksums. Nothing of it lies in this file but the index itself.
void Checker::CompanionStore(std::size_t index, const Ohfa_Entry &e) {
    const std::wstring label = EntryLabel(index);
    const std::wstring path = PathOf(index);
    const std::size_t slash = path.find_last_of(L'/');
    const std::wstring parent = path.substr(0, slash == 0 ? 1 : slash);
    Oerr_ErrorReport *err = nullptr;
    auto innermost = [&err] {
        std::wstring why;
        for (auto *r = err; r; r = r->next)
            if (r->message) why = r->message;
        oerr_DeleteErrorReportEx(&err);
        return why;
    };
    CompanionRecord record;
    if (path.rfind(L"/...", 0) == 0 ||
        ReadCompanionRecord(m_file, parent, record, &err, kFn) <= 0) {
        innermost();
        Problem(label + L": the companion record beside it cannot be read");
        return;
    }
    std::unique_ptr<Companion> companion = OpenCompanion(m_file, parent, record, &err, kFn);
    if (!companion) {
        Problem(label + L": " + innermost());
        return;
    }
    BlockIndex bi;
    std::wstring problem;
    if (!LoadBlockIndex64(m_file, e.data, e.dataSize, -1, kCompanionHeaderSize, companion->end, bi,
                          problem, &err, kFn)) {
        const std::wstring why = innermost();
        Problem(label + L": its block index cannot be read: " + (problem.empty() ? why : problem));
        return;
    }
    std::vector<std::pair<uint64_t, uint64_t>> spans; // position, end
    std::vector<unsigned char> bytes;
    for (std::size_t b = 0; b < bi.slots.size(); ++b) {
        const BlockSlot &s = bi.slots[b];
        if (s.at == 0) continue;
        spans.emplace_back(s.at, s.at + s.size);
        if (bi.checksum == 0) continue;
        bytes.resize(s.size);
        if (!ReadFromCompanion(*companion, s.at, bytes.data(), s.size, &err, kFn)) {
            innermost();
            Problem(label + L": block " + Num(static_cast<int64_t>(b)) + L" cannot be read");
        } else if (StoredChecksum(bi.checksum, bytes.data(), bytes.size()) != s.sum) {
            Problem(label + L": block " + Num(static_cast<int64_t>(b)) +
                    L" does not match its checksum");
        }
    }
    std::sort(spans.begin(), spans.end());
    for (std::size_t i = 1; i < spans.size(); ++i)
        if (spans[i].first < spans[i - 1].second) {
            Problem(label + L": two of its blocks share bytes of companion file " +
                    companion->path + L" at " + Num(static_cast<int64_t>(spans[i].first)));
            break;
        }
}

// A record that names a block of its own (a descriptor column's values): the block is the
// entry's too.
void Checker::LinkedValues(std::size_t index, const Ohfa_Entry &e) {
    unsigned char bytes[16];
    if (e.dataSize > static_cast<int32_t>(sizeof bytes)) return;
    Oerr_ErrorReport *err = nullptr;
    if (!ReadAt(m_file, e.data, bytes, e.dataSize, &err, kFn)) {
        oerr_DeleteErrorReportEx(&err); // the decoding read these bytes already
        return;
    }
    LinkedBlock block;
    if (!LinkedBlockOf(e.type, sizeof e.type, bytes, static_cast<std::size_t>(e.dataSize), block))
        return;
    if (!Inside(block.position, block.size)) {
        Problem(EntryLabel(index) + L": its values block " + Num(block.position) + L"+" +
                Num(block.size) + L" does not lie inside the file");
        return;
    }
    Claim(block.position, block.size, Owner::Data, index);
}

// A store of variable-size blocks: every block its index names belongs to the entry, and its
// stored bytes must match their checksum.
void Checker::BlockIndexStore(std::size_t index, const Ohfa_Entry &e) {
    auto label = [&] { return EntryLabel(index); };
    BlockIndex bi;
    std::wstring problem;
    Oerr_ErrorReport *err = nullptr;
    if (!LoadBlockIndex(m_file, e.data, e.dataSize, -1, bi, problem, &err, kFn)) {
        for (auto *r = err; r; r = r->next)
            if (r->message) problem = r->message; // the innermost cause
        oerr_DeleteErrorReportEx(&err);
        Problem(label() + L": its block index cannot be read: " + problem);
        return;
    }
    m_cacheSlots += static_cast<int64_t>(bi.slots.size());
    if (m_cacheSlots > m_end / 4) {
        Problem(label() + L": the block indexes name more blocks than the file can hold");
        return;
    }
    std::vector<unsigned char> bytes;
    for (std::size_t b = 0; b < bi.slots.size(); ++b) {
        const BlockSlot &s = bi.slots[b];
        if (s.at == 0) continue;
        m_spans.push_back(Span{static_cast<uint32_t>(s.at), s.size, Owner::CacheBlock, index,
                               static_cast<int32_t>(b)});
        // Blocks of a sound file together are smaller than the file: past that, blocks
        // overlap (the sweep reports it) and reading them again would only repeat the work.
        m_summed += s.size;
        if (bi.checksum == 0 || m_summed > m_end) continue;
        bytes.resize(s.size);
        if (!ReadAt(m_file, static_cast<int64_t>(s.at), bytes.data(), static_cast<long>(s.size),
                    &err, kFn)) {
            oerr_DeleteErrorReportEx(&err);
            Problem(label() + L": block " + Num(static_cast<int64_t>(b)) + L" cannot be read");
        } else if (StoredChecksum(bi.checksum, bytes.data(), bytes.size()) != s.sum) {
            Problem(label() + L": block " + Num(static_cast<int64_t>(b)) +
                    L" does not match its checksum");
        }
    }
}

// A block cache: the index its node names and every block the index names belong to the
// entry. The loader checks that the sizes agree and that every position lies inside the
// file; overlaps come out of the sweep.
void Checker::CacheStore(std::size_t index, const Ohfa_Entry &e) {
    auto label = [&] { return EntryLabel(index); };
    if (e.dataSize != 16) {
        Problem(label() + L": its cache node takes " + Num(e.dataSize) + L" bytes, not 16");
        return;
    }
    Ohfa_Cache_ cache;
    cache.file = m_file;
    cache.path = PathOf(index);
    cache.nodeAt = e.data;
    Oerr_ErrorReport *err = nullptr;
    if (!LoadCache(cache, &err, kFn)) {
        std::wstring why;
        for (auto *r = err; r; r = r->next)
            if (r->message) why = r->message; // the innermost cause
        oerr_DeleteErrorReportEx(&err);
        Problem(label() + L": its block store cannot be read: " + why);
        return;
    }
    const Ohfa_CacheNode &n = cache.node;
    if (n.blockcount == 0) return;
    // The indexes of a sound file together are smaller than the file: past that, the same
    // index is named again (the node records overlap, which the sweep reports) and claiming
    // its blocks once more would only repeat the work.
    m_cacheSlots += n.blockcount;
    if (m_cacheSlots > m_end / 4) {
        Problem(label() + L": the block indexes name more blocks than the file can hold");
        return;
    }
    Claim(n.rootptr, kIndexHeader + int64_t{4} * n.blockcount, Owner::CacheIndex, index);
    for (int32_t b = 0; b < n.blockcount; ++b) {
        const uint32_t at = cache.index[static_cast<std::size_t>(b)];
        if (at != 0) m_spans.push_back(Span{at, n.blocksize, Owner::CacheBlock, index, b});
    }
}

void Checker::FreeList() {
    uint32_t at = m_header.freeList;
    int64_t previousEnd = 0;
    for (int64_t steps = m_end / kNodeSize + 1; at != 0; --steps) {
        const std::wstring where = L"Free list: the block at " + Num(at);
        if (steps < 0 || !Inside(at, kNodeSize)) {
            Problem(where + L" does not lie inside the file", true);
            return;
        }
        if (at < previousEnd) {
            Problem(where + L" does not follow the previous block (the list must ascend "
                            L"without overlap)",
                    true);
            return;
        }
        unsigned char bytes[kNodeSize];
        Ohfa_FreeListNode node{};
        if (!ReadRecord(kNodeDesign, at, bytes, kNodeSize, &node)) {
            Problem(where + L" cannot be read", true);
            return;
        }
        if (node.freeSize < static_cast<int32_t>(kNodeSize) || !Inside(at, node.freeSize)) {
            Problem(where + L" has the impossible size " + Num(node.freeSize), true);
            return;
        }
        if (at == previousEnd) Problem(where + L" touches the previous block (not merged)", true);
        Claim(at, node.freeSize, Owner::Free, 0);
        previousEnd = int64_t{at} + node.freeSize;
        at = node.freeList;
    }
}

// One sweep over the claimed ranges in order of position: a range that starts before the
// furthest end seen so far overlaps the range that reached there. What no range covers is
// leaked.
void Checker::Overlaps() {
    std::sort(m_spans.begin(), m_spans.end(), [](const Span &a, const Span &b) {
        return a.start != b.start ? a.start < b.start : a.length > b.length;
    });
    int64_t reach = 0, covered = 0;
    const Span *owner = nullptr;
    for (const Span &s : m_spans) {
        const int64_t end = s.start + s.length;
        if (owner && s.start < reach)
            Problem(L"Overlap: " + SpanLabel(s) + L" (" + Num(s.start) + L"+" + Num(s.length) +
                        L") overlaps " + SpanLabel(*owner),
                    s.owner == Owner::Free || owner->owner == Owner::Free);
        if (end > reach) {
            covered += end - std::max(reach, s.start);
            reach = end;
            owner = &s;
        }
    }
    m_leaked = std::max<int64_t>(0, m_end - covered);
}

void Checker::Finish() {
    if (m_count > m_lines.size())
        m_lines.push_back(L"... and " + Num(static_cast<int64_t>(m_count - m_lines.size())) +
                          L" more problems");
    if (m_leaked > 0)
        m_lines.push_back(std::wstring(OHFA_CHECK_LEAK_PREFIX) + Num(m_leaked) +
                          L" bytes are in no structure and not free");
}

} // namespace

long orvik::hfa::UnclaimedSpace(Ohfa_File_ *file,
                                std::vector<std::pair<int64_t, int64_t>> *unclaimed,
                                std::wstring *firstDamage) {
    Checker checker(file);
    checker.Run();
    *unclaimed = checker.Unclaimed();
    *firstDamage = checker.FirstDamage();
    return checker.Damage();
}

extern "C" {

ORVIK_API long ohfa_FileCheck(Ohfa_File *file, ostr_StringList **problems, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    if (problems) *problems = nullptr;
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        if (!CheckFile(file, kFn, err)) return -1;
        if (!problems) {
            SetError(err, kFn, kCheckNoList, nullptr, L"Null problem list parameter");
            return -1;
        }
        Checker checker(file);
        checker.Run();
        ostr_StringList *list = ostr_StringListCreate(0, err);
        if (!list) return -1;
        for (const std::wstring &line : checker.Lines()) {
            ostr_StringListAppend(list, line.c_str(), err);
            if (*err) {
                ostr_StringListDelete(list, nullptr);
                return -1;
            }
        }
        *problems = list;
        return checker.Count();
    });
}

} // extern "C"
