/*
 * Variables, their extents and palettes.
 * Part of the public interface: include scnapi/scnapi.h.
 */
#ifndef SCNAPI_SCN_VAR_H
#define SCNAPI_SCN_VAR_H

#ifndef SCNAPI_SCNAPI_H
#error "include scnapi/scnapi.h instead"
#endif


#endif /* SCNAPI_SCN_VAR_H */
