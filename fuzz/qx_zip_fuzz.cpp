// Packed data: anything packed unpacks to itself with the same length, and
// any bytes unpacked either fail with a message or give data that packs and
// unpacks to itself.
#include <cstdint>
#include <string>

#include "fuzz_support.h"
#include "orvane/qx_zip.h"

using orvane::qx_zip;

namespace {

void roundTrip(const std::string& plain)
{
    qx_zip packed(false, plain);
    if (plain.empty()) {
        if (packed.isValid()) qxfuzz::broken("empty data is refused", plain, qxfuzz::messages(packed.getErrorRepository()));
        return;
    }
    if (!packed.isValid()) qxfuzz::broken("data packs", plain, qxfuzz::messages(packed.getErrorRepository()));
    const std::string stream = packed.getCompressed();
    if (stream.size() != packed.getCompressedLength() || stream.size() < 5)
        qxfuzz::broken("the packed length is the stream's", plain, std::to_string(packed.getCompressedLength()));

    qx_zip unpacked(true, stream);
    if (!unpacked.isValid() || unpacked.getErrorRepository().getMessageCount() != 0)
        qxfuzz::broken("a packed stream unpacks without a message", plain, qxfuzz::messages(unpacked.getErrorRepository()));
    if (unpacked.getUncompressedLength() != plain.size())
        qxfuzz::broken("the unpacked length is the plain length", plain, std::to_string(unpacked.getUncompressedLength()));
    qxfuzz::expectSame("packing then unpacking gives the input", plain, unpacked.getUncompressed());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    roundTrip(bytes);

    qx_zip unpacked(true, bytes);
    if (!unpacked.isValid()) {
        if (unpacked.getErrorRepository().getMessageCount() == 0)
            qxfuzz::broken("a failed unpack says why", bytes, "no message");
        return 0;
    }
    const std::string plain = unpacked.getUncompressed();
    if (plain.size() != unpacked.getUncompressedLength() || plain.size() > qx_zip::maximumLength)
        qxfuzz::broken("unpacked data has its stated length", bytes, std::to_string(plain.size()));
    if (!plain.empty()) roundTrip(plain);
    return 0;
}
