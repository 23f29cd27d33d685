// The preference file's text and its atomic writing (see prf_writer.hpp).
#include "prefs/prf_writer.hpp"

#include <orvik/othr.h>

#include "core/guard.hpp"
#include "prefs/atomic_file.hpp"
#include "prefs/report.hpp"
#include "core/format.hpp"
#include "core/utf8.hpp"

using orvik::text::Format;

namespace orvik::prefs {

std::wstring PreferenceText(const Opmg_Category *list, const std::wstring &fileName) {
    std::wstring out;
    out += L"/*\n";
    out += L"******************************************************\n";
    out += Format(L"** %s - This file is automatically created  \n", fileName.c_str());
    out += L"**                 by the ORVIK Preferences Editor.   \n";
    out += L"*/\n\n\n";
    for (const Opmg_Category *c = list; c; c = c->next) {
        bool wrote = false;
        for (const Opmg_Parameter *p = c->parameters; p; p = p->next) {
            if (!p->stored) continue;
            wrote = true;
            out += Format(L"%s.%s : ", c->name, p->name);
            const Opmg_Preference &v = p->value;
            switch (p->type) {
            case OPMG_NUMBER:
                out += Format(L"%f;\n", v.number);
                break;
            case OPMG_COLOR:
                if (v.color.count == 4) {
                    out += Format(L"%d,%d,%d,%d;\n", v.color.red, v.color.green, v.color.blue,
                                  v.color.alpha);
                } else {
                    out += Format(L"%d,%d,%d;\n", v.color.red, v.color.green, v.color.blue);
                }
                break;
            default:
                out += Format(L"\"%s\";\n", v.string ? v.string : L"");
                break;
            }
        }
        if (wrote) out += L"\n";
    }
    return out;
}

bool WriteV8Preference(const Opmg_Category *list, const std::wstring &path,
                       Oerr_ErrorReport **err) {
    const std::size_t slash = path.rfind(L'/');
    const std::string bytes = orvik::text::WideToUtf8Lossy(
        PreferenceText(list, slash == std::wstring::npos ? path : path.substr(slash + 1)));
    othr_ThreadUnsafeCodeEnter(0);
    Oerr_ErrorReport *inner = nullptr;
    const bool ok = WriteFileAtomically(path, bytes, &inner);
    othr_ThreadUnsafeCodeExit();
    if (!ok) {
        orvik::core::SetError(err, L"WriteV8Preference", kFileFailed, inner, L"Cannot write %s",
                              path.c_str());
    }
    return ok;
}

} // namespace orvik::prefs
