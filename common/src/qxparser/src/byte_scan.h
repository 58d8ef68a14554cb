// The scans that every line of a large section goes through: where its name
// ends and where the run of separators behind it ends, and the fields of a
// database line. A byte at a time, their loop exits were most of the cost of
// a line (a name's length is different on each line, so the branch that
// leaves the loop is mispredicted on most of them); sixteen at a time, a
// short field takes one step.
#pragma once

#include <cstddef>
#include <cstdint>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace qxparser_internal {

// The byte sets the scans look for.
enum class byte_set {
    separator,  // ' ', '\t' and ':', between a name and its value
    scanSpace,  // what scanf's "%s" and "%d" skip: ' ' and '\t' to '\r'
};

template <byte_set Set>
inline bool isIn(char c)
{
    if constexpr (Set == byte_set::separator) return c == ' ' || c == '\t' || c == ':';
    return c == ' ' || static_cast<unsigned char>(c - '\t') <= '\r' - '\t';
}

#if defined(__SSE2__)
template <byte_set Set>
inline unsigned membersOf(__m128i block)
{
    if constexpr (Set == byte_set::separator) {
        const __m128i hits = _mm_or_si128(
            _mm_or_si128(_mm_cmpeq_epi8(block, _mm_set1_epi8(' ')), _mm_cmpeq_epi8(block, _mm_set1_epi8('\t'))),
            _mm_cmpeq_epi8(block, _mm_set1_epi8(':')));
        return static_cast<unsigned>(_mm_movemask_epi8(hits));
    }
    // '\t' to '\r' are the bytes that, less '\t', are at most 4 unsigned.
    const __m128i shifted = _mm_sub_epi8(block, _mm_set1_epi8('\t'));
    const __m128i low = _mm_cmpeq_epi8(_mm_min_epu8(shifted, _mm_set1_epi8('\r' - '\t')), shifted);
    return static_cast<unsigned>(_mm_movemask_epi8(_mm_or_si128(low, _mm_cmpeq_epi8(block, _mm_set1_epi8(' ')))));
}
#endif

// The first byte in [p, end) that is in the set (`member`) or is not in it,
// or end. Bytes up to `readable` (at least end) may be read, so that a scan
// looks at sixteen at a time wherever they all lie before it.
template <byte_set Set, bool member>
inline const char* findFirst(const char* p, const char* end, const char* readable)
{
#if defined(__SSE2__)
    while (readable - p >= 16) {
        unsigned found = membersOf<Set>(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
        if (!member) found ^= 0xFFFFu;
        if (found) {
            const char* at = p + __builtin_ctz(found);
            return at < end ? at : end;
        }
        p += 16;
        if (p >= end) return end;
    }
#else
    (void)readable;
#endif
    while (p < end && isIn<Set>(*p) != member) ++p;
    return p;
}

}  // namespace qxparser_internal
