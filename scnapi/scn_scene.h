/*
 * Scenes: animations over frames, with their part, annotation, viewport,
 * annotation-plane and view sub-records.
 * Part of the public interface: include scnapi/scnapi.h.
 */
#ifndef SCNAPI_SCN_SCENE_H
#define SCNAPI_SCN_SCENE_H

#ifndef SCNAPI_SCNAPI_H
#error "include scnapi/scnapi.h instead"
#endif

SCNAPI_EXPORT int scn_read_scene_num(scnapi_handle *h);

#endif /* SCNAPI_SCN_SCENE_H */
