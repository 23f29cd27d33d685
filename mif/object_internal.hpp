// Internal: the record walkers behind the exported object functions - conversion between the
// host and the file form, file size, freeing and deep copying - and the small accessors
// they share for the host form of items.
#pragma once

#include <cstdint>
#include <cstring>

#include <orvik/ogda.h>
#include <orvik/omif.h>

#include "mif/item_types.hpp"
#include "mif/object_stream.hpp"

namespace orvik::mif {

// Records reached through pointers may nest (a design may point at itself); deeper chains
// than this are refused, so corrupt files and cyclic host data cannot exhaust the stack.
inline constexpr int kMaxRecordDepth = 256;

// Conversion of one record; `bytes` grows by the file bytes moved, also on failure.
// Failures are reported under "omif_MIFtoObject" / "omif_ObjectToMIF".
bool RecordToHost(ByteSource &source, const Omif_Design *design, unsigned char *record,
                  int64_t &bytes, int depth, Oerr_ErrorReport **err);
bool RecordToFile(ByteSink &sink, const Omif_Design *design, const unsigned char *record,
                  int64_t &bytes, int depth, Oerr_ErrorReport **err);

// File bytes of a record (record may be null: empty indirect items, 0 x 0 base data).
bool RecordFileSize(const Omif_Design *design, const unsigned char *record, int64_t &size,
                    int depth, Oerr_ErrorReport **err);

// Frees what an item (at `at`, its place in a record) or a record owns; pointers become null.
void FreeItemValue(const Omif_Item *item, unsigned char *at, int depth);
void FreeRecordItems(const Omif_Design *design, unsigned char *record, int depth);
void FreeBaseDataBlock(Ogda_BaseData *data);

// Deep copies into a destination that owns nothing yet. On failure the destination holds
// a partial copy that the free functions release. Reports under "ObjectItemCopy" and
// "omif_ObjectItemsCopy".
bool CopyItemValue(const Omif_Item *item, unsigned char *dst, const unsigned char *src, int depth,
                   Oerr_ErrorReport **err);
bool CopyRecordItems(const Omif_Design *design, unsigned char *dst, const unsigned char *src,
                     int depth, Oerr_ErrorReport **err);

// The item of that name (same pointer or equal text), or null.
const Omif_Item *FindItem(const Omif_Design *design, const wchar_t *name);

// Host-form accessors (records need not be aligned for these).
inline void *LoadPointer(const unsigned char *at) {
    void *p;
    std::memcpy(&p, at, sizeof p);
    return p;
}
inline void StorePointer(unsigned char *at, void *p) { std::memcpy(at, &p, sizeof p); }
inline CountedPointerHost LoadCounted(const unsigned char *at) {
    CountedPointerHost c;
    std::memcpy(&c, at, sizeof c);
    return c;
}
inline void StoreCounted(unsigned char *at, CountedPointerHost c) { std::memcpy(at, &c, sizeof c); }

// Whether numeric elements are byte-reversed between host and file (a big-endian host, or a
// build with ORVIK_FORCE_SWAP that runs that path on a little-endian one).
bool ConversionSwapsBytes();

// The MIF item type in which base data of a pixel type are stored; 0 for none.
int32_t PixelItemType(int32_t pixelType);

} // namespace orvik::mif
