#include "byte_shuffle.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#if defined(__x86_64__) || defined(__i386__)
#define SCNAPI_SHUFFLE_X86 1
#include <immintrin.h>
#endif

namespace scnapi {
namespace {

using Byte = std::uint8_t;

// Kernels for four-byte elements. Rows are the four planes (they need not
// be contiguous: the in-place unshuffle reads some of them from a copy).
using Unshuffle4 = void (*)(const Byte *const *rows, std::size_t count, Byte *out);
using Shuffle4 = void (*)(const Byte *in, std::size_t count, Byte *const *rows);

void unshuffle4_scalar(const Byte *const *rows, std::size_t count, Byte *out) {
    // Local copies: `out` is a byte pointer and may alias `rows` for all the
    // compiler knows, which would reload them on every element.
    const Byte *r0 = rows[0], *r1 = rows[1], *r2 = rows[2], *r3 = rows[3];
    for (std::size_t i = 0; i < count; ++i, out += 4) {
        out[0] = r0[i];
        out[1] = r1[i];
        out[2] = r2[i];
        out[3] = r3[i];
    }
}

void shuffle4_scalar(const Byte *in, std::size_t count, Byte *const *rows) {
    Byte *r0 = rows[0], *r1 = rows[1], *r2 = rows[2], *r3 = rows[3];
    for (std::size_t i = 0; i < count; ++i, in += 4) {
        r0[i] = in[0];
        r1[i] = in[1];
        r2[i] = in[2];
        r3[i] = in[3];
    }
}

#ifdef SCNAPI_SHUFFLE_X86
// One interleave round over four 16-byte registers seen as one 64-byte
// block: byte b of the block moves to position rotl6(b, 1). Two rounds take
// four planes of 16 bytes to 16 elements of 4 bytes (unshuffle); four rounds
// take them back (shuffle). AVX2 runs the same rounds in each 128-bit lane.
inline void interleave_round(__m128i &x0, __m128i &x1, __m128i &x2, __m128i &x3) {
    __m128i t0 = _mm_unpacklo_epi8(x0, x2), t1 = _mm_unpackhi_epi8(x0, x2);
    __m128i t2 = _mm_unpacklo_epi8(x1, x3), t3 = _mm_unpackhi_epi8(x1, x3);
    x0 = t0, x1 = t1, x2 = t2, x3 = t3;
}

__m128i load16(const Byte *p) { return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p)); }
void store16(Byte *p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i *>(p), v); }

void unshuffle4_sse2(const Byte *const *rows, std::size_t count, Byte *out) {
    std::size_t i = 0;
    for (; i + 16 <= count; i += 16) {
        __m128i x0 = load16(rows[0] + i), x1 = load16(rows[1] + i), x2 = load16(rows[2] + i),
                x3 = load16(rows[3] + i);
        interleave_round(x0, x1, x2, x3);
        interleave_round(x0, x1, x2, x3);
        Byte *o = out + 4 * i;
        store16(o, x0), store16(o + 16, x1), store16(o + 32, x2), store16(o + 48, x3);
    }
    const Byte *rest[4] = {rows[0] + i, rows[1] + i, rows[2] + i, rows[3] + i};
    unshuffle4_scalar(rest, count - i, out + 4 * i);
}

void shuffle4_sse2(const Byte *in, std::size_t count, Byte *const *rows) {
    std::size_t i = 0;
    for (; i + 16 <= count; i += 16) {
        const Byte *s = in + 4 * i;
        __m128i x0 = load16(s), x1 = load16(s + 16), x2 = load16(s + 32), x3 = load16(s + 48);
        for (int round = 0; round < 4; ++round) interleave_round(x0, x1, x2, x3);
        store16(rows[0] + i, x0), store16(rows[1] + i, x1);
        store16(rows[2] + i, x2), store16(rows[3] + i, x3);
    }
    Byte *rest[4] = {rows[0] + i, rows[1] + i, rows[2] + i, rows[3] + i};
    shuffle4_scalar(in + 4 * i, count - i, rest);
}

#define SCNAPI_AVX2 __attribute__((target("avx2")))

