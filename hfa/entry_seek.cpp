// Moving the current entry: the 19 seek methods built from single steps (next, previous,
// first child, parent), each step checking that the entry it reaches names the expected
// parent, every walk bounded by the number of 128-byte records the file can hold.
#include <cstring>
#include <cwchar>

#include "core/guard.hpp"
#include "hfa/entry.hpp"
#include "hfa/file.hpp"
#include "strings/node_path.hpp"
#include "core/utf8.hpp"
#include "hfa/report.hpp"

using orvik::core::SetError;
using namespace orvik::hfa;

namespace orvik::hfa {

namespace {

std::string NameOf(const char *text, std::size_t width) {
    return std::string(text, strnlen(text, width));
}
std::string NameOf(const Ohfa_Entry &e) { return NameOf(e.name, sizeof e.name); }
std::string TypeOf(const Ohfa_Entry &e) { return NameOf(e.type, sizeof e.type); }
std::wstring Wide(const std::string &s) { return text::Utf8ToWideLossy(s); }

// A working copy of the current entry; committed only when a seek succeeds.
struct Cursor {
    uint32_t position = 0;
    Ohfa_Entry record{};
    std::vector<std::string> path;
};

class Seeker {
  public:
    Seeker(Ohfa_File *file, Oerr_ErrorReport **err, const wchar_t *fn)
        : m_file(file), m_err(err), m_fn(fn), m_bound(file->fileEnd / kEntrySize + 1) {}

    long Run(long method, const wchar_t *name, Cursor &c);

  private:
    long Fail(long number, const wchar_t *message) {
        SetError(m_err, m_fn, number, *m_err, message);
        return -1;
    }
    long Root(Cursor &c);
    long Sibling(Cursor &c, bool forward);
    long Next(Cursor &c) { return Sibling(c, true); }
    long Prev(Cursor &c) { return Sibling(c, false); }
    long Child(Cursor &c);
    long Parent(Cursor &c);
    long Last(Cursor &c);
    long First(Cursor &c);
    // Walks siblings with `step` from the current one (included when `self`) until `match`.
    template <class Match>
    long WalkSiblings(Cursor &c, bool self, long (Seeker::*step)(Cursor &), Match match);
    long Descendant(Cursor &c, const std::string &name);
    // The child of that name / the last child, through the sibling name index.
    long NamedChild(Cursor &c, const std::string &name);
    long LastChild(Cursor &c);
    ChildIndex *Children(const Cursor &parent, long &r);
    long AtPosition(Cursor &c, uint32_t position);
    long Path(Cursor &c, const wchar_t *path);
    std::string ParentName(const Cursor &c);

