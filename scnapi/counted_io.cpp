#include "counted_io.h"

#include <climits>
#include <cstdio>

#include "storage.h"

namespace scnapi {
namespace {

// Whether the caller's array of n elements (n != 0) may be handed to the
// storage helpers; false after the refusal's message.
bool writable(const char *name, long long n, const void *data) {
    if (array_length(n, 1) < 0) {
        std::printf("Error creating dataspace for dataset: %s\n", name);
        return false;
    }
    if (!data) {
        std::printf("Error writing dataset: %s\n", name);
        return false;
    }
    return true;
}

// The memory type of an element kind.
hid_t element_type(Elem type) {
    switch (type) {
        case Elem::Int: return H5T_NATIVE_INT;
        case Elem::Float: return H5T_NATIVE_FLOAT;
        case Elem::Char: break;
    }
    return H5T_NATIVE_SCHAR;
}

}  // namespace

long long array_length(long long count, long long width) {
    if (count < 0 || width < 0 || count > INT_MAX || width > INT_MAX) return -1;
    long long product = count * width;  // both fit 32 bits: no 64-bit overflow
    return product > INT_MAX ? -1 : product;
}

bool announced_length(hid_t record, std::initializer_list<const char *> counts, long long width,
                      long long *n) {
    long long length = width;
    for (const char *count : counts) {
        int value = 0;
        if (read_att_int(record, count, &value, 0) < 0) return false;
        length = array_length(length, value);
    }
    *n = length;
    return true;
}

int read_array(hid_t record, const char *name, Elem type, long long announced, bool exact,
               const ArrayOut &out) {
    if (!out.wanted()) return 0;
    const long long capacity = out.capacity(announced);
    if (capacity < 0) {
        std::printf("Error reading dataset: %s\n", name);
        return -1;
    }
    StoredArray stored(record, name);
    if (!stored) {
        std::printf("Error opening dataset: %s\n", name);
        return -1;
    }
    const auto room = static_cast<hsize_t>(capacity);
    // An array allocated for the read is backed by stored data of exactly
    // its size: a dataset that was never written backs none.
    if (stored.elements() > room ||
        (exact && stored.elements() != static_cast<hsize_t>(announced)) ||
        (out.allocates() && (stored.elements() != room || (room > 0 && !stored.written())))) {
        std::printf("Error reading dataset: %s\n", name);
        return -1;
    }
    void *buf = out.buffer();
    if (!buf) return -1;
    return stored.read(element_type(type), buf, room) < 0 ? -1 : 0;
}

int read_counted(hid_t record, std::initializer_list<const char *> counts, const char *name,
                 Elem type, const ArrayOut &out) {
    if (!out.wanted()) return 0;
    long long n = 0;
    if (!announced_length(record, counts, 1, &n)) return -1;
    return read_array(record, name, type, n, true, out);
}

int write_counted_int(const scnapi_handle *h, hid_t record, const char *name, long long n,
                      const int *data) {
    if (n == 0) return 0;
    if (!writable(name, n, data)) return -1;
    return write_dataset_int(h, record, name, static_cast<hsize_t>(n), data);
}

int write_counted_flt(const scnapi_handle *h, hid_t record, const char *name, long long n,
                      const float *data) {
    if (n == 0) return 0;
    if (!writable(name, n, data)) return -1;
    return write_dataset_flt(h, record, name, static_cast<hsize_t>(n), data);
}

int write_counted_str(hid_t record, const char *name, long long n, const char *data) {
    if (n == 0) return 0;
    if (!writable(name, n, data)) return -1;
    return write_dataset_str(record, name, static_cast<hsize_t>(n), data);
}

}  // namespace scnapi
