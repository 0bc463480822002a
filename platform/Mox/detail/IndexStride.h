#pragma once

#include <cstdint>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace Mox {

/// Compares neighbouring entries of a table's index at once.
struct IndexStride {
    static constexpr std::uint32_t kWidth = 4;

    /// Which of the kWidth entries agree with `wanted` in the bits of `mask`: bit n for entry n.
    [[nodiscard]] static unsigned matches(std::uint32_t const *entries, std::uint32_t wanted,
                                          std::uint32_t mask) noexcept {
#if defined(__SSE2__)
        __m128i const read = _mm_loadu_si128(reinterpret_cast<__m128i const *>(entries));
        __m128i const differing =
            _mm_and_si128(_mm_xor_si128(read, _mm_set1_epi32(static_cast<int>(wanted))),
                          _mm_set1_epi32(static_cast<int>(mask)));
        __m128i const same = _mm_cmpeq_epi32(differing, _mm_setzero_si128());
        return static_cast<unsigned>(_mm_movemask_ps(_mm_castsi128_ps(same)));
#else
        unsigned same = 0;
        for (unsigned n = 0; n < kWidth; ++n) {
            same |= static_cast<unsigned>(((entries[n] ^ wanted) & mask) == 0) << n;
        }
        return same;
#endif
    }
};

} // namespace Mox
