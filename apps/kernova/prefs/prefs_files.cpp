#include "kernova/prefs/prefs_files.h"

#include <chrono>
#include <fstream>
#include <iterator>
#include <system_error>

#include "base/plist.h"

namespace kernova::prefs {
namespace {

// FNV-1a: enough to tell a changed file from the same one.
std::uint64_t hashOf(const std::string& bytes) {
    std::uint64_t h = 1469598103934665603ull;
    for (char c : bytes) {
        h ^= static_cast<unsigned char>(c);
        h *= 1099511628211ull;
    }
    return h;
}

struct Read {
    FileStamp stamp;
    std::optional<std::string> bytes;  // absent for a missing or unreadable file
};

Read readFile(const std::filesystem::path& path) {
    Read read;
    std::error_code ec;
    if (!std::filesystem::is_regular_file(path, ec)) return read;
    const auto size = std::filesystem::file_size(path, ec);
    if (ec || size > kMaxPropertyListBytes) {
        read.stamp.exists = true;
        read.stamp.size = ec ? 0 : size;
        return read;
    }
    const auto time = std::filesystem::last_write_time(path, ec);
    std::ifstream in(path, std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    read.stamp.exists = true;
    read.stamp.size = bytes.size();
    read.stamp.modified =
        ec ? 0
           : std::chrono::duration_cast<std::chrono::nanoseconds>(time.time_since_epoch()).count();
    read.stamp.hash = hashOf(bytes);
    if (in.bad()) return read;
    read.bytes = std::move(bytes);
    return read;
}

}  // namespace

EditableFile readEditable(const std::filesystem::path& path) {
    EditableFile file;
    Read read = readFile(path);
    file.stamp = read.stamp;
    if (!read.stamp.exists) return file;
    const Value value = read.bytes ? parsePropertyList(*read.bytes) : Value();
    if (const Dictionary* root = value.asDictionary())
        file.root = *root;
    else
        file.malformed = true;
    return file;
}

SaveOutcome saveEdited(const std::filesystem::path& path, const FileStamp& readStamp,
                       const std::function<void(Dictionary&)>& edit) {
    SaveOutcome outcome;
    EditableFile now = readEditable(path);
    if (now.stamp != readStamp) {
        outcome.status = SaveStatus::changedOnDisk;
        return outcome;
    }
    edit(now.root);
    SaveResult saved = savePropertyList(path, Value(std::move(now.root)));
    if (!saved) {
        outcome.error = saved.error;
        return outcome;
    }
    outcome.status = SaveStatus::saved;
    outcome.stamp = readFile(path).stamp;
    return outcome;
}

}  // namespace kernova::prefs
