// Internal: the state shared by the generated scanner and parser of definition text for one
// parse. Strings live in `texts` until the parse ends, so tokens carry only an index.
#pragma once

#include <deque>
#include <string>
#include <vector>

#include <orvik/olex.h>

namespace orvik::prefs {

struct ParseContext {
    const wchar_t *fileName = L"";
    Olex_ClauseFunc function = nullptr;
    void *clientData = nullptr;
    Oerr_ErrorReport **err = nullptr;

    std::deque<std::wstring> texts;
    std::vector<const wchar_t *> list; // items of the list being read
    double numbers[4] = {0, 0, 0, 0};
    int count = 0;
    int platform = OLEX_PLATFORM_ANY;
    const wchar_t *progress = L"";
    int commentLine = 0, commentColumn = 0; // where an open block comment began
    bool clauseFailed = false; // the clause function stopped the parse (its report is in *err)
    bool reported = false;     // a syntax report is already stored

    int Keep(std::wstring text) {
        texts.push_back(std::move(text));
        return static_cast<int>(texts.size() - 1);
    }
    const wchar_t *Text(int index) const { return texts[static_cast<std::size_t>(index)].c_str(); }

    // Hands one clause to the client; false stops the parse.
    bool Emit(Olex_ClauseKind kind, int line, int column, const wchar_t *text = nullptr,
              int type = 0);
    // Stores the syntax report "<file>:<line>:<column>: <message> (<progress>)".
    void Report(int line, int column, const std::string &message);
};

} // namespace orvik::prefs
