// The two inputs behind qx_filesource: a stdio file read in large blocks, and
// a text in memory. Both hand out physical lines without copying byte by byte.
#pragma once

#include <cstdio>
#include <cstring>
#include <string>

namespace qxparser_internal {

class byte_stream {
public:
    virtual ~byte_stream() = default;

    // Replaces `out` by the next physical line, without its line feed. The
    // result counts the bytes taken, the line feed included; 0 at the end.
    size_t readLine(std::string& out)
    {
        out.clear();
        size_t taken = 0;
        for (;;) {
            if (pos == end && !refill()) return taken;
            const char* nl = static_cast<const char*>(std::memchr(pos, '\n', end - pos));
            if (nl) {
                out.append(pos, nl);
                taken += static_cast<size_t>(nl - pos) + 1;
                pos = nl + 1;
                return taken;
            }
            out.append(pos, end);
            taken += static_cast<size_t>(end - pos);
            pos = end;
        }
    }

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
