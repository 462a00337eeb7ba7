// Opening and creating groups by path.
#pragma once

#include <hdf5.h>

#include <string>

#include "h5id.h"

namespace scnapi {

// Formats a path such as "/top/Psrcs/psrc_%d".
std::string format_path(const char *format, ...) __attribute__((format(printf, 1, 2)));

// Opens the group at `path` (absolute, or relative to `loc`); invalid when
// any component is missing. Absence is checked link by link first, so a
// missing group never makes HDF5 print an error stack.
H5Id open_group(hid_t loc, const std::string &path);

// Opens the group, or creates it when absent; *created tells which.
H5Id open_or_create_group(hid_t loc, const std::string &path, bool *created);

// Creates the group (it must not exist).
H5Id create_group(hid_t loc, const std::string &path);

}  // namespace scnapi
