// Packed data: anything packed unpacks to itself with the same length, and
// any bytes unpacked either fail with a message or give data that packs and
// unpacks to itself.
#include "fuzz_support.h"
#include "orvane/qx_zip.h"

using orvane::qx_zip;
using qxfuzz::messages;

static void roundTrip(const std::string& plain)
{
    qx_zip packed(false, plain);
    QX_LAW(packed.isValid() != plain.empty(), "data packs, and empty data is refused", plain,
           messages(packed.getErrorRepository()));
    if (plain.empty()) return;
    const std::string stream = packed.getCompressed();
    QX_LAW(stream.size() == packed.getCompressedLength() && stream.size() >= 5, "the packed length is the stream's",
           plain, std::to_string(packed.getCompressedLength()));
    qx_zip unpacked(true, stream);
    QX_LAW(unpacked.isValid() && unpacked.getErrorRepository().getMessageCount() == 0,
           "a packed stream unpacks without a message", plain, messages(unpacked.getErrorRepository()));
    QX_LAW(unpacked.getUncompressedLength() == plain.size(), "the unpacked length is the plain length", plain,
           std::to_string(unpacked.getUncompressedLength()));
    qxfuzz::expectSame("packing then unpacking gives the input", plain, unpacked.getUncompressed());
}

QX_FUZZ_TARGET
{
    roundTrip(input);
    qx_zip unpacked(true, input);
    if (!unpacked.isValid())
        return QX_LAW(unpacked.getErrorRepository().getMessageCount() != 0, "a failed unpack says why", input,
                      "no message");
    const std::string plain = unpacked.getUncompressed();
    QX_LAW(plain.size() == unpacked.getUncompressedLength() && plain.size() <= qx_zip::maximumLength,
           "unpacked data has its stated length", input, std::to_string(plain.size()));
    if (!plain.empty()) roundTrip(plain);
}
