#include "storage.h"

#include <cstdio>

#include "deflate_chunk.h"
#include "dataset_guard.h"
#include "h5id.h"
#include "state.h"

namespace scnapi {
namespace {

// Elements held by an attribute or dataset dataspace; -1 when unknown.
hssize_t extent_of(hid_t space_owner, hid_t (*get_space)(hid_t)) {
    H5Id space = dataspace_id(get_space(space_owner));
    if (!space) return -1;
    return H5Sget_simple_extent_npoints(space.get());
}

// Opens attribute `name`, replacing it when its stored extent is not
// `count` elements: the value is then written whole from the caller's data
// and never read past it (an existing attribute of the right extent is
// overwritten in place, keeping its stored type).
H5Id open_attribute_for(hid_t gid, const char *name, hssize_t count) {
    if (H5Aexists(gid, name) <= 0) return H5Id();
    H5Id attr = attribute_id(H5Aopen_name(gid, name));
    if (attr && extent_of(attr.get(), H5Aget_space) == count) return attr;
    attr.reset();
    H5Adelete(gid, name);
    return H5Id();
}

// Marks a scalar attribute for write_attribute (string attributes are
// arrays, of any length including 0).
constexpr hssize_t kScalar = -1;

// Shared body of the three attribute writers.
int write_attribute(hid_t gid, const char *name, hid_t type, hssize_t n, const void *data) {
    const hsize_t dims = n == kScalar ? 1 : static_cast<hsize_t>(n);
    H5Id attr = open_attribute_for(gid, name, n == kScalar ? 1 : n);
    H5Id space;
    if (!attr) {
        space = dataspace_id(n == kScalar ? H5Screate(H5S_SCALAR) : H5Screate_simple(1, &dims, nullptr));
        if (!space) {
            std::printf("Error creating dataspace for attribute: %s\n", name);
            return -1;
        }
        attr = attribute_id(H5Acreate1(gid, name, type, space.get(), H5P_DEFAULT));
        if (!attr) {
            std::printf("Error creating attribute: %s\n", name);
            return -1;
        }
    }
    // An empty string attribute has no value to write (and HDF5 refuses a
    // write from a null buffer even of nothing).
    if (n != 0 && H5Awrite(attr.get(), type, data) < 0) {
        std::printf("Error writing attribute: %s\n", name);
        return -1;
    }
    if (space.close() < 0) {
        std::printf("Error closing dataspace for attribute: %s\n", name);
        return -1;
    }
    if (attr.close() < 0) {
        std::printf("Error closing attribute: %s\n", name);
        return -1;
    }
    return 0;
}

// Shared body of the three attribute readers: reads at most `capacity`
// elements; a larger stored attribute is refused as unreadable.
int read_attribute(hid_t gid, const char *name, hid_t type, void *buf, hsize_t capacity,
                   int quiet) {
    H5Id attr = attribute_id(H5Aopen_name(gid, name));
    if (!attr) {
        if (!quiet) std::printf("Error opening group for attribute: %s\n", name);
        return -1;
    }
    hssize_t stored = extent_of(attr.get(), H5Aget_space);
    if (stored < 0 || static_cast<hsize_t>(stored) > capacity || !attribute_sound(attr.get(), type) ||
        H5Aread(attr.get(), type, buf) < 0) {
        if (!quiet) std::printf("Error reading attribute: %s\n", name);
        return -1;
    }
    if (attr.close() < 0) {
        if (!quiet) std::printf("Error closing attribute: %s\n", name);
        return -1;
    }
    return 0;
}

// Opens dataset `name` for a whole write of n elements. A stored dataset of
// another extent is unlinked and created anew, so the write never reads past
// the caller's array.
H5Id open_dataset_for(hid_t gid, const char *name, hsize_t n) {
    if (H5Lexists(gid, name, H5P_DEFAULT) <= 0) return H5Id();
    H5Id dset = dataset_id(H5Dopen1(gid, name));
    if (dset && extent_of(dset.get(), H5Dget_space) == static_cast<hssize_t>(n)) return dset;
    dset.reset();
    H5Ldelete(gid, name, H5P_DEFAULT);
    return H5Id();
}

int write_dataset(const scnapi_handle *h, hid_t gid, const char *name, hid_t type, hsize_t n,
                  const void *data) {
    H5Id dset = open_dataset_for(gid, name, n);
    H5Id space;
    // The dataset's own creation properties, for the chunk path; none for
    // a dataset created contiguous. (The list a dataset is created with is
    // not enough: creating the dataset completes the filters' parameters,
    // such as the shuffle's element size, in the dataset's copy.) Char
    // datasets (h == nullptr) are never chunked or compressed.
    bool chunked = true;
    if (!dset) {
        space = dataspace_id(H5Screate_simple(1, &n, nullptr));
        if (!space) {
            std::printf("Error creating dataspace for dataset: %s\n", name);
            return -1;
        }
        const hid_t props = h ? create_dataset_filter(h, n) : H5P_DEFAULT;
        H5Id owned = plist_id(props > 0 ? props : -1);  // released once the dataset exists
        chunked = owned.valid();
        dset = dataset_id(H5Dcreate1(gid, name, type, space.get(),
                                     props < 0 ? H5P_DEFAULT : props));
        if (!dset) {
            std::printf("Error creating dataset: %s\n", name);
            return -1;
        }
    }
    H5Id dcpl = chunked ? plist_id(H5Dget_create_plist(dset.get())) : H5Id();
    if (write_whole_dataset(dset.get(), dcpl.valid() ? dcpl.get() : -1, type, data, n) < 0) {
        std::printf("Error writing dataset: %s\n", name);
        return -1;
    }
    if (space.close() < 0) {
        std::printf("Error closing dataspace for dataset: %s\n", name);
        return -1;
    }
    if (dset.close() < 0) {
        std::printf("Error closing dataset: %s\n", name);
        return -1;
    }
    return 0;
}

// Reads the whole dataset into a buffer of `capacity` elements. Returns the
// number of elements read (0 for a never-written dataset) or -1.
hssize_t read_dataset(hid_t gid, const char *name, hid_t type, void *buf, hsize_t capacity) {
    StoredArray stored(gid, name);
    if (!stored) {
        std::printf("Error opening dataset: %s\n", name);
        return -1;
    }
    return stored.read(type, buf, capacity);
}

}  // namespace

int write_att_str(hid_t gid, const char *name, hsize_t n, const char *value) {
    return write_attribute(gid, name, H5T_NATIVE_SCHAR, static_cast<hssize_t>(n), value);
}

int write_att_int(hid_t gid, const char *name, int value) {
    return write_attribute(gid, name, H5T_NATIVE_INT, kScalar, &value);
}

int write_att_flt(hid_t gid, const char *name, float value) {
    return write_attribute(gid, name, H5T_NATIVE_FLOAT, kScalar, &value);
}

int read_att_str(hid_t gid, const char *name, char *buf, hsize_t capacity, int quiet) {
    return read_attribute(gid, name, H5T_NATIVE_SCHAR, buf, capacity, quiet);
}

int read_att_int(hid_t gid, const char *name, int *value, int quiet) {
    return read_attribute(gid, name, H5T_NATIVE_INT, value, 1, quiet);
}

int read_att_flt(hid_t gid, const char *name, float *value, int quiet) {
    return read_attribute(gid, name, H5T_NATIVE_FLOAT, value, 1, quiet);
}

int write_dataset_int(const scnapi_handle *h, hid_t gid, const char *name, hsize_t n,
                      const int *data) {
    return write_dataset(h, gid, name, H5T_NATIVE_INT, n, data);
}

int write_dataset_flt(const scnapi_handle *h, hid_t gid, const char *name, hsize_t n,
                      const float *data) {
    return write_dataset(h, gid, name, H5T_NATIVE_FLOAT, n, data);
}

int write_dataset_str(hid_t gid, const char *name, hsize_t n, const char *data) {
    return write_dataset(nullptr, gid, name, H5T_NATIVE_SCHAR, n, data);
}

int read_dataset_int(hid_t gid, const char *name, int *buf, hsize_t capacity) {
    return read_dataset(gid, name, H5T_NATIVE_INT, buf, capacity) < 0 ? -1 : 0;
}

int read_dataset_flt(hid_t gid, const char *name, float *buf, hsize_t capacity) {
    return read_dataset(gid, name, H5T_NATIVE_FLOAT, buf, capacity) < 0 ? -1 : 0;
}

int read_dataset_str(hid_t gid, const char *name, char *buf, hsize_t capacity, int terminate) {
    if (terminate && capacity == 0) {
        std::printf("Error reading dataset: %s\n", name);
        return -1;
    }
    hssize_t got = read_dataset(gid, name, H5T_NATIVE_SCHAR, buf,
                                terminate ? capacity - 1 : capacity);
    if (got < 0) return -1;
    // The NUL goes right after the bytes stored; char datasets are never
    // compressed, so that is the element count (the storage size in bytes).
    if (terminate && got > 0) buf[got] = '\0';
    return 0;
}

int dataset_length(hid_t gid, const char *name, hsize_t *n) {
    if (H5Lexists(gid, name, H5P_DEFAULT) <= 0) return -1;
    H5Id dset = dataset_id(H5Dopen1(gid, name));
    if (!dset) return -1;
    hssize_t stored = extent_of(dset.get(), H5Dget_space);
    if (stored < 0) return -1;
    *n = static_cast<hsize_t>(stored);
    return 0;
}

StoredArray::StoredArray(hid_t group, const char *name)
    : name_(name), dset_(dataset_id(H5Dopen1(group, name))) {
    if (!dset_) return;
    extent_ = extent_of(dset_.get(), H5Dget_space);
    written_ = H5Dget_storage_size(dset_.get()) > 0;
}

hssize_t StoredArray::read(hid_t type, void *buf, hsize_t capacity) {
    if (!*this || static_cast<hsize_t>(extent_) > capacity) {
        std::printf("Error reading dataset: %s\n", name_);
        return -1;
    }
    hssize_t got = extent_;
    H5Id dcpl;
    if (!written_) {
        got = 0;  // created but never written: nothing to read
    } else if (!storage_sound(dset_.get(), type, &dcpl) ||  // a damaged layout never reaches HDF5
               read_whole_dataset(dset_.get(), dcpl.valid() ? dcpl.get() : -1, type, buf,
                                  static_cast<hsize_t>(extent_)) < 0) {
        std::printf("Error reading dataset: %s\n", name_);
        return -1;
    }
    if (dset_.close() < 0) {
        std::printf("Error closing dataset: %s\n", name_);
        return -1;
    }
    return got;
}

hid_t create_dataset_filter(const scnapi_handle *h, hsize_t n) {
    if (h->compression < 0 || h->compression >= Compression_Num || n < 101) return H5P_DEFAULT;
    // Each step runs even when an earlier one failed; a broken list then
    // surfaces as the dataset writer's creation error.
    hid_t plist = H5Pcreate(H5P_DATASET_CREATE);
    if (plist < 0) std::puts("Error from H5Pcreate");
    if (H5Pset_chunk(plist, 1, &n) < 0) std::puts("Error from H5Pset_chunk");
    if (Have_Shuffle && H5Pset_shuffle(plist) < 0) std::puts("Error from H5Pset_shuffle");
    switch (Compression_Enum[h->compression]) {
        case kSzipFilter:
            if (H5Pset_szip(plist, H5_SZIP_NN_OPTION_MASK, 16) < 0) std::puts("Error from H5Pset_szip");
            break;
        case kDeflateFilter:
            if (H5Pset_deflate(plist, 9) < 0) std::puts("Error from H5Pset_deflate");
            break;
        default:
            break;
    }
    return plist;
}

}  // namespace scnapi
