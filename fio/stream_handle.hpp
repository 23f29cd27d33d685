// Internal: creating and checking Ofio_File handles (shared by the exported functions and
// by the benchmark, which opens streams with other buffer sizes).
#pragma once

#include <cstddef>
#include <string>

#include <orvik/ofio.h>

#include "fio/stream.hpp"

namespace orvik::fio {

// Null when the heap is exhausted (the handle is then not taken over).
Ofio_File *NewStream(os::Handle handle, const OpenMode &mode, std::wstring name,
                     std::size_t bufferSize);
void DeleteStream(Ofio_File *file);

// ofio_FileOpen with a chosen buffer size (0: unbuffered), reporting under `fn`.
Ofio_File *OpenStream(const wchar_t *name, const wchar_t *mode, std::size_t bufferSize,
                      Oerr_ErrorReport **err, const wchar_t *fn);

bool CheckHandle(const Ofio_File *file, Oerr_ErrorReport **err, const wchar_t *fn);
bool CheckCount(long count, const void *buffer, Oerr_ErrorReport **err, const wchar_t *fn);

} // namespace orvik::fio
