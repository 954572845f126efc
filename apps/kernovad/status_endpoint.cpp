#include "kernovad/status_endpoint.h"

#include <filesystem>
#include <nlohmann/json.hpp>
#include <vector>

#include "desktop/display_server.h"
#include "desktop/ocr/tesseract_engine.h"
#include "desktop/ui/web_view_backing.h"

namespace kernova::daemon {

namespace {

// The first of `candidates` that exists, or null.
nlohmann::ordered_json firstFound(const std::vector<std::string>& candidates) {
    for (const std::string& path : candidates) {
        std::error_code error;
        if (std::filesystem::is_regular_file(path, error)) return path;
    }
    return nullptr;
}

}  // namespace

std::string StatusEndpoint::json() const {
    nlohmann::ordered_json hotkey = {{"key", "none"}, {"state", "off"}};
    if (sources_.hotkey) {
        hotkey["key"] = sources_.hotkey->sequence();
        if (auto status = sources_.hotkey->status())
            hotkey["state"] = std::string(capture::hotkeyStatusName(*status));
    }
    nlohmann::ordered_json out = {
        {"version", KERNOVA_VERSION},
        {"displayServer", desktop::displayServer(sources_.env)},
        {"hotkey", hotkey},
        {"clipboardWatch",
         sources_.clipboardWatchStarted ? sources_.clipboardWatchStarted() : false},
        {"webEngineModule", firstFound(desktop::webEngineModuleCandidates())},
        {"ocrModule", firstFound(desktop::TesseractEngine::moduleCandidates())},
    };
    return out.dump();
}

}  // namespace kernova::daemon
