// olex_Parse: runs the generated scanner and parser over definition text and hands each
// clause to the caller. Every parse has its own scanner and context, so parses may run in
// several threads at once.
#include <cstring>
#include <string>

#include <orvik/olex.h>

#include "core/guard.hpp"
#include "prefs/grammar.hpp"
#include "prefs/parse_context.hpp"
#include "prefs/scanner.hpp"
#include "core/utf8.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;

namespace orvik::prefs {

namespace {
// Report numbers of olex_Parse.
constexpr long kSyntax = 1;
constexpr long kClauseFailed = 2;
constexpr long kBadArgument = 3;
// The scanner counts in int; definition files are small, so anything near that is refused.
constexpr std::size_t kMaxText = 1u << 30;
} // namespace

bool ParseContext::Emit(Olex_ClauseKind kind, int line, int column, const wchar_t *text, int type) {
    Olex_Clause clause{};
    clause.kind = kind;
    clause.type = type;
    clause.platform = platform;
    clause.text = text;
    clause.list = list.data();
    clause.listCount = static_cast<int32_t>(list.size());
    for (int i = 0; i < 4; ++i) clause.numbers[i] = numbers[i];
    clause.count = count;
    clause.fileName = fileName;
    clause.line = line;
    clause.column = column;
    Oerr_ErrorReport *inner = nullptr;
    if (function(clientData, &clause, &inner) == 0 && !inner) return true;
    SetError(err, L"olex_Parse", kClauseFailed, inner, L"%s:%d:%d: clause refused", fileName, line,
             column);
    clauseFailed = reported = true;
    return false;
}

void ParseContext::Report(int line, int column, const std::string &message) {
    if (reported) return; // the first fault is the one that counts
    reported = true;
    const std::wstring wide = orvik::text::Utf8ToWideLossy(message);
    if (*progress) {
        SetError(err, L"olex_Parse", kSyntax, nullptr, L"%s:%d:%d: %s (%s)", fileName, line, column,
                 wide.c_str(), progress);
    } else {
        SetError(err, L"olex_Parse", kSyntax, nullptr, L"%s:%d:%d: %s", fileName, line, column,
                 wide.c_str());
    }
}

} // namespace orvik::prefs

extern "C" ORVIK_API long olex_Parse(const wchar_t *fileName, const char *text, size_t length,
                                     Olex_ClauseFunc function, void *clientData,
                                     Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    const wchar_t *fn = L"olex_Parse";
    if (err) *err = nullptr;
    return Guarded<long>(err, fn, -1, [&]() -> long {
        using orvik::prefs::kMaxText;
        if (!function || (!text && length > 0) || length > kMaxText) {
            SetError(err, fn, orvik::prefs::kBadArgument, nullptr, L"Invalid argument");
            return -1;
        }
        orvik::prefs::ParseContext ctx;
        ctx.fileName = fileName ? fileName : L"<text>";
        ctx.function = function;
        ctx.clientData = clientData;
        Oerr_ErrorReport *local = nullptr;
        ctx.err = &local;
        if (length > 0 && std::memchr(text, 0, length)) {
            // A NUL byte would end the text early for every later reader of it.
            const char *nul = static_cast<const char *>(std::memchr(text, 0, length));
            int line = 1, column = 1;
            for (const char *p = text; p < nul; ++p) {
                if (*p == '\n') {
                    ++line;
                    column = 1;
                } else {
                    ++column;
                }
            }
            ctx.Report(line, column, "NUL byte in text");
            if (err)
                *err = local;
            else
                oerr_DeleteErrorReportEx(&local);
            return -1;
        }
        yyscan_t scanner = nullptr;
        if (olex_yylex_init_extra(&ctx, &scanner) != 0) throw std::bad_alloc();
        struct ScannerGuard {
            yyscan_t s;
            ~ScannerGuard() { olex_yylex_destroy(s); }
        } guard{scanner};
        olex_yy_scan_bytes(text ? text : "", static_cast<int>(length), scanner);
        int rc = 1;
        try {
            rc = olex_yyparse(scanner, &ctx);
        } catch (const std::runtime_error &e) {
            // The scanner's own trouble (buffer growth): report it at no particular place.
            ctx.Report(0, 0, e.what());
            rc = 1;
        }
        if (rc == 0) return 0;
        if (!ctx.reported) ctx.Report(0, 0, rc == 2 ? "memory exhausted" : "syntax error");
        if (err)
            *err = local;
        else
            oerr_DeleteErrorReportEx(&local);
        return -1;
    });
}
