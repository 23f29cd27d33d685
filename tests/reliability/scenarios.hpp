// The operations the failure sweeps run: an HFA file with a raster layer, its overviews,
// statistics and a descriptor table created, read back, rewritten, partly deleted and copied;
// preferences loaded and saved; a dictionary decoded; a BaseData stack read from its ASCII
// text form. Small on purpose: each runs once per allocation and per transfer.
#pragma once

#include "sweep.hpp"

namespace sweep {

Scenario CreateScenario();
// A file of 160 KiB read back whole in many transfers (for the I/O sweep: the small file of
// the other scenarios is read in one).
Scenario LargeReadScenario();
Scenario ReadScenario();
Scenario RewriteScenario();
Scenario DeleteScenario();
Scenario CopyScenario();
Scenario PreferenceScenario();
Scenario DictionaryScenario();
Scenario AsciiScenario();

// The file the read, rewrite, delete and copy scenarios start from: a layer with overviews,
// statistics and a descriptor table.
const std::string &SoundFileBytes();

// The preference scenario needs its environment (folders of definitions and preference
// files) for the life of the object.
class PreferenceEnvironment {
  public:
    PreferenceEnvironment();
    ~PreferenceEnvironment();
    PreferenceEnvironment(const PreferenceEnvironment &) = delete;
    PreferenceEnvironment &operator=(const PreferenceEnvironment &) = delete;
};

} // namespace sweep
