// test_byte_shuffle.cpp - every shuffle kernel this CPU runs, out of place
// and in place, against the definition of HDF5's shuffle (plane k holds byte
// k of every element), over element sizes and lengths around the kernels'
// vector widths and the in-place unshuffle's blocks. Prints "N passed,
// M failed" and exits non-zero when any check fails.
#include <cstdio>
#include <random>
#include <vector>

#include "scnapi/byte_shuffle.h"

using scnapi::ShuffleKernel;

namespace {

int g_passed = 0;
int g_failed = 0;

void check(bool ok, const char *what, int kernel, std::size_t size, std::size_t count) {
    if (ok) {
        ++g_passed;
        return;
    }
    ++g_failed;
    std::printf("FAIL %s: kernel %d, size %zu, count %zu\n", what, kernel, size, count);
}

using Bytes = std::vector<unsigned char>;

Bytes shuffled_by_definition(const Bytes &in, std::size_t count, std::size_t size) {
    Bytes out(in.size());
    for (std::size_t i = 0; i < count; ++i)
        for (std::size_t k = 0; k < size; ++k) out[k * count + i] = in[i * size + k];
    return out;
}

}  // namespace

int main() {
    std::mt19937 rng(11);
    const ShuffleKernel kernels[] = {ShuffleKernel::kScalar, ShuffleKernel::kSse2,
                                     ShuffleKernel::kAvx2};
    const std::size_t sizes[] = {1, 2, 3, 4, 8};
    const std::size_t counts[] = {0,    1,    2,    15,   16,   17,    31,    32,    33,   100,
                                  101,  8191, 8192, 8193, 32769, 65537, 100003, 250001};
    for (ShuffleKernel kernel : kernels) {
        if (!scnapi::shuffle_kernel_available(kernel)) continue;
        const int k = static_cast<int>(kernel);
        for (std::size_t size : sizes) {
            for (std::size_t count : counts) {
                Bytes plain(count * size);
                for (unsigned char &b : plain) b = static_cast<unsigned char>(rng());
                const Bytes expected = shuffled_by_definition(plain, count, size);
                Bytes out(plain.size());
                scnapi::byte_shuffle(plain.data(), count, size, out.data(), kernel);
                check(out == expected, "shuffle", k, size, count);
                Bytes back(plain.size());
                scnapi::byte_unshuffle(expected.data(), count, size, back.data(), kernel);
                check(back == plain, "unshuffle", k, size, count);
                Bytes in_place = expected;
                Bytes workspace(scnapi::unshuffle_workspace_size(count, size));
                scnapi::byte_unshuffle_in_place(in_place.data(), count, size, workspace.data(),
                                                kernel);
                check(in_place == plain, "unshuffle in place", k, size, count);
            }
        }
    }
    std::printf("%d passed, %d failed\n", g_passed, g_failed);
    return g_failed == 0 ? 0 : 1;
}
