// Child objects of a layer: the common write (overwrite in place or create), read and time
// stamp steps of statistics, covariance, excluded values and skip factors.
#include "stats/layer_objects.hpp"

#include <string>

#include <orvik/ofnp.h>

#include "core/guard.hpp"
#include "stats/osta_designs.hpp"
#include "stats/report.hpp"

using orvik::core::SetError;

namespace orvik::stats {

namespace {

const Omif_Design *Design(const LayerObject &kind, const wchar_t *fn, Oerr_ErrorReport **err) {
    const Omif_Design *design = SharedDesign(kind.designName, fn, err);
    if (!design) SetError(err, fn, kLayerDesignFetch, *err, L"OMIF_DESIGN_FETCH failed");
    return design;
}

// Makes the layer node the current entry: "Cannot find %s" when it is missing.
bool SeekNode(Ohfa_File *file, const wchar_t *node, const wchar_t *fn, Oerr_ErrorReport **err) {
    const long found = ohfa_EntrySeek(file, OHFA_SEEK_PATH, node, err);
    if (found > 0) return true;
    // A seek that finds nothing may still have reported damage on the way: that chain is kept.
    if (found == 0 && !*err)
        SetError(err, fn, kLayerNoNode, nullptr, L"Cannot find %s", node);
    else
        SetError(err, fn, kLayerSeek, *err, L"EntrySeek failed");
    return false;
}

} // namespace

const LayerObject kStatisticsObject = {L"Statistics", L"Osta_Statistics"};
const LayerObject kCovarianceObject = {L"Covariance", L"Osta_Covariance"};
const LayerObject kExcludedValuesObject = {L"Excluded_Values", L"Osta_ExcludedValues"};
const LayerObject kSkipFactorsObject = {L"Skip_Factors", L"Osta_SkipFactors"};

long WriteLayerObject(const LayerObject &kind, Ohfa_File *file, const wchar_t *node,
                      const void *object, const wchar_t *fn, Oerr_ErrorReport **err) {
    const Omif_Design *design = Design(kind, fn, err);
    if (!design) return -1;
    if (!ohfa_FileDictionaryAddDesign(file, design, err)) {
        SetError(err, fn, kLayerDictionary, *err, L"Trouble adding design to dictionary");
        return -1;
    }
    if (!SeekNode(file, node, fn, err)) return -1;
    // 0 is also the failure value of the seek: its report tells them apart.
    const long hasChild = ohfa_EntrySeek(file, OHFA_SEEK_CHILD_NAMED, kind.entryName, err);
    if (hasChild < 0 || *err) {
        SetError(err, fn, kLayerSeek, *err, L"EntrySeek failed");
        return -1;
    }
    long written = 0;
    if (hasChild > 0) {
        // Overwritten in place, so the layer keeps exactly one such child.
        wchar_t *path = ohfa_CurrentEntryPath(file, err);
        if (!path) {
            SetError(err, fn, kLayerPath, *err, L"ohfa_CurrentEntryPath failed");
            return -1;
        }
        written = ohfa_ObjectWrite(file, path, nullptr, kind.designName, OHFA_WRITE_CURRENT, object,
                                   design, err);
        omsc_HeapFree(path);
    } else {
        written = ohfa_ObjectWrite(file, node, kind.entryName, kind.designName,
                                   OHFA_WRITE_LAST_CHILD, object, design, err);
    }
    if (written != 0) {
        SetError(err, fn, kLayerWrite, *err, L"Object Write failed");
        return -1;
    }
    return 0;
}

int ReadLayerObject(const LayerObject &kind, Ohfa_File *file, const wchar_t *node, void *object,
                    const wchar_t *fn, Oerr_ErrorReport **err) {
    const Omif_Design *design = Design(kind, fn, err);
    if (!design) return -1;
    if (!SeekNode(file, node, fn, err)) return -1;
    // The child is found by its design, whatever its entry name.
    void *read = ohfa_ObjectReadIfPresent(file, kind.designName, OHFA_SEEK_CHILD_OF_TYPE, object,
                                          design, err);
    if (*err) {
        SetError(err, fn, kLayerRead, *err, L"ohfa_ObjectReadIfPresent failed");
        return -1;
    }
    return read ? 1 : 0;
}

double EntryTime(Ohfa_File *file, const wchar_t *node, const wchar_t *relative, const wchar_t *fn,
                 Oerr_ErrorReport **err) {
    if (!file || !node) {
        SetError(err, fn, kLayerNoNode, nullptr, L"Invalid file or node");
        return -1;
    }
    wchar_t *path = ofnp_NodePathJoin(node, relative, err);
    if (!path) {
        SetError(err, fn, kLayerNoNode, *err, L"Cannot find %s", node);
        return -1;
    }
    Ohfa_Entry entry{};
    const long found = ohfa_EntryPeek(file, OHFA_SEEK_PATH, path, &entry, err);
    omsc_HeapFree(path);
    if (found < 0 || *err) {
        SetError(err, fn, kLayerSeek, *err, L"EntrySeek failed");
        return -1;
    }
    return found > 0 ? entry.modTime : 0;
}

} // namespace orvik::stats
