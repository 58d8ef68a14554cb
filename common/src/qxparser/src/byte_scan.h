// The scans that every line of a large section goes through: where its name
// ends and where the run of separators behind it ends. A byte at a time,
// their loop exits were the largest cost of a line (names differ in length,
// so the branch that leaves the loop is mispredicted on most lines);
// sixteen at a time, a short name takes one step. (The fields of a database
// line, one to four characters long, were slower this way.)
#pragma once

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace qxparser_internal {

// What stands between a name and its value.
inline bool isSeparator(char c)
{
    return c == ' ' || c == '\t' || c == ':';
}

#if defined(__SSE2__)
inline unsigned separatorsIn(__m128i block)
{
    const __m128i hits = _mm_or_si128(
        _mm_or_si128(_mm_cmpeq_epi8(block, _mm_set1_epi8(' ')), _mm_cmpeq_epi8(block, _mm_set1_epi8('\t'))),
        _mm_cmpeq_epi8(block, _mm_set1_epi8(':')));
    return static_cast<unsigned>(_mm_movemask_epi8(hits));
}
#endif

// The first byte in [p, end) that is a separator (or, with `separator`
// false, is none), or end. Bytes up to `readable` (at least end) may be
// read, so that the scan looks at sixteen at a time wherever they all lie
// before it.
template <bool separator>
inline const char* findFirst(const char* p, const char* end, const char* readable)
{
#if defined(__SSE2__)
    while (readable - p >= 16) {
        unsigned found = separatorsIn(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
        if (!separator) found ^= 0xFFFFu;
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
    while (p < end && isSeparator(*p) != separator) ++p;
    return p;
}

}  // namespace qxparser_internal
