// Viewports and annotation planes: records holding a list of indices into
// another family (parts, annotations), plus their tagged attributes.
#include <string>

#include "bulk_readers.h"
#include "collection.h"
#include "counted_io.h"
#include "scnapi/scnapi.h"
#include "storage.h"

using namespace scnapi;

namespace {

// The two families share one shape: a count attribute and an index dataset
// of that many entries.
struct IndexFamily {
    const char *group;    // "Vports"
    const char *counter;  // "nVports"
    const char *record;   // "vport"
    const char *count;    // "nParts"
    const char *indices;  // "partIndices"
};

constexpr IndexFamily kVports = {"Vports", "nVports", "vport", "nParts", "partIndices"};
constexpr IndexFamily kAplanes = {"Aplanes", "nAplanes", "aplane", "nAnnots", "annotIndices"};

std::string record_path(const IndexFamily &f, int index) {
    return format_path("/top/%s/%s_%d", f.group, f.record, index);
}

int write_index_record(const scnapi_handle *h, const char *entry, const IndexFamily &f,
                       int index, int n, const int *indices) {
    Collection c = collection(entry, f.group, f.counter, f.record);
    c.on_create = init_num_attrs;
    return write_record(h, c, index, [&](hid_t record) {
        if (write_att_int(record, f.count, n) < 0) return 1;
        return write_counted_int(h, record, f.indices, n, indices) < 0 ? 1 : 0;
    });
}

int read_index_count(const scnapi_handle *h, const char *entry, const IndexFamily &f, int index,
                     int *n) {
    std::string close = closing_message(entry, f.record);
    return read_record(h, record_path(f, index), entry, close.c_str(), [&](hid_t record) {
        return read_int_item(record, f.count, n);
    });
}

// Reads no more indices than the record's count announces, so a longer
// dataset cannot overrun the caller's array.
int read_indices(const scnapi_handle *h, const char *entry, const IndexFamily &f, int index,
                 const ArrayOut &out) {
    std::string close = closing_message(entry, f.record);
    return read_record(h, record_path(f, index), entry, close.c_str(), [&](hid_t record) {
        return read_counted(record, {f.count}, f.indices, Elem::Int, out) < 0 ? 1 : 0;
    });
}

}  // namespace

namespace scnapi {

int read_vport_indices(scnapi_handle *h, int index, const ArrayOut &partIndices) {
    return read_indices(h, "scn_read_vport_indices", kVports, index, partIndices);
}

}  // namespace scnapi

extern "C" {

int scn_write_vport(scnapi_handle *h, int index, int numParts, const int *partIndices) {
    return write_index_record(h, "scn_write_vport", kVports, index, numParts, partIndices);
}

int scn_write_aplane(scnapi_handle *h, int index, int numAnnots, const int *annotIndices) {
    return write_index_record(h, "scn_write_aplane", kAplanes, index, numAnnots, annotIndices);
}

int scn_read_vport_num(scnapi_handle *h) {
    return read_count(h, "/top/Vports", "nVports", "scn_read_vport_num: error closing Vports group");
}

int scn_read_aplane_num(scnapi_handle *h) {
    return read_count(h, "/top/Aplanes", "nAplanes",
                      "scn_read_aplane_num: error closing Aplanes group");
}

int scn_read_vport_info(scnapi_handle *h, int index, int *numParts) {
    return read_index_count(h, "scn_read_vport_info", kVports, index, numParts);
}

int scn_read_aplane_info(scnapi_handle *h, int index, int *numAnnots) {
    return read_index_count(h, "scn_read_aplane_info", kAplanes, index, numAnnots);
}

int scn_read_vport_indices(scnapi_handle *h, int index, int *partIndices) {
    return read_vport_indices(h, index, partIndices);
}

int scn_read_aplane_indices(scnapi_handle *h, int index, int *annotIndices) {
    return read_indices(h, "scn_read_aplane_indices", kAplanes, index, annotIndices);
}

}  // extern "C"
