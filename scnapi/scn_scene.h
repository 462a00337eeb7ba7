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

/* Writers.  Call scn_write_scene first; a view after all of the scene's
 * viewports (it copies them), and its viewports after the view.  Arrays
 * hold the number of entries their count argument gives. */
SCNAPI_EXPORT int scn_write_scene(scnapi_handle *h, int sceneIndex, const char *name,
                                  int nFrames, int startFrame, int endFrame, int stride,
                                  int loopMode, int runMode, float fps);
SCNAPI_EXPORT int scn_write_scene_part(scnapi_handle *h, int sceneIndex, int partIndex,
                                       const char *partName, const char *partDesc, int nFrames,
                                       const int *sourceIndices, const int *stepNums);
SCNAPI_EXPORT int scn_write_scene_annot(scnapi_handle *h, int sceneIndex, int annotIndex,
                                        int nFrames, const int *sourceIndices,
                                        const int *stepNums);
SCNAPI_EXPORT int scn_write_scene_vport(scnapi_handle *h, int sceneIndex, int vportIndex,
                                        int nFrames, int nParts, const int *partIndices,
                                        const int *sourceIndices, const int *stepNums);
SCNAPI_EXPORT int scn_write_scene_aplane(scnapi_handle *h, int sceneIndex, int aplaneRecIndex,
                                         int aplaneIndex, int nAnnots, const int *annotIndices);

/* A negative viewIndex takes the next index, the scene's view count. */
SCNAPI_EXPORT int scn_write_scene_view(scnapi_handle *h, int sceneIndex, int viewIndex,
                                       const char *viewName);

/* The frames of viewport vportIndex in a view. */
SCNAPI_EXPORT int scn_write_scene_view_vport(scnapi_handle *h, int sceneIndex, int viewIndex,
                                             int vportIndex, int nFrames,
                                             const int *vsrcIndices, const int *stepNums);

/* Readers.  Name buffers hold 256 bytes; arrays hold the count that the
 * matching info entry reports (nFrames, nParts or nAnnots). */
SCNAPI_EXPORT int scn_read_scene_num(scnapi_handle *h);
SCNAPI_EXPORT int scn_read_scene_info(scnapi_handle *h, int sceneIndex, char *name, int *nParts,
                                      int *nAnnots, int *nVports, int *nAplanes, int *nViews,
                                      int *nFrames, int *startFrame, int *endFrame, int *stride,
                                      int *loopMode, int *runMode, float *fps);
SCNAPI_EXPORT int scn_read_scene_part_info(scnapi_handle *h, int sceneIndex, int partIndex,
                                           char *name, char *desc, int *nFrames);
SCNAPI_EXPORT int scn_read_scene_part_frame(scnapi_handle *h, int sceneIndex, int partIndex,
                                            int *sourceIndices, int *stepNums);
SCNAPI_EXPORT int scn_read_scene_annot_info(scnapi_handle *h, int sceneIndex, int annotIndex,
                                            int *nFrames);
SCNAPI_EXPORT int scn_read_scene_annot_frame(scnapi_handle *h, int sceneIndex, int annotIndex,
                                             int *sourceIndices, int *stepNums);
SCNAPI_EXPORT int scn_read_scene_vport_info(scnapi_handle *h, int sceneIndex, int vportIndex,
                                            int *nFrames, int *nParts);
SCNAPI_EXPORT int scn_read_scene_vport_indices(scnapi_handle *h, int sceneIndex, int vportIndex,
                                               int *partIndices);
SCNAPI_EXPORT int scn_read_scene_vport_frame(scnapi_handle *h, int sceneIndex, int vportIndex,
                                             int *sourceIndices, int *stepNums);
SCNAPI_EXPORT int scn_read_scene_aplane_info(scnapi_handle *h, int sceneIndex,
                                             int aplaneRecIndex, int *aplaneIndex, int *nAnnots);
SCNAPI_EXPORT int scn_read_scene_aplane_indices(scnapi_handle *h, int sceneIndex,
                                                int aplaneRecIndex, int *annotIndices);
SCNAPI_EXPORT int scn_read_scene_view_info(scnapi_handle *h, int sceneIndex, int viewIndex,
                                           char *viewName);
SCNAPI_EXPORT int scn_read_scene_view_vport_info(scnapi_handle *h, int sceneIndex,
                                                 int viewIndex, int vportIndex, int *nFrames);
SCNAPI_EXPORT int scn_read_scene_view_vport(scnapi_handle *h, int sceneIndex, int viewIndex,
                                            int vportIndex, int *vsrcIndices, int *stepNums);

#endif /* SCNAPI_SCN_SCENE_H */
