#include "groups.h"

#include <cstdarg>
#include <cstdio>

namespace scnapi {

std::string format_path(const char *format, ...) {
    char buf[256] = {};
    va_list args;
    va_start(args, format);
    int n = std::vsnprintf(buf, sizeof buf, format, args);
    va_end(args);
    if (n < static_cast<int>(sizeof buf)) return std::string(buf);
    std::string long_path(static_cast<size_t>(n) + 1, '\0');
    va_start(args, format);
    std::vsnprintf(&long_path[0], long_path.size(), format, args);
    va_end(args);
    long_path.resize(static_cast<size_t>(n));
    return long_path;
}

// True when every link along `path` exists below `loc`.
static bool path_exists(hid_t loc, const std::string &path) {
    for (size_t pos = path.find('/', 1); ; pos = path.find('/', pos + 1)) {
        std::string prefix = path.substr(0, pos);
        if (!prefix.empty() && prefix != "/" && H5Lexists(loc, prefix.c_str(), H5P_DEFAULT) <= 0)
            return false;
        if (pos == std::string::npos) return true;
    }
}

H5Id open_group(hid_t loc, const std::string &path) {
    if (loc < 0 || !path_exists(loc, path)) return H5Id();
    return group_id(H5Gopen1(loc, path.c_str()));
}

H5Id create_group(hid_t loc, const std::string &path) {
    if (loc < 0) return H5Id();
    return group_id(H5Gcreate1(loc, path.c_str(), 0));
}

H5Id open_or_create_group(hid_t loc, const std::string &path, bool *created) {
    *created = false;
    if (loc >= 0 && path_exists(loc, path)) return group_id(H5Gopen1(loc, path.c_str()));
    H5Id group = create_group(loc, path);
    *created = group.valid();
    return group;
}

}  // namespace scnapi
