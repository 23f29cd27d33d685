/*
 * oimg.h - raster layers in HFA files.
 *
 * An image is an entry of type "Oimg_Image" whose children are its layers. A layer is an
 * entry of type "Oimg_Layer" whose data is the Oimg_LayerInfo record (design "Oimg_Layer")
 * and whose child "Blocks" is the block cache (ohfa.h) holding its pixels, one block per
 * blockWidth x blockHeight tile, row by row of tiles. Inside a block the pixels lie row by
 * row in MIF file form: u1, u2 and u4 packed 8, 4 and 2 to a byte (each block row starting
 * on a byte), the other numeric types little-endian, "string" pixels as zero-padded UTF-8
 * cells of cellBytes bytes. Blocks never written take no space and read as the no-data
 * value (0 when the layer has none). Reduced-resolution copies (overviews) are child layers
 * "Overview_2", "Overview_4", ... Layout: docs/raster-layers.md.
 *
 * Windows are (row, column, rows, columns) of the layer; the BaseData on the caller's side
 * must have exactly rows x columns elements and row lines (any object type but a matrix).
 * Pixel types are converted through the truncating conversion table (opxm.h).
 *
 * A layer handle belongs to one open file and one thread at a time; close every handle
 * before the file. Exception: on a file opened read-only, oimg_LayerReadWindow may be called
 * for the same or different layers from several threads at once (nothing else meanwhile);
 * see docs/raster-layers.md, "Threads". Errors: as everywhere, *err is cleared on entry and
 * receives one report per failure level.
 */
#ifndef ORVIK_OIMG_H
#define ORVIK_OIMG_H

#include <stdint.h>
#include <wchar.h>

#include <orvik/oerr.h>
#include <orvik/ogda.h>
#include <orvik/ohfa.h>
#include <orvik/omsc.h>

ORVIK_BEGIN_DECLS

typedef struct Oimg_Layer_ Oimg_Layer;

/* How overviews are computed: thematic layers (class numbers) take the most frequent value
 * of each 2 x 2 window, the top-left one among equals; continuous layers the mean. */
enum { OIMG_THEMATIC = 0, OIMG_CONTINUOUS = 1 };

/* Host form of the design "Oimg_Layer" (file form 40 bytes). */
typedef struct Oimg_LayerInfo_ {
    int32_t width;       /* columns, >= 1 */
    int32_t height;      /* rows, >= 1 */
    int32_t pixelType;   /* Ogda_PixelType */
    int32_t blockWidth;  /* 0 on creation: 64 */
    int32_t blockHeight; /* 0 on creation: 64 */
    int32_t layerKind;   /* OIMG_THEMATIC or OIMG_CONTINUOUS */
    int32_t cellBytes;   /* "string" layers: bytes per pixel in the file (0 on creation: 32);
                            0 for every other type */
    int32_t hasNoData;   /* non-zero: noData is the value of unwritten pixels */
    double noData;
} Oimg_LayerInfo;

/* Creates an image entry `name` (type "Oimg_Image", no data) as the last child of the node
 * `parentPath` (null: the root). Returns 0, or -1. */
