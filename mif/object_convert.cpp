// Conversion of records between the host form and the file form, and the file size of a
// record. Element moves are those of element_codec.hpp; every count taken from the file is
// checked against the bytes that remain before anything is allocated for it.
// The file form, byte by byte, is tabulated in docs/mif-objects.md ("File form").
#include <algorithm>
#include <cstdint>
#include <limits>

#include "core/guard.hpp"
#include "mif/element_codec.hpp"
#include "mif/object_internal.hpp"
#include "mif/report.hpp"

using orvik::core::SetError;
using namespace orvik::mif;

namespace orvik::mif {
namespace {

constexpr const wchar_t *kToHost = L"omif_MIFtoObject";
constexpr const wchar_t *kToFile = L"omif_ObjectToMIF";
constexpr const wchar_t *kBaseToHost = L"omif_MIFtoBaseData";
constexpr const wchar_t *kBaseToFile = L"omif_BaseDataToMIF";
constexpr int64_t kSaturated = std::numeric_limits<int64_t>::max() / 4;
#ifdef ORVIK_FORCE_SWAP
constexpr bool kSwap = true; // a build that exercises the big-endian path on any host
#else
constexpr bool kSwap = !kHostIsLittleEndian;
#endif
constexpr std::size_t kBaseHeaderBytes = 12;

int64_t SatMul(int64_t a, int64_t b) {
    if (a == 0 || b == 0) return 0;
    return a > kSaturated / b ? kSaturated : a * b;
}
int64_t SatAdd(int64_t a, int64_t b) { return std::min(kSaturated, a + b); }

struct StepNames {
    const wchar_t *toHost;
    const wchar_t *toFile;
};

StepNames Step(int32_t type) {
    switch (type) {
    case OMIF_ITEM_ENUM:
        return {L"omif_MIFtoEnum", L"omif_EnumToMIF"};
    case OMIF_ITEM_U1:
        return {L"omif_MIFtoU1", L"omif_U1ToMIF"};
    case OMIF_ITEM_U2:
        return {L"omif_MIFtoU2", L"omif_U2ToMIF"};
    case OMIF_ITEM_U4:
        return {L"omif_MIFtoU4", L"omif_U4ToMIF"};
    case OMIF_ITEM_UCHAR:
    case OMIF_ITEM_CHAR:
        return {L"omif_MIFtoChar", L"omif_CharToMIF"};
    case OMIF_ITEM_USHORT:
    case OMIF_ITEM_SHORT:
        return {L"omif_MIFtoShort", L"omif_ShortToMIF"};
    case OMIF_ITEM_ULONG:
        return {L"omif_MIFtoULong", L"omif_ULongToMIF"};
    case OMIF_ITEM_LONG:
        return {L"omif_MIFtoLong", L"omif_LongToMIF"};
    case OMIF_ITEM_S32:
        return {L"omif_MIFtoS32", L"omif_S32ToMIF"};
    case OMIF_ITEM_FLOAT:
        return {L"omif_MIFtoFloat", L"omif_FloatToMIF"};
    case OMIF_ITEM_DOUBLE:
    case OMIF_ITEM_TIME:
        return {L"omif_MIFtoDouble", L"omif_DoubleToMIF"};
    case OMIF_ITEM_COMPLEX:
        return {L"omif_MIFtoComplex", L"omif_ComplexToMIF"};
    case OMIF_ITEM_DCOMPLEX:
        return {L"omif_MIFtoDComplex", L"omif_DComplexToMIF"};
    case OMIF_ITEM_BASEDATA:
        return {kBaseToHost, kBaseToFile};
    default:
        return {kToHost, kToFile};
    }
}

// Width of the scalars an element is made of (complex elements are two scalars).
std::size_t ScalarWidth(int32_t type) {
    switch (type) {
    case OMIF_ITEM_COMPLEX:
        return 4;
    case OMIF_ITEM_DCOMPLEX:
        return 8;
    default:
        return static_cast<std::size_t>(TypeInfo(type)->fileSize);
    }
}

template <std::size_t W>
bool ScalarsIn(ByteSource &source, unsigned char *host, std::size_t scalars, const wchar_t *fn,
               Oerr_ErrorReport **err) {
    if constexpr (!kSwap || W == 1) {
        return source.Read(host, scalars * W, fn, err);
    } else {
        const std::size_t per = kChunkBytes / W;
        for (std::size_t done = 0; done < scalars;) {
            const std::size_t m = std::min(per, scalars - done);
            const unsigned char *p = source.Borrow(m * W, fn, err);
            if (!p) return false;
            ScalarsToHost<W, kSwap>(p, m, host + done * W);
            done += m;
        }
        return true;
    }
}

template <std::size_t W>
bool ScalarsOut(ByteSink &sink, const unsigned char *host, std::size_t scalars, const wchar_t *fn,
                Oerr_ErrorReport **err) {
    if constexpr (!kSwap || W == 1) {
        return sink.Write(host, scalars * W, fn, err);
    } else {
        const std::size_t per = kChunkBytes / W;
        for (std::size_t done = 0; done < scalars;) {
            const std::size_t m = std::min(per, scalars - done);
            unsigned char *p = sink.Reserve(m * W, fn, err);
            if (!p) return false;
            ScalarsToFile<W, kSwap>(host + done * W, m, p);
            if (!sink.Commit(m * W, fn, err)) return false;
            done += m;
        }
        return true;
    }
}

// File bytes of `count` elements of a non-object type.
int64_t PlainFileBytes(const ItemTypeInfo &info, int64_t count) {
    if (info.perByte) return PackedBytes(count, info.perByte);
    return SatMul(count, info.fileSize);
}

// Moves `count` elements of a numeric, text, enumeration or packed type into host form.
bool ElementsIn(ByteSource &source, int32_t type, unsigned char *host, std::size_t count,
                const wchar_t *fn, Oerr_ErrorReport **err) {
    const ItemTypeInfo &info = *TypeInfo(type);
    if (info.perByte) {
        const int bits = 8 / info.perByte;
        if (count == 0) return source.Borrow(1, fn, err) != nullptr;
        const std::size_t per = kChunkBytes * static_cast<std::size_t>(info.perByte);
        for (std::size_t done = 0; done < count;) {
            const std::size_t m = std::min(per, count - done);
            const unsigned char *p = source.Borrow(
                static_cast<std::size_t>(PackedBytes(static_cast<int64_t>(m), info.perByte)), fn,
                err);
            if (!p) return false;
            UnpackUnits(p, m, bits, host + done);
            done += m;
        }
        return true;
    }
    if (type == OMIF_ITEM_ENUM) {
        const std::size_t per = kChunkBytes / 2;
        for (std::size_t done = 0; done < count;) {
            const std::size_t m = std::min(per, count - done);
            const unsigned char *p = source.Borrow(m * 2, fn, err);
            if (!p) return false;
            EnumsToHost(p, m, reinterpret_cast<std::uint32_t *>(host) + done);
            done += m;
        }
        return true;
    }
    const std::size_t width = ScalarWidth(type);
    const std::size_t scalars = count * (static_cast<std::size_t>(info.fileSize) / width);
    switch (width) {
    case 1:
        return ScalarsIn<1>(source, host, scalars, fn, err);
    case 2:
        return ScalarsIn<2>(source, host, scalars, fn, err);
    case 4:
        return ScalarsIn<4>(source, host, scalars, fn, err);
    default:
        return ScalarsIn<8>(source, host, scalars, fn, err);
    }
}

bool ElementsOut(ByteSink &sink, int32_t type, const unsigned char *host, std::size_t count,
                 const wchar_t *fn, Oerr_ErrorReport **err) {
    const ItemTypeInfo &info = *TypeInfo(type);
    if (info.perByte) {
        const int bits = 8 / info.perByte;
        if (count == 0) {
            const unsigned char zero = 0;
            return sink.Write(&zero, 1, fn, err);
        }
        const std::size_t per = kChunkBytes * static_cast<std::size_t>(info.perByte);
        for (std::size_t done = 0; done < count;) {
            const std::size_t m = std::min(per, count - done);
            const auto n =
                static_cast<std::size_t>(PackedBytes(static_cast<int64_t>(m), info.perByte));
            unsigned char *p = sink.Reserve(n, fn, err);
            if (!p) return false;
            PackUnits(host + done, m, bits, p);
            if (!sink.Commit(n, fn, err)) return false;
            done += m;
        }
        return true;
    }
    if (type == OMIF_ITEM_ENUM) {
        const std::size_t per = kChunkBytes / 2;
        for (std::size_t done = 0; done < count;) {
            const std::size_t m = std::min(per, count - done);
            unsigned char *p = sink.Reserve(m * 2, fn, err);
            if (!p) return false;
            EnumsToFile(reinterpret_cast<const std::uint32_t *>(host) + done, m, p);
            if (!sink.Commit(m * 2, fn, err)) return false;
            done += m;
        }
        return true;
    }
    const std::size_t width = ScalarWidth(type);
    const std::size_t scalars = count * (static_cast<std::size_t>(info.fileSize) / width);
    switch (width) {
    case 1:
        return ScalarsOut<1>(sink, host, scalars, fn, err);
    case 2:
        return ScalarsOut<2>(sink, host, scalars, fn, err);
    case 4:
        return ScalarsOut<4>(sink, host, scalars, fn, err);
    default:
        return ScalarsOut<8>(sink, host, scalars, fn, err);
    }
}

uint32_t LoadLE32(const unsigned char *p) {
    return static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 |
           static_cast<uint32_t>(p[2]) << 16 | static_cast<uint32_t>(p[3]) << 24;
}
void StoreLE32(unsigned char *p, uint32_t v) {
    for (int i = 0; i < 4; ++i) p[i] = static_cast<unsigned char>(v >> (8 * i));
}

// Host bytes of one pixel, from the pixel-type table itself.
int32_t PixelBytes(int32_t pixelType) { return omsc_AddressOf_ogda_NumBytesPerPixel()[pixelType]; }

// Lines of a base-data block: a line runs along the first dimension for layout 2.
struct BaseLines {
    int64_t lines;
    int64_t length;
};
BaseLines LinesOf(int64_t rows, int64_t columns, int32_t layout) {
    return layout == Ogda_Matrix ? BaseLines{columns, rows} : BaseLines{rows, columns};
}

// The runs in which lines are moved. Empty lines take no bytes except in packed form, where
// each still takes one, so they are dropped (2^31 empty lines must not cost 2^31 steps).
// Unpadded lines of whole-byte values lie exactly as in the file and move as one run.
BaseLines PlanLines(BaseLines l, int32_t itemType, int64_t lineBytes) {
    const ItemTypeInfo &info = *TypeInfo(itemType);
    if (info.perByte) return l;
    if (l.length == 0) return {0, 0};
    if (l.lines > 1 && lineBytes == l.length * info.fileSize) return {1, l.lines * l.length};
    return l;
}

int64_t BaseDataFileBytes(int64_t rows, int64_t columns, int32_t pixelType, int32_t layout) {
    const BaseLines l = LinesOf(rows, columns, layout);
    const ItemTypeInfo &info = *TypeInfo(PixelItemType(pixelType));
    return SatAdd(kBaseHeaderBytes, SatMul(l.lines, PlainFileBytes(info, l.length)));
}

// Fewest file bytes a record of the design can take (for bounding counts read from files).
int64_t MinRecordBytes(const Omif_Design *design, int depth) {
    if (depth > kMaxRecordDepth) return 0;
    int64_t total = 0;
    for (const Omif_Item *item = design->items; item; item = item->next) {
        if (item->indirect) {
            total = SatAdd(total, 8);
        } else if (IsObjectType(item->type)) {
            total = SatAdd(total, SatMul(item->count, MinRecordBytes(item->design, depth + 1)));
        } else if (item->type == OMIF_ITEM_BASEDATA) {
            total = SatAdd(total, SatMul(item->count, kBaseHeaderBytes));
        } else if (const ItemTypeInfo *info = TypeInfo(item->type)) {
            total = SatAdd(total, PlainFileBytes(*info, item->count));
        }
    }
    return total;
}

int64_t MinElementsBytes(const Omif_Item *item, int64_t count) {
    if (IsObjectType(item->type))
        return SatMul(count, std::max<int64_t>(1, MinRecordBytes(item->design, 0)));
    if (item->type == OMIF_ITEM_BASEDATA) return SatMul(count, kBaseHeaderBytes);
    return PlainFileBytes(*TypeInfo(item->type), count);
}

bool BaseDataToHost(ByteSource &source, Ogda_BaseData *bd, int64_t &bytes, Oerr_ErrorReport **err) {
    unsigned char header[kBaseHeaderBytes];
    if (!source.Read(header, sizeof header, kBaseToHost, err)) return false;
    bytes += kBaseHeaderBytes;
    const auto rows = static_cast<int32_t>(LoadLE32(header));
    const auto columns = static_cast<int32_t>(LoadLE32(header + 4));
    const int32_t pixelType = header[8] | header[9] << 8;
    const int32_t layout = header[10] | header[11] << 8;
    if (rows < 0 || columns < 0) {
        SetError(err, kBaseToHost, kBaseBadDimensions, nullptr,
                 L"Bad BaseData dimensions %ld x %ld", static_cast<long>(rows),
                 static_cast<long>(columns));
        return false;
    }
    const int32_t itemType = PixelItemType(pixelType);
    if (!itemType) {
        SetError(err, kBaseToHost, kBaseUnknownPixelType, nullptr,
                 L"Unknown BaseData pixel type %ld", static_cast<long>(pixelType));
        return false;
    }
    if (layout > Ogda_Raster) {
        SetError(err, kBaseToHost, kBaseUnknownLayout, nullptr, L"Unknown BaseData layout %ld",
                 static_cast<long>(layout));
        return false;
    }
    const int64_t hostBytes = SatMul(SatMul(rows, columns), PixelBytes(pixelType));
    const int64_t lineBytes =
        static_cast<int64_t>(PixelBytes(pixelType)) * (layout == Ogda_Matrix ? rows : columns);
    // A line must fit as well: with the other dimension 0 the block is empty, but lineBytes is
    // still a 32-bit field.
    if (hostBytes > std::numeric_limits<int32_t>::max() ||
        lineBytes > std::numeric_limits<int32_t>::max()) {
        SetError(err, kBaseToHost, kBaseTooLarge, nullptr,
                 L"BaseData of %ld x %ld pixels is too large", static_cast<long>(rows),
                 static_cast<long>(columns));
        return false;
    }
    const int64_t remaining = source.Remaining(kBaseToHost, err);
    if (remaining < 0) return false;
    if (BaseDataFileBytes(rows, columns, pixelType, layout) -
            static_cast<int64_t>(kBaseHeaderBytes) >
        remaining) {
        SetError(err, kBaseToHost, kBaseShortInput, nullptr,
                 L"BaseData of %ld x %ld pixels needs more bytes than remain (%ld)",
                 static_cast<long>(rows), static_cast<long>(columns), static_cast<long>(remaining));
        return false;
    }
    const bool sameShape = bd->numrows == rows && bd->numcolumns == columns &&
                           bd->datatype == pixelType &&
                           (bd->objecttype == Ogda_Matrix) == (layout == Ogda_Matrix);
    if (bd->dataStart && !sameShape) {
        if (bd->derivedFlag) {
            SetError(err, kBaseToHost, kBaseViewMismatch, nullptr,
                     L"BaseData view of %ld x %ld does not match the stored %ld x %ld",
                     static_cast<long>(bd->numrows), static_cast<long>(bd->numcolumns),
                     static_cast<long>(rows), static_cast<long>(columns));
            return false;
        }
        FreeBaseDataBlock(bd);
    }
    if (!bd->dataStart) {
        void *block = hostBytes > 0 ? omsc_HeapMalloc(static_cast<int32_t>(hostBytes)) : nullptr;
        if (hostBytes > 0 && !block) {
            orvik::core::SetOutOfMemory(err, kBaseToHost);
            return false;
        }
        bd->numrows = rows;
        bd->numcolumns = columns;
        bd->datatype = static_cast<Ogda_PixelType>(pixelType);
        bd->objecttype = static_cast<Ogda_ObjectType>(layout);
        bd->numbytes = PixelBytes(pixelType);
        bd->numelements = rows * columns;
        bd->lineBytes = static_cast<int32_t>(lineBytes);
        bd->derivedFlag = 0;
        bd->data = bd->dataStart = block;
    }
    const BaseLines l = PlanLines(LinesOf(rows, columns, layout), itemType, bd->lineBytes);
    auto *start = static_cast<unsigned char *>(bd->dataStart);
    const int64_t perLine = PlainFileBytes(*TypeInfo(itemType), l.length);
    for (int64_t i = 0; i < l.lines; ++i) {
        unsigned char *line = l.length ? start + i * bd->lineBytes : nullptr;
        if (!ElementsIn(source, itemType, line, static_cast<std::size_t>(l.length), kBaseToHost,
                        err))
            return false;
        bytes += perLine;
    }
    return true;
}

bool BaseDataToFile(ByteSink &sink, const Ogda_BaseData *bd, int64_t &bytes,
                    Oerr_ErrorReport **err) {
    const int32_t itemType = PixelItemType(bd->datatype);
    if (!itemType) {
        SetError(err, kBaseToFile, kBaseUnstorablePixelType, nullptr,
                 L"BaseData of pixel type %ld cannot be stored", static_cast<long>(bd->datatype));
        return false;
    }
    if (bd->objecttype < Ogda_Scalar || bd->objecttype > Ogda_Raster) {
        SetError(err, kBaseToFile, kBaseUnstorableLayout, nullptr,
                 L"BaseData of object type %ld cannot be stored",
                 static_cast<long>(bd->objecttype));
        return false;
    }
    if (bd->numrows < 0 || bd->numcolumns < 0) {
        SetError(err, kBaseToFile, kBaseBadHostDimensions, nullptr,
                 L"Bad BaseData dimensions %ld x %ld", static_cast<long>(bd->numrows),
                 static_cast<long>(bd->numcolumns));
        return false;
    }
    const BaseLines l =
        PlanLines(LinesOf(bd->numrows, bd->numcolumns, bd->objecttype), itemType, bd->lineBytes);
    if (l.lines > 0 && l.length > 0 && !bd->dataStart) {
        SetError(err, kBaseToFile, kBaseNoData, nullptr,
                 L"BaseData of %ld x %ld pixels has no data", static_cast<long>(bd->numrows),
                 static_cast<long>(bd->numcolumns));
        return false;
    }
    unsigned char header[kBaseHeaderBytes];
    StoreLE32(header, static_cast<uint32_t>(bd->numrows));
    StoreLE32(header + 4, static_cast<uint32_t>(bd->numcolumns));
    header[8] = static_cast<unsigned char>(bd->datatype);
    header[9] = static_cast<unsigned char>(bd->datatype >> 8);
    header[10] = static_cast<unsigned char>(bd->objecttype);
    header[11] = static_cast<unsigned char>(bd->objecttype >> 8);
    if (!sink.Write(header, sizeof header, kBaseToFile, err)) return false;
    bytes += kBaseHeaderBytes;
    const auto *start = static_cast<const unsigned char *>(bd->dataStart);
    const int64_t perLine = PlainFileBytes(*TypeInfo(itemType), l.length);
    for (int64_t i = 0; i < l.lines; ++i) {
        const unsigned char *line = l.length ? start + i * bd->lineBytes : nullptr;
        if (!ElementsOut(sink, itemType, line, static_cast<std::size_t>(l.length), kBaseToFile,
                         err))
            return false;
        bytes += perLine;
    }
    return true;
}

bool DepthOk(int depth, const wchar_t *fn, Oerr_ErrorReport **err) {
    if (depth <= kMaxRecordDepth) return true;
    SetError(err, fn, kRecordTooDeep, nullptr, L"Records nested deeper than %ld levels",
             static_cast<long>(kMaxRecordDepth));
    return false;
}

const ItemTypeInfo *CheckedType(const Omif_Item *item, const wchar_t *fn, Oerr_ErrorReport **err) {
    const ItemTypeInfo *info = TypeInfo(item->type);
    if (!info || (IsObjectType(item->type) && !item->design)) {
        SetError(err, fn, kRecordUnusableType, nullptr, L"Item %s has the unusable type %ld",
                 item->name, static_cast<long>(item->type));
        return nullptr;
    }
    return info;
}

// Makes room in the record for `count` elements of an indirect item read from the file.
bool PrepareIndirect(const Omif_Item *item, unsigned char *at, uint32_t count,
                     unsigned char *&elements, int depth, Oerr_ErrorReport **err) {
    const int64_t es = item->elementSize;
    if (item->pointerKind == OMIF_POINTER_COUNTED) {
        CountedPointerHost h = LoadCounted(at);
        if (h.data && h.count != static_cast<int32_t>(count)) {
            FreeItemValue(item, at, depth);
            h = {0, nullptr};
        }
        if (count > 0 && !h.data) {
            h.data = omsc_HeapMalloc(static_cast<int32_t>(count * es));
            if (!h.data) {
                SetError(err, kToHost, kRecordNoMemory, nullptr, L"No memory");
                return false;
            }
        }
        h.count = static_cast<int32_t>(count);
        StoreCounted(at, h);
        elements = static_cast<unsigned char *>(h.data);
        return true;
    }
    if (count > static_cast<uint32_t>(item->count)) {
        SetError(err, kToHost, kRecordTooManyElements, nullptr,
                 L"Item %s holds %ld elements, not %ld", item->name, static_cast<long>(item->count),
                 static_cast<long>(count));
        return false;
    }
    void *p = LoadPointer(at);
    if (count == 0) {
        if (p) FreeItemValue(item, at, depth);
        elements = nullptr;
        return true;
    }
    if (!p) {
        p = omsc_HeapMalloc(static_cast<int32_t>(item->count * es));
        if (!p) {
            SetError(err, kToHost, kRecordNoMemory, nullptr, L"No memory");
            return false;
        }
        StorePointer(at, p);
    }
    elements = static_cast<unsigned char *>(p);
    return true;
}

// The elements an item holds on the host and their number (for writing and sizing).
bool HeldElements(const Omif_Item *item, const unsigned char *at, const unsigned char *&elements,
                  int64_t &count, const wchar_t *fn, Oerr_ErrorReport **err) {
    if (!item->indirect) {
        elements = at;
        count = item->count;
    } else if (item->pointerKind == OMIF_POINTER_COUNTED) {
        const CountedPointerHost h = LoadCounted(at);
        if (h.count < 0 || (h.count > 0 && !h.data)) {
            SetError(err, fn, kRecordBadCount, nullptr, L"Item %s has the count %ld and %s",
                     item->name, static_cast<long>(h.count), h.data ? L"data" : L"no data");
            return false;
        }
        elements = static_cast<const unsigned char *>(h.data);
        count = h.count;
    } else {
        elements = static_cast<const unsigned char *>(LoadPointer(at));
        count = elements ? item->count : 0;
    }
    return true;
}

} // namespace

bool ConversionSwapsBytes() { return kSwap; }

int32_t PixelItemType(int32_t pixelType) {
    static constexpr int32_t kTypes[13] = {
        OMIF_ITEM_U1,     OMIF_ITEM_U2,      OMIF_ITEM_U4,      OMIF_ITEM_UCHAR, OMIF_ITEM_CHAR,
        OMIF_ITEM_USHORT, OMIF_ITEM_SHORT,   OMIF_ITEM_ULONG,   OMIF_ITEM_LONG,  OMIF_ITEM_FLOAT,
        OMIF_ITEM_DOUBLE, OMIF_ITEM_COMPLEX, OMIF_ITEM_DCOMPLEX};
    return pixelType >= 0 && pixelType < 13 ? kTypes[pixelType] : 0;
}

bool RecordToHost(ByteSource &source, const Omif_Design *design, unsigned char *record,
                  int64_t &bytes, int depth, Oerr_ErrorReport **err) {
    if (!DepthOk(depth, kToHost, err)) return false;
    for (const Omif_Item *item = design->items; item; item = item->next) {
        if (!CheckedType(item, kToHost, err)) return false;
        unsigned char *at = record + item->offset;
        unsigned char *elements = at;
        int64_t count = item->count;
        const StepNames step = Step(item->type);
        if (item->indirect) {
            unsigned char words[8];
            if (!source.Read(words, sizeof words, L"omif_MIFtoULong", err)) {
                SetError(err, kToHost, kStepFailed, err ? *err : nullptr,
                         L"omif_MIFtoULong failed");
                return false;
            }
            bytes += 8;
            const uint32_t n = LoadLE32(words);
            if (n > static_cast<uint32_t>(std::numeric_limits<int32_t>::max())) {
                SetError(err, kToHost, kRecordBadCount, nullptr, L"Item %s has the bad count %lu",
                         item->name, static_cast<unsigned long>(n));
                return false;
            }
            const int64_t remaining = source.Remaining(kToHost, err);
            if (remaining < 0) return false;
            if (MinElementsBytes(item, n) > remaining) {
                SetError(err, kToHost, kRecordBadCount, nullptr,
                         L"Item %s: %ld elements need more bytes than remain (%ld)", item->name,
                         static_cast<long>(n), static_cast<long>(remaining));
                return false;
            }
            const int64_t slots = item->pointerKind == OMIF_POINTER_COUNTED ? n : item->count;
            if (n > 0 && (item->elementSize <= 0 ||
                          slots * item->elementSize > std::numeric_limits<int32_t>::max())) {
                SetError(err, kToHost, kRecordBadCount, nullptr,
                         L"Item %s: %ld elements are too large", item->name, static_cast<long>(n));
                return false;
            }
            if (!PrepareIndirect(item, at, n, elements, depth, err)) return false;
            count = n;
        }
        if (IsObjectType(item->type)) {
            for (int64_t i = 0; i < count; ++i) {
                if (!RecordToHost(source, item->design, elements + i * item->elementSize, bytes,
                                  depth + 1, err)) {
                    SetError(err, kToHost, kStepFailed, err ? *err : nullptr,
                             L"omif_MIFtoObject failed");
                    return false;
                }
            }
        } else if (item->type == OMIF_ITEM_BASEDATA) {
            for (int64_t i = 0; i < count; ++i) {
                auto *bd = reinterpret_cast<Ogda_BaseData *>(elements + i * item->elementSize);
                if (!BaseDataToHost(source, bd, bytes, err)) {
                    SetError(err, kToHost, kStepFailed, err ? *err : nullptr,
                             L"omif_MIFtoBaseData failed");
                    return false;
                }
            }
        } else {
            if (!ElementsIn(source, item->type, elements, static_cast<std::size_t>(count),
                            step.toHost, err)) {
                SetError(err, kToHost, kStepFailed, err ? *err : nullptr, L"%s failed",
                         step.toHost);
                return false;
            }
            bytes += PlainFileBytes(*TypeInfo(item->type), count);
        }
    }
    return true;
}

bool RecordToFile(ByteSink &sink, const Omif_Design *design, const unsigned char *record,
                  int64_t &bytes, int depth, Oerr_ErrorReport **err) {
    if (!DepthOk(depth, kToFile, err)) return false;
    for (const Omif_Item *item = design->items; item; item = item->next) {
        if (!CheckedType(item, kToFile, err)) return false;
        const unsigned char *at = record + item->offset;
        const unsigned char *elements = nullptr;
        int64_t count = 0;
        if (!HeldElements(item, at, elements, count, kToFile, err)) return false;
        const StepNames step = Step(item->type);
        if (item->indirect) {
            const int64_t position = sink.Position(kToFile, err);
            if (position < 0) return false;
            if (position > std::numeric_limits<uint32_t>::max()) {
                SetError(err, kToFile, kRecordOffsetTooLarge, nullptr,
                         L"Offset %ld of item %s does not fit in 32 bits",
                         static_cast<long>(position), item->name);
                return false;
            }
            unsigned char words[8];
            StoreLE32(words, static_cast<uint32_t>(count));
            StoreLE32(words + 4, static_cast<uint32_t>(position));
            if (!sink.Write(words, sizeof words, L"omif_ULongToMIF", err)) {
                SetError(err, kToFile, kStepFailed, err ? *err : nullptr,
                         L"omif_ULongToMIF failed");
                return false;
            }
            bytes += 8;
        }
        if (IsObjectType(item->type)) {
            for (int64_t i = 0; i < count; ++i) {
                if (!RecordToFile(sink, item->design, elements + i * item->elementSize, bytes,
                                  depth + 1, err)) {
                    SetError(err, kToFile, kStepFailed, err ? *err : nullptr,
                             L"omif_ObjectToMIF failed");
                    return false;
                }
            }
        } else if (item->type == OMIF_ITEM_BASEDATA) {
            for (int64_t i = 0; i < count; ++i) {
                const auto *bd =
                    reinterpret_cast<const Ogda_BaseData *>(elements + i * item->elementSize);
                if (!BaseDataToFile(sink, bd, bytes, err)) {
                    SetError(err, kToFile, kStepFailed, err ? *err : nullptr,
                             L"omif_BaseDataToMIF failed");
                    return false;
                }
            }
        } else {
            if (!ElementsOut(sink, item->type, elements, static_cast<std::size_t>(count),
                             step.toFile, err)) {
                SetError(err, kToFile, kStepFailed, err ? *err : nullptr, L"%s failed",
                         step.toFile);
                return false;
            }
            bytes += PlainFileBytes(*TypeInfo(item->type), count);
        }
    }
    return true;
}

bool RecordFileSize(const Omif_Design *design, const unsigned char *record, int64_t &size,
                    int depth, Oerr_ErrorReport **err) {
    static const wchar_t *const kFn = L"omif_ObjectSize";
    if (!DepthOk(depth, kFn, err)) return false;
    for (const Omif_Item *item = design->items; item; item = item->next) {
        const ItemTypeInfo *info = CheckedType(item, kFn, err);
        if (!info) return false;
        const unsigned char *elements = nullptr;
        int64_t count = 0;
        if (record) {
            if (!HeldElements(item, record + item->offset, elements, count, kFn, err)) return false;
        } else if (!item->indirect) {
            count = item->count;
        }
        if (item->indirect) size = SatAdd(size, 8);
        if (IsObjectType(item->type)) {
            if (!elements) {
                int64_t one = 0;
                if (!RecordFileSize(item->design, nullptr, one, depth + 1, err)) return false;
                size = SatAdd(size, SatMul(one, count));
                continue;
            }
            for (int64_t i = 0; i < count; ++i)
                if (!RecordFileSize(item->design, elements + i * item->elementSize, size, depth + 1,
                                    err))
                    return false;
        } else if (item->type == OMIF_ITEM_BASEDATA) {
            for (int64_t i = 0; i < count; ++i) {
                if (!elements) {
                    size = SatAdd(size, SatMul(count, kBaseHeaderBytes));
                    break;
                }
                const auto *bd =
                    reinterpret_cast<const Ogda_BaseData *>(elements + i * item->elementSize);
                if (!PixelItemType(bd->datatype) || bd->numrows < 0 || bd->numcolumns < 0) {
                    SetError(err, kFn, kRecordUnusableType, nullptr,
                             L"BaseData of pixel type %ld cannot be stored",
                             static_cast<long>(bd->datatype));
                    return false;
                }
                size = SatAdd(size, BaseDataFileBytes(bd->numrows, bd->numcolumns, bd->datatype,
                                                      bd->objecttype));
            }
        } else {
            size = SatAdd(size, PlainFileBytes(*info, count));
        }
    }
    return true;
}

} // namespace orvik::mif
