// Copies of entries and whole files. A copy first reads every entry it can reach below the
// starting point (a checked, bounded walk that never follows a link twice), then writes them
// into the target in preorder, each data block raw (file form needs no conversion) and each
// design its entries use carried into the target's dictionary. The target is written from
// its own allocator, so a copy of a file holds no free space (but a sliver of its first
// dictionary's block): copying is how a file is compacted. A block cache's node names its
// index and blocks by position, so its store is carried block by block and the copy's node
// names the new index; the blocks a block index names (coded raster layers) and a descriptor
// column's values block (see linked_blocks.hpp) are carried likewise. What cannot be read is
// skipped and reported after everything else is copied.
#include <atomic>
#include <cstring>
#include <mutex>
#include <set>
#include <unordered_set>
#include <vector>

#include "core/guard.hpp"
#include "core/utf8.hpp"
#include "fio/path.hpp"
#include "hfa/block_index.hpp"
#include "hfa/cache.hpp"
#include "hfa/companion.hpp"
#include "hfa/designs.hpp"
#include "hfa/entry.hpp"
#include "hfa/file.hpp"
#include "hfa/free_list.hpp"
#include "hfa/linked_blocks.hpp"
#include "hfa/report.hpp"
#include "mif/dictionary.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using namespace orvik::hfa;

namespace {

std::string NameOf(const char *text, std::size_t width) {
    return std::string(text, strnlen(text, width));
}
std::wstring Wide(const char *text, std::size_t width) {
    return orvik::text::Utf8ToWideLossy(NameOf(text, width));
}

// The process-wide progress callback.
struct Progress {
    std::mutex lock;
    Ohfa_FileCopyProgress callback = nullptr;
    void *context = nullptr;
};
Progress &TheProgress() {
    static Progress progress;
    return progress;
}

// One entry read from the source, in preorder; `parent` indexes its parent in the list (-1:
// a top entry of the copy).
struct Node {
    uint32_t position;
    Ohfa_Entry record;
    long parent;
};

// What could not be copied: one record per problem, the first innermost.
class Problems {
  public:
    ~Problems() { oerr_DeleteErrorReportEx(&m_chain); }
    template <class... Args>
    void Add(const wchar_t *fn, Oerr_ErrorReport *cause, const wchar_t *format, Args... args) {
        oerr_DeleteErrorReportEx(&cause); // the problem's own message says what failed
        SetError(&m_chain, fn, kCopyProblem, m_chain, format, args...);
        ++m_count;
    }
    long Count() const { return m_count; }
    Oerr_ErrorReport *Take() {
        Oerr_ErrorReport *out = m_chain;
        m_chain = nullptr;
        return out;
    }

