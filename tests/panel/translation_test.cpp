// Translation from the panel on the simulated device: the target language,
// the language picker, the web page style in the panel's browser, and the
// alert style's request to each engine (answered from a script), its running
// indicator and the result dialog; Baidu's busy answer and a new panel that
// ends it.

#include "server/server_fixture.h"
#include "sim/sim_http_client.h"
#include "sim/sim_services.h"
#include "translate/engines.h"

namespace kernova::testing {
namespace {

using Texts = std::vector<std::string>;

class TranslationTest : public ServerFixture {
  protected:
    TranslationTest() {
        host.setEnvironment({{"KERNOVA_DEBUG", "1"},
                             {"KERNOVA_TRANSLATE_YOUDAO", "http://127.0.0.1:9"},
                             {"KERNOVA_TRANSLATE_BAIDU", "http://127.0.0.1:8"}});
    }
    void languages(Array codes) {
        savePropertyList(
            server.context().paths().preferences / std::string(translate::kLanguagesFileName),
            Value(Dictionary{{"languages", Value(std::move(codes))}}));
    }
    void translate(const std::string& text) {
        open(text);
        driver.tap(middle(action(GTagFlowContainer::kTranslate)));
    }
    sim::SimHttpClient& http() { return server.http(); }
    Texts urls() {
        Texts sent;
        for (const auto& record : http().requests())
            sent.push_back(record.request.url);
        return sent;
    }
    // The message of the newest alert on screen, or "" when none.
    std::string dialog() {
        const auto alerts = reportScreen(server.application()).alerts;
        return alerts.empty() ? "" : alerts.back().message;
    }
    std::size_t indicators() { return reportScreen(server.application()).runningIndicators.size(); }
};

TEST_F(TranslationTest, TheAlertStyleAsksEachEngineAndShowsWhatItAnswers) {
    set("translateStyle", Value(1));
    languages(Array{"zh", "ja"});
    struct Row {
        const char* urlTemplate;          // nullptr: the built-in Youdao service
        std::optional<std::string> body;  // nullptr: the service cannot be reached
        std::string url, shown;
    };
    const std::vector<Row> rows = {
        // "zh" stays "zh" in a Google request.
        {"http://127.0.0.1:7/google?tl=%l&q=%s",
         R"({"sentences":[{"trans":"你好"},{"trans":"!"}]})",
         "http://127.0.0.1:7/google?tl=zh&q=hello%20world", "你好!"},
        {nullptr, R"({"translateResult":[[{"tgt":"A"}],[{"tgt":"B"}]]})",
         "http://127.0.0.1:9/translate?&doctype=json&type=AUTO&i=hello%20world", "AB"},
        {"http://127.0.0.1:7/own?q=%s", " \n", "http://127.0.0.1:7/own?q=hello%20world",
         std::string(translate::kNoTranslation)},
        {"http://127.0.0.1:7/own?q=%s", std::nullopt, "http://127.0.0.1:7/own?q=hello%20world",
         std::string(translate::kConnectFailed)},
        {"not a url %s", std::nullopt, "not a url hello%20world",
         std::string(translate::kConnectFailed)},
    };
    for (const Row& row : rows) {
        updateSettings(server.context(), [&](Dictionary& d) {
            if (row.urlTemplate)
                d["TranslationAlert"] = Value(row.urlTemplate);
            else
                d.erase("TranslationAlert");
        });
        if (row.body) http().answer(row.url, answer(*row.body), 0.5);
        const std::size_t before = http().requests().size();
        translate("hello world");
        device.advance(0.1);
        EXPECT_FALSE(theServer.panel() && theServer.panel()->isShown()) << "the panel hid";
        EXPECT_EQ(indicators(), row.body ? 1u : 0u) << row.url;
        device.advance(1);
        ASSERT_EQ(http().requests().size(), before + 1) << row.url;
        EXPECT_EQ(http().requests().back().request.url, row.url);
        EXPECT_EQ(dialog(), row.shown) << row.url;
        EXPECT_EQ(indicators(), 0u) << "the result hides the indicator";
        EXPECT_TRUE(driver.tapAlertAction("Cancel"));
    }
    expectNotInTheLog("hello");
}

TEST_F(TranslationTest, BaiduIsAskedAgainWhileBusyAndANewPanelEndsIt) {
    set("translateStyle", Value(1));
    set("TranslationAlert", Value("http://api.fanyi.baidu.com/api?q=%s"));
    languages(Array{"ja"});
    const std::string endpoint = "http://127.0.0.1:8/api/trans/vip/translate?q=hi&from=auto&to=jp";
    for (int busy = 0; busy < 3; ++busy)
        http().answer(endpoint, answer(R"({"error_code":"54003"})"), 0.1);
    http().answer(endpoint, answer(R"({"trans_result":[{"dst":"やあ"}]})"), 0.1);
    translate("hi");
    device.advance(1);
    const Texts sent = urls();
    ASSERT_EQ(sent.size(), 4u);
    EXPECT_EQ(sent.front().rfind(endpoint + "&appid=", 0), 0u) << sent.front();
    EXPECT_EQ(Texts(4, sent.front()), sent) << "the same request each time";
    EXPECT_EQ(dialog(), "やあ");
    EXPECT_TRUE(driver.tapAlertAction("Copy"));
    EXPECT_EQ(device.pasteboard().string(), "やあ");
    EXPECT_FALSE(theServer.panel() && theServer.panel()->isShown()) << "Copy opens no panel";
    device.advance(1);

    // Busy without end: the next panel cancels the request and its indicator.
    for (int busy = 0; busy < 50; ++busy)
        http().answer(endpoint, answer(R"({"error_code":"54003"})"), 0.1);
    translate("hi");
    device.advance(0.35);
    EXPECT_EQ(indicators(), 1u);
    splodeSelection("next");
    device.advance(1);
    EXPECT_EQ(http().pendingCount(), 0u);
    EXPECT_EQ(http().requests().back().state, sim::SimHttpClient::State::cancelled);
    EXPECT_EQ(indicators(), 0u);
    EXPECT_TRUE(theServer.panel()->isShown());
}

TEST_F(TranslationTest, ThePickerAsksForTheLanguageAndThePageOpensInThePanel) {
    set("languageSelect", Value(1));
    languages(Array{"ja", "zh"});
    translate("hello world");
    device.runUntilIdle();
    EXPECT_EQ(toasts().back(), translate::kPickerTitle);
    EXPECT_TRUE(driver.tapAlertAction("Cancel"));
    device.runUntilIdle();
    EXPECT_TRUE(theServer.panel()->isShown()) << "cancel leaves the panel as it was";
    EXPECT_EQ(theServer.panel()->webView(), nullptr);

    translate("hello world");
    device.runUntilIdle();
    EXPECT_TRUE(driver.tapAlertAction("zh"));
    device.runUntilIdle();
    ASSERT_NE(theServer.panel()->webView(), nullptr);
    EXPECT_EQ(driver.webView()->loads(),
              Texts{"https://translate.google.com/?vi=c#auto/zh-CN/hello%20world"});
    EXPECT_TRUE(http().requests().empty());

    // Baidu's page takes its own codes.
    closePanel();
    set("languageSelect", Value(0));
    languages(Array{"zh-TW"});
    set("TranslationService", Value("https://fanyi.baidu.com/#auto/%l/%s"));
    translate("a&b");
    device.runUntilIdle();
    EXPECT_EQ(driver.webView()->loads().back(), "https://fanyi.baidu.com/#auto/cht/a&b");
}

}  // namespace
}  // namespace kernova::testing
