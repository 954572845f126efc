// Bounds-checked operations on vectors: out-of-range indices and absent objects
// (nullopt) are ignored instead of raising, so callers may pass indices derived
// from user gestures without checking them first.
#pragma once

#include <cstddef>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

namespace kernova {

// The element at `index`, or null when the index is not below the size.
template <class T>
const T* objectAtIndexSafely(const std::vector<T>& vec, std::size_t index) noexcept {
    return index < vec.size() ? &vec[index] : nullptr;
}

// Appends `object`; nullopt is ignored.
template <class T>
void addObjectSafely(std::vector<T>& vec, std::type_identity_t<std::optional<T>> object) {
    if (object) vec.push_back(std::move(*object));
}

// Inserts `object` before `index`. Ignored when the object is nullopt or the
// index is not below the size, so inserting at index == size does nothing:
// appending goes through addObjectSafely.
template <class T>
void insertObjectSafely(std::vector<T>& vec, std::type_identity_t<std::optional<T>> object,
                        std::size_t index) {
    if (!object || index >= vec.size()) return;
    vec.insert(vec.begin() + static_cast<std::ptrdiff_t>(index), std::move(*object));
}

// Removes the element at `index`; ignored when the index is not below the size.
template <class T>
void removeObjectAtIndexSafely(std::vector<T>& vec, std::size_t index) {
    if (index >= vec.size()) return;
    vec.erase(vec.begin() + static_cast<std::ptrdiff_t>(index));
}

// Replaces the element at `index`; ignored when the object is nullopt or the
// index is not below the size.
template <class T>
void replaceObjectAtIndexSafely(std::vector<T>& vec, std::size_t index,
                                std::type_identity_t<std::optional<T>> object) {
    if (!object || index >= vec.size()) return;
    vec[index] = std::move(*object);
}

}  // namespace kernova
