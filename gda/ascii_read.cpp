// Reading a stack from its ASCII text form (see gda/ascii_form.hpp), into a new stack whose
// missing dimensions come from the file, or into an existing stack.
#include <cstring>
#include <cwchar>
#include <string>
#include <string_view>
#include <utility>

#include <orvik/ofio.h>
#include <orvik/ogda.h>

#include "core/guard.hpp"
#include "core/heap_text.hpp"
#include "gda/ascii_form.hpp"
#include "gda/layout.hpp"
#include "gda/pixel_text.hpp"
#include "gda/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using namespace orvik::gda;

namespace {

struct Failed {
    long number;
    const wchar_t *message;
    Oerr_ErrorReport *inner;
};

// The read buffer lives on the library heap so that its size, taken from the file, is
// refused cleanly when it cannot be had.
class LineBuffer {
  public:
    ~LineBuffer() { omsc_HeapFree(m_data); }
    bool Resize(int64_t count) {
        if (count > INT32_MAX / static_cast<int64_t>(sizeof(wchar_t))) return false;
        auto *p = static_cast<wchar_t *>(
            omsc_HeapRealloc(m_data, static_cast<int32_t>(count * sizeof(wchar_t))));
        if (!p) return false;
        m_data = p;
        m_count = static_cast<long>(count);
        return true;
    }
    wchar_t *data() const { return m_data; }
    long count() const { return m_count; }

  private:
    wchar_t *m_data = nullptr;
    long m_count = 0;
};

// Counts text lines with ofio_Fgetc (a last line without "\n" counts) and the bytes of the
// first line; leaves the stream at the start.
void ScanFile(Ofio_File *file, bool countLines, int64_t *lines, int64_t *firstLineBytes) {
    Oerr_ErrorReport *inner = nullptr;
    int64_t n = 0, first = -1, column = 0;
    for (;;) {
        const int c = ofio_Fgetc(file, &inner);
        if (c == OFIO_ERROR) throw Failed{kReadFgetcFailed, L"ofio_Fgetc failed", inner};
        if (c == OFIO_EOF) break;
        if (c == '\n') {
            ++n;
            if (first < 0) {
                first = column;
                if (!countLines) break;
            }
            column = 0;
        } else {
            ++column;
        }
    }
    if (column > 0) ++n;
    if (first < 0) first = column;
    *lines = n;
    *firstLineBytes = first;
    if (ofio_Seek(file, 0, OFIO_SEEK_SET, &inner) != 0)
        throw Failed{kReadSeekFailed, L"ofio_Seek failed", inner};
}

int64_t Utf8Bytes(const wchar_t *text, size_t count) {
    int64_t n = 0;
    for (size_t i = 0; i < count; ++i) {
        const auto c = static_cast<unsigned long>(text[i]);
        n += c < 0x80 ? 1 : c < 0x800 ? 2 : (c >= 0xD800 && c <= 0xDFFF) ? 2 : c < 0x10000 ? 3 : 4;
    }
    return n;
}

int64_t Tell(Ofio_File *file) {
    Oerr_ErrorReport *inner = nullptr;
    const int64_t at = ofio_Tell(file, &inner);
    if (at < 0) throw Failed{kReadFgetsFailed, L"ofio_Fgets failed", inner};
    return at;
}

// Reads the file line by line and knows the number of the line it returned last.
class LineReader {
  public:
    explicit LineReader(Ofio_File *file) : m_file(file) {}

    LineBuffer &buffer() { return m_buffer; }

    // One whole line without its end; false at the end of the file. A NUL character is
    // refused: ofio_Fgets stores it, so the text after it would silently vanish.
    bool Next(std::wstring &line) {
        line.clear();
        ++m_number;
        for (;;) {
            Oerr_ErrorReport *inner = nullptr;
            const int64_t before = Tell(m_file);
            if (!ofio_Fgets(m_buffer.data(), m_buffer.count(), m_file, &inner)) {
                if (inner) throw Failed{kReadFgetsFailed, L"ofio_Fgets failed", inner};
                return !line.empty();
            }
            const size_t n = std::wcslen(m_buffer.data());
            if (Utf8Bytes(m_buffer.data(), n) != Tell(m_file) - before) {
                SetError(&inner, L"LineReader", kReadBadRecord, nullptr,
                         L"NUL character in line %lld", static_cast<long long>(m_number));
                throw Failed{kReadBadRecord, L"Error reading ASCII record", inner};
            }
            line.append(m_buffer.data(), n);
            if (!line.empty() && line.back() == L'\n') {
                line.pop_back();
                return true;
            }
        }
    }

