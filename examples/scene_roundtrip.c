/*
 * A C producer and consumer of a scene file.
 *
 * Writes a small scene file the way a visualisation application would, then
 * opens it again for reading and prints what it finds.
 *
 *     scene_roundtrip [file.h5]
 */
#include <stdio.h>
#include <string.h>

#include "scnapi/scnapi.h"

static int write_scene_file(const char *path) {
    scnapi_handle *h = scn_write_begin(path, 0);
    if (!h || h->fileId < 0) {
        fprintf(stderr, "cannot create %s\n", path);
        if (h) scnapi_close(&h);
        return 1;
    }
    int status = scn_write_framework_version(h, "example 1.0");
    return scnapi_close(&h) || status;
}

static int read_scene_file(const char *path) {
    const char *names[1] = {path};
    scnapi_handle *h = scn_read_begin(names);
    if (!h) {
        fprintf(stderr, "cannot open %s\n", path);
        return 1;
    }
    char framework[SCNAPI_NAME_LEN + 1] = {0};
    int status = scn_read_framework_version(h, framework);
    printf("file:       %s (directory %s)\n", h->fileName, h->directory);
    printf("library:    %s %s, file format %s\n", scnapi_name(), scnapi_version(),
           scnfile_version());
    printf("framework:  %s\n", framework);
    printf("scenes:     %d\n", scn_read_scene_num(h));
    return scnapi_close(&h) || status;
}

int main(int argc, char **argv) {
    const char *path = argc > 1 ? argv[1] : "example.h5";
    if (write_scene_file(path) != 0) return 1;
    return read_scene_file(path);
}
