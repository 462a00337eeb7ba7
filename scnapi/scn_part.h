/*
 * Parts, reps and render-attribute records.
 * Part of the public interface: include scnapi/scnapi.h.
 */
#ifndef SCNAPI_SCN_PART_H
#define SCNAPI_SCN_PART_H

#ifndef SCNAPI_SCNAPI_H
#error "include scnapi/scnapi.h instead"
#endif


#endif /* SCNAPI_SCN_PART_H */
