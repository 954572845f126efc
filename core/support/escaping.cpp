#include "support/escaping.h"

#include <array>
#include <cstdint>

#include "base/text.h"

namespace kernova {
namespace {

using ByteSet = std::array<bool, 256>;

constexpr ByteSet makeSet(std::string_view members) {
    ByteSet set{};
    for (const char c : members)
        set[static_cast<unsigned char>(c)] = true;
    return set;
}

constexpr std::string_view kAlphanumerics =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";

constexpr ByteSet makeKeptSet(std::string_view punctuation) {
    ByteSet set = makeSet(kAlphanumerics);
    for (const char c : punctuation)
        set[static_cast<unsigned char>(c)] = true;
    return set;
}

constexpr ByteSet kQueryKept = makeKeptSet("-_.~");
constexpr ByteSet kQueryAllowedKept = makeKeptSet("!$&'()*+,-./:;=?@_~");
constexpr ByteSet kHostKept = makeKeptSet("!$&'()*+,-.:;=[]_~");
constexpr ByteSet kSearchKept = makeKeptSet("!$'()*+,-.:;[]_~");
constexpr ByteSet kFormEscaped = makeSet("?!@#$^&%*+,:;='\"`<>()[]{}/\\| ");

void appendEscape(std::string& out, unsigned char byte) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    out += {'%', kHex[byte >> 4], kHex[byte & 0x0f]};
}

// Escapes each byte of the repaired text for which `escape(byte)` is true.
template <class Predicate>
std::string escapeBytes(std::string_view text, Predicate escape) {
    const std::string utf8 = repairUtf8(text);
    std::string out;
    out.reserve(utf8.size());
    for (const char c : utf8) {
        const auto byte = static_cast<unsigned char>(c);
        if (escape(byte)) {
            appendEscape(out, byte);
        } else {
            out.push_back(c);
        }
    }
    return out;
}

}  // namespace

std::string queryEscape(std::string_view text) {
    return escapeBytes(text, [](unsigned char b) { return !kQueryKept[b]; });
}

std::string hostSetEscape(std::string_view text) {
    return escapeBytes(text, [](unsigned char b) { return !kHostKept[b]; });
}

std::string queryAllowedEscape(std::string_view text) {
    return escapeBytes(text, [](unsigned char b) { return !kQueryAllowedKept[b]; });
}

std::string searchTermEscape(std::string_view text) {
    return escapeBytes(text, [](unsigned char b) { return !kSearchKept[b]; });
}

std::string urlEncodeStr(std::string_view text) {
    return escapeBytes(text, [](unsigned char b) { return kFormEscaped[b]; });
}

}  // namespace kernova
