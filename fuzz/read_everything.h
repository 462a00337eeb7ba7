// Every reader of the library on one scene file, the way its consumers
// read it: shared by the fuzz target and the program the tests replay
// damaged files with.
//
// Every reader is called in the calling order count -> info -> bulk, first
// as a C consumer calls the public entries, with arrays sized from the info
// calls, then as the _oxm module calls the bulk readers, with the module's
// own array sizes and arrays that the readers allocate once they have
// checked the stored data.
#pragma once

#include <cstddef>

#include "scnapi/scnapi.h"

// Opens `size` bytes as a scene file held in memory (HDF5's core driver
// with the bytes as its file image: nothing is written); null when they are
// not one.
scnapi_handle *open_image(const void *data, size_t size);

// Calls every reader on the open file.
void read_everything(scnapi_handle *h);
