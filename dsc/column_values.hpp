// Internal: column values between Ogda tables and the file form of a column's data block
// (little-endian s32 or f64; strings as zero-padded UTF-8 of a fixed width, the last byte
// always 0). Pure functions; thread-safe.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <orvik/ogda.h>

#include "dsc/table_store.hpp"

namespace orvik::dsc {

// Whether `values` can feed or receive n rows of a column of `type`: a table (one column) of
// at least n elements, numeric for numeric columns, "string" for string columns.
bool SuitableValues(const Ogda_BaseData *values, Odsc_ColumnType type, int32_t n);

// Encodes the first n elements of `values` for a column of `type`. Strings are returned as
// UTF-8 in `texts` (the caller places them at its width); numbers in `bytes`. Returns false
// when the heap is exhausted (values copied through the library).
bool EncodeNumbers(const Ogda_BaseData *values, Odsc_ColumnType type, int32_t n,
                   std::vector<unsigned char> &bytes);
void EncodeStrings(const Ogda_BaseData *values, int32_t n, std::vector<std::string> &texts);

// Decodes n elements into a new nRows x 1 table of the column's pixel type; null when the
// heap is exhausted. `width` is the string element width.
Ogda_BaseData *DecodeRows(const unsigned char *bytes, Odsc_ColumnType type, int32_t n,
                          int64_t width);

} // namespace orvik::dsc
