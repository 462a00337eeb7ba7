/*
 * A C producer and consumer of a scene file.
 *
 * The producer writes what a visualisation application records at the end
 * of a session: a mesh of two quadrilaterals with a temperature field and
 * its palette, the model part that shows it with its colours, a viewport
 * looking at it and a scene of three frames. The consumer opens the file
 * again and prints what it finds.
 *
 *     scene_roundtrip [file.h5]
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "scnapi/scnapi.h"

enum { PART_KIND = 1, RENDATTR_KIND = 2, VPORT_KIND = 3 };

/* Two unit quads side by side: 6 nodes in 3-D. */
static const float coords[6 * 3] = {0, 0, 0, 1, 0, 0, 2, 0, 0, 0, 1, 0, 1, 1, 0, 2, 1, 0};
static const int node_ids[6] = {101, 102, 103, 104, 105, 106};
static const int quads[2 * 4] = {0, 1, 4, 3, 1, 2, 5, 4};
static const int quad_ids[2] = {1, 2};
static const float temperature[6] = {280.f, 290.f, 300.f, 285.f, 295.f, 305.f};

static int write_geometry(scnapi_handle *h) {
    const float lo[3] = {0, 0, 0}, hi[3] = {2, 1, 0};
    const float tmin[1] = {280.f}, tmax[1] = {305.f};
    const float cntl[2] = {0.f, 1.f}, blue[2] = {0.f, 1.f}, red[2] = {1.f, 0.f};
    int failed = 0;
    failed |= scn_write_var(h, 0, "temperature", "nodal temperature [K]", OXR_CENTER_NODE,
                            OXR_VAR_SCALAR, 1, 1, tmin, tmax);
    failed |= scn_write_var_palette(h, 0, "cool-warm", OXR_PALETTE_LINEAR, OXR_PALETTE_RGB,
                                    280.f, 305.f, 64, 2, 0, 2, 0, cntl, red, NULL, NULL, cntl,
                                    blue, NULL, NULL);
    failed |= scn_write_nodes(h, 0, 6, 3, 1, 1, -1, coords, node_ids);
    failed |= scn_write_nodes_var(h, 0, 0, 0, 6, 0, 0.f, temperature);
    failed |= scn_write_elem_list(h, 0, 1, 0, -1, 1);
    failed |= scn_write_elem(h, 0, 0, OXR_ELEM_QUADLIST, 2, 8, quads, quad_ids);
    failed |= scn_write_geom(h, 0, 0, 0, 1, 0, lo, hi);
    return failed;
}

static int write_display(scnapi_handle *h) {
    const int geoms[1] = {0}, parts[1] = {0};
    const int visible = 1;
    const float surface[4] = {0.8f, 0.8f, 0.9f, 1.f}, width = 2.f;
    const float eye[3] = {1.f, 0.5f, 5.f};
    int failed = 0;
    failed |= scn_write_rendAttr(h, 0);
    failed |= scn_write_num_attributes(h, RENDATTR_KIND, 0, 3);
    failed |= scn_write_attr(h, RENDATTR_KIND, 0, OXR_RENDATTR_ISVISIBLE, &visible);
    failed |= scn_write_attr(h, RENDATTR_KIND, 0, OXR_RENDATTR_RGBA2D, surface);
    failed |= scn_write_attr(h, RENDATTR_KIND, 0, OXR_RENDATTR_LINEWIDTH, &width);
    failed |= scn_write_rep(h, 0, 1, OXR_REP_FULL, geoms, 0);
    failed |= scn_write_part(h, 0, "plate", "the model", OXR_PART_MODEL, 0, 0);
    failed |= scn_write_vport(h, 0, 1, parts);
    failed |= scn_write_num_attributes(h, VPORT_KIND, 0, 1);
    failed |= scn_write_attr(h, VPORT_KIND, 0, OXR_VPORT_LOOKFROM, eye);
    return failed;
}

