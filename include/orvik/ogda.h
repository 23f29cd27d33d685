/*
 * ogda.h - pixel types, BaseData arrays and stacks, their ASCII text form, and small matrix
 * routines.
 */
#ifndef ORVIK_OGDA_H
#define ORVIK_OGDA_H

#include <stddef.h>
#include <stdint.h>
#include <wchar.h>

#include <orvik/oerr.h>
#include <orvik/omsc.h>

ORVIK_BEGIN_DECLS

/* ---- Pixel types and BaseData -------------------------------------------------------- */

/* Pixel types. The value indexes every per-type table of the library; the order is fixed.
 * u1, u2 and u4 are stored one value per byte. c64 is a pair of f32 (real, imaginary), c128 a
 * pair of f64. "string" elements are host pointers to library-heap wide strings owned by the
 * array (a null element is an empty value). */
typedef enum Ogda_PixelType_ {
    OGDA_PIXEL_INVALID = -1,
    OGDA_U1 = 0,
    OGDA_U2 = 1,
    OGDA_U4 = 2,
    OGDA_U8 = 3,
    OGDA_S8 = 4,
    OGDA_U16 = 5,
    OGDA_S16 = 6,
    OGDA_U32 = 7,
    OGDA_S32 = 8,
    OGDA_F32 = 9,
    OGDA_F64 = 10,
    OGDA_C64 = 11,
    OGDA_C128 = 12,
    OGDA_STRING = 13,
    OGDA_PIXEL_FORCE_32_BITS = 0x7fffffff
} Ogda_PixelType;

/* Number of pixel types (the size of every per-type table). */
#define OGDA_PIXEL_TYPE_COUNT 14
/* Number of integer pixel types (u1 .. s32): the size of the integer minimum/maximum tables. */
#define OGDA_INTEGER_TYPE_COUNT 9

/* Object types. A matrix is stored column by column (a line is a column); every other object
 * type row by row. Values from 4 up are invalid. */
typedef enum Ogda_ObjectType_ {
    Ogda_Scalar = 0, /* one value, 1 x 1 */
    Ogda_Table = 1,  /* a column of values, n x 1 (also used for vectors) */
    Ogda_Matrix = 2, /* column-major */
    Ogda_Raster = 3, /* row-major; the owned block is padded, see ogda_BaseDataCreate */
    OGDA_OBJECT_FORCE_32_BITS = 0x7fffffff
} Ogda_ObjectType;

#define OGDA_OBJECT_TYPE_COUNT 4

/* A typed two-dimensional array or a view into one.
 * Element (r, c) lies at data + r * lineBytes + c * numbytes, except for Ogda_Matrix, where it
 * lies at data + c * lineBytes + r * numbytes. `data` and `dataStart` are always equal; every
 * operation sets both. A view keeps its parent's lineBytes. */
typedef struct Ogda_BaseData_ {
    int32_t numrows;
    int32_t numcolumns;
    Ogda_PixelType datatype;
    Ogda_ObjectType objecttype;
    void *data;
    void *dataStart;
    int32_t lineBytes;   /* bytes from one line (row; column for a matrix) to the next */
    int32_t derivedFlag; /* 0: owns its block (freed on delete); 1: caller's data or a view */
    int32_t numelements; /* numrows * numcolumns */
    int32_t numbytes;    /* bytes per pixel of datatype */
    uint32_t tag;        /* 0 on creation; carried unchanged by copy and derive */
} Ogda_BaseData;

/* A counted array of layers. */
typedef struct Ogda_BaseDataStack_ {
    int32_t count;
    int32_t layersShared; /* 0: the stack owns its layers; non-zero: it only points at them */
    Ogda_BaseData **layers;
    int32_t ownsBlock; /* non-zero: the stack allocated one block holding every layer's data
                          (ogda_BaseDataStackCreateContiguous) and frees it on delete */
} Ogda_BaseDataStack;

/* A counted array of stacks. */
typedef struct Ogda_BaseDataStackArray_ {
    int32_t count;
    int32_t stacksShared; /* 0: the array owns its stacks; non-zero: it only points at them */
    Ogda_BaseDataStack **stacks;
    int32_t reserved; /* 0 */
} Ogda_BaseDataStackArray;

/* A rectangle of elements: first row, first column, number of rows, number of columns. */
typedef struct Ogda_Window_ {
    int32_t rOffset;
    int32_t cOffset;
    int32_t nRows;
    int32_t nColumns;
} Ogda_Window;

