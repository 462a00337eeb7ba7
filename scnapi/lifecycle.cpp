// Library set-up, identity, opening and closing scene files.
#include <hdf5.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "groups.h"
#include "h5id.h"
#include "handle.h"
#include "scnapi/scnapi.h"
#include "state.h"
#include "storage.h"

static_assert(std::is_same<scnapi_hid_t, hid_t>::value,
              "the handle stores HDF5 ids as hid_t");

namespace scnapi {
namespace {

constexpr int kInitialInts = 60;
constexpr int kInitialFloats = 200;
constexpr int kInitialChars = 240;
constexpr unsigned kEncodeOrDecode = H5Z_FILTER_CONFIG_ENCODE_ENABLED |
                                     H5Z_FILTER_CONFIG_DECODE_ENABLED;

bool filter_usable(H5Z_filter_t id) {
    unsigned config = 0;
    return H5Zget_filter_info(id, &config) >= 0 && (config & kEncodeOrDecode) != 0;
}

// Enters an available compression filter in the next slot of the table.
// A filter enabled for neither direction keeps the slot uncounted, so the
// next filter found overwrites it.
void add_compression(H5Z_filter_t id, const char *name, bool may_be_default) {
    if (H5Zfilter_avail(id) <= 0 || Compression_Num >= kCompressionSlots) return;
    Compression_Enum[Compression_Num] = id;
    Compression_Name[Compression_Num] = name;
    if (!filter_usable(id)) return;
    if (may_be_default) Compression_Default = Compression_Num;
    ++Compression_Num;
}

void silence_hdf5_errors() {
    if (H5Eset_auto1(nullptr, nullptr) < 0)
        std::puts("scnapi_init: Warning: problem turning off H5 auto error");
}

// Copies `src` into a fixed name field. Longer names are cut to fit with
// their terminating NUL, so the field always holds a C string; the file
// itself is opened under the full name.
void copy_name(char (&field)[SCNAPI_NAME_LEN], const char *src, size_t len) {
    if (len >= SCNAPI_NAME_LEN) len = SCNAPI_NAME_LEN - 1;
    std::memset(field, 0, sizeof field);
    std::memcpy(field, src, len);
}

void set_directory(scnapi_handle *h, const char *name) {
    const char *slash = name ? std::strrchr(name, '/') : nullptr;
    if (slash)
        copy_name(h->directory, name, static_cast<size_t>(slash - name));
    else
        copy_name(h->directory, "./", 2);
}

scnapi_handle *new_handle(const char *name) {
    auto *h = static_cast<scnapi_handle *>(std::calloc(1, sizeof(scnapi_handle)));
    if (!h) return nullptr;
    h->fileId = -1;
    set_directory(h, name);
    return h;
}

hid_t open_for_write(const char *name, bool append) {
    htri_t probe = H5Fis_hdf5(name);  // >0 HDF5, 0 another file, <0 none
    if (append) {
        if (probe == 0) {
            std::printf("scn_write_begin: error opening %s, non hdf5 file by that name exists already\n",
                        name);
            return -1;
        }
        hid_t fid = probe > 0 ? H5Fopen(name, H5F_ACC_RDWR, H5P_DEFAULT)
                              : H5Fcreate(name, H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT);
        if (fid < 0) std::printf("scn_write_begin: error opening %s in append mode\n", name);
        return fid;
    }
    if (probe >= 0) unlink(name);
    hid_t fid = H5Fcreate(name, H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT);
    if (fid < 0) std::printf("scn_write_begin: error opening %s in truncate mode\n", name);
    return fid;
}

// Stamps this library's versions on "/top" (created, or opened in append
// mode when it exists).
void stamp_top(hid_t fid, bool append) {
    bool created = false;
    H5Id top = append ? open_or_create_group(fid, "/top", &created) : create_group(fid, "/top");
    if (!top) {
        std::puts("scn_write_begin: error creating/opening top group");
        return;
    }
    write_att_str(top.get(), "scn_api_version", kVersionLen, NameText(scnapi_version()).text);
    write_att_str(top.get(), "scn_file_version", kVersionLen, NameText(scnfile_version()).text);
    if (top.close() < 0) std::puts("scn_write_begin: error closing top group");
}

// Reads a version attribute into `buf`, trying the current name first and
// the older one after it. Returns 1 for the current name, 2 for the older,
// 0 when neither can be read. An attribute wider than the 256-byte buffer
// is refused as unreadable.
int read_version(hid_t top, const char *current, const char *older, char *buf) {
    if (read_att_str(top, current, buf, kVersionLen, 0) == 0) return 1;
    if (read_att_str(top, older, buf, kVersionLen, 0) == 0) return 2;
    return 0;
}

// Failure after allocation on the read side: the handle (and its file) is
// released without shutting HDF5 down, so other open handles survive.
scnapi_handle *fail_read(scnapi_handle *h, const char *message) {
    if (message) std::puts(message);
    release_handle(&h, false);
    return nullptr;
}

// Opening for reading, once the file is open: the handle takes `file` over,
// reads the versions from "/top" into the process-wide state and readies
// its attribute store. Null (the handle and file released) on failure.
scnapi_handle *begin_reading(scnapi_handle *h, hid_t file, const char *name) {
    h->fileId = file;
    copy_name(h->fileName, name, std::strlen(name));

    H5Id top = open_group(h->fileId, "/top");
    if (!top) return fail_read(h, "scn_read_set_filenames: error opening group /top");
    char api[kVersionLen] = {};
    char version[kVersionLen] = {};
    int api_from = read_version(top.get(), "scn_api_version", "api_version", api);
    int file_from = read_version(top.get(), "scn_file_version", "rw_release", version);
    if (file_from == 2) {
        // Files from before "scn_file_version" are version 1.00, whatever
        // their "rw_release" says.
        std::memset(version, 0, sizeof version);
        std::memcpy(version, "1.00", 4);
    }
    if (api_from == 0 || file_from == 0)
        return fail_read(h, "scn_read_set_filenames: error getting version info");
    std::memcpy(ScnApiVersion, api, kVersionLen);
    std::memcpy(ScnFileVersion, version, kVersionLen);
    if (api_from == 2 && file_from == 2) Previous_to_framework_version = true;

    if (top.close() < 0) return fail_read(h, "scn_read_set_filenames: error closing top group");
    if (attr_handle_init(h) != 0)
        return fail_read(h, "scn_read_set_filenames: error initing attr stuff in handle");
    return h;
}

}  // namespace

scnapi_handle *open_read_handle(hid_t file, const char *name) {
    scnapi_handle *h = new_handle(name);
    if (!h) {
        std::puts("scn_read_set_filenames: error allocating handle");
        H5Fclose(file);
        return nullptr;
    }
    return begin_reading(h, file, name);
}

int attr_handle_init(scnapi_handle *h) {
    h->attrKind = h->attrIndex = h->numAttrs = h->expectedAttrs = 0;
    std::memset(h->attrTags, 0, sizeof h->attrTags);
    std::memset(h->attrPtrs, 0, sizeof h->attrPtrs);
    h->ivalsLen = h->fvalsLen = h->cvalsLen = 0;
    int status = 0;
    h->ibuf = static_cast<int *>(std::calloc(kInitialInts, sizeof(int)));
    h->ibufSize = h->ibuf ? kInitialInts : 0;
    if (!h->ibuf) {
        std::puts("scn_write_begin: error allocating handle->ibuf");
        status = 2;
    }
    h->fbuf = static_cast<float *>(std::calloc(kInitialFloats, sizeof(float)));
    h->fbufSize = h->fbuf ? kInitialFloats : 0;
    if (!h->fbuf) {
        std::puts("scn_write_begin: error allocating handle->fbuf");
        status = 2;
    }
    h->cbuf = static_cast<char *>(std::calloc(kInitialChars, 1));
    h->cbufSize = h->cbuf ? kInitialChars : 0;
    if (!h->cbuf) {
        std::puts("scn_write_begin: error allocating handle->cbuf");
        status = 2;
    }
    h->geomCount = h->nodeSetsFound = h->elemListsFound = -1;
    h->nodesInGeom = h->elemsInGeom = nullptr;
    return status;
}

int release_handle(scnapi_handle **hp, bool shutdown) {
    if (!hp) return 1;
    scnapi_handle *h = *hp;
    if (!h) return 0;
    if (h->fileId >= 0) {
        if (H5Fclose(h->fileId) < 0) {
            std::puts("Error closing the file!");
            return 1;
        }
        h->fileId = -1;  // closed: a retry after a failed shutdown skips it
        if (shutdown && H5close() < 0) {
            std::puts("Error flushing H5 with an H5close!");
            return 1;
        }
    }
    if (h->ibufSize > 0) std::free(h->ibuf);
    if (h->fbufSize > 0) std::free(h->fbuf);
    if (h->cbufSize > 0) std::free(h->cbuf);
    std::free(h->nodesInGeom);
    std::free(h->elemsInGeom);
    std::free(h);
    *hp = nullptr;
    return 0;
}

}  // namespace scnapi

