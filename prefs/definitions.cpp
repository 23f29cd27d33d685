// Definition files: the clause handler that turns the parser's clauses into categories and
// parameters (dropping clauses that do not fit a parameter's type, with a warning), and the
// loading of every "*.pdf" along GIO_PDF_PATH.
#include <cmath>
#include <cwchar>
#include <cstdint>
#include <string>
#include <vector>

#include <orvik/ofio.h>
#include <orvik/olex.h>
#include <orvik/opmg.h>

#include "core/guard.hpp"
#include "prefs/file_text.hpp"
#include "prefs/model.hpp"
#include "prefs/platform.hpp"
#include "prefs/report.hpp"

using orvik::core::Guarded;
using orvik::core::SetError;
using namespace orvik::prefs;

namespace {

const wchar_t *const kParse = L"opmg_Parse";

// Builds a fresh category list from the clauses of one parse.
class Builder {
  public:
    explicit Builder(bool pc) : m_pc(pc) {}
    Opmg_Category *Release() { return m_list.Release(); }

    long Take(const Olex_Clause &c, Oerr_ErrorReport **err) {
        switch (c.kind) {
        case OLEX_PDF:
            return 0; // the heading only names the file for people
        case OLEX_CATEGORY_BEGIN:
            m_category = FindCategory(m_list.list, c.text);
            if (!m_category) {
                Opmg_Category *fresh = NewCategory(c.text);
                Opmg_Category **tail = &m_list.list;
                while (*tail) tail = &(*tail)->next;
                *tail = m_category = fresh;
            }
            return 0;
        case OLEX_CATEGORY_END:
            m_category = nullptr;
            return 0;
        case OLEX_PARAMETER:
            return BeginParameter(c);
        case OLEX_PARAMETER_END:
            return EndParameter();
        default:
            return m_parameter ? Attribute(c, err) : 0;
        }
    }

  private:
    long BeginParameter(const Olex_Clause &c) {
        Opmg_Parameter *p = NewParameter(c.text, static_cast<Opmg_Type>(c.type));
        Opmg_Parameter **at = &m_category->parameters;
        while (*at && std::wcscmp((*at)->name, p->name) != 0) at = &(*at)->next;
        if (*at) { // repeated in the same category: the later definition counts
            p->next = (*at)->next;
            FreeParameter(*at);
        }
        *at = m_parameter = p;
        if (p->type == OPMG_COLOR) p->defaultValue.color.count = 3;
        return 0;
    }

    long EndParameter() {
        Opmg_Parameter *p = m_parameter;
        m_parameter = nullptr;
        p->value.type = p->defaultValue.type = p->type;
        if (p->type != OPMG_NUMBER && p->type != OPMG_COLOR && !p->defaultValue.string) {
            p->defaultValue.string = HeapText(L"");
        }
        if (p->type == OPMG_ENUM && p->defaultValue.string[0] == 0 && p->enums &&
            p->enums->count > 0) {
            Opmg_Preference first{};
            first.string = p->enums->strings[0];
            CopyValue(p->defaultValue, first);
            p->defaultValue.type = OPMG_ENUM;
        }
        CopyValue(p->value, p->defaultValue);
        return 0;
    }

    // Prints the warning for a clause that does not fit and reports whether it fits.
    bool Fits(bool fits, const Olex_Clause &c, const wchar_t *format, bool named = true) {
        if (fits) return true;
        Oerr_ErrorReport *at = Position(c.fileName, c.line, c.column);
        if (named) {
            Warn(kParse, kClauseDropped, at, format, m_parameter->name);
        } else {
            Warn(kParse, kClauseDropped, at, format);
        }
        return false;
    }

    bool AppliesHere(const Olex_Clause &c) const {
        return c.platform == OLEX_PLATFORM_ANY || (c.platform == OLEX_PLATFORM_PC) == m_pc;
    }

    static ostr_StringList *List(const Olex_Clause &c) {
        ostr_StringList *list = ostr_StringListCreate(0, nullptr);
        if (!list) throw std::bad_alloc();
        for (int32_t i = 0; i < c.listCount; ++i) {
            Oerr_ErrorReport *e = nullptr;
            ostr_StringListAppend(list, c.list[i], &e);
            if (e || list->count != i + 1 || !list->strings[i]) {
                oerr_DeleteErrorReportEx(&e);
                ostr_StringListDelete(list, nullptr);
                throw std::bad_alloc();
            }
        }
        return list;
    }

    static void Replace(ostr_StringList *&slot, ostr_StringList *list) {
        ostr_StringListDelete(slot, nullptr);
        slot = list;
    }

