// Whole-dataset reads and writes, with a direct path for the library's own
// compressed storage.
//
// A dataset stored as create_dataset_filter lays it out (one chunk covering
// the whole one-dimensional extent, filtered by shuffle of the element size
// and Deflate, or by Deflate alone, in the memory type's own representation)
// is read by fetching the raw chunk (H5Dread_chunk), inflating it with
// libdeflate straight into the caller's buffer and unshuffling it there; it
// is written by shuffling and compressing with libdeflate and storing the
// chunk with H5Dwrite_chunk. The bytes on disk are what HDF5's own filters
// would produce and decode, and the declared filters stay as they are.
// Anything else (Szip, several chunks, other filters, contiguous data, a
// type conversion, a chunk stored with a filter skipped) goes through
// H5Dread and H5Dwrite.
#pragma once

#include <hdf5.h>

namespace scnapi {

// Reads all `n` elements of one-dimensional dataset `dset` as `type` into
// `buf`. `dcpl` is the dataset's creation property list, or negative for
// contiguous data (which always goes through H5Dread). A compressed chunk
// that is damaged, or inflates to anything but n elements, fails (-1)
// without writing outside `buf`. 0 or -1.
herr_t read_whole_dataset(hid_t dset, hid_t dcpl, hid_t type, void *buf, hsize_t n);

// Writes all `n` elements of one-dimensional dataset `dset` from `data`,
// held as `type`; `dcpl` as for the read. 0 or -1.
herr_t write_whole_dataset(hid_t dset, hid_t dcpl, hid_t type, const void *data, hsize_t n);

}  // namespace scnapi
