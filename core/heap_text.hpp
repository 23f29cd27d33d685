// Internal: heap duplicates of texts (library heap, so the result may cross the interface).
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace orvik::core {

// Null for a null source or when the heap is exhausted.
wchar_t *HeapDup(const wchar_t *text);
char *HeapDup(const char *text);
// Always terminates; null only when the heap is exhausted.
wchar_t *HeapDup(std::wstring_view text);
char *HeapDup(std::string_view text);
// Moves a heap text into a string and frees it, also when the copy throws (null gives "").
std::wstring TakeHeapText(wchar_t *text);

} // namespace orvik::core
