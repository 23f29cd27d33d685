// Internal: conversion between the toolkit's wide names and the system's UTF-8 paths.
#pragma once

#include <string>

namespace orvik::fio {

// Wide name -> UTF-8 system path, "\" turned into "/". False for text that has no UTF-8
// form (an unpaired surrogate, a code point above 0x10FFFF).
bool ToSystemPath(const wchar_t *name, std::string &path);

// System path -> wide name. Bytes that are not UTF-8 become U+FFFD.
std::wstring FromSystemPath(const std::string &path);

// The wide name with "\" turned into "/".
std::wstring NormalizedName(const wchar_t *name);

} // namespace orvik::fio
