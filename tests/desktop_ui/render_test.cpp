// `kernova render`: the board painted offscreen (colours of selected and plain
// tags, rounded corners), its arguments, and the PNG written as a whole.
#include <QImage>
#include <algorithm>
#include <cmath>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "desktop_ui/desktop_ui_fixture.h"
#include "kernova/render_command.h"
#include "support_lib/temp_dir.h"

namespace kernova::desktop::testing {
namespace {

using cli::parseRenderArguments;
using cli::RenderParse;

const QColor kSelectedBlue(74, 150, 247);

std::size_t indexOf(const std::vector<TagState>& tags, const std::string& text) {
    auto it = std::find_if(tags.begin(), tags.end(), [&](const auto& t) { return t.text == text; });
    EXPECT_NE(it, tags.end()) << "no tag " << text;
    return static_cast<std::size_t>(it - tags.begin());
}

// The bottom of the lowest tag plus the board's bottom inset.
double fittedHeight(const std::vector<TagState>& tags) {
    double bottom = 0;
    for (const auto& tag : tags)
        bottom = std::max(bottom, tag.frame.origin.y + tag.frame.size.height);
    return bottom + GTagFlowView::kDefaultEdgeInsets.bottom;
}

struct CommandRun {
    int status;
    std::string out;
    std::string err;
};

CommandRun runCommand(std::vector<std::string> args, const std::string& input = {}) {
    std::istringstream in(input);
    std::ostringstream out;
    std::ostringstream err;
    int status = cli::runRender(args, in, out, err);
    return {status, out.str(), err.str()};
}

using RenderTest = DesktopUiTest;

TEST_F(RenderTest, PaintsSelectedAndPlainTagsWithRoundedCorners) {
    auto overlay = cli::showBoard(app, "alpha beta gamma", 300, 0);
    std::vector<TagState> tags = overlay->tagStates();
    std::size_t beta = indexOf(tags, "beta");
    std::size_t alpha = indexOf(tags, "alpha");
    GTagFlowView& board = overlay->board();
    board.didSelectItemAtIndexPath(*board.collectionView(), {0, static_cast<std::int64_t>(beta)});
    clock.advance(1.0);  // past any selection animation
    tags = overlay->tagStates();
    ASSERT_EQ(tags[beta].selectionIndex, 1);

    QImage image = cli::renderBoard(*overlay);
    ASSERT_EQ(image.size(), QSize(300, static_cast<int>(std::ceil(fittedHeight(tags)))));
    // Just inside the left edge at mid height: left of the text's glyphs.
    auto inside = [&](const ui::Rect& f) {
        return at(image, f.origin.x + 2.5, f.origin.y + f.size.height / 2);
    };
    const ui::Rect& selected = tags[beta].frame;
    const ui::Rect& plain = tags[alpha].frame;
    EXPECT_TRUE(near(inside(selected), kSelectedBlue));
    EXPECT_TRUE(near(inside(plain), Qt::white));
    // The frames' exact corners lie outside the 4-point radius: the card shows.
    QColor selectedCorner = at(image, selected.origin.x, selected.origin.y);
    QColor plainCorner = at(image, plain.origin.x, plain.origin.y);
    EXPECT_FALSE(near(selectedCorner, kSelectedBlue, 30));
    EXPECT_FALSE(near(plainCorner, Qt::white, 3));
    EXPECT_TRUE(near(plainCorner, selectedCorner));
    // Around the tags the card is opaque.
    EXPECT_EQ(at(image, 2, 2).alpha(), 255);
}

// The size parser itself is shared with `kernova layout` and checked there.
TEST(RenderArguments, SizesUpToTheLargestImageAndBadArgumentsAreRefused) {
    std::vector<std::string> args{"--out",   "b.png", "--height", "40.5",
                                  "--width", "16384", "--text",   "a"};
    RenderParse parse = parseRenderArguments(args);
    ASSERT_TRUE(parse.options) << parse.error;
    EXPECT_EQ(parse.options->width, 16384);
    EXPECT_EQ(parse.options->height, 40.5);
    args = {"--help"};
    EXPECT_TRUE(parseRenderArguments(args).options->help);

    const std::pair<std::vector<std::string>, std::string> refused[] = {
        {{"--width", "0.5"}, "from 1 to"},
        {{"--width", "16384.5"}, "16384"},
        {{"--width", "1e300"}, "16384"},
        {{"--height", "nan"}, "--height"},
        {{"--scale", "2"}, "unknown option --scale"},
        {{"extra"}, "unexpected"},
    };
    for (const auto& [extra, error] : refused) {
        args = {"--text", "a", "--out", "a.png"};
        args.insert(args.end(), extra.begin(), extra.end());
        parse = parseRenderArguments(args);
        EXPECT_FALSE(parse.options) << extra[0];
        EXPECT_NE(parse.error.find(error), std::string::npos) << parse.error;
    }
    args = {"--text", "a"};
    EXPECT_EQ(parseRenderArguments(args).error, "missing --out");
    args = {"--text", "a", "--out"};
    EXPECT_EQ(parseRenderArguments(args).error, "--out needs a value");
    args = {"--out", "a.png"};
    EXPECT_NE(parseRenderArguments(args).error.find("missing --text"), std::string::npos);

    CommandRun run = runCommand({"--text", "a", "--out", "a.png", "--width", "20000"});
    EXPECT_EQ(run.status, 2);
    EXPECT_TRUE(run.out.empty());
    EXPECT_NE(run.err.find(cli::kRenderUsage), std::string::npos);
}

TEST_F(RenderTest, WritesThePngAtTheRequestedOrFittedSize) {
    kernova::testing::TempDir dir;
    std::string sized = (dir / "sized.png").string();
    CommandRun run =
        runCommand({"--text", "你好 world", "--width", "200", "--height", "80", "--out", sized});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, sized + "\n");
    QImage image(QString::fromStdString(sized));
    ASSERT_FALSE(image.isNull());
    EXPECT_EQ(image.size(), QSize(200, 80));

