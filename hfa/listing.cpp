// The listing of a file's entries: per entry its path, type and modification time, then the
// items of its data decoded through the file's dictionary, one line per element in the
// format's own line forms. Output is UTF-8 through narrow stdio.
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <chrono>
#include <string>

#include <orvik/ogda.h>

#include "core/guard.hpp"
#include "core/utf8.hpp"
#include "hfa/entry.hpp"
#include "hfa/file.hpp"
#include "hfa/stored_data.hpp"
#include "mif/dictionary.hpp"
#include "mif/item_types.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using namespace orvik::hfa;

namespace {

constexpr const wchar_t *kFn = L"ohfa_ListFile";

std::string Utf8(const wchar_t *text) { return text ? orvik::text::WideToUtf8Lossy(text) : ""; }

template <class T> T Load(const unsigned char *p) {
    T v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

// "Mon Nov 23 21:22:15 2026", in UTC; "unknown" for a value that is no time.
std::string TimeText(double t) {
    if (!std::isfinite(t) || t < 0 || t > 253402300799.0) return "unknown";
    // Calendar arithmetic rather than gmtime_r, which not every C library offers.
    using namespace std::chrono;
    const auto secs = static_cast<long long>(t);
    const sys_days day{days{secs / 86400}};
    const year_month_day ymd{day};
    const long long s = secs % 86400;
    static const char *const kDays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    static const char *const kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                          "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    char buf[64];
    std::snprintf(buf, sizeof buf, "%s %s %02u %02lld:%02lld:%02lld %d",
                  kDays[weekday{day}.c_encoding()], kMonths[unsigned{ymd.month()} - 1],
                  unsigned{ymd.day()}, s / 3600, s / 60 % 60, s % 60, int{ymd.year()});
    return buf;
}

class Lister {
  public:
    explicit Lister(FILE *out) : m_out(out) {}

    // Every item of a host record; nested records name their items "outer[i].inner".
    void Record(const unsigned char *record, const Omif_Design *design, const std::string &prefix,
                int depth) {
        for (const Omif_Item *item = design->items; item; item = item->next)
            Item(record, item, prefix + Utf8(item->name), depth);
    }

  private:
    void Item(const unsigned char *record, const Omif_Item *item, const std::string &name,
              int depth) {
        const unsigned char *at = record + item->offset;
        const unsigned char *elements = at;
        long count = item->count;
        if (item->indirect == 1) {
            if (item->pointerKind == OMIF_POINTER_COUNTED) {
                count = Load<int32_t>(at);
                elements = Load<const unsigned char *>(
                    at + offsetof(orvik::mif::CountedPointerHost, data));
            } else {
                elements = Load<const unsigned char *>(at);
            }
            if (!elements) return;
        }
        const char *n = name.c_str();
        if (item->type == OMIF_ITEM_CHAR) {
            const std::string text(reinterpret_cast<const char *>(elements),
                                   strnlen(reinterpret_cast<const char *>(elements),
                                           static_cast<std::size_t>(count > 0 ? count : 0)));
            std::fprintf(m_out, "%s[%ld] = \"%s\"\n", n, 0L, text.c_str());
            return;
        }
        for (long i = 0; i < count; ++i) {
            const unsigned char *p = elements + i * item->elementSize;
            if (orvik::mif::IsObjectType(item->type)) {
                if (item->design && depth < OMIF_MAX_NESTING)
                    Record(p, item->design, name + "[" + std::to_string(i) + "].", depth + 1);
                continue;
            }
            Value(p, item->type, n, i);
        }
    }

    void Integer(const char *n, long i, long long v) {
        std::fprintf(m_out, "%s[%ld] = %lld\n", n, i, v);
    }
    void Real(const char *n, long i, double v) { std::fprintf(m_out, "%s[%ld] = %f\n", n, i, v); }
    void Complex(const char *n, long i, double re, double im) {
        std::fprintf(m_out, "%s[%ld] = (%f", n, i, re);
        std::fprintf(m_out, ",%f)\n", im);
    }

    void Value(const unsigned char *p, int32_t type, const char *n, long i) {
        switch (type) {
        case OMIF_ITEM_U1:
        case OMIF_ITEM_U2:
        case OMIF_ITEM_U4:
        case OMIF_ITEM_UCHAR:
            return Integer(n, i, *p);
        case OMIF_ITEM_USHORT:
            return Integer(n, i, Load<uint16_t>(p));
        case OMIF_ITEM_SHORT:
            return Integer(n, i, Load<int16_t>(p));
        case OMIF_ITEM_ENUM:
        case OMIF_ITEM_ULONG:
            return Integer(n, i, Load<uint32_t>(p));
        case OMIF_ITEM_LONG:
        case OMIF_ITEM_S32:
            return Integer(n, i, Load<int32_t>(p));
        case OMIF_ITEM_FLOAT:
            return Real(n, i, Load<float>(p));
        case OMIF_ITEM_DOUBLE:
        case OMIF_ITEM_TIME:
            return Real(n, i, Load<double>(p));
        case OMIF_ITEM_COMPLEX:
            return Complex(n, i, Load<float>(p), Load<float>(p + sizeof(float)));
        case OMIF_ITEM_DCOMPLEX:
            return Complex(n, i, Load<double>(p), Load<double>(p + sizeof(double)));
        case OMIF_ITEM_BASEDATA: {
            // The shape only: a raster's cells would drown the listing.
            const auto b = Load<Ogda_BaseData>(p);
            const std::string base = std::string(n) + "[" + std::to_string(i) + "].";
            Integer((base + "numrows").c_str(), 0, b.numrows);
            Integer((base + "numcolumns").c_str(), 0, b.numcolumns);
            Integer((base + "datatype").c_str(), 0, static_cast<long long>(b.datatype));
            return;
        }
        default:
            return;
        }
    }

    FILE *m_out;
};

// Lists the current entry. `decoded` counts the data bytes decoded so far: more than the
// file holds means that blocks overlap, and the rest is not decoded (a damaged file could
// otherwise make the listing read one large block once per entry).
void ListCurrent(Ohfa_File *file, FILE *out, int64_t &decoded) {
    const Ohfa_Entry &e = file->entry.record;
    const std::string type(e.type, strnlen(e.type, sizeof e.type));
    std::fprintf(out, "%s\n", Utf8(CurrentPath(file->entry).c_str()).c_str());
    std::fprintf(out, "(%s Object)\n", type.c_str());
    std::fprintf(out, "(last modified %s)\n", TimeText(e.modTime).c_str());
    if (e.data == 0 || e.dataSize <= 0) return;
    const std::wstring wtype = orvik::text::Utf8ToWideLossy(type);
    const Omif_Design *design = orvik::mif::FindDesign(file->dictionary, wtype.c_str());
    if (!design) {
        std::fprintf(out, "(no design %s in the dictionary)\n", type.c_str());
        return;
    }
    decoded += e.dataSize;
    if (decoded > file->fileEnd) {
        std::fprintf(out, "(data not decoded: data blocks overlap)\n");
        return;
    }
    HostRecord record;
    long consumed = 0;
    Oerr_ErrorReport *err = nullptr;
    const bool ok = DecodeDataBlock(file, e.data, e.dataSize, design, record, consumed, &err, kFn);
    oerr_DeleteErrorReportEx(&err);
    if (!ok) {
        std::fprintf(out, "(data cannot be decoded as %s)\n", type.c_str());
        return;
    }
    Lister(out).Record(static_cast<const unsigned char *>(record.Get()), design, "", 0);
}

} // namespace

extern "C" {

ORVIK_API long ohfa_ListFile(Ohfa_File *file, const wchar_t *startNode, FILE *out,
                             Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    return Guarded<long>(err, kFn, -1, [&]() -> long {
        if (!CheckFile(file, kFn, err)) return -1;
        FILE *to = out ? out : stdout;
        const EntryState kept = file->entry;
        int64_t decoded = 0;
        const bool ok = WalkBelow(
            file, startNode, true,
            [&] {
                ListCurrent(file, to, decoded);
                return true;
            },
            err, kFn);
        file->entry = kept;
        return ok ? 0 : -1;
    });
}

} // extern "C"