  private:
    Oerr_ErrorReport *m_chain = nullptr;
    long m_count = 0;
};

// Reads the entries from `start` down: its subtree, and its later siblings with theirs when
// `siblings` is set. A link that leads outside the file, to an entry naming another parent
// or to an entry already read is a problem; the walk goes on with what remains.
void Collect(Ohfa_File *src, uint32_t start, uint32_t parent, bool siblings,
             const std::wstring &topParent, std::vector<Node> &nodes, Problems &problems,
             const wchar_t *fn) {
    struct Frame {
        uint32_t position;
        uint32_t parent;
        long parentIndex;
        bool siblings;
    };
    std::vector<Frame> todo{{start, parent, -1, siblings}};
    std::unordered_set<uint32_t> seen;
    while (!todo.empty()) {
        const Frame f = todo.back();
        todo.pop_back();
        if (f.position == 0) continue;
        const std::wstring parentName =
            f.parentIndex < 0 ? topParent
                              : Wide(nodes[static_cast<std::size_t>(f.parentIndex)].record.name,
                                     sizeof nodes[0].record.name);
        Ohfa_Entry e{};
        Oerr_ErrorReport *readErr = nullptr;
        if (!ReadEntry(src, f.position, e, &readErr, fn)) {
            problems.Add(fn, readErr, L"Cannot read the entry at %lu below %s",
                         static_cast<unsigned long>(f.position), parentName.c_str());
            continue;
        }
        if (e.parent != f.parent) {
            problems.Add(fn, nullptr, L"Corrupt child entry (%s) of %s detected",
                         Wide(e.name, sizeof e.name).c_str(), parentName.c_str());
            continue;
        }
        if (!seen.insert(f.position).second) {
            problems.Add(fn, nullptr, L"Entry at %lu below %s is reached twice (a loop)",
                         static_cast<unsigned long>(f.position), parentName.c_str());
            continue;
        }
        const long index = static_cast<long>(nodes.size());
        nodes.push_back(Node{f.position, e, f.parentIndex});
        if (f.siblings) todo.push_back(Frame{e.next, f.parent, f.parentIndex, true});
        todo.push_back(Frame{e.child, f.position, index, true});
    }
}

// The entry's data block in file form; false (a problem) when it cannot be read.
bool ReadData(Ohfa_File *src, const Ohfa_Entry &e, std::vector<unsigned char> &bytes,
              Problems &problems, const wchar_t *fn) {
    bytes.clear();
    if (e.dataSize == 0 || e.data == 0) return true;
    if (e.dataSize < 0 || e.data < kTagSize || int64_t{e.data} + e.dataSize > src->fileEnd) {
        problems.Add(fn, nullptr, L"Data of entry %s lies outside file %s",
                     Wide(e.name, sizeof e.name).c_str(), src->name.c_str());
        return false;
    }
    bytes.resize(static_cast<std::size_t>(e.dataSize));
    Oerr_ErrorReport *readErr = nullptr;
    if (ReadAt(src, e.data, bytes.data(), e.dataSize, &readErr, fn)) return true;
    problems.Add(fn, readErr, L"Cannot read the data of entry %s",
                 Wide(e.name, sizeof e.name).c_str());
    bytes.clear();
    return false;
}

// When `e` is a block cache's node (its file form in `bytes`): writes every stored block into
// the target, then an index naming the new positions, and turns `bytes` into the node naming
// that index, which the caller writes last, so that nothing on disk names space not yet
// written. Blocks never written stay unstored. A store that cannot be read is a problem and
// the entry is copied without data; a block that cannot be read is a problem and stays
// unstored. False only when writing the target fails (reported).
bool CarryStore(Ohfa_File *src, Ohfa_File *dst, const Ohfa_Entry &e,
                std::vector<unsigned char> &bytes, Problems &problems, Oerr_ErrorReport **err,
                const wchar_t *fn) {
    if (bytes.size() != 16 || std::strncmp(e.type, "Ohfa_CacheNode", sizeof e.type) != 0)
        return true;
    const std::wstring name = Wide(e.name, sizeof e.name);
    Ohfa_Cache_ from;
    from.file = src;
    from.path = name;
    from.nodeAt = e.data;
    Oerr_ErrorReport *readErr = nullptr;
    if (!LoadCache(from, &readErr, fn)) {
        problems.Add(fn, readErr, L"Cannot read the block store of entry %s", name.c_str());
        bytes.clear();
        return true;
    }
    if (from.node.blockcount == 0) return true;
    Ohfa_Cache_ to;
    to.file = dst;
    to.path = name;
    to.node = from.node;
    to.index.assign(from.index.size(), 0);
    // Allocated at the first stored block: one inside the file bounds its size.
    std::vector<unsigned char> block;
    for (int32_t b = 0; b < from.node.blockcount; ++b) {
        if (from.index[static_cast<std::size_t>(b)] == 0) continue;
        block.resize(static_cast<std::size_t>(from.node.blocksize));
        if (!ReadBlock(from, b, block.data(), &readErr, fn)) {
            problems.Add(fn, readErr, L"Cannot read block %ld of entry %s", static_cast<long>(b),
                         name.c_str());
            continue;
        }
        if (!WriteBlock(to, b, block.data(), true, err, fn)) return false;
    }
    const Omif_Design *indexDesign = CacheIndexDesign(err);
    if (!indexDesign || !ohfa_FileDictionaryAddDesign(dst, indexDesign, err)) {
        SetError(err, fn, kCopyWriteFailed, *err, L"ohfa_FileDictionaryAddDesign failed");
        return false;
    }
    const uint32_t at = WriteNewIndex(to, to.node.blockcount, err, fn);
    if (at == 0) return false;
    to.node.rootptr = static_cast<int32_t>(at);
    return RecordToBytes(kCacheNodeDesign, &to.node, bytes.data(), 16, 0, err, fn);
}

// When `e` is a block index (its file form in `bytes`): writes every stored block into new
// space of the target and points the slots in `bytes` at the copies; the caller writes the
// record after, so nothing on disk names space not yet written. The stored bytes travel as
// they are, so their checksums still hold. An index that cannot be read is a problem and the
// entry is copied without data; a block that cannot be read is a problem and its slot is
// cleared (never written). False only when writing the target fails (reported).
bool CarryBlockIndex(Ohfa_File *src, Ohfa_File *dst, const Ohfa_Entry &e,
                     std::vector<unsigned char> &bytes, Problems &problems, Oerr_ErrorReport **err,
                     const wchar_t *fn) {
    if (bytes.empty() || std::strncmp(e.type, kBlockIndexType, sizeof e.type) != 0) return true;
    const std::wstring name = Wide(e.name, sizeof e.name);
    BlockIndex index;
    std::wstring problem;
    Oerr_ErrorReport *readErr = nullptr;
    if (!LoadBlockIndex(src, e.data, e.dataSize, -1, index, problem, &readErr, fn)) {
        problems.Add(fn, readErr, L"Cannot read the block index of entry %s: %s", name.c_str(),
                     problem.empty() ? L"a read failed" : problem.c_str());
        bytes.clear();
        return true;
    }
    std::vector<unsigned char> block;
    for (std::size_t b = 0; b < index.slots.size(); ++b) {
        BlockSlot slot = index.slots[b];
        if (slot.at != 0) {
            // The loader checked that the block lies inside the source, which bounds its size.
            block.resize(slot.size);
            if (ReadAt(src, slot.at, block.data(), static_cast<long>(slot.size), &readErr, fn)) {
                const uint32_t at = TakeSpace(dst, slot.size, err, fn);
                if (at == 0 ||
                    !WriteAt(dst, at, block.data(), static_cast<long>(slot.size), err, fn)) {
                    SetError(err, fn, kCopyWriteFailed, *err, L"Cannot write block %ld of entry %s",
                             static_cast<long>(b), name.c_str());
                    return false;
                }
                slot.at = at;
            } else {
                problems.Add(fn, readErr, L"Cannot read block %ld of entry %s",
                             static_cast<long>(b), name.c_str());
                slot = BlockSlot{};
            }
        }
        unsigned char *p = bytes.data() + kBlockIndexHeader + b * kSlotBytes;
        const uint32_t words[4] = {static_cast<uint32_t>(slot.at), slot.size,
                                   static_cast<uint32_t>(slot.sum),
                                   static_cast<uint32_t>(slot.sum >> 32)};
        for (int w = 0; w < 4; ++w)
            for (int i = 0; i < 4; ++i)
                p[w * 4 + i] = static_cast<unsigned char>(words[w] >> (8 * i));
    }
    return true;
}

// When the entry's data names a block of its own (linked_blocks.hpp): copies that block into
// new space of the target and points `bytes` at it. The caller writes the record after, so
// nothing on disk names space not yet written. A block that cannot be read is a problem and
// the entry is copied without data. False only when writing the target fails (reported).
bool CarryLinkedBlock(Ohfa_File *src, Ohfa_File *dst, const Ohfa_Entry &e,
                      std::vector<unsigned char> &bytes, Problems &problems, Oerr_ErrorReport **err,
                      const wchar_t *fn) {
    LinkedBlock block;
    if (!LinkedBlockOf(e.type, sizeof e.type, bytes.data(), bytes.size(), block)) return true;
    const std::wstring name = Wide(e.name, sizeof e.name);
    if (block.position < kTagSize || block.position + block.size > src->fileEnd) {
        problems.Add(fn, nullptr, L"The values of entry %s lie outside file %s", name.c_str(),
                     src->name.c_str());
        bytes.clear();
        return true;
    }
    std::vector<unsigned char> values(static_cast<std::size_t>(block.size));
    Oerr_ErrorReport *readErr = nullptr;
    if (!ReadAt(src, block.position, values.data(), static_cast<long>(block.size), &readErr, fn)) {
        problems.Add(fn, readErr, L"Cannot read the values of entry %s", name.c_str());
        bytes.clear();
        return true;
    }
    const uint32_t at = TakeSpace(dst, block.size, err, fn);
    if (at == 0 || !WriteAt(dst, at, values.data(), static_cast<long>(block.size), err, fn)) {
        SetError(err, fn, kCopyWriteFailed, *err, L"Cannot write the values of entry %s",
                 name.c_str());
        return false;
    }
    SetLinkedBlock(bytes.data(), at);
    return true;
}

// Carries the designs of the entries that hold data into the target's dictionary. A design
// missing from the source's dictionary is a problem; the data is copied all the same.
bool CarryDesigns(Ohfa_File *src, Ohfa_File *dst, const std::vector<Node> &nodes,
                  Problems &problems, Oerr_ErrorReport **err, const wchar_t *fn) {
    std::set<std::string> types;
    for (const Node &n : nodes)
        if (n.record.dataSize > 0 && n.record.type[0]) types.insert(n.record.type);
    for (const std::string &type : types) {
        const std::wstring wide = orvik::text::Utf8ToWideLossy(type);
        const Omif_Design *design = orvik::mif::FindDesign(src->dictionary, wide.c_str());
        if (!design) {
            problems.Add(fn, nullptr, L"Design %s is not in the dictionary of %s", wide.c_str(),
                         src->name.c_str());
            continue;
        }
        if (!ohfa_FileDictionaryAddDesign(dst, design, err)) {
            SetError(err, fn, kCopyWriteFailed, *err, L"ohfa_FileDictionaryAddDesign failed");
            return false;
        }
    }
    return true;
}

// Makes the entry at `position` the target's current one.
bool MakeCurrent(Ohfa_File *dst, uint32_t position, Oerr_ErrorReport **err, const wchar_t *fn) {
    if (dst->entry.valid && dst->entry.position == position) return true;
    return SeekEntry(dst, OHFA_SEEK_AT_FILE_POSITION, std::to_wstring(position).c_str(), err, fn) >
           0;
}

// Writes the collected entries below `targetParent` in the target; returns how many were
// written, -1 on a write failure (reported). Entries whose parent was not copied are skipped.
long WriteNodes(Ohfa_File *src, Ohfa_File *dst, const std::vector<Node> &nodes,
                uint32_t targetParent, Problems &problems, Oerr_ErrorReport **err,
                const wchar_t *fn) {
    Progress &progress = TheProgress();
    Ohfa_FileCopyProgress callback;
    void *context;
    {
        std::lock_guard<std::mutex> hold(progress.lock);
        callback = progress.callback;
        context = progress.context;
    }
    std::vector<uint32_t> copied(nodes.size(), 0);
    // The last copy written under each parent (index + 1; 0 for the target parent).
    std::vector<uint32_t> lastChild(nodes.size() + 1, 0);
    std::vector<unsigned char> bytes;
    CompanionCarry companions;
    long done = 0;
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        const Node &n = nodes[i];
        const uint32_t parent =
            n.parent < 0 ? targetParent : copied[static_cast<std::size_t>(n.parent)];
        if (parent == 0) continue;
        uint32_t &last = lastChild[static_cast<std::size_t>(n.parent + 1)];
        const long where = last ? OHFA_WRITE_AFTER : OHFA_WRITE_LAST_CHILD;
        if (!MakeCurrent(dst, last ? last : parent, err, fn)) {
            SetError(err, fn, kCopyWriteFailed, *err, L"Cannot return to the copy of %s",
                     Wide(n.record.name, sizeof n.record.name).c_str());
            return -1;
        }
        ReadData(src, n.record, bytes, problems, fn);
        std::wstring problem;
        Oerr_ErrorReport *skipped = nullptr;
        if (!CarryStore(src, dst, n.record, bytes, problems, err, fn) ||
            !CarryBlockIndex(src, dst, n.record, bytes, problems, err, fn) ||
            !CarryLinkedBlock(src, dst, n.record, bytes, problems, err, fn) ||
            !companions.Carry(src, dst, n.parent, n.record, bytes, problem, &skipped, err, fn)) {
            oerr_DeleteErrorReportEx(&skipped);
            return -1;
        }
        const std::wstring name = Wide(n.record.name, sizeof n.record.name);
        if (!problem.empty())
            problems.Add(fn, skipped, L"Entry %s: %s", name.c_str(), problem.c_str());
        else
            oerr_DeleteErrorReportEx(&skipped);
        const std::wstring type = Wide(n.record.type, sizeof n.record.type);
        if (ohfa_ObjectDataWrite(dst, nullptr, name.c_str(), type.empty() ? nullptr : type.c_str(),
                                 where, static_cast<long>(bytes.size()),
                                 bytes.empty() ? nullptr : bytes.data(), err) != 0) {
            SetError(err, fn, kCopyWriteFailed, *err, L"Cannot write the copy of %s", name.c_str());
            return -1;
        }
        // The copy keeps the time of the original's last change.
        Ohfa_Entry rec = dst->entry.record;
        rec.modTime = n.record.modTime;
        if (!WriteEntry(dst, dst->entry.position, rec, err, fn)) return -1;
        dst->entry.record = rec;
        copied[i] = dst->entry.position;
        last = dst->entry.position;
        ++done;
        if (callback) callback(context, done, static_cast<long>(nodes.size()));
    }
    return done;
}

