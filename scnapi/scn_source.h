/*
 * Sources: part, annotation and viewport sources and their steps.
 * Part of the public interface: include scnapi/scnapi.h.
 */
#ifndef SCNAPI_SCN_SOURCE_H
#define SCNAPI_SCN_SOURCE_H

#ifndef SCNAPI_SCNAPI_H
#error "include scnapi/scnapi.h instead"
#endif

/* Part sources (steps name part records), annotation sources (annotation
 * records) and viewport sources (viewport records): the same record under
 * three names.  The step arrays hold nSteps entries, as the info entry
 * reports. */
SCNAPI_EXPORT int scn_write_psrc(scnapi_handle *h, int index, int nSteps, int stepId,
                                 const int *partIndices, const float *stepValues);
SCNAPI_EXPORT int scn_write_asrc(scnapi_handle *h, int index, int nSteps, int stepId,
                                 const int *annotIndices, const float *stepValues);
SCNAPI_EXPORT int scn_write_vsrc(scnapi_handle *h, int index, int nSteps, int stepId,
                                 const int *vpIndices, const float *stepValues);

/* Counts of the three families. */
SCNAPI_EXPORT int scn_read_psrc_num(scnapi_handle *h);
SCNAPI_EXPORT int scn_read_asrc_num(scnapi_handle *h);
SCNAPI_EXPORT int scn_read_vsrc_num(scnapi_handle *h);

/* A source's number of steps and its step identifier. */
SCNAPI_EXPORT int scn_read_psrc_info(scnapi_handle *h, int index, int *nSteps, int *stepId);
SCNAPI_EXPORT int scn_read_asrc_info(scnapi_handle *h, int index, int *nSteps, int *stepId);
SCNAPI_EXPORT int scn_read_vsrc_info(scnapi_handle *h, int index, int *nSteps, int *stepId);

/* Its steps: the record index shown at each step and the step's value,
 * arrays of nSteps entries. */
SCNAPI_EXPORT int scn_read_psrc_steps(scnapi_handle *h, int index, int *partIndices,
                                      float *stepValues);
SCNAPI_EXPORT int scn_read_asrc_steps(scnapi_handle *h, int index, int *annotIndices,
                                      float *stepValues);
SCNAPI_EXPORT int scn_read_vsrc_steps(scnapi_handle *h, int index, int *vpIndices,
                                      float *stepValues);

#endif /* SCNAPI_SCN_SOURCE_H */
