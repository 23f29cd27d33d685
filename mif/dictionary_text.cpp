// Exported entry points of the dictionary text form over strings in memory.
#include <string>

#include "core/guard.hpp"
#include "mif/codec.hpp"
#include "core/utf8.hpp"
#include "mif/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using orvik::core::SetOutOfMemory;
using namespace orvik::mif;

extern "C" {

ORVIK_API wchar_t *omif_DictionaryEncodeToString(const Omif_Dictionary *dictionary,
                                                 Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    static const wchar_t *const kName = L"omif_DictionaryEncodeToString";
    return Guarded<wchar_t *>(err, kName, nullptr, [&]() -> wchar_t * {
        if (!dictionary) {
            SetError(err, kName, kDictionaryArgs, nullptr, L"Args");
            return nullptr;
        }
        // One pass into memory; the text is ASCII, so each byte is one wide character.
        orvik::mif::StringSink sink;
        if (orvik::mif::EncodeDictionary(dictionary, sink, err) < 0) {
            SetError(err, kName, kDictionaryStringCodecFailed, err ? *err : nullptr,
                     L"DictionaryEncode fail");
            return nullptr;
        }
        const std::string &text = sink.Text();
        auto *out = static_cast<wchar_t *>(
            omsc_HeapMalloc(static_cast<int32_t>((text.size() + 1) * sizeof(wchar_t))));
        if (!out) {
            SetOutOfMemory(err, kName, nullptr, L"No memory");
            return nullptr;
        }
        for (size_t i = 0; i < text.size(); ++i) out[i] = static_cast<unsigned char>(text[i]);
        return out;
    });
}

ORVIK_API Omif_Dictionary *omif_DictionaryDecodeFromString(const wchar_t *text,
                                                           Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    static const wchar_t *const kName = L"omif_DictionaryDecodeFromString";
    return Guarded<Omif_Dictionary *>(err, kName, nullptr, [&]() -> Omif_Dictionary * {
        if (!text) {
            SetError(err, kName, kDictionaryArgs, nullptr, L"Missing dictionary string");
            return nullptr;
        }
        std::string narrow;
        try {
            // Characters that have no 8-bit form are replaced, and then refused by the
            // decoder as non-printable.
            narrow = orvik::text::WideToUtf8Lossy(text);
        } catch (const std::bad_alloc &) {
            SetOutOfMemory(err, kName, nullptr, L"No Memory");
            return nullptr;
        }
        orvik::mif::TextSource source(narrow.data(), narrow.data() + narrow.size());
        Omif_Dictionary *dictionary = orvik::mif::DecodeDictionary(source, nullptr, err);
        if (!dictionary)
            SetError(err, kName, kDictionaryStringCodecFailed, err ? *err : nullptr,
                     L"omif_DictionaryDecode failed");
        return dictionary;
    });
}

} // extern "C"
