// What a stored dataset or attribute holds, checked before any of it is
// copied.
//
// HDF5 trusts what a file says of its values: libhdf5 1.10.8 copies a
// dataset whose stored size disagrees with its extent past the ends of its
// buffers, allocates conversion buffers as wide as a damaged type claims, and
// converts integers bit by bit beyond the value when a type's precision and
// offset exceed its size. Everything a caller can see of the type and the
// layout is compared here with the extent and the file, so that a damaged
// value is refused before H5Dread or H5Aread touches it.
#pragma once

#include <hdf5.h>

namespace scnapi {

// Elements and stored bytes of a dataset; 0 bytes = never written.
struct StoredDataset {
    hsize_t elements = 0;
    hsize_t bytes = 0;
};

// Whether values of `type` can be converted without trusting damaged
// fields: an integer or a float of 1 to 16 bytes whose bits (precision and
// offset; a float's sign, exponent and mantissa) lie inside it.
bool type_sound(hid_t type);

// Whether the open attribute's type is sound (its values are stored with
// its header message, already decoded when it was opened).
bool attribute_sound(hid_t attr);

// Describes dataset `name` of `group` without a message; false when it is
// absent or cannot be opened.
bool probe_dataset(hid_t group, const char *name, StoredDataset *out);

// Whether the open dataset `dset`, which has storage, can be read whole:
// a sound type, and storage that matches its extent and lies
// inside the file (contiguous: its size and address; chunked: every chunk's
// address, and its size when unfiltered; compact: its size). External and
// virtual storage are refused.
bool storage_sound(hid_t dset);

}  // namespace scnapi
