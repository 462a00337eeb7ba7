// Arrays of a record whose length the record's own count attributes
// announce: "nSteps" values of "stepValues", "numNodes" × "nodeDimension"
// floats of "coords", width × height × bytes per pixel of "pixels".
//
// Bulk readers take no length from their caller, who sized the buffer from
// the counts the record's info entry returned. They read those counts again
// and take them as the buffer's capacity, so that a malformed file (an
// array longer than announced, a negative or missing count) fails with a
// diagnostic instead of writing past the caller's buffer.
//
// Counts are 32-bit in the file and in the callers' arithmetic: no length
// above INT_MAX is accepted on either side.
#pragma once

#include <hdf5.h>

#include <initializer_list>

#include "scnapi/scnapi.h"

namespace scnapi {

// Elements in `count` values of `width` elements each; -1 when either is
// negative or the product exceeds INT_MAX. Silent (the callers report), and
// -1 in gives -1 out, so lengths compose: array_length(array_length(w, h), 3).
long long array_length(long long count, long long width);

// Elements dataset `dataset` of `record` may hold: the product of the
// record's int attributes `counts` and `width`. False when a count is
// missing (reported by the attribute reader) or the product is no length
// (reported as "Error reading dataset: <dataset>").
bool announced_length(hid_t record, const char *dataset, std::initializer_list<const char *> counts,
                      long long width, hsize_t *n);

// Reads dataset `name` of `record` into `buf`, which holds as many elements
// as the product of `counts` announces: announced_length, then the storage
// reader. 0 or -1, like the storage helpers.
int read_counted_int(hid_t record, std::initializer_list<const char *> counts, const char *name,
                     int *buf);
int read_counted_flt(hid_t record, std::initializer_list<const char *> counts, const char *name,
                     float *buf);

// Writes the caller's array of `n` elements as dataset `name`. n == 0
// writes nothing and succeeds: no dataset of 0 elements is ever stored. A
// length that is no length (array_length's -1, any negative n, or one above
// INT_MAX) is refused with "Error creating dataspace for dataset: <name>";
// a null array for n > 0 with "Error writing dataset: <name>", rather than
// handed to HDF5. 0 or -1, like the storage helpers.
int write_counted_int(const scnapi_handle *h, hid_t record, const char *name, long long n,
                      const int *data);
int write_counted_flt(const scnapi_handle *h, hid_t record, const char *name, long long n,
                      const float *data);
int write_counted_str(hid_t record, const char *name, long long n, const char *data);

}  // namespace scnapi
