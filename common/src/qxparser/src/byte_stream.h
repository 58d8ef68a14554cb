// The input behind qx_filesource: the whole text of a file or a response
// body, held in one buffer. Lines are handed out as views into it, so that a
// reader can keep them without copying (a file is at most kMaxFileBytes).
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif
// The AVX2 path is for 64-bit x86 builds; the 32-bit one is built for
// processors without SSE2 and takes the plain one.
#if defined(__x86_64__) && defined(__GNUC__)
#define QX_FEEDS_AVX2 1
#include <immintrin.h>
#else
#define QX_FEEDS_AVX2 0
#endif

namespace qxparser_internal {

class byte_stream {
public:
    byte_stream(const char* data, size_t size) : begin(data), pos(data), end(data + size)
    {
        size_t nul = size;
#if QX_FEEDS_AVX2
        // Twice the bytes per step where the processor has them: the scan
        // is a fifth of a large file's read.
        if (__builtin_cpu_supports("avx2"))
            findFeedsAvx2(data, size, nul);
        else
#endif
            findFeeds(data, size, nul);
        firstNul = nul < size ? data + nul : nullptr;
    }

    // The first NUL byte of the text, or null.
    const char* nulByte() const { return firstNul; }

    // The next physical line, without its line feed, as a view into the
    // text. The result counts the bytes taken, the line feed included; 0 at
    // the end. A line longer than `max` stops there with `tooLong` set, as a
    // reader that copied it would have had to.
    size_t readLine(std::string_view& out, size_t max, bool& tooLong)
    {
        out = std::string_view();
        tooLong = false;
        if (pos == end) return 0;
        const char* nl = nextFeed();
        const char* stop = nl ? nl : end;
        if (static_cast<size_t>(stop - pos) > max) {
            tooLong = true;
            return 0;
        }
        out = std::string_view(pos, static_cast<size_t>(stop - pos));
        pos = nl ? nl + 1 : end;
        return out.size() + (nl ? 1 : 0);
    }

    // How many lines stand ahead before the first whose text, behind blanks
    // and tabs, passes `stop`; `stop` sees at least the first four bytes of
    // that text, less only where the line is shorter.
    template <typename Stop>
    size_t linesBefore(Stop stop)
    {
        size_t count = 0;
        const char* at = pos;
        size_t k = feedIndex();
        while (at < end) {
            const char* lineEnd = k < ends.size() ? begin + ends[k] : end;
            const char* text = at;
            while (text < lineEnd && (*text == ' ' || *text == '\t')) ++text;
            if (text == end) break;
            if (stop(std::string_view(text, static_cast<size_t>(lineEnd - text)))) break;
            ++count;
            if (k == ends.size()) break;
            at = lineEnd + 1;
            ++k;
        }
        return count;
    }

    // The text not read yet: what the encoding checks look at before any
    // line is taken.
    std::string_view head() const { return std::string_view(pos, static_cast<size_t>(end - pos)); }
    void skip(size_t n) { pos += n; }

    // Up to `max` bytes of the current line into `buffer`, stopping behind a
    // line feed (which is counted but not stored). `ended` tells whether a
    // line feed was taken.
    size_t readPart(char* buffer, size_t max, bool& ended)
    {
        ended = false;
        size_t stored = 0, taken = 0;
        while (stored < max && pos != end) {
            char c = *pos++;
            ++taken;
            if (c == '\n') {
                ended = true;
                break;
            }
            buffer[stored++] = c;
        }
        return taken;
    }

private:
    // Every line feed into `ends`, and where the first NUL byte stands (or
    // `size`). The feeds are counted first, so that the table is allocated
    // once at its size: a guess from the size was a third too large for a
    // file of options.
    void findFeeds(const char* data, size_t size, size_t& nul)
    {
        size_t at = 0;
#if defined(__SSE2__)
        const __m128i feed = _mm_set1_epi8('\n');
        const __m128i zero = _mm_setzero_si128();
        // Each byte of `counts` counts the feeds of its column over at most
        // 255 blocks; their sums then go into the total.
        size_t feeds = 0;
        __m128i nuls = zero;
        while (at + 16 <= size) {
            __m128i counts = zero;
            for (int k = 0; k < 255 && at + 16 <= size; ++k, at += 16) {
                const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(data + at));
                counts = _mm_sub_epi8(counts, _mm_cmpeq_epi8(block, feed));
                nuls = _mm_or_si128(nuls, _mm_cmpeq_epi8(block, zero));
            }
            const __m128i sums = _mm_sad_epu8(counts, zero);
            feeds += static_cast<size_t>(_mm_cvtsi128_si32(sums)) + static_cast<size_t>(_mm_extract_epi16(sums, 4));
        }
        const bool anyNul = _mm_movemask_epi8(nuls) != 0;
        ends.resize(feeds + countTail(data, at, size, anyNul, nul));
        uint32_t* out = ends.data();
        for (at = 0; at + 16 <= size; at += 16) {
            const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(data + at));
            out = takeFeeds(out, at, static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(block, feed))));
        }
        fillTail(data, at, size, out);
