// Parts, reps and render-attribute records. A part names a static and a
// dynamic rep; a rep names its geoms and its render-attribute record. Parts
// and render-attribute records carry tagged attributes, so their groups
// start with "numAttrs" = 0.
#include <cstdio>
#include <string>

#include "bulk_readers.h"
#include "collection.h"
#include "counted_io.h"
#include "scnapi/scnapi.h"
#include "storage.h"

using namespace scnapi;

namespace {

// The writers' collections. Their record-closing messages name the record
// word without the "_n" of the other messages.
Collection family(const char *entry, const char *group, const char *counter, const char *record,
                  bool tagged) {
    Collection c = collection(entry, group, counter, record);
    c.msg.close_record = closing_message(entry, record);
    if (tagged) c.on_create = init_num_attrs;
    return c;
}

std::string part_path(int index) { return format_path("/top/Parts/part_%d", index); }
std::string rep_path(int index) { return format_path("/top/Reps/rep_%d", index); }

// One rep index attribute of a part: its value, or -1 when the part or the
// attribute cannot be read. A failed close is reported; the value stands.
int read_rep_index(scnapi_handle *h, int part, const char *entry, const char *attr) {
    int value = -1;
    H5Id g = open_record(h, part_path(part), entry);
    if (!g) return -1;
    if (read_att_int(g.get(), attr, &value, 0) < 0) value = -1;
    if (g.close() < 0) std::printf("%s: error closing part group\n", entry);
    return value;
}

}  // namespace

namespace scnapi {

// Shares the info entry's messages.
int read_rep_geoms(scnapi_handle *h, int repIndex, const ArrayOut &geomIndices) {
    return read_record(h, rep_path(repIndex), "scn_read_rep_info",
                       "scn_read_rep_info: error closing rep group", [&](hid_t g) {
                           return read_counted(g, {"numRepGeoms"}, "geomIndicies", Elem::Int,
                                               geomIndices) < 0 ? 1 : 0;
                       });
}

}  // namespace scnapi

extern "C" {

// partType and repType are stored as given: the code lists belong to the
// producing application, and a reader names unknown codes as such.
int scn_write_part(scnapi_handle *h, int partIndex, const char *partName, const char *partDesc,
                   int partType, int staticRepIndex, int dynamicRepIndex) {
    const NameText name(partName), desc(partDesc);
    const Collection c = family("scn_write_part", "Parts", "nParts", "part", true);
    return write_record(h, c, partIndex, [&](hid_t g) {
        int status = 0;
        if (write_att_str(g, "partName", SCNAPI_NAME_LEN, name.text) < 0) status = 1;
        if (write_att_str(g, "partDesc", SCNAPI_NAME_LEN, desc.text) < 0) status = 1;
        if (write_att_int(g, "partType", partType) < 0) status = 1;
        if (write_att_int(g, "staticRepIndex", staticRepIndex) < 0) status = 1;
        if (write_att_int(g, "dynamicRepIndex", dynamicRepIndex) < 0) status = 1;
        return status;
    });
}

int scn_write_rep(scnapi_handle *h, int repIndex, int numRepGeoms, int repType,
                  const int *geomIndices, int rendAttrIndex) {
    const Collection c = family("scn_write_rep", "Reps", "nReps", "rep", false);
    return write_record(h, c, repIndex, [&](hid_t g) {
        int status = 0;
        if (write_att_int(g, "numRepGeoms", numRepGeoms) < 0) status = 1;
        if (write_att_int(g, "repType", repType) < 0) status = 1;
        if (write_counted_int(h, g, "geomIndicies", numRepGeoms, geomIndices) < 0) status = 1;
        if (write_att_int(g, "rendAttrIndex", rendAttrIndex) < 0) status = 1;
        return status;
    });
}

// A render-attribute record holds only tagged attributes: creating the
// group (with "numAttrs" = 0) is the whole write.
int scn_write_rendAttr(scnapi_handle *h, int rendAttrIndex) {
    const Collection c = family("scn_write_rendAttr", "RendAttrs", "nRendAttrs", "rendAttr", true);
    return write_record(h, c, rendAttrIndex, [](hid_t) { return 0; });
}

int scn_read_part_num(scnapi_handle *h) {
    return read_count(h, "/top/Parts", "nParts", "scn_read_part_num: error closing Parts group");
}

int scn_read_rep_num(scnapi_handle *h) {
    return read_count(h, "/top/Reps", "nReps", "scn_read_rep_num: error closing Reps group");
}

int scn_read_rendAttr_num(scnapi_handle *h) {
    return read_count(h, "/top/RendAttrs", "nRendAttrs",
                      "scn_read_rendAttr_num: error closing RendAttrs group");
}

int scn_read_part_info(scnapi_handle *h, int partIndex, char *partName, char *partDesc,
                       int *partType) {
    return read_record(h, part_path(partIndex), "scn_read_part_info",
                       "scn_read_part_info: error closing part group", [&](hid_t g) {
                           int status = 0;
                           if (partName &&
                               read_att_str(g, "partName", partName, SCNAPI_NAME_LEN, 0) < 0)
                               status = 1;
                           if (partDesc &&
                               read_att_str(g, "partDesc", partDesc, SCNAPI_NAME_LEN, 0) < 0)
                               status = 1;
                           status |= read_int_item(g, "partType", partType);
                           return status;
                       });
}

int scn_read_part_static_rep(scnapi_handle *h, int partIndex) {
    return read_rep_index(h, partIndex, "scn_read_part_static_rep", "staticRepIndex");
}

int scn_read_part_dynamic_rep(scnapi_handle *h, int partIndex) {
    return read_rep_index(h, partIndex, "scn_read_part_dynamic_rep", "dynamicRepIndex");
}

int scn_read_rep_info(scnapi_handle *h, int repIndex, int *numRepGeoms, int *repType,
                      int *rendAttrIndex) {
    return read_record(h, rep_path(repIndex), "scn_read_rep_info",
                       "scn_read_rep_info: error closing rep group", [&](hid_t g) {
                           int status = 0;
                           status |= read_int_item(g, "numRepGeoms", numRepGeoms);
                           status |= read_int_item(g, "repType", repType);
                           status |= read_int_item(g, "rendAttrIndex", rendAttrIndex);
                           return status;
                       });
}

int scn_read_rep_geoms(scnapi_handle *h, int repIndex, int *geomIndices) {
    return read_rep_geoms(h, repIndex, geomIndices);
}

}  // extern "C"
