// Internal: report numbers of the raster-layer module. Numbers count a function's failure
// points in the order it meets them, grouped by the family of functions that check alike. An
// exhausted heap is 5 "Out of memory" (core/guard.hpp SetOutOfMemory).
#pragma once

namespace orvik::img {

enum ReportNumber : long {
    // Images and layers: oimg_ImageCreate, oimg_LayerCreate / Open / Close / Flush / Delete
    kBadArgument = 1,
    kNotFound = 2,
    kBadRecord = 3,
    kStoreMismatch = 4,
    kStoreFailed = 5,
    kExists = 6,
    kWriteFailed = 7,
    kBadStorage = 8,
    // Windows: oimg_LayerReadWindow / WriteWindow, oimg_LayerRead / Write
    kWindowBadArgument = 1,
    kWindowOutside = 2,
    kWindowBadData = 3,
    kWindowStoreFailed = 4,
    kWindowTextTooLong = 5,
    kWindowBlockDamaged = 6,
    // Overviews: oimg_LayerBuildOverviews, ...OverviewCount, ...OverviewFactor, ...OverviewOpen
    kOverviewBadArgument = 1,
    kOverviewTextLayer = 2,
    kOverviewLevelFailed = 3,
    kOverviewNoLevel = 4,
    // Overviews from rows handed over: oimg_OverviewBuildBegin / AddRows / End
    kPushBadArgument = 1,
    kPushTextLayer = 2,
    kPushLevelFailed = 3,
    kPushBadRows = 4,
    kPushIncomplete = 5,
    // Coded layers: oimg_LayerStorageGet, oimg_LayerStoredBytes, oimg_LayerCheck
    kStorageBadArgument = 1,
    kStorageReadFailed = 2,
    kStorageDamaged = 3,
    // Companion data files of a file: oimg_CompanionFileList
    kCompanionListBadArgument = 1,
    kCompanionListFailed = 2,
};

} // namespace orvik::img
