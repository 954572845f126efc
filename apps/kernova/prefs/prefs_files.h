// The preferences window's files, read and written without losing anything it
// does not edit: a file is read with a stamp of what was on disk (size, time
// and a hash of its bytes), and a save reads it afresh, refuses when it is no
// longer what was read, applies only the edits and writes it whole and
// atomically. No Qt here.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "base/value.h"

namespace kernova::prefs {

// What was on disk when a file was read; equal stamps mean an unchanged file.
struct FileStamp {
    bool exists = false;
    std::uintmax_t size = 0;
    std::int64_t modified = 0;  // nanoseconds of the file's modification time
    std::uint64_t hash = 0;     // of its bytes
    bool operator==(const FileStamp&) const = default;
};

struct EditableFile {
    Dictionary root;  // empty when the file is missing or malformed
    FileStamp stamp;
    // The file exists but holds no readable dictionary: it shows as defaults,
    // and a save replaces it.
    bool malformed = false;
};

EditableFile readEditable(const std::filesystem::path& path);

enum class SaveStatus { saved, changedOnDisk, failed };
struct SaveOutcome {
    SaveStatus status = SaveStatus::failed;
    std::string error;  // for `failed`
    FileStamp stamp;    // of the file as written, for `saved`
};

// Applies `edit` to the file as it is on disk now and writes it, unless it
// differs from `readStamp` (another program changed it since it was read).
SaveOutcome saveEdited(const std::filesystem::path& path, const FileStamp& readStamp,
                       const std::function<void(Dictionary&)>& edit);

}  // namespace kernova::prefs
