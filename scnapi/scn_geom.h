/*
 * Geometry: geoms, node sets and node variables.
 * Part of the public interface: include scnapi/scnapi.h.
 */
#ifndef SCNAPI_SCN_GEOM_H
#define SCNAPI_SCN_GEOM_H

#ifndef SCNAPI_SCNAPI_H
#error "include scnapi/scnapi.h instead"
#endif

/* Geom records under /top/Geoms; minimum and maximum (3 floats each) may
 * be null.  New geoms start with no tagged attributes. */
SCNAPI_EXPORT int scn_write_geom(scnapi_handle *h, int geomIndex, int whichNodes,
                                 int whichElemList, int extentsProvided, int empty,
                                 const float *minimum, const float *maximum);

/* Node sets under /top/Nodes: coords holds numNodes * nodeDimension floats
 * (node by node), ids numNodes ints (used when hasNodeIds is non-zero). */
SCNAPI_EXPORT int scn_write_nodes(scnapi_handle *h, int nodesIndex, int numNodes,
                                  int nodeDimension, int hasNodeIds, int numNodalVars,
                                  int nodeNormalIndex, const float *coords, const int *ids);

/* Values of variable varIndex in slot varSlot of an existing node set:
 * numValues times the variable's component count floats.  Write the
 * variable record first; its kind decides the component count. */
SCNAPI_EXPORT int scn_write_nodes_var(scnapi_handle *h, int nodesIndex, int varSlot,
                                      int varIndex, int numValues, int useUndefined,
                                      float undefinedValue, const float *vals);

/* Counts.  In a legacy file call one of them before the node-set readers:
 * it numbers the legacy node sets. */
SCNAPI_EXPORT int scn_read_geom_num(scnapi_handle *h);
SCNAPI_EXPORT int scn_read_nodes_num(scnapi_handle *h);

/* The geom's node set and element list (record indices), and whether it
 * has extents. */
SCNAPI_EXPORT int scn_read_geom_info(scnapi_handle *h, int geomIndex, int *whichNodes,
                                     int *whichElemList, int *extentsProvided);
/* empty may be null (the stored flag is still honoured). */
SCNAPI_EXPORT int scn_read_geom_extents(scnapi_handle *h, int geomIndex, int *empty,
                                        float *minimum, float *maximum);

/* A node set's counts: nodes, coordinates per node, whether it has ids,
 * its variable slots; and its normal index. */
SCNAPI_EXPORT int scn_read_nodes_info(scnapi_handle *h, int nodesIndex, int *numNodes,
                                      int *nodeDimension, int *hasNodeIds, int *numNodalVars,
                                      int *nodeNormalIndex);
/* Arrays sized from scn_read_nodes_info; a stored array larger than the
 * record's counts announce is refused. */
SCNAPI_EXPORT int scn_read_nodes_coords(scnapi_handle *h, int nodesIndex, float *coords);
SCNAPI_EXPORT int scn_read_nodes_ids(scnapi_handle *h, int nodesIndex, int *ids);

/* Slot varSlot of a node set: its variable, its number of values and the
 * marker of undefined values. */
SCNAPI_EXPORT int scn_read_nodes_var_info(scnapi_handle *h, int nodesIndex, int varSlot,
                                          int *varIndex, int *numValues, int *useUndefined,
                                          float *undefinedValue);
/* numValues times the variable's component count floats. */
SCNAPI_EXPORT int scn_read_nodes_var_values(scnapi_handle *h, int nodesIndex, int varSlot,
                                            float *vals);

#endif /* SCNAPI_SCN_GEOM_H */
