// Geometry: geoms, node sets and the variable values on their nodes, and
// the index of the legacy layout shared with the element-list readers.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "bulk_readers.h"
#include "collection.h"
#include "counted_io.h"
#include "geometry.h"
#include "scnapi/scnapi.h"
#include "state.h"
#include "storage.h"

namespace scnapi {

// Before any file has been opened for reading there is no version to go by
// (a producer reading back through its write handle): the layout is then the
// one this library writes.
bool legacy_layout() { return ScnFileVersion[0] != '\0' && file_version_before("2."); }

namespace {

// Number of links in the group: no legacy file can hold more geoms than
// "/top/Geoms" has children, which bounds the scan's arrays whatever
// "nGeoms" claims.
hsize_t child_count(hid_t group) {
    H5G_info_t info;
    return H5Gget_info(group, &info) < 0 ? 0 : info.nlinks;
}

// Whether legacy geom g has element lists; a failed close is reported.
bool geom_has_elem_lists(hid_t file, int g) {
    H5Id lists = open_group(file, format_path("/top/Geoms/geom_%d/elemlists", g));
    if (!lists) return false;
    int count = 0;
    if (read_att_int(lists.get(), "numElementLists", &count, 0) < 0) count = 0;
    if (lists.close() < 0) std::puts("scan_for_nodes_elems: error closing elems group");
    return count > 0;
}

// Legacy indices are checked against what the scan found: an index outside
// it (or any index before the scan ran) is refused rather than read from
// beyond the handle's tables.
bool legacy_geom(const char *entry, const char *what, const int *table, int found, int index,
                 int *geom) {
    if (!table || index < 0 || index >= found) {
        std::printf("%s: error no legacy %s %d\n", entry, what, index);
        return false;
    }
    *geom = table[index];
    return true;
}

}  // namespace

void scan_for_nodes_elems(scnapi_handle *h) {
    if (!h || !legacy_layout() || h->geomCount >= 0) return;
    h->geomCount = 0;
    H5Id geoms = open_group(h->fileId, "/top/Geoms");
    if (!geoms) return;
    int n_geoms = 0;
    if (read_att_int(geoms.get(), "nGeoms", &n_geoms, 0) < 0) n_geoms = 0;
    hsize_t children = child_count(geoms.get());
    if (geoms.close() < 0) {
        std::puts("scan_for_nodes_elems: error closing Geoms group");
        return;
    }
    if (n_geoms < 1) return;

    h->geomCount = n_geoms;
    // Only existing geoms are ever entered (the scan stops at the first
    // missing one), so the tables need no more rows than there are children.
    size_t rows = children < static_cast<hsize_t>(n_geoms) ? children : n_geoms;
    if (rows == 0) rows = 1;
    std::free(h->nodesInGeom);
    std::free(h->elemsInGeom);
    h->elemsInGeom = nullptr;
    h->nodesInGeom = static_cast<int *>(std::calloc(rows, sizeof(int)));
    if (!h->nodesInGeom) {
        std::printf("scan_for_nodes_elems: error allocating nodesInGeom %d\n", n_geoms);
        h->geomCount = 0;
        return;
    }
    h->elemsInGeom = static_cast<int *>(std::calloc(rows, sizeof(int)));
    if (!h->elemsInGeom) {
        std::printf("scan_for_nodes_elems: error allocating elemsInGeom %d\n", n_geoms);
        h->geomCount = 0;
        return;
    }

    h->nodeSetsFound = h->elemListsFound = 0;
    for (int g = 0; g < h->geomCount; ++g) {
        H5Id nodes = open_group(h->fileId, format_path("/top/Geoms/geom_%d/nodes", g));
        if (!nodes) {
            h->geomCount = 0;  // the found-counters keep what was counted
            return;
        }
        int num_nodes = 0;
        if (read_att_int(nodes.get(), "numNodes", &num_nodes, 0) < 0) num_nodes = 0;
        if (num_nodes > 0) h->nodesInGeom[h->nodeSetsFound++] = g;
        if (nodes.close() < 0) std::puts("scan_for_nodes_elems: error closing nodes group");
        if (num_nodes > 0 && geom_has_elem_lists(h->fileId, g))
            h->elemsInGeom[h->elemListsFound++] = g;
    }
}

bool legacy_node_geom(const scnapi_handle *h, const char *entry, int index, int *geom) {
    return legacy_geom(entry, "node set", h ? h->nodesInGeom : nullptr,
                       h ? h->nodeSetsFound : 0, index, geom);
}

bool legacy_elem_geom(const scnapi_handle *h, const char *entry, int index, int *geom) {
    return legacy_geom(entry, "element list", h ? h->elemsInGeom : nullptr,
                       h ? h->elemListsFound : 0, index, geom);
}

}  // namespace scnapi

