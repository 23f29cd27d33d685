// The preference-text reader (grammar in prf_text.hpp).
#include "prefs/prf_text.hpp"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <string_view>

#include "core/guard.hpp"
#include "prefs/report.hpp"
#include "core/utf8.hpp"

namespace orvik::prefs {

namespace {

bool NameChar(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '-';
}

bool Blank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v'; }

class Reader {
  public:
    Reader(const wchar_t *fileName, std::string_view text, Oerr_ErrorReport **err)
        : m_file(fileName ? fileName : L"<text>"), m_text(text), m_err(err) {}

    bool Run(const std::function<bool(const PrfEntry &)> &take) {
        for (;;) {
            if (!SkipSpaceAndComments()) return false;
            if (m_at >= m_text.size()) return true;
            PrfEntry e;
            e.line = m_line;
            e.column = Column();
            if (!Entry(e)) return false;
            if (!take(e)) return false;
        }
    }

  private:
    long Column() const { return static_cast<long>(m_at - m_lineStart) + 1; }
    char Peek() const { return m_at < m_text.size() ? m_text[m_at] : '\0'; }
    bool AtEnd() const { return m_at >= m_text.size(); }

    void Advance() {
        if (m_text[m_at] == '\n') {
            ++m_line;
            m_lineStart = m_at + 1;
        }
        ++m_at;
    }

    bool Fail(const wchar_t *problem) { return FailAt(m_line, Column(), problem); }

    bool FailAt(long line, long column, const wchar_t *problem) {
        orvik::core::SetError(m_err, L"opmg_PrfParse", kParseFailed, nullptr, L"%s:%ld:%ld: %s",
                              m_file, line, column, problem);
        return false;
    }

    bool SkipSpaceAndComments() {
        while (!AtEnd()) {
            const char c = Peek();
            if (Blank(c) || c == '\n') {
                Advance();
            } else if (m_text.substr(m_at, 2) == "/*") {
                const long line = m_line, column = Column();
                const std::size_t close = m_text.find("*/", m_at + 2);
                if (close == std::string_view::npos) {
                    return FailAt(line, column, L"unterminated comment");
                }
                while (m_at < close + 2) Advance();
            } else if (m_text.substr(m_at, 2) == "//") {
                while (!AtEnd() && Peek() != '\n') Advance();
            } else {
                return true;
            }
        }
        return true;
    }

    void SkipBlanks() {
        while (!AtEnd() && Blank(Peek())) Advance();
    }

    bool Name(std::wstring &out, const wchar_t *what) {
        const std::size_t start = m_at;
        while (!AtEnd() && NameChar(Peek())) Advance();
        if (m_at == start) return Fail(what);
        const std::string_view raw = m_text.substr(start, m_at - start);
        out.assign(raw.begin(), raw.end()); // name characters are ASCII
        return true;
    }

    bool Expect(char c, const wchar_t *problem) {
        SkipBlanks();
        if (Peek() != c) return Fail(problem);
        Advance();
        return true;
    }

    bool Entry(PrfEntry &e) {
        if (!Name(e.category, L"expected a category name")) return false;
        if (Peek() != '.') return Fail(L"expected \".\" after the category name");
        Advance();
        if (!Name(e.name, L"expected a preference name")) return false;
        if (!Expect(':', L"expected \":\"")) return false;
        SkipBlanks();
        if (Peek() == '"') return String(e);
        return Numbers(e);
    }

    // The string ends at a '"' followed by blanks, ';' and the end of the line or text.
    bool String(PrfEntry &e) {
        const long line = m_line, column = Column(); // faults point at the opening quote
        Advance();
        const std::size_t start = m_at;
        for (std::size_t i = m_at; i < m_text.size(); ++i) {
            if (m_text[i] != '"') continue;
            std::size_t j = i + 1;
            while (j < m_text.size() && Blank(m_text[j])) ++j;
            if (j >= m_text.size() || m_text[j] != ';') continue;
            ++j;
            while (j < m_text.size() && Blank(m_text[j])) ++j;
            if (j < m_text.size() && m_text[j] != '\n') continue;
            const std::string_view raw = m_text.substr(start, i - start);
            if (raw.find('\0') != std::string_view::npos ||
                !orvik::text::Utf8ToWide(raw, e.text).ok) {
                return FailAt(line, column, L"string is not valid UTF-8 text");
            }
            while (m_at < j) Advance();
            e.kind = PrfEntry::Text;
            return true;
        }
        return FailAt(line, column, L"unterminated string");
    }

    bool Number(double &out) {
        const char *first = m_text.data() + m_at;
        const char *last = m_text.data() + m_text.size();
        if (first < last && *first == '+') ++first;
        auto r = std::from_chars(first, last, out);
        if (r.ec != std::errc() || !std::isfinite(out)) return Fail(L"expected a number");
        while (m_text.data() + m_at < r.ptr) Advance();
        return true;
    }

    bool Numbers(PrfEntry &e) {
        double v[4] = {0, 0, 0, 0};
        int n = 0;
        for (;;) {
            if (!Number(v[n])) return false;
            ++n;
            SkipBlanks();
            if (Peek() == ';') break;
            if (Peek() != ',' || n == 4) return Fail(L"expected \";\"");
            Advance();
            SkipBlanks();
        }
        Advance();
        if (n == 1) {
            e.kind = PrfEntry::Number;
            e.number = v[0];
            return true;
        }
        if (n == 2) return Fail(L"a colour has 3 or 4 components");
        int32_t c[4] = {0, 0, 0, 0};
        for (int i = 0; i < n; ++i) {
            if (!(v[i] >= INT32_MIN && v[i] <= INT32_MAX && v[i] == std::floor(v[i]))) {
                return Fail(L"colour components are whole numbers");
            }
            c[i] = static_cast<int32_t>(v[i]);
        }
        e.kind = PrfEntry::Color;
        e.color = Opmg_Color{n, c[0], c[1], c[2], c[3]};
        return true;
    }

    const wchar_t *m_file;
    std::string_view m_text;
    Oerr_ErrorReport **m_err;
    std::size_t m_at = 0;
    std::size_t m_lineStart = 0;
    long m_line = 1;
};

} // namespace

bool ScanPreferenceText(const wchar_t *fileName, const char *text, std::size_t length,
                        const std::function<bool(const PrfEntry &)> &take, Oerr_ErrorReport **err) {
    Reader reader(fileName, std::string_view(text ? text : "", text ? length : 0), err);
    return reader.Run(take);
}

} // namespace orvik::prefs
