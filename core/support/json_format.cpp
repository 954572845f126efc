#include "support/json_format.h"

#include <array>
#include <charconv>
#include <cstdint>
#include <nlohmann/json.hpp>

namespace kernova {

using Json = nlohmann::json;

void appendJsonFormatted(std::string& out, const Json* value) {
    if (value == nullptr) {
        out += "(null)";
        return;
    }
    switch (value->type()) {
        case Json::value_t::string:
            out += value->get_ref<const std::string&>();
            return;
        case Json::value_t::null:
            out += "<null>";
            return;
        case Json::value_t::boolean:
            out += value->get<bool>() ? "1" : "0";
            return;
        case Json::value_t::number_integer:
            out += std::to_string(value->get<std::int64_t>());
            return;
        case Json::value_t::number_unsigned:
            out += std::to_string(value->get<std::uint64_t>());
            return;
        case Json::value_t::number_float: {
            std::array<char, 64> buffer{};
            auto [end, error] =
                std::to_chars(buffer.data(), buffer.data() + buffer.size(), value->get<double>());
            if (error == std::errc()) out.append(buffer.data(), end);
            return;
        }
        default:
            out += value->dump(4, ' ', false, Json::error_handler_t::replace);
            return;
    }
}

const Json* jsonMember(const Json& object, const char* key) {
    if (!object.is_object()) return nullptr;
    auto found = object.find(key);
    return found == object.end() ? nullptr : &*found;
}

}  // namespace kernova
