// The georeferencing of an image, kept as the object "Map_Info" under the image entry.
// Design "Orvik_MapInfo": d originX, d originY, d pixelWidth, d pixelHeight, l epsg,
// l projected (1) or geographic (0).
#include "map_info.hpp"

#include <orvik/omif.h>

#include "common.hpp"

namespace orvik_tool {
namespace {

struct MapRecord {
    double originX, originY, pixelWidth, pixelHeight;
    int32_t epsg, projected;
};

struct DesignDeleter {
    void operator()(Omif_Design *d) const { omif_DesignDestroy(d, nullptr); }
};

std::unique_ptr<Omif_Design, DesignDeleter> MapDesign() {
    static const Omif_ItemDescription items[] = {
        OMIF_FIELD(OMIF_ITEM_DOUBLE, L"originX", 1),
        OMIF_FIELD(OMIF_ITEM_DOUBLE, L"originY", 1),
        OMIF_FIELD(OMIF_ITEM_DOUBLE, L"pixelWidth", 1),
        OMIF_FIELD(OMIF_ITEM_DOUBLE, L"pixelHeight", 1),
        OMIF_FIELD(OMIF_ITEM_LONG, L"epsg", 1),
        OMIF_FIELD(OMIF_ITEM_LONG, L"projected", 1),
    };
    Report err;
    std::unique_ptr<Omif_Design, DesignDeleter> d(
        omif_DesignCreate(kMapInfoDesign, items, 6, nullptr, err));
    if (!d) err.ThrowIfSet("Cannot make the map-information design");
    if (d->hostSize != static_cast<int32_t>(sizeof(MapRecord)))
        throw Failure("Map-information design does not match its record");
    return d;
}

} // namespace

void WriteMapInfo(Ohfa_File *file, const std::string &imagePath, const MapInfo &map) {
    if (!map.present) return;
    const auto design = MapDesign();
    const MapRecord r{map.originX,     map.originY, map.pixelWidth,
                      map.pixelHeight, map.epsg,    map.projected ? 1 : 0};
    Report err;
    if (ohfa_ObjectWrite(file, Wide(imagePath).c_str(), kMapInfoEntry, kMapInfoDesign,
                         OHFA_WRITE_LAST_CHILD, &r, design.get(), err) != 0)
        err.ThrowIfSet("Cannot store the georeferencing of " + imagePath);
}

MapInfo ReadMapInfo(Ohfa_File *file, const std::string &imagePath) {
    MapInfo map;
    const auto design = MapDesign();
    MapRecord r{};
    Report err;
    const std::wstring path = Wide(imagePath + "/") + kMapInfoEntry;
    if (!ohfa_ObjectReadIfPresent(file, path.c_str(), OHFA_SEEK_PATH, &r, design.get(), err)) {
        err.ThrowIfSet("Cannot read the georeferencing of " + imagePath);
        return map;
    }
    map.present = true;
    map.originX = r.originX;
    map.originY = r.originY;
    map.pixelWidth = r.pixelWidth;
    map.pixelHeight = r.pixelHeight;
    map.epsg = r.epsg;
    map.projected = r.projected != 0;
    return map;
}

} // namespace orvik_tool
