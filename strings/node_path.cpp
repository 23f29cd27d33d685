// Node-path syntax: parsing into names and building the canonical text.
#include "strings/node_path.hpp"

#include <orvik/ofnp.h>

namespace orvik::fnp {

Syntax CheckName(std::wstring_view name) {
    if (name.empty()) return Syntax::EmptyName;
    if (name.size() > OFNP_NAME_MAX) return Syntax::NameTooLong;
    if (name.find(L'/') != std::wstring_view::npos) return Syntax::Separator;
    return Syntax::Ok;
}

Syntax ParseNodePath(std::wstring_view text, std::vector<std::wstring_view> &names) {
    if (text.empty()) return Syntax::Empty;
    if (text.front() == L'/') text.remove_prefix(1);
    if (text.empty()) return Syntax::Ok; // the root
    if (text.back() == L'/') text.remove_suffix(1);
    for (;;) {
        const std::size_t slash = text.find(L'/');
        const std::wstring_view name = text.substr(0, slash);
        if (const Syntax s = CheckName(name); s != Syntax::Ok) return s;
        names.push_back(name);
        if (slash == std::wstring_view::npos) return Syntax::Ok;
        text.remove_prefix(slash + 1);
    }
}

std::wstring JoinNames(const std::vector<std::wstring_view> &names) {
    if (names.empty()) return OFNP_ROOT;
    std::wstring out;
    for (const auto &n : names) {
        out.push_back(L'/');
        out.append(n);
    }
    return out;
}

} // namespace orvik::fnp
