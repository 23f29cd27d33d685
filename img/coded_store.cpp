// The block store of coded layers: creating and loading the storage record and block index,
// holding decoded blocks, and writing changed ones back in the order that keeps a crash
// harmless: stored bytes into new space, then the index slots in one write, then the old
// space freed. Plain layers are passed to their block cache.
#include <algorithm>
#include <cstring>
#include <thread>

#include "core/guard.hpp"
#include "hfa/cache.hpp"
#include "hfa/file.hpp"
#include "hfa/free_list.hpp"
#include "img/coded_store.hpp"
#include "img/report.hpp"

using orvik::core::SetError;

namespace orvik::img {
namespace {

const Omif_ItemDescription kStorageItems[] = {
    OMIF_FIELD(OMIF_ITEM_LONG, L"codec", 1), OMIF_FIELD(OMIF_ITEM_LONG, L"level", 1),
    OMIF_FIELD(OMIF_ITEM_LONG, L"predictor", 1), OMIF_FIELD(OMIF_ITEM_LONG, L"checksum", 1),
    OMIF_TABLE_END};
const Omif_DesignTable kDesigns[] = {{kStorageType, kStorageItems}, {nullptr, nullptr}};
Omif_BuiltinDesigns g_designs = OMIF_BUILTIN_DESIGNS(kDesigns, nullptr);
constexpr uint32_t kStorageRecordSize = 16;
// Bytes of stored blocks written in one call.
constexpr std::size_t kRunBytes = 8 << 20;

std::wstring Child(const std::wstring &parent, const wchar_t *name) {
    return (parent.empty() || parent.back() != L'/' ? parent + L"/" : parent) + name;
}

// Reads the stored bytes of a written block into `stored` and verifies their checksum.
bool ReadStored(Oimg_Layer &layer, int32_t block, std::vector<unsigned char> &stored,
                Oerr_ErrorReport **err, const wchar_t *fn) {
    CodedStore &s = *layer.coded;
    const hfa::BlockSlot &slot = s.index.slots[static_cast<std::size_t>(block)];
    stored.resize(slot.size);
    if (s.companion
            ? !hfa::ReadFromCompanion(*s.companion, slot.at, stored.data(), slot.size, err, fn)
            : !hfa::ReadAt(layer.file, static_cast<int64_t>(slot.at), stored.data(),
                           static_cast<long>(slot.size), err, fn)) {
        SetError(err, fn, kWindowStoreFailed, *err, L"Cannot read block %ld of layer %s",
                 static_cast<long>(block), layer.path.c_str());
        return false;
    }
    if (s.index.checksum != OIMG_CHECKSUM_NONE &&
        BlockChecksum(s.index.checksum, stored.data(), stored.size()) != slot.sum) {
        SetError(err, fn, kWindowBlockDamaged, nullptr,
                 L"Block %ld of layer %s is damaged: its checksum does not match",
                 static_cast<long>(block), layer.path.c_str());
        return false;
    }
    return true;
}

bool Decode(Oimg_Layer &layer, CodecContext &context, int32_t block,
            const std::vector<unsigned char> &stored, unsigned char *bytes, Oerr_ErrorReport **err,
            const wchar_t *fn) {
    CodedStore &s = *layer.coded;
    const DecodeStatus status =
        DecodeBlock(context, s.storage, s.shape, stored.data(), stored.size(), bytes);
    if (status == DecodeStatus::kOk) return true;
    SetError(err, fn, kWindowBlockDamaged, nullptr, L"Block %ld of layer %s is damaged: %s",
             static_cast<long>(block), layer.path.c_str(), DecodeProblem(status));
    return false;
}

// Writes encoded blocks (their stored bytes in `pieces`) into new space in one call, then
// their slots, then frees their old space.
bool StoreEncoded(Oimg_Layer &layer, const int32_t *blocks, const port::fs::Piece *pieces,
                  const uint64_t *sums, std::size_t count, Oerr_ErrorReport **err,
                  const wchar_t *fn) {
    CodedStore &s = *layer.coded;
    int64_t bytes = 0;
    for (std::size_t i = 0; i < count; ++i) bytes += static_cast<int64_t>(pieces[i].count);
    uint64_t at = 0;
    bool written = false;
    if (s.companion) {
        // A companion file grows at its end, its space never reused in place; the blocks
        // reach the system before any slot names them.
        written = hfa::AppendToCompanion(*s.companion, pieces, count, bytes, at, err, fn) &&
                  hfa::FlushCompanion(*s.companion, err, fn);
    } else {
        at = hfa::TakeSpace(layer.file, bytes, err, L"ohfa_NextFreePos");
        if (at == 0) {
            SetError(err, fn, kWindowStoreFailed, *err, L"No space for %ld blocks of layer %s",
                     static_cast<long>(count), layer.path.c_str());
            return false;
        }
        written = hfa::WritePiecesAt(layer.file, static_cast<int64_t>(at), pieces, count, err, fn);
    }
    if (!written) {
        // The new space stays unnamed: lost, never handed out twice.
        SetError(err, fn, kWindowStoreFailed, *err, L"Cannot write %ld blocks of layer %s",
                 static_cast<long>(count), layer.path.c_str());
        return false;
    }
    std::vector<hfa::BlockSlot> old(count);
    uint64_t next = at;
    for (std::size_t i = 0; i < count; ++i) {
        hfa::BlockSlot &slot = s.index.slots[static_cast<std::size_t>(blocks[i])];
        old[i] = slot;
        slot = {next, static_cast<uint32_t>(pieces[i].count), sums[i]};
        next += pieces[i].count;
    }
    if (!hfa::WriteBlockSlots(layer.file, s.index, blocks[0], blocks[count - 1], err, fn)) {
        for (std::size_t i = 0; i < count; ++i)
            s.index.slots[static_cast<std::size_t>(blocks[i])] = old[i];
        SetError(err, fn, kWindowStoreFailed, *err, L"Cannot write the block index of layer %s",
                 layer.path.c_str());
        return false;
    }
    for (std::size_t i = 0; i < count; ++i) {
        auto held = s.held.find(blocks[i]);
        if (held != s.held.end()) held->second.dirty = false;
        if (old[i].at != 0 && !s.companion &&
            !hfa::GiveSpace(layer.file, static_cast<uint32_t>(old[i].at), old[i].size, err,
                            L"ohfa_FreeSpace")) {
            SetError(err, fn, kWindowStoreFailed, *err,
                     L"Cannot free the old space of block %ld of layer %s",
                     static_cast<long>(blocks[i]), layer.path.c_str());
            return false;
        }
    }
    return true;
}

// Encodes and writes the held blocks `blocks` (increasing numbers).
bool WriteBack(Oimg_Layer &layer, const std::vector<int32_t> &blocks, Oerr_ErrorReport **err,
               const wchar_t *fn) {
    CodedStore &s = *layer.coded;
    std::vector<const unsigned char *> bytes(blocks.size());
    for (std::size_t i = 0; i < blocks.size(); ++i) bytes[i] = s.held.at(blocks[i]).bytes.get();
    return EncodeAndStore(
        layer, blocks, [&](std::size_t i, std::size_t) { return bytes[i]; }, true, err, fn);
}

// Evicts the least recently used quarter of the held blocks (at least one), writing the
// changed ones first, until one more block fits in the limit.
bool MakeRoom(Oimg_Layer &layer, Oerr_ErrorReport **err, const wchar_t *fn) {
    CodedStore &s = *layer.coded;
    const int64_t size = s.shape.blockBytes;
    if (int64_t(s.held.size() + 1) * size <= s.limit || s.held.empty()) return true;
    const std::size_t count = std::max<std::size_t>(1, s.held.size() / 4);
    std::vector<int32_t> victims(std::prev(s.recency.end(), static_cast<long>(count)),
                                 s.recency.end());
    std::vector<int32_t> dirty;
    for (int32_t b : victims)
        if (s.held.at(b).dirty) dirty.push_back(b);
    std::sort(dirty.begin(), dirty.end());
    if (!WriteBack(layer, dirty, err, fn)) return false;
    for (int32_t b : victims) {
        CodedStore::Held &h = s.held.at(b);
        s.recency.erase(h.use);
        s.spare.push_back(std::move(h.bytes)); // reused by the next blocks taken in
        s.held.erase(b);
    }
    return true;
}

CodedStore::Held &Insert(CodedStore &s, int32_t block) {
    CodedStore::Held &h = s.held[block];
    if (!s.spare.empty()) {
        h.bytes = std::move(s.spare.back());
        s.spare.pop_back();
    } else {
        // Contents are always loaded or written whole before use: no need to clear them.
        h.bytes.reset(new unsigned char[static_cast<std::size_t>(s.shape.blockBytes)]);
    }
    s.recency.push_front(block);
    h.use = s.recency.begin();
    return h;
}

bool LoadInto(Oimg_Layer &layer, int32_t block, unsigned char *bytes, Oerr_ErrorReport **err,
              const wchar_t *fn) {
    CodedStore &s = *layer.coded;
    const hfa::BlockSlot &slot = s.index.slots[static_cast<std::size_t>(block)];
    if (s.storage.codec == OIMG_CODEC_NONE && slot.size == uint64_t(s.shape.blockBytes)) {
        // Stored as it is: straight into place, then the checksum over it.
        const bool read =
            s.companion ? hfa::ReadFromCompanion(*s.companion, slot.at, bytes, slot.size, err, fn)
                        : hfa::ReadAt(layer.file, static_cast<int64_t>(slot.at), bytes,
                                      static_cast<long>(slot.size), err, fn);
        if (!read) {
            SetError(err, fn, kWindowStoreFailed, *err, L"Cannot read block %ld of layer %s",
                     static_cast<long>(block), layer.path.c_str());
            return false;
        }
        if (s.index.checksum != OIMG_CHECKSUM_NONE &&
            hfa::StoredChecksum(s.index.checksum, bytes, slot.size) != slot.sum) {
            SetError(err, fn, kWindowBlockDamaged, nullptr,
                     L"Block %ld of layer %s is damaged: its checksum does not match",
                     static_cast<long>(block), layer.path.c_str());
            return false;
        }
        return true;
    }
    Workers(layer);
    return ReadStored(layer, block, s.stored, err, fn) &&
           Decode(layer, *s.contexts[0], block, s.stored, bytes, err, fn);
}

} // namespace

int32_t WorkerThreads(const Ohfa_File *file) { return std::max(1, file->workerThreads); }

int32_t Workers(Oimg_Layer &layer) {
    const int32_t n = WorkerThreads(layer.file);
    CodedStore &s = *layer.coded;
    while (s.contexts.size() < static_cast<std::size_t>(n))
        s.contexts.push_back(std::make_unique<CodecContext>());
    s.gathered.resize(s.contexts.size());
    return n;
}

bool EncodeAndStore(Oimg_Layer &layer, const std::vector<int32_t> &blocks,
                    const BlockSource &source, bool sourcesStay, Oerr_ErrorReport **err,
                    const wchar_t *fn) {
    if (blocks.empty()) return true;
    CodedStore &s = *layer.coded;
    const int32_t threads = Workers(layer);
    const auto bytes = static_cast<std::size_t>(s.shape.blockBytes);
    // Held blocks are already in file form: without a codec the write gathers them in place.
    const bool asTheyAre = sourcesStay && s.storage.codec == OIMG_CODEC_NONE;
    // A run: as many blocks as kRunBytes holds decoded (at least one); each is encoded into
    // its own block-sized place, and the write gathers the stored bytes from there.
    const std::size_t per = std::max<std::size_t>(1, kRunBytes / bytes);
    if (!asTheyAre) s.encoded.resize(bytes * std::min(per, blocks.size()));
    std::vector<port::fs::Piece> pieces;
    std::vector<uint64_t> sums;
    for (std::size_t first = 0; first < blocks.size(); first += per) {
        const std::size_t n = std::min(per, blocks.size() - first);
        pieces.assign(n, {});
        sums.assign(n, 0);
        Parallel(n, threads, [&](std::size_t k, std::size_t worker) {
            if (asTheyAre) {
                const unsigned char *in = source(first + k, worker);
                pieces[k] = {const_cast<unsigned char *>(in), bytes}; // only written out
                sums[k] = BlockChecksum(s.index.checksum, in, bytes);
                return;
            }
            unsigned char *out = s.encoded.data() + k * bytes;
            const std::size_t size = EncodeBlockInto(*s.contexts[worker], s.storage, s.shape,
                                                     source(first + k, worker), out);
            pieces[k] = {out, size};
            sums[k] = BlockChecksum(s.index.checksum, out, size);
        });
        if (!StoreEncoded(layer, blocks.data() + first, pieces.data(), sums.data(), n, err, fn))
            return false;
    }
    return true;
}

long StorageFound(Ohfa_File *file, const std::wstring &path, Oerr_ErrorReport **err) {
    const long found =
        ohfa_EntryPeek(file, OHFA_SEEK_PATH, Child(path, kStorageName).c_str(), nullptr, err);
    return found < 0 ? -1 : found > 0 ? 1 : 0;
}

bool HasStorage(Ohfa_File *file, const std::wstring &path, Oerr_ErrorReport **err) {
    return StorageFound(file, path, err) > 0;
}

bool CreateCodedStore(Ohfa_File *file, const std::wstring &path, const Geometry &g,
                      const Oimg_LayerStorage &storage, const hfa::CompanionRecord *companion,
                      Oerr_ErrorReport **err, const wchar_t *fn) {
    const Omif_Design *design = omif_BuiltinDesignFetch(&g_designs, kStorageType, err);
    const Omif_Design *indexDesign = !design     ? nullptr
                                     : companion ? hfa::BlockIndex64Design(err)
                                                 : hfa::BlockIndexDesign(err);
    const Omif_Design *companionDesign = companion ? hfa::CompanionDesign(err) : nullptr;
    // A zero-filled index: every block never written.
    const std::size_t perSlot = (companion ? hfa::kWideSlotBytes : hfa::kSlotBytes) / 4;
    std::vector<uint32_t> words(static_cast<std::size_t>(g.blockCount) * perSlot, 0);
    hfa::BlockIndexRecord record{};
    record.checksum = storage.checksum;
    record.blockBytes = static_cast<int32_t>(g.blockBytes);
    record.words.count = static_cast<int32_t>(words.size());
    record.words.data = words.data();
    // The companion record comes first: a layer with a storage record but no index is refused
    // at open, whichever kind it was meant to be.
    if (!indexDesign || (companion && !companionDesign) ||
        (companion &&
         ohfa_ObjectWrite(file, path.c_str(), hfa::kCompanionName, hfa::kCompanionType,
                          OHFA_WRITE_LAST_CHILD, companion, companionDesign, err) != 0) ||
        ohfa_ObjectWrite(file, path.c_str(), kStorageName, kStorageType, OHFA_WRITE_LAST_CHILD,
                         &storage, design, err) != 0 ||
        ohfa_ObjectWrite(file, path.c_str(), kBlockIndexName,
                         companion ? hfa::kBlockIndex64Design : hfa::kBlockIndexDesign,
                         OHFA_WRITE_LAST_CHILD, &record, indexDesign, err) != 0) {
        SetError(err, fn, kStoreFailed, *err, L"Cannot create the blocks of layer %s",
                 path.c_str());
        return false;
    }
    return true;
}

bool OpenCodedStore(Oimg_Layer &layer, Oerr_ErrorReport **err, const wchar_t *fn) {
    auto s = std::make_shared<CodedStore>();
    const std::wstring storagePath = Child(layer.path, kStorageName);
    const std::wstring indexPath = Child(layer.path, kBlockIndexName);
    Ohfa_Entry e{};
    const Omif_Design *design = omif_BuiltinDesignFetch(&g_designs, kStorageType, err);
    if (!design || ohfa_EntryPeek(layer.file, OHFA_SEEK_PATH, storagePath.c_str(), &e, err) <= 0 ||
        std::strncmp(e.type, "Oimg_LayerStorage", sizeof e.type) != 0 ||
        e.dataSize != static_cast<int32_t>(kStorageRecordSize) ||
        ohfa_FileHostDataRead(layer.file, e.data, design, kStorageRecordSize, &s->storage, err) !=
            static_cast<long>(kStorageRecordSize)) {
        SetError(err, fn, kBadStorage, *err, L"Cannot read the storage record of layer %s",
                 layer.path.c_str());
        return false;
    }
    std::wstring problem;
    Oimg_LayerStorage settled = s->storage;
    if (!SettleStorage(settled, layer.info.pixelType, problem) ||
        settled.level != s->storage.level) {
        SetError(err, fn, kBadStorage, nullptr,
                 L"Layer %s refused: its storage record (codec %ld, level %ld, predictor %ld, "
                 L"checksum %ld) is unusable: %s",
                 layer.path.c_str(), static_cast<long>(s->storage.codec),
                 static_cast<long>(s->storage.level), static_cast<long>(s->storage.predictor),
                 static_cast<long>(s->storage.checksum),
                 problem.empty() ? L"no level given" : problem.c_str());
        return false;
    }
    hfa::CompanionRecord record;
    const long external = hfa::ReadCompanionRecord(layer.file, layer.path, record, err, fn);
    if (external < 0) return false;
    if (external > 0 &&
        !(s->companion = hfa::OpenCompanion(layer.file, layer.path, record, err, fn)))
        return false;
    const char *indexType = external ? "Ohfa_BlockIndex64" : "Ohfa_BlockIndex";
    const int64_t blocks = layer.geometry.blockCount;
    if (ohfa_EntryPeek(layer.file, OHFA_SEEK_PATH, indexPath.c_str(), &e, err) <= 0 ||
        std::strncmp(e.type, indexType, sizeof e.type) != 0 ||
        !(external ? hfa::LoadBlockIndex64(layer.file, e.data, e.dataSize, blocks,
                                           hfa::kCompanionHeaderSize, s->companion->end, s->index,
                                           problem, err, fn)
                   : hfa::LoadBlockIndex(layer.file, e.data, e.dataSize, blocks, s->index, problem,
                                         err, fn)) ||
        s->index.blockBytes != layer.geometry.blockBytes ||
        s->index.checksum != s->storage.checksum) {
        if (problem.empty() && !*err) problem = L"it disagrees with the layer record";
        SetError(err, fn, kStoreMismatch, *err, L"Layer %s refused: its block index %s",
                 layer.path.c_str(), problem.empty() ? L"cannot be read" : problem.c_str());
        return false;
    }
    s->shape = ShapeOf(layer.info, layer.geometry);
    layer.coded = std::move(s);
    return true;
}

long HoldBlock(Oimg_Layer *layer, int32_t block, bool forWrite, bool load, bool whole,
               unsigned char **bytes, Oerr_ErrorReport **err, const wchar_t *fn) {
    if (!layer->coded)
        return hfa::HeldBlock(layer->cache, block, forWrite, load, whole, bytes, err, fn);
    CodedStore &s = *layer->coded;
    auto found = s.held.find(block);
    if (found != s.held.end()) {
        s.recency.splice(s.recency.begin(), s.recency, found->second.use);
        found->second.dirty = found->second.dirty || forWrite;
        *bytes = found->second.bytes.get();
        return 1;
    }
    const bool written = s.index.slots[static_cast<std::size_t>(block)].at != 0;
    *bytes = nullptr;
    if (!written && !forWrite) return 0;
    // A whole block read and not held is decoded into the caller's copy: holding it would
    // buy nothing.
    if (whole && !forWrite) return hfa::kHeldDirect;
    if (!MakeRoom(*layer, err, fn)) return -1;
    CodedStore::Held &h = Insert(s, block);
    if (written && load && !LoadInto(*layer, block, h.bytes.get(), err, fn)) {
        s.recency.erase(h.use);
        s.held.erase(block);
        return -1;
    }
    h.dirty = forWrite;
    *bytes = h.bytes.get();
    return written ? 1 : 0;
}

bool LoadShared(Oimg_Layer &layer, int32_t block, unsigned char *bytes, Oerr_ErrorReport **err,
                const wchar_t *fn) {
    thread_local std::vector<unsigned char> stored;
    thread_local CodecContext context;
    return ReadStored(layer, block, stored, err, fn) &&
           Decode(layer, context, block, stored, bytes, err, fn);
}

long GetBlockCopy(Oimg_Layer *layer, int32_t block, unsigned char *bytes, Oerr_ErrorReport **err,
                  const wchar_t *fn) {
    if (!layer->coded) return ohfa_CacheGetBlock(layer->cache, block, bytes, err);
    CodedStore &s = *layer->coded;
    auto found = s.held.find(block);
    if (found != s.held.end()) {
        std::memcpy(bytes, found->second.bytes.get(), static_cast<std::size_t>(s.shape.blockBytes));
        return 1;
    }
    if (s.index.slots[static_cast<std::size_t>(block)].at == 0) return 0;
    return LoadInto(*layer, block, bytes, err, fn) ? 1 : -1;
}

long ReadWholeBlock(Oimg_Layer *layer, int32_t block, unsigned char *bytes, Oerr_ErrorReport **err,
                    const wchar_t *fn) {
    if (!layer->coded) return hfa::ReadBlock(*layer->cache, block, bytes, err, fn) ? 1 : -1;
    return GetBlockCopy(layer, block, bytes, err, fn);
}

long PutBlockCopy(Oimg_Layer *layer, int32_t block, const unsigned char *bytes,
                  Oerr_ErrorReport **err, const wchar_t *fn) {
    if (!layer->coded) return ohfa_CachePutBlock(layer->cache, block, bytes, err);
    unsigned char *held = nullptr;
    if (HoldBlock(layer, block, true, false, true, &held, err, fn) < 0) return -1;
    std::memcpy(held, bytes, static_cast<std::size_t>(layer->coded->shape.blockBytes));
    return 0;
}

bool PrefetchWindow(Oimg_Layer *layer, int32_t row, int32_t column, int32_t rows, int32_t columns,
                    const std::vector<int32_t> &done, Oerr_ErrorReport **err, const wchar_t *fn) {
    if (!layer->coded || WorkerThreads(layer->file) < 2) return true;
    CodedStore &s = *layer->coded;
    const Oimg_LayerInfo &i = layer->info;
    std::vector<int32_t> blocks;
    for (int32_t br = row / i.blockHeight; br <= (row + rows - 1) / i.blockHeight; ++br)
        for (int32_t bc = column / i.blockWidth; bc <= (column + columns - 1) / i.blockWidth; ++bc)
            blocks.push_back(br * layer->geometry.blocksAcross + bc);
    std::vector<int32_t> wanted;
    const int64_t room = s.limit / s.shape.blockBytes - static_cast<int64_t>(s.held.size());
    for (int32_t b : blocks)
        if (int64_t(wanted.size()) < room && !s.held.count(b) &&
            !std::binary_search(done.begin(), done.end(), b) &&
            s.index.slots[static_cast<std::size_t>(b)].at != 0)
            wanted.push_back(b);
    if (wanted.size() < 2) return true;
    std::vector<std::vector<unsigned char>> stored(wanted.size());
    for (std::size_t i = 0; i < wanted.size(); ++i)
        if (!ReadStored(*layer, wanted[i], stored[i], err, fn)) return false;
    std::vector<std::unique_ptr<unsigned char[]>> decoded(wanted.size());
    for (auto &d : decoded)
        d = std::make_unique<unsigned char[]>(static_cast<std::size_t>(s.shape.blockBytes));
    std::vector<DecodeStatus> status(wanted.size());
    Parallel(wanted.size(), Workers(*layer), [&](std::size_t i, std::size_t worker) {
        status[i] = DecodeBlock(*s.contexts[worker], s.storage, s.shape, stored[i].data(),
                                stored[i].size(), decoded[i].get());
    });
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        if (status[i] != DecodeStatus::kOk) {
            SetError(err, fn, kWindowBlockDamaged, nullptr, L"Block %ld of layer %s is damaged: %s",
                     static_cast<long>(wanted[i]), layer->path.c_str(), DecodeProblem(status[i]));
            return false;
        }
        CodedStore::Held &h = s.held[wanted[i]];
        h.bytes = std::move(decoded[i]);
        s.recency.push_front(wanted[i]);
        h.use = s.recency.begin();
    }
    return true;
}

