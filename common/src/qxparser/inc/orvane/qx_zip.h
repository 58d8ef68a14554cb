// Packed data as the server's get_params.pl sends large files: four bytes with
// the plain length, least significant first, then one zlib stream.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "orvane/qx_errors.h"

namespace orvane {

class qx_zip : public qx_errors {
public:
    // Largest plain data accepted either way.
    static constexpr uint32_t maximumLength = 0x6400000;

    // Packs or unpacks `data` at once; isValid() tells how it went.
    qx_zip(bool unpack, const std::string& data);
    qx_zip(const qx_zip&) = delete;
    qx_zip& operator=(const qx_zip&) = delete;

    std::string getUncompressed() const;
    std::string getCompressed() const;
    uint32_t getUncompressedLength() const { return uncompressedLength; }
    uint32_t getCompressedLength() const { return compressedLength; }

private:
    void unpackData(const std::string& data);
    void packData(const std::string& data);

    uint32_t uncompressedLength = 0;
    uint32_t compressedLength = 0;
    std::unique_ptr<unsigned char[]> uncompressed;
    std::unique_ptr<unsigned char[]> compressed;
};

}  // namespace orvane