using namespace scnapi;

namespace {

std::string geom_path(int index) { return format_path("/top/Geoms/geom_%d", index); }

// The group of node set `index` in the layout of the file read last: empty
// (after a message) for a legacy index the scan did not find.
std::string node_set_path(const scnapi_handle *h, const char *entry, int index) {
    if (!legacy_layout()) return format_path("/top/Nodes/nodes_%d", index);
    int geom = 0;
    if (!legacy_node_geom(h, entry, index, &geom)) return std::string();
    return format_path("/top/Geoms/geom_%d/nodes", geom);
}

std::string node_var_path(const scnapi_handle *h, const char *entry, int index, int slot) {
    std::string nodes = node_set_path(h, entry, index);
    return nodes.empty() ? nodes : nodes + format_path("/var_%d", slot);
}

// Reads one int attribute into a wanted output; 1 on failure.
// Reads a wanted int output, storing `fallback` when it cannot be read.
int read_item_or(hid_t gid, const char *name, int *out, int fallback) {
    if (!out || read_att_int(gid, name, out, 0) == 0) return 0;
    *out = fallback;
    return 1;
}

// Legacy geoms name their own node set and element list, when they have
// nodes. These are geom indices, while the node-set and element-list readers
// number legacy records among the geoms that have them: the two agree only
// when no geom without nodes precedes one with nodes. Callers of old files
// rely on both numberings, so neither is adjusted to the other.
int read_legacy_geom_links(hid_t geom, int geom_index, int *whichNodes, int *whichElemList) {
    int failed = 0, num_nodes = 0;
    H5Id nodes = open_group(geom, "nodes");
    if (!nodes) {
        std::puts("scn_read_geom_info: error opening group 'nodes'");
        failed = 1;
    } else {
        if (read_att_int(nodes.get(), "numNodes", &num_nodes, 0) < 0) {
            num_nodes = 0;
            failed = 1;
        }
        if (nodes.close() < 0) std::puts("scn_read_geom_info: error closing nodes group");
    }
    int link = num_nodes < 1 ? -1 : geom_index;
    if (whichNodes) *whichNodes = link;
    if (whichElemList) *whichElemList = link;
    return failed;
}

// Floats the caller of the public value reader sized its array for:
// numValues times the components of the variable the group names. Read
// without messages, as checks of the size: -1 when they cannot be read.
long long node_values_length(const scnapi_handle *h, hid_t var) {
    int var_index = 0, num_values = 0;
    if (read_att_int(var, "varIndex", &var_index, 1) < 0 ||
        read_att_int(var, "numValues", &num_values, 1) < 0)
        return -1;
    return array_length(num_values, variable_component_count(h, var_index, true));
}

}  // namespace

namespace scnapi {

int read_nodes_coords(scnapi_handle *h, int nodesIndex, const ArrayOut &coords) {
    const char *entry = "scn_read_nodes_coords";
    std::string path = node_set_path(h, entry, nodesIndex);
    if (path.empty()) return 1;
    return read_record(h, path, entry, "scn_read_nodes_coords: error closing nodes group",
                       [&](hid_t nodes) {
        return read_counted(nodes, {"numNodes", "nodeDimension"}, "coords", Elem::Float,
                            coords) < 0 ? 1 : 0;
    });
}

int read_nodes_var_values(scnapi_handle *h, int nodesIndex, int varSlot, const ArrayOut &vals) {
    const char *entry = "scn_read_nodes_var_values";
    std::string path = node_var_path(h, entry, nodesIndex, varSlot);
    if (path.empty()) return 1;
    return read_record(h, path, entry, "scn_read_nodes_var_values: error closing var group",
                       [&](hid_t var) {
        if (!vals.wanted()) return 0;
        long long n = vals.allocates() ? 0 : node_values_length(h, var);
        return read_array(var, "vals", Elem::Float, n, !vals.allocates(), vals) < 0 ? 1 : 0;
    });
}

}  // namespace scnapi

