/*
 * Parts, reps and render-attribute records.
 * Part of the public interface: include scnapi/scnapi.h.
 */
#ifndef SCNAPI_SCN_PART_H
#define SCNAPI_SCN_PART_H

#ifndef SCNAPI_SCNAPI_H
#error "include scnapi/scnapi.h instead"
#endif

/* Writers.  Names are stored in 256-byte fields; geomIndices holds
 * numRepGeoms entries. */
SCNAPI_EXPORT int scn_write_part(scnapi_handle *h, int partIndex, const char *partName,
                                 const char *partDesc, int partType, int staticRepIndex,
                                 int dynamicRepIndex);
SCNAPI_EXPORT int scn_write_rep(scnapi_handle *h, int repIndex, int numRepGeoms, int repType,
                                const int *geomIndices, int rendAttrIndex);
SCNAPI_EXPORT int scn_write_rendAttr(scnapi_handle *h, int rendAttrIndex);

/* Readers.  Name buffers hold 256 bytes; geomIndices holds the
 * numRepGeoms entries that scn_read_rep_info reports.  The rep-index
 * readers return the index, or -1. */
SCNAPI_EXPORT int scn_read_part_num(scnapi_handle *h);
SCNAPI_EXPORT int scn_read_part_info(scnapi_handle *h, int partIndex, char *partName,
                                     char *partDesc, int *partType);
SCNAPI_EXPORT int scn_read_part_static_rep(scnapi_handle *h, int partIndex);
SCNAPI_EXPORT int scn_read_part_dynamic_rep(scnapi_handle *h, int partIndex);
SCNAPI_EXPORT int scn_read_rep_num(scnapi_handle *h);
SCNAPI_EXPORT int scn_read_rep_info(scnapi_handle *h, int repIndex, int *numRepGeoms,
                                    int *repType, int *rendAttrIndex);
SCNAPI_EXPORT int scn_read_rep_geoms(scnapi_handle *h, int repIndex, int *geomIndices);
SCNAPI_EXPORT int scn_read_rendAttr_num(scnapi_handle *h);

#endif /* SCNAPI_SCN_PART_H */