    Ohfa_File *m_file;
    Oerr_ErrorReport **m_err;
    const wchar_t *m_fn;
    int64_t m_bound;
};

std::string Seeker::ParentName(const Cursor &c) {
    Ohfa_Entry parent{};
    Oerr_ErrorReport *e = nullptr;
    std::string name = "?";
    if (c.record.parent && ReadEntry(m_file, c.record.parent, parent, &e, m_fn))
        name = NameOf(parent);
    oerr_DeleteErrorReportEx(&e);
    return name;
}

long Seeker::Root(Cursor &c) {
    const uint32_t at = m_file->header.rootEntryPtr;
    Ohfa_Entry root{};
    if (at == 0 || !ReadEntry(m_file, at, root, m_err, m_fn)) {
        SetError(m_err, m_fn, kSeekNoRoot, *m_err, L"Couldn't locate root");
        return -1;
    }
    if (root.next || root.prev || root.parent) {
        SetError(m_err, m_fn, kSeekCorruptRoot, nullptr,
                 L"Corrupt root entry detected...cannot continue");
        return -1;
    }
    c.position = at;
    c.record = root;
    c.path.clear();
    return 1;
}

long Seeker::Sibling(Cursor &c, bool forward) {
    const uint32_t to = forward ? c.record.next : c.record.prev;
    if (to == 0) return 0;
    Ohfa_Entry e{};
    if (!ReadEntry(m_file, to, e, m_err, m_fn)) return -1;
    if (e.parent != c.record.parent || to == c.position) {
        SetError(m_err, m_fn, kSeekCorruptSibling, nullptr,
                 L"Corrupt sibling entry (%s) of %s detected", Wide(NameOf(e)).c_str(),
                 Wide(ParentName(c)).c_str());
        return -1;
    }
    c.position = to;
    c.record = e;
    if (!c.path.empty()) c.path.back() = NameOf(e);
    return 1;
}

long Seeker::Child(Cursor &c) {
    if (c.record.child == 0) return 0;
    Ohfa_Entry e{};
    if (!ReadEntry(m_file, c.record.child, e, m_err, m_fn)) return -1;
    if (e.parent != c.position) {
        SetError(m_err, m_fn, kSeekCorruptChild, nullptr,
                 L"Corrupt child entry (%s) of %s detected", Wide(NameOf(e)).c_str(),
                 Wide(NameOf(c.record)).c_str());
        return -1;
    }
    c.position = c.record.child;
    c.record = e;
    c.path.push_back(NameOf(e));
    return 1;
}

long Seeker::Parent(Cursor &c) {
    if (c.record.parent == 0) return 0;
    Ohfa_Entry e{};
    if (!ReadEntry(m_file, c.record.parent, e, m_err, m_fn)) return -1;
    c.position = c.record.parent;
    c.record = e;
    if (c.path.empty()) return Fail(kSeekPopFailed, L"Pop failure");
    c.path.pop_back();
    return 1;
}

long Seeker::Last(Cursor &c) {
    for (int64_t steps = 0; steps <= m_bound; ++steps) {
        const long r = Next(c);
        if (r <= 0) return r < 0 ? -1 : 1;
    }
    SetError(m_err, m_fn, kSeekCorruptSibling, nullptr,
             L"Corrupt sibling entry (%s) of %s detected", Wide(NameOf(c.record)).c_str(),
             Wide(ParentName(c)).c_str());
    return -1;
}

long Seeker::First(Cursor &c) {
    for (int64_t steps = 0; steps <= m_bound; ++steps) {
        const long r = Prev(c);
        if (r <= 0) return r < 0 ? -1 : 1;
    }
    SetError(m_err, m_fn, kSeekCorruptSibling, nullptr,
             L"Corrupt sibling entry (%s) of %s detected", Wide(NameOf(c.record)).c_str(),
             Wide(ParentName(c)).c_str());
    return -1;
}

template <class Match>
long Seeker::WalkSiblings(Cursor &c, bool self, long (Seeker::*step)(Cursor &), Match match) {
    if (self && match(c.record)) return 1;
    for (int64_t steps = 0; steps <= m_bound; ++steps) {
        const long r = (this->*step)(c);
        if (r <= 0) return r;
        if (match(c.record)) return 1;
    }
    SetError(m_err, m_fn, kSeekCorruptSibling, nullptr,
             L"Corrupt sibling entry (%s) of %s detected", Wide(NameOf(c.record)).c_str(),
             Wide(ParentName(c)).c_str());
    return -1;
}

long Seeker::Descendant(Cursor &c, const std::string &name) {
    // Depth-first, children before siblings, from the current entry's first child.
    const std::size_t depth = c.path.size();
    long r = Child(c);
    for (int64_t steps = 0; r > 0 && steps <= m_bound; ++steps) {
        if (NameOf(c.record) == name) return 1;
        r = Child(c);
        if (r < 0) return -1;
        if (r > 0) continue;
        // No child: the next sibling here or of the nearest ancestor below the start.
        for (;;) {
            r = Next(c);
            if (r != 0) break;
            if (c.path.size() <= depth + 1) return 0;
            if (Parent(c) < 0) return -1;
        }
    }
    if (r <= 0) return r;
    SetError(m_err, m_fn, kSeekCorruptChild, nullptr, L"Corrupt child entry (%s) of %s detected",
             Wide(NameOf(c.record)).c_str(), Wide(ParentName(c)).c_str());
    return -1;
}

long Seeker::AtPosition(Cursor &c, uint32_t position) {
    Ohfa_Entry e{};
    if (!ReadEntry(m_file, position, e, m_err, m_fn)) return -1;
    // The path comes from the parent links, bounded like every walk.
    std::vector<std::string> path;
    Ohfa_Entry up = e;
    for (int64_t steps = 0; up.parent != 0; ++steps) {
        if (steps > m_bound) return Fail(kSeekParentNotHashed, L"Parent not hashed yet?");
        path.push_back(NameOf(up));
        if (!ReadEntry(m_file, up.parent, up, m_err, m_fn)) return -1;
    }
    c.position = position;
    c.record = e;
    c.path.assign(path.rbegin(), path.rend());
    return 1;
}

long Seeker::Path(Cursor &c, const wchar_t *path) {
    std::vector<std::wstring_view> names;
    if (fnp::ParseNodePath(path, names) != fnp::Syntax::Ok) {
        SetError(m_err, m_fn, kSeekBadPath, nullptr, L"Invalid node path %s", path);
        return -1;
    }
    long r = Root(c);
    for (std::size_t i = 0; r > 0 && i < names.size(); ++i) {
        r = NamedChild(c, text::WideToUtf8Lossy(names[i]));
    }
    return r;
}

// The index of the parent `parent`, built by one checked, bounded walk of its children when
// there is none. Null when the list is damaged (never indexed): the caller then walks it
// step by step, reaching what lies before the damage and reporting the damage itself.
ChildIndex *Seeker::Children(const Cursor &parent, long &r) {
    EntryState &s = m_file->entry;
    auto it = s.children.find(parent.position);
    if (it != s.children.end()) {
        r = 1;
        return &it->second;
    }
    ChildIndex index;
    Cursor walk = parent;
    r = Child(walk);
    for (int64_t steps = 0; r > 0; ++steps) {
        if (steps > m_bound) {
            SetError(m_err, m_fn, kSeekCorruptSibling, nullptr,
                     L"Corrupt sibling entry (%s) of %s detected",
                     Wide(NameOf(walk.record)).c_str(), Wide(NameOf(parent.record)).c_str());
            r = -1;
            break;
        }
        bool added = false;
        ++index.byName.Emplace(NameOf(walk.record), ChildIndex::Slot{walk.position, 0}, added)
              .count;
        index.last = walk.position;
        r = Next(walk);
    }
    if (r < 0) {
        oerr_DeleteErrorReportEx(m_err);
        return nullptr;
    }
    r = 1;
    return &s.children.emplace(parent.position, std::move(index)).first->second;
}

// Sibling lists this short are walked at each look-up rather than indexed: a walk of a few
// cached records costs less than building and keeping an index (a layer holding its
// statistics and a few more children is the common parent).
constexpr int kShortList = 8;

long Seeker::NamedChild(Cursor &c, const std::string &name) {
    long r = 0;
    if (m_file->entry.children.count(c.position) == 0) {
        const uint32_t parent = c.position;
        const Ohfa_Entry parentRecord = c.record;
        r = Child(c);
        for (int steps = 0; r > 0; ++steps) {
            if (NameOf(c.record) == name) return 1;
            if (steps == kShortList) break; // a long list: index it
            r = Next(c);
        }
        if (r > 0 || (r == 0 && c.position != parent)) {
            // Back to the parent (the walk left it on a child) for the index below, or with
            // nothing found.
            c.position = parent;
            c.record = parentRecord;
            c.path.pop_back();
        }
        if (r <= 0) return r;
    }
    ChildIndex *index = Children(c, r);
    auto walk = [&] {
        if ((r = Child(c)) <= 0) return r;
        return WalkSiblings(c, true, &Seeker::Next,
                            [&](const Ohfa_Entry &x) { return NameOf(x) == name; });
    };
    if (!index) return walk();
    const ChildIndex::Slot *found = index->byName.Find(name);
    if (!found) return 0;
    const uint32_t first = found->first;
    Ohfa_Entry e{};
    if (!ReadEntry(m_file, first, e, m_err, m_fn)) return -1;
    if (e.parent != c.position || NameOf(e) != name) {
        // Changed behind the index (another writer): forget it and walk.
        m_file->entry.children.erase(c.position);
        return walk();
    }
    c.position = first;
    c.record = e;
    c.path.push_back(name);
    return 1;
}
long Seeker::LastChild(Cursor &c) {
    long r = 0;
    ChildIndex *index = Children(c, r);
    if (!index) {
        if ((r = Child(c)) <= 0) return r;
        return Last(c);
    }
    if (index->last == 0) return 0;
    Ohfa_Entry e{};
    if (!ReadEntry(m_file, index->last, e, m_err, m_fn)) return -1;
    if (e.parent != c.position || e.next != 0) {
        m_file->entry.children.erase(c.position);
        if ((r = Child(c)) <= 0) return r;
        return Last(c);
    }
    c.position = index->last;
    c.record = e;
    c.path.push_back(NameOf(e));
    return 1;
}

// Decimal position text of methods 17 and 18.
bool ParsePosition(const wchar_t *text, uint32_t &out) {
    if (!text || !*text) return false;
    uint64_t v = 0;
    for (const wchar_t *p = text; *p; ++p) {
        if (*p < L'0' || *p > L'9') return false;
        v = v * 10 + static_cast<uint64_t>(*p - L'0');
        if (v > 0x7FFFFFFF) return false;
    }
    out = static_cast<uint32_t>(v);
    return true;
}

long Seeker::Run(long method, const wchar_t *name, Cursor &c) {
    const std::string wanted = name ? text::WideToUtf8Lossy(name) : std::string();
    auto byName = [&](const Ohfa_Entry &e) { return NameOf(e) == wanted; };
    auto byType = [&](const Ohfa_Entry &e) { return TypeOf(e) == wanted; };
    long r;
    switch (method) {
    case 0:
        return Root(c);
    case 1:
        return Next(c);
    case 2:
        return Prev(c);
    case 3:
        return Last(c);
    case 4:
        return First(c);
    case 5:
        return Child(c);
    case 6:
        return Parent(c);
    case 7:
    case 16:
        if (c.record.parent == 0) return Fail(kSeekNoParent, L"Current entry has no parent");
        if (First(c) < 0) return -1;
        return WalkSiblings(c, true, &Seeker::Next, [&](const Ohfa_Entry &e) {
            return method == 7 ? byName(e) : byType(e);
        });
    case 8:
        if ((r = Path(c, name)) < 0) return Fail(kSeekPathFailed, L"EntryPathPathSeek failed");
        return r;
    case 9:
        return LastChild(c);
    case 10:
        return NamedChild(c, wanted);
    case 14:
        if ((r = Child(c)) <= 0) return r;
        return WalkSiblings(c, true, &Seeker::Next, byType);
    case 11:
        return Descendant(c, wanted);
    case 12:
        return WalkSiblings(c, false, &Seeker::Next, byName);
    case 15:
        return WalkSiblings(c, false, &Seeker::Next, byType);
    case 13: {
        if (c.record.parent == 0) return 0;
        Cursor up = c;
        if ((r = Parent(up)) < 0 || (r > 0 && (r = NamedChild(up, wanted)) < 0))
            return Fail(kSeekSiblingFailed, L"EntryPathSiblingNameSeek failed");
        if (r > 0) c = std::move(up);
        return r;
    }
    case 17: {
        uint32_t position = m_file->batchStartNode;
        if (name && !ParsePosition(name, position))
            return Fail(kSeekSetCurrentFailed, L"Couldn't set current entry");
        if (position == 0 || AtPosition(c, position) < 0)
            return Fail(kSeekSetCurrentFailed, L"Couldn't set current entry");
        return 1;
    }
    case 18: {
        uint32_t position = 0;
        if (!ParsePosition(name, position) || AtPosition(c, position) < 0)
            return Fail(kSeekReadFailed, L"ohfa_FileHostDataRead failed");
        // The stream stands after the record, where a read at position -1 continues.
        if (ofio_Seek(m_file->stream, int64_t{position} + kEntrySize, OFIO_SEEK_SET, m_err) != 0)
            return Fail(kSeekReadFailed, L"ohfa_FileHostDataRead failed");
        return 1;
    }
    default:
        return Fail(kSeekBadMethod, L"Invalid seek method");
    }
}

// The name rules of the methods; false after a report. A name given to a method that takes
// none is only a warning.
bool CheckName(long method, const wchar_t *name, Oerr_ErrorReport **err, const wchar_t *fn) {
    switch (method) {
    case 0:
    case 1:
    case 2:
    case 3:
    case 4:
    case 5:
    case 6:
    case 9:
        if (name) Warn(fn, kSeekNameIgnored, L"Name parameter '%s' will be ignored", name);
        return true;
    case 7:
    case 8:
    case 10:
    case 11:
    case 12:
    case 13:
    case 14:
    case 15:
    case 16:
        if (!name) {
            SetError(err, fn, kSeekNameMissing, nullptr,
                     L"Name parameter must not be null for requested seek type");
            return false;
        }
        [[fallthrough]];
    case 17:
        if (name && !*name) {
            SetError(err, fn, kSeekNameEmpty, nullptr, L"Name parameter must not be null string");
            return false;
        }
        return true;
    default:
        return true;
    }
}

// Seek methods batch mode allows: forward moves and returns to known places only.
bool AllowedInBatch(long method) {
    switch (method) {
    case 0:
    case 1:
    case 3:
    case 5:
    case 6:
    case 8:
    case 17:
        return true;
    default:
        return false;
    }
}

} // namespace

long SeekEntry(Ohfa_File *file, long method, const wchar_t *name, Oerr_ErrorReport **err,
               const wchar_t *fn) {
    if (method < 0 || method > 18) {
        SetError(err, fn, kSeekBadMethod, nullptr, L"Invalid seek method");
        return -1;
    }
    if ((file->optionFlags & kFlagBatch) && !AllowedInBatch(method)) {
        SetError(err, fn, kSeekBadMethodInBatch, nullptr,
                 L"Invalid seek method for writing w/o caching");
        return -1;
    }
    if (!CheckName(method, name, err, fn)) return -1;
    Seeker seeker(file, err, fn);
    EntryState &s = file->entry;
    Cursor c;
    if (s.valid) {
        c.position = s.position;
        c.record = s.record;
        c.path = s.path;
    } else if (method != 0 && method != 8 && method != 17 && method != 18) {
        // No current entry yet: relative moves start at the root.
        if (seeker.Run(0, nullptr, c) < 0) return -1;
    }
    const long r = seeker.Run(method, name, c);
    if (r <= 0) return r;
    s.valid = true;
    s.position = c.position;
    s.record = c.record;
    s.path = std::move(c.path);
    return 1;
}

} // namespace orvik::hfa
