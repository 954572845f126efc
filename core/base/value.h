// Value: one property-list value (absent, boolean, integer, real, string, data,
// date, array or dictionary) with the lenient reads that settings files and
// messages are read with.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace kernova {

using Bytes = std::vector<std::uint8_t>;

// A point in time as seconds since 2001-01-01 00:00:00 UTC (the property-list epoch).
struct Date {
    double secondsSinceReference = 0;
    friend bool operator==(const Date&, const Date&) = default;
};

class Value;
using Array = std::vector<Value>;
using Dictionary = std::map<std::string, Value, std::less<>>;

class Value {
  public:
    enum class Type { absent, boolean, integer, real, string, data, date, array, dictionary };

    Value() = default;
    Value(bool b) : v_(b) {}
    Value(int i) : v_(std::int64_t{i}) {}
    Value(std::int64_t i) : v_(i) {}
    Value(double d) : v_(d) {}
    Value(const char* s) : v_(std::string(s)) {}
    Value(std::string s) : v_(std::move(s)) {}
    Value(std::string_view s) : v_(std::string(s)) {}
    Value(Bytes d) : v_(std::move(d)) {}
    Value(Date d) : v_(d) {}
    Value(Array a) : v_(std::make_shared<const kernova::Array>(std::move(a))) {}
    Value(Dictionary d) : v_(std::make_shared<const kernova::Dictionary>(std::move(d))) {}

    Type type() const { return static_cast<Type>(v_.index()); }
    bool isAbsent() const { return type() == Type::absent; }
    bool isString() const { return type() == Type::string; }
    bool isNumber() const;  // boolean, integer or real: what the phone calls a number

    // Strict accessors: null when the value is of another type.
    const std::string* asString() const { return std::get_if<std::string>(&v_); }
    const Bytes* asData() const { return std::get_if<Bytes>(&v_); }
    const kernova::Array* asArray() const;
    const kernova::Dictionary* asDictionary() const;
    std::optional<Date> asDate() const;

    // Lenient reads. A number's boolean is "not zero"; a string's boolean is YES
    // when, after leading white space, an optional sign and leading zeros, its
    // first character is Y, y, T, t or 1 to 9. Any other type reads NO.
    bool boolValue() const;
    // A number truncates (clamped to the 64-bit range); a string gives its leading
    // decimal integer (0 when there is none, clamped on overflow); others give 0.
    std::int64_t integerValue() const;
    // As integerValue(), for a real: a string gives its leading decimal number.
    double doubleValue() const;
    // A string as it is; a number as its decimal text; anything else absent.
    std::optional<std::string> stringValue() const;

    // Dictionary lookup: the absent value when this is no dictionary or lacks the key.
    const Value& operator[](std::string_view key) const&;
    // On a temporary, a copy: a reference into it would dangle.
    Value operator[](std::string_view key) && { return (*this)[key]; }
    // Array element: the absent value when this is no array or the index is out of range.
    const Value& at(std::size_t index) const&;
    Value at(std::size_t index) && { return at(index); }

    friend bool operator==(const Value& a, const Value& b);

  private:
    std::variant<std::monostate, bool, std::int64_t, double, std::string, Bytes, Date,
                 std::shared_ptr<const kernova::Array>, std::shared_ptr<const kernova::Dictionary>>
        v_;
};

// A readable one-line description, for logs and test failures.
std::string describe(const Value& value);
void PrintTo(const Value& value, std::ostream* os);

// The lenient string reads on their own, for text that comes from outside.
bool stringBoolValue(std::string_view s);
std::int64_t stringIntegerValue(std::string_view s);
double stringDoubleValue(std::string_view s);
// The decimal text of a real as the phone prints a number: shortest round-trip form,
// integral values without a fraction ("3", not "3.0").
std::string numberText(double d);

}  // namespace kernova
