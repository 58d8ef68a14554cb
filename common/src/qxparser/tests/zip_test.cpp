#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdint>
#include <random>
#include <string>
#include <tuple>

#include "orvane/qx_zip.h"

using orvane::qx_zip;

namespace {

std::string prefix(uint32_t n)
{
    std::string p(4, '\0');
    for (int i = 0; i < 4; ++i) p[i] = static_cast<char>(n >> (8 * i));
    return p;
}

// A zlib stream made by zlib itself, as the server's script makes it.
std::string zlibStream(const std::string& plain)
{
    uLongf room = compressBound(static_cast<uLong>(plain.size()));
    std::string out(room, '\0');
    EXPECT_EQ(compress(reinterpret_cast<Bytef*>(&out[0]), &room,
                       reinterpret_cast<const Bytef*>(plain.data()), static_cast<uLong>(plain.size())),
              Z_OK);
    out.resize(room);
    return out;
}

// Validity, then "code text" of each message.
std::string outcome(const qx_zip& z)
{
    std::string out = z.isValid() ? "valid" : "invalid";
    for (int n = 1; n <= z.getErrorRepository().getMessageCount(); ++n)
        out += "; " + std::to_string(z.getErrorRepository().getErrorNumber(n)) + " " + z.getErrorRepository().getMessage(n);
    return out;
}

}  // namespace

TEST(Zip, UnpackShortBadAndMismatchedData)
{
    const std::string hello = zlibStream("hello");
    const std::tuple<std::string, const char*, const char*> cases[] = {
        {"", "valid", ""}, {"x", "valid", ""}, {prefix(5), "valid", ""}, {prefix(5) + hello, "valid", "hello"},
        {prefix(5) + "garbage!", "invalid; 5891 Compressed data is invalid", ""},
        {prefix(5) + hello.substr(0, 6), "invalid; 5891 Compressed data is invalid", ""},
        {prefix(3) + hello, "invalid; 5890 Buffer too small - 3", ""},
        // A prefix too large is a warning; the data stands.
        {prefix(9) + hello, "valid; 5893 Expected length of uncompressed data (5) differs from actual length (9)", "hello"},
        {prefix(qx_zip::maximumLength) + hello,
         "valid; 5893 Expected length of uncompressed data (5) differs from actual length (104857600)", "hello"},
        {prefix(qx_zip::maximumLength + 1) + hello, "invalid; 5891 Compressed data is invalid", ""},
        {prefix(0xFFFFFFFFu) + hello, "invalid; 5891 Compressed data is invalid", ""},
    };
    for (const auto& [data, expected, plain] : cases) {
        qx_zip z(true, data);
        EXPECT_EQ(outcome(z), expected) << data.size();
        EXPECT_EQ(z.getUncompressed(), plain) << data.size();
    }
    EXPECT_EQ(qx_zip(true, prefix(9) + hello).getErrorRepository().getSeverity(1), orvane::QX_SEV_WARNING);
}

TEST(Zip, PackEmptyTooLongAndAtTheLimit)
{
    EXPECT_EQ(outcome(qx_zip(false, std::string())), "invalid; 5895 Cannot compress zero length data");
    EXPECT_EQ(qx_zip(false, std::string()).getCompressed(), "");
    EXPECT_EQ(outcome(qx_zip(false, std::string(qx_zip::maximumLength + 1, 'a'))),
              "invalid; 5894 Uncompressed data longer (104857601) than maxium permitted (104857600)");
    std::string plain(qx_zip::maximumLength, 'q');
    plain[12345] = 'x';
    qx_zip packed(false, plain);
    EXPECT_EQ(outcome(packed), "valid");
    qx_zip unpacked(true, packed.getCompressed());
    EXPECT_EQ(outcome(unpacked), "valid");
    EXPECT_TRUE(unpacked.getUncompressed() == plain);
}

TEST(Zip, RoundTripOfRandomDataInTheServersFormat)
{
    unsigned seed = 7;
    for (size_t n : {1, 2, 100, 4096, 65543, 1 << 20}) {
        std::mt19937 gen(seed++);
        std::string plain(n, '\0');
        for (char& c : plain) c = static_cast<char>(gen() & 0xFF);
        qx_zip packed(false, plain);
        std::string data = packed.getCompressed();
        EXPECT_EQ(outcome(packed), "valid");
        EXPECT_EQ(data.size(), packed.getCompressedLength());
        EXPECT_EQ(data.substr(0, 4), prefix(static_cast<uint32_t>(n)));
        // The stream behind the prefix is plain zlib, as the server reads it.
        std::string out(n, '\0');
        uLongf outLen = static_cast<uLongf>(n);
        ASSERT_EQ(uncompress(reinterpret_cast<Bytef*>(&out[0]), &outLen, reinterpret_cast<const Bytef*>(data.data() + 4),
                             static_cast<uLong>(data.size() - 4)),
                  Z_OK);
        EXPECT_TRUE(out == plain);
        qx_zip unpacked(true, data);
        EXPECT_EQ(outcome(unpacked), "valid");
        EXPECT_EQ(unpacked.getUncompressedLength(), n);
        EXPECT_TRUE(unpacked.getUncompressed() == plain);
    }
}
