#include "image_nodes.hpp"

#include "common.hpp"

namespace orvik_tool {
namespace {

std::string TypeOf(const Ohfa_Entry &e) { return FixedText(e.type, sizeof e.type); }

std::string Parent(const std::string &path) {
    const auto slash = path.rfind('/');
    return slash == 0 || slash == std::string::npos ? "/" : path.substr(0, slash);
}

} // namespace

ImageNode LayersOf(Ohfa_File *file, const std::string &node) {
    const Ohfa_Entry entry = SeekNode(file, node);
    ImageNode out;
    if (TypeOf(entry) == kLayerType) {
        out.layers.push_back(node);
        const std::string parent = Parent(node);
        if (parent != "/" && TypeOf(SeekNode(file, parent)) == kImageType) out.image = parent;
        return out;
    }
    if (TypeOf(entry) != kImageType)
        throw Failure("Not an image or a layer: " + node + " (" + TypeOf(entry) + ")");
    out.image = node;
    Report err;
    long found = ohfa_EntrySeek(file, OHFA_SEEK_CHILD, nullptr, err);
    while (found > 0) {
        Ohfa_Entry child{};
        if (ohfa_EntryCurrentGet(file, &child, err) == 0) break;
        if (TypeOf(child) == kLayerType)
            out.layers.push_back((node == "/" ? "" : node) + "/" +
                                 FixedText(child.name, sizeof child.name));
        found = ohfa_EntrySeek(file, OHFA_SEEK_NEXT, nullptr, err);
    }
    err.ThrowIfSet("Cannot list the layers of " + node);
    if (out.layers.empty()) throw Failure("Image without layers: " + node);
    return out;
}

std::string EntryName(const std::string &text) {
    std::string name = text.substr(0, 63);
    for (char &c : name)
        if (c == '/' || c == ':' || c == '\\') c = '_';
    return name.empty() ? "Image" : name;
}

} // namespace orvik_tool
