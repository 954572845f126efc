// A translation of the alert style on a real X server: the panel's Translate
// button asks a loopback stand-in for Youdao, the running indicator shows
// while it answers, then the result dialog, whose copy key puts the result on
// the CLIPBOARD without opening a panel, and which Escape closes.
#include "e2e_fixture.h"
#include "loopback_http.h"

namespace kernova::testing {
namespace {

class TranslationEndToEnd : public PanelEndToEnd {
  protected:
    nlohmann::json alerts() {
        const nlohmann::json all = shown("alerts");
        return all.is_null() ? nlohmann::json::array() : all;
    }
    // Translates `text` and waits for the dialog; the running indicator shows first.
    void translate(const QString& text) {
        ASSERT_TRUE(openPanel(text));
        ASSERT_TRUE(click(actionButton("Translate")));
        ASSERT_TRUE(waitFor([&] { return !shown("running").empty(); })) << "the running indicator";
        ASSERT_TRUE(waitFor([&] { return !alerts().empty(); }));
        const nlohmann::json alert = alerts().back();
        EXPECT_EQ(alert["title"], "Translation result");
        EXPECT_EQ(alert["message"], "Bonjour");
        EXPECT_EQ(alert["buttons"], nlohmann::json::array({"Copy", "Cancel"}));
        EXPECT_TRUE(shown("running").empty());
        EXPECT_FALSE(shown("shown").get<bool>());
        ASSERT_TRUE(keepsKeyboard("Translation result"));
    }
};

TEST_F(TranslationEndToEnd, TheResultDialogShowsTheAnswerAndCopiesIt) {
    if (!haveTool("xclip")) GTEST_SKIP() << "needs xclip";
    // A stand-in for Youdao answers every request with one result, 700 ms later.
    LoopbackHttpServer youdao([](const LoopbackRequest&) {
        return LoopbackAnswer{200, "application/json",
                              R"({"translateResult":[[{"tgt":"Bonjour"}]]})", 700};
    });
    ASSERT_NE(youdao.port(), 0);
    env_.insert(QStringLiteral("KERNOVA_TRANSLATE_YOUDAO"), QString::fromLatin1(youdao.url("")));
    ASSERT_TRUE(restartDaemon());
    ASSERT_TRUE(kernova({"set", "translateStyle", "1"}));

    translate(QString::fromUtf8("good morning 早"));
    ASSERT_EQ(youdao.requests().size(), 1u);
    EXPECT_NE(youdao.requests().back().line.find("&i=good%20morning%20%E6%97%A9 "),
              std::string::npos)
        << youdao.requests().back().line;
    // The copy key puts the result on the CLIPBOARD; no panel opens.
    ASSERT_TRUE(xdotool({"key", "ctrl+c"}));
    EXPECT_TRUE(waitFor([&] { return clipboard() == "Bonjour"; })) << clipboard();
    EXPECT_TRUE(waitFor([&] { return alerts().empty(); }));
    EXPECT_FALSE(shown("shown").get<bool>());

    translate(QStringLiteral("good night"));
    ASSERT_TRUE(run(QStringLiteral("xclip"), {"-selection", "clipboard", "/dev/null"}).first == 0);
    ASSERT_TRUE(xdotool({"key", "Escape"}));
    EXPECT_TRUE(waitFor([&] { return alerts().empty(); }));
    EXPECT_EQ(clipboard(), "");
}

}  // namespace
}  // namespace kernova::testing
