// Reads one scene file with every reader, the way the fuzz target does
// (opened as an in-memory image; read_everything.h), and prints "== done"
// when nothing crashed. The tests replay damaged files with it.
#include <hdf5.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <vector>

#include "read_everything.h"

int main(int argc, char **argv) {
    if (argc < 2) return 2;
    std::ifstream in(argv[1], std::ios::binary);
    if (!in) return 2;
    std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    H5Eset_auto2(H5E_DEFAULT, nullptr, nullptr);
    scnapi_handle *h = open_image(bytes.data(), bytes.size());
    if (h) read_everything(h);
    std::printf("== %s\n", h ? "done" : "not a scene file");
    return h && scnapi_close_file(&h) != 0 ? 1 : 0;
}
