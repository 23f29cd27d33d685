// POSIX hosts have no system registry (see port/registry.hpp).
#include "port/registry.hpp"

#include <cerrno>
#include <cstring>

namespace orvik::port::registry {

bool Available() { return false; }
std::string Reason(Code code) { return std::strerror(static_cast<int>(code)); }

Code ReadValues(const std::wstring &, const std::wstring &, std::vector<Value> &, bool &) {
    return ENOSYS;
}
Code DeleteTree(const std::wstring &, const std::wstring &) { return ENOSYS; }
Code Create(const std::wstring &, const std::wstring &) { return ENOSYS; }
Code ReplaceValues(const std::wstring &, const std::wstring &, const std::vector<Value> &) {
    return ENOSYS;
}

} // namespace orvik::port::registry
