// Internal: report numbers of the HFA module. Numbers count failure points in the order a
// function meets them; the steps shared by many functions (readiness, fixed records, the disk
// header, free space, seeking, entry writing) keep numbers of their own ranges so that a report
// names the step whatever function it served. An exhausted heap is 5 "Out of memory"
// (core/guard.hpp SetOutOfMemory) unless the function names its own text.
#pragma once

#include <orvik/oerr.h>

namespace orvik::hfa {

enum ReportNumber : long {
    // Readiness of the package and of a file handle (every ohfa_ function)
    kNotReady = 1, // not initialised, disabled, no open-file list, bad handle
    kReadOnly = 23,
    kInitDesignsFailed = 2,
    // Fixed records in the file: tag, header, raw reads and writes (under the caller's name)
    kRecordDesignFailed = 2,
    kRecordEncodeFailed = 3,
    kRecordDecodeFailed = 4,
    kRecordSeekFailed = 5,
    kRecordBeyondLimit = 6,
    kRecordWriteFailed = 7,
    kRecordBeyondEnd = 8,
    kRecordReadFailed = 9,
    // The disk header of an opened or created file (under the caller's name)
    kHeaderNotHfa = 10,
    kHeaderOutside = 11,
    kHeaderNoDictionary = 12,
    kHeaderDictionaryOutside = 13,
    kHeaderDictionaryFailed = 14,
    kHeaderDesignFailed = 15,
    kHeaderNoSpace = 16,
    // Open, create, close: the open-file record and the open and create steps
    kOpenNoMemory = 2, // its own text "No memory"
    kOpenSizeFailed = 3,
    kOpenTooLarge = 4,
    kOpenHeaderStepFailed = 5,
    kOpenCacheFailed = 6,
    kOpenListFailed = 7,
    kOpenOptionsFailed = 20,
    kOpenAlreadyOpen = 2,
    kOpenNoName = 3,
    kOpenDesignFailed = 4,
    kOpenNotHfa = 5,
    kOpenStreamFailed = 6,
    kOpenHeaderFailed = 7,
    kSearchWhichFailed = 1,
    kSearchOpenFailed = 2,
    kCloseFailed = 1,
    kIsHfaDesignFailed = 2,
    kIsHfaOpenFailed = 3,
    kReinitializeSizeFailed = 2,
    kReinitializeHeaderFailed = 3,
    kReinitializeCacheFailed = 4,
    // Options of open, create and ohfa_FileChange
    kOptionIllegal = 10,
    kOptionUnmapFailed = 11,
    kOptionLocalFailed = 12,
    kOptionMapFailed = 13,
    kOptionNoDestination = 14,
    kOptionFlushFailed = 15,
    kOptionCloseFailed = 16,
    kOptionMoveFailed = 17,
    kOptionReopenFailed = 18,
    // Flush and dictionary placement: ohfa_FileFlush, ohfa_DictionaryWrite, ohfa_DictionaryDelete
    kFlushBadHandle = 1,
    kDictionaryStepFailed = 1, // freeing space, or measuring the encoded length
    kDictionaryNoSpace = 2,
    kDictionaryEncodeFailed = 3,
    kDictionaryFreeTailFailed = 4,
    kDictionaryHeaderFailed = 5,
    kDictionaryFreeOldFailed = 6,
    kFlushStreamFailed = 2,
    kFlushDictionaryFailed = 3,
    kFlushFreeListFailed = 4,
    kDictionaryInUse = 2,
    // Free space: taking and giving blocks, the cached list (under the caller's name)
    kFreeListCachedRead = 1,
    kFreeBadSize = 1,
    kFreeBeyondLimit = 2,
    kFreeItemSetFailed = 2,
    kFreeSpaceFailed = 3,
    kFreeHeaderFailed = 3,
    kFreeNotFileSpace = 4,
    kFreeCorrupt = 5,
    kFreeHeaderRewriteFailed = 20,
    kFreeListCorrupt = 21,
    kFreeListCorruptRead = 22,
    kFreeExtendFailed = 24,
    kFreeRemapFailed = 25,
    kFreeItemGetFailed = 26,
    kFreeSizeCorrupt = 2,
    // Data blocks: ohfa_FileHostData..., ohfa_FileMIFData..., ohfa_FileDictionaryAddDesign
    kDataBadTransfer = 2,
    kDataBadDesign = 2,
    kDataReadFailed = 3,
    kDataWriteFailed = 5,
    kDataDesignFailed = 6,
    kDataNoBuffer = 6,
    kDataEncodeFailed = 7,
    kDataDecodeFailed = 8,
    // The entry tree: seeking (ohfa_EntrySeek and every walk that seeks)
    kSeekNoRoot = 2,
    kSeekCorruptRoot = 3,
    kSeekCorruptSibling = 4,
    kSeekCorruptChild = 5,
    kSeekPopFailed = 6,
    kSeekParentNotHashed = 7,
    kSeekBadPath = 8,
    kSeekNoParent = 9,
    kSeekPathFailed = 10,
    kSeekSiblingFailed = 11,
    kSeekSetCurrentFailed = 12,
    kSeekReadFailed = 13,
    kSeekBadMethod = 14,
    kSeekNameIgnored = 15, // warning
    kSeekNameMissing = 16,
    kSeekNameEmpty = 17,
    kSeekBadMethodInBatch = 18,
    // The entry tree: writing, moving, deleting (ohfa_EntryWrite, ohfa_EntryMove, ohfa_EntryDelete)
    kEntryNoSpace = 20,
    kEntryNameTooLong = 21,
    kEntryTypeTooLong = 22,
    kEntryBatchRename = 24,
    kEntryBatchInsert = 25,
    kEntryRootSibling = 26,
    kEntryBatchOffspring = 27,
    kEntryBadPosition = 28,
    kEntryFreeListFailed = 29,
    kEntryReadFailed = 30,
    kEntryWriteFailed = 31,
    kEntryNoChild = 32,
    kEntryDeleteUncached = 33,
    kEntryDeleteRoot = 34,
    kEntryDeleteFailed = 35,
    kMoveBadPath = 40,
    kMoveNotFound = 41,
    kMoveExists = 42,
    kMoveWriteFailed = 43,
    kMoveNoLast = 44,
    // Entry positions and listings: ohfa_EntryPositionGet/Set, ohfa_EntryPeek, ohfa_ObjectList
    kPositionNoFile = 1,
    kPositionNoPosition = 2,
    kPeekPositionFailed = 2,
    kListNoStart = 2,
    kPositionNotFound = 3,
    kListEndless = 3,
    kPositionNoEntry = 4,
    // Objects: ohfa_ObjectWrite, ...DataWrite, ...Read, ...ReadIfPresent, ...DataReadIfPresent,
    // ...Delete
    kObjectOldBlockKept = 0, // message
    kObjectSeekFailed = 1,
    kObjectEntryWriteFailed = 2,
    kObjectReaderSeekFailed = 2,
    kObjectNoSpace = 3,
    kObjectSizeFailed = 3,
    kObjectReadFailed = 3,
    kObjectDeleteFailed = 3,
    kObjectDataFailed = 4, // reading or writing the data block
    kObjectEntryUpdateFailed = 5,
    kObjectNoObject = 5,
    kObjectBadArgument = 6,
    kObjectFreeListFailed = 40,
    kObjectDictionaryFailed = 7,
    kObjectNotAnArray = 8,    // ohfa_ObjectArrayRead: the design is no plain array
    kObjectArrayTooLarge = 9, // ohfa_ObjectArrayRead: more elements than room
    // A stored data block decoded with its design (under the caller's name)
    kStoredBeyondEnd = 50,
    kStoredNoRecord = 51,
    kStoredDecodeFailed = 52,
    // The link journal (under the caller's name)
    kJournalWriteFailed = 60,
    kJournalCompleteFailed = 62,
    kJournalOutside = 63, // warning
    // ohfa_FileCheck
    kCheckNoList = 2,
    // ohfa_FileFreeListRebuild
    kRebuildReadOnly = 2,
    kRebuildFlushFailed = 3,
    kRebuildDamaged = 4,
    kRebuildWriteFailed = 5,
    // Block caches: ohfa_Cache... (the checks of a handle and block number first)
    kCacheBadArgument = 1,
    kCacheSeekFailed = 2,
    kCacheNotACache = 3,
    kCacheWriteFailed = 4,
    kCacheCannotShrink = 5,
    kCacheTooLarge = 6,
    // ... and the steps on disk they share (under the caller's name)
    kCacheBadNode = 40,
    kCacheBadIndex = 41,
    kCacheBlockOutside = 42,
    kCacheNoSpace = 43,
    kCacheStoreWriteFailed = 44,
    kCacheReadFailed = 45,
    // Companion data files (a step of layer opens, checks, copies and renames)
    kCompanionFailed = 60,
    kCompanionMissing = 61,
    kCompanionTruncated = 62,
    kCompanionMismatch = 63,
    // Copies: ohfa_ObjectCopy, ohfa_FileCopy
    kCopyBadArgument = 1,
    kCopySourceMissing = 2,
    kCopyTargetMissing = 3,
    kCopyExists = 4,
    kCopyUnreadable = 5, // some parts were skipped; the previous records name them
    kCopyWriteFailed = 6,
    kCopyAlreadyOpen = 7,
    kCopyOpenFailed = 8,
    kCopyCloseFailed = 9,
    kCopyProblem = 10, // one skipped part
};

} // namespace orvik::hfa
