// The bulk readers behind the public entries whose arrays the scripting
// module (and the fuzz target) size themselves: the same readers, with the
// same diagnostics under the entries' own names, taking ArrayOuts, so that
// the caller gives the exact size of its array and the reader allocates it
// once the stored data is known to fill it.
#pragma once

#include "counted_io.h"
#include "scnapi/scnapi.h"

namespace scnapi {

int read_psrc_steps(scnapi_handle *h, int index, const ArrayOut &partIndices,
                    const ArrayOut &stepValues);
int read_rep_geoms(scnapi_handle *h, int repIndex, const ArrayOut &geomIndices);
int read_vport_indices(scnapi_handle *h, int index, const ArrayOut &partIndices);
int read_nodes_coords(scnapi_handle *h, int nodesIndex, const ArrayOut &coords);
int read_nodes_var_values(scnapi_handle *h, int nodesIndex, int varSlot, const ArrayOut &vals);
int read_elem_connectivity(scnapi_handle *h, int elemListIndex, int elemIndex,
                           const ArrayOut &conn);
int read_elem_ids(scnapi_handle *h, int elemListIndex, int elemIndex, const ArrayOut &ids);
int read_elem_var_values(scnapi_handle *h, int elemListIndex, int elemIndex, int varSlot,
                         const ArrayOut &vals);

// The palette's arrays, in the entry's argument order: control points and
// colours of red-or-hue, green-or-saturation, blue-or-value and alpha.
constexpr int kPaletteArrays = 2 * OXR_PALETTE_MAX_CHANNELS;
int read_var_palette_colors(scnapi_handle *h, int varIndex,
                            const ArrayOut (&arrays)[kPaletteArrays]);

}  // namespace scnapi
