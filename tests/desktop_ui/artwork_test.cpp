// The panel's artwork: every picture rendered from data/artwork at build time
// lies in the KernovaPrefs.bundle folder that the desktop programs find, and
// decodes to its pixel size; the renderer refuses bad input with a message.
#include <gtest/gtest.h>

#include <QProcess>
#include <QString>
#include <QStringList>
#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "base/paths.h"
#include "desktop/desktop_paths.h"
#include "desktop/ui/qt_image_codec.h"
#include "support_lib/temp_dir.h"

namespace kernova::desktop::testing {
namespace {

namespace fs = std::filesystem;

struct Picture {
    const char* name;
    int side;  // in pixels; every picture is square
};

constexpr Picture kPictures[] = {
    {"header@2x.png", 160}, {"Copy.png", 70},      {"UrlScheme.png", 70}, {"Translate.png", 70},
    {"Search.png", 70},     {"Share.png", 70},     {"History.png", 70},   {"复制.png", 70},
    {"button@2x.png", 120}, {"Splode@2x.png", 60}, {"Splode@3x.png", 90},
};

struct ToolRun {
    int status;
    std::string err;
};

ToolRun runRenderer(const QStringList& arguments) {
    QProcess process;
    process.start(QStringLiteral(KERNOVA_RENDER_SVG), arguments);
    if (!process.waitForFinished(30000) || process.exitStatus() != QProcess::NormalExit) {
        return {-1, "the renderer did not finish"};
    }
    return {process.exitCode(), process.readAllStandardError().toStdString()};
}

QString q(const fs::path& path) {
    return QString::fromStdString(path.string());
}

TEST(Artwork, EveryPictureIsInTheBundleTheDesktopFinds) {
    // A program of the build tree finds the build tree's data; an installed
    // one the share/kernova beside its bin folder.
    const EnvironmentLookup noEnvironment = [](const char*) {
        return std::optional<std::string>();
    };
    const fs::path bundle = bundleDirectory(noEnvironment, dataDirectory());
    EXPECT_EQ(bundle, fs::path(KERNOVA_BUILD_BUNDLE_DIR));
    kernova::testing::TempDir prefix;
    fs::create_directories(prefix / "bin");
    fs::create_directories(prefix / "share/kernova");
    EXPECT_EQ(dataDirectory(prefix / "bin"), prefix / "share/kernova");

    QtImageCodec codec;
    for (const Picture& picture : kPictures) {
        SCOPED_TRACE(picture.name);
        std::shared_ptr<const ui::Image> image =
            codec.imageWithContentsOfFile(bundle / picture.name);
        ASSERT_TRUE(image) << "missing or not an image";
        const ui::PixelBuffer* pixels = image->pixels();
        ASSERT_NE(pixels, nullptr);
        EXPECT_EQ(pixels->width, picture.side);
        EXPECT_EQ(pixels->height, picture.side);
        EXPECT_TRUE(std::any_of(pixels->argb.begin(), pixels->argb.end(), [](std::uint32_t argb) {
            return (argb >> 24) != 0;
        })) << "fully transparent";
    }
}

// The build itself proves that good pictures render.
TEST(Artwork, RendererRefusesMalformedSvgAndBadArgumentsAndWritesNothing) {
    kernova::testing::TempDir dir;
    const QString broken =
        q(dir.write("broken.svg", "<svg xmlns=\"http://www.w3.org/2000/svg\"><rect"));
    const QString good = q(dir.write("good.svg",
                                     "<svg xmlns=\"http://www.w3.org/2000/svg\" "
                                     "viewBox=\"0 0 4 4\"><rect width=\"4\" height=\"4\"/></svg>"));
    const QString out = q(dir / "out.png");
    auto refused = [](const QStringList& arguments, int status, const char* error) {
        ToolRun run = runRenderer(arguments);
        return run.status == status && run.err.find(error) != std::string::npos;
    };
    EXPECT_TRUE(refused({broken, out, "16", "16"}, 1, "not a valid SVG"));
    EXPECT_TRUE(
        refused({good, q(dir / "no-such-folder" / "out.png"), "16", "16"}, 1, "cannot write"));
    EXPECT_TRUE(refused({good}, 2, "usage:"));
    EXPECT_TRUE(refused({good, out, "16", "0"}, 2, "usage:"));
    EXPECT_EQ(dir.entries(), (std::vector<std::string>{"broken.svg", "good.svg"}));
}

}  // namespace
}  // namespace kernova::desktop::testing
