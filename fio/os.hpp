// Internal: the file layer reaches the system only through port/file_system.hpp; `os` names it
// inside fio/.
#pragma once

#include "port/file_system.hpp"

namespace orvik::fio {
namespace os = orvik::port::fs;
} // namespace orvik::fio
