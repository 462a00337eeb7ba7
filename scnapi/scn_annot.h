/*
 * Annotations, images, queries and notes.
 * Part of the public interface: include scnapi/scnapi.h.
 */
#ifndef SCNAPI_SCN_ANNOT_H
#define SCNAPI_SCN_ANNOT_H

#ifndef SCNAPI_SCNAPI_H
#error "include scnapi/scnapi.h instead"
#endif


#endif /* SCNAPI_SCN_ANNOT_H */
