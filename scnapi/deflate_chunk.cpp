#include "deflate_chunk.h"

#include <libdeflate.h>

#include <cstdint>
#include <cstdlib>
#include <memory>

#ifdef __linux__
#include <sys/mman.h>
#endif

#include "byte_shuffle.h"
#include "h5id.h"

namespace scnapi {
namespace {

// libdeflate's level 9, for the level 9 that the datasets declare: on the
// arrays of scene files it compresses about twice as fast as zlib's 9 into a
// stream as small or slightly smaller for float arrays (within a fraction of
// a percent either way for integer arrays); levels 10 to 12 shrink floats by
// another half percent at more than twice the time.
constexpr int kDeflateLevel = 9;

struct FreeCompressor {
    void operator()(libdeflate_compressor *c) const { libdeflate_free_compressor(c); }
};
struct FreeDecompressor {
    void operator()(libdeflate_decompressor *d) const { libdeflate_free_decompressor(d); }
};

// Buffers of the chunk path are large and written once, so page faults
// weigh: a fresh 60 MB buffer costs about 30 ms of faults in 4 KB pages and
// under 10 ms in 2 MB ones. Where the kernel offers huge pages on request,
// buffers of 2 MB or more ask for them.
struct FreeBytes {
    void operator()(std::uint8_t *p) const { std::free(p); }
};
using Bytes = std::unique_ptr<std::uint8_t[], FreeBytes>;

Bytes allocate(std::size_t n) {
#ifdef MADV_HUGEPAGE
    constexpr std::size_t kHugePage = std::size_t{2} << 20;
    if (n >= kHugePage && n <= SIZE_MAX - kHugePage) {
        const std::size_t rounded = (n + kHugePage - 1) / kHugePage * kHugePage;
        void *p = std::aligned_alloc(kHugePage, rounded);
        if (p) madvise(p, rounded, MADV_HUGEPAGE);  // advice only: failure is harmless
        return Bytes(static_cast<std::uint8_t *>(p));
    }
#endif
    return Bytes(static_cast<std::uint8_t *>(std::malloc(n > 0 ? n : 1)));
}

// The pipeline of a dataset stored the library's way.
struct OwnChunk {
    std::size_t elem_size = 0;
    bool shuffled = false;
    unsigned level = 0;
};

// True when `dset` (creation properties `dcpl`) holds its n elements of
// `type` (no conversion) in one chunk of n elements filtered by
// [shuffle(element size), deflate] or [deflate]; fills `own`.
bool own_storage(hid_t dset, hid_t dcpl, hid_t type, hsize_t n, OwnChunk *own) {
    if (dcpl < 0 || H5Pget_layout(dcpl) != H5D_CHUNKED) return false;
    hsize_t chunk = 0;
    if (H5Pget_chunk(dcpl, 1, &chunk) != 1 || chunk != n) return false;
    H5Id stored_type(H5Dget_type(dset), H5Tclose);
    if (!stored_type || H5Tequal(stored_type.get(), type) <= 0) return false;
    const int nfilters = H5Pget_nfilters(dcpl);
    if (nfilters < 1 || nfilters > 2) return false;
    own->elem_size = H5Tget_size(type);
    for (int i = 0; i < nfilters; ++i) {
        unsigned flags = 0, config = 0, value = 0;
        std::size_t nvalues = 1;
        H5Z_filter_t id = H5Pget_filter2(dcpl, static_cast<unsigned>(i), &flags, &nvalues,
                                         &value, 0, nullptr, &config);
        if (nvalues != 1) return false;
        if (i == nfilters - 1 && id == H5Z_FILTER_DEFLATE) {
            own->level = value;
        } else if (i == 0 && id == H5Z_FILTER_SHUFFLE && value == own->elem_size) {
            own->shuffled = true;
        } else {
            return false;
        }
    }
    return own->elem_size > 0;
}

enum class Direct { kDone, kFailed, kNotApplicable };

// The chunk's address and size from the chunk index, checked against the
// file before anything is allocated for it: a damaged index cannot make the
// reader allocate more than the file holds.
Direct read_direct(hid_t dset, hid_t dcpl, hid_t type, void *buf, hsize_t n) {
    OwnChunk own;
    if (!own_storage(dset, dcpl, type, n, &own)) return Direct::kNotApplicable;
    const hsize_t origin[1] = {0};
    unsigned mask = 0;
    haddr_t addr = HADDR_UNDEF;
    hsize_t size = 0;
    // A chunk stored with a filter skipped (an optional filter that failed)
    // is HDF5's to decode.
    if (H5Dget_chunk_info_by_coord(dset, origin, &mask, &addr, &size) < 0 || size == 0 ||
        mask != 0)
        return Direct::kNotApplicable;
    H5Id file(H5Iget_file_id(dset), H5Fclose);
    hsize_t file_size = 0;
    if (!file || H5Fget_filesize(file.get(), &file_size) < 0 || addr == HADDR_UNDEF ||
        addr > file_size || size > file_size - addr)
        return Direct::kFailed;
    Bytes packed = allocate(size);
    std::uint32_t filters = 0;
    if (!packed || H5Dread_chunk(dset, H5P_DEFAULT, origin, &filters, packed.get()) < 0 ||
        filters != 0)
        return Direct::kFailed;
    std::unique_ptr<libdeflate_decompressor, FreeDecompressor> inflater(
        libdeflate_alloc_decompressor());
    // Exactly n elements, or failure: libdeflate never writes past the size
    // it is given and reports a stream that decodes to more or fewer bytes.
    if (!inflater || libdeflate_zlib_decompress(inflater.get(), packed.get(), size, buf,
                                                n * own.elem_size, nullptr) != LIBDEFLATE_SUCCESS)
        return Direct::kFailed;
    if (!own.shuffled) return Direct::kDone;
    // The unshuffle's workspace (half the array) is the compressed chunk's
    // buffer when that is large enough, else a new one once that is freed:
    // the read never holds more than the array and the larger of the two.
    const std::size_t workspace = unshuffle_workspace_size(n, own.elem_size);
    if (workspace > size) {
        packed.reset();
        packed = allocate(workspace);
        if (!packed) return Direct::kFailed;
    }
    byte_unshuffle_in_place(buf, n, own.elem_size, packed.get());
    return Direct::kDone;
}

// Only the datasets create_dataset_filter makes (Deflate level 9) are
// written directly; the chunk is what HDF5's filters would have stored, with
// every filter applied (mask 0). Without memory for the buffers, HDF5 writes.
Direct write_direct(hid_t dset, hid_t dcpl, hid_t type, const void *data, hsize_t n) {
    OwnChunk own;
    if (!own_storage(dset, dcpl, type, n, &own) || own.level != 9) return Direct::kNotApplicable;
    const std::size_t bytes = n * own.elem_size;
    const void *input = data;
    Bytes shuffled;
    if (own.shuffled) {
        shuffled = allocate(bytes);
        if (!shuffled) return Direct::kNotApplicable;
        byte_shuffle(data, n, own.elem_size, shuffled.get());
        input = shuffled.get();
    }
    std::unique_ptr<libdeflate_compressor, FreeCompressor> deflater(
        libdeflate_alloc_compressor(kDeflateLevel));
    if (!deflater) return Direct::kNotApplicable;
    const std::size_t bound = libdeflate_zlib_compress_bound(deflater.get(), bytes);
    Bytes packed = allocate(bound);
    if (!packed) return Direct::kNotApplicable;
    const std::size_t size =
        libdeflate_zlib_compress(deflater.get(), input, bytes, packed.get(), bound);
    if (size == 0) return Direct::kNotApplicable;
    shuffled.reset();
    const hsize_t origin[1] = {0};
    return H5Dwrite_chunk(dset, H5P_DEFAULT, 0, origin, size, packed.get()) < 0 ? Direct::kFailed
                                                                                 : Direct::kDone;
}

herr_t status(Direct direct) { return direct == Direct::kDone ? 0 : -1; }

}  // namespace

herr_t read_whole_dataset(hid_t dset, hid_t dcpl, hid_t type, void *buf, hsize_t n) {
    Direct direct = read_direct(dset, dcpl, type, buf, n);
    if (direct != Direct::kNotApplicable) return status(direct);
    return H5Dread(dset, type, H5S_ALL, H5S_ALL, H5P_DEFAULT, buf);
}

herr_t write_whole_dataset(hid_t dset, hid_t dcpl, hid_t type, const void *data, hsize_t n) {
    Direct direct = write_direct(dset, dcpl, type, data, n);
    if (direct != Direct::kNotApplicable) return status(direct);
    return H5Dwrite(dset, type, H5S_ALL, H5S_ALL, H5P_DEFAULT, data);
}

}  // namespace scnapi