// Ends a copy: a success with problems becomes a failure that lists them.
long Finish(long done, Problems &problems, Oerr_ErrorReport **err, const wchar_t *fn,
            const std::wstring &source) {
    if (done < 0 || problems.Count() == 0) return done;
    SetError(err, fn, kCopyUnreadable, problems.Take(),
             L"%ld entries of %s were copied; %ld parts could not be read", done, source.c_str(),
             problems.Count());
    return -1;
}

// Copies the file `src` into the new file `dst`: the root's type and data, then every entry.
long CopyFile(Ohfa_File *src, Ohfa_File *dst, Oerr_ErrorReport **err, const wchar_t *fn) {
    Problems problems;
    Ohfa_Entry root{};
    Oerr_ErrorReport *readErr = nullptr;
    if (!ReadEntry(src, src->header.rootEntryPtr, root, &readErr, fn)) {
        SetError(err, fn, kCopyUnreadable, readErr, L"Couldn't locate root");
        return -1;
    }
    std::vector<Node> nodes;
    Collect(src, root.child, src->header.rootEntryPtr, true, L"/", nodes, problems, fn);
    const std::vector<Node> top{Node{src->header.rootEntryPtr, root, -1}};
    if (!CarryDesigns(src, dst, top, problems, err, fn) ||
        !CarryDesigns(src, dst, nodes, problems, err, fn))
        return -1;
    // The dictionary moves now, while the file is still small: the entries written next
    // fill the block it leaves, so the copy ends with at most a sliver of it free.
    if (ohfa_FileFlush(dst, err) != 0) {
        SetError(err, fn, kCopyWriteFailed, *err, L"ohfa_FileFlush failed");
        return -1;
    }
    // The root is rewritten in place; its children follow it.
    std::vector<unsigned char> bytes;
    ReadData(src, root, bytes, problems, fn);
    if (!CarryStore(src, dst, root, bytes, problems, err, fn) ||
        !CarryLinkedBlock(src, dst, root, bytes, problems, err, fn))
        return -1;
    const std::wstring type = Wide(root.type, sizeof root.type);
    if (SeekEntry(dst, OHFA_SEEK_ROOT, nullptr, err, fn) <= 0 ||
        ohfa_ObjectDataWrite(dst, nullptr, nullptr, type.empty() ? nullptr : type.c_str(),
                             OHFA_WRITE_CURRENT, static_cast<long>(bytes.size()),
                             bytes.empty() ? nullptr : bytes.data(), err) != 0) {
        SetError(err, fn, kCopyWriteFailed, *err, L"Cannot write the root of the copy");
        return -1;
    }
    const long done = WriteNodes(src, dst, nodes, dst->header.rootEntryPtr, problems, err, fn);
    return Finish(done, problems, err, fn, src->name);
}

} // namespace

