// Internal: which platform defaults apply. "pc" defaults apply when GIO_ARCH begins with
// "Win", "unix" defaults otherwise; an unset GIO_ARCH means the host's own name.
#pragma once

namespace orvik::prefs {

bool PcPlatform();

} // namespace orvik::prefs
