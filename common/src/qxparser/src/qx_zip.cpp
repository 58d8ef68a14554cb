#include "orvane/qx_zip.h"

#include <zlib.h>

#include <cstring>
#include <new>

namespace orvane {

namespace {
constexpr size_t kPrefix = 4;

uint32_t readPrefix(const unsigned char* p)
{
    return static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 |
           static_cast<uint32_t>(p[2]) << 16 | static_cast<uint32_t>(p[3]) << 24;
}

void writePrefix(unsigned char* p, uint32_t n)
{
    for (size_t i = 0; i < kPrefix; ++i) p[i] = static_cast<unsigned char>(n >> (8 * i));
}
}  // namespace

qx_zip::qx_zip(bool unpack, const std::string& data)
{
    // A buffer that can't be had is zlib's out-of-memory case by another road.
    try {
        if (unpack) {
            unpackData(data);
        } else {
            packData(data);
        }
    } catch (const std::bad_alloc&) {
        errorList.addError(qxerr::zipMemory);
    }
}

void qx_zip::unpackData(const std::string& data)
{
    // Four bytes or fewer carry no stream: an empty file, not a fault.
    if (data.size() <= kPrefix) return;
    compressedLength = static_cast<uint32_t>(data.size());
    compressed.reset(new unsigned char[data.size()]);
    std::memcpy(compressed.get(), data.data(), data.size());
    uint32_t expected = readPrefix(compressed.get());
    if (expected > maximumLength) {
        errorList.addError(qxerr::zipDataInvalid);
        return;
    }
    uncompressed.reset(new unsigned char[expected ? expected : 1]);
    uLongf actual = expected;
    int rc = ::uncompress(uncompressed.get(), &actual, compressed.get() + kPrefix,
                          static_cast<uLong>(data.size() - kPrefix));
    switch (rc) {
    case Z_OK:
        break;
    case Z_MEM_ERROR:
        errorList.addError(qxerr::zipMemory);
        return;
    case Z_BUF_ERROR:
        errorList.addError(qxerr::zipBufferTooSmall, static_cast<unsigned long>(expected));
        return;
    case Z_DATA_ERROR:
        errorList.addError(qxerr::zipDataInvalid);
        return;
    default:
        errorList.addError(qxerr::zipUnknown);
        return;
    }
    uncompressedLength = static_cast<uint32_t>(actual);
    if (actual != expected) {
        // The data itself is whole; only the sender's count is off.
        errorList.addError(qxerr::zipLengthDiffers, static_cast<unsigned>(actual),
                           static_cast<unsigned long>(expected));
    }
}

void qx_zip::packData(const std::string& data)
{
    size_t n = data.size();
    if (n > maximumLength) {
        errorList.addError(qxerr::zipTooLong, static_cast<unsigned long>(n),
                           static_cast<unsigned long>(maximumLength));
        return;
    }
    if (n == 0) {
        errorList.addError(qxerr::zipEmpty);
        return;
    }
    uncompressedLength = static_cast<uint32_t>(n);
    uncompressed.reset(new unsigned char[n]);
    std::memcpy(uncompressed.get(), data.data(), n);
    uLongf room = static_cast<uLongf>(n + n / 10 + 12);
    compressed.reset(new unsigned char[kPrefix + room]);
    int rc = ::compress(compressed.get() + kPrefix, &room, uncompressed.get(), static_cast<uLong>(n));
    if (rc == Z_OK) {
        compressedLength = static_cast<uint32_t>(room);
    } else if (rc == Z_BUF_ERROR) {
        errorList.addError(qxerr::zipBufferTooSmall, static_cast<unsigned long>(n));
    } else if (rc == Z_MEM_ERROR) {
        errorList.addError(qxerr::zipMemory);
    } else {
        errorList.addError(qxerr::zipUnknown);
    }
    // The prefix stands even after a failure, so the buffer is always framed.
    writePrefix(compressed.get(), uncompressedLength);
    compressedLength += kPrefix;
}

std::string qx_zip::getUncompressed() const
{
    if (!uncompressed) return std::string();
    return std::string(reinterpret_cast<const char*>(uncompressed.get()), uncompressedLength);
}

std::string qx_zip::getCompressed() const
{
    if (!compressed) return std::string();
    return std::string(reinterpret_cast<const char*>(compressed.get()), compressedLength);
}

}  // namespace orvane
