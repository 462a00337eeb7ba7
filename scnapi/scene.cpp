// Scenes: animations over frames, with their per-scene sub-records (parts,
// annotations, viewports, annotation planes) and named views. The scene
// family lives under /top/Scenes; the sub-records are nested collections
// whose counters live on the scene group.
#include <cstdio>
#include <initializer_list>
#include <string>
#include <utility>

#include "collection.h"
#include "counted_io.h"
#include "scnapi/scnapi.h"
#include "state.h"
#include "storage.h"

using namespace scnapi;

namespace {

std::string scene_path(int scene) { return format_path("/top/Scenes/scene_%d", scene); }

// A new scene starts with its five sub-record counters at 0.
int init_scene_counters(hid_t scene) {
    int status = 0;
    for (const char *counter : {"nParts", "nAnnots", "nVports", "nAplanes", "nViews"})
        if (write_att_int(scene, counter, 0) < 0) status = 1;
    return status;
}

Collection scenes() {
    Collection c = collection("scn_write_scene", "Scenes", "nScenes", "scene");
    c.msg.create_record = "scn_write_scene: error creating scene group";
    c.msg.close_record = "scn_write_scene: error closing scene group";
    c.on_create = init_scene_counters;
    return c;
}

// A sub-collection of scene `scene`. `group_word` is the word its creation
// message uses for the sub-collection group.
Collection scene_sub(const char *entry, int scene, const char *group, const char *counter,
                     const char *record, const char *group_word) {
    Collection c = nested_collection(entry, scene_path(scene), "scene", scene, group, counter,
                                     record);
    const std::string p = std::string(entry) + ": ";
    c.msg.create_group = p + "error creating scene_n/" + group_word + " group";
    c.msg.close_group = p + "error closing scene_n group";
    c.msg.close_record = p + "error closing scene " + record + " group";
    return c;
}

int failed(int helper_status) { return helper_status < 0 ? 1 : 0; }

// Writes attribute `count` and, when it is not 0 and was stored, the arrays
// it counts.
int write_count_and_arrays(const scnapi_handle *h, hid_t g, const char *count_name, int count,
                           std::initializer_list<std::pair<const char *, const int *>> arrays) {
    if (write_att_int(g, count_name, count) < 0) return 1;
    int status = 0;
    for (const auto &array : arrays)
        status |= failed(write_counted_int(h, g, array.first, count, array.second));
    return status;
}

// Number of links in the group at `path` below `loc`; 0 when it is absent.
hsize_t links_in(hid_t loc, const std::string &path) {
    H5Id g = open_group(loc, path);
    H5G_info_t info;
    if (!g || H5Gget_info(g.get(), &info) < 0) return 0;
    return info.nlinks;
}

// The scene's "nVports", which a view copies: one viewport subgroup each.
// A count that is negative or exceeds the viewport groups the scene holds
// comes from a damaged file and is refused rather than trusted.
bool scene_vport_count(hid_t file, int scene, int *n) {
    H5Id g = open_group(file, scene_path(scene));
    if (!g || read_att_int(g.get(), "nVports", n, 0) < 0 || *n < 0 ||
        static_cast<hsize_t>(*n) > links_in(g.get(), "vports")) {
        std::puts("scn_write_scene_view: error reading existing nVports in scene");
        return false;
    }
    return true;
}

// The scene's "nViews", the index a view written with a negative index
// takes. A missing scene reports the writer's "does not exist" message.
bool next_view_index(hid_t file, const Collection &views, int scene, int *index) {
    H5Id g = open_group(file, scene_path(scene));
    if (!g) {
        std::fputs(views.msg.missing_parent.c_str(), stdout);
        return false;
    }
    if (read_att_int(g.get(), "nViews", index, 0) < 0) {
        std::puts(views.msg.read_counter.c_str());
        return false;
    }
    return true;
}

// Sub-record readers: the record group at `where` below /top/Scenes
// ("scene_0/parts/part_2"), with the messages of `entry`; `what` names the
// group in the closing message ("scene part").
template <class ReadItems>
int read_scene_sub(scnapi_handle *h, const char *entry, const std::string &where,
                   const char *what, ReadItems &&read_items) {
    const std::string path = "/top/Scenes/" + where;
    const std::string close_message = closing_message(entry, what);
    return read_record(h, path, entry, close_message.c_str(), read_items);
}

int read_name(hid_t g, const char *name, char *out) {
    return out ? failed(read_att_str(g, name, out, SCNAPI_NAME_LEN, 0)) : 0;
}

int read_indices(hid_t g, const char *count_name, const char *name, int *out) {
    return failed(read_counted(g, {count_name}, name, Elem::Int, out));
}

// A sub-collection counter of the scene: 0 with a failure when unreadable.
int read_counter(hid_t g, const char *name, int *out) {
    if (!out) return 0;
    if (read_att_int(g, name, out, 0) < 0) {
        *out = 0;
        return 1;
    }
    return 0;
}

}  // namespace

