// Internal view of the library handle: set-up and release, shared by the
// lifecycle entries and the scripting module.
#pragma once

#include "scnapi/scnapi.h"

namespace scnapi {

// Clears the attribute-store fields and allocates its buffers; 0 on
// success, 2 when a buffer could not be allocated.
int attr_handle_init(scnapi_handle *h);

// Closes the handle's file and frees the handle, setting *h to null.
// With `shutdown`, HDF5 itself is then shut down (scnapi_close); without,
// other open handles of the process are left alone. Returns 0 or 1 (the
// handle is kept when closing its file failed).
int release_handle(scnapi_handle **h, bool shutdown);

}  // namespace scnapi
