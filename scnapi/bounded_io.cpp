#include "bounded_io.h"

#include <cstdio>

#include "storage.h"

namespace scnapi {
namespace {

bool refuse_write(const char *name, long long n, const void *data) {
    if (n >= 0 && (n == 0 || data)) return false;
    std::printf("Error writing dataset: %s\n", name);
    return true;
}

}  // namespace

bool announced_length(hid_t record, const char *dataset, std::initializer_list<const char *> counts,
                      long long factor, hsize_t *n) {
    long long product = factor;
    bool valid = factor >= 0;
    for (const char *count : counts) {
        int value = 0;
        if (read_att_int(record, count, &value, 0) < 0) return false;
        if (value < 0 || __builtin_mul_overflow(product, static_cast<long long>(value), &product))
            valid = false;
    }
    if (!valid) {
        std::printf("Error reading dataset: %s\n", dataset);
        return false;
    }
    *n = static_cast<hsize_t>(product);
    return true;
}

int write_ints(const scnapi_handle *h, hid_t record, const char *name, long long n,
               const int *data) {
    if (refuse_write(name, n, data)) return -1;
    return write_dataset_int(h, record, name, static_cast<hsize_t>(n), data);
}

int write_floats(const scnapi_handle *h, hid_t record, const char *name, long long n,
                 const float *data) {
    if (refuse_write(name, n, data)) return -1;
    return write_dataset_flt(h, record, name, static_cast<hsize_t>(n), data);
}

int write_bytes(hid_t record, const char *name, long long n, const char *data) {
    if (refuse_write(name, n, data)) return -1;
    return write_dataset_str(record, name, static_cast<hsize_t>(n), data);
}

}  // namespace scnapi