    long Attribute(const Olex_Clause &c, Oerr_ErrorReport **err) {
        Opmg_Parameter *p = m_parameter;
        const bool isString = p->declaredType == OPMG_STRING;
        const bool isNumber = p->declaredType == OPMG_NUMBER;
        switch (c.kind) {
        case OLEX_READONLY:
            p->attributes |= OPMG_ATTR_READONLY;
            break;
        case OLEX_NOCHECK:
            p->attributes |= OPMG_ATTR_NOCHECK;
            break;
        case OLEX_NEWFILE:
            p->attributes |= OPMG_ATTR_NEWFILE;
            break;
        case OLEX_FILENAME:
            p->attributes |= OPMG_ATTR_FILENAME;
            break;
        case OLEX_DIRECTORY:
            p->attributes |= OPMG_ATTR_DIRECTORY;
            break;
        case OLEX_ENVEXPAND:
            if (Fits(isString, c, L"Expand flag ignored on non-OPMG_STRING type parameter, %s"))
                p->attributes |= OPMG_ATTR_ENVEXPAND;
            break;
        case OLEX_MULTILINE:
            if (Fits(isString, c,
                     L"multiline attribute ignored on non-OPMG_STRING type parameter, %s"))
                p->attributes |= OPMG_ATTR_MULTILINE;
            break;
        case OLEX_BOOLEAN:
            if (Fits(isString, c, L"Boolean declaration ignored for non-string type parameter, %s"))
                p->type = OPMG_BOOLEAN;
            break;
        case OLEX_MAXLENGTH: {
            const double n = c.numbers[0];
            if (!(n >= 0 && n <= INT32_MAX && n == std::floor(n))) {
                SetError(err, kParse, kBadValue, nullptr,
                         L"Maximum length of %s must be a whole number from 0 to 2147483647",
                         p->name);
                return -1;
            }
            if (Fits(isString, c,
                     L"Maximum length ignored on non-OPMG_STRING type parameter, %s")) {
                p->attributes |= OPMG_ATTR_MAXLENGTH;
                p->maxLength = static_cast<int32_t>(n);
            }
            break;
        }
        case OLEX_MINIMUM:
            if (Fits(isNumber, c,
                     L"Minimum value restriction ignored on non-OPMG_NUMBER type parameter, %s")) {
                p->attributes |= OPMG_ATTR_MINIMUM;
                p->minimum = c.numbers[0];
            }
            break;
        case OLEX_MAXIMUM:
            if (Fits(isNumber, c,
                     L"Maximum value restriction ignored on non-OPMG_NUMBER type parameter, %s")) {
                p->attributes |= OPMG_ATTR_MAXIMUM;
                p->maximum = c.numbers[0];
            }
            break;
        case OLEX_ENUMS:
            if (Fits(isString, c, L"Enum declaration ignored for non-string type parameter, %s")) {
                Replace(p->enums, List(c));
                p->type = OPMG_ENUM;
            }
            break;
        case OLEX_TYPEDEF: {
            wchar_t *name = HeapText(c.text);
            omsc_HeapFree(p->typedefName);
            p->typedefName = name;
            break;
        }
        case OLEX_HIDEON:
            Replace(p->hideOn, List(c));
            break;
        case OLEX_SHOWON:
            Replace(p->showOn, List(c));
            break;
        case OLEX_DEFAULT_STRING:
        case OLEX_DEFAULT_EXPANDED:
            return StringDefault(c, err);
        case OLEX_DEFAULT_NUMBER:
            if (Fits(isNumber, c, L"Encountered a numeric default for a non-numeric preference.",
                     false) &&
                AppliesHere(c)) {
                p->defaultValue.number = c.numbers[0];
            }
            break;
        case OLEX_DEFAULT_COLOR:
            return ColorDefault(c, err);
        default:
            break;
        }
        return 0;
    }

    long StringDefault(const Olex_Clause &c, Oerr_ErrorReport **err) {
        const bool expanded = c.kind == OLEX_DEFAULT_EXPANDED;
        if (!Fits(m_parameter->declaredType == OPMG_STRING, c,
                  expanded ? L"Encountered an expanded string default for a non-string preference."
                           : L"Encountered a string default for a non-string preference.",
                  false) ||
            !AppliesHere(c)) {
            return 0;
        }
        wchar_t *text = nullptr;
        if (expanded) {
            Oerr_ErrorReport *inner = nullptr;
            text = ostr_StringEvaluate(c.text, &inner);
            if (!text) {
                SetError(err, kParse, kBadValue, inner, L"Cannot expand the default of %s",
                         m_parameter->name);
                return -1;
            }
        } else {
            text = HeapText(c.text);
        }
        omsc_HeapFree(m_parameter->defaultValue.string);
        m_parameter->defaultValue.string = text;
        return 0;
    }

