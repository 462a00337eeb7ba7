// Times reading records of a scene file through the library's C entries,
// the way a C++ consumer does: for each record its info call (and for parts
// the rep indices and the tagged attributes), buffers on the stack.
//
//     read_records FILE REPEAT
//
// Prints {"family": seconds per record, ...} (best of REPEAT passes) as JSON.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <vector>

#include "scnapi/scnapi.h"

namespace {

double best_per_record(int repeat, int count, const std::function<int(int)> &read) {
    double best = 1e30;
    for (int r = 0; r < repeat; ++r) {
        auto start = std::chrono::steady_clock::now();
        int failed = 0;
        for (int i = 0; i < count; ++i) failed |= read(i);
        std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        if (failed) {
            std::fprintf(stderr, "read failed\n");
            std::exit(1);
        }
        if (took.count() < best) best = took.count();
    }
    return count ? best / count : 0.0;
}

// A part record as oxm materialises it: info and both reps.
int read_part(scnapi_handle *h, int i) {
    char name[257] = {0}, desc[257] = {0};
    int type = 0;
    int failed = scn_read_part_info(h, i, name, desc, &type);
    failed |= scn_read_part_static_rep(h, i) < -1;
    failed |= scn_read_part_dynamic_rep(h, i) < -1;
    return failed;
}

// The same with the part's tagged attributes, each read into a buffer of
// the size its classification gives.
int read_part_with_attrs(scnapi_handle *h, int i) {
    int failed = read_part(h, i);
    int n = scn_read_num_attributes(h, 1, i);
    if (n < 0) return 1;
    int tags[OXR_MAX_ATTRTAGS];
    if (n > 0) failed |= scn_read_attribute_ids(h, 1, i, tags);
    for (int k = 0; k < n; ++k) {
        int vtype = 0, count = 0;
        if (attr_classify(h, 1, tags[k], &vtype, &count) != 0) continue;
        std::vector<char> values(static_cast<size_t>(count) * 4 + 1);
        failed |= scn_read_attr(h, 1, i, k, values.data());
    }
    return failed;
}

int read_variable(scnapi_handle *h, int i) {
    char name[65] = {0}, desc[129] = {0};
    int centering = 0, kind = 0, ext = 0, pal = 0;
    return scn_read_var_info(h, i, name, desc, &centering, &kind, &ext, &pal);
}

int read_node_set(scnapi_handle *h, int i) {
    int n = 0, dim = 0, ids = 0, vars = 0, normals = 0;
    return scn_read_nodes_info(h, i, &n, &dim, &ids, &vars, &normals);
}

int read_scene(scnapi_handle *h, int i) {
    char name[257] = {0};
    int v[11] = {0};
    float fps = 0;
    return scn_read_scene_info(h, i, name, &v[0], &v[1], &v[2], &v[3], &v[4], &v[5], &v[6],
                               &v[7], &v[8], &v[9], &v[10], &fps);
}

}  // namespace

int main(int argc, char **argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: read_records FILE REPEAT\n");
        return 2;
    }
    const char *names[1] = {argv[1]};
    int repeat = std::atoi(argv[2]);
    scnapi_handle *h = scn_read_begin(names);
    if (!h) return 1;
    // One family after the other, in the order bench_records.py reads them.
    double part = best_per_record(repeat, scn_read_part_num(h),
                                  [h](int i) { return read_part(h, i); });
    double part_attrs = best_per_record(repeat, scn_read_part_num(h),
                                        [h](int i) { return read_part_with_attrs(h, i); });
    double variable = best_per_record(repeat, scn_read_var_num(h),
                                      [h](int i) { return read_variable(h, i); });
    double node_set = best_per_record(repeat, scn_read_nodes_num(h) - 1,  // the bulk one aside
                                      [h](int i) { return read_node_set(h, i); });
    double scene = best_per_record(repeat, scn_read_scene_num(h),
                                   [h](int i) { return read_scene(h, i); });
    std::printf("{\"part\": %.9g, \"part+attrs\": %.9g, \"variable\": %.9g, "
                "\"node_set\": %.9g, \"scene\": %.9g}\n",
                part, part_attrs, variable, node_set, scene);
    return scnapi_close_file(&h);
}
