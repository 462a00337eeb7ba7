// Element lists: per geom, element records of one element type each (their
// connectivity and ids), the list's variable slots and each record's values
// for those slots.
#include <cstdio>

#include "bulk_readers.h"
#include "collection.h"
#include "counted_io.h"
#include "dataset_guard.h"
#include "geometry.h"
#include "scnapi/scnapi.h"
#include "storage.h"

using namespace scnapi;

namespace {

// Where the groups of one element list live in the layout of the file read
// last. Legacy lists sit in the "elemlists" group of their geom, where the
// records are numbered "elemlist_%d" and list L keeps its slot information
// in the variable groups of its record L.
class ElemLayout {
public:
    // False (after a message) for a legacy list the scan did not find.
    bool locate(const scnapi_handle *h, const char *entry, int list) {
        legacy_ = legacy_layout();
        list_ = list;
        if (!legacy_) return true;
        return legacy_elem_geom(h, entry, list, &geom_);
    }

    bool legacy() const { return legacy_; }

    std::string list() const {
        return legacy_ ? format_path("/top/Geoms/geom_%d/elemlists", geom_)
                       : format_path("/top/ElemLists/elemlist_%d", list_);
    }
    std::string record(int rec) const {
        return legacy_ ? list() + format_path("/elemlist_%d", rec)
                       : list() + format_path("/elem_%d", rec);
    }
    std::string slot(int slot) const {
        return (legacy_ ? record(list_) : list()) + format_path("/var_%d", slot);
    }
    std::string values(int rec, int slot) const {
        return record(rec) + format_path("/var_%d", slot);
    }
    const char *record_count() const { return legacy_ ? "numElementLists" : "numElemRecs"; }

private:
    bool legacy_ = false;
    int list_ = 0;
    int geom_ = 0;
};

std::string list_path(int list) { return format_path("/top/ElemLists/elemlist_%d", list); }

// Floats the public value reader accepts: elemCount times the components
// the caller sized its array with. When the list has a slot group naming
// the variable, that is the variable's kind. The reader does not need the
// slot (values written without one read back), and without it cannot know
// the kind: it then accepts values that are elemCount values of one of the
// component counts a kind can have, 1, 2, 3 or 6, and no other length; a
// caller that cannot tell the kind sizes for 6. Read without messages, as
// checks of the size: -1 when elemCount cannot be read. Callers that know
// their array's size pass it to read_elem_var_values.
long long elem_values_length(const scnapi_handle *h, const ElemLayout &layout, int rec, int slot,
                             hid_t var) {
    H5Id record = open_group(h->fileId, layout.record(rec));
    int count = 0;
    if (!record || read_att_int(record.get(), "elemCount", &count, 1) < 0) return -1;
    H5Id info = open_group(h->fileId, layout.slot(slot));
    int var_index = 0;
    if (info && read_att_int(info.get(), "varIndex", &var_index, 1) == 0)
        return array_length(count, variable_component_count(h, var_index, true));
    hsize_t stored = 0;
    if (dataset_length(var, "vals", &stored) < 0) return count;  // reported by the read
    for (int components : {1, 2, 3, 6}) {
        long long n = array_length(count, components);
        if (n >= 0 && stored <= static_cast<hsize_t>(n)) return n;
    }
    return array_length(count, 6);
}

}  // namespace

