// The input behind qx_filesource: the whole text of a file or a response
// body, held in one buffer. Lines are handed out as views into it, so that a
// reader can keep them without copying (a file is at most kMaxFileBytes).
#pragma once

#include <cstring>
#include <string>
#include <string_view>

namespace qxparser_internal {

class byte_stream {
public:
    byte_stream(const char* data, size_t size) : pos(data), end(data + size) {}

    // The next physical line, without its line feed, as a view into the
    // text. The result counts the bytes taken, the line feed included; 0 at
    // the end. A line longer than `max` stops there with `tooLong` set, as a
    // reader that copied it would have had to.
    size_t readLine(std::string_view& out, size_t max, bool& tooLong)
    {
        out = std::string_view();
        tooLong = false;
        if (pos == end) return 0;
        const char* nl = static_cast<const char*>(std::memchr(pos, '\n', static_cast<size_t>(end - pos)));
        const char* stop = nl ? nl : end;
        if (static_cast<size_t>(stop - pos) > max) {
            tooLong = true;
            return 0;
        }
        out = std::string_view(pos, static_cast<size_t>(stop - pos));
        pos = nl ? nl + 1 : end;
        return out.size() + (nl ? 1 : 0);
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
    const char* pos;
    const char* end;
};

}  // namespace qxparser_internal