SCNAPI_AVX2 inline void interleave_round(__m256i &x0, __m256i &x1, __m256i &x2, __m256i &x3) {
    __m256i t0 = _mm256_unpacklo_epi8(x0, x2), t1 = _mm256_unpackhi_epi8(x0, x2);
    __m256i t2 = _mm256_unpacklo_epi8(x1, x3), t3 = _mm256_unpackhi_epi8(x1, x3);
    x0 = t0, x1 = t1, x2 = t2, x3 = t3;
}

SCNAPI_AVX2 __m256i load32(const Byte *p) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p));
}
SCNAPI_AVX2 void store32(Byte *p, __m256i v) {
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(p), v);
}

SCNAPI_AVX2 void unshuffle4_avx2(const Byte *const *rows, std::size_t count, Byte *out) {
    std::size_t i = 0;
    for (; i + 32 <= count; i += 32) {
        __m256i x0 = load32(rows[0] + i), x1 = load32(rows[1] + i), x2 = load32(rows[2] + i),
                x3 = load32(rows[3] + i);
        interleave_round(x0, x1, x2, x3);
        interleave_round(x0, x1, x2, x3);
        // Low lanes hold elements i..i+15, high lanes i+16..i+31.
        Byte *o = out + 4 * i;
        store32(o, _mm256_permute2x128_si256(x0, x1, 0x20));
        store32(o + 32, _mm256_permute2x128_si256(x2, x3, 0x20));
        store32(o + 64, _mm256_permute2x128_si256(x0, x1, 0x31));
        store32(o + 96, _mm256_permute2x128_si256(x2, x3, 0x31));
    }
    const Byte *rest[4] = {rows[0] + i, rows[1] + i, rows[2] + i, rows[3] + i};
    unshuffle4_sse2(rest, count - i, out + 4 * i);
}

SCNAPI_AVX2 void shuffle4_avx2(const Byte *in, std::size_t count, Byte *const *rows) {
    std::size_t i = 0;
    for (; i + 32 <= count; i += 32) {
        const Byte *s = in + 4 * i;
        __m256i a = load32(s), b = load32(s + 32), c = load32(s + 64), d = load32(s + 96);
        // Low lanes: the first 16 elements, high lanes: the next 16.
        __m256i x0 = _mm256_permute2x128_si256(a, c, 0x20), x1 = _mm256_permute2x128_si256(a, c, 0x31);
        __m256i x2 = _mm256_permute2x128_si256(b, d, 0x20), x3 = _mm256_permute2x128_si256(b, d, 0x31);
        for (int round = 0; round < 4; ++round) interleave_round(x0, x1, x2, x3);
        store32(rows[0] + i, x0), store32(rows[1] + i, x1);
        store32(rows[2] + i, x2), store32(rows[3] + i, x3);
    }
    Byte *rest[4] = {rows[0] + i, rows[1] + i, rows[2] + i, rows[3] + i};
    shuffle4_sse2(in + 4 * i, count - i, rest);
}
#endif

struct Kernels4 {
    Unshuffle4 unshuffle;
    Shuffle4 shuffle;
};

Kernels4 kernels4(ShuffleKernel kernel) {
#ifdef SCNAPI_SHUFFLE_X86
    if (kernel == ShuffleKernel::kAvx2 && shuffle_kernel_available(kernel))
        return {unshuffle4_avx2, shuffle4_avx2};
    if (kernel != ShuffleKernel::kScalar) return {unshuffle4_sse2, shuffle4_sse2};
#else
    (void)kernel;
#endif
    return {unshuffle4_scalar, shuffle4_scalar};
}

// Any element size: one plane at a time (only the rare sizes other than 4
// come here; size 1 is the identity).
void unshuffle_rows(const Byte *const *rows, std::size_t count, std::size_t size, Byte *out,
                    ShuffleKernel kernel) {
    if (size == 4) return kernels4(kernel).unshuffle(rows, count, out);
    for (std::size_t k = 0; k < size; ++k)
        for (std::size_t i = 0; i < count; ++i) out[i * size + k] = rows[k][i];
}

