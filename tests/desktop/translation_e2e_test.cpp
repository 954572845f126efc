// A translation of the alert style on a real X server: the panel's Translate
// button asks a loopback stand-in for Youdao, the running indicator shows
// while it answers, then the result dialog, whose copy key and Copy button
// put the result on the CLIPBOARD without opening a panel.
#include <QByteArray>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

#include "e2e_fixture.h"
#include "loopback_http.h"

namespace kernova::testing {
namespace {

// Answers every request with one Youdao result, `delayMs` after it came.
LoopbackHttpServer youdaoStandIn(int delayMs) {
    return LoopbackHttpServer([delayMs](const LoopbackRequest&) {
        return LoopbackAnswer{200, "application/json",
                              R"({"translateResult":[[{"tgt":"Bonjour"}]]})", delayMs};
    });
}

class TranslationEndToEnd : public PanelEndToEnd {
  protected:
    // Restarts kernovad against `youdao`, with the alert style.
    void useStandIn(const LoopbackHttpServer& youdao) {
        ASSERT_EQ(daemon_->terminate(), 0);
        env_.insert(QStringLiteral("KERNOVA_TRANSLATE_YOUDAO"),
                    QStringLiteral("http://127.0.0.1:%1").arg(youdao.port()));
        daemon_ = std::make_unique<KernovadProcess>(env_);
        ASSERT_TRUE(daemon_->started());
        ASSERT_EQ(run(desktopCliPath(), {"set", "translateStyle", "1"}).first, 0);
    }
    nlohmann::json alerts() {
        auto s = state();
        return s ? (*s)["alerts"] : nlohmann::json::array();
    }
    // The result dialog is up and keeps the keyboard.
    bool resultDialogHasKeyboard() {
        int steady = 0;
        return waitFor([&] {
            const bool focused =
                run(QStringLiteral("xdotool"), {"getwindowfocus", "getwindowname"}).second ==
                "Translation result\n";
            steady = focused ? steady + 1 : 0;
            return steady >= 3;
        });
    }
    // Translates `text` and waits for the dialog; the running indicator shows first.
    void translate(const QString& text) {
        ASSERT_TRUE(openPanel(text));
        ASSERT_TRUE(click(actionButton("Translate")));
        ASSERT_TRUE(waitFor([&] {
            auto s = state();
            return s && !(*s)["running"].empty();
        })) << "the running indicator";
        ASSERT_TRUE(waitFor([&] { return !alerts().empty(); }));
        const nlohmann::json alert = alerts().back();
        EXPECT_EQ(alert["title"], "Translation result");
        EXPECT_EQ(alert["message"], "Bonjour");
        EXPECT_EQ(alert["buttons"], nlohmann::json::array({"Copy", "Cancel"}));
        EXPECT_TRUE((*state())["running"].empty());
        EXPECT_FALSE((*state())["shown"].get<bool>());
        ASSERT_TRUE(resultDialogHasKeyboard());
    }
    // The result reached the CLIPBOARD, the dialog went away and no panel opened.
    void expectCopied() {
        EXPECT_TRUE(waitFor([&] { return clipboard() == "Bonjour"; })) << clipboard();
        EXPECT_TRUE(waitFor([&] { return alerts().empty(); }));
        EXPECT_FALSE((*state())["shown"].get<bool>());
    }
};

TEST_F(TranslationEndToEnd, TheResultDialogShowsTheAnswerAndCopiesIt) {
    if (!haveTool("xclip")) GTEST_SKIP() << "needs xclip";
    LoopbackHttpServer youdao = youdaoStandIn(700);
    ASSERT_NE(youdao.port(), 0);
    useStandIn(youdao);

    translate(QString::fromUtf8("good morning 早"));
    ASSERT_EQ(youdao.requests().size(), 1u);
    EXPECT_NE(youdao.requests().back().line.find("&i=good%20morning%20%E6%97%A9 "),
              std::string::npos)
        << youdao.requests().back().line;
    ASSERT_TRUE(xdotool({"key", "ctrl+c"}));
    expectCopied();

    translate(QStringLiteral("good night"));
    ASSERT_TRUE(run(QStringLiteral("xclip"), {"-selection", "clipboard", "/dev/null"}).first == 0);
    ASSERT_TRUE(xdotool({"key", "Escape"}));
    EXPECT_TRUE(waitFor([&] { return alerts().empty(); }));
    EXPECT_EQ(clipboard(), "");
}

}  // namespace
}  // namespace kernova::testing