/* Exported per-type tables (read-only). Bits and bytes per pixel and the name strings have
 * OGDA_PIXEL_TYPE_COUNT entries; the integer minimum and maximum have OGDA_INTEGER_TYPE_COUNT
 * entries (u1 .. s32 only). */
ORVIK_API const int32_t *omsc_AddressOf_ogda_NumBitsPerPixel(void) ORVIK_NOEXCEPT;
ORVIK_API const int32_t *omsc_AddressOf_ogda_NumBytesPerPixel(void) ORVIK_NOEXCEPT;
ORVIK_API const wchar_t *const *omsc_AddressOf_ogda_PixelTypeName(void) ORVIK_NOEXCEPT;
ORVIK_API const double *omsc_AddressOf_ogda_IntegerMinValue(void) ORVIK_NOEXCEPT;
ORVIK_API const double *omsc_AddressOf_ogda_IntegerMaxValue(void) ORVIK_NOEXCEPT;

/* Case-insensitive; OGDA_PIXEL_INVALID (-1) when no name matches or name is null. */
ORVIK_API Ogda_PixelType ogda_PixelTypeFromName(const wchar_t *name) ORVIK_NOEXCEPT;
/* Null for a type outside 0..13. */
ORVIK_API const wchar_t *ogda_PixelNameFromType(Ogda_PixelType type) ORVIK_NOEXCEPT;
/* 0 for a type outside 0..13. */
ORVIK_API int32_t ogda_NumBytePerPixelFromType(Ogda_PixelType type) ORVIK_NOEXCEPT;

