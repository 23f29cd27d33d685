// libFuzzer target: the dictionary decoder on arbitrary bytes. Whatever it accepts must
// encode again and decode to the same text (the round trip is byte-identical for text the
// encoder wrote); whatever it refuses must come with a report. Leaks are caught by ASan.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include <orvik/oerr.h>
#include <orvik/omif.h>

#include "mif/codec.hpp"
#include "mif/dictionary.hpp"

namespace {

void Check(bool condition) {
    if (!condition) std::abort();
}

std::string EncodeNarrow(const Omif_Dictionary *d) {
    orvik::mif::StringSink sink;
    Oerr_ErrorReport *err = nullptr;
    const long n = orvik::mif::EncodeDictionary(d, sink, &err);
    Check(n >= 0 && err == nullptr);
    return sink.Text();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const char *text = reinterpret_cast<const char *>(data);
    orvik::mif::TextSource source(text, text + size);
    Oerr_ErrorReport *err = nullptr;
    Omif_Dictionary *d = orvik::mif::DecodeDictionary(source, nullptr, &err);
    if (!d) {
        Check(err != nullptr);
        oerr_DeleteErrorReportEx(&err);
        return 0;
    }
    Check(err == nullptr);
    const std::string once = EncodeNarrow(d);
    orvik::mif::TextSource again(once.data(), once.data() + once.size());
    Omif_Dictionary *d2 = orvik::mif::DecodeDictionary(again, nullptr, &err);
    Check(d2 != nullptr);
    Check(EncodeNarrow(d2) == once);
    Check(d2->count == d->count);
    orvik::mif::FreeDictionary(d2);
    orvik::mif::FreeDictionary(d);
    return 0;
}
