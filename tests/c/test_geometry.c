/*
 * test_geometry.c - a C producer and consumer of a triangulated surface with
 * a nodal vector variable and an element scalar, through the public header
 * alone. Prints "N passed, M failed" and exits non-zero when a check fails.
 */
#include <stdio.h>
#include <string.h>

#include "scnapi/scnapi.h"

static int passed, failed;

#define CHECK(cond)                                              \
    do {                                                         \
        if (cond) {                                              \
            ++passed;                                            \
        } else {                                                 \
            ++failed;                                            \
            printf("FAIL line %d: %s\n", __LINE__, #cond);       \
        }                                                        \
    } while (0)

static const char *kPath = "test_geometry.h5";

/* A unit square split into two triangles. */
static const float kCoords[12] = {0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0};
static const int kIds[4] = {11, 12, 13, 14};
static const int kConn[6] = {0, 1, 2, 0, 2, 3};
static const int kElemIds[2] = {101, 102};
static const float kNodeVecs[12] = {1, 0, 0, 0, 1, 0, 0, 0, 1, 1, 1, 1};
static const float kPressure[2] = {0.25f, 0.75f};

static void write_file(void) {
    scnapi_handle *h = scn_write_begin(kPath, 0);
    float lo[3] = {0, 0, 0}, hi[3] = {1, 1, 0};
    float pmin = 0.25f, pmax = 0.75f;
    CHECK(h && h->fileId >= 0);
    CHECK(scn_write_var(h, 0, "velocity", "", OXR_CENTER_NODE, OXR_VAR_VECTOR, 0, 0, NULL,
                        NULL) == 0);
    CHECK(scn_write_var(h, 1, "pressure", "", OXR_CENTER_ELEMENT, OXR_VAR_SCALAR, 1, 0, &pmin,
                        &pmax) == 0);
    CHECK(scn_write_geom(h, 0, 0, 0, 1, 0, lo, hi) == 0);
    CHECK(scn_write_nodes(h, 0, 4, 3, 1, 1, -1, kCoords, kIds) == 0);
    CHECK(scn_write_nodes_var(h, 0, 0, 0, 4, 0, 0.0f, kNodeVecs) == 0);
    CHECK(scn_write_elem_list(h, 0, 1, 1, -1, 1) == 0);
    CHECK(scn_write_elem_list_var_info(h, 0, 0, 1, 0, 0.0f) == 0);
    CHECK(scn_write_elem(h, 0, 0, OXR_ELEM_TRILIST, 2, 6, kConn, kElemIds) == 0);
    CHECK(scn_write_elem_var(h, 0, 0, 0, 1, 2, kPressure) == 0);
    CHECK(scnapi_close(&h) == 0 && h == NULL);
}

static void read_file(void) {
    const char *names[1] = {kPath};
    scnapi_handle *h = scn_read_begin(names);
    int nodes = -1, dim = -1, kind = -1, type = -1, count = -1, len = -1, var = -1;
    float coords[12], vecs[12], pressure[2], lo = 0, hi = 0;
    int ids[4], conn[6], elem_ids[2];
    CHECK(h != NULL);
    CHECK(scn_read_geom_num(h) == 1 && scn_read_nodes_num(h) == 1);
    CHECK(scn_read_var_num(h) == 2 && scn_read_elem_list_num(h) == 1);
    CHECK(scn_read_nodes_info(h, 0, &nodes, &dim, NULL, NULL, NULL) == 0);
    CHECK(nodes == 4 && dim == 3);
    CHECK(scn_read_nodes_coords(h, 0, coords) == 0 && !memcmp(coords, kCoords, sizeof coords));
    CHECK(scn_read_nodes_ids(h, 0, ids) == 0 && !memcmp(ids, kIds, sizeof ids));
    CHECK(scn_read_var_info(h, 0, NULL, NULL, NULL, &kind, NULL, NULL) == 0);
    CHECK(kind == OXR_VAR_VECTOR);
    CHECK(scn_read_nodes_var_values(h, 0, 0, vecs) == 0 && !memcmp(vecs, kNodeVecs, sizeof vecs));
    CHECK(scn_read_elem_info(h, 0, 0, &type, &count, &len) == 0);
    CHECK(type == OXR_ELEM_TRILIST && count == 2 && len == 6);
    CHECK(scn_read_elem_connectivity(h, 0, 0, conn) == 0 && !memcmp(conn, kConn, sizeof conn));
    CHECK(scn_read_elem_ids(h, 0, 0, elem_ids) == 0 && elem_ids[1] == 102);
    CHECK(scn_read_elem_list_var_info(h, 0, 0, &var, NULL, NULL) == 0 && var == 1);
    CHECK(scn_read_elem_var_values(h, 0, 0, 0, pressure) == 0);
    CHECK(!memcmp(pressure, kPressure, sizeof pressure));
    CHECK(scn_read_var_extents(h, 1, &lo, &hi) == 0 && lo == 0.25f && hi == 0.75f);
    CHECK(scnapi_close(&h) == 0);
}

int main(void) {
    write_file();
    read_file();
    remove(kPath);
    printf("%d passed, %d failed\n", passed, failed);
    return failed != 0;
}