extern "C" {

ORVIK_API void ohfa_FileCopyProgressUpdate(Ohfa_FileCopyProgress callback, void *context)
    ORVIK_NOEXCEPT {
    Progress &progress = TheProgress();
    std::lock_guard<std::mutex> hold(progress.lock);
    progress.callback = callback;
    progress.context = context;
}

ORVIK_API long ohfa_ObjectCopy(Ohfa_File *source, const wchar_t *sourcePath, Ohfa_File *target,
                               const wchar_t *targetPath, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_ObjectCopy";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        if (!CheckFile(source, kFn, err) || !CheckFile(target, kFn, err) ||
            !CheckWritable(target, kFn, err))
            return -1;
        if (!sourcePath || !targetPath) {
            SetError(err, kFn, kCopyBadArgument, nullptr, L"Null node path");
            return -1;
        }
        GuardScope sourceGuard(source);
        GuardScope targetGuard(target);
        const long found = SeekEntry(source, OHFA_SEEK_PATH, sourcePath, err, kFn);
        if (found <= 0 || source->entry.record.parent == 0) {
            SetError(err, kFn, kCopySourceMissing, found < 0 ? *err : nullptr,
                     found == 0 ? L"%s|Node not found" : L"Invalid source path %s", sourcePath);
            return -1;
        }
        const uint32_t from = source->entry.position;
        const Ohfa_Entry top = source->entry.record;
        const long there = SeekEntry(target, OHFA_SEEK_PATH, targetPath, err, kFn);
        if (there <= 0) {
            SetError(err, kFn, kCopyTargetMissing, there < 0 ? *err : nullptr, L"%s|Node not found",
                     targetPath);
            return -1;
        }
        const uint32_t parent = target->entry.position;
        const std::wstring name = Wide(top.name, sizeof top.name);
        const long clash = SeekEntry(target, OHFA_SEEK_CHILD_NAMED, name.c_str(), err, kFn);
        if (clash != 0) {
            const std::wstring base = std::wstring(targetPath) == L"/" ? L"" : targetPath;
            SetError(err, kFn, kCopyExists, clash < 0 ? *err : nullptr,
                     L"%s|Node already exists for file %s", (base + L"/" + name).c_str(),
                     target->name.c_str());
            return -1;
        }
        Problems problems;
        std::vector<Node> nodes;
        Collect(source, from, top.parent, false, sourcePath, nodes, problems, kFn);
        if (!CarryDesigns(source, target, nodes, problems, err, kFn)) return -1;
        target->flushGuard = kGuardPending;
        const long done = WriteNodes(source, target, nodes, parent, problems, err, kFn);
        Oerr_ErrorReport *late = nullptr;
        if (!targetGuard.Leave(&late) && done >= 0) {
            SetError(err, kFn, kCopyWriteFailed, late, L"freeListCacheFlush failed");
            return -1;
        }
        PrintAndDelete(late);
        return Finish(done, problems, err, kFn, source->name);
    });
}

