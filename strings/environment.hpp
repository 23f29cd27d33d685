// Internal: read access to the process environment as wide text (port/environment.hpp).
#pragma once

#include "port/environment.hpp"

namespace orvik::text {

using orvik::port::EnvLookup;
using orvik::port::LookupEnvironment;

} // namespace orvik::text
