#include "counted_arrays.h"

#include <cstdio>

#include "storage.h"

namespace scnapi {
namespace {

bool valid_input(const char *name, int count, const void *data) {
    if (count < 0 || !data) {
        std::printf("Error creating dataspace for dataset: %s\n", name);
        return false;
    }
    return true;
}

// The capacity the record announces for its array `name`; false after the
// dataset's read message when the count cannot serve as one.
bool announced_capacity(hid_t record, const char *count_attr, const char *name, hsize_t *n) {
    int count = 0;
    if (read_att_int(record, count_attr, &count, /*quiet=*/1) < 0 || count < 0) {
        std::printf("Error reading dataset: %s\n", name);
        return false;
    }
    *n = static_cast<hsize_t>(count);
    return true;
}

}  // namespace

int write_counted_int(const scnapi_handle *h, hid_t record, const char *name, int count,
                      const int *data) {
    if (count == 0) return 0;
    if (!valid_input(name, count, data)) return -1;
    return write_dataset_int(h, record, name, static_cast<hsize_t>(count), data);
}

int write_counted_flt(const scnapi_handle *h, hid_t record, const char *name, int count,
                      const float *data) {
    if (count == 0) return 0;
    if (!valid_input(name, count, data)) return -1;
    return write_dataset_flt(h, record, name, static_cast<hsize_t>(count), data);
}

int read_counted_int(hid_t record, const char *count_attr, const char *name, int *buf) {
    hsize_t n = 0;
    if (!announced_capacity(record, count_attr, name, &n)) return -1;
    return read_dataset_int(record, name, buf, n);
}

int read_counted_flt(hid_t record, const char *count_attr, const char *name, float *buf) {
    hsize_t n = 0;
    if (!announced_capacity(record, count_attr, name, &n)) return -1;
    return read_dataset_flt(record, name, buf, n);
}

}  // namespace scnapi
