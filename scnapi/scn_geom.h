/*
 * Geometry: geoms, node sets and node variables.
 * Part of the public interface: include scnapi/scnapi.h.
 */
#ifndef SCNAPI_SCN_GEOM_H
#define SCNAPI_SCN_GEOM_H

#ifndef SCNAPI_SCNAPI_H
#error "include scnapi/scnapi.h instead"
#endif


#endif /* SCNAPI_SCN_GEOM_H */
