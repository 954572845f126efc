// The history and the URL templates on the simulated device: what a shown
// panel records and how the file is trimmed, the history sheet (title,
// entries, cancel) and the panel a picked entry opens; the URL a template
// builds, one template or a picker, the missing-file notice, and numbered
// picks as template slots.
#include "panel/history.h"

#include <algorithm>
#include <fstream>
#include <sstream>

#include "panel/url_schemes.h"
#include "server/server_fixture.h"

namespace kernova::testing {
namespace {

using Texts = std::vector<std::string>;

std::string readFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

Texts numbered(const char* prefix, int from, int to) {
    Texts texts;
    for (int i = from; i >= to; --i)
        texts.push_back(prefix + std::to_string(i));
    return texts;
}

class HistoryTest : public ServerFixture {
  protected:
    HistoryTest() {
        for (const char* name : {"note", "dict", "dict2", "route"})
            server.services().urlOpener().installScheme(name);
    }
    const Context& context() { return server.context(); }
    void writeHistory(const Texts& texts) {
        Array items;
        for (const std::string& text : texts)
            items.emplace_back(text);
        savePropertyList(context().paths().historyFile(),
                         Value(Dictionary{{"items", Value(std::move(items))}}));
    }
    void writeSchemes(Array items) {
        savePropertyList(context().paths().schemesFile(),
                         Value(Dictionary{{"items", Value(std::move(items))}}));
    }
    static Value scheme(const char* name, const char* templ) {
        return Value(Dictionary{{"name", Value(name)}, {"scheme", Value(templ)}});
    }
    void tapTag(const std::string& text) { driver.tap(tag(text)); }
    // The newest sheet's title and its buttons, in order.
    Texts sheet() {
        auto alert = driver.topAlert();
        if (!alert) return {};
        Texts texts{alert->title().value_or("")};
        for (const auto& action : alert->actions())
            texts.push_back(action->title().value_or(""));
        return texts;
    }
    Texts opened() { return server.services().urlOpener().openedURLs(); }
};

TEST_F(HistoryTest, RecordingKeepsTheNewestFirstAndTrimsOneEntry) {
    struct Row {
        const char* what;
        std::int64_t capacity;
        Texts before;
        Texts record;
        Texts after;
    };
    Texts twentyFive = numbered("old", 25, 1);
    Texts trimmed = twentyFive;
    trimmed.erase(trimmed.begin() + 19);
    trimmed.insert(trimmed.begin(), "new");
    Texts upTo21 = numbered("t", 21, 1);
    std::reverse(upTo21.begin(), upTo21.end());
    const Row rows[] = {
        {"the 21st text pushes the oldest out", 20, {}, upTo21, numbered("t", 21, 2)},
        {"25 stored with capacity 20 stay 25", 20, twentyFive, {"new"}, trimmed},
        {"the same text twice is kept once", 20, {}, {"A", "A"}, {"A"}},
        {"A, B, A is three entries", 20, {}, {"A", "B", "A"}, {"A", "B", "A"}},
        {"an older equal entry stays", 20, {"B", "A"}, {"A"}, {"A", "B", "A"}},
        {"the top entry again: no write, no trim", 2, {"A", "B", "C"}, {"A"}, {"A", "B", "C"}},
        {"capacity 1 keeps the newest", 1, {"A"}, {"B"}, {"B"}},
    };
    for (const Row& row : rows) {
        set("historyCount", Value(row.capacity));
        writeHistory(row.before);
        for (const std::string& text : row.record)
            recordHistory(context(), text);
        EXPECT_EQ(loadHistory(context()), row.after) << row.what;
    }
}

TEST_F(HistoryTest, NothingIsRecordedWithoutCapacityAndACorruptFileIsReplaced) {
    writeHistory({"kept"});
    const std::string before = readFile(context().paths().historyFile());
    for (std::int64_t capacity : {0, -3}) {
        set("historyCount", Value(capacity));
        open("not recorded").hide();
        device.advance(0.1);
        EXPECT_EQ(readFile(context().paths().historyFile()), before) << capacity;
    }

    set("historyCount", Value(20));
    std::ofstream(context().paths().historyFile(), std::ios::trunc) << "<plist><dict><key>items";
    EXPECT_TRUE(loadHistory(context()).empty());
    // A shown panel records its whole text once its show animation ends.
    open("alpha beta");
    EXPECT_EQ(loadHistory(context()), Texts{"alpha beta"});
}

TEST_F(HistoryTest, EntriesAreShownOnOneShortLine) {
    auto times = [](const char* text, int count) {
        std::string out;
        while (count-- > 0)
            out += text;
        return out;
    };
    const std::pair<std::string, std::string> rows[] = {
        {"short", "short"},
        {"a\nb\r\nc\rd\u2028e", "a⏎b⏎c⏎d⏎e"},
        {times("y", 80), times("y", 80)},
        {times("x", 90), times("x", 40) + "…" + times("x", 39)},
        {times("中", 81), times("中", 40) + "…" + times("中", 39)},
    };
    for (const auto& [text, shown] : rows)
        EXPECT_EQ(historyEntryTitle(text), shown) << text;
}

TEST_F(HistoryTest, TheSheetListsTheEntriesAndAPickOpensANewPanel) {
    open("on screen");
    writeHistory({"line one\nline two", "picked text", std::string(100, 'z')});
    tapAction("History");
    device.advance(0.1);
    EXPECT_EQ(theServer.panel(), nullptr) << "the panel hides first";
    // Its title and buttons, and a pick by keyboard, are proven end to end.
    const std::uint64_t received = theServer.receivedCount();
    EXPECT_EQ(sheet().size(), 5u);
    EXPECT_TRUE(driver.tapAlertAction("取消"));
    device.advance(1);
    EXPECT_EQ(theServer.receivedCount(), received) << "cancel sends nothing";
    EXPECT_TRUE(server.application().windows().empty()) << "the sheet's window went with it";

    // A pick opens a panel on the full text, not its one-line title.
    send("showHistory");
    EXPECT_TRUE(driver.tapAlertAction("line one⏎line two"));
    device.advance(GTagFlowContainer::kShowSeconds);
    ASSERT_NE(theServer.panel(), nullptr);
    EXPECT_EQ(theServer.panel()->flowView()->getAllTextstring(), "line one\nline two");
    expectNotInTheLog("line one");
}

TEST(UrlSchemes, TheUrlIsTheTemplateFilledThenEscapedWhole) {
    struct Row {
        const char* templ;
        const char* text;
        const char* url;
        Texts picks = {};
        bool slots = false;
    };
    const Row rows[] = {
        {"app://look?q=%s", "two words", "app://look?q=two%20words"},
        {"dict:%s", "中文é", "dict:%E4%B8%AD%E6%96%87%C3%A9"},
        {"x://a%20b?q=%s", "t", "x://a%2520b?q=t"},
        {"x://p#frag?%s", "a#b[1]", "x://p%23frag?a%23b%5B1%5D"},
        {"x://%s/%s", "ab", "x://ab/ab"},
        {"x://fixed", "ab", "x://fixed"},
        {"x://%s", "%s {1}", "x://%25s%20%7B1%7D"},
        {"x://?a=1&b=(2)*+,;!$'@~_.-/:", "", "x://?a=1&b=(2)*+,;!$'@~_.-/:"},
        // Template slots: values raw, then the whole URL escaped.
        {"route://?from={1}&to={2}&via={3}&all={all}&q=%s",
         "Tokyo Osaka",
         "route://?from=Tokyo&to=Osaka&via=&all=Tokyo%20Osaka&q=Tokyo%20Osaka",
         {"Tokyo", "Osaka"},
         true},
        {"x://{1}-{2}", "abc", "x://a-b", {"a", "b", "c"}, true},
        {"x://{1}/%s", "{2}", "x://%25s%7B2%7D/%7B2%7D", {"%s{2}", "b"}, true},
        {"x://{1}/{all}", "abc", "x://%7B1%7D/%7Ball%7D", {"a"}, false},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(buildSchemeUrl(row.templ, SchemeText{row.text, row.picks, row.slots}), row.url)
            << row.templ;
    }
}

TEST_F(HistoryTest, SeveralTemplatesArePickedAndNoneIsANotice) {
    // No file, then a file without entries: the notice, nothing opened.
    open("some text");
    tapAction("UrlScheme");
    writeSchemes({});
    open("some text");
    tapAction("UrlScheme");
    EXPECT_EQ(toasts(),
              (Texts{"Please set the Url scheme to use!", "Please set the Url scheme to use!"}));
    EXPECT_EQ(theServer.panel(), nullptr) << "the panel's window stays hidden";
    device.advance(1);

    // One template opens at once (proven end to end); several are picked.
    writeSchemes({scheme("Notes", "note://%s"), scheme("Dict", "dict://%s")});
    open("a b");
    tapTag("b");
    tapAction("UrlScheme");
    EXPECT_EQ(sheet(), (Texts{"b", "Notes", "Dict", "Cancel"}));
    EXPECT_TRUE(driver.tapAlertAction("Cancel"));
    open("a b");
    tapAction("UrlScheme");
    // The choice reads the file again.
    writeSchemes({scheme("Notes", "note://%s"), scheme("Dict", "dict2://%s")});
    EXPECT_TRUE(driver.tapAlertAction("Dict"));
    device.runUntilIdle();
    EXPECT_EQ(opened(), (Texts{"dict2://a%20b"}));
    open("gone");
    tapAction("UrlScheme");
    std::filesystem::remove(context().paths().schemesFile());
    EXPECT_TRUE(driver.tapAlertAction("Notes"));
    EXPECT_EQ(toasts().back(), "Please set the Url scheme to use!");
    EXPECT_EQ(opened().size(), 1u);
}

TEST_F(HistoryTest, PicksFillTheSlotsOfUrlAndSearchTemplatesInTheOrderPicked) {
    writeSchemes({scheme("Route", "route://?from={1}&to={2}&q=%s")});
    set("SearchEngine", Value("http://h/r?from={1}&to={2}&via={3}&q=%s"));
    Texts urls;
    for (const bool slots : {true, false}) {
        set("templateSlots", Value(slots));
        for (const char* button : {"UrlScheme", "Search"}) {
            open("Osaka to Tokyo & Kyoto");
            tapTag("Tokyo");
            tapTag("&");
            tapAction(button);
        }
        urls.push_back(theServer.panel()->webView()->URL());
        closePanel();
    }
    // A URL template takes the values raw and escapes the whole URL after.
    EXPECT_EQ(opened(), (Texts{"route://?from=Tokyo&to=&&q=Tokyo&",
                               "route://?from=%7B1%7D&to=%7B2%7D&q=Tokyo&"}));
    EXPECT_EQ(urls, (Texts{"http://h/r?from=Tokyo&to=%26&via=&q=Tokyo%26",
                           "http://h/r?from={1}&to={2}&via={3}&q=Tokyo%26"}));
}

}  // namespace
}  // namespace kernova::testing