extern "C" {

int scn_write_elem_list(scnapi_handle *h, int elemListIndex, int numElemRecs, int numElemVars,
                        int elemNormalIndex, int hasElemIds) {
    Collection c = collection("scn_write_elem_list", "ElemLists", "nElemLists", "elemlist");
    c.msg.init_counter = "scn_write_elem_list: error initilizing nElemLists";
    c.msg.write_counter = "scn_write_elem_list: error writing existing nElemLists";
    c.msg.close_group = "scn_write_elem_lists: error closing ElemLists group";
    c.msg.close_record = "scn_write_elem_list: error closing elemlist group";
    return write_record(h, c, elemListIndex, [&](hid_t list) {
        int failed = 0;
        failed |= write_att_int(list, "numElemRecs", numElemRecs) < 0;
        failed |= write_att_int(list, "numElemVars", numElemVars) < 0;
        failed |= write_att_int(list, "elemNormalIndex", elemNormalIndex) < 0;
        failed |= write_att_int(list, "hasElemIds", hasElemIds) < 0;
        return failed;
    });
}

int scn_write_elem_list_var_info(scnapi_handle *h, int elemListIndex, int varSlot, int varIndex,
                                 int useUndefined, float undefinedValue) {
    bool created = false;
    H5Id slot = open_or_create_group(h ? h->fileId : -1,
                                     list_path(elemListIndex) + format_path("/var_%d", varSlot),
                                     &created);
    if (!slot) {
        std::puts("scn_write_elem_list_var_info: error creating var_n group");
        return 1;
    }
    int failed = 0;
    failed |= write_att_int(slot.get(), "varIndex", varIndex) < 0;
    failed |= write_att_int(slot.get(), "useUndefined", useUndefined) < 0;
    failed |= write_att_flt(slot.get(), "undefinedValue", undefinedValue) < 0;
    return end_record(slot, "scn_write_elem_list_var_info: error closing var_n group", failed);
}

int scn_write_elem(scnapi_handle *h, int elemListIndex, int elemIndex, int elemListType,
                   int elemCount, int lenList, const int *conn, const int *ids) {
    const char *entry = "scn_write_elem";
    int has_ids = 0;
    {
        H5Id list = open_record(h, list_path(elemListIndex), entry);
        if (!list) return 1;
        if (read_att_int(list.get(), "hasElemIds", &has_ids, 0) < 0) {
            std::puts("scn_write_elem: error reading hasElemIds");
            return 1;
        }
    }
    bool created = false;
    H5Id rec = open_or_create_group(
        h->fileId, list_path(elemListIndex) + format_path("/elem_%d", elemIndex), &created);
    if (!rec) {
        std::puts("scn_write_elem: error creating elem_n group");
        return 1;
    }
    hid_t g = rec.get();
    int failed = 0;
    failed |= write_att_int(g, "elemListType", elemListType) < 0;
    failed |= write_att_int(g, "elemCount", elemCount) < 0;
    failed |= write_att_int(g, "lenList", lenList) < 0;
    failed |= write_counted_int(h, g, "conn", lenList, conn) < 0;
    if (has_ids) failed |= write_counted_int(h, g, "ids", elemCount, ids) < 0;
    return end_record(rec, "scn_write_elem: error closing elem group", failed);
}

int scn_write_elem_var(scnapi_handle *h, int elemListIndex, int elemIndex, int varSlot,
                       int varIndex, int numValues, const float *vals) {
    bool created = false;
    H5Id var = open_or_create_group(
        h ? h->fileId : -1,
        list_path(elemListIndex) + format_path("/elem_%d/var_%d", elemIndex, varSlot), &created);
    if (!var) {
        std::puts("scn_write_elem_var: error creating var_n group");
        return 1;
    }
    int failed = write_att_int(var.get(), "numValues", numValues) < 0;
    long long n = array_length(numValues, variable_component_count(h, varIndex));
    failed |= write_counted_flt(h, var.get(), "vals", n, vals) < 0;
    return end_record(var, "scn_write_geom_var_values: error closing var_n group", failed);
}

int scn_read_elem_list_num(scnapi_handle *h) {
    if (legacy_layout()) {
        scan_for_nodes_elems(h);
        return h ? h->elemListsFound : 0;
    }
    return read_count(h, "/top/ElemLists", "nElemLists",
                      "scn_read_elem_list_num: error closing ElemLists group");
}

int scn_read_elem_list_info(scnapi_handle *h, int elemListIndex, int *numElemRecs,
                            int *numElemVars, int *elemNormalIndex, int *hasElemIds) {
    const char *entry = "scn_read_elem_list_info";
    ElemLayout layout;
    if (!layout.locate(h, entry, elemListIndex)) return 1;
    return read_record(h, layout.list(), entry,
                       "scn_read_geom_elem_info: error closing elemlists group", [&](hid_t list) {
        int failed = 0;
        failed |= read_int_item(list, layout.record_count(), numElemRecs);
        failed |= read_int_item(list, "numElemVars", numElemVars);
        failed |= read_int_item(list, "elemNormalIndex", elemNormalIndex);
        failed |= read_int_item(list, "hasElemIds", hasElemIds);
        return failed;
    });
}

int scn_read_elem_list_var_info(scnapi_handle *h, int elemListIndex, int varSlot,
                                int *varIndex, int *useUndefined, float *undefinedValue) {
    const char *entry = "scn_read_elem_list_var_info";
    ElemLayout layout;
    if (!layout.locate(h, entry, elemListIndex)) return 1;
    return read_record(h, layout.slot(varSlot), entry,
                       "scn_read_elem_list_var_info: error closing var group", [&](hid_t slot) {
        int failed = 0;
        failed |= read_int_item(slot, "varIndex", varIndex);
        failed |= read_int_item(slot, "useUndefined", useUndefined);
        if (undefinedValue) failed |= read_att_flt(slot, "undefinedValue", undefinedValue, 0) < 0;
        return failed;
    });
}

int scn_read_elem_info(scnapi_handle *h, int elemListIndex, int elemIndex, int *elemListType,
                       int *elemCount, int *lenList) {
    const char *entry = "scn_read_elem_info";
    ElemLayout layout;
    if (!layout.locate(h, entry, elemListIndex)) return 1;
    const char *close_message = layout.legacy()
                                    ? "scn_read_geom_elem_info: error closing elemlist_ group"
                                    : "scn_read_elem_info: error closing elem_ group";
    return read_record(h, layout.record(elemIndex), entry, close_message, [&](hid_t rec) {
        int failed = 0;
        failed |= read_int_item(rec, "elemListType", elemListType);
        failed |= read_int_item(rec, "elemCount", elemCount);
        failed |= read_int_item(rec, "lenList", lenList);
        return failed;
    });
}

}  // extern "C"