bool FlushStore(Oimg_Layer *layer, Oerr_ErrorReport **err, const wchar_t *fn) {
    if (!layer->coded) return ohfa_CacheFlush(layer->cache, err) == 0;
    std::vector<int32_t> dirty;
    for (const auto &[b, h] : layer->coded->held)
        if (h.dirty) dirty.push_back(b);
    std::sort(dirty.begin(), dirty.end());
    return WriteBack(*layer, dirty, err, fn);
}

bool CloseStore(Oimg_Layer *layer, Oerr_ErrorReport **err, const wchar_t *fn) {
    if (!layer->coded) return ohfa_CacheClose(layer->cache, err) == 0;
    const bool ok = FlushStore(layer, err, fn);
    layer->coded.reset();
    return ok;
}

bool DeleteStore(Ohfa_File *file, const std::wstring &path, Oerr_ErrorReport **err,
                 const wchar_t *fn) {
    (void)fn;
    const long coded = StorageFound(file, path, err);
    if (coded < 0) return false;
    if (coded == 0) return ohfa_CacheDelete(file, Child(path, kBlocksName).c_str(), err) == 0;
    hfa::CompanionRecord record;
    const long external = hfa::ReadCompanionRecord(file, path, record, err, fn);
    if (external < 0) return false;
    if (external > 0) {
        // Deleting the companion record removes the file too (after the records).
        return ohfa_ObjectDelete(file, Child(path, kBlockIndexName).c_str(), OHFA_SEEK_PATH, err) ==
                   0 &&
               ohfa_ObjectDelete(file, Child(path, kStorageName).c_str(), OHFA_SEEK_PATH, err) ==
                   0 &&
               ohfa_ObjectDelete(file, Child(path, hfa::kCompanionName).c_str(), OHFA_SEEK_PATH,
                                 err) == 0;
    }
    // Deleting the index entry returns its blocks too (an entry delete frees every block an
    // index in the deleted subtree names); a damaged index leaves them as lost space.
    if (ohfa_ObjectDelete(file, Child(path, kBlockIndexName).c_str(), OHFA_SEEK_PATH, err) != 0)
        return false;
    return ohfa_ObjectDelete(file, Child(path, kStorageName).c_str(), OHFA_SEEK_PATH, err) == 0;
}

long CheckStore(Oimg_Layer *layer, Oerr_ErrorReport **err, const wchar_t *fn) {
    if (!layer->coded) return 0;
    if (!FlushStore(layer, err, fn)) return -1;
    CodedStore &s = *layer->coded;
    std::vector<unsigned char> block(static_cast<std::size_t>(s.shape.blockBytes));
    long damaged = 0, written = 0;
    Oerr_ErrorReport *first = nullptr;
    for (std::size_t b = 0; b < s.index.slots.size(); ++b) {
        if (s.index.slots[b].at == 0) continue;
        ++written;
        Oerr_ErrorReport *why = nullptr;
        if (LoadInto(*layer, static_cast<int32_t>(b), block.data(), &why, fn)) continue;
        if (damaged++ == 0)
            first = why;
        else
            oerr_DeleteErrorReportEx(&why);
    }
    if (damaged > 0)
        SetError(err, fn, kStorageDamaged, first,
                 L"Layer %s: %ld of %ld written blocks are damaged", layer->path.c_str(), damaged,
                 written);
    return damaged;
}

} // namespace orvik::img
