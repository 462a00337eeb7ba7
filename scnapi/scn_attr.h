/*
 * Tagged attributes of part, render-attribute, viewport, annotation-plane,
 * annotation, image, geom and note records.
 * Part of the public interface: include scnapi/scnapi.h.
 */
#ifndef SCNAPI_SCN_ATTR_H
#define SCNAPI_SCN_ATTR_H

#ifndef SCNAPI_SCNAPI_H
#error "include scnapi/scnapi.h instead"
#endif


#endif /* SCNAPI_SCN_ATTR_H */
