// Array items of records, written and read within the counts the record
// itself announces.
#pragma once

#include <hdf5.h>

#include <initializer_list>

#include "scnapi/scnapi.h"

namespace scnapi {

// Number of elements dataset `dataset` may hold: the product of the int
// attributes `counts` of the record and `factor`. A missing count (reported
// by the attribute reader), a negative one or an overflowing product makes
// it false; the latter two are reported as a failed read of the dataset.
bool announced_length(hid_t record, const char *dataset, std::initializer_list<const char *> counts,
                      long long factor, hsize_t *n);

// Dataset writers for the caller's arrays: a negative count, or a missing
// array for a positive one, is refused as a failed write of the dataset.
// 0 or -1, like the storage helpers.
int write_ints(const scnapi_handle *h, hid_t record, const char *name, long long n,
               const int *data);
int write_floats(const scnapi_handle *h, hid_t record, const char *name, long long n,
                 const float *data);
int write_bytes(hid_t record, const char *name, long long n, const char *data);

}  // namespace scnapi
