/*
 * omif.h - MIF, the library's self-describing data: designs (record layouts), dictionaries
 * (named collections of designs) and their text form.
 *
 * Model
 * -----
 * A design is a named, ordered list of items. Each item has a type (OMIF_ITEM_...), a
 * name, a count and a form: direct (the elements lie inside the record), plain pointer
 * ("*": the record holds a pointer to `count` elements) or counted pointer ("p": the
 * record holds a 32-bit element count and a pointer). Enumerations carry their value
 * names; object items carry the design of their elements: `o` refers to a design of the
 * same dictionary (not owned), `x` owns an inline design.
 *
 * Host layout: every design knows the size and alignment of one host record, and every
 * item its offset, its size, the size of one element and the padding that follows it, so
 * that a C struct written naturally for the design has exactly that layout (items in
 * order, each aligned to its natural alignment, the record rounded up to its strictest
 * alignment). Host element sizes on this platform:
 *   e 4 (32-bit value)   1 2 4 C c 1   S s 2   L l i f 4   d t 8   m 8 (two floats)
 *   M 16 (two doubles)   b sizeof(Ogda_BaseData)   o x the element design's host size.
 * A plain-pointer item takes one pointer. A counted-pointer item takes
 * OMIF_COUNTED_POINTER_OF(T): a 32-bit count followed by a pointer, aligned as a pointer.
 *
 * Dictionaries list their designs in the order they were added (oldest first); adding a
 * design whose name is already present leaves the dictionary unchanged, so names are
 * unique and look-up by name finds the one design of that name. A dictionary keeps its
 * own copies of the designs added to it, and its `o` items refer to its own designs.
 *
 * Ownership: every design, dictionary, name and string returned here comes from the
 * library heap and belongs to the caller (or to the dictionary that holds it). Designs
 * and dictionaries are not locked; a dictionary may be read from several threads while
 * nobody modifies it.
 */
#ifndef ORVIK_OMIF_H
#define ORVIK_OMIF_H

#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <wchar.h>

#include <orvik/oerr.h>
#include <orvik/ofio.h>
#include <orvik/omsc.h>

ORVIK_BEGIN_DECLS

/* Item type codes; the letter is the one used in the text form. */
enum {
    OMIF_ITEM_END = 0,           /* terminates item tables and argument lists */
    OMIF_ITEM_INLINE_OBJECT = 1, /* x: object, design given inline (owned) */
    OMIF_ITEM_OBJECT = 2,        /* o: object, design named in the dictionary */
    OMIF_ITEM_ENUM = 3,          /* e: enumeration, 32-bit on the host */
    OMIF_ITEM_U1 = 4,            /* 1: 1-bit unsigned, one byte per element on the host */
    OMIF_ITEM_U2 = 5,            /* 2: 2-bit unsigned */
    OMIF_ITEM_U4 = 6,            /* 4: 4-bit unsigned */
    OMIF_ITEM_UCHAR = 7,         /* C: unsigned 8-bit */
    OMIF_ITEM_CHAR = 8,          /* c: 8-bit text character */
    OMIF_ITEM_USHORT = 9,        /* S: unsigned 16-bit */
    OMIF_ITEM_SHORT = 10,        /* s: signed 16-bit */
    OMIF_ITEM_ULONG = 11,        /* L: unsigned 32-bit */
    OMIF_ITEM_LONG = 12,         /* l: signed 32-bit */
    OMIF_ITEM_FLOAT = 13,        /* f: 32-bit float */
    OMIF_ITEM_DOUBLE = 14,       /* d: 64-bit double */
    OMIF_ITEM_COMPLEX = 15,      /* m: two 32-bit floats */
    OMIF_ITEM_DCOMPLEX = 16,     /* M: two 64-bit doubles */
    OMIF_ITEM_BASEDATA = 17,     /* b: Ogda_BaseData */
    OMIF_ITEM_TIME = 18,         /* t: time as a 64-bit double */
    OMIF_ITEM_S32 = 19           /* i: signed 32-bit */
};
#define OMIF_ITEM_TYPE_MAX 19

/* Pointer kinds of indirect items. */
enum {
    OMIF_POINTER_PLAIN = 0,  /* "*" */
    OMIF_POINTER_COUNTED = 1 /* "p" */
};

/* Item forms for the argument lists of omif_DesignCreateX (combine indirect + kind). */
enum { OMIF_DIRECT = 0, OMIF_PLAIN_POINTER = '*', OMIF_COUNTED_POINTER = 'p' };

