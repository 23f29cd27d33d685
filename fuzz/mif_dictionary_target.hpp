// The body of the MIF dictionary fuzz target, shared with the replay test: the dictionary
// decoder on arbitrary bytes. Whatever it accepts must encode again and decode to the same
// text (the round trip is byte-identical for text the encoder wrote); whatever it refuses
// must come with a report. Leaks are caught by ASan.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include <orvik/oerr.h>
#include <orvik/omif.h>

#include "fuzz/check.hpp"
#include "mif/codec.hpp"
#include "mif/dictionary.hpp"

namespace mif_dictionary_fuzz {

inline std::string EncodeNarrow(const Omif_Dictionary *d) {
    orvik::mif::StringSink sink;
    Oerr_ErrorReport *err = nullptr;
    const long n = orvik::mif::EncodeDictionary(d, sink, &err);
    FUZZ_CHECK(n >= 0 && err == nullptr);
    return sink.Text();
}

inline int RunOne(const uint8_t *data, std::size_t size) {
    const char *text = reinterpret_cast<const char *>(data);
    orvik::mif::TextSource source(text, text + size);
    Oerr_ErrorReport *err = nullptr;
    Omif_Dictionary *d = orvik::mif::DecodeDictionary(source, nullptr, &err);
    if (!d) {
        FUZZ_CHECK(err != nullptr);
        oerr_DeleteErrorReportEx(&err);
        return 0;
    }
    FUZZ_CHECK(err == nullptr);
    const std::string once = EncodeNarrow(d);
    orvik::mif::TextSource again(once.data(), once.data() + once.size());
    Omif_Dictionary *d2 = orvik::mif::DecodeDictionary(again, nullptr, &err);
    FUZZ_CHECK(d2 != nullptr);
    FUZZ_CHECK(EncodeNarrow(d2) == once);
    FUZZ_CHECK(d2->count == d->count);
    orvik::mif::FreeDictionary(d2);
    orvik::mif::FreeDictionary(d);
    return 0;
}

} // namespace mif_dictionary_fuzz
