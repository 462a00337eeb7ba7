#include "dataset_guard.h"

#include <cstdint>

#include "h5id.h"

namespace scnapi {
namespace {

// Size of the file that `object` belongs to; 0 when unknown.
hsize_t file_size_of(hid_t object) {
    H5Id file(H5Iget_file_id(object), H5Fclose);
    hsize_t size = 0;
    if (!file || H5Fget_filesize(file.get(), &size) < 0) return 0;
    return size;
}

// Whether `bytes` at `addr` lie inside a file of `size` bytes.
bool inside(haddr_t addr, hsize_t bytes, hsize_t size) {
    return addr != HADDR_UNDEF && addr <= size && bytes <= size - addr;
}

// Whether filter `i` of a chunk's pipeline changes the chunk's size (all
// but shuffle do); bit i of the chunk's mask is set when it was skipped.
bool resizes(hid_t plist, unsigned i, unsigned mask) {
    unsigned flags = 0;
    size_t values = 0;
    return (mask & (1u << i)) == 0 &&
           H5Pget_filter2(plist, i, &flags, &values, nullptr, 0, nullptr, nullptr) !=
               H5Z_FILTER_SHUFFLE;
}

// Chunks no larger than the extent (scene files hold no extendible
// datasets), no more of them than the extent has room for, each inside the
// file and, unless a filter that changes its size was applied to it,
// holding exactly one chunk of elements: HDF5 copies a whole chunk out of
// what it reads or decodes, whatever that holds.
bool chunks_sound(hid_t dset, hid_t plist, hid_t space, hsize_t type_size, hsize_t file_size) {
    int rank = H5Sget_simple_extent_ndims(space);
    hsize_t dims[H5S_MAX_RANK], chunk[H5S_MAX_RANK];
    if (rank < 1 || rank > H5S_MAX_RANK || H5Sget_simple_extent_dims(space, dims, nullptr) != rank ||
        H5Pget_chunk(plist, rank, chunk) != rank)
        return false;
    hsize_t chunk_bytes = type_size, room = 1;
    for (int d = 0; d < rank; ++d) {
        if (chunk[d] == 0 || chunk[d] > dims[d]) return false;
        chunk_bytes *= chunk[d];
        room *= (dims[d] + chunk[d] - 1) / chunk[d];
    }
    // The chunk queries take the dataset's own dataspace: 1.10.8 refuses H5S_ALL.
    hsize_t count = 0;
    if (H5Dget_num_chunks(dset, space, &count) < 0 || count > room) return false;
    const int filters = H5Pget_nfilters(plist);
    if (filters < 0) return false;
    for (hsize_t i = 0; i < count; ++i) {
        hsize_t offset[H5S_MAX_RANK];
        unsigned mask = 0;
        haddr_t addr = HADDR_UNDEF;
        hsize_t size = 0;
        if (H5Dget_chunk_info(dset, space, i, offset, &mask, &addr, &size) < 0 ||
            !inside(addr, size, file_size))
            return false;
        bool resized = false;
        for (int f = 0; f < filters && !resized; ++f) resized = resizes(plist, f, mask);
        if (!resized && size != chunk_bytes) return false;
    }
    return true;
}

}  // namespace

bool type_sound(hid_t type, hid_t memory_type) {
    const H5T_class_t kind = H5Tget_class(type);
    const size_t size = H5Tget_size(type);
    if ((kind != H5T_INTEGER && kind != H5T_FLOAT) || size == 0 || size != H5Tget_size(memory_type))
        return false;
    const size_t bits = 8 * size;
    const size_t precision = H5Tget_precision(type);
    const int offset = H5Tget_offset(type);
    if (precision == 0 || precision > bits || offset < 0 ||
        static_cast<size_t>(offset) > bits - precision)
        return false;
    if (kind == H5T_INTEGER) return true;
    size_t sign = 0, exponent = 0, exponent_bits = 0, mantissa = 0, mantissa_bits = 0;
    return H5Tget_fields(type, &sign, &exponent, &exponent_bits, &mantissa, &mantissa_bits) >= 0 &&
           sign < bits && exponent_bits <= bits && exponent <= bits - exponent_bits &&
           mantissa_bits <= bits && mantissa <= bits - mantissa_bits;
}

bool attribute_sound(hid_t attr, hid_t memory_type) {
    H5Id type(H5Aget_type(attr), H5Tclose);
    return type && type_sound(type.get(), memory_type);
}

bool storage_sound(hid_t dset, hid_t memory_type, H5Id *dcpl) {
    H5Id type(H5Dget_type(dset), H5Tclose);
    H5Id space = dataspace_id(H5Dget_space(dset));
    if (!type || !space) return false;
    const hsize_t type_size = H5Tget_size(type.get());
    const hssize_t elements = H5Sget_simple_extent_npoints(space.get());
    if (!type_sound(type.get(), memory_type) || elements < 0 ||
        static_cast<hsize_t>(elements) > INT64_MAX / type_size)
        return false;
    const hsize_t data_bytes = static_cast<hsize_t>(elements) * type_size;

    // Contiguous data stored in this file is the one layout with an address
    // of its own (chunked, compact, external and unallocated data have none).
    const haddr_t addr = H5Dget_offset(dset);
    if (addr != HADDR_UNDEF) {
        const hsize_t stored = H5Dget_storage_size(dset);
        return stored == data_bytes && inside(addr, stored, file_size_of(dset));
    }
    H5Id plist = plist_id(H5Dget_create_plist(dset));
    if (!plist) return false;
    bool sound = false;
    switch (H5Pget_layout(plist.get())) {
        case H5D_COMPACT:
            sound = H5Dget_storage_size(dset) == data_bytes;
            break;
        case H5D_CHUNKED:
            sound = chunks_sound(dset, plist.get(), space.get(), type_size, file_size_of(dset));
            break;
        default:  // contiguous without an address in this file: external
            return false;
    }
    if (sound) *dcpl = std::move(plist);
    return sound;
}

}  // namespace scnapi
