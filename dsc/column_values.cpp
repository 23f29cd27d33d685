// Column values between Ogda tables and the little-endian file form of a column block.
#include "dsc/column_values.hpp"

#include <cstring>
#include <cwchar>

#include "core/utf8.hpp"

namespace orvik::dsc {

namespace {

bool IsNumeric(Ogda_PixelType t) { return t >= OGDA_U1 && t <= OGDA_F64; }

const unsigned char *Element(const Ogda_BaseData *t, int32_t i) {
    return static_cast<const unsigned char *>(t->data) + int64_t{i} * t->lineBytes;
}

// The first n elements of `values` converted to `type` in a new owned, unpadded table.
Ogda_BaseData *Converted(const Ogda_BaseData *values, Ogda_PixelType type, int32_t n) {
    Oerr_ErrorReport *e = nullptr;
    Ogda_BaseData *out = ogda_BaseDataCreate(n, 1, type, Ogda_Table, nullptr, &e);
    if (out && !ogda_BaseDataCopyExt(values, 0, 0, out, 0, 0, n, 1, OMSC_FALSE, &e)) {
        ogda_BaseDataDelete(out, nullptr);
        out = nullptr;
    }
    oerr_DeleteErrorReportEx(&e);
    return out;
}

} // namespace

bool SuitableValues(const Ogda_BaseData *values, Odsc_ColumnType type, int32_t n) {
    if (!values || !values->data || values->objecttype != Ogda_Table || values->numcolumns != 1 ||
        values->numrows < n)
        return false;
    return type == ODSC_COLUMN_STRING ? values->datatype == OGDA_STRING
                                      : IsNumeric(values->datatype);
}

bool EncodeNumbers(const Ogda_BaseData *values, Odsc_ColumnType type, int32_t n,
                   std::vector<unsigned char> &bytes) {
    const bool integer = type == ODSC_COLUMN_INTEGER;
    const size_t size = integer ? 4 : 8;
    bytes.resize(size * static_cast<size_t>(n)); // before the table, which a throw would leak
    Ogda_BaseData *tmp = Converted(values, integer ? OGDA_S32 : OGDA_F64, n);
    if (!tmp) return false;
    for (int32_t i = 0; i < n; ++i) {
        uint64_t word = 0;
        if (integer) {
            uint32_t v = 0;
            std::memcpy(&v, Element(tmp, i), 4);
            word = v;
        } else {
            std::memcpy(&word, Element(tmp, i), 8);
        }
        for (size_t b = 0; b < size; ++b)
            bytes[i * size + b] = static_cast<unsigned char>(word >> (8 * b));
    }
    ogda_BaseDataDelete(tmp, nullptr);
    return true;
}

void EncodeStrings(const Ogda_BaseData *values, int32_t n, std::vector<std::string> &texts) {
    texts.resize(static_cast<size_t>(n));
    for (int32_t i = 0; i < n; ++i) {
        const wchar_t *s = *reinterpret_cast<wchar_t *const *>(Element(values, i));
        texts[static_cast<size_t>(i)] = s ? orvik::text::WideToUtf8Lossy(s) : std::string();
    }
}

Ogda_BaseData *DecodeRows(const unsigned char *bytes, Odsc_ColumnType type, int32_t n,
                          int64_t width) {
    const Ogda_PixelType pixel = odsc_ColumnTypePixelType(type);
    Ogda_BaseData *out = ogda_BaseDataCreate(n, 1, pixel, Ogda_Table, nullptr, nullptr);
    if (!out) return nullptr;
    auto *dst = static_cast<unsigned char *>(out->data);
    if (type == ODSC_COLUMN_STRING) {
        for (int32_t i = 0; i < n; ++i) {
            const char *s = reinterpret_cast<const char *>(bytes + i * width);
            const size_t len = strnlen(s, static_cast<size_t>(width));
            if (len == 0) continue; // an empty name is a null element
            const std::wstring w = orvik::text::Utf8ToWideLossy(std::string_view(s, len));
            auto *copy = static_cast<wchar_t *>(omsc_HeapMalloc((w.size() + 1) * sizeof(wchar_t)));
            if (!copy) {
                ogda_BaseDataDelete(out, nullptr);
                return nullptr;
            }
            std::wmemcpy(copy, w.c_str(), w.size() + 1);
            std::memcpy(dst + int64_t{i} * out->lineBytes, &copy, sizeof copy);
        }
        return out;
    }
    const size_t size = type == ODSC_COLUMN_INTEGER ? 4 : 8;
    for (int32_t i = 0; i < n; ++i) {
        uint64_t word = 0;
        for (size_t b = 0; b < size; ++b) word |= uint64_t{bytes[i * size + b]} << (8 * b);
        unsigned char *at = dst + int64_t{i} * out->lineBytes;
        if (size == 4) {
            const uint32_t v = static_cast<uint32_t>(word);
            std::memcpy(at, &v, 4);
        } else {
            std::memcpy(at, &word, 8);
        }
    }
    return out;
}

} // namespace orvik::dsc