/* The host form of a counted-pointer item: declare the member as
 * OMIF_COUNTED_POINTER_OF(double) values; */
#define OMIF_COUNTED_POINTER_OF(T)                                                                 \
    struct {                                                                                       \
        int32_t count;                                                                             \
        T *data;                                                                                   \
    }

/* Longest chain of nested object designs (inline designs within inline designs, or
 * objects held directly within objects) that a design may have. */
#define OMIF_MAX_NESTING 64

typedef struct Omif_Design_ Omif_Design;

typedef struct Omif_Item_ {
    struct Omif_Item_ *next;
    int32_t type; /* OMIF_ITEM_... */
    wchar_t *name;
    int32_t elementSize; /* host bytes of one element */
    int32_t hostSize;    /* host bytes of the whole item in the record */
    int32_t offset;      /* place of the item in the host record */
    int32_t count;       /* elements (direct, plain pointer); per record for "p" */
    int16_t enumCount;   /* e: number of names */
    wchar_t **enumNames; /* e: names; a name's position is its value */
    Omif_Design *design; /* o: referenced design; x: owned inline design */
    int32_t pointerKind; /* OMIF_POINTER_COUNTED or OMIF_POINTER_PLAIN */
    int32_t indirect;    /* 1: elements lie outside the record */
    int32_t padding;     /* host bytes after the item (to the next item or record end) */
    int32_t ownsDesign;  /* 1 when `design` belongs to this item (always for x) */
} Omif_Item;

struct Omif_Design_ {
    struct Omif_Design_ *next; /* next design of the dictionary */
    wchar_t *name;
    Omif_Item *items;  /* first item, declaration order */
    int32_t hostSize;  /* bytes of one host record, a multiple of alignment */
    int32_t alignment; /* strictest alignment of its items (1 for no items) */
};

/* The narrow twins (UTF-8 strings), same layout otherwise. */
typedef struct Omif_DesignA_ Omif_DesignA;
typedef struct Omif_ItemA_ {
    struct Omif_ItemA_ *next;
    int32_t type;
    char *name;
    int32_t elementSize;
    int32_t hostSize;
    int32_t offset;
    int32_t count;
    int16_t enumCount;
    char **enumNames;
    Omif_DesignA *design;
    int32_t pointerKind;
    int32_t indirect;
    int32_t padding;
    int32_t ownsDesign;
} Omif_ItemA;

struct Omif_DesignA_ {
    struct Omif_DesignA_ *next;
    char *name;
    Omif_ItemA *items;
    int32_t hostSize;
    int32_t alignment;
};

/* Designs oldest first through `designs->next`. Change a dictionary only through the
 * functions below: `index` is the private look-up index. */
typedef struct Omif_Dictionary_ {
    Omif_Design *designs;
    int32_t count;
    struct Omif_DictionaryIndex_ *index;
} Omif_Dictionary;

/*
 * One item of a design to create. Fields a form does not use stay 0.
 * - e: `enumNames` is a null-terminated list of the value names.
 * - o: the element design is `design` when set, otherwise the design called `designName`
 *   in the dictionary passed to the creating function.
 * - x: the inline design is a copy of `design` when set, otherwise it is created from
 *   `items` (a table ending with OMIF_ITEM_END) under the name `designName`.
 * The macros below fill the common forms; a table ends with OMIF_TABLE_END.
 */
typedef struct Omif_ItemDescription_ Omif_ItemDescription;
struct Omif_ItemDescription_ {
    int32_t type;
    const wchar_t *name;
    int32_t count;
    int32_t indirect;
    int32_t pointerKind;
    const wchar_t *const *enumNames;
    const wchar_t *designName;
    const Omif_ItemDescription *items;
    const Omif_Design *design;
};

#define OMIF_FIELD(type, name, count)                                                              \
    { (type), (name), (count), 0, 0, NULL, NULL, NULL, NULL }
#define OMIF_FIELD_PTR(type, name, count)                                                          \
    { (type), (name), (count), 1, OMIF_POINTER_PLAIN, NULL, NULL, NULL, NULL }
#define OMIF_FIELD_COUNTED(type, name)                                                             \
    { (type), (name), 0, 1, OMIF_POINTER_COUNTED, NULL, NULL, NULL, NULL }
#define OMIF_FIELD_ENUM(name, names)                                                               \
    { OMIF_ITEM_ENUM, (name), 1, 0, 0, (names), NULL, NULL, NULL }
