// Storage helpers: every value of a scene file is stored and loaded here.
//
// Kinds: int = native int, float = native float, string = a fixed
// one-dimensional array of N signed chars (zero-padded, no HDF5 string type).
// Attributes live on groups; datasets are one-dimensional and fixed-size.
// Every helper returns 0 on success and -1 on failure, after printing one
// diagnostic line naming the attribute or dataset.
//
// Readers take the capacity of the caller's buffer and refuse (as a read
// failure) a stored object that holds more elements than fit, so that no
// file can make them write past a buffer.
#pragma once

#include <hdf5.h>

#include <cstring>

#include "h5id.h"
#include "scnapi/scnapi.h"

namespace scnapi {

// A zero-filled field of N chars holding a copy of `text` (null = empty),
// the way names are stored: padded with NULs, without one when the text
// fills the field.
template <std::size_t N>
struct FixedText {
    char text[N] = {};
    explicit FixedText(const char *s) {
        if (s) std::memcpy(text, s, strnlen(s, N));
    }
};
using NameText = FixedText<SCNAPI_NAME_LEN>;

// Attribute writers: create the attribute, or overwrite an existing one.
int write_att_str(hid_t gid, const char *name, hsize_t n, const char *value);
int write_att_int(hid_t gid, const char *name, int value);
int write_att_flt(hid_t gid, const char *name, float value);

// Attribute readers. `capacity` is the size of `buf` in chars; a non-zero
// `quiet` suppresses the messages.
int read_att_str(hid_t gid, const char *name, char *buf, hsize_t capacity, int quiet);
int read_att_int(hid_t gid, const char *name, int *value, int quiet);
int read_att_flt(hid_t gid, const char *name, float *value, int quiet);

// Dataset writers: create the dataset [n], or overwrite an existing one.
// Int and float datasets are compressed per create_dataset_filter.
int write_dataset_int(const scnapi_handle *h, hid_t gid, const char *name, hsize_t n,
                      const int *data);
int write_dataset_flt(const scnapi_handle *h, hid_t gid, const char *name, hsize_t n,
                      const float *data);
int write_dataset_str(hid_t gid, const char *name, hsize_t n, const char *data);

// Dataset readers: the whole dataset into `buf`, which holds `capacity`
// elements. A dataset that was created but never written leaves `buf`
// untouched. With `terminate`, read_dataset_str stores a NUL right after the
// bytes read (so it needs one element of room more than the dataset holds).
int read_dataset_int(hid_t gid, const char *name, int *buf, hsize_t capacity);
int read_dataset_flt(hid_t gid, const char *name, float *buf, hsize_t capacity);
int read_dataset_str(hid_t gid, const char *name, char *buf, hsize_t capacity, int terminate);

// Number of elements a dataset holds, without a message when it is absent.
int dataset_length(hid_t gid, const char *name, hsize_t *n);

// A dataset opened to be read whole. What it holds (its extent, whether it
// was ever written) is known before a caller commits a buffer to it, and
// the read goes on with the same open dataset: checking an array against
// its counts costs no second open.
class StoredArray {
public:
    // Opens dataset `name` of `group`; an empty StoredArray when it cannot
    // be opened, without a message of the library's (callers report it
    // their own way).
    StoredArray(hid_t group, const char *name);
    StoredArray() = default;  // none
    explicit operator bool() const { return dset_.valid() && extent_ >= 0; }
    hsize_t elements() const { return static_cast<hsize_t>(extent_ < 0 ? 0 : extent_); }
    bool written() const { return written_; }
    // Reads the whole dataset as `type` into `buf`, which holds `capacity`
    // elements, and closes it. Returns the elements read (0 for a dataset
    // never written: `buf` untouched) or -1 after "Error reading dataset:
    // <name>" (more elements than `capacity`, a damaged type or storage)
    // or "Error closing dataset: <name>".
    hssize_t read(hid_t type, void *buf, hsize_t capacity);

private:
    const char *name_ = "";
    H5Id dset_;
    hssize_t extent_ = -1;
    bool written_ = false;
};

// Dataset-creation properties for an int or float dataset of n elements
// written through `h`: one chunk of the whole length, shuffled when shuffle
// is usable, then Deflate level 9 or Szip; H5P_DEFAULT (0) when the handle
// does not compress or the dataset holds 100 elements or fewer.
hid_t create_dataset_filter(const scnapi_handle *h, hsize_t n);

}  // namespace scnapi