    long ColorDefault(const Olex_Clause &c, Oerr_ErrorReport **err) {
        if (!Fits(m_parameter->declaredType == OPMG_COLOR, c,
                  L"Encountered an RGB color default for a non-color preference.", false) ||
            !AppliesHere(c)) {
            return 0;
        }
        int32_t v[4] = {0, 0, 0, 0};
        for (int i = 0; i < c.count; ++i) {
            const double n = c.numbers[i];
            if (!(n >= INT32_MIN && n <= INT32_MAX && n == std::floor(n))) {
                SetError(err, kParse, kBadValue, nullptr,
                         L"Colour components of %s must be whole numbers", m_parameter->name);
                return -1;
            }
            v[i] = static_cast<int32_t>(n);
        }
        m_parameter->defaultValue.color = Opmg_Color{c.count, v[0], v[1], v[2], v[3]};
        return 0;
    }

    bool m_pc;
    ListHolder m_list;
    Opmg_Category *m_category = nullptr;
    Opmg_Parameter *m_parameter = nullptr;
};

long TakeClause(void *data, const Olex_Clause *clause, Oerr_ErrorReport **err) {
    auto *builder = static_cast<Builder *>(data);
    return Guarded<long>(err, kParse, -1, [&] { return builder->Take(*clause, err); });
}

long ParseInto(const wchar_t *fileName, const char *text, size_t length, Opmg_Category **list,
               Oerr_ErrorReport **err) {
    Builder builder(PcPlatform());
    Oerr_ErrorReport *inner = nullptr;
    if (olex_Parse(fileName, text, length, TakeClause, &builder, &inner) != 0) {
        SetError(err, kParse, kParseFailed, inner, L"OPMG: Error return from olex_Parse!");
        return -1;
    }
    MergeInto(list, builder.Release());
    return 0;
}

} // namespace

extern "C" {

ORVIK_API long opmg_ParseText(const wchar_t *fileName, const char *text, size_t length,
                              Opmg_Category **list, Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    return Guarded<long>(err, kParse, -1, [&]() -> long {
        if (!list) {
            SetError(err, kParse, kBadArgument, nullptr, L"Missing category list");
            return -1;
        }
        return ParseInto(fileName, text, length, list, err);
    });
}

ORVIK_API long opmg_Parse(const wchar_t *fileName, Opmg_Category **list, Oerr_ErrorReport **err)
    ORVIK_NOEXCEPT {
    if (err) *err = nullptr;
    return Guarded<long>(err, kParse, -1, [&]() -> long {
        if (!list || !fileName) {
            SetError(err, kParse, kBadArgument, nullptr, L"Missing file name or category list");
            return -1;
        }
        std::string bytes;
        Oerr_ErrorReport *inner = nullptr;
        if (!ReadWholeFile(fileName, bytes, &inner)) {
            SetError(err, kParse, kFileFailed, inner, L"Cannot read %s", fileName);
            return -1;
        }
        return ParseInto(fileName, bytes.data(), bytes.size(), list, err);
    });
}

ORVIK_API Opmg_Category *opmg_LoadPDFs(Oerr_ErrorReport **err) ORVIK_NOEXCEPT {
    const wchar_t *fn = L"opmg_LoadPDFs";
    if (err) *err = nullptr;
    return Guarded<Opmg_Category *>(err, fn, nullptr, [&]() -> Opmg_Category * {
        ListHolder result;
        Oerr_ErrorReport *inner = nullptr;
        ostr_StringList *folders = ofio_SearchListCreateFromEnv(L"GIO_PDF_PATH", &inner);
        if (!folders) { // no definition path: no definitions
            oerr_DeleteErrorReportEx(&inner);
            return nullptr;
        }
        struct FoldersGuard {
            ostr_StringList *l;
            ~FoldersGuard() { ostr_StringListDelete(l, nullptr); }
        } guard{folders};
        for (int32_t i = 0; i < folders->count; ++i) {
            const wchar_t *folder = folders->strings[i];
            if (!folder || ofio_IsDirectory(folder, &inner) != OMSC_TRUE) {
                oerr_DeleteErrorReportEx(&inner);
                continue;
            }
            ostr_StringList *files = ofio_DirScan(folder, L"*.pdf", &inner);
            if (!files) {
                SetError(err, fn, kFileFailed, inner, L"CategoryListCreateFromDirScan failed");
                return nullptr;
            }
            FoldersGuard filesGuard{files};
            for (int32_t f = 0; f < files->count; ++f) {
                if (opmg_Parse(files->strings[f], &result.list, &inner) != 0) {
                    // One broken file must not take every other preference with it.
                    Warn(fn, kParseFailed, inner, L"Definition file %s skipped", files->strings[f]);
                    inner = nullptr;
                }
            }
        }
        return result.Release();
    });
}

} // extern "C"
