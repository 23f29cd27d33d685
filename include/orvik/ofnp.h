/*
 * ofnp.h - node paths: the names by which the entries of a hierarchical file are reached
 * from its root, and texts that combine a file name with a node path.
 *
 * Syntax (canonical form as returned by every function here):
 *   "/"                      the root
 *   "/Layer_1"               a child of the root
 *   "/Layer_1/Statistics"    a child of a child
 * On input a missing leading "/" is allowed (names count from the root) and one trailing "/"
 * is ignored. Each name is 1 to OFNP_NAME_MAX characters and holds no "/"; an empty name
 * ("//", "/a//b") or a longer name is an error. The parent of a top-level node is the root;
 * the root has no parent.
 *
 * A file name and a node path combine as FILE "(:" NODEPATH ")", for example
 * "c:/data/scene.hfa(:/Layer_1/Statistics)" or, with the leading "/" left out,
 * "scene.hfa(:Layer_1)". The first "(:" starts the node path.
 *
 * Every returned string or list is new library-heap memory owned by the caller. Report
 * numbers: 1 null or empty argument, 2 empty name, 3 name too long, 4 the root has no parent,
 * 5 "Out of memory", 6 a combined text without its closing ")".
 */
#ifndef ORVIK_OFNP_H
#define ORVIK_OFNP_H

#include <wchar.h>

#include <orvik/oerr.h>
#include <orvik/omsc.h>
#include <orvik/ostr.h>

ORVIK_BEGIN_DECLS

/* The root's node path, and the longest name (an entry name field holds 64 characters
 * including its terminator). */
#define OFNP_ROOT L"/"
#define OFNP_NAME_MAX 63

typedef enum Ofnp_NodePathPart_ {
    OFNP_PART_PATH = 0,   /* the whole path in canonical form */
    OFNP_PART_PARENT = 1, /* the parent's path; error 4 for the root */
    OFNP_PART_NAME = 2,   /* the last name; "" for the root */
    OFNP_PART_FORCE_32_BITS = 0x7fffffff
} Ofnp_NodePathPart;

/* One part of a node path. An unknown part is error 1. */
ORVIK_API wchar_t *ofnp_NodePathGet(const wchar_t *nodePath, Ofnp_NodePathPart part,
                                    Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* The names from the root down, in order; the root gives an empty list (count 0). */
ORVIK_API ostr_StringList *ofnp_NodePathParse(const wchar_t *nodePath, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
/* The node path of a list of names (from the root down); an empty or null list gives the
 * root. Every entry must be a valid name. */
ORVIK_API wchar_t *ofnp_NodePathFromNames(const ostr_StringList *names, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;
/* `relative` (one name or several separated by "/"; a leading "/" is allowed) below
 * `nodePath`: ofnp_NodePathJoin(L"/Layer_1", L"Statistics") -> "/Layer_1/Statistics". */
ORVIK_API wchar_t *ofnp_NodePathJoin(const wchar_t *nodePath, const wchar_t *relative,
                                     Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* True when the text is a valid node path naming the root ("/"). */
ORVIK_API Omsc_Boolean ofnp_NodePathIsRoot(const wchar_t *nodePath) ORVIK_NOEXCEPT;

/* FILE "(:" canonical node path ")"; a null node path gives a copy of the file name. */
ORVIK_API wchar_t *ofnp_FileNodePathMake(const wchar_t *fileName, const wchar_t *nodePath,
                                         Oerr_ErrorReport **err) ORVIK_NOEXCEPT;
/* Splits a combined text. Without "(:" the whole text is the file name and the node path is
 * the root. Either out-argument may be null when that part is not wanted; on failure both
 * are set to null. */
ORVIK_API Omsc_Boolean ofnp_FileNodePathSplit(const wchar_t *text, wchar_t **fileName,
                                              wchar_t **nodePath, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT;

ORVIK_END_DECLS

#endif /* ORVIK_OFNP_H */