  private:
    Ofio_File *m_file;
    LineBuffer m_buffer;
    int64_t m_number = 0;
};

int64_t CountValues(const std::wstring &line) {
    const wchar_t *p = line.data(), *end = p + line.size(), *first, *last;
    int64_t n = 0;
    while (NextAsciiValue(p, end, &first, &last)) {
        ++n;
        p = last;
    }
    return n;
}

bool StoreValue(const Ogda_BaseData *layer, int32_t r, int32_t c, const wchar_t *first,
                const wchar_t *last) {
    unsigned char *e = ElementAt(layer, r, c);
    if (layer->datatype == OGDA_STRING) {
        wchar_t *text =
            orvik::core::HeapDup(std::wstring_view(first, static_cast<size_t>(last - first)));
        if (!text) throw std::bad_alloc();
        wchar_t *old;
        std::memcpy(&old, e, sizeof old);
        omsc_HeapFree(old);
        std::memcpy(e, &text, sizeof text);
        return true;
    }
    char narrow[2 * kPixelTextMax];
    if (last - first > static_cast<ptrdiff_t>(sizeof narrow)) return false;
    size_t n = 0;
    for (const wchar_t *p = first; p < last; ++p) {
        if (static_cast<unsigned long>(*p) > 0x7f) return false;
        narrow[n++] = static_cast<char>(*p);
    }
    return ParseNumericPixel(layer->datatype, narrow, narrow + n, e, false);
}

// Row r from one text line: for each column, one value per layer; nothing may follow.
void ParseRow(const std::wstring &line, const Ogda_BaseDataStack *stack, int32_t r,
              int32_t columns) {
    const wchar_t *p = line.data(), *end = p + line.size(), *first, *last;
    for (int32_t c = 0; c < columns; ++c) {
        for (int32_t l = 0; l < stack->count; ++l) {
            if (!NextAsciiValue(p, end, &first, &last) ||
                !StoreValue(stack->layers[l], r, c, first, last))
                throw Failed{kReadBadRecord, L"Error reading ASCII record", nullptr};
            p = last;
        }
    }
    if (NextAsciiValue(p, end, &first, &last))
        throw Failed{kReadBadRecord, L"Error reading ASCII record", nullptr};
}

void ReadRows(LineReader &reader, std::wstring &line, const Ogda_BaseDataStack *stack,
              int32_t firstRow, int32_t rows, int32_t columns) {
    for (int32_t r = firstRow; r < rows; ++r) {
        if (!reader.Next(line))
            throw Failed{kReadBadRecord, L"Error reading ASCII record", nullptr};
        ParseRow(line, stack, r, columns);
    }
}

int64_t FileBytes(Ofio_File *file) {
    Oerr_ErrorReport *inner = nullptr;
    const int64_t size = ofio_FileSizeGetByHandle(file, &inner);
    if (size < 0) throw Failed{kReadBadSize, L"ofio_FileSizeGetByHandle failed", inner};
    return size;
}

class FileCloser {
  public:
    explicit FileCloser(Ofio_File *f) : m_file(f) {}
    ~FileCloser() { ofio_FileClose(m_file, nullptr); }

  private:
    Ofio_File *m_file;
};

Ofio_File *OpenForReading(const wchar_t *fileName) {
    Oerr_ErrorReport *inner = nullptr;
    Ofio_File *file = ofio_FileOpen(fileName, L"r", &inner);
    if (!file) throw Failed{kReadOpenFailed, L"Error opening file", inner};
    return file;
}

} // namespace

