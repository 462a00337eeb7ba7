// Byte shuffle: the transform of HDF5's shuffle filter, done in memory.
//
// An array of `count` elements of `size` bytes is shuffled into `size`
// planes of `count` bytes each, plane k holding byte k of every element in
// order; unshuffling puts the bytes back. Compressed datasets are stored
// shuffled, and the direct chunk path (deflate_chunk.h) shuffles before
// compressing and unshuffles after inflating.
//
// Four-byte elements (ints and floats) go through a vectorised kernel chosen
// at run time from what the CPU offers: AVX2 or SSE2 on x86-64, a plain loop
// elsewhere. Other sizes take the plain loop.
#pragma once

#include <cstddef>

namespace scnapi {

enum class ShuffleKernel { kScalar, kSse2, kAvx2 };

// The fastest kernel this CPU runs, and whether a given one runs here (for
// the tests and the benchmark, which compare them).
ShuffleKernel best_shuffle_kernel();
bool shuffle_kernel_available(ShuffleKernel kernel);

// Out of place: `in` and `out` hold count * size bytes and do not overlap.
void byte_shuffle(const void *in, std::size_t count, std::size_t size, void *out,
                  ShuffleKernel kernel = best_shuffle_kernel());
void byte_unshuffle(const void *in, std::size_t count, std::size_t size, void *out,
                    ShuffleKernel kernel = best_shuffle_kernel());

// Unshuffles `data` in place with a workspace of
// unshuffle_workspace_size(count, size) bytes, about half the array (the
// bytes that would be overwritten before they are read), which must not
// overlap `data`.
std::size_t unshuffle_workspace_size(std::size_t count, std::size_t size);
void byte_unshuffle_in_place(void *data, std::size_t count, std::size_t size, void *workspace,
                             ShuffleKernel kernel = best_shuffle_kernel());

}  // namespace scnapi
