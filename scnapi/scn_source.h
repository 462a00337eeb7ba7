/*
 * Sources: part, annotation and viewport sources and their steps.
 * Part of the public interface: include scnapi/scnapi.h.
 */
#ifndef SCNAPI_SCN_SOURCE_H
#define SCNAPI_SCN_SOURCE_H

#ifndef SCNAPI_SCNAPI_H
#error "include scnapi/scnapi.h instead"
#endif


#endif /* SCNAPI_SCN_SOURCE_H */
