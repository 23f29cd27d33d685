// Internal: pixel-type facts and the layout arithmetic shared by every BaseData operation.
#pragma once

#include <cstdint>
#include <cstring>

#include <orvik/ogda.h>

namespace orvik::gda {

inline bool IsPixelType(int32_t type) { return type >= 0 && type < OGDA_PIXEL_TYPE_COUNT; }
inline bool IsObjectType(int32_t type) { return type >= 0 && type < OGDA_OBJECT_TYPE_COUNT; }

// Bytes per pixel in memory ("string" holds a host pointer). Requires a valid type.
int32_t BytesPerPixel(Ogda_PixelType type);

// Bytes from one line to the next of an unpadded object of this shape.
inline int64_t LineBytesOf(int32_t numbytes, Ogda_ObjectType objecttype, int64_t nrows,
                           int64_t ncolumns) {
    return numbytes * (objecttype == Ogda_Matrix ? nrows : ncolumns);
}

// Bytes an owning object allocates: a raster rounds its column count up to a multiple of 4
// (slack at the end of the block, lines stay unpadded).
inline int64_t AllocationBytes(int32_t numbytes, Ogda_ObjectType objecttype, int64_t nrows,
                               int64_t ncolumns) {
    const int64_t columns = objecttype == Ogda_Raster ? (ncolumns + 3) / 4 * 4 : ncolumns;
    return numbytes * nrows * columns;
}

// Bytes one layer of a contiguous stack takes: the allocation rounded up to 8 bytes.
inline int64_t LayerStride(int32_t numbytes, Ogda_ObjectType objecttype, int64_t nrows,
                           int64_t ncolumns) {
    return (AllocationBytes(numbytes, objecttype, nrows, ncolumns) + 7) / 8 * 8;
}

inline bool IsMatrix(const Ogda_BaseData *o) { return o->objecttype == Ogda_Matrix; }

// Lines and elements per line in memory order.
inline int32_t LineCount(const Ogda_BaseData *o) {
    return IsMatrix(o) ? o->numcolumns : o->numrows;
}
inline int32_t LineLength(const Ogda_BaseData *o) {
    return IsMatrix(o) ? o->numrows : o->numcolumns;
}

inline unsigned char *LineAt(const Ogda_BaseData *o, int64_t line) {
    return static_cast<unsigned char *>(o->dataStart) + line * o->lineBytes;
}

inline unsigned char *ElementAt(const Ogda_BaseData *o, int64_t row, int64_t column) {
    auto *base = static_cast<unsigned char *>(o->data);
    return IsMatrix(o) ? base + column * o->lineBytes + row * o->numbytes
                       : base + row * o->lineBytes + column * o->numbytes;
}

// True when the lines follow each other without gaps.
inline bool IsUnpadded(const Ogda_BaseData *o) {
    return int64_t{o->lineBytes} == int64_t{o->numbytes} * LineLength(o);
}

// Frees the "string" elements of count consecutive pointers and clears them.
void FreeStrings(void *elements, int64_t count);

} // namespace orvik::gda
