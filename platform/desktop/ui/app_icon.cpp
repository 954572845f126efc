#include "desktop/ui/app_icon.h"

#include <QString>
#include <string>
#include <system_error>

namespace kernova::desktop {

QIcon applicationIcon(const std::filesystem::path& dataDirectory) {
    QIcon icon;
    const std::filesystem::path hicolor = dataDirectory.parent_path() / "icons" / "hicolor";
    for (int side : kApplicationIconSizes) {
        const std::string size = std::to_string(side) + "x" + std::to_string(side);
        const std::filesystem::path file = hicolor / size / "apps" / "kernova.png";
        std::error_code error;
        if (std::filesystem::is_regular_file(file, error))
            icon.addFile(QString::fromStdString(file.string()), QSize(side, side));
    }
    if (icon.isNull()) icon = QIcon::fromTheme(QString::fromLatin1(kApplicationIconName));
    return icon;
}

}  // namespace kernova::desktop
