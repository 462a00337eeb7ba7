// Arrays of a record whose length a count attribute of the same record
// announces ("nFrames" for "sourceIndices", "nSteps" for "stepValues").
//
// Readers have no length argument: the caller sized its buffer from the
// count that the record's info entry returned. The bulk readers here read
// that count again and take it as the buffer's capacity, so a malformed
// file (an array longer than its count, a negative or missing count) fails
// with a diagnostic instead of writing past the caller's buffer.
#pragma once

#include <hdf5.h>

#include "scnapi/scnapi.h"

namespace scnapi {

// Writes dataset `name` of `count` elements through the storage helpers.
// A count of 0 writes nothing and succeeds. A negative count or a missing
// array is refused with the helpers' dataspace message: such a call cannot
// say how much of the caller's memory to store.
int write_counted_int(const scnapi_handle *h, hid_t record, const char *name, int count,
                      const int *data);
int write_counted_flt(const scnapi_handle *h, hid_t record, const char *name, int count,
                      const float *data);

// Reads dataset `name` of `record` into `buf`, which holds as many elements
// as the record's int attribute `count_attr` announces. A count that is
// missing or negative, or a dataset holding more elements than it, is
// refused with "Error reading dataset: <name>" and -1.
int read_counted_int(hid_t record, const char *count_attr, const char *name, int *buf);
int read_counted_flt(hid_t record, const char *count_attr, const char *name, float *buf);

}  // namespace scnapi
