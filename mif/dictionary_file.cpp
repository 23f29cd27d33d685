// Exported entry points of the dictionary text form over the file layer: the writer and
// reader callbacks, open streams and the null device.
#include <orvik/ofio.h>
#include <orvik/omif.h>

#include "core/guard.hpp"
#include "mif/codec.hpp"
#include "mif/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using namespace orvik::mif;

namespace {

// Hands each piece of text to a writer callback as the argument of "%S" (the text is never
// the format). With a stream behind ofio_Fprintf, the stream's report explains a failure.
class WriterSink final : public orvik::mif::TextSink {
  public:
    WriterSink(Ofio_WriterFunc writer, void *context, Ofio_File *stream)
        : m_writer(writer), m_context(context), m_stream(stream) {}

    bool Write(const std::string &text, Oerr_ErrorReport **writerErr) override {
        *writerErr = nullptr;
        if (text.empty()) return true;
        long count = 0;
        if (m_writer(m_context, L"%S", &count, text.c_str()) >= 0) return true;
        if (m_stream) *writerErr = ofio_FileErrorTake(m_stream);
        return false;
    }

  private:
    Ofio_WriterFunc m_writer;
    void *m_context;
    Ofio_File *m_stream;
};

// Takes characters one at a time from a reader callback.
class ReaderSource final : public orvik::mif::TextSource {
  public:
    ReaderSource(Ofio_ReaderFunc reader, void *context)
        : TextSource(nullptr, nullptr), m_reader(reader), m_context(context) {}

  protected:
    int Refill() override {
        Oerr_ErrorReport *e = nullptr;
        const int c = m_reader(m_context, &e);
        if (c >= 0 && c <= 255) return c;
        if (c == OFIO_EOF) return kEnd;
        oerr_DeleteErrorReportEx(&m_failure);
        m_failure = e;
        return kFailed;
    }

  private:
    Ofio_ReaderFunc m_reader;
    void *m_context;
};

long Encode(Ofio_WriterFunc writer, void *context, Ofio_File *stream,
            const Omif_Dictionary *dictionary, const wchar_t *function, Oerr_ErrorReport **err) {
    WriterSink sink(writer, context, stream);
    const long length = orvik::mif::EncodeDictionary(dictionary, sink, err);
    if (length < 0)
        SetError(err, function, kDictionaryCodecFailed, err ? *err : nullptr,
                 L"DictionaryEncode fail");
    return length;
}

Omif_Dictionary *Decode(Ofio_ReaderFunc reader, void *context, Omif_Dictionary *into,
                        const wchar_t *function, Oerr_ErrorReport **err) {
    ReaderSource source(reader, context);
    Omif_Dictionary *dictionary = orvik::mif::DecodeDictionary(source, into, err);
    if (!dictionary)
        SetError(err, function, kDictionaryCodecFailed, err ? *err : nullptr,
                 L"omif_DictionaryDecode failed");
    return dictionary;
}

} // namespace

extern "C" {

ORVIK_API long omif_EncodeDictionary(Ofio_File *file, const Omif_Dictionary *dictionary,
                                     Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    static const wchar_t *const kName = L"omif_EncodeDictionary";
    return Guarded<long>(err, kName, -1, [&]() -> long {
        if (!file || !dictionary) {
            SetError(err, kName, kDictionaryArgs, nullptr, L"Args");
            return -1;
        }
        return Encode(ofio_Fprintf, file, file, dictionary, kName, err);
    });
}

ORVIK_API long omif_DictionaryEncodeWithWriter(Ofio_WriterFunc writer, void *context,
                                               const Omif_Dictionary *dictionary,
                                               Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    static const wchar_t *const kName = L"omif_DictionaryEncodeWithWriter";
    return Guarded<long>(err, kName, -1, [&]() -> long {
        if (!writer || !dictionary) {
            SetError(err, kName, kDictionaryArgs, nullptr, L"Args");
            return -1;
        }
        return Encode(writer, context, nullptr, dictionary, kName, err);
    });
}

ORVIK_API long omif_DictionaryEncodedLength(const Omif_Dictionary *dictionary,
                                            Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    static const wchar_t *const kName = L"omif_DictionaryEncodedLength";
    if (!dictionary) return 0;
    return Guarded<long>(err, kName, 0, [&]() -> long {
        Ofio_File *null = ofio_NullDeviceOpen(err);
        if (!null) {
            SetError(err, kName, kDictionaryArgs, err ? *err : nullptr,
                     L"Cannot compute length w/o NULL device");
            return 0;
        }
        long length;
        try {
            length = Encode(ofio_Fprintf, null, null, dictionary, kName, err);
        } catch (...) {
            ofio_FileClose(null, nullptr);
            throw;
        }
        ofio_FileClose(null, nullptr);
        return length < 0 ? 0 : length;
    });
}

ORVIK_API Omif_Dictionary *omif_DecodeDictionary(Ofio_File *file, Omif_Dictionary *dictionary,
                                                 Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    static const wchar_t *const kName = L"omif_DecodeDictionary";
    return Guarded<Omif_Dictionary *>(err, kName, nullptr, [&]() -> Omif_Dictionary * {
        if (!file) {
            SetError(err, kName, kDictionaryArgs, nullptr, L"Args");
            return nullptr;
        }
        return Decode(ofio_FileReaderFunc, file, dictionary, kName, err);
    });
}

ORVIK_API Omif_Dictionary *omif_DictionaryDecodeWithReader(Ofio_ReaderFunc reader, void *context,
                                                           Omif_Dictionary *dictionary,
                                                           Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    static const wchar_t *const kName = L"omif_DictionaryDecodeWithReader";
    return Guarded<Omif_Dictionary *>(err, kName, nullptr, [&]() -> Omif_Dictionary * {
        if (!reader) {
            SetError(err, kName, kDictionaryArgs, nullptr, L"Args");
            return nullptr;
        }
        return Decode(reader, context, dictionary, kName, err);
    });
}

} // extern "C"
