// What a stored dataset or attribute holds, checked before any of it is
// copied.
//
// HDF5 trusts what a file says of its values: libhdf5 1.10.8 copies a
// dataset whose stored size disagrees with its extent past the ends of its
// buffers (a contiguous or compact dataset, or a chunk whose decoded size
// is not the chunk's), allocates conversion buffers as wide as a damaged
// type claims, and converts integers bit by bit beyond the value when a
// type's precision and offset exceed its size. Everything a caller can see of the type and the
// layout is compared here with the extent and the file, so that a damaged
// value is refused before H5Dread or H5Aread touches it.
#pragma once

#include <hdf5.h>

#include "h5id.h"

namespace scnapi {

// Whether values of `type` can be read as `memory_type` without trusting
// damaged fields: an integer or a float of the memory type's size (every
// value of a scene file is stored as the native type it is read as) whose
// bits (precision and offset; a float's sign, exponent and mantissa) lie
// inside it.
bool type_sound(hid_t type, hid_t memory_type);

// Whether the open attribute's type is sound for `memory_type` (its values
// are stored with its header message, already decoded when it was opened).
bool attribute_sound(hid_t attr, hid_t memory_type);

// Whether the open dataset `dset`, which has storage, can be read whole as
// `memory_type`: a sound type, and storage that matches its extent and lies
// inside the file (contiguous: its size and address; chunked: chunks within
// the extent, every chunk's address, and its size unless a filter that
// changes it was applied; compact: its size). External and virtual storage
// are refused. When the storage is sound and not contiguous, `dcpl` receives
// the dataset's creation properties, which the read goes on to use;
// contiguous data is checked without them (copying them is the costliest
// step of a small read), and `dcpl` stays empty.
bool storage_sound(hid_t dset, hid_t memory_type, H5Id *dcpl);

}  // namespace scnapi