#define OMIF_FIELD_OBJECT(name, count, designName)                                                 \
    { OMIF_ITEM_OBJECT, (name), (count), 0, 0, NULL, (designName), NULL, NULL }
#define OMIF_FIELD_OBJECT_PTR(name, count, designName)                                             \
    { OMIF_ITEM_OBJECT, (name), (count), 1, OMIF_POINTER_PLAIN, NULL, (designName), NULL, NULL }
#define OMIF_FIELD_OBJECT_COUNTED(name, designName)                                                \
    { OMIF_ITEM_OBJECT, (name), 0, 1, OMIF_POINTER_COUNTED, NULL, (designName), NULL, NULL }
#define OMIF_FIELD_INLINE(name, count, designName, items)                                          \
    { OMIF_ITEM_INLINE_OBJECT, (name), (count), 0, 0, NULL, (designName), (items), NULL }
#define OMIF_TABLE_END                                                                             \
    { OMIF_ITEM_END, NULL, 0, 0, 0, NULL, NULL, NULL, NULL }

/* ---- Designs ---------------------------------------------------------------------- */

/* Creates a design from `itemCount` descriptions; `o` items named by designName are
 * looked up in `dictionary` (may be null when every object item gives its design).
 * Null on failure (bad type, count, name or form; missing design; nesting too deep;
 * record larger than 2 GiB; no memory). */