using namespace scnapi;

extern "C" {

int scnapi_init(void) {
    if (been_here) return 0;
    been_here = true;
    if (!AtExitCalled) {
        H5dont_atexit();
        silence_hdf5_errors();
        AtExitCalled = true;
    }
    add_compression(kDeflateFilter, "Deflate", true);
    add_compression(kSzipFilter, "Szip", false);
    Have_Shuffle = H5Zfilter_avail(kShuffleFilter) > 0 && filter_usable(kShuffleFilter);
    return 1;
}

const char *scnapi_name(void) { return "HDF5 ScnAPI"; }
const char *scnapi_desc(void) { return "HDF5 implemenation of Scn API"; }
const char *scnapi_version(void) { return "2.00.00"; }
const char *scnfile_version(void) { return "2.00"; }

int scnapi_compression_avail(int *count, const char ***names) {
    if (count) *count = Compression_Num;
    if (names) *names = Compression_Name;
    return 0;
}

int scnapi_input_files(int *count, char *kinds) {
    if (count) *count = 1;
    if (kinds) {
        std::memset(kinds, 0, 20);
        std::memcpy(kinds, "Scenario", 8);
    }
    return 0;
}

scnapi_handle *scn_write_begin(const char *fileName, int append) {
    scnapi_init();
    silence_hdf5_errors();
    scnapi_handle *h = new_handle(fileName);
    if (!h) {
        std::puts("scn_write_begin: error allocating handle");
        return nullptr;
    }
    h->compression = Compression_Default;
    if (fileName) {
        // A file that cannot be opened still yields a handle, without a file.
        h->fileId = open_for_write(fileName, append != 0);
        if (h->fileId >= 0) {
            copy_name(h->fileName, fileName, std::strlen(fileName));
            stamp_top(h->fileId, append != 0);
        }
    }
    if (attr_handle_init(h) != 0) {
        scnapi_close(&h);
        return nullptr;
    }
    return h;
}

int scn_write_set_compression(scnapi_handle *h, int compression) {
    if (h) h->compression = compression;  // checked when a dataset is created
    return 0;
}

int scn_write_framework_version(scnapi_handle *h, const char *version) {
    NameText text(version);
    H5Id top = open_group(h ? h->fileId : -1, "/top");
    if (!top) {
        std::puts("scn_write_framework_version: error opening group /top");
        return 1;
    }
    int status = write_att_str(top.get(), "framework_version", kVersionLen, text.text) < 0;
    if (top.close() < 0) {
        std::puts("scn_write_framework_version: error closing top group");
        return 1;
    }
    return status;
}

scnapi_handle *scn_read_begin(const char **fileNames) {
    const char *name = fileNames ? fileNames[0] : nullptr;
    scnapi_handle *h = new_handle(name);
    if (!h) {
        std::puts("scn_read_set_filenames: error allocating handle");
        return nullptr;
    }
    if (!name) {
        if (attr_handle_init(h) != 0)
            return fail_read(h, "scn_read_set_filenames: error initing attr stuff in handle");
        return h;
    }
    hid_t file = H5Fopen(name, H5F_ACC_RDONLY, H5P_DEFAULT);
    if (file < 0) {
        std::printf("scn_read_set_filenames: error opening %s\n", name);
        return fail_read(h, nullptr);
    }
    return begin_reading(h, file, name);
}

int scn_read_framework_version(scnapi_handle *h, char *version) {
    if (Previous_to_framework_version) {
        if (version) std::memcpy(version, "1.00", 5);
        return 0;
    }
    H5Id top = open_group(h ? h->fileId : -1, "/top");
    if (!top) {
        std::puts("scn_read_framework_version: error opening group /top");
        return 1;
    }
    int status = 0;
    if (version && read_att_str(top.get(), "framework_version", version, kVersionLen, 0) < 0)
        status = 1;
    if (top.close() < 0) {
        std::puts("scn_read_framework_version: error closing top group");
        return 1;
    }
    return status;
}

int scnapi_close(scnapi_handle **h) { return release_handle(h, true); }

int scnapi_close_file(scnapi_handle **h) { return release_handle(h, false); }

}  // extern "C"