    // Without a height the image is as tall as the content, measured as the
    // board in this process measures it.
    auto overlay = cli::showBoard(app, "你好 world", 375, 0);
    int expected = static_cast<int>(std::ceil(fittedHeight(overlay->tagStates())));
    std::string fitted = (dir / "fitted.png").string();
    run = runCommand({"--text", "-", "--out", fitted}, "你好 world\n");
    ASSERT_EQ(run.status, 0) << run.err;
    QImage fromInput(QString::fromStdString(fitted));
    EXPECT_EQ(fromInput.size(), QSize(375, expected));
    // Standard input's final newline is no tag: the same board as the argument.
    std::string fromArgument = (dir / "argument.png").string();
    ASSERT_EQ(runCommand({"--text", "你好 world", "--out", fromArgument}).status, 0);
    EXPECT_EQ(QImage(QString::fromStdString(fromArgument)), fromInput);
    EXPECT_EQ(dir.entries(), (std::vector<std::string>{"argument.png", "fitted.png", "sized.png"}));
}

TEST_F(RenderTest, ABoardTallerThanTheLargestImageIsCutWithAWarning) {
    kernova::testing::TempDir dir;
    std::string text;
    for (int i = 0; i < 500; ++i)
        text += "w ";  // one tag per line on a narrow board: far beyond 16384 points
    std::string path = (dir / "tall.png").string();
    CommandRun run = runCommand({"--text", text, "--width", "50", "--out", path});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.err.find("the image shows its first 16384"), std::string::npos) << run.err;
    EXPECT_EQ(QImage(QString::fromStdString(path)).size(), QSize(50, 16384));
}

TEST_F(RenderTest, AFailedWriteExitsOneAndLeavesNoFile) {
    kernova::testing::TempDir dir;
    std::string path = (dir / "missing" / "r.png").string();
    CommandRun run = runCommand({"--text", "hello", "--out", path});
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(run.out.empty());
    EXPECT_TRUE(run.err.starts_with("kernova render: cannot write " + path + ": ")) << run.err;
    EXPECT_GT(run.err.size(), ("kernova render: cannot write " + path + ": \n").size());
    EXPECT_TRUE(dir.entries().empty());

    // A folder in the file's place: nothing replaces it, no sibling is left.
    std::filesystem::create_directory(dir / "taken.png");
    run = runCommand({"--text", "hello", "--out", (dir / "taken.png").string()});
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(std::filesystem::is_directory(dir / "taken.png"));
    EXPECT_EQ(dir.entries(), std::vector<std::string>{"taken.png"});
}

}  // namespace
}  // namespace kernova::desktop::testing
