// Throughput of the byte-shuffle kernels on an array of four-byte elements
// (default: 30 million, the coordinates of 10 million nodes), for the
// choice of kernel the library dispatches to at run time.
//
//     build/bench/bench_byte_shuffle [elements] [repetitions]
//
// Prints the median time and throughput of each kernel this CPU runs, out of
// place and in place (the reader's path: blocked, with a workspace of half
// the array, here already paged in), and its speed-up over the plain loop.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <vector>

#include "scnapi/byte_shuffle.h"

using scnapi::ShuffleKernel;

namespace {

double median_seconds(int repetitions, const std::function<void()> &setup,
                      const std::function<void()> &run) {
    std::vector<double> times;
    for (int r = 0; r < repetitions; ++r) {
        setup();
        auto start = std::chrono::steady_clock::now();
        run();
        times.push_back(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

}  // namespace

int main(int argc, char **argv) {
    const std::size_t count = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 30000000;
    const int repetitions = argc > 2 ? std::atoi(argv[2]) : 7;
    const std::size_t bytes = count * 4;
    std::vector<unsigned char> plain(bytes), shuffled(bytes), work(bytes);
    std::vector<unsigned char> spare(scnapi::unshuffle_workspace_size(count, 4));
    for (std::size_t i = 0; i < bytes; ++i) plain[i] = static_cast<unsigned char>(i * 2654435761u >> 13);
    scnapi::byte_shuffle(plain.data(), count, 4, shuffled.data(), ShuffleKernel::kScalar);
    std::printf("%zu elements of 4 bytes (%.0f MB), median of %d\n", count, bytes / 1e6, repetitions);
    std::printf("%-8s%-22s%10s%10s%10s\n", "kernel", "step", "ms", "GB/s", "vs plain");
    const struct {
        ShuffleKernel kernel;
        const char *name;
    } kernels[] = {{ShuffleKernel::kScalar, "plain"}, {ShuffleKernel::kSse2, "sse2"},
                   {ShuffleKernel::kAvx2, "avx2"}};
    const char *steps[] = {"shuffle", "unshuffle", "unshuffle in place"};
    double plain_time[3] = {};
    for (const auto &k : kernels) {
        if (!scnapi::shuffle_kernel_available(k.kernel)) continue;
        const std::function<void()> runs[3] = {
            [&] { scnapi::byte_shuffle(plain.data(), count, 4, work.data(), k.kernel); },
            [&] { scnapi::byte_unshuffle(shuffled.data(), count, 4, work.data(), k.kernel); },
            [&] { scnapi::byte_unshuffle_in_place(work.data(), count, 4, spare.data(), k.kernel); }};
        for (int s = 0; s < 3; ++s) {
            auto setup = [&] { if (s == 2) work = shuffled; };
            double t = median_seconds(repetitions, setup, runs[s]);
            if (k.kernel == ShuffleKernel::kScalar) plain_time[s] = t;
            if (s == 2 && work != plain) std::printf("in-place result wrong\n");
            std::printf("%-8s%-22s%10.1f%10.2f%10.2f\n", k.name, steps[s], t * 1e3, bytes / t / 1e9,
                        plain_time[s] / t);
        }
    }
    return 0;
}
