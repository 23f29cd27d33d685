// Internal: the toolkit loads libraries through port/dynamic_library.hpp.
#pragma once

#include "port/dynamic_library.hpp"

namespace orvik::toolkit {

using orvik::port::ExecutableFile;
using orvik::port::LibraryLoad;
using orvik::port::LibraryOwnFile;
using orvik::port::LibraryProcessImage;
using orvik::port::LibrarySymbol;
using orvik::port::LibraryUnload;

} // namespace orvik::toolkit
