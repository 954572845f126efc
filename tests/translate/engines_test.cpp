#include "translate/engines.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>

#include "base/plist.h"
#include "base/value.h"
#include "support_lib/fake_environment.h"
#include "support_lib/temp_dir.h"

namespace kernova::translate {
namespace {

TEST(TranslateUrls, EachEngineFillsItsTemplate) {
    struct Case {
        std::string urlTemplate, language, text, page, alert;
    };
    const std::vector<Case> cases = {
        // The page turns "zh" into "zh-CN"; the alert request keeps it.
        {"https://translate.google.com/?vi=c#auto/%l/%s", "zh", "a b&c",
         "https://translate.google.com/?vi=c#auto/zh-CN/a%20b&c",
         "https://translate.google.com/?vi=c#auto/zh/a%20b%26c"},
        // A Baidu page maps the code; Google's keeps it.
        {"https://fanyi.baidu.com/#auto/%l/%s", "zh-TW", "x", "https://fanyi.baidu.com/#auto/cht/x",
         "https://fanyi.baidu.com/#auto/zh-TW/x"},
        {"https://translate.google.com/#auto/%l/%s", "zh-TW", "x",
         "https://translate.google.com/#auto/zh-TW/x",
         "https://translate.google.com/#auto/zh-TW/x"},
        // Every placeholder, "%l" before "%s"; non-ASCII as UTF-8 escapes.
        {"u?i=%s&j=%s&l=%l", "ja", "日", "u?i=%E6%97%A5&j=%E6%97%A5&l=ja",
         "u?i=%E6%97%A5&j=%E6%97%A5&l=ja"},
        {"no-placeholder", "en", "t", "no-placeholder", "no-placeholder"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(webPageURL(c.urlTemplate, c.language, c.text), c.page) << c.urlTemplate;
        EXPECT_EQ(alertURL(c.urlTemplate, c.language, c.text), c.alert) << c.urlTemplate;
    }
    EXPECT_EQ(engineForTemplate("http://google.baidu.example/%s"), Engine::google);
    EXPECT_EQ(engineForTemplate("http://api.fanyi.baidu.com/x"), Engine::baidu);
    EXPECT_EQ(engineForTemplate("http://GOOGLE.example/%s"), Engine::youdao);
    EXPECT_EQ(baiduCode("ja"), "jp");
    EXPECT_EQ(baiduCode("en"), "en");
}

TEST(TranslateUrls, BaiduSignsTheDecodedText) {
    const BaiduAccount account{
        .appId = 2015063000000001, .salt = 1435660288, .secretKey = "Qm3Xr8TzLp0VwK2nHs7D"};
    EXPECT_EQ(baiduSignature(account, "apple"), "3c882b5c3ecb95bf17115ff7fdb8fa25");
    EXPECT_EQ(baiduSignature(account, "你好"), "ff806b0ed49e978d96aafa6894cc3b37");
    // "%41" is signed as "A", but the query carries the three characters.
    EXPECT_EQ(baiduSignature(account, "%41b"), baiduSignature(account, "Ab"));
    EXPECT_EQ(baiduURL("http://h/api/trans/vip/translate", "jp", "%41b", account),
              "http://h/api/trans/vip/translate?q=%2541b&from=auto&to=jp&appid=2015063000000001"
              "&salt=1435660288&sign=c092df528aa3c00f089911d474923c3c");
    // A stray "%" or escaped bytes that are not UTF-8 cannot be decoded: no signature.
    EXPECT_EQ(baiduSignature(account, "a%zz"), std::nullopt);
    EXPECT_EQ(baiduSignature(account, "%FF"), std::nullopt);
    EXPECT_TRUE(baiduURL("e", "en", "a%zz", account).ends_with("&sign=(null)"));
    EXPECT_GT(builtInBaiduAccount().appId, 0U);
    EXPECT_GT(builtInBaiduAccount().salt, 0U);
}

TEST(TranslateUrls, DebugEnvironmentRedirectsBuiltInHostsOnly) {
    std::map<std::string, std::string> env = {{"KERNOVA_TRANSLATE_YOUDAO", "http://127.0.0.1:9"},
                                              {"KERNOVA_TRANSLATE_BAIDU", "http://127.0.0.1:8"}};
    const std::string youdao = "http://fanyi.youdao.com/translate?i=%s";
    EXPECT_EQ(Endpoints::fromEnvironment(testing::environmentOf(env)).redirect(youdao), youdao);
    env["KERNOVA_DEBUG"] = "1";
    const Endpoints endpoints = Endpoints::fromEnvironment(testing::environmentOf(env));
    EXPECT_EQ(endpoints.redirect(youdao), "http://127.0.0.1:9/translate?i=%s");
    EXPECT_EQ(endpoints.redirect("http://fanyi.youdao.community/x"),
              "http://fanyi.youdao.community/x");
    EXPECT_EQ(endpoints.baiduEndpoint(), "http://127.0.0.1:8/api/trans/vip/translate");
}

TEST(TranslateAnswers, ValuesAppendAsTheyPrint) {
    struct Case {
        std::string body, google;
    };
    const std::vector<Case> cases = {
        {R"({"sentences":[{"trans":"Hello "},{"trans":"world"}]})", "Hello world"},
        {R"({"sentences":[{"trans":42},{"trans":1.5},{"trans":true},{"trans":null},{}]})",
         "421.51<null>(null)"},
        {R"({"sentences":{"trans":"x"}})", ""},
        {R"({"sentences":["x",{"trans":"y"}]})", "y"},
        {R"(["sentences"])", ""},
        {"not json", ""},
    };
    for (const Case& c : cases)
        EXPECT_EQ(googleResult(c.body), c.google) << c.body;
    EXPECT_EQ(youdaoResult(R"({"translateResult":[[{"tgt":"A"}],[{"tgt":"B"},{"tgt":"C"}]]})"),
              "ABC");
    EXPECT_EQ(youdaoResult(R"({"translateResult":[{"tgt":"A"}]})"), "");
    // A transport failure, or a body that cannot be read as text.
    EXPECT_EQ(googleResult(std::nullopt), kConnectFailed);
    EXPECT_EQ(youdaoResult(std::string_view("{\"translateResult\":\"\xff\"}")), kConnectFailed);
}

TEST(TranslateAnswers, BaiduRetriesOnlyOnTheBusyCodeAndTheDialogAndChineseTests) {
    EXPECT_TRUE(baiduResult(R"({"error_code":"54003"})").again);
    EXPECT_FALSE(baiduResult(R"({"error_code":54003})").again);
    EXPECT_EQ(baiduResult(R"({"error_code":"54001","trans_result":[{"dst":"x"}]})").result, "x");
    EXPECT_EQ(baiduResult(R"({"trans_result":[{"dst":"你"},{"dst":"好"}]})").result, "你好");
    EXPECT_EQ(baiduResult(std::nullopt).result, kConnectFailed);
    EXPECT_EQ(resultForDialog(std::nullopt), kNoTranslation);
    EXPECT_EQ(resultForDialog(std::string(" \n\t\u3000")), kNoTranslation);
    EXPECT_EQ(resultForDialog(std::string(" a\n")), " a\n");
    EXPECT_FALSE(isChinese("\u4e00"));
    EXPECT_TRUE(isChinese("a\u4e01"));
    EXPECT_TRUE(isChinese("\u9ffe"));
    EXPECT_FALSE(isChinese("\u9fff"));
    EXPECT_FALSE(isChinese(""));
    EXPECT_FALSE(isChinese("abc"));
}

TEST(TranslateLanguages, FileReadsAsTheUserOrdered) {
    testing::TempDir dir;
    const auto file = dir.path() / std::string(kLanguagesFileName);
    EXPECT_EQ(readLanguages(file), std::vector<std::string>{"en"});
    ASSERT_TRUE(savePropertyList(file, Value(Dictionary{{"languages", Array{"ja", 3, "fr"}}})).ok);
    EXPECT_EQ(readLanguages(file), (std::vector<std::string>{"ja", "fr"}));
    ASSERT_TRUE(savePropertyList(file, Value(Dictionary{{"languages", "ja"}})).ok);
    EXPECT_TRUE(readLanguages(file).empty());
    std::ofstream(file) << "garbage";
    EXPECT_EQ(readLanguages(file), std::vector<std::string>{"en"});
}

}  // namespace
}  // namespace kernova::translate