extern "C" {

int scn_write_scene(scnapi_handle *h, int sceneIndex, const char *name, int nFrames,
                    int startFrame, int endFrame, int stride, int loopMode, int runMode,
                    float fps) {
    const NameText scene_name(name);
    return write_record(h, scenes(), sceneIndex, [&](hid_t g) {
        int status = failed(write_att_str(g, "sceneName", SCNAPI_NAME_LEN, scene_name.text));
        status |= failed(write_att_int(g, "nFrames", nFrames));
        status |= failed(write_att_int(g, "startFrame", startFrame));
        status |= failed(write_att_int(g, "endFrame", endFrame));
        status |= failed(write_att_int(g, "stride", stride));
        status |= failed(write_att_int(g, "loopMode", loopMode));
        status |= failed(write_att_int(g, "runMode", runMode));
        status |= failed(write_att_flt(g, "fps", fps));
        return status;
    });
}

int scn_write_scene_part(scnapi_handle *h, int sceneIndex, int partIndex, const char *partName,
                         const char *partDesc, int nFrames, const int *sourceIndices,
                         const int *stepNums) {
    const NameText name(partName), desc(partDesc);
    Collection c = scene_sub("scn_write_scene_part", sceneIndex, "parts", "nParts", "part", "part");
    c.msg.create_record = "scn_write_scene_part: error creating part group";
    return write_record(h, c, partIndex, [&](hid_t g) {
        int status = failed(write_att_str(g, "partName", SCNAPI_NAME_LEN, name.text));
        status |= failed(write_att_str(g, "partDesc", SCNAPI_NAME_LEN, desc.text));
        status |= failed(write_att_int(g, "nFrames", nFrames));
        status |= failed(write_counted_int(h, g, "sourceIndices", nFrames, sourceIndices));
        status |= failed(write_counted_int(h, g, "stepNums", nFrames, stepNums));
        return status;
    });
}

int scn_write_scene_annot(scnapi_handle *h, int sceneIndex, int annotIndex, int nFrames,
                          const int *sourceIndices, const int *stepNums) {
    const Collection c =
        scene_sub("scn_write_scene_annot", sceneIndex, "annots", "nAnnots", "annot", "annots");
    return write_record(h, c, annotIndex, [&](hid_t g) {
        int status = failed(write_att_int(g, "nFrames", nFrames));
        status |= failed(write_counted_int(h, g, "sourceIndices", nFrames, sourceIndices));
        status |= failed(write_counted_int(h, g, "stepNums", nFrames, stepNums));
        return status;
    });
}

int scn_write_scene_vport(scnapi_handle *h, int sceneIndex, int vportIndex, int nFrames,
                          int nParts, const int *partIndices, const int *sourceIndices,
                          const int *stepNums) {
    const Collection c =
        scene_sub("scn_write_scene_vport", sceneIndex, "vports", "nVports", "vport", "vports");
    return write_record(h, c, vportIndex, [&](hid_t g) {
        // Each array only when its count was stored, so that no array is
        // left without the count a reader sizes it from.
        const bool parts_counted = write_att_int(g, "nParts", nParts) == 0;
        const bool frames_counted = write_att_int(g, "nFrames", nFrames) == 0;
        int status = parts_counted && frames_counted ? 0 : 1;
        if (parts_counted)
            status |= failed(write_counted_int(h, g, "partIndices", nParts, partIndices));
        if (frames_counted) {
            status |= failed(write_counted_int(h, g, "sourceIndices", nFrames, sourceIndices));
            status |= failed(write_counted_int(h, g, "stepNums", nFrames, stepNums));
        }
        return status;
    });
}

int scn_write_scene_aplane(scnapi_handle *h, int sceneIndex, int aplaneRecIndex, int aplaneIndex,
                           int nAnnots, const int *annotIndices) {
    const Collection c = scene_sub("scn_write_scene_aplane", sceneIndex, "aplanes", "nAplanes",
                                   "aplane", "aplanes");
    return write_record(h, c, aplaneRecIndex, [&](hid_t g) {
        int status = failed(write_att_int(g, "aplaneIndex", aplaneIndex));
        return status | write_count_and_arrays(h, g, "nAnnots", nAnnots,
                                               {{"annotIndices", annotIndices}});
    });
}

// A view copies the scene's viewports: one empty "vport_%d" subgroup for
// each viewport counted when it is written. The subgroups are created, not
// opened, so rewriting a view reports each existing one.
int scn_write_scene_view(scnapi_handle *h, int sceneIndex, int viewIndex, const char *viewName) {
    const NameText name(viewName);
    Collection c =
        scene_sub("scn_write_scene_view", sceneIndex, "views", "nViews", "view", "views");
    c.msg.close_record = "scn_write_scene_view: error closing view_n group";
    const hid_t file = h ? h->fileId : -1;

    // An unreadable "nViews" with a negative index stops the call before
    // any view group is created.
    if (viewIndex < 0 && !next_view_index(file, c, sceneIndex, &viewIndex)) return 1;

    H5Id view = begin_record(h, c, viewIndex);
    if (!view) return 1;
    int nVports = 0;
    if (!scene_vport_count(file, sceneIndex, &nVports))
        return end_record(view, c.msg.close_record, 1);

    int status = failed(write_att_str(view.get(), "viewName", SCNAPI_NAME_LEN, name.text));
    for (int v = 0; v < nVports; ++v) {
        H5Id vport = create_group(view.get(), format_path("vport_%d", v));
        if (!vport) {
            std::puts("scn_write_scene_view: error creating vport_n group");
            status = 1;
        } else if (vport.close() < 0) {
            std::puts("scn_write_scene_view: error closing vport_n group");
            status = 1;
        }
    }
    return end_record(view, c.msg.close_record, status);
}

// View viewports are created by their view; this fills one in. No counter
// is involved.
int scn_write_scene_view_vport(scnapi_handle *h, int sceneIndex, int viewIndex, int vportIndex,
                               int nFrames, const int *vsrcIndices, const int *stepNums) {
    H5Id g = open_group(h ? h->fileId : -1,
                        format_path("/top/Scenes/scene_%d/views/view_%d/vport_%d", sceneIndex,
                                    viewIndex, vportIndex));
    if (!g) {
        std::printf("scn_write_scene_view_vport: error scene_%d/views/view_%d/vport_%d group "
                    "does not exist\n",
                    sceneIndex, viewIndex, vportIndex);
        return 1;
    }
    int status = write_count_and_arrays(h, g.get(), "nFrames", nFrames,
                                        {{"vsrcIndices", vsrcIndices}, {"stepNums", stepNums}});
    return end_record(g, "scn_write_scene_view_vport: error closing scene view vport group",
                      status);
}

int scn_read_scene_num(scnapi_handle *h) {
    return read_count(h, "/top/Scenes", "nScenes", "scn_read_scene_num: error closing Scenes group",
                      /*quiet=*/true);
}

int scn_read_scene_info(scnapi_handle *h, int sceneIndex, char *name, int *nParts, int *nAnnots,
                        int *nVports, int *nAplanes, int *nViews, int *nFrames, int *startFrame,
                        int *endFrame, int *stride, int *loopMode, int *runMode, float *fps) {
    return read_record(
        h, scene_path(sceneIndex), "scn_read_scene_info",
        "scn_read_scene_info: error closing scene group", [&](hid_t g) {
            int status = read_name(g, "sceneName", name);
            status |= read_counter(g, "nParts", nParts);
            status |= read_counter(g, "nAnnots", nAnnots);
            status |= read_counter(g, "nVports", nVports);
            status |= read_counter(g, "nAplanes", nAplanes);
            // Files before 1.04 had no views.
            if (nViews && file_version_before("1.04"))
                *nViews = 0;
            else
                status |= read_counter(g, "nViews", nViews);
            status |= read_counter(g, "nFrames", nFrames);
            status |= read_int_item(g, "startFrame", startFrame);
            status |= read_int_item(g, "endFrame", endFrame);
            status |= read_int_item(g, "stride", stride);
            status |= read_int_item(g, "loopMode", loopMode);
            // Older files may lack a run mode: it then reads as stopped.
            if (runMode && read_att_int(g, "runMode", runMode, 1) < 0) *runMode = 0;
            if (fps && read_att_flt(g, "fps", fps, 0) < 0) status = 1;
            return status;
        });
}

int scn_read_scene_part_info(scnapi_handle *h, int sceneIndex, int partIndex, char *name,
                             char *desc, int *nFrames) {
    return read_scene_sub(h, "scn_read_scene_part_info",
                          format_path("scene_%d/parts/part_%d", sceneIndex, partIndex),
                          "scene part", [&](hid_t g) {
                              int status = read_name(g, "partName", name);
                              status |= read_name(g, "partDesc", desc);
                              status |= read_int_item(g, "nFrames", nFrames);
                              return status;
                          });
}

int scn_read_scene_part_frame(scnapi_handle *h, int sceneIndex, int partIndex,
                              int *sourceIndices, int *stepNums) {
    return read_scene_sub(h, "scn_read_scene_part_frame",
                          format_path("scene_%d/parts/part_%d", sceneIndex, partIndex),
                          "scene part", [&](hid_t g) {
                              int status = read_indices(g, "nFrames", "sourceIndices", sourceIndices);
                              status |= read_indices(g, "nFrames", "stepNums", stepNums);
                              return status;
                          });
}

int scn_read_scene_annot_info(scnapi_handle *h, int sceneIndex, int annotIndex, int *nFrames) {
    return read_scene_sub(h, "scn_read_scene_annot_info",
                          format_path("scene_%d/annots/annot_%d", sceneIndex, annotIndex),
                          "scene annot", [&](hid_t g) { return read_int_item(g, "nFrames", nFrames); });
}

int scn_read_scene_annot_frame(scnapi_handle *h, int sceneIndex, int annotIndex,
                               int *sourceIndices, int *stepNums) {
    return read_scene_sub(h, "scn_read_scene_annot_frame",
                          format_path("scene_%d/annots/annot_%d", sceneIndex, annotIndex),
                          "scene annot", [&](hid_t g) {
                              int status = read_indices(g, "nFrames", "sourceIndices", sourceIndices);
                              status |= read_indices(g, "nFrames", "stepNums", stepNums);
                              return status;
                          });
}

int scn_read_scene_vport_info(scnapi_handle *h, int sceneIndex, int vportIndex, int *nFrames,
                              int *nParts) {
    return read_scene_sub(h, "scn_read_scene_vport_info",
                          format_path("scene_%d/vports/vport_%d", sceneIndex, vportIndex),
                          "scene vport", [&](hid_t g) {
                              int status = read_int_item(g, "nParts", nParts);
                              return status | read_int_item(g, "nFrames", nFrames);
                          });
}

// Shares the info entry's messages.
int scn_read_scene_vport_indices(scnapi_handle *h, int sceneIndex, int vportIndex,
                                 int *partIndices) {
    return read_scene_sub(h, "scn_read_scene_vport_info",
                          format_path("scene_%d/vports/vport_%d", sceneIndex, vportIndex),
                          "scene vport", [&](hid_t g) {
                              return read_indices(g, "nParts", "partIndices", partIndices);
                          });
}

int scn_read_scene_vport_frame(scnapi_handle *h, int sceneIndex, int vportIndex,
                               int *sourceIndices, int *stepNums) {
    return read_scene_sub(h, "scn_read_scene_vport_frame",
                          format_path("scene_%d/vports/vport_%d", sceneIndex, vportIndex),
                          "scene vport", [&](hid_t g) {
                              int status = read_indices(g, "nFrames", "sourceIndices", sourceIndices);
                              status |= read_indices(g, "nFrames", "stepNums", stepNums);
                              return status;
                          });
}

int scn_read_scene_aplane_info(scnapi_handle *h, int sceneIndex, int aplaneRecIndex,
                               int *aplaneIndex, int *nAnnots) {
    return read_scene_sub(h, "scn_read_scene_aplane_info",
                          format_path("scene_%d/aplanes/aplane_%d", sceneIndex, aplaneRecIndex),
                          "scene aplane", [&](hid_t g) {
                              int status = read_int_item(g, "aplaneIndex", aplaneIndex);
                              return status | read_int_item(g, "nAnnots", nAnnots);
                          });
}

// Shares the info entry's messages.
int scn_read_scene_aplane_indices(scnapi_handle *h, int sceneIndex, int aplaneRecIndex,
                                  int *annotIndices) {
    return read_scene_sub(h, "scn_read_scene_aplane_info",
                          format_path("scene_%d/aplanes/aplane_%d", sceneIndex, aplaneRecIndex),
                          "scene aplane", [&](hid_t g) {
                              return read_indices(g, "nAnnots", "annotIndices", annotIndices);
                          });
}

int scn_read_scene_view_info(scnapi_handle *h, int sceneIndex, int viewIndex, char *viewName) {
    return read_scene_sub(h, "scn_read_scene_view_info",
                          format_path("scene_%d/views/view_%d", sceneIndex, viewIndex), "view",
                          [&](hid_t g) { return read_name(g, "viewName", viewName); });
}

int scn_read_scene_view_vport_info(scnapi_handle *h, int sceneIndex, int viewIndex,
                                   int vportIndex, int *nFrames) {
    return read_scene_sub(
        h, "scn_read_scene_view_vport_info",
        format_path("scene_%d/views/view_%d/vport_%d", sceneIndex, viewIndex, vportIndex),
        "view vport", [&](hid_t g) { return read_int_item(g, "nFrames", nFrames); });
}

int scn_read_scene_view_vport(scnapi_handle *h, int sceneIndex, int viewIndex, int vportIndex,
                              int *vsrcIndices, int *stepNums) {
    return read_scene_sub(
        h, "scn_read_scene_view_vport",
        format_path("scene_%d/views/view_%d/vport_%d", sceneIndex, viewIndex, vportIndex),
        "view vport", [&](hid_t g) {
            int status = read_indices(g, "nFrames", "vsrcIndices", vsrcIndices);
            status |= read_indices(g, "nFrames", "stepNums", stepNums);
            return status;
        });
}

}  // extern "C"
