// The body of the raster-layer fuzz target, shared with the replay test: arbitrary bytes
// opened as an HFA file, every layer entry in it opened and read. Opening must either refuse
// with a report or give a layer whose windows read without a crash; a read that fails must
// say why. Nothing may allocate more than the record's bounded block sizes allow (the
// sanitizers' allocation limit catches the rest).
#pragma once

#include <cstring>

#include <orvik/oimg.h>

#include "fuzz/hfa_open_target.hpp"

namespace img_layer_fuzz {

inline void Delete(Oerr_ErrorReport *&err) { oerr_DeleteErrorReportEx(&err); }

// A few windows of an open layer: the whole layer when small, else corners and a window
// across the middle, in the layer's own type and converted.
inline void ReadLayer(Oimg_Layer *layer) {
    const Oimg_LayerInfo info = *oimg_LayerInfoGet(layer);
    Oerr_ErrorReport *err = nullptr;
    if (int64_t{info.width} * info.height <= (1 << 16)) {
        Ogda_BaseData *all = oimg_LayerRead(layer, nullptr, &err);
        FUZZ_CHECK(all != nullptr || err != nullptr);
        Delete(err);
        ogda_BaseDataDelete(all, nullptr);
    }
    const int32_t rows = std::min(info.height, 70), columns = std::min(info.width, 70);
    const int32_t windows[][2] = {{0, 0},
                                  {info.height - rows, info.width - columns},
                                  {(info.height - rows) / 2, (info.width - columns) / 2}};
    for (Ogda_PixelType type : {static_cast<Ogda_PixelType>(info.pixelType), OGDA_F64}) {
        Ogda_BaseData *d = ogda_BaseDataCreate(rows, columns, type, Ogda_Raster, nullptr, &err);
        FUZZ_CHECK(d != nullptr);
        for (const auto &w : windows) {
            if (oimg_LayerReadWindow(layer, w[0], w[1], rows, columns, d, &err) != 0)
                FUZZ_CHECK(err != nullptr);
            Delete(err);
        }
        ogda_BaseDataDelete(d, nullptr);
    }
    oimg_LayerOverviewCount(layer, &err);
    Delete(err);
    // Coded layers: every block verified; damage is counted and reported, never a crash.
    const long damaged = oimg_LayerCheck(layer, &err);
    FUZZ_CHECK(damaged >= -1 && (damaged == 0) == (err == nullptr));
    Delete(err);
}

inline int RunOne(const uint8_t *data, std::size_t size) {
    static const bool ready = oint_InitToolkit(nullptr) == 0 && ohfa_Init(nullptr) == 0;
    FUZZ_CHECK(ready);
    const std::string &path = hfa_open_fuzz::ScratchPath();
    {
        std::ofstream out(path, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char *>(data), static_cast<std::streamsize>(size));
    }
    const std::wstring name(path.begin(), path.end());
    Oerr_ErrorReport *err = nullptr;
    Ohfa_File *f = ohfa_FileOpen(name.c_str(), L"r", 0, &err);
    if (!f) {
        Delete(err);
        return 0;
    }
    ostr_StringList *paths = ohfa_ObjectList(f, nullptr, &err);
    Delete(err);
    for (int32_t i = 0; paths && i < paths->count && i < 64; ++i) {
        Ohfa_Entry e{};
        if (ohfa_EntryPeek(f, OHFA_SEEK_PATH, paths->strings[i], &e, &err) <= 0 ||
            std::strncmp(e.type, "Oimg_Layer", sizeof e.type) != 0) {
            Delete(err);
            continue;
        }
        Oimg_Layer *layer = oimg_LayerOpen(f, paths->strings[i], &err);
        if (!layer) {
            FUZZ_CHECK(err != nullptr);
            Delete(err);
            continue;
        }
        ReadLayer(layer);
        FUZZ_CHECK(oimg_LayerClose(layer, &err) == 0);
    }
    ostr_StringListDelete(paths, nullptr);
    FUZZ_CHECK(ohfa_FileClose(f, &err) == 0);
    return 0;
}

} // namespace img_layer_fuzz