ORVIK_API long oimg_ImageCreate(Ohfa_File *file, const wchar_t *parentPath, const wchar_t *name,
                                Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Creates layer `name` as the last child of the image at `imagePath` and opens it. */
ORVIK_API Oimg_Layer *oimg_LayerCreate(Ohfa_File *file, const wchar_t *imagePath,
                                       const wchar_t *name, const Oimg_LayerInfo *info,
                                       Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Opens the layer at `layerPath`. A record or block store whose sizes disagree, overflow 32
 * bits or name space outside the file is refused with a report. */
ORVIK_API Oimg_Layer *oimg_LayerOpen(Ohfa_File *file, const wchar_t *layerPath,
                                     Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Deletes the layer at `layerPath` with its blocks and overviews; their space goes back to
 * the free list and the companion files of external ones are removed. Nothing of the layer is
 * read but its entry's type, so a layer that cannot be opened (a damaged record, a missing or
 * foreign companion file) is deleted too; a companion file that belongs to another file stays
 * in place. No handle of it may be open. Returns 0, or -1. */
ORVIK_API long oimg_LayerDelete(Ohfa_File *file, const wchar_t *layerPath, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;

/* Writes what the layer holds in memory and frees the handle (also on failure, which is
 * reported). Returns 0, or -1; a null layer is no error. */
ORVIK_API long oimg_LayerClose(Oimg_Layer *layer, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Writes the blocks the layer holds in memory. Returns 0, or -1. */
ORVIK_API long oimg_LayerFlush(Oimg_Layer *layer, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* The layer's record (owned by the handle), or null. */
ORVIK_API const Oimg_LayerInfo *oimg_LayerInfoGet(const Oimg_Layer *layer) ORVIK_NOEXCEPT;

/* The node path of the layer's entry (owned by the handle), or null. */
ORVIK_API const wchar_t *oimg_LayerPathGet(const Oimg_Layer *layer) ORVIK_NOEXCEPT;

/* The block cache holding the pixels (owned by the handle): for its limit and counters. */
ORVIK_API Ohfa_Cache *oimg_LayerCacheGet(Oimg_Layer *layer) ORVIK_NOEXCEPT;

/* Reads the window into `data` (rows x columns elements). Returns 0, or -1. */
ORVIK_API long oimg_LayerReadWindow(Oimg_Layer *layer, int32_t row, int32_t column, int32_t rows,
                                    int32_t columns, Ogda_BaseData *data, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;

/* Writes `data` (rows x columns elements) into the window. Returns 0, or -1. */
ORVIK_API long oimg_LayerWriteWindow(Oimg_Layer *layer, int32_t row, int32_t column, int32_t rows,
                                     int32_t columns, const Ogda_BaseData *data,
                                     Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* The whole layer: into `data` (null: a new raster of the layer's size and pixel type);
 * returns data, or null. */
ORVIK_API Ogda_BaseData *oimg_LayerRead(Oimg_Layer *layer, Ogda_BaseData *data,
                                        Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API long oimg_LayerWrite(Oimg_Layer *layer, const Ogda_BaseData *data, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;

/* ---- Coded layers -----------------------------------------------------------------------
 * A layer created with a storage record keeps each block encoded: a predictor, then a codec,
 * and a checksum of the stored bytes that every read verifies (a mismatch is a report naming
 * the layer and block, never wrong pixels). Layers created by oimg_LayerCreate keep the plain
 * fixed-size layout. Layout and choices: docs/raster-layers.md, "Coded layers". */
enum {
    OIMG_CODEC_NONE = 0,       /* blocks as they are */
    OIMG_CODEC_RUN_LENGTH = 1, /* runs of equal bytes (thematic data) */
    OIMG_CODEC_DEFLATE = 2,    /* level 1 to 12, 0: 6 */
    OIMG_CODEC_ZSTD = 3,       /* level 1 to 22, 0: 3 */
    OIMG_CODEC_LZ4 = 4         /* level 0 */
};
enum {
    OIMG_PREDICTOR_NONE = 0,
    OIMG_PREDICTOR_DIFFERENCE = 1, /* horizontal differencing: u8, s8, u16, s16, u32, s32 */
    OIMG_PREDICTOR_SHUFFLE = 2     /* byte shuffle: types of two or more bytes a scalar */
};
enum { OIMG_CHECKSUM_NONE = 0, OIMG_CHECKSUM_XXH3 = 1 };

/* Host form of the design "Oimg_LayerStorage" (file form 16 bytes). */
typedef struct Oimg_LayerStorage_ {
    int32_t codec;     /* OIMG_CODEC_... */
    int32_t level;     /* codec level, 0: the codec's default */
    int32_t predictor; /* OIMG_PREDICTOR_... */
    int32_t checksum;  /* OIMG_CHECKSUM_... */
} Oimg_LayerStorage;

/* The defaults of a new coded layer: no codec, no predictor, XXH3 checksums. */
ORVIK_API void oimg_LayerStorageInit(Oimg_LayerStorage *storage) ORVIK_NOEXCEPT;

/* As oimg_LayerCreate, with the blocks kept as `storage` says (null: oimg_LayerCreate). */
ORVIK_API Oimg_Layer *oimg_LayerCreateWithStorage(Ohfa_File *file, const wchar_t *imagePath,
                                                  const wchar_t *name, const Oimg_LayerInfo *info,
                                                  const Oimg_LayerStorage *storage,
                                                  Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Fills `storage` with the layer's storage record. Returns 1 for a coded layer, 0 for a
 * plain one (storage: no codec, no predictor, no checksum), -1 on failure. */
ORVIK_API long oimg_LayerStorageGet(const Oimg_Layer *layer, Oimg_LayerStorage *storage,
                                    Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Bytes the layer's written blocks take in the file (stored) and would take unencoded
 * (*decoded); either pointer may be null. Returns 0, or -1. */
ORVIK_API long oimg_LayerStoredBytes(Oimg_Layer *layer, int64_t *stored, int64_t *decoded,
                                     Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Verifies every written block of a coded layer: its checksum, and that it decodes to the
 * block size. Returns the number of damaged blocks, with a report in *err naming the layer,
 * the first damaged block and the count; 0 when all are sound (plain layers: always); -1
 * when the blocks cannot be read at all. */
ORVIK_API long oimg_LayerCheck(Oimg_Layer *layer, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* ---- Companion data files ------------------------------------------------------------
 * A layer may keep its blocks in a companion data file beside the HFA file (same folder),
 * at 64-bit offsets, so images larger than the HFA file's 2 GiB limit fit. Such a layer is
 * external; it is stored as a coded layer (oimg_LayerStorageGet returns 1) whose blocks lie
 * in that file. Everything else (records, statistics, tables, overviews' records) stays in
 * the HFA file. */
#define OIMG_PLACE_AUTO 0      /* external when the threshold says so */
#define OIMG_PLACE_INSIDE 1    /* in the HFA file */
#define OIMG_PLACE_COMPANION 2 /* in a companion data file */

/* As oimg_LayerCreateWithStorage (storage may be null), with the blocks' place chosen by
 * `placement`. oimg_LayerCreate and oimg_LayerCreateWithStorage use OIMG_PLACE_AUTO: a layer
 * is external when the file's length plus the layer's whole pixel data (every block, written
 * or not) exceeds the file's threshold. An external layer created without storage gets the
 * defaults of oimg_LayerStorageInit (no codec, XXH3 checksums). */
ORVIK_API Oimg_Layer *oimg_LayerCreatePlaced(Ohfa_File *file, const wchar_t *imagePath,
                                             const wchar_t *name, const Oimg_LayerInfo *info,
                                             const Oimg_LayerStorage *storage, long placement,
                                             Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* The file's threshold in bytes (default 1 GiB, 1073741824; kept while the file is open, not
 * stored in it). Set: 0, or -1 for a null file or a negative value. Get: -1 for a null file. */
ORVIK_API long oimg_CompanionThresholdSet(Ohfa_File *file, int64_t bytes, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API int64_t oimg_CompanionThresholdGet(const Ohfa_File *file) ORVIK_NOEXCEPT;

/* The full path of an external layer's companion data file (owned by the layer), or null for
 * a layer kept in the HFA file. */
ORVIK_API const wchar_t *oimg_LayerCompanionPathGet(const Oimg_Layer *layer) ORVIK_NOEXCEPT;

/* The full paths of the companion data files the file's layers name, each once, in the order
 * of the entry tree, whether or not they exist (a caller that moves, copies or measures the
 * file needs them). A new list, empty when no layer is external; null with a report when the
 * tree cannot be read. */
ORVIK_API ostr_StringList *oimg_CompanionFileList(Ohfa_File *file, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;

/* ---- Overviews ------------------------------------------------------------------------
 * Overview k (factor 2^k) has ceil(width / 2^k) x ceil(height / 2^k) pixels, each computed
 * from the 2 x 2 window of level k - 1 (fewer at the right and bottom edges; no-data pixels
 * left out, all no-data gives no-data), the same pixel type and block size. Levels go down
 * until one block holds the whole overview. */

/* Builds (or rebuilds) every overview from the layer's pixels. Returns the number of
 * levels, or -1. */
ORVIK_API long oimg_LayerBuildOverviews(Oimg_Layer *layer, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Number of overview levels stored (0 when none), -1 on failure. */
ORVIK_API long oimg_LayerOverviewCount(Oimg_Layer *layer, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* The factor of the best level for reading at `scale` layer pixels per output pixel: the
 * largest stored factor not above scale (1: the layer itself). */
ORVIK_API long oimg_LayerOverviewFactor(Oimg_Layer *layer, double scale, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;

/* Opens the overview of factor `factor` (2, 4, ...); factor 1 opens the layer again. */
ORVIK_API Oimg_Layer *oimg_LayerOverviewOpen(Oimg_Layer *layer, long factor, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;

/* Overviews built from rows the caller hands over as it writes the layer, so the layer is not
 * read back: Begin deletes the old levels and creates the new ones; AddRows takes the next
 * rows of the layer (top to bottom, the whole width, in the layer's pixel type: rows x width
 * elements, any object type but a matrix); End, once every row has been given, writes what
 * the levels hold, frees the build and returns the number of levels. The levels equal those
 * of oimg_LayerBuildOverviews over the same pixels. A build that failed or is ended before
 * its last row is freed with its levels deleted, and End returns -1 with a report. The layer
 * handle must stay open until End. AddRows returns 0, or -1 (the build then takes no more
 * rows). */
typedef struct Oimg_OverviewBuild_ Oimg_OverviewBuild;
ORVIK_API Oimg_OverviewBuild *oimg_OverviewBuildBegin(Oimg_Layer *layer, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API long oimg_OverviewBuildAddRows(Oimg_OverviewBuild *build, const Ogda_BaseData *rows,
                                         Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API long oimg_OverviewBuildEnd(Oimg_OverviewBuild *build, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;

ORVIK_END_DECLS

#endif /* ORVIK_OIMG_H */
