#include "base/plist.h"

#include <fcntl.h>
#include <plist/plist.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <limits>
#include <memory>
#include <system_error>

#include "base/text.h"

namespace kernova {
namespace {

struct PlistFree {
    void operator()(void* node) const { plist_free(static_cast<plist_t>(node)); }
};
using PlistPtr = std::unique_ptr<void, PlistFree>;

struct MallocFree {
    void operator()(void* p) const { std::free(p); }
};

// Converts a libplist node tree; `ok` turns false on anything we refuse.
Value fromNode(plist_t node, int depth, bool& ok) {
    if (!node || depth > kMaxPropertyListDepth) {
        ok = false;
        return {};
    }
    switch (plist_get_node_type(node)) {
        case PLIST_BOOLEAN: {
            std::uint8_t b = 0;
            plist_get_bool_val(node, &b);
            return Value(b != 0);
        }
        case PLIST_UINT: {
            std::uint64_t u = 0;
            plist_get_uint_val(node, &u);
            // Signed values are stored as their two's-complement bit pattern.
            return Value(static_cast<std::int64_t>(u));
        }
        case PLIST_REAL: {
            double d = 0;
            plist_get_real_val(node, &d);
            return Value(d);
        }
        case PLIST_STRING: {
            std::uint64_t len = 0;
            const char* p = plist_get_string_ptr(node, &len);
            return Value(repairUtf8(std::string_view(p ? p : "", p ? len : 0)));
        }
        case PLIST_DATA: {
            std::uint64_t len = 0;
            const char* p = plist_get_data_ptr(node, &len);
            const auto* b = reinterpret_cast<const std::uint8_t*>(p);
            return Value(p ? Bytes(b, b + len) : Bytes{});
        }
        case PLIST_DATE: {
            std::int32_t sec = 0, usec = 0;
            plist_get_date_val(node, &sec, &usec);
            return Value(Date{static_cast<double>(sec) + static_cast<double>(usec) / 1e6});
        }
        case PLIST_ARRAY: {
            Array out;
            std::uint32_t n = plist_array_get_size(node);
            out.reserve(n);
            for (std::uint32_t i = 0; i < n && ok; ++i) {
                out.push_back(fromNode(plist_array_get_item(node, i), depth + 1, ok));
            }
            return Value(std::move(out));
        }
        case PLIST_DICT: {
            Dictionary out;
            plist_dict_iter iter = nullptr;
            plist_dict_new_iter(node, &iter);
            std::unique_ptr<void, MallocFree> iterGuard(iter);
            for (;;) {
                char* key = nullptr;
                plist_t val = nullptr;
                plist_dict_next_item(node, iter, &key, &val);
                std::unique_ptr<char, MallocFree> keyGuard(key);
                if (!val) break;
                Value v = fromNode(val, depth + 1, ok);
                if (!ok) break;
                out.insert_or_assign(repairUtf8(key ? key : ""), std::move(v));
            }
            return Value(std::move(out));
        }
        case PLIST_UID: {
            std::uint64_t u = 0;
            plist_get_uid_val(node, &u);
            return Value(static_cast<std::int64_t>(u));
        }
        default:
            ok = false;
            return {};
    }
}

plist_t toNode(const Value& v, int depth) {
    if (depth > kMaxPropertyListDepth) return nullptr;
    switch (v.type()) {
        case Value::Type::boolean:
            return plist_new_bool(v.boolValue() ? 1 : 0);
        case Value::Type::integer:
            return plist_new_uint(static_cast<std::uint64_t>(v.integerValue()));
        case Value::Type::real:
            return plist_new_real(v.doubleValue());
        case Value::Type::string: {
            std::string s = repairUtf8(*v.asString());
            return plist_new_string(s.c_str());
        }
        case Value::Type::data: {
            const Bytes& b = *v.asData();
            return plist_new_data(reinterpret_cast<const char*>(b.data()), b.size());
        }
        case Value::Type::date: {
            double t = v.asDate()->secondsSinceReference;
            double sec = std::floor(t);
            if (!std::isfinite(sec) || sec < std::numeric_limits<std::int32_t>::min() ||
                sec > std::numeric_limits<std::int32_t>::max()) {
                return nullptr;
            }
            return plist_new_date(static_cast<std::int32_t>(sec),
                                  static_cast<std::int32_t>(std::lround((t - sec) * 1e6)));
        }
        case Value::Type::array: {
            plist_t arr = plist_new_array();
            for (const Value& item : *v.asArray()) {
                plist_t child = toNode(item, depth + 1);
                if (!child) {
                    plist_free(arr);
                    return nullptr;
                }
                plist_array_append_item(arr, child);
            }
            return arr;
        }
        case Value::Type::dictionary: {
            plist_t dict = plist_new_dict();
            for (const auto& [key, item] : *v.asDictionary()) {
                plist_t child = toNode(item, depth + 1);
                if (!child) {
                    plist_free(dict);
                    return nullptr;
                }
                plist_dict_set_item(dict, repairUtf8(key).c_str(), child);
            }
            return dict;
        }
        default:
            return nullptr;
    }
}

bool writeAll(int fd, std::string_view data) {
    while (!data.empty()) {
        ssize_t n = ::write(fd, data.data(), data.size());
        if (n < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        data.remove_prefix(static_cast<std::size_t>(n));
    }
    return true;
}

std::string errnoText(const std::string& what) {
    return what + ": " + std::strerror(errno);
}

}  // namespace

Value parsePropertyList(std::string_view bytes) {
    if (bytes.empty() || bytes.size() > kMaxPropertyListBytes) return {};
    plist_t root = nullptr;
    plist_from_memory(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &root);
    PlistPtr guard(root);
    if (!root) return {};
    bool ok = true;
    Value v = fromNode(root, 0, ok);
    return ok ? v : Value();
}

Value loadPropertyList(const std::filesystem::path& path) {
    std::error_code ec;
    if (!std::filesystem::is_regular_file(path, ec)) return {};
    auto size = std::filesystem::file_size(path, ec);
    if (ec || size == 0 || size > kMaxPropertyListBytes) return {};
    std::ifstream in(path, std::ios::binary);
    if (!in) return {};
    std::string bytes(static_cast<std::size_t>(size), '\0');
    in.read(bytes.data(), static_cast<std::streamsize>(size));
    bytes.resize(static_cast<std::size_t>(in.gcount()));
    return parsePropertyList(bytes);
}

Value loadDictionary(const std::filesystem::path& path) {
    Value v = loadPropertyList(path);
    return v.asDictionary() ? v : Value();
}

std::string serializePropertyListXml(const Value& value) {
    PlistPtr root(toNode(value, 0));
    if (!root) return {};
    char* xml = nullptr;
    std::uint32_t len = 0;
    plist_to_xml(static_cast<plist_t>(root.get()), &xml, &len);
    if (!xml) return {};
    std::string out(xml, len);
    plist_to_xml_free(xml);
    return out;
}

SaveResult saveFileAtomically(const std::filesystem::path& path, std::string_view bytes) {
    std::error_code ec;
    std::filesystem::path dir = path.parent_path();
    if (dir.empty()) dir = ".";
    std::filesystem::create_directories(dir, ec);
    if (ec) return {false, "cannot create " + dir.string() + ": " + ec.message()};

    std::string tmpl = (dir / ("." + path.filename().string() + ".XXXXXX")).string();
    int fd = ::mkstemp(tmpl.data());
    if (fd < 0) return {false, errnoText("cannot create a temporary file in " + dir.string())};
    struct stat st {};
    mode_t mode = ::stat(path.c_str(), &st) == 0 ? (st.st_mode & 07777) : 0644;
    bool ok = ::fchmod(fd, mode) == 0 && writeAll(fd, bytes) && ::fsync(fd) == 0;
    std::string error = ok ? "" : errnoText("cannot write " + tmpl);
    if (::close(fd) != 0 && ok) {
        ok = false;
        error = errnoText("cannot write " + tmpl);
    }
    if (ok && ::rename(tmpl.c_str(), path.c_str()) != 0) {
        ok = false;
        error = errnoText("cannot replace " + path.string());
    }
    if (!ok) {
        ::unlink(tmpl.c_str());
        return {false, error};
    }
    // Make the rename itself durable.
    int dfd = ::open(dir.c_str(), O_RDONLY | O_DIRECTORY);
    if (dfd >= 0) {
        ::fsync(dfd);
        ::close(dfd);
    }
    return {true, ""};
}

SaveResult savePropertyList(const std::filesystem::path& path, const Value& value) {
    std::string xml = serializePropertyListXml(value);
    if (xml.empty()) return {false, "the value cannot be written as a property list"};
    return saveFileAtomically(path, xml);
}

}  // namespace kernova