ORVIK_API long ohfa_FileCopy(const wchar_t *source, const wchar_t *destination,
                             Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const kFn = L"ohfa_FileCopy";
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        if (!CheckReady(kFn, true, err)) return -1;
        if (!source || !destination) {
            SetError(err, kFn, kCopyBadArgument, nullptr, L"Null file name");
            return -1;
        }
        Oerr_ErrorReport *openErr = nullptr;
        const bool open = ohfa_FileIsOpen(destination, &openErr) != OMSC_FALSE;
        oerr_DeleteErrorReportEx(&openErr);
        if (open || orvik::fio::NormalizedName(source) == orvik::fio::NormalizedName(destination)) {
            SetError(err, kFn, kCopyAlreadyOpen, nullptr,
                     L"Cannot copy to >%s< when it is already open", destination);
            return -1;
        }
        Ohfa_File *src = ohfa_FileOpen(source, L"r", 0, err);
        if (!src) {
            SetError(err, kFn, kCopyOpenFailed, *err, L"Cannot open %s", source);
            return -1;
        }
        Ohfa_File *dst = ohfa_FileCreate(destination, src->cacheArg, err);
        if (!dst) {
            SetError(err, kFn, kCopyOpenFailed, *err, L"Cannot create %s", destination);
            Oerr_ErrorReport *closeErr = nullptr;
            if (ohfa_FileClose(src, &closeErr) != 0) PrintAndDelete(closeErr);
            return -1;
        }
        long done;
        try {
            GuardScope guard(dst);
            dst->flushGuard = kGuardPending;
            done = CopyFile(src, dst, err, kFn);
        } catch (...) {
            // Out of memory halfway: both files are closed before the guard reports it.
            Oerr_ErrorReport *late = nullptr;
            ohfa_FileClose(src, &late);
            oerr_DeleteErrorReportEx(&late);
            ohfa_FileClose(dst, &late);
            oerr_DeleteErrorReportEx(&late);
            throw;
        }
        Oerr_ErrorReport *closeErr = nullptr;
        if (ohfa_FileClose(src, &closeErr) != 0) PrintAndDelete(closeErr);
        if (ohfa_FileClose(dst, &closeErr) != 0) {
            if (done >= 0 || !*err) {
                SetError(err, kFn, kCopyCloseFailed, closeErr, L"Cannot close %s", destination);
                return -1;
            }
            PrintAndDelete(closeErr);
        }
        return done;
    });
}

} // extern "C"
