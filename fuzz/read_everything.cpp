#include "read_everything.h"

#include <hdf5.h>

#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "scnapi/bulk_readers.h"
#include "scnapi/geometry.h"
#include "scnapi/handle.h"
#include "scnapi/images.h"

namespace {

using scnapi::ArrayOut;

// Records and slots visited per collection: a damaged count must not make
// one input run for ever.
constexpr int kMaxRecords = 8;
// Largest array a consumer here sizes from an info count, in elements.
// Allocating whatever a count says is the consumer's own choice; the
// module's path below takes every count and must allocate only for data
// that is stored.
constexpr long long kMaxArray = 1 << 22;

int records(int count) { return count < 0 ? 0 : count < kMaxRecords ? count : kMaxRecords; }

// A consumer's zero-filled array of exactly n elements (null when it would
// not allocate one): any write past it is caught.
template <class T>
std::unique_ptr<T[]> sized(long long n) {
    return n >= 0 && n <= kMaxArray ? std::unique_ptr<T[]>(new T[n]()) : nullptr;
}

long long product(long long a, long long b) { return a < 0 || b < 0 ? -1 : a * b; }

// Components of variable `var`, from its kind; -1 when it cannot be read
// (a consumer then has no size for the values, and does not read them).
int var_components(scnapi_handle *h, int var) {
    int kind = 0;
    if (scn_read_var_info(h, var, nullptr, nullptr, nullptr, &kind, nullptr, nullptr) != 0) return -1;
    return scnapi::component_count(kind);
}

// Most a reader may ask a module array to allocate. The readers allocate
// only for data that is stored; the inputs are a few tens of KB, and even
// deflated arrays do not decode beyond this. (The run's malloc limit is off
// because libhdf5 itself allocates whatever sizes a damaged header claims,
// see fuzz/hdf5.supp.)
constexpr size_t kMaxModuleBytes = size_t{1} << 28;

// An array the module lets a reader allocate: its size is the module's,
// the allocation is the reader's to ask for.
class ModuleArray {
public:
    ModuleArray(long long n, size_t size) : n_(n), size_(size) {}
    bool usable() const { return n_ >= 0 && n_ <= INT_MAX; }
    ArrayOut out() {
        return ArrayOut(n_, [this] {
            size_t bytes = static_cast<size_t>(n_) * size_;
            if (bytes > kMaxModuleBytes) {
                std::fprintf(stderr, "a reader allocated %zu bytes\n", bytes);
                std::abort();
            }
            data_.reset(new char[bytes]());
            return data_.get();
        });
    }

private:
    long long n_;
    size_t size_;
    std::unique_ptr<char[]> data_;
};

void read_scene_records(scnapi_handle *h) {
    for (int s = 0; s < records(scn_read_scene_num(h)); ++s) {
        char name[SCNAPI_NAME_LEN];
        int parts = 0, annots = 0, vports = 0, aplanes = 0, views = 0, frames = 0, i = 0;
        float fps = 0;
        if (scn_read_scene_info(h, s, name, &parts, &annots, &vports, &aplanes, &views, &frames,
                                &i, &i, &i, &i, &i, &fps) != 0)
            continue;
        for (int p = 0; p < records(parts); ++p) {
            char desc[SCNAPI_NAME_LEN];
            int n = 0;
            if (scn_read_scene_part_info(h, s, p, name, desc, &n) != 0) continue;
            auto a = sized<int>(n), b = sized<int>(n);
            if (a && b) scn_read_scene_part_frame(h, s, p, a.get(), b.get());
        }
        for (int p = 0; p < records(annots); ++p) {
            int n = 0;
            if (scn_read_scene_annot_info(h, s, p, &n) != 0) continue;
            auto a = sized<int>(n), b = sized<int>(n);
            if (a && b) scn_read_scene_annot_frame(h, s, p, a.get(), b.get());
        }
        for (int p = 0; p < records(vports); ++p) {
            int n = 0, k = 0;
            if (scn_read_scene_vport_info(h, s, p, &n, &k) != 0) continue;
            if (auto c = sized<int>(k)) scn_read_scene_vport_indices(h, s, p, c.get());
            auto a = sized<int>(n), b = sized<int>(n);
            if (a && b) scn_read_scene_vport_frame(h, s, p, a.get(), b.get());
        }
        for (int p = 0; p < records(aplanes); ++p) {
            int index = 0, n = 0;
            if (scn_read_scene_aplane_info(h, s, p, &index, &n) != 0) continue;
            if (auto a = sized<int>(n)) scn_read_scene_aplane_indices(h, s, p, a.get());
        }
        for (int v = 0; v < records(views); ++v) {
            if (scn_read_scene_view_info(h, s, v, name) != 0) continue;
            for (int p = 0; p < records(vports); ++p) {
                int n = 0;
                if (scn_read_scene_view_vport_info(h, s, v, p, &n) != 0) continue;
                auto a = sized<int>(n), b = sized<int>(n);
                if (a && b) scn_read_scene_view_vport(h, s, v, p, a.get(), b.get());
            }
        }
    }
}

void read_sources(scnapi_handle *h) {
    struct Family {
        int (*num)(scnapi_handle *);
        int (*info)(scnapi_handle *, int, int *, int *);
        int (*steps)(scnapi_handle *, int, int *, float *);
    };
    const Family families[] = {{scn_read_psrc_num, scn_read_psrc_info, scn_read_psrc_steps},
                               {scn_read_asrc_num, scn_read_asrc_info, scn_read_asrc_steps},
                               {scn_read_vsrc_num, scn_read_vsrc_info, scn_read_vsrc_steps}};
    for (const Family &f : families) {
        for (int i = 0; i < records(f.num(h)); ++i) {
            int n = 0, id = 0;
            if (f.info(h, i, &n, &id) != 0) continue;
            auto a = sized<int>(n);
            auto b = sized<float>(n);
            if (a && b) f.steps(h, i, a.get(), b.get());
        }
    }
}

void read_parts(scnapi_handle *h) {
    for (int i = 0; i < records(scn_read_part_num(h)); ++i) {
        char name[SCNAPI_NAME_LEN], desc[SCNAPI_NAME_LEN];
        int type = 0;
        scn_read_part_info(h, i, name, desc, &type);
        scn_read_part_static_rep(h, i);
        scn_read_part_dynamic_rep(h, i);
    }
    for (int i = 0; i < records(scn_read_rep_num(h)); ++i) {
        int n = 0, type = 0, attrs = 0;
        if (scn_read_rep_info(h, i, &n, &type, &attrs) != 0) continue;
        if (auto a = sized<int>(n)) scn_read_rep_geoms(h, i, a.get());
    }
}

void read_geometry(scnapi_handle *h) {
    for (int i = 0; i < records(scn_read_geom_num(h)); ++i) {
        int nodes = 0, elems = 0, provided = 0, empty = 0;
        float lo[3], hi[3];
        scn_read_geom_info(h, i, &nodes, &elems, &provided);
        scn_read_geom_extents(h, i, &empty, lo, hi);
    }
    for (int i = 0; i < records(scn_read_nodes_num(h)); ++i) {
        int n = 0, dim = 0, has_ids = 0, vars = 0, normals = 0;
        if (scn_read_nodes_info(h, i, &n, &dim, &has_ids, &vars, &normals) != 0) continue;
        if (auto a = sized<float>(product(n, dim))) scn_read_nodes_coords(h, i, a.get());
        if (auto a = sized<int>(n)) scn_read_nodes_ids(h, i, a.get());
        for (int s = 0; s < records(vars); ++s) {
            int var = 0, values = 0, use = 0;
            float undefined = 0;
            if (scn_read_nodes_var_info(h, i, s, &var, &values, &use, &undefined) != 0) continue;
            if (auto a = sized<float>(product(values, var_components(h, var))))
                scn_read_nodes_var_values(h, i, s, a.get());
        }
    }
    for (int l = 0; l < records(scn_read_elem_list_num(h)); ++l) {
        int recs = 0, vars = 0, normals = 0, has_ids = 0;
        if (scn_read_elem_list_info(h, l, &recs, &vars, &normals, &has_ids) != 0) continue;
        // A slot naming its variable gives the values' kind; without one a
        // consumer cannot tell it and sizes for the widest kind.
        int components[kMaxRecords];
        for (int s = 0; s < records(vars); ++s) {
            int var = 0;
            components[s] = scn_read_elem_list_var_info(h, l, s, &var, nullptr, nullptr) == 0
                                ? var_components(h, var)
                                : 6;
        }
        for (int r = 0; r < records(recs); ++r) {
            int type = 0, count = 0, length = 0;
            if (scn_read_elem_info(h, l, r, &type, &count, &length) != 0) continue;
            if (auto a = sized<int>(length)) scn_read_elem_connectivity(h, l, r, a.get());
            if (auto a = sized<int>(count)) scn_read_elem_ids(h, l, r, a.get());
            for (int s = 0; s < records(vars); ++s)
                if (auto a = sized<float>(product(count, components[s])))
                    scn_read_elem_var_values(h, l, r, s, a.get());
        }
    }
}

void read_variables(scnapi_handle *h) {
    for (int i = 0; i < records(scn_read_var_num(h)); ++i) {
        char name[OXR_VAR_NAME_SIZE], desc[OXR_VAR_DESC_SIZE], palette[32];
        int centering = 0, kind = 0, extents = 0, provided = 0;
        if (scn_read_var_info(h, i, name, desc, &centering, &kind, &extents, &provided) != 0)
            continue;
        float lo[3], hi[3];
        if (extents) scn_read_var_extents(h, i, lo, hi);
        int interp = 0, space = 0, samples = 0, n[4] = {};
        if (!provided || scn_read_var_palette_info(h, i, palette, &interp, &space, lo, hi, &samples,
                                                   &n[0], &n[1], &n[2], &n[3]) != 0)
            continue;
        std::unique_ptr<float[]> a[8];
        bool ok = true;
        for (int c = 0; c < 8; ++c) ok = (a[c] = sized<float>(n[c / 2])) && ok;
        if (ok)
            scn_read_var_palette_colors(h, i, a[0].get(), a[1].get(), a[2].get(), a[3].get(),
                                        a[4].get(), a[5].get(), a[6].get(), a[7].get());
    }
}

void read_views_and_annotations(scnapi_handle *h) {
    for (int i = 0; i < records(scn_read_vport_num(h)); ++i) {
        int n = 0;
        if (scn_read_vport_info(h, i, &n) == 0)
            if (auto a = sized<int>(n)) scn_read_vport_indices(h, i, a.get());
    }
    for (int i = 0; i < records(scn_read_aplane_num(h)); ++i) {
        int n = 0;
        if (scn_read_aplane_info(h, i, &n) == 0)
            if (auto a = sized<int>(n)) scn_read_aplane_indices(h, i, a.get());
    }
    for (int i = 0; i < records(scn_read_annot_num(h)); ++i) {
        int type = 0, n = 0, mono = 0, stereo = 0;
        if (scn_read_annot_info(h, i, &type, &n, &mono, &stereo) == 0)
            if (auto a = sized<int>(n)) scn_read_annot_indices(h, i, a.get());
    }
    for (int i = 0; i < records(scn_read_image_num(h)); ++i) {
        int width = 0, height = 0, format = 0, depth = 0;
        if (scn_read_image_info(h, i, &width, &height, &format, &depth) != 0) continue;
        long long area = product(width, height);
        if (auto a = sized<char>(product(area, scnapi::bytes_per_pixel(format))))
            scn_read_image_pixels(h, i, a.get());
        if (auto a = sized<float>(area)) scn_read_image_depth(h, i, a.get());
    }
    for (int i = 0; i < records(scn_read_query_num(h)); ++i) {
        char name[OXR_QUERY_MAX_STRING], x[OXR_QUERY_MAX_STRING], y[OXR_QUERY_MAX_STRING];
        int part = 0;
        scn_read_query_info(h, i, name, x, y, &part);
    }
    for (int i = 0; i < records(scn_read_note_num(h)); ++i) {
        int n = 0;
        if (scn_read_note_info(h, i, &n) == 0)
            if (auto a = sized<char>(n)) scn_read_note_text(h, i, a.get());
    }
}

// Every attribute of every record that owns attributes, each into a buffer
// of exactly the size its classification gives (none for rejected tags).
void read_attributes(scnapi_handle *h) {
    int (*const counts[])(scnapi_handle *) = {
        scn_read_part_num,  scn_read_rendAttr_num, scn_read_vport_num, scn_read_aplane_num,
        scn_read_annot_num, scn_read_image_num,    scn_read_geom_num,  scn_read_note_num};
    for (int kind = 1; kind <= 8; ++kind) {
        for (int i = 0; i < records(counts[kind - 1](h)); ++i) {
            int n = scn_read_num_attributes(h, kind, i);
            int tags[OXR_MAX_ATTRTAGS];
            if (n <= 0 || n > OXR_MAX_ATTRTAGS || scn_read_attribute_ids(h, kind, i, tags) != 0)
                continue;
            for (int a = 0; a < n; ++a) {
                int type = 0, count = 0;
                attr_classify(h, kind, tags[a], &type, &count);
                long long bytes = product(count, type == SCNAPI_ATTR_CHAR ? 1 : 4);
                if (auto buf = sized<char>(bytes)) scn_read_attr(h, kind, i, a, buf.get());
            }
        }
    }
}

// The module's bulk reads: its own array sizes (the counts of the info
// calls; for values, the kind of the variable whose index it was given),
// arrays allocated by the readers.
void read_as_module(scnapi_handle *h) {
    for (int i = 0; i < records(scn_read_psrc_num(h)); ++i) {
        int n = 0;
        if (scn_read_psrc_info(h, i, &n, nullptr) != 0 || n < 1) continue;
        ModuleArray a(n, sizeof(int)), b(n, sizeof(float));
        scnapi::read_psrc_steps(h, i, a.out(), b.out());
    }
    for (int i = 0; i < records(scn_read_rep_num(h)); ++i) {
        int n = 0;
        if (scn_read_rep_info(h, i, &n, nullptr, nullptr) != 0) continue;
        ModuleArray a(n, sizeof(int));
        if (a.usable()) scnapi::read_rep_geoms(h, i, a.out());
    }
    for (int i = 0; i < records(scn_read_vport_num(h)); ++i) {
        int n = 0;
        if (scn_read_vport_info(h, i, &n) != 0 || n < 1) continue;
        ModuleArray a(n, sizeof(int));
        scnapi::read_vport_indices(h, i, a.out());
    }
    for (int i = 0; i < records(scn_read_nodes_num(h)); ++i) {
        int n = 0, dim = 0, vars = 0;
        if (scn_read_nodes_info(h, i, &n, &dim, nullptr, &vars, nullptr) != 0) continue;
        ModuleArray coords(product(n, dim), sizeof(float));
        if (coords.usable()) scnapi::read_nodes_coords(h, i, coords.out());
        for (int s = 0; s < records(vars); ++s) {
            int components = var_components(h, s);
            ModuleArray values(product(n, components), sizeof(float));
            if (components > 0 && values.usable())
                scnapi::read_nodes_var_values(h, i, s, values.out());
        }
    }
    for (int l = 0; l < records(scn_read_elem_list_num(h)); ++l) {
        int recs = 0, vars = 0;
        if (scn_read_elem_list_info(h, l, &recs, &vars, nullptr, nullptr) != 0) continue;
        for (int r = 0; r < records(recs); ++r) {
            int count = 0, length = 0;
            if (scn_read_elem_info(h, l, r, nullptr, &count, &length) != 0) continue;
            ModuleArray conn(length, sizeof(int)), ids(count, sizeof(int));
            if (conn.usable()) scnapi::read_elem_connectivity(h, l, r, conn.out());
            if (ids.usable()) scnapi::read_elem_ids(h, l, r, ids.out());
            for (int s = 0; s < records(vars); ++s) {
                int components = var_components(h, s);
                ModuleArray values(product(count, components), sizeof(float));
                if (components > 0 && values.usable())
                    scnapi::read_elem_var_values(h, l, r, s, values.out());
            }
        }
    }
    for (int i = 0; i < records(scn_read_var_num(h)); ++i) {
        int n[4] = {};
        if (scn_read_var_palette_info(h, i, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                      &n[0], &n[1], &n[2], &n[3]) != 0)
            continue;
        ModuleArray a[8] = {{n[0], 4}, {n[0], 4}, {n[1], 4}, {n[1], 4},
                            {n[2], 4}, {n[2], 4}, {n[3], 4}, {n[3], 4}};
        bool usable = true;
        for (const ModuleArray &array : a) usable = usable && array.usable();
        if (!usable) continue;
        const ArrayOut outs[scnapi::kPaletteArrays] = {a[0].out(), a[1].out(), a[2].out(),
                                                       a[3].out(), a[4].out(), a[5].out(),
                                                       a[6].out(), a[7].out()};
        scnapi::read_var_palette_colors(h, i, outs);
    }
}

}  // namespace

scnapi_handle *open_image(const void *data, size_t size) {
    hid_t fapl = H5Pcreate(H5P_FILE_ACCESS);
    if (fapl < 0) return nullptr;
    hid_t file = -1;
    if (H5Pset_fapl_core(fapl, 1 << 16, 0) >= 0 &&
        H5Pset_file_image(fapl, const_cast<void *>(data), size) >= 0)
        file = H5Fopen("image.h5", H5F_ACC_RDONLY, fapl);
    H5Pclose(fapl);
    return file < 0 ? nullptr : scnapi::open_read_handle(file, "image.h5");
}

void read_everything(scnapi_handle *h) {
    char framework[SCNAPI_NAME_LEN];
    scn_read_framework_version(h, framework);
    read_scene_records(h);
    read_sources(h);
    read_parts(h);
    read_geometry(h);
    read_variables(h);
    read_views_and_annotations(h);
    read_attributes(h);
    read_as_module(h);
}
