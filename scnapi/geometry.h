// Shared internals of the geometry families (variables, node sets, element
// lists): the component count of a variable kind and the index of the
// legacy layout, in which node sets and element lists live inside the geom
// groups.
#pragma once

#include <hdf5.h>

#include "scnapi/scnapi.h"

namespace scnapi {

// Floats in one value of a variable of `kind`: 1 scalar, 3 vector and
// normalised vector, 2 complex scalar, 6 complex vector, 0 any other kind.
int component_count(int kind);

// Component count of variable record `var_index`, read from its "varKind";
// 0 when the record or its kind cannot be read (with the variable reader's
// messages, unless `quiet`).
int variable_component_count(const scnapi_handle *h, int var_index, bool quiet = false);

// True when the file read last uses the legacy layout (file version below
// "2."); false while no file has been read.
bool legacy_layout();

// The one-time scan of a legacy file's geoms that numbers its node sets and
// element lists (fills geomCount, nodeSetsFound, elemListsFound,
// nodesInGeom, elemsInGeom). Does nothing for a version-2 file or after its
// first run.
void scan_for_nodes_elems(scnapi_handle *h);

// Geom holding legacy node set `index` / element list `index`. Indices
// outside what the scan found (or before it ran) are refused: false after
// printing "<entry>: error no legacy node set <index>" (element list).
bool legacy_node_geom(const scnapi_handle *h, const char *entry, int index, int *geom);
bool legacy_elem_geom(const scnapi_handle *h, const char *entry, int index, int *geom);

}  // namespace scnapi
