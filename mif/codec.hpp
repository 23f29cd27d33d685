// Internal: the dictionary text codec (see docs/mif-designs.md for the grammar).
#pragma once

#include <orvik/omif.h>

#include "mif/text_io.hpp"

namespace orvik::mif {

// Writes the text form of every design, in list order, then ".". Returns the number of
// characters written, or -1 with a report under "omif_DictionaryEncode".
long EncodeDictionary(const Omif_Dictionary *dictionary, TextSink &sink, Oerr_ErrorReport **err);

// Reads one dictionary text. With `into` the designs are added to that dictionary (and
// removed again on failure); otherwise a new dictionary is returned. Null with a report
// under "omif_DictionaryDecode" on failure.
Omif_Dictionary *DecodeDictionary(TextSource &source, Omif_Dictionary *into,
                                  Oerr_ErrorReport **err);

} // namespace orvik::mif