static int write_animation(scnapi_handle *h) {
    const int part_of_step[1] = {0}, vport_of_step[1] = {0}, frames_src[3] = {0, 0, 0};
    const int frames_step[3] = {0, 0, 0}, shown_parts[1] = {0};
    const float time[1] = {0.f};
    int failed = 0;
    failed |= scn_write_psrc(h, 0, 1, 0, part_of_step, time);
    failed |= scn_write_vsrc(h, 0, 1, 0, vport_of_step, time);
    failed |= scn_write_scene(h, 0, "overview", 3, 0, 2, 1, OXR_ANIM_LOOP, OXR_ANIM_PLAY, 24.f);
    failed |= scn_write_scene_part(h, 0, 0, "plate", "the model", 3, frames_src, frames_step);
    failed |= scn_write_scene_vport(h, 0, 0, 3, 1, shown_parts, frames_src, frames_step);
    return failed;
}

static int write_scene_file(const char *path) {
    scnapi_handle *h = scn_write_begin(path, 0);
    if (!h || h->fileId < 0) {
        fprintf(stderr, "cannot create %s\n", path);
        if (h) scnapi_close(&h);
        return 1;
    }
    int failed = scn_write_framework_version(h, "example 1.0");
    failed |= write_geometry(h);
    failed |= write_display(h);
    failed |= write_animation(h);
    return scnapi_close(&h) || failed;
}

static int print_mesh(scnapi_handle *h) {
    int nodes = 0, dim = 0, has_ids = 0, nvars = 0, normals = 0;
    int failed = scn_read_nodes_info(h, 0, &nodes, &dim, &has_ids, &nvars, &normals);
    if (failed || nodes <= 0 || dim <= 0) return 1;
    /* Cast: C++ consumers compile this file too. */
    float *xyz = (float *)malloc(sizeof(float) * (size_t)nodes * (size_t)dim);
    float *values = (float *)malloc(sizeof(float) * (size_t)nodes);
    if (!xyz || !values) {
        free(xyz);
        free(values);
        return 1;
    }
    failed |= scn_read_nodes_coords(h, 0, xyz);
    failed |= scn_read_nodes_var_values(h, 0, 0, values);
    printf("nodes:      %d in %d-D, %d variable(s)\n", nodes, dim, nvars);
    for (int i = 0; i < nodes && !failed; ++i)
        printf("  node %d: (%g, %g, %g) T = %g\n", i, xyz[i * dim], xyz[i * dim + 1],
               xyz[i * dim + 2], values[i]);
    free(xyz);
    free(values);
    return failed;
}

static int read_scene_file(const char *path) {
    const char *names[1] = {path};
    scnapi_handle *h = scn_read_begin(names);
    if (!h) {
        fprintf(stderr, "cannot open %s\n", path);
        return 1;
    }
    char framework[SCNAPI_NAME_LEN + 1] = {0}, part[SCNAPI_NAME_LEN + 1] = {0};
    char desc[SCNAPI_NAME_LEN + 1] = {0}, scene[SCNAPI_NAME_LEN + 1] = {0};
    int type = 0, frames = 0, loop = 0, run = 0, nattrs = 0;
    float fps = 0.f, rgba[4] = {0};
    int failed = scn_read_framework_version(h, framework);
    failed |= scn_read_part_info(h, 0, part, desc, &type);
    failed |= scn_read_scene_info(h, 0, scene, NULL, NULL, NULL, NULL, NULL, &frames, NULL, NULL,
                                  NULL, &loop, &run, &fps);
    nattrs = scn_read_num_attributes(h, RENDATTR_KIND, 0);
    failed |= scn_read_attr(h, RENDATTR_KIND, 0, 1, rgba);
    printf("file:       %s\n", h->fileName);
    printf("library:    %s %s, file format %s\n", scnapi_name(), scnapi_version(),
           scnfile_version());
    printf("framework:  %s\n", framework);
    printf("counts:     %d scene(s), %d part(s), %d geom(s), %d variable(s), %d viewport(s)\n",
           scn_read_scene_num(h), scn_read_part_num(h), scn_read_geom_num(h),
           scn_read_var_num(h), scn_read_vport_num(h));
    printf("scene 0:    \"%s\", %d frames at %g fps\n", scene, frames, fps);
    printf("part 0:     \"%s\" (%s), %d display attributes, surface rgba %g %g %g %g\n", part,
           desc, nattrs, rgba[0], rgba[1], rgba[2], rgba[3]);
    failed |= print_mesh(h);
    return scnapi_close(&h) || failed;
}

int main(int argc, char **argv) {
    const char *path = argc > 1 ? argv[1] : "example.h5";
    if (write_scene_file(path) != 0) return 1;
    return read_scene_file(path);
}