/* Windows. */
ORVIK_API Ogda_Window *ogda_WindowCreate(int32_t rOffset, int32_t cOffset, int32_t nRows,
                                         int32_t nColumns, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Copies the four values into dst (a new window when dst is null); returns dst. */
ORVIK_API Ogda_Window *ogda_WindowCopy(const Ogda_Window *src, Ogda_Window *dst,
                                       Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API void ogda_WindowDelete(Ogda_Window *window) ORVIK_NOEXCEPT;

/* New object. With data it adopts the caller's block (derivedFlag 1); without, it allocates
 * numbytes * nrows * ncolumns bytes (a raster: ncolumns rounded up to a multiple of 4), not
 * cleared beyond what the heap guarantees. */
ORVIK_API Ogda_BaseData *ogda_BaseDataCreate(int32_t nrows, int32_t ncolumns,
                                             Ogda_PixelType datatype, Ogda_ObjectType objecttype,
                                             void *data, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Reshapes a derived object in place (creates one when object is null). */
ORVIK_API Ogda_BaseData *ogda_BaseDataReCreate(Ogda_BaseData *object, int32_t nrows,
                                               int32_t ncolumns, Ogda_PixelType datatype,
                                               Ogda_ObjectType objecttype, void *data,
                                               Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Makes view (allocated when null) an nRows x nColumns window of source at (rOffset, cOffset).
 * On failure returns view unchanged. */
ORVIK_API Ogda_BaseData *ogda_BaseDataReDerive(const Ogda_BaseData *source, Ogda_BaseData *view,
                                               int32_t rOffset, int32_t cOffset, int32_t nRows,
                                               int32_t nColumns, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API Ogda_BaseData *ogda_BaseDataDerived(const Ogda_BaseData *source, int32_t rOffset,
                                              int32_t cOffset, int32_t nRows, int32_t nColumns,
                                              Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Copies the overlapping extent, converting between pixel types with the truncating
 * conversion table; creates the destination when it is null. */
ORVIK_API Ogda_BaseData *ogda_BaseDataCopy(const Ogda_BaseData *source, Ogda_BaseData *destination,
                                           Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Copies the nRows x nColumns window at (srcRow, srcColumn) of source to (dstRow, dstColumn)
 * of destination, converting with the rounding table when round is true, otherwise the
 * truncating one. A null destination is created nRows x nColumns with the source's pixel and
 * object type (dstRow and dstColumn must then be 0). See docs/basedata.md. */
ORVIK_API Ogda_BaseData *ogda_BaseDataCopyExt(const Ogda_BaseData *source, int32_t srcRow,
                                              int32_t srcColumn, Ogda_BaseData *destination,
                                              int32_t dstRow, int32_t dstColumn, int32_t nRows,
                                              int32_t nColumns, Omsc_Boolean round,
                                              Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Regions of ogda_BaseDataSetBoth. */
#define OGDA_REGION_ALL 0
#define OGDA_REGION_DIAGONAL 1
#define OGDA_REGION_ROW 2
#define OGDA_REGION_COLUMN 3

/* Sets the elements of a region from raw pixels of the object's own type, the source advancing
 * by increment elements after each element ("string": wide strings, each element receives its
 * own copy). Returns object, null on failure. */
ORVIK_API Ogda_BaseData *ogda_BaseDataSetBoth(Ogda_BaseData *object, const void *values,
                                              int32_t region, int32_t index, int32_t increment,
                                              Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API Ogda_BaseData *ogda_BaseDataSet(Ogda_BaseData *object, const void *values, int32_t region,
                                          int32_t index, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API Ogda_BaseData *ogda_BaseDataSetScalar(Ogda_BaseData *object, const void *value,
                                                int32_t region, int32_t index,
                                                Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Frees an owning object's block (and its strings); nothing for a null or derived object. */
ORVIK_API void ogda_BaseDataDeleteContents(Ogda_BaseData *object, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API void ogda_BaseDataDelete(Ogda_BaseData *object, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Gives an owning object a new shape, keeping the overlapping elements. Returns object, null on
 * failure (the object is then unchanged). A null object does nothing and returns null. */
ORVIK_API Ogda_BaseData *ogda_BaseDataReallocate(Ogda_BaseData *object, int32_t nRows,
                                                 int32_t nColumns, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
/* Clamps every element into [minimum, maximum] in place (see docs/basedata.md). */
ORVIK_API Ogda_BaseData *ogda_BaseDataClip(Ogda_BaseData *object, double minimum, double maximum,
                                           Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Smallest and largest of lineCount lines of countPerLine elements (types above f64: bytes). */
ORVIK_API void ogda_BaseDataStats(const Ogda_BaseData *object, int32_t countPerLine,
                                  int32_t lineCount, double *minimum, double *maximum)
    ORVIK_NOEXCEPT;
/* Writes the object to standard output. */
ORVIK_API void ogda_BaseDataPrint(const Ogda_BaseData *object, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;

/* Stacks. */
ORVIK_API Ogda_BaseDataStack *ogda_BaseDataStackCreate(int32_t count, int32_t nrows,
                                                       int32_t ncolumns, Ogda_PixelType datatype,
                                                       Ogda_ObjectType objecttype,
                                                       Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Every layer lies in one block (the caller's, or one the stack allocates and frees), each
 * starting 8-byte aligned at block + i * (ogda_BaseDataStackDataSize(1, ...)). */
ORVIK_API Ogda_BaseDataStack *
ogda_BaseDataStackCreateContiguous(int32_t count, int32_t nrows, int32_t ncolumns,
                                   Ogda_PixelType datatype, Ogda_ObjectType objecttype, void *block,
                                   Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* A stack of count layer pointers that it does not own (layersShared 1), copied from layers
 * when given, null otherwise. */
ORVIK_API Ogda_BaseDataStack *ogda_BaseDataStackPtrCreate(int32_t count,
                                                          Ogda_BaseData *const *layers,
                                                          Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API Omsc_Boolean ogda_BaseDataStackIsContiguous(const Ogda_BaseDataStack *stack)
    ORVIK_NOEXCEPT;
/* Bytes of a contiguous stack; 0 on bad arguments or when it would exceed 2^31 - 1. */
ORVIK_API int32_t ogda_BaseDataStackDataSize(int32_t count, int32_t nrows, int32_t ncolumns,
                                             Ogda_PixelType datatype, Ogda_ObjectType objecttype,
                                             Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Elements per layer that `bytes` can hold for count layers; 0 on bad arguments. */
ORVIK_API int32_t ogda_BaseDataStackMaxElements(int32_t bytes, int32_t count,
                                                Ogda_PixelType datatype, Ogda_ObjectType objecttype,
                                                Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Copies layer by layer (ogda_BaseDataCopy); a null dst is created with the source's shapes. */
ORVIK_API Ogda_BaseDataStack *ogda_BaseDataStackCopy(const Ogda_BaseDataStack *src,
                                                     Ogda_BaseDataStack *dst,
                                                     Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API void ogda_BaseDataStackDelete(Ogda_BaseDataStack *stack, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
/* A stack of views, the same window of every layer. */
ORVIK_API Ogda_BaseDataStack *ogda_BaseDataStackDerived(const Ogda_BaseDataStack *src,
                                                        int32_t rOffset, int32_t cOffset,
                                                        int32_t nRows, int32_t nColumns,
                                                        Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* A one-layer stack whose layer is a view of the whole of `layer`. */
ORVIK_API Ogda_BaseDataStack *ogda_BaseDataStackDerivedFromDataLayer(const Ogda_BaseData *layer,
                                                                     Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API void ogda_BaseDataStackPrint(const Ogda_BaseDataStack *stack, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
/* Sets every element of every layer from one raw pixel of each layer's own type. */
ORVIK_API Ogda_BaseDataStack *ogda_BaseDataStackSetScalar(Ogda_BaseDataStack *stack,
                                                          const void *value, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
/* Zeroes every element of every layer ("string" elements are freed and become null). */
ORVIK_API Ogda_BaseDataStack *ogda_BaseDataStackSetZero(Ogda_BaseDataStack *stack,
                                                        Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Stack arrays: count stacks of nlayers layers each. */
ORVIK_API Ogda_BaseDataStackArray *
ogda_BaseDataStackArrayCreate(int32_t count, int32_t nlayers, int32_t nrows, int32_t ncolumns,
                              Ogda_PixelType datatype, Ogda_ObjectType objecttype,
                              Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API Ogda_BaseDataStackArray *ogda_BaseDataStackArrayCopy(const Ogda_BaseDataStackArray *src,
                                                               Ogda_BaseDataStackArray *dst,
                                                               Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API void ogda_BaseDataStackArrayDelete(Ogda_BaseDataStackArray *array, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API Ogda_BaseDataStackArray *
ogda_BaseDataStackArrayDerived(const Ogda_BaseDataStackArray *src, int32_t rOffset, int32_t cOffset,
                               int32_t nRows, int32_t nColumns, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API Ogda_BaseDataStackArray *ogda_BaseDataStackArraySetScalar(Ogda_BaseDataStackArray *array,
                                                                    const void *value,
                                                                    Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;

/* ASCII text form of a stack: one text line per row; for each column the values of every
 * layer, layer 0 first, separated by one blank. Returns OMSC_TRUE on success. */
ORVIK_API Omsc_Boolean ogda_BaseDataStackWriteAscii(const Ogda_BaseDataStack *stack,
                                                    const wchar_t *fileName, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
/* Reads the text form into an existing stack of the file's shape; returns stack. */
ORVIK_API Ogda_BaseDataStack *ogda_BaseDataStackReadAscii(Ogda_BaseDataStack *stack,
                                                          const wchar_t *fileName,
                                                          Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Creates a stack from the text form. nrows, ncolumns or nlayers below 1 are derived from the
 * file (rows from the line count; one of columns and layers from the first line's value
 * count). */
ORVIK_API Ogda_BaseDataStack *
ogda_CreateBaseDataStackFromAscii(Ogda_ObjectType objecttype, Ogda_PixelType datatype,
                                  int32_t nrows, int32_t ncolumns, int32_t nlayers,
                                  const wchar_t *fileName, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* ---- Small matrix routines (LU decomposition, division, inversion) ------------------- */

/* Dense n x n matrices are Ogda_Matrix objects of type f32, f64, c64 or c128, at most
 * OGDA_MATRIX_MAX_ORDER rows. Every type is computed in double precision (c64 and c128 as
 * complex double) with partial pivoting; a pivot no larger than n * epsilon * the largest
 * magnitude of the matrix (epsilon of the object's own precision) makes the matrix singular,
 * which is report 6. Inputs are never changed when a function fails. See docs/matrices.md. */
#define OGDA_MATRIX_MAX_ORDER 2048

/* Factors matrix in place into L (unit lower triangle, below the diagonal) and U (diagonal and
 * above) with P * A = L * U: row i of L * U is row pivots[i] of the original. pivots receives
 * n entries; *sign (when not null) +1 or -1, the parity of the row exchanges, so that the
 * determinant is *sign times the product of U's diagonal. Returns matrix, null on failure. */
ORVIK_API Ogda_BaseData *ogda_MatrixLUDecomposition(Ogda_BaseData *matrix, int32_t *pivots,
                                                    int32_t *sign, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
/* Solves a * x = b for x (left division, a \ b). a is n x n; b is n x m, an Ogda_Matrix or an
 * Ogda_Table (one right-hand side), of a's pixel type. x is created like b when null; a given x
 * must have b's shape, object type and a's pixel type, and may be b itself. Returns x. */
ORVIK_API Ogda_BaseData *ogda_MatrixDivide(const Ogda_BaseData *a, const Ogda_BaseData *b,
                                           Ogda_BaseData *x, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Inverse of the n x n matrix into inverse (created when null; a given one must be an n x n
 * matrix of the same pixel type and may be the matrix itself). Returns inverse. */
ORVIK_API Ogda_BaseData *ogda_MatrixInvert(const Ogda_BaseData *matrix, Ogda_BaseData *inverse,
                                           Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

ORVIK_END_DECLS

#endif /* ORVIK_OGDA_H */