// Pointers to the `size` planes of a shuffled array of `count` elements.
template <typename P>
std::vector<P *> planes(P *base, std::size_t count, std::size_t size) {
    std::vector<P *> rows(size);
    for (std::size_t k = 0; k < size; ++k) rows[k] = base + k * count;
    return rows;
}

}  // namespace

ShuffleKernel best_shuffle_kernel() {
#ifdef SCNAPI_SHUFFLE_X86
    if (shuffle_kernel_available(ShuffleKernel::kAvx2)) return ShuffleKernel::kAvx2;
    return ShuffleKernel::kSse2;
#else
    return ShuffleKernel::kScalar;
#endif
}

bool shuffle_kernel_available(ShuffleKernel kernel) {
    switch (kernel) {
        case ShuffleKernel::kScalar:
            return true;
#ifdef SCNAPI_SHUFFLE_X86
        case ShuffleKernel::kSse2:
            return true;  // part of x86-64
        case ShuffleKernel::kAvx2:
            __builtin_cpu_init();
            return __builtin_cpu_supports("avx2");
#endif
        default:
            return false;
    }
}

void byte_shuffle(const void *in, std::size_t count, std::size_t size, void *out,
                  ShuffleKernel kernel) {
    const Byte *src = static_cast<const Byte *>(in);
    Byte *dst = static_cast<Byte *>(out);
    std::vector<Byte *> rows = planes(dst, count, size);
    if (size == 4) return kernels4(kernel).shuffle(src, count, rows.data());
    for (std::size_t k = 0; k < size; ++k)
        for (std::size_t i = 0; i < count; ++i) rows[k][i] = src[i * size + k];
}

void byte_unshuffle(const void *in, std::size_t count, std::size_t size, void *out,
                    ShuffleKernel kernel) {
    std::vector<const Byte *> rows = planes(static_cast<const Byte *>(in), count, size);
    unshuffle_rows(rows.data(), count, size, static_cast<Byte *>(out), kernel);
}

// Blocks of kBlock elements are unshuffled in ascending order, so that when
// block [a, a+B) is written the output covers [0, size*(a+B)). Plane p,
// which starts at p*count, can still be read where it lies for that block
// while size*(a+B) <= p*count + a; from the first block where that fails,
// the rest of the plane is copied out beforehand. Those copies come to about
// half the array (all of plane 0, 2/3 of plane 1 and 1/3 of plane 2 for four
// bytes), which bounds the workspace; the blocks keep the kernel's reads and
// writes in cache.
namespace {

constexpr std::size_t kBlock = 8192;

// First element of each plane that is read from the workspace.
std::vector<std::size_t> first_copied(std::size_t count, std::size_t size) {
    std::vector<std::size_t> from(size, count);
    if (size < 2 || count < 2) return from;
    for (std::size_t p = 0; p < size; ++p) {
        const std::size_t start = p * count, lead = size * kBlock;
        std::size_t first = start < lead ? 0 : ((start - lead) / ((size - 1) * kBlock) + 1) * kBlock;
        from[p] = std::min(first, count);
    }
    return from;
}

}  // namespace

std::size_t unshuffle_workspace_size(std::size_t count, std::size_t size) {
    std::size_t total = 0;
    for (std::size_t first : first_copied(count, size)) total += count - first;
    return total;
}

void byte_unshuffle_in_place(void *data, std::size_t count, std::size_t size, void *workspace,
                             ShuffleKernel kernel) {
    if (size < 2 || count < 2) return;
    const std::vector<std::size_t> from = first_copied(count, size);
    Byte *bytes = static_cast<Byte *>(data);
    std::vector<const Byte *> copy(size);
    Byte *at = static_cast<Byte *>(workspace);
    for (std::size_t p = 0; p < size; at += count - from[p], ++p) {
        std::memcpy(at, bytes + p * count + from[p], count - from[p]);
        copy[p] = at;
    }
    std::vector<const Byte *> rows(size);
    for (std::size_t a = 0; a < count; a += kBlock) {
        for (std::size_t p = 0; p < size; ++p)
            rows[p] = a >= from[p] ? copy[p] + (a - from[p]) : bytes + p * count + a;
        unshuffle_rows(rows.data(), std::min(kBlock, count - a), size, bytes + size * a, kernel);
    }
}

}  // namespace scnapi
