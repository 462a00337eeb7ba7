// Internal view of the library handle: set-up and release, shared by the
// lifecycle entries and the scripting module.
#pragma once

#include <hdf5.h>

#include "scnapi/scnapi.h"

namespace scnapi {

// Opens a scene file for reading on an HDF5 file the caller has opened (an
// in-memory file image, for instance): the same handle, versions and state
// as scn_read_begin gives for a file of that name. The handle owns `file`
// from then on; on failure (null) it has been closed.
scnapi_handle *open_read_handle(hid_t file, const char *name);

// Clears the attribute-store fields and allocates its buffers; 0 on
// success, 2 when a buffer could not be allocated.
int attr_handle_init(scnapi_handle *h);

// Closes the handle's file and frees the handle, setting *h to null.
// With `shutdown`, HDF5 itself is then shut down (scnapi_close); without,
// other open handles of the process are left alone. Returns 0 or 1 (the
// handle is kept when closing its file failed).
int release_handle(scnapi_handle **h, bool shutdown);

}  // namespace scnapi
