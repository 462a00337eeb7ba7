/*
 * Element lists, element records and element variables.
 * Part of the public interface: include scnapi/scnapi.h.
 */
#ifndef SCNAPI_SCN_ELEM_H
#define SCNAPI_SCN_ELEM_H

#ifndef SCNAPI_SCNAPI_H
#error "include scnapi/scnapi.h instead"
#endif

/* Element lists under /top/ElemLists. */
SCNAPI_EXPORT int scn_write_elem_list(scnapi_handle *h, int elemListIndex, int numElemRecs,
                                      int numElemVars, int elemNormalIndex, int hasElemIds);

/* Variable slot varSlot of an existing element list. */
SCNAPI_EXPORT int scn_write_elem_list_var_info(scnapi_handle *h, int elemListIndex,
                                               int varSlot, int varIndex, int useUndefined,
                                               float undefinedValue);

/* Element record of an existing list: conn holds lenList ints, ids
 * elemCount ints (used only when the list has element ids).  conn is stored
 * and returned unchanged: how it divides into elements of elemListType
 * (nodes per element, strip and polygon lengths, node numbering base) is
 * agreed between producer and consumer. */
SCNAPI_EXPORT int scn_write_elem(scnapi_handle *h, int elemListIndex, int elemIndex,
                                 int elemListType, int elemCount, int lenList,
                                 const int *conn, const int *ids);

/* Values of slot varSlot for an existing element record: numValues times
 * the component count of variable varIndex floats. */
SCNAPI_EXPORT int scn_write_elem_var(scnapi_handle *h, int elemListIndex, int elemIndex,
                                     int varSlot, int varIndex, int numValues,
                                     const float *vals);

/* In a legacy file call this (or a geom or node-set count) before the
 * other element readers: it numbers the legacy element lists. */
SCNAPI_EXPORT int scn_read_elem_list_num(scnapi_handle *h);

/* An element list's counts (element records, variable slots), its normal
 * index and whether its records carry element ids. */
SCNAPI_EXPORT int scn_read_elem_list_info(scnapi_handle *h, int elemListIndex,
                                          int *numElemRecs, int *numElemVars,
                                          int *elemNormalIndex, int *hasElemIds);

/* Slot varSlot of an element list: its variable and the marker of
 * undefined values. */
SCNAPI_EXPORT int scn_read_elem_list_var_info(scnapi_handle *h, int elemListIndex,
                                              int varSlot, int *varIndex, int *useUndefined,
                                              float *undefinedValue);

/* An element record: its element type (OXR_ELEM_*), number of elements and
 * number of ints of connectivity. */
SCNAPI_EXPORT int scn_read_elem_info(scnapi_handle *h, int elemListIndex, int elemIndex,
                                     int *elemListType, int *elemCount, int *lenList);

/* Arrays sized from scn_read_elem_info (and, for values, the variable's
 * component count); a stored array larger than that is refused. */
SCNAPI_EXPORT int scn_read_elem_connectivity(scnapi_handle *h, int elemListIndex,
                                             int elemIndex, int *conn);
SCNAPI_EXPORT int scn_read_elem_ids(scnapi_handle *h, int elemListIndex, int elemIndex,
                                    int *ids);
SCNAPI_EXPORT int scn_read_elem_var_values(scnapi_handle *h, int elemListIndex, int elemIndex,
                                           int varSlot, float *vals);

#endif /* SCNAPI_SCN_ELEM_H */
