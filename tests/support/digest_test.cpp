// The digests: MD5 signs Baidu requests (its known answers are the translate
// tests'); SHA-1 and SHA-256 have no caller yet and keep their quirks here.
#include "support/digest.h"

#include <gtest/gtest.h>

#include <string>

namespace kernova {
namespace {

TEST(Digest, KnownAnswersAndTheTextForms) {
    using namespace std::string_literals;
    const std::string sha256Abc =
        "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
    EXPECT_EQ(rf_EncryptMD5("abc"), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(rf_EncryptSHA1("abc"), "a9993e364706816aba3e25717850c26c9cd0d89d");
    EXPECT_EQ(rf_EncryptSHA256("abc"), sha256Abc);
    EXPECT_EQ(RF_EncryptSHA256(Bytes{'a', 'b', 'c'}), sha256Abc);
    // The text forms stop at the first NUL; the byte forms hash everything.
    EXPECT_EQ(rf_EncryptMD5("abc\0def"s), rf_EncryptMD5("abc"));
    EXPECT_NE(RF_EncryptSHA256(Bytes{'a', 'b', 'c', 0}), rf_EncryptSHA256("abc"));
    // SHA-1 of a text hashes as many bytes as it has UTF-16 units.
    EXPECT_EQ(rf_EncryptSHA1("\xE4\xB8\xAD\xE6\x96\x87"), RF_EncryptSHA1(Bytes{0xE4, 0xB8}));
    for (const auto& nothing : {rf_EncryptMD5(""), rf_EncryptSHA1(""), RF_EncryptSHA256(Bytes{}),
                                rf_EncryptSHA256("caf\xC3\xA9")})
        EXPECT_EQ(nothing, std::nullopt);
    EXPECT_EQ(rf_EncryptMD5(std::string(1 << 20, '\xFF'))->size(), 32u);
}

}  // namespace
}  // namespace kernova
