// Internal: report numbers of the MIF module. Numbers count a function's failure points in the
// order it meets them, so each group below belongs to one function or to a family that checks
// alike (a step reports under its own name: "omif_DecodeItem", "omif_MIFtoShort", ...). An
// exhausted heap is 5 "Out of memory" (core/guard.hpp SetOutOfMemory) unless the function
// names its own text.
#pragma once

#include <orvik/oerr.h>

namespace orvik::mif {

enum ReportNumber : long {
    kOutOfMemory = OERR_NUMBER_OUT_OF_MEMORY,
    // Dictionary text decoding: omif_DictionaryDecode and its steps (omif_DecodeDesign,
    // omif_DecodeItem, omif_DecodeName, omif_DecodeCount, omif_DecodeEnumCount)
    kDecodeDesignFailed = 1,
    kDecodeMissingDesign = 2,
    kDecodeSizesFailed = 3,
    kDecodeReadFailed = 8,    // any step: the reader failed
    kDecodeUnexpectedEnd = 9, // any step
    kDecodeBadCount = 1,
    kDecodeCountTooLarge = 2,
    kDecodeBadName = 1,
    kDecodeNameTooLong = 2,
    kDecodeBadDesignStart = 1,
    kDecodeTooDeep = 2,
    kDecodeItemFailed = 3,
    kDecodeDesignNameFailed = 4,
    kDecodeItemCountFailed = 1,
    kDecodeUnknownType = 2,
    kDecodeItemNameFailed = 3,
    kDecodeInlineDesignFailed = 4,
    kDecodeEnumCountFailed = 5,
    // Dictionary text encoding: omif_DictionaryEncode and its steps (omif_EncodeDesign,
    // omif_EncodeItem)
    kEncodeDesignFailed = 1,
    kEncodeNoDesign = 1,
    kEncodeNoDesignName = 2,
    kEncodeTooDeep = 3,
    kEncodeItemFailed = 4,
    kEncodeNoItem = 1,
    kEncodeNoItemName = 2,
    kEncodeBadCount = 3,
    kEncodeMissingEnumName = 4,
    kEncodeNoElementDesign = 5,
    kEncodeInlineDesignFailed = 6,
    kEncodeBadNameCharacter = 7,
    kEncodeWriteFailed = 8,
    // Dictionary files and strings: omif_EncodeDictionary, omif_DecodeDictionary, ...WithWriter,
    // ...WithReader, omif_DictionaryEncodedLength, ...EncodeToString, ...DecodeFromString
    kDictionaryArgs = 1,
    kDictionaryCodecFailed = 2,
    kDictionaryStringCodecFailed = 3,
    // Dictionaries: omif_DictionaryAddDesign and its kin, omif_DictionarySearchByName
    kDictionaryNoArgument = 1,
    kDictionaryUnnamedDesign = 2,
    kDictionarySizesFailed = 3,
    kSearchNoName = 1,
    kSearchNoDictionary = 2,
    // Designs: creation (omif_DesignCreate and its kin), copies and narrow twins
    kCreateBadArgument = 1, // null name, item list or argument list
    kCreateBadItem = 2,
    kCreateTooDeep = 3,
    kCreateSizesFailed = 4,
    kDesignUnconvertibleName = 1,
    kDesignNoDesign = 1,
    kDesignSizesFailed = 2,
    // Host layout of a design (SetSizes)
    kLayoutTooDeep = 1,
    kLayoutNoElementDesign = 2,
    kLayoutRecursive = 3,
    kLayoutUnknownType = 4,
    kLayoutBadCount = 5,
    kLayoutTooLarge = 6,
    // Built-in designs: omif_BuiltinDictionaryGet, omif_BuiltinDesignFetch,
    // omif_StandardDesignFetch
    kBuiltinNoSet = 1,
    kBuiltinCreateFailed = 2,
    kBuiltinDeclaredTwice = 3,
    kBuiltinNoName = 1,
    kBuiltinDictionaryFailed = 2,
    kBuiltinNotFound = 3,
    kStandardFetchFailed = 1,
    // Record conversion: omif_ConvertToHost(X), omif_ConvertToMIF and the steps under them
    kConvertBadArgument = 1,
    kConvertNoStream = 2,
    kConvertFailed = 3,
    kConvertFlushFailed = 4,
    kStepFailed = 1, // a step below failed; its report is the previous one
    kStreamPositionFailed = 2,
    kRecordUnusableType = 2,
    kRecordTooDeep = 3,
    kRecordBadCount = 4,
    kRecordTooManyElements = 5,
    kRecordOffsetTooLarge = 5,
    kRecordNoMemory = 6, // its own text "No memory"
    // Base-data blocks: omif_MIFtoBaseData
    kBaseBadDimensions = 2,
    kBaseUnknownPixelType = 3,
    kBaseTooLarge = 4,
    kBaseViewMismatch = 6,
    kBaseShortInput = 7,
    kBaseUnknownLayout = 8,
    // Base-data blocks: omif_BaseDataToMIF
    kBaseUnstorablePixelType = 2,
    kBaseBadHostDimensions = 3,
    kBaseNoData = 4,
    kBaseUnstorableLayout = 6,
    // Records: omif_ObjectAllocate, omif_NewObject, omif_ObjectSize, omif_ObjectFree,
    // omif_FreeObject, omif_ObjectItemsFree, omif_ObjectCopy, omif_ObjectItemsCopy,
    // omif_ObjectItemValueGet/Set
    kAllocateNoMemory = 1, // its own text "No memory"
    kNewObjectFailed = 1,
    kObjectNoDesign = 1,
    kFreeFailed = 1,
    kCopyBadDestination = 2,
    kCopyBadSource = 3,
    kCopyItemsFailed = 4,
    kItemValueArgs = 1,
    kItemValueCopyFailed = 2,
    kItemsCopyFailed = 1,
    kItemCopyTooLarge = 2,
    kItemCopyTooDeep = 3,
    // Printing: omif_FprintfDesign, omif_FprintfDictionary, omif_FprintfItem
    kPrintArgs = 1,
    // Standard records: MIF strings, counted byte blocks ("PTR"), wrapped MIF objects
    kStandardArgs = 1,
    kStringUnconvertible = 2,
    kPtrTrouble = 2,
    kPtrNoMemory = 3, // its own text "omsc_New failed"
    kMIFObjectCopyFailed = 2,
    kToMIFSizeFailed = 2,
    kToMIFConvertFailed = 4,
    kFromMIFConvertFailed = 2,
    kFromMIFTrailingBytes = 3,
    kToMIFObjectUnconvertibleName = 2,
    kToMIFObjectDictionaryFailed = 3,
    kToMIFObjectEncodingFailed = 4,
    kToMIFObjectConvertFailed = 6,
    kFromMIFObjectDesignMismatch = 2,
    kFromMIFObjectConvertFailed = 3,
};

} // namespace orvik::mif