ORVIK_API Omif_Design *omif_DesignCreate(const wchar_t *name, const Omif_ItemDescription *items,
                                         int32_t itemCount, const Omif_Dictionary *dictionary,
                                         Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* As omif_DesignCreate for a table that ends with OMIF_TABLE_END. */
ORVIK_API Omif_Design *omif_DesignCreateFromTable(const wchar_t *name,
                                                  const Omif_ItemDescription *table,
                                                  const Omif_Dictionary *dictionary,
                                                  Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/*
 * Variable argument form. After `err` come the items, each as
 *   int type, const wchar_t *name, int count, int form (OMIF_DIRECT, OMIF_PLAIN_POINTER or
 *   OMIF_COUNTED_POINTER), then for e: const wchar_t *const *names (null-terminated);
 *   for o: const Omif_Design *design (referenced); for x: const Omif_Design *design
 *   (copied inline);
 * and the list ends with OMIF_ITEM_END. Example:
 *   omif_DesignCreateX(L"Point", &err, OMIF_ITEM_DOUBLE, L"x", 1, OMIF_DIRECT,
 *                      OMIF_ITEM_DOUBLE, L"y", 1, OMIF_DIRECT, OMIF_ITEM_END);
 */
ORVIK_API Omif_Design *omif_DesignCreateX(const wchar_t *name, Oerr_ErrorReport **err, ...)
    ORVIK_NOEXCEPT;
ORVIK_API Omif_Design *omif_DesignCreateVAPtr(const wchar_t *name, Oerr_ErrorReport **err,
                                              va_list *args) ORVIK_NOEXCEPT;

/* Free a design with its items, names and inline designs. Delete also nulls *design. */
ORVIK_API void omif_DesignDestroy(Omif_Design *design, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API void omif_DesignDelete(Omif_Design **design, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API void omif_DesignDestroyA(Omif_DesignA *design, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Deep copy: names, enumeration names and inline designs are copied; `o` items of the copy
 * refer to the same designs as the source's (a design the source owns is copied). */
ORVIK_API Omif_Design *omif_DesignCopy(const Omif_Design *design, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;

/* Copy into the other text form. Every design reached through `o` items is converted as
 * well and owned by the result (each once; a reference back to a design being converted
 * points at its converted copy). */
ORVIK_API Omif_Design *omif_DesignA2U(const Omif_DesignA *design, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API Omif_DesignA *omif_DesignU2A(const Omif_Design *design, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;

/* ---- Dictionaries ----------------------------------------------------------------- */

ORVIK_API Omif_Dictionary *omif_DictionaryCreate(Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API void omif_DictionaryDestroy(Omif_Dictionary *dictionary, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API void omif_DictionaryDelete(Omif_Dictionary **dictionary, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;

/* Adds a copy of `design` unless a design of that name is present, then adds the element
 * designs of its object items in the same way; the copy's `o` items refer to the
 * dictionary's designs of those names. Returns the dictionary's design of that name. */
ORVIK_API Omif_Design *omif_DictionaryAddDesign(Omif_Dictionary *dictionary,
                                                const Omif_Design *design, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API Omif_Design *omif_AddDesignToDictionary(Omif_Dictionary *dictionary,
                                                  const Omif_Design *design, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;

/* The first design of that name, or null (without a report) when there is none. */
ORVIK_API Omif_Design *omif_DictionarySearchByName(const Omif_Dictionary *dictionary,
                                                   const wchar_t *name, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API Omif_Design *omif_FindDesignByName(const Omif_Dictionary *dictionary, const wchar_t *name,
                                             Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* ---- Built-in designs ------------------------------------------------------------- */

/* One design of a static table of built-in designs. */
typedef struct Omif_DesignTable_ {
    const wchar_t *name;
    const Omif_ItemDescription *items; /* ends with OMIF_TABLE_END */
} Omif_DesignTable;

/*
 * A module's built-in designs, declared statically and created together, in table order,
 * into one process-wide dictionary at first use (inside the thread-unsafe section):
 *   static const Omif_DesignTable kDesigns[] = {{L"Point", kPointItems}, ..., {NULL, NULL}};
 *   static Omif_BuiltinDesigns g_designs = OMIF_BUILTIN_DESIGNS(kDesigns, NULL);
 *   const Omif_Design *d = omif_BuiltinDesignFetch(&g_designs, L"Point", &err);
 * An `o` item names a design listed earlier in the same table or, failing that, one of
 * `base` (another set, whose design is then copied into this set's dictionary).
 */
typedef struct Omif_BuiltinDesigns_ {
    const Omif_DesignTable *designs; /* ends with {NULL, NULL} */
    struct Omif_BuiltinDesigns_ *base;
    Omif_Dictionary *dictionary; /* created at first use; never freed */
} Omif_BuiltinDesigns;
#define OMIF_BUILTIN_DESIGNS(table, base)                                                          \
    { (table), (base), NULL }

/* The set's dictionary, created on first call. The dictionary stays owned by the set. */
ORVIK_API const Omif_Dictionary *omif_BuiltinDictionaryGet(Omif_BuiltinDesigns *set,
                                                           Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* A design of the set; null with a report when the set has no design of that name. */
ORVIK_API const Omif_Design *omif_BuiltinDesignFetch(Omif_BuiltinDesigns *set, const wchar_t *name,
                                                     Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* ---- Text form -------------------------------------------------------------------- */

/* Write the text form onto an open stream (through ofio_Fprintf) or through any writer
 * callback. Return the number of characters written, or -1 with a report. */
ORVIK_API long omif_EncodeDictionary(Ofio_File *file, const Omif_Dictionary *dictionary,
                                     Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API long omif_DictionaryEncodeWithWriter(Ofio_WriterFunc writer, void *context,
                                               const Omif_Dictionary *dictionary,
                                               Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Number of characters of the text form, measured on the null device; 0 without a report
 * for a null dictionary. */
ORVIK_API long omif_DictionaryEncodedLength(const Omif_Dictionary *dictionary,
                                            Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* New wide string holding the text form (free with omsc_HeapFree). */
ORVIK_API wchar_t *omif_DictionaryEncodeToString(const Omif_Dictionary *dictionary,
                                                 Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Read one text form from an open stream (character by character, stopping after the
 * final ".") or from any reader callback. With a dictionary the designs are added to it
 * (and taken out again on failure) and it is returned; with null a new one is returned.
 * Null with a report on failure. */
ORVIK_API Omif_Dictionary *omif_DecodeDictionary(Ofio_File *file, Omif_Dictionary *dictionary,
                                                 Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API Omif_Dictionary *omif_DictionaryDecodeWithReader(Ofio_ReaderFunc reader, void *context,
                                                           Omif_Dictionary *dictionary,
                                                           Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* New dictionary decoded from a text form; text after the final "." is ignored. */
ORVIK_API Omif_Dictionary *omif_DictionaryDecodeFromString(const wchar_t *text,
                                                           Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* ---- Printing --------------------------------------------------------------------- */

/* Readable listings of a design (items with their host offsets and sizes) and of every
 * design of a dictionary. Return 0, or -1 with a report. */
ORVIK_API long omif_FprintfDesign(FILE *file, const Omif_Design *design, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API long omif_FprintfDictionary(FILE *file, const Omif_Dictionary *dictionary,
                                      Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Prints the values of one item of the host record `object` (nested objects indented by
 * `indent`), at most `maxValues` values per list (0: 8) before "..." cuts it. */
ORVIK_API long omif_FprintfItem(FILE *file, const void *object, const Omif_Item *item,
                                int32_t indent, int32_t maxValues, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;

ORVIK_END_DECLS

/* ==== Objects and conversion ========================================================== */
/*
 * A MIF object is a host record laid out as its design says (see the model above). These
 * functions convert one record to the file form (little-endian, no padding; an indirect
 * item is a 32-bit count, a 32-bit offset and then its elements) and back, and allocate,
 * measure, copy, free and access records. See docs/mif-objects.md.
 *
 * Byte counts are `long`. Conversion functions return the number of file bytes written or
 * consumed; on failure they report and return the bytes counted up to the failing step, so
 * callers test the report, not the count.
 *
 * Text items (`c`) stay 8-bit (UTF-8) on the host: no widening takes place.
 */

ORVIK_BEGIN_DECLS

/*
 * A memory buffer with a cursor, the alternative to a stream in the conversion functions.
 * `size` bytes lie at `data`; reading and writing start at `cursor` and advance it; nothing
 * is read or written outside [data, data + size). `baseOffset` is the file position that
 * data[0] stands for: offset words are written as baseOffset + the cursor before the words.
 */
typedef struct Omif_Buffer_ {
    unsigned char *data;
    long size;
    long cursor;
    long baseOffset;
} Omif_Buffer;

/*
 * Writes the file form of `object` to `buffer` when it is not null (at its cursor), else to
 * `stream` (at its position). Offset words: the position before the two words plus
 * `baseOffset` (stream) or the buffer's own baseOffset (buffer). A stream is flushed after a
 * successful write when immediate flushing is enabled.
 */
ORVIK_API long omif_ConvertToMIF(Ofio_File *stream, const void *object, const Omif_Design *design,
                                 Omif_Buffer *buffer, long baseOffset, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;

/*
 * Reads one record into `object` from `buffer` when it is not null, else from `stream` at
 * its position. omif_ConvertToHost starts at the beginning of the buffer (cursor set to 0),
 * omif_ConvertToHostX at its current cursor; both leave the cursor after the record.
 * Indirect arrays and base-data blocks already held by the record are reused or freed as
 * needed; what the record holds afterwards (also after a failure) is freed by
 * omif_ObjectFree / omif_ObjectItemsFree.
 */
ORVIK_API long omif_ConvertToHost(Ofio_File *stream, Omif_Buffer *buffer, const Omif_Design *design,
                                  void *object, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API long omif_ConvertToHostX(Ofio_File *stream, Omif_Buffer *buffer,
                                   const Omif_Design *design, void *object, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;

/* Process-wide switch (off at start): flush the stream after every successful
 * omif_ConvertToMIF to a stream. */
ORVIK_API void omif_StreamImmediateFlushEnable(void) ORVIK_NOEXCEPT;
ORVIK_API void omif_StreamImmediateFlushDisable(void) ORVIK_NOEXCEPT;

/* A zero-filled record of the design's host size; null without a report when the design is
 * null or its size is not positive. */
ORVIK_API void *omif_ObjectAllocate(const Omif_Design *design, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API void *omif_NewObject(const Omif_Design *design, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* File bytes of the record; with a null object, the size of a record whose indirect items
 * are empty and whose base data are 0 x 0. -1 on failure. */
ORVIK_API long omif_ObjectSize(const void *object, const Omif_Design *design,
                               Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Frees what the record owns (indirect arrays, nested records' contents, base-data blocks)
 * and leaves those pointers null and counts 0; omif_ObjectFree then frees the record. A null
 * object does nothing. Return 0, or -1 (a null design). */
ORVIK_API long omif_ObjectItemsFree(void *object, const Omif_Design *design, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API long omif_ObjectFree(void *object, const Omif_Design *design, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API long omif_FreeObject(void *object, const Omif_Design *design, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;

/*
 * Deep copy of *srcObjectPP into *dstObjectPP (allocated when *dstObjectPP is null; an
 * existing destination's contents are freed first). Returns the destination, or null; a
 * destination allocated here is freed again on failure and *dstObjectPP left null.
 */
ORVIK_API void *omif_ObjectCopy(const Omif_Design *design, void **dstObjectPP,
                                void *const *srcObjectPP, Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/*
 * Item access by name (the same pointer or equal text). Get clears the item's host size of
 * bytes at `destination` and deep-copies the item's value there (the caller frees what it
 * then owns, e.g. with omif_ObjectItemsFree of a one-item design); returns destination. Set
 * frees the item's current value and deep-copies `source` into it; returns object. Both give
 * null without a report when no item has the name.
 */
ORVIK_API void *omif_ObjectItemValueGet(const void *object, const Omif_Design *design,
                                        const wchar_t *itemName, void *destination,
                                        Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API void *omif_ObjectItemValueSet(void *object, const Omif_Design *design,
                                        const wchar_t *itemName, const void *source,
                                        Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* ---- Standard records ---- */

/* Design "Omif_String_Design": count of characters including the terminator, then the
 * characters (UTF-8); count 0 and a null pointer for an empty text. */
typedef struct Omif_String_ {
    int32_t count;
    char *string;
} Omif_String;

/* Counted byte block, design "PTR". */
typedef struct Omif_PTR_ {
    int32_t count;
    unsigned char *data;
} Omif_PTR;

/* Design "Omif_MIFObject_Design": a record in file form with what is needed to read it
 * back: the design's name (UTF-8, terminated), the text form of a dictionary that holds the
 * design (UTF-8, terminated) and the record's file-form bytes. */
typedef struct Omif_MIFObject_ {
    Omif_PTR typeName;
    Omif_PTR dictionary;
    Omif_PTR data;
} Omif_MIFObject;

/* The standard designs: "Omif_String_Design", "PTR", "Omif_MIFObject_Design" (owned by the
 * library; created at first use). */
ORVIK_API const Omif_Design *omif_StandardDesignFetch(const wchar_t *name, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;

/* Sets *dst (whose old contents are not freed) from a wide text; null or empty -> 0/null.
 * Return 0, or -1. */
ORVIK_API long omif_OmifStringFromString(Omif_String *dst, const wchar_t *text,
                                         Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* New wide string; null without a report for an empty record. */
ORVIK_API wchar_t *omif_OmifStringToString(const Omif_String *src, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
/* Duplicates src into *dst (old contents not freed). Return 0, or -1. */
ORVIK_API long omif_OmifStringFromOmifString(Omif_String *dst, const Omif_String *src,
                                             Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

/* Copies src's block into *dst (old contents not freed): both fields zero copies nothing,
 * both set copies count bytes, a mix fails ("Trouble"). Return 0, or -1. */
ORVIK_API long omif_PTRCopyContents(Omif_PTR *dst, const Omif_PTR *src, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API void omif_PTRFreeContents(Omif_PTR *block) ORVIK_NOEXCEPT;
/* Frees dst's block, moves src's into it and clears src. */
ORVIK_API void omif_PTRTransferContents(Omif_PTR *dst, Omif_PTR *src) ORVIK_NOEXCEPT;
/* Equal counts and equal bytes (null blocks are equal to each other). */
ORVIK_API Omsc_Boolean omif_PTRIsSame(const Omif_PTR *a, const Omif_PTR *b) ORVIK_NOEXCEPT;

ORVIK_API long omif_MIFObjectCopyContents(Omif_MIFObject *dst, const Omif_MIFObject *src,
                                          Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
ORVIK_API void omif_MIFObjectFreeContents(Omif_MIFObject *object) ORVIK_NOEXCEPT;
ORVIK_API void omif_MIFObjectTransferContents(Omif_MIFObject *dst, Omif_MIFObject *src)
    ORVIK_NOEXCEPT;
ORVIK_API Omsc_Boolean omif_MIFObjectIsSame(const Omif_MIFObject *a, const Omif_MIFObject *b)
    ORVIK_NOEXCEPT;
/* Frees the contents and the record itself. */
ORVIK_API void omif_MIFObjectFree(Omif_MIFObject *object) ORVIK_NOEXCEPT;

/* The file form of a record in a new counted block (*block's old contents not freed), and
 * back (the whole block must be one record). Return the byte count, or -1. */
ORVIK_API long omif_MIFableObjectConvertToMIF(const void *object, const Omif_Design *design,
                                              Omif_PTR *block, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API long omif_MIFableObjectConvertFromMIF(const Omif_PTR *block, const Omif_Design *design,
                                                void *object, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
/* The same into and from an Omif_MIFObject; reading requires that the carried name equals
 * the design's name ("Design mismatch"). */
ORVIK_API long omif_MIFableObjectConvertToMIFObject(const void *object, const Omif_Design *design,
                                                    Omif_MIFObject *dst, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
ORVIK_API long omif_MIFableObjectConvertFromMIFObject(const Omif_MIFObject *src,
                                                      const Omif_Design *design, void *object,
                                                      Oerr_ErrorReport **err) ORVIK_NOEXCEPT;

ORVIK_END_DECLS

#endif /* ORVIK_OMIF_H */