#else
        ends.reserve(size / 32 + 1);
        while (const void* nl = at < size ? std::memchr(data + at, '\n', size - at) : nullptr) {
            at = static_cast<size_t>(static_cast<const char*>(nl) - data);
            ends.push_back(static_cast<uint32_t>(at++));
        }
        if (const void* z = std::memchr(data, '\0', size)) nul = static_cast<size_t>(static_cast<const char*>(z) - data);
#endif
    }

#if QX_FEEDS_AVX2
    // The same, 32 bytes a step.
    __attribute__((target("avx2"))) void findFeedsAvx2(const char* data, size_t size, size_t& nul)
    {
        size_t at = 0;
        const __m256i feed = _mm256_set1_epi8('\n');
        const __m256i zero = _mm256_setzero_si256();
        size_t feeds = 0;
        __m256i nuls = zero;
        while (at + 32 <= size) {
            __m256i counts = zero;
            for (int k = 0; k < 255 && at + 32 <= size; ++k, at += 32) {
                const __m256i block = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(data + at));
                counts = _mm256_sub_epi8(counts, _mm256_cmpeq_epi8(block, feed));
                nuls = _mm256_or_si256(nuls, _mm256_cmpeq_epi8(block, zero));
            }
            const __m256i sums = _mm256_sad_epu8(counts, zero);
            feeds += static_cast<size_t>(_mm256_extract_epi64(sums, 0)) + static_cast<size_t>(_mm256_extract_epi64(sums, 1)) +
                     static_cast<size_t>(_mm256_extract_epi64(sums, 2)) + static_cast<size_t>(_mm256_extract_epi64(sums, 3));
        }
        const bool anyNul = !_mm256_testz_si256(nuls, nuls);
        ends.resize(feeds + countTail(data, at, size, anyNul, nul));
        uint32_t* out = ends.data();
        for (at = 0; at + 32 <= size; at += 32) {
            const __m256i block = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(data + at));
            out = takeFeeds(out, at, static_cast<unsigned>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(block, feed))));
        }
        fillTail(data, at, size, out);
    }
#endif

    // The feeds behind the last whole block, and the first NUL if a block
    // held one or the tail does.
    static size_t countTail(const char* data, size_t at, size_t size, bool anyNul, size_t& nul)
    {
        size_t feeds = 0;
        for (; at < size; ++at) {
            feeds += data[at] == '\n';
            anyNul = anyNul || data[at] == '\0';
        }
        if (anyNul) nul = static_cast<size_t>(static_cast<const char*>(std::memchr(data, '\0', size)) - data);
        return feeds;
    }
    static uint32_t* takeFeeds(uint32_t* out, size_t at, unsigned found)
    {
        while (found) {
            *out++ = static_cast<uint32_t>(at + static_cast<size_t>(__builtin_ctz(found)));
            found &= found - 1;
        }
        return out;
    }
    static void fillTail(const char* data, size_t at, size_t size, uint32_t* out)
    {
        for (; at < size; ++at)
            if (data[at] == '\n') *out++ = static_cast<uint32_t>(at);
    }

    // The index of the first line feed at or behind pos: pos only moves on,
    // by lines or, for readPart and skip, by bytes.
    size_t feedIndex()
    {
        while (next < ends.size() && begin + ends[next] < pos) ++next;
        return next;
    }
    const char* nextFeed()
    {
        const size_t k = feedIndex();
        return k < ends.size() ? begin + ends[k] : nullptr;
    }

    const char* begin;
    const char* pos;
    const char* end;
    const char* firstNul = nullptr;
    // Where each line feed stands, from begin.
    std::vector<uint32_t> ends;
    size_t next = 0;
};

}  // namespace qxparser_internal