namespace scnapi {

int read_elem_connectivity(scnapi_handle *h, int elemListIndex, int elemIndex,
                           const ArrayOut &conn) {
    const char *entry = "scn_read_elem_connectivity";
    ElemLayout layout;
    if (!layout.locate(h, entry, elemListIndex)) return 1;
    const char *close_message = layout.legacy()
                                    ? "scn_read_elem_connectivity: error closing elemlist group"
                                    : "scn_read_elem_connectivity: error closing elem group";
    return read_record(h, layout.record(elemIndex), entry, close_message, [&](hid_t rec) {
        return read_counted(rec, {"lenList"}, "conn", Elem::Int, conn) < 0 ? 1 : 0;
    });
}

int read_elem_ids(scnapi_handle *h, int elemListIndex, int elemIndex, const ArrayOut &ids) {
    const char *entry = "scn_read_elem_ids";
    ElemLayout layout;
    if (!layout.locate(h, entry, elemListIndex)) return 1;
    const char *close_message = layout.legacy()
                                    ? "scn_read_elem_ids: error closing elemlist group"
                                    : "scn_read_elem_ids: error closing elem group";
    return read_record(h, layout.record(elemIndex), entry, close_message, [&](hid_t rec) {
        return read_counted(rec, {"elemCount"}, "ids", Elem::Int, ids) < 0 ? 1 : 0;
    });
}

int read_elem_var_values(scnapi_handle *h, int elemListIndex, int elemIndex, int varSlot,
                         const ArrayOut &vals) {
    const char *entry = "scn_read_elem_var_values";
    ElemLayout layout;
    if (!layout.locate(h, entry, elemListIndex)) return 1;
    return read_record(h, layout.values(elemIndex, varSlot), entry,
                       "scn_read_elem_var_values: error closing var group", [&](hid_t var) {
        if (!vals.wanted()) return 0;
        long long n = vals.allocates() ? 0 : elem_values_length(h, layout, elemIndex, varSlot, var);
        return read_array(var, "vals", Elem::Float, n, !vals.allocates(), vals) < 0 ? 1 : 0;
    });
}

}  // namespace scnapi

extern "C" {

int scn_read_elem_connectivity(scnapi_handle *h, int elemListIndex, int elemIndex, int *conn) {
    return read_elem_connectivity(h, elemListIndex, elemIndex, conn);
}

int scn_read_elem_ids(scnapi_handle *h, int elemListIndex, int elemIndex, int *ids) {
    return read_elem_ids(h, elemListIndex, elemIndex, ids);
}

int scn_read_elem_var_values(scnapi_handle *h, int elemListIndex, int elemIndex, int varSlot,
                             float *vals) {
    return read_elem_var_values(h, elemListIndex, elemIndex, varSlot, vals);
}

}  // extern "C"
