// Writing a stack in its ASCII text form (see gda/ascii_form.hpp).
#include <cstring>
#include <string>

#include <orvik/ofio.h>
#include <orvik/ogda.h>

#include "core/guard.hpp"
#include "gda/layout.hpp"
#include "gda/pixel_text.hpp"
#include "core/utf8.hpp"
#include "gda/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using namespace orvik::gda;

namespace {

constexpr size_t kFlushBytes = 1 << 16;

const wchar_t *StringAt(const Ogda_BaseData *layer, int32_t r, int32_t c) {
    const wchar_t *s;
    std::memcpy(&s, ElementAt(layer, r, c), sizeof s);
    return s;
}

// A string reads back as itself only when it is one non-empty run of non-blank characters
// that does not open a parenthesised group and converts to UTF-8 exactly. Rather than
// invent an escape the form does not have, other strings are refused.
bool ReadsBack(const wchar_t *s) {
    if (!s || !*s || *s == L'(') return false;
    for (const wchar_t *p = s; *p; ++p)
        if (*p == L' ' || *p == L'\t' || *p == L'\r' || *p == L'\n') return false;
    std::string utf8;
    return orvik::text::WideToUtf8(s, utf8).ok;
}

// The first string element that would not read back, or false.
bool FindUnwritable(const Ogda_BaseDataStack *stack, int32_t rows, int32_t columns, int32_t *row,
                    int32_t *column, int32_t *layer) {
    for (int32_t l = 0; l < stack->count; ++l) {
        if (stack->layers[l]->datatype != OGDA_STRING) continue;
        for (int32_t r = 0; r < rows; ++r)
            for (int32_t c = 0; c < columns; ++c)
                if (!ReadsBack(StringAt(stack->layers[l], r, c))) {
                    *row = r, *column = c, *layer = l;
                    return true;
                }
    }
    return false;
}

void AppendValue(std::string &out, const Ogda_BaseData *layer, int32_t r, int32_t c) {
    const unsigned char *e = ElementAt(layer, r, c);
    if (layer->datatype == OGDA_STRING) {
        out += orvik::text::WideToUtf8Lossy(StringAt(layer, r, c));
        return;
    }
    char text[kPixelTextMax];
    out.append(text, FormatNumericPixel(layer->datatype, e, text));
}

} // namespace

extern "C" {

ORVIK_API Omsc_Boolean ogda_BaseDataStackWriteAscii(const Ogda_BaseDataStack *stack,
                                                    const wchar_t *fileName, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    static const wchar_t *const fn = L"ogda_BaseDataStackWriteAscii";
    if (err) *err = nullptr;
    return Guarded<Omsc_Boolean>(err, fn, OMSC_FALSE, [&]() -> Omsc_Boolean {
        if (!stack || stack->count < 1 || !stack->layers || !stack->layers[0] || !fileName) {
            SetError(err, fn, kWriteArgs, nullptr, L"Args");
            return OMSC_FALSE;
        }
        const int32_t rows = stack->layers[0]->numrows, columns = stack->layers[0]->numcolumns;
        // Every layer must cover layer 0's shape.
        for (int32_t l = 0; l < stack->count; ++l) {
            const Ogda_BaseData *layer = stack->layers[l];
            if (!layer || !layer->data || !IsPixelType(layer->datatype) || layer->numrows < rows ||
                layer->numcolumns < columns) {
                SetError(err, fn, kWriteArgs, nullptr, L"Args");
                return OMSC_FALSE;
            }
        }
        int32_t badRow, badColumn, badLayer;
        if (FindUnwritable(stack, rows, columns, &badRow, &badColumn, &badLayer)) {
            SetError(err, fn, kWriteUnreadableString, nullptr,
                     L"String at row %d, column %d, layer %d would not read back (null, empty, "
                     L"blanks, leading \"(\" or not UTF-8)",
                     badRow, badColumn, badLayer);
            return OMSC_FALSE;
        }
        Oerr_ErrorReport *inner = nullptr;
        Ofio_File *file = ofio_FileOpen(fileName, L"w", &inner);
        if (!file) {
            SetError(err, fn, kWriteOpenFailed, inner, L"Error opening file");
            return OMSC_FALSE;
        }
        std::string buffer;
        buffer.reserve(kFlushBytes + 4096);
        auto flush = [&] {
            if (buffer.empty()) return true;
            const bool ok =
                ofio_WriteSeq(file, buffer.data(), static_cast<long>(buffer.size()), &inner) >= 0;
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
            SetError(err, fn, kWriteFailed, inner, L"Write error");
            return OMSC_FALSE;
        }
        if (ofio_FileClose(file, &inner) != 0) {
            SetError(err, fn, kWriteFailed, inner, L"Write error");
            return OMSC_FALSE;
        }
        return OMSC_TRUE;
    });
}

} // extern "C"
