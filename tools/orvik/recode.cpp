#include "recode.hpp"

#include <algorithm>

#include "common.hpp"
#include "image_nodes.hpp"
#include "raster.hpp"

namespace orvik_tool {
namespace {

// The name the new copy of a layer has while it is made beside the old one.
constexpr const char *kScratchName = "Recoded_Layer";

struct LayerCloser {
    void operator()(Oimg_Layer *layer) const { oimg_LayerClose(layer, nullptr); }
};
using LayerHandle = std::unique_ptr<Oimg_Layer, LayerCloser>;

std::vector<std::string> LayerPaths(Ohfa_File *file) {
    Report err;
    ostr_StringList *list = ohfa_ObjectList(file, nullptr, err);
    if (!list) err.ThrowIfSet("Cannot list the layers");
    std::vector<std::string> paths;
    for (int32_t i = 0; i < list->count; ++i) paths.push_back(Narrow(list->strings[i]));
    ostr_StringListDelete(list, nullptr);
    std::vector<std::string> layers;
    for (const std::string &p : paths) {
        Ohfa_Entry entry{};
        if (ohfa_EntryPeek(file, OHFA_SEEK_PATH, Wide(p).c_str(), &entry, err) == 1 &&
            FixedText(entry.type, sizeof entry.type) == kLayerType)
            layers.push_back(p);
    }
    return layers;
}

// The direct children of `node`, in entry order.
std::vector<std::string> ChildrenOf(Ohfa_File *file, const std::string &node) {
    Report err;
    ostr_StringList *list = ohfa_ObjectList(file, Wide(node).c_str(), err);
    if (!list) err.ThrowIfSet("Cannot list " + node);
    std::vector<std::string> children;
    for (int32_t i = 0; i < list->count; ++i) {
        const std::string p = Narrow(list->strings[i]);
        if (p.find('/', node.size() + 1) == std::string::npos) children.push_back(p);
    }
    ostr_StringListDelete(list, nullptr);
    return children;
}

// Copies the pixels strip by strip (one row of blocks at a time, so the codec work of a strip
// can spread over the worker threads) when the source has any block written.
void CopyPixels(Oimg_Layer *from, Oimg_Layer *to, const std::string &path) {
    Report err;
    int64_t stored = 0;
    if (oimg_LayerStoredBytes(from, &stored, nullptr, err) != 0)
        err.ThrowIfSet("Cannot read layer " + path);
    if (stored == 0) return; // never written: the copy stays unwritten too
    const Oimg_LayerInfo &info = *oimg_LayerInfoGet(from);
    const int32_t strip = std::max<int32_t>(info.blockHeight, 1);
    Band band;
    for (int32_t row = 0; row < info.height; row += strip) {
        const int32_t rows = std::min(strip, info.height - row);
        if (!band || band->numrows != rows)
            band = NewBand(rows, info.width, static_cast<Ogda_PixelType>(info.pixelType));
        if (oimg_LayerReadWindow(from, row, 0, rows, info.width, band.get(), err) != 0)
            err.ThrowIfSet("Cannot read layer " + path);
        if (oimg_LayerWriteWindow(to, row, 0, rows, info.width, band.get(), err) != 0)
            err.ThrowIfSet("Cannot write layer " + path);
    }
}

// Removes the block store of the layer at `path` (a block cache, or a storage record and
// block index), keeping the layer's other children.
void DropBlockStore(Ohfa_File *file, const std::string &path, bool coded) {
    Report err;
    const std::wstring p = Wide(path);
    const bool ok =
        coded ? ohfa_ObjectDelete(file, (p + L"/BlockIndex").c_str(), OHFA_SEEK_PATH, err) == 0 &&
                    ohfa_ObjectDelete(file, (p + L"/Storage").c_str(), OHFA_SEEK_PATH, err) == 0
              : ohfa_CacheDelete(file, (p + L"/Blocks").c_str(), err) == 0;
    if (!ok) err.ThrowIfSet("Cannot remove the old blocks of " + path);
}

void Recode(Ohfa_File *source, Ohfa_File *target, const std::string &path,
            const Oimg_LayerStorage &storage) {
    Report err;
    LayerHandle from(oimg_LayerOpen(source, Wide(path).c_str(), err));
    if (!from) err.ThrowIfSet("Cannot open layer " + path);
    Oimg_LayerStorage old{};
    const long coded = oimg_LayerStorageGet(from.get(), &old, err);
    if (coded < 0) err.ThrowIfSet("Cannot read the storage of layer " + path);
    const std::string parent = path.substr(0, path.rfind('/'));
    const std::string scratch = parent + "/" + kScratchName;
    const std::wstring parentNode = Wide(parent.empty() ? "/" : parent);
    if (ohfa_EntryPeek(target, OHFA_SEEK_PATH, Wide(scratch).c_str(), nullptr, err) != 0)
        throw Failure("Cannot recode " + path + ": " + scratch + " is in the way");
    {
        LayerHandle to(oimg_LayerCreateWithStorage(target, parentNode.c_str(),
                                                   Wide(kScratchName).c_str(),
                                                   oimg_LayerInfoGet(from.get()), &storage, err));
        if (!to) err.ThrowIfSet("Cannot create the new copy of layer " + path);
        CopyPixels(from.get(), to.get(), path);
        Oimg_Layer *done = to.release();
        if (oimg_LayerClose(done, err) != 0) err.ThrowIfSet("Cannot write layer " + path);
    }
    // The new block store takes the place of the old one under the layer's own entry, so the
    // layer keeps its position, record, statistics and overviews.
    DropBlockStore(target, path, coded == 1);
    for (const std::string &child : ChildrenOf(target, scratch)) {
        if (ohfa_EntrySeek(target, OHFA_SEEK_PATH, Wide(child).c_str(), err) == 0 ||
            ohfa_EntryMove(target, Wide(path).c_str(), err) != 0)
            err.ThrowIfSet("Cannot move " + child + " to " + path);
    }
    if (ohfa_EntrySeek(target, OHFA_SEEK_PATH, Wide(scratch).c_str(), err) == 0 ||
        ohfa_EntryDelete(target, err) != 0)
        err.ThrowIfSet("Cannot remove " + scratch);
}

} // namespace

long RecodeLayers(Ohfa_File *source, Ohfa_File *target, const Oimg_LayerStorage &storage) {
    long count = 0;
    for (const std::string &path : LayerPaths(target)) {
        Recode(source, target, path, storage);
        ++count;
    }
    return count;
}

} // namespace orvik_tool
