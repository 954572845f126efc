#include "support/digest.h"

#include <gtest/gtest.h>

#include <string>

namespace kernova {
namespace {

TEST(Digest, KnownAnswers) {
    EXPECT_EQ(rf_EncryptMD5("a"), "0cc175b9c0f1b6a831c399e269772661");
    EXPECT_EQ(rf_EncryptMD5("abc"), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(rf_EncryptSHA1("abc"), "a9993e364706816aba3e25717850c26c9cd0d89d");
    EXPECT_EQ(RF_EncryptSHA1(Bytes{'a', 'b', 'c'}), "a9993e364706816aba3e25717850c26c9cd0d89d");
    const std::string sha256Abc =
        "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
    EXPECT_EQ(rf_EncryptSHA256("abc"), sha256Abc);
    EXPECT_EQ(RF_EncryptSHA256(Bytes{'a', 'b', 'c'}), sha256Abc);
}

TEST(Digest, Md5AndSha256StopAtFirstNul) {
    using namespace std::string_literals;
    EXPECT_EQ(rf_EncryptMD5("abc\0def"s), rf_EncryptMD5("abc"));
    EXPECT_EQ(rf_EncryptMD5("\0x"s), "d41d8cd98f00b204e9800998ecf8427e");  // MD5 of no bytes
    EXPECT_EQ(rf_EncryptSHA256("abc\0def"s), rf_EncryptSHA256("abc"));
    // The byte forms hash everything, NULs included.
    EXPECT_NE(RF_EncryptSHA256(Bytes{'a', 'b', 'c', 0}), rf_EncryptSHA256("abc"));
}

TEST(Digest, Sha1HashesOnlyAsManyBytesAsUtf16Units) {
    const std::string chinese = "\xE4\xB8\xAD\xE6\x96\x87";  // two characters, six bytes
    EXPECT_EQ(rf_EncryptSHA1(chinese), RF_EncryptSHA1(Bytes{0xE4, 0xB8}));
    EXPECT_NE(rf_EncryptSHA1(chinese), RF_EncryptSHA1(Bytes(chinese.begin(), chinese.end())));
    // A character outside the BMP is two units for four bytes.
    EXPECT_EQ(rf_EncryptSHA1("\xF0\x9F\x98\x80"), RF_EncryptSHA1(Bytes{0xF0, 0x9F}));
    // Pure ASCII hashes the whole text.
    EXPECT_EQ(rf_EncryptSHA1("hello"), RF_EncryptSHA1(Bytes{'h', 'e', 'l', 'l', 'o'}));
}

TEST(Digest, EmptyInputAndSha256OfNonAsciiTextGiveNothing) {
    for (const auto& nothing :
         {rf_EncryptMD5(""), rf_EncryptSHA1(""), rf_EncryptSHA256(""), RF_EncryptSHA1(Bytes{}),
          RF_EncryptSHA256(Bytes{}), rf_EncryptSHA256("caf\xC3\xA9"), rf_EncryptSHA256("\xFF")})
        EXPECT_EQ(nothing, std::nullopt);
}

TEST(Digest, HugeInvalidTextIsHashed) {
    const std::string hostile(1 << 20, '\xFF');
    EXPECT_EQ(rf_EncryptMD5(hostile)->size(), 32u);
    EXPECT_EQ(rf_EncryptSHA1(hostile)->size(), 40u);
}

}  // namespace
}  // namespace kernova
