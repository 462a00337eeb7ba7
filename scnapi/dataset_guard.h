// What a stored dataset holds, checked before any of it is copied.
//
// HDF5 trusts the layout message of a dataset: libhdf5 1.10.8 copies a
// contiguous dataset whose stored size or address disagrees with its extent
// past the ends of its buffers. Everything a caller can see of the layout is
// compared here with the extent and the file, so that a damaged dataset is
// refused before H5Dread touches it.
#pragma once

#include <hdf5.h>

namespace scnapi {

// Elements and stored bytes of a dataset; 0 bytes = never written.
struct StoredDataset {
    hsize_t elements = 0;
    hsize_t bytes = 0;
};

// Describes dataset `name` of `group` without a message; false when it is
// absent or cannot be opened.
bool probe_dataset(hid_t group, const char *name, StoredDataset *out);

// Whether the open dataset `dset`, which has storage, can be read whole:
// an integer or float type, and storage that matches its extent and lies
// inside the file (contiguous: its size and address; chunked: every chunk's
// address, and its size when unfiltered; compact: its size). External and
// virtual storage are refused.
bool storage_sound(hid_t dset);

}  // namespace scnapi
