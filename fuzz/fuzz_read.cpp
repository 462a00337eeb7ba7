// Fuzz target: the bytes of one scene file, opened in memory and read by
// every reader (read_everything.h). The sanitizers, the RSS limit and the
// bound on what a reader may allocate turn a write past a buffer, a crash or
// an absurd allocation into a finding.
#include <hdf5.h>

#include <cstdint>

#include "read_everything.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    H5Eset_auto2(H5E_DEFAULT, nullptr, nullptr);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    scnapi_handle *h = open_image(data, size);
    if (!h) return 0;
    read_everything(h);
    scnapi_close_file(&h);
    return 0;
}
