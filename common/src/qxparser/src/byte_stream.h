// The two inputs behind qx_filesource: a stdio file read in large blocks, and
// a text in memory. Both hand out physical lines without copying byte by byte.
#pragma once

#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

namespace qxparser_internal {

class byte_stream {
public:
    virtual ~byte_stream() = default;

    // Replaces `out` by the next physical line, without its line feed. The
    // result counts the bytes taken, the line feed included; 0 at the end.
    // A line longer than `max` stops there with `tooLong` set, so that no
    // input can make one line take unbounded memory.
    size_t readLine(std::string& out, size_t max, bool& tooLong)
    {
        out.clear();
        tooLong = false;
        size_t taken = 0;
        for (;;) {
            if (pos == end && !refill()) return taken;
            const char* nl = static_cast<const char*>(std::memchr(pos, '\n', end - pos));
            const char* stop = nl ? nl : end;
            if (out.size() + static_cast<size_t>(stop - pos) > max) {
                tooLong = true;
                return taken;
            }
            out.append(pos, stop);
            taken += static_cast<size_t>(stop - pos);
            pos = stop;
            if (nl) {
                ++taken;
                ++pos;
                return taken;
            }
        }
    }

    // The input's first block, left in place to be read: what the encoding
    // checks look at before any line is taken.
    std::string_view head()
    {
        if (pos == end) refill();
        return std::string_view(pos, static_cast<size_t>(end - pos));
    }
    void skip(size_t n) { pos += n; }

    // Up to `max` bytes of the current line into `buffer`, stopping behind a
    // line feed (which is counted but not stored). `ended` tells whether a
    // line feed was taken.
    size_t readPart(char* buffer, size_t max, bool& ended)
    {
        ended = false;
        size_t stored = 0, taken = 0;
        while (stored < max) {
            if (pos == end && !refill()) break;
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

protected:
    // Makes [pos, end) the next block; false at the end of the input.
    virtual bool refill() = 0;

    const char* pos = nullptr;
    const char* end = nullptr;
};

class file_stream : public byte_stream {
public:
    explicit file_stream(FILE* f) : file(f) {}
    ~file_stream() override
    {
        if (file) std::fclose(file);
    }

protected:
    bool refill() override
    {
        if (!file) return false;
        size_t n = std::fread(block, 1, sizeof block, file);
        if (n == 0) return false;
        pos = block;
        end = block + n;
        return true;
    }

private:
    FILE* file;
    char block[64 * 1024];
};

class memory_stream : public byte_stream {
public:
    memory_stream(const char* data, size_t size) : data(data), size(size) {}

protected:
    bool refill() override
    {
        if (done) return false;
        done = true;
        pos = data;
        end = data + size;
        return size > 0;
    }

private:
    const char* data;
    size_t size;
    bool done = false;
};

}  // namespace qxparser_internal
