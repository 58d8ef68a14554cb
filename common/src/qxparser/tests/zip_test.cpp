#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdint>
#include <random>
#include <string>

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

std::string randomBytes(size_t n, unsigned seed)
{
    std::mt19937 gen(seed);
    std::string s(n, '\0');
    for (char& c : s) c = static_cast<char>(gen() & 0xFF);
    return s;
}

struct Outcome {
    bool valid;
    int code;  // 0: no message
    const char* text;
};

void expectOutcome(const qx_zip& z, const Outcome& want, const std::string& label)
{
    SCOPED_TRACE(label);
    EXPECT_EQ(z.isValid(), want.valid);
    const auto& list = z.getErrorRepository();
    if (want.code == 0) {
        EXPECT_EQ(list.getMessageCount(), 0);
        return;
    }
    ASSERT_EQ(list.getMessageCount(), 1);
    EXPECT_EQ(list.getErrorNumber(1), want.code);
    EXPECT_EQ(list.getMessage(1), want.text);
}

}  // namespace

TEST(Unpack, ShortBadAndMismatchedData)
{
    const std::string hello = "hello";
    struct Case {
        const char* label;
        std::string data;
        Outcome want;
        std::string plain;
    };
    const Case cases[] = {
        {"empty", "", {true, 0, ""}, ""},
        {"one byte", "x", {true, 0, ""}, ""},
        {"prefix only", prefix(5), {true, 0, ""}, ""},
        {"exact", prefix(5) + zlibStream(hello), {true, 0, ""}, hello},
        {"not a stream", prefix(5) + "garbage!", {false, 5891, "Compressed data is invalid"}, ""},
        {"cut stream", prefix(5) + zlibStream(hello).substr(0, 6), {false, 5891, "Compressed data is invalid"}, ""},
        {"prefix too small", prefix(3) + zlibStream(hello), {false, 5890, "Buffer too small - 3"}, ""},
        {"prefix too large: a warning, the data stands",
         prefix(9) + zlibStream(hello),
         {true, 5893, "Expected length of uncompressed data (5) differs from actual length (9)"},
         hello},
        {"prefix above the limit", prefix(qx_zip::maximumLength + 1) + zlibStream(hello),
         {false, 5891, "Compressed data is invalid"}, ""},
        {"prefix of all ones", prefix(0xFFFFFFFFu) + zlibStream(hello),
         {false, 5891, "Compressed data is invalid"}, ""},
    };
    for (const Case& c : cases) {
        qx_zip z(true, c.data);
        expectOutcome(z, c.want, c.label);
        EXPECT_EQ(z.getUncompressed(), c.plain) << c.label;
    }
}

TEST(Unpack, PrefixAtTheLimitIsAccepted)
{
    qx_zip z(true, prefix(qx_zip::maximumLength) + zlibStream("abc"));
    expectOutcome(z, {true, 5893, "Expected length of uncompressed data (3) differs from actual length (104857600)"},
                  "limit");
    EXPECT_EQ(z.getErrorRepository().getSeverity(1), orvane::QX_SEV_WARNING);
    EXPECT_EQ(z.getUncompressed(), "abc");
}

TEST(Pack, EmptyAndTooLong)
{
    qx_zip empty(false, std::string());
    expectOutcome(empty, {false, 5895, "Cannot compress zero length data"}, "empty");
    EXPECT_EQ(empty.getCompressed(), "");

    std::string tooLong(qx_zip::maximumLength + 1, 'a');
    qx_zip big(false, tooLong);
    expectOutcome(big, {false, 5894, "Uncompressed data longer (104857601) than maxium permitted (104857600)"},
                  "limit + 1");
}

TEST(Pack, DataAtTheLimitRoundTrips)
{
    std::string plain(qx_zip::maximumLength, 'q');
    plain[12345] = 'x';
    qx_zip packed(false, plain);
    expectOutcome(packed, {true, 0, ""}, "pack");
    qx_zip unpacked(true, packed.getCompressed());
    expectOutcome(unpacked, {true, 0, ""}, "unpack");
    EXPECT_TRUE(unpacked.getUncompressed() == plain);
}

TEST(Pack, RoundTripOfRandomDataInTheServersFormat)
{
    const size_t sizes[] = {1, 2, 100, 4096, 65543, 1u << 20};
    unsigned seed = 7;
    for (size_t n : sizes) {
        SCOPED_TRACE(n);
        std::string plain = randomBytes(n, seed++);
        qx_zip packed(false, plain);
        ASSERT_TRUE(packed.isValid());
        std::string data = packed.getCompressed();
        ASSERT_EQ(data.size(), packed.getCompressedLength());
        EXPECT_EQ(data.substr(0, 4), prefix(static_cast<uint32_t>(n)));

        // The stream behind the prefix is plain zlib, as the server reads it.
        std::string out(n, '\0');
        uLongf outLen = static_cast<uLongf>(n);
        ASSERT_EQ(uncompress(reinterpret_cast<Bytef*>(&out[0]), &outLen,
                             reinterpret_cast<const Bytef*>(data.data() + 4),
                             static_cast<uLong>(data.size() - 4)),
                  Z_OK);
        EXPECT_TRUE(out == plain);

        qx_zip unpacked(true, data);
        EXPECT_TRUE(unpacked.isValid());
        EXPECT_EQ(unpacked.getErrorRepository().getMessageCount(), 0);
        EXPECT_EQ(unpacked.getUncompressedLength(), n);
        EXPECT_TRUE(unpacked.getUncompressed() == plain);
    }
}
