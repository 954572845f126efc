#include "support/escaping.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstdio>
#include <string>

namespace kernova {
namespace {

std::string percent(int byte) {
    char buf[4];
    std::snprintf(buf, sizeof buf, "%%%02X", byte);
    return buf;
}

bool isAsciiAlnum(int c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

// Runs `escape` on every ASCII character alone and checks it against `kept`.
template <class Escape, class Kept>
void checkAscii(Escape escape, Kept kept, int expectedEscapes) {
    int escapes = 0;
    for (int c = 0; c < 128; ++c) {
        const std::string in(1, static_cast<char>(c));
        const std::string expected = kept(c) ? in : percent(c);
        EXPECT_EQ(escape(in), expected) << "character " << c;
        if (!kept(c)) ++escapes;
    }
    EXPECT_EQ(escapes, expectedEscapes);
}

TEST(Escaping, EachSetCharacterByCharacter) {
    const std::string query = "-_.~", host = "!$&'()*+,-.:;=[]_~",
                      queryAllowed = "!$&'()*+,-./:;=?@_~", search = "!$'()*+,-.:;[]_~",
                      form = "?!@#$^&%*+,:;='\"`<>()[]{}/\\| ";
    auto in = [](const std::string& set, int c) {
        return set.find(static_cast<char>(c)) != std::string::npos;
    };
    checkAscii(
        queryEscape, [&](int c) { return isAsciiAlnum(c) || in(query, c); }, 128 - 66);
    checkAscii(
        hostSetEscape, [&](int c) { return isAsciiAlnum(c) || in(host, c); }, 128 - 80);
    checkAscii(
        queryAllowedEscape, [&](int c) { return isAsciiAlnum(c) || in(queryAllowed, c); },
        128 - 81);
    checkAscii(
        searchTermEscape, [&](int c) { return isAsciiAlnum(c) || in(search, c); }, 128 - 78);
    checkAscii(
        urlEncodeStr, [&](int c) { return !in(form, c); }, 29);
}

TEST(Escaping, NonAsciiAndInvalidUtf8) {
    EXPECT_EQ(queryEscape("caf\xC3\xA9 1+1"), "caf%C3%A9%201%2B1");
    EXPECT_EQ(hostSetEscape("a b\xE4\xB8\xAD"), "a%20b%E4%B8%AD");
    EXPECT_EQ(searchTermEscape("a&b=c?d/e \xE4\xB8\xAD"), "a%26b%3Dc%3Fd%2Fe%20%E4%B8%AD");
    EXPECT_EQ(urlEncodeStr("a=b/c+\xE4\xB8\xAD"), "a%3Db%2Fc%2B\xE4\xB8\xAD");
    EXPECT_EQ(queryAllowedEscape("x://a b?q=%s#\xC3\xA9"), "x://a%20b?q=%25s%23%C3%A9");
    EXPECT_EQ(queryEscape("\xFF"), "%EF%BF%BD");
    EXPECT_EQ(urlEncodeStr("x\xC3"), "x\xEF\xBF\xBD");
    EXPECT_EQ(queryEscape(std::string_view("\0", 1)), "%00");
    EXPECT_EQ(queryEscape(""), "");
}

TEST(Escaping, AllByteValuesAndHugeInput) {
    std::string all;
    for (int b = 0; b < 256; ++b)
        all.push_back(static_cast<char>(b));
    for (const auto& out :
         {queryEscape(all), hostSetEscape(all), queryAllowedEscape(all), urlEncodeStr(all)}) {
        EXPECT_FALSE(out.empty());
    }
    const std::string huge(1u << 20, '/');
    EXPECT_EQ(urlEncodeStr(huge).size(), huge.size() * 3);
}

}  // namespace
}  // namespace kernova
