#include "base/value.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <ostream>

#include "base/text.h"

namespace kernova {
namespace {

const Value& absentValue() {
    static const Value absent;  // immutable shared sentinel, not state
    return absent;
}

std::int64_t clampToInt64(double d) {
    if (std::isnan(d)) return 0;
    // 2^63 is exactly representable; anything at or above it clamps.
    constexpr double kLimit = 9223372036854775808.0;
    if (d >= kLimit) return std::numeric_limits<std::int64_t>::max();
    if (d < -kLimit) return std::numeric_limits<std::int64_t>::min();
    return static_cast<std::int64_t>(d);
}

// Skips leading white space and newlines; returns the rest.
std::string_view skipLeadingSpace(std::string_view s) {
    std::size_t i = 0;
    while (i < s.size()) {
        std::size_t len = 0;
        char32_t c = decodeUtf8At(s, i, &len);
        if (!isWhitespaceOrNewline(c)) break;
        i += len;
    }
    return s.substr(i);
}

}  // namespace

bool Value::isNumber() const {
    Type t = type();
    return t == Type::boolean || t == Type::integer || t == Type::real;
}

const Array* Value::asArray() const {
    auto p = std::get_if<std::shared_ptr<const Array>>(&v_);
    return p ? p->get() : nullptr;
}

const Dictionary* Value::asDictionary() const {
    auto p = std::get_if<std::shared_ptr<const Dictionary>>(&v_);
    return p ? p->get() : nullptr;
}

std::optional<Date> Value::asDate() const {
    if (auto p = std::get_if<Date>(&v_)) return *p;
    return std::nullopt;
}

bool Value::boolValue() const {
    switch (type()) {
        case Type::boolean:
            return std::get<bool>(v_);
        case Type::integer:
            return std::get<std::int64_t>(v_) != 0;
        case Type::real:
            return std::get<double>(v_) != 0.0;
        case Type::string:
            return stringBoolValue(std::get<std::string>(v_));
        default:
            return false;
    }
}

std::int64_t Value::integerValue() const {
    switch (type()) {
        case Type::boolean:
            return std::get<bool>(v_) ? 1 : 0;
        case Type::integer:
            return std::get<std::int64_t>(v_);
        case Type::real:
            return clampToInt64(std::get<double>(v_));
        case Type::string:
            return stringIntegerValue(std::get<std::string>(v_));
        default:
            return 0;
    }
}

double Value::doubleValue() const {
    switch (type()) {
        case Type::boolean:
            return std::get<bool>(v_) ? 1.0 : 0.0;
        case Type::integer:
            return static_cast<double>(std::get<std::int64_t>(v_));
        case Type::real:
            return std::get<double>(v_);
        case Type::string:
            return stringDoubleValue(std::get<std::string>(v_));
        default:
            return 0.0;
    }
}

std::optional<std::string> Value::stringValue() const {
    switch (type()) {
        case Type::boolean:
            return std::string(std::get<bool>(v_) ? "1" : "0");
        case Type::integer:
            return std::to_string(std::get<std::int64_t>(v_));
        case Type::real:
            return numberText(std::get<double>(v_));
        case Type::string:
            return std::get<std::string>(v_);
        default:
            return std::nullopt;
    }
}

const Value& Value::operator[](std::string_view key) const& {
    const Dictionary* d = asDictionary();
    if (!d) return absentValue();
    auto it = d->find(key);
    return it == d->end() ? absentValue() : it->second;
}

const Value& Value::at(std::size_t index) const& {
    const Array* a = asArray();
    if (!a || index >= a->size()) return absentValue();
    return (*a)[index];
}

bool operator==(const Value& a, const Value& b) {
    if (a.type() != b.type()) return false;
    if (const Array* x = a.asArray()) return *x == *b.asArray();
    if (const Dictionary* x = a.asDictionary()) return *x == *b.asDictionary();
    return a.v_ == b.v_;
}

bool stringBoolValue(std::string_view s) {
    s = skipLeadingSpace(s);
    if (!s.empty() && (s.front() == '+' || s.front() == '-')) s.remove_prefix(1);
    while (!s.empty() && s.front() == '0')
        s.remove_prefix(1);
    if (s.empty()) return false;
    char c = s.front();
    return c == 'Y' || c == 'y' || c == 'T' || c == 't' || (c >= '1' && c <= '9');
}

std::int64_t stringIntegerValue(std::string_view s) {
    s = skipLeadingSpace(s);
    bool negative = false;
    if (!s.empty() && (s.front() == '+' || s.front() == '-')) {
        negative = s.front() == '-';
        s.remove_prefix(1);
    }
    constexpr auto kMax = std::numeric_limits<std::int64_t>::max();
    constexpr auto kMin = std::numeric_limits<std::int64_t>::min();
    std::uint64_t magnitude = 0;
    bool overflow = false;
    for (char c : s) {
        if (c < '0' || c > '9') break;
        auto digit = static_cast<std::uint64_t>(c - '0');
        if (magnitude > (std::numeric_limits<std::uint64_t>::max() - digit) / 10) {
            overflow = true;
            break;
        }
        magnitude = magnitude * 10 + digit;
    }
    if (negative) {
        constexpr auto kMinMagnitude = static_cast<std::uint64_t>(kMax) + 1;
        if (overflow || magnitude >= kMinMagnitude) return kMin;
        return -static_cast<std::int64_t>(magnitude);
    }
    if (overflow || magnitude > static_cast<std::uint64_t>(kMax)) return kMax;
    return static_cast<std::int64_t>(magnitude);
}

double stringDoubleValue(std::string_view s) {
    s = skipLeadingSpace(s);
    if (!s.empty() && s.front() == '+') s.remove_prefix(1);
    double d = 0;
    auto [ptr, ec] = std::from_chars(s.data(), s.data() + s.size(), d, std::chars_format::general);
    if (ec == std::errc::result_out_of_range) {
        bool negative = !s.empty() && s.front() == '-';
        return negative ? -std::numeric_limits<double>::infinity()
                        : std::numeric_limits<double>::infinity();
    }
    if (ec != std::errc()) return 0.0;
    (void)ptr;
    return d;
}

std::string describe(const Value& value) {
    switch (value.type()) {
        case Value::Type::absent:
            return "(absent)";
        case Value::Type::boolean:
            return value.boolValue() ? "YES" : "NO";
        case Value::Type::integer:
        case Value::Type::real:
            return *value.stringValue();
        case Value::Type::string:
            return '"' + *value.asString() + '"';
        case Value::Type::data:
            return "<" + std::to_string(value.asData()->size()) + " bytes>";
        case Value::Type::date:
            return "@" + numberText(value.asDate()->secondsSinceReference);
        case Value::Type::array: {
            std::string out = "(";
            for (const Value& v : *value.asArray())
                out += (out.size() > 1 ? ", " : "") + describe(v);
            return out + ")";
        }
        case Value::Type::dictionary: {
            std::string out = "{";
            for (const auto& [k, v] : *value.asDictionary())
                out += k + " = " + describe(v) + "; ";
            return out + "}";
        }
    }
    return {};
}

void PrintTo(const Value& value, std::ostream* os) {
    *os << describe(value);
}

std::string numberText(double d) {
    if (std::isnan(d)) return "nan";
    if (std::isinf(d)) return d > 0 ? "inf" : "-inf";
    char buf[64];
    auto [end, ec] = std::to_chars(buf, buf + sizeof buf, d);
    if (ec != std::errc()) return "0";
    return std::string(buf, end);
}

}  // namespace kernova
