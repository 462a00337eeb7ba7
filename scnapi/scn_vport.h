/*
 * Viewports and annotation planes.
 * Part of the public interface: include scnapi/scnapi.h.
 *
 * A viewport lists the part records it shows, an annotation plane the
 * annotation records it carries; their settings are tagged attributes
 * (owner kinds 3 and 4, see scn_attr.h), added after the record is written.
 */
#ifndef SCNAPI_SCN_VPORT_H
#define SCNAPI_SCN_VPORT_H

#ifndef SCNAPI_SCNAPI_H
#error "include scnapi/scnapi.h instead"
#endif

/* Writers: the record index and its list of numParts part indices or
 * numAnnots annotation indices. */
SCNAPI_EXPORT int scn_write_vport(scnapi_handle *h, int index, int numParts,
                                  const int *partIndices);
SCNAPI_EXPORT int scn_write_aplane(scnapi_handle *h, int index, int numAnnots,
                                   const int *annotIndices);

/* Counts of the two families. */
SCNAPI_EXPORT int scn_read_vport_num(scnapi_handle *h);
SCNAPI_EXPORT int scn_read_aplane_num(scnapi_handle *h);

/* The length of a record's list, then the list itself (an array of that
 * many ints; a record with an empty list has none to read: status 1). */
SCNAPI_EXPORT int scn_read_vport_info(scnapi_handle *h, int index, int *numParts);
SCNAPI_EXPORT int scn_read_aplane_info(scnapi_handle *h, int index, int *numAnnots);
SCNAPI_EXPORT int scn_read_vport_indices(scnapi_handle *h, int index, int *partIndices);
SCNAPI_EXPORT int scn_read_aplane_indices(scnapi_handle *h, int index, int *annotIndices);

#endif /* SCNAPI_SCN_VPORT_H */