extern "C" {

ORVIK_API Ogda_BaseDataStack *
ogda_CreateBaseDataStackFromAscii(Ogda_ObjectType objecttype, Ogda_PixelType datatype,
                                  int32_t nrows, int32_t ncolumns, int32_t nlayers,
                                  const wchar_t *fileName, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const fn = L"ogda_CreateBaseDataStackFromAscii";
    if (err) *err = nullptr;
    Ogda_BaseDataStack *stack = nullptr;
    auto result = Guarded<Ogda_BaseDataStack *>(err, fn, nullptr, [&]() -> Ogda_BaseDataStack * {
        try {
            if (!fileName || !IsPixelType(datatype) || !IsObjectType(objecttype))
                throw Failed{kReadArgs, L"Args", nullptr};
            Ofio_File *file = OpenForReading(fileName);
            FileCloser closer(file);
            int64_t lines = 0, firstBytes = 0;
            ScanFile(file, nrows < 1, &lines, &firstBytes);
            LineReader reader(file);
            if (!reader.buffer().Resize(firstBytes + 2))
                throw Failed{kReadNoMemory, L"No Memory", nullptr};
            std::wstring line;
            if (!reader.Next(line))
                throw Failed{kReadBadRecord, L"Error reading ASCII record", nullptr};
            const int64_t values = CountValues(line);
            if (values < 1) throw Failed{kReadBadRecord, L"Error reading ASCII record", nullptr};
            // The one-layer rule looks at what the caller gave, before the object type fixes
            // the column count.
            if (nlayers < 1 && ncolumns < 1) nlayers = 1;
            if (objecttype == Ogda_Scalar || objecttype == Ogda_Table) ncolumns = 1;
            if (objecttype == Ogda_Scalar && nrows < 1) nrows = 1;
            if (ncolumns < 1) {
                if (values % nlayers != 0)
                    throw Failed{kReadColumnMismatch, L"ASCII file column count mismatch", nullptr};
                ncolumns = static_cast<int32_t>(values / nlayers);
            } else if (nlayers < 1) {
                if (values % ncolumns != 0)
                    throw Failed{kReadColumnMismatch, L"ASCII file column count mismatch", nullptr};
                nlayers = static_cast<int32_t>(values / ncolumns);
            } else if (values != int64_t{ncolumns} * nlayers) {
                throw Failed{kReadColumnMismatch, L"ASCII file column count mismatch", nullptr};
            }
            if (nrows < 1) {
                if (lines > INT32_MAX)
                    throw Failed{kReadBadRecord, L"Error reading ASCII record", nullptr};
                nrows = static_cast<int32_t>(lines);
            }
            // Every value takes at least one character and one blank or line end, so a shape
            // the text cannot fill is refused before anything is allocated for it; the stack
            // then never asks for more than a few times the file's size.
            const int64_t fillable = (FileBytes(file) + 1) / 2;
            if (int64_t{nrows} * ncolumns > fillable / nlayers ||
                int64_t{nrows} * ncolumns * nlayers > fillable)
                throw Failed{kReadBadRecord, L"Error reading ASCII record", nullptr};
            Oerr_ErrorReport *inner = nullptr;
            stack =
                ogda_BaseDataStackCreate(nlayers, nrows, ncolumns, datatype, objecttype, &inner);
            if (!stack) throw Failed{kReadCreateFailed, L"ogda_BaseDataStackCreate failed", inner};
            ParseRow(line, stack, 0, ncolumns);
            ReadRows(reader, line, stack, 1, nrows, ncolumns);
            return std::exchange(stack, nullptr);
        } catch (const Failed &f) {
            SetError(err, fn, f.number, f.inner, L"%s", f.message);
            return nullptr;
        }
    });
    ogda_BaseDataStackDelete(stack, nullptr); // whatever a failure left behind
    return result;
}

ORVIK_API Ogda_BaseDataStack *ogda_BaseDataStackReadAscii(Ogda_BaseDataStack *stack,
                                                          const wchar_t *fileName,
                                                          Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    static const wchar_t *const fn = L"ogda_BaseDataStackReadAscii";
    if (err) *err = nullptr;
    return Guarded<Ogda_BaseDataStack *>(err, fn, nullptr, [&]() -> Ogda_BaseDataStack * {
        try {
            if (!fileName || !stack || stack->count < 1 || !stack->layers || !stack->layers[0])
                throw Failed{kReadArgs, L"Args", nullptr};
            const int32_t rows = stack->layers[0]->numrows, columns = stack->layers[0]->numcolumns;
            for (int32_t l = 0; l < stack->count; ++l) {
                const Ogda_BaseData *layer = stack->layers[l];
                if (!layer || !layer->data || !IsPixelType(layer->datatype) ||
                    layer->numrows < rows || layer->numcolumns < columns)
                    throw Failed{kReadArgs, L"Args", nullptr};
            }
            Ofio_File *file = OpenForReading(fileName);
            FileCloser closer(file);
            LineReader reader(file);
            if (!reader.buffer().Resize(4096))
                throw Failed{kReadNoMemory, L"Out of memory", nullptr};
            std::wstring line;
            ReadRows(reader, line, stack, 0, rows, columns);
            return stack;
        } catch (const Failed &f) {
            SetError(err, fn, f.number, f.inner, L"%s", f.message);
            return nullptr;
        }
    });
}

} // extern "C"