extern "C" {

int scn_write_geom(scnapi_handle *h, int geomIndex, int whichNodes, int whichElemList,
                   int extentsProvided, int empty, const float *minimum, const float *maximum) {
    Collection c = collection("scn_write_geom", "Geoms", "nGeoms", "geom");
    c.on_create = init_num_attrs;
    H5Id geom = begin_record(h, c, geomIndex);
    if (!geom) return 1;
    hid_t g = geom.get();
    int failed = 0;
    failed |= write_att_int(g, "whichNodes", whichNodes) < 0;
    failed |= write_att_int(g, "whichElemList", whichElemList) < 0;
    failed |= write_att_int(g, "extentsProvided", extentsProvided) < 0;
    failed |= write_att_int(g, "empty", empty) < 0;
    if (extentsProvided) {
        float extents[6] = {};  // an empty geom stores zeros
        if (!empty && minimum) std::memcpy(extents, minimum, 3 * sizeof(float));
        if (!empty && maximum) std::memcpy(extents + 3, maximum, 3 * sizeof(float));
        failed |= write_dataset_flt(h, g, "extents", 6, extents) < 0;
    }
    geom.reset();  // a failed close of a geom is not reported
    return failed;
}

int scn_write_nodes(scnapi_handle *h, int nodesIndex, int numNodes, int nodeDimension,
                    int hasNodeIds, int numNodalVars, int nodeNormalIndex, const float *coords,
                    const int *ids) {
    const char *entry = "scn_write_nodes";
    Collection c = collection(entry, "Nodes", "nNodes", "nodes");
    c.msg.close_record = "scn_write_nodes: error closing nodes group";
    return write_record(h, c, nodesIndex, [&](hid_t nodes) {
        int failed = 0;
        failed |= write_att_int(nodes, "numNodes", numNodes) < 0;
        failed |= write_att_int(nodes, "nodeDimension", nodeDimension) < 0;
        failed |= write_att_int(nodes, "hasNodeIds", hasNodeIds) < 0;
        failed |= write_att_int(nodes, "numNodalVars", numNodalVars) < 0;
        failed |= write_att_int(nodes, "nodeNormalIndex", nodeNormalIndex) < 0;
        failed |= write_counted_flt(h, nodes, "coords", array_length(numNodes, nodeDimension),
                                    coords) < 0;
        if (hasNodeIds) failed |= write_counted_int(h, nodes, "ids", numNodes, ids) < 0;
        return failed;
    });
}

int scn_write_nodes_var(scnapi_handle *h, int nodesIndex, int varSlot, int varIndex,
                        int numValues, int useUndefined, float undefinedValue,
                        const float *vals) {
    bool created = false;
    H5Id var = open_or_create_group(h ? h->fileId : -1,
                                    format_path("/top/Nodes/nodes_%d/var_%d", nodesIndex, varSlot),
                                    &created);
    if (!var) {
        std::puts("scn_write_nodes_var: error creating var_n group");
        return 1;
    }
    hid_t g = var.get();
    int failed = 0;
    failed |= write_att_int(g, "varIndex", varIndex) < 0;
    failed |= write_att_int(g, "numValues", numValues) < 0;
    failed |= write_att_int(g, "useUndefined", useUndefined) < 0;
    failed |= write_att_flt(g, "undefinedValue", undefinedValue) < 0;
    long long n = array_length(numValues, variable_component_count(h, varIndex));
    failed |= write_counted_flt(h, g, "vals", n, vals) < 0;
    return end_record(var, "scn_write_nodes_var: error closing var_n group", failed);
}

int scn_read_geom_num(scnapi_handle *h) {
    if (legacy_layout()) {
        scan_for_nodes_elems(h);
        return h ? h->geomCount : 0;
    }
    return read_count(h, "/top/Geoms", "nGeoms", "scn_read_geom_num: error closing Geoms group");
}

int scn_read_nodes_num(scnapi_handle *h) {
    if (legacy_layout()) {
        scan_for_nodes_elems(h);
        return h ? h->nodeSetsFound : 0;
    }
    return read_count(h, "/top/Nodes", "nNodes", "scn_read_nodes_num: error closing Nodes group");
}

int scn_read_geom_info(scnapi_handle *h, int geomIndex, int *whichNodes, int *whichElemList,
                       int *extentsProvided) {
    return read_record(h, geom_path(geomIndex), "scn_read_geom_info",
                       "scn_read_geom_info: error closing geom group", [&](hid_t geom) {
        if (legacy_layout()) {
            int failed = read_item_or(geom, "extentsProvided", extentsProvided, 0);
            return failed | read_legacy_geom_links(geom, geomIndex, whichNodes, whichElemList);
        }
        int failed = read_item_or(geom, "whichNodes", whichNodes, -1);
        failed |= read_item_or(geom, "whichElemList", whichElemList, -1);
        failed |= read_item_or(geom, "extentsProvided", extentsProvided, 0);
        return failed;
    });
}

int scn_read_geom_extents(scnapi_handle *h, int geomIndex, int *empty, float *minimum,
                          float *maximum) {
    // A null `empty` is allowed: the stored flag still decides whether the
    // extents are read, it is just not reported.
    int stored_empty = 1;
    int status = read_record(h, geom_path(geomIndex), "scn_read_geom_extents",
                             "scn_read_geom_extents: error closing geomID group", [&](hid_t geom) {
        int failed = 0, provided = 0;
        if (read_att_int(geom, "extentsProvided", &provided, 0) < 0) {
            provided = 0;
            failed = 1;
        }
        if (read_att_int(geom, "empty", &stored_empty, 0) < 0) {
            stored_empty = 1;
            failed = 1;
        }
        if (empty) *empty = stored_empty;
        float extents[6] = {};
        if (provided && !stored_empty) {
            hsize_t length = 0;
            if (dataset_length(geom, "extents", &length) == 0 && length != 6) {
                std::puts("Error reading dataset: extents");  // must be exactly 6
                failed = 1;
            } else if (read_dataset_flt(geom, "extents", extents, 6) < 0) {
                std::memset(extents, 0, sizeof extents);
                failed = 1;
            }
        }
        if (minimum) std::memcpy(minimum, extents, 3 * sizeof(float));
        if (maximum) std::memcpy(maximum, extents + 3, 3 * sizeof(float));
        return failed;
    });
    return status;
}

int scn_read_nodes_info(scnapi_handle *h, int nodesIndex, int *numNodes, int *nodeDimension,
                        int *hasNodeIds, int *numNodalVars, int *nodeNormalIndex) {
    const char *entry = "scn_read_nodes_info";
    std::string path = node_set_path(h, entry, nodesIndex);
    if (path.empty()) return 1;
    const char *close_message = legacy_layout()
                                    ? "scn_read_geom_node_info: error closing nodes group"
                                    : "scn_read_nodes_info: error closing nodes group";
    return read_record(h, path, entry, close_message, [&](hid_t nodes) {
        int failed = 0;
        failed |= read_int_item(nodes, "numNodes", numNodes);
        failed |= read_int_item(nodes, "nodeDimension", nodeDimension);
        failed |= read_int_item(nodes, "hasNodeIds", hasNodeIds);
        failed |= read_int_item(nodes, "numNodalVars", numNodalVars);
        failed |= read_int_item(nodes, "nodeNormalIndex", nodeNormalIndex);
        return failed;
    });
}

int scn_read_nodes_coords(scnapi_handle *h, int nodesIndex, float *coords) {
    return read_nodes_coords(h, nodesIndex, coords);
}

int scn_read_nodes_ids(scnapi_handle *h, int nodesIndex, int *ids) {
    const char *entry = "scn_read_nodes_ids";
    std::string path = node_set_path(h, entry, nodesIndex);
    if (path.empty()) return 1;
    return read_record(h, path, entry, "scn_read_nodes_ids: error closing nodes group",
                       [&](hid_t nodes) {
        return read_counted(nodes, {"numNodes"}, "ids", Elem::Int, ids) < 0 ? 1 : 0;
    });
}

int scn_read_nodes_var_info(scnapi_handle *h, int nodesIndex, int varSlot, int *varIndex,
                            int *numValues, int *useUndefined, float *undefinedValue) {
    const char *entry = "scn_read_nodes_var_info";
    std::string path = node_var_path(h, entry, nodesIndex, varSlot);
    if (path.empty()) return 1;
    return read_record(h, path, entry, "scn_read_nodes_var_info: error closing var group",
                       [&](hid_t var) {
        int failed = 0;
        failed |= read_int_item(var, "varIndex", varIndex);
        failed |= read_int_item(var, "numValues", numValues);
        failed |= read_int_item(var, "useUndefined", useUndefined);
        if (undefinedValue) failed |= read_att_flt(var, "undefinedValue", undefinedValue, 0) < 0;
        return failed;
    });
}

int scn_read_nodes_var_values(scnapi_handle *h, int nodesIndex, int varSlot, float *vals) {
    return read_nodes_var_values(h, nodesIndex, varSlot, vals);
}

}  // extern "C"
