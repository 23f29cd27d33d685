// Writing a stack in its ASCII text form (see gda/ascii_form.hpp).
#include <cstring>
#include <string>

#include <orvik/ofio.h>
#include <orvik/ogda.h>

#include "core/guard.hpp"
#include "gda/layout.hpp"
#include "gda/pixel_text.hpp"
#include "core/utf8.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using namespace orvik::gda;

namespace {

constexpr size_t kFlushBytes = 1 << 16;

void AppendValue(std::string &out, const Ogda_BaseData *layer, int32_t r, int32_t c) {
    const unsigned char *e = ElementAt(layer, r, c);
    if (layer->datatype == OGDA_STRING) {
        const wchar_t *s;
        std::memcpy(&s, e, sizeof s);
        if (s) out += orvik::text::WideToUtf8Lossy(s);
        return;
    }
    char text[kPixelTextMax];
    out.append(text, FormatNumericPixel(layer->datatype, e, text));
}

} // namespace

extern "C" {

ORVIK_API Omsc_Boolean ogda_BaseDataStackWriteAscii(const Ogda_BaseDataStack *stack,
                                                    const wchar_t *fileName,
                                                    Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const fn = L"ogda_BaseDataStackWriteAscii";
    if (err) *err = nullptr;
    return Guarded<Omsc_Boolean>(err, fn, OMSC_FALSE, [&]() -> Omsc_Boolean {
        if (!stack || stack->count < 1 || !stack->layers || !stack->layers[0] || !fileName) {
            SetError(err, fn, 1, nullptr, L"Args");
            return OMSC_FALSE;
        }
        const int32_t rows = stack->layers[0]->numrows, columns = stack->layers[0]->numcolumns;
        // Every layer must cover layer 0's shape.
        for (int32_t l = 0; l < stack->count; ++l) {
            const Ogda_BaseData *layer = stack->layers[l];
            if (!layer || !layer->data || !IsPixelType(layer->datatype) || layer->numrows < rows ||
                layer->numcolumns < columns) {
                SetError(err, fn, 1, nullptr, L"Args");
                return OMSC_FALSE;
            }
        }
        Oerr_ErrorReport *inner = nullptr;
        Ofio_File *file = ofio_FileOpen(fileName, L"w", &inner);
        if (!file) {
            SetError(err, fn, 2, inner, L"Error opening file");
            return OMSC_FALSE;
        }
        std::string buffer;
        buffer.reserve(kFlushBytes + 4096);
        auto flush = [&] {
            if (buffer.empty()) return true;
            const bool ok = ofio_WriteSeq(file, buffer.data(), static_cast<long>(buffer.size()), &inner) >= 0;
            buffer.clear();
            return ok;
        };
        bool ok = true;
        for (int32_t r = 0; r < rows && ok; ++r) {
            for (int32_t c = 0; c < columns; ++c) {
                for (int32_t l = 0; l < stack->count; ++l) {
                    if (c > 0 || l > 0) buffer += ' ';
                    AppendValue(buffer, stack->layers[l], r, c);
                }
            }
            buffer += '\n';
            if (buffer.size() >= kFlushBytes) ok = flush();
        }
        if (ok) ok = flush();
        if (!ok) {
            ofio_FileClose(file, nullptr);
            SetError(err, fn, 3, inner, L"Write error");
            return OMSC_FALSE;
        }
        if (ofio_FileClose(file, &inner) != 0) {
            SetError(err, fn, 3, inner, L"Write error");
            return OMSC_FALSE;
        }
        return OMSC_TRUE;
    });
}

} // extern "C"
