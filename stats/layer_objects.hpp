// Internal: the records stored as child entries of a layer (statistics, covariance, excluded
// values, skip factors) share one way of being written, read and dated; these helpers are it.
// They work on the caller's open file, which is used by one thread at a time.
#pragma once

#include <orvik/osta.h>

namespace orvik::stats {

// One kind of child object: its entry name and its design's name.
struct LayerObject {
    const wchar_t *entryName; // "Statistics", "Covariance", "Excluded_Values", "Skip_Factors"
    const wchar_t *designName;
};

extern const LayerObject kStatisticsObject;
extern const LayerObject kCovarianceObject;
extern const LayerObject kExcludedValuesObject;
extern const LayerObject kSkipFactorsObject;

// Writes `object` as the child of `node`: in place when the child exists, else as a new last
// child. Reports under `fn` with the writers' messages. Returns 0, or -1.
long WriteLayerObject(const LayerObject &kind, Ohfa_File *file, const wchar_t *node,
                      const void *object, const wchar_t *fn, Oerr_ErrorReport **err);

// Reads the child object of `node` into `object` (a zeroed record or one of the design's
// layout). Returns 1 when found, 0 when the node has no such child (no report), -1 on failure
// (a missing node is a failure: "Cannot find %s").
int ReadLayerObject(const LayerObject &kind, Ohfa_File *file, const wchar_t *node, void *object,
                    const wchar_t *fn, Oerr_ErrorReport **err);

// Modification time of the entry `relative` below `node`: seconds since 1970, 0 when there is
// no such entry (no report), -1 on failure.
double EntryTime(Ohfa_File *file, const wchar_t *node, const wchar_t *relative, const wchar_t *fn,
                 Oerr_ErrorReport **err);

} // namespace orvik::stats
