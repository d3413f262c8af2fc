// formatString: printf-style formatting with the platform's %@ directive for Values.
//
// Supported directives: %@ (a Value's description), %s, %d, %i, %u, %ld, %lu, %lld, %llu, %zu,
// %x, %X, %f, %p, and %%, with optional flags (-, 0, +, blank), a width and, for %f and %s, a
// precision; %03ld pads with zeros. The formatter never reads past the arguments it is given: a
// missing argument renders as "(null)". A stray % followed by something that is no directive is
// copied as it stands, and a trailing % is dropped; nothing ever crashes. Safe from any thread.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "foundation/error.hpp"
#include "foundation/value.hpp"

namespace trovadex::foundation {

// One argument of a format: a Value, a string, a number or a pointer.
class FormatArgument {
 public:
  FormatArgument(Value value) : value_(std::move(value)) {}  // NOLINT(google-explicit-constructor)
  FormatArgument(const std::string& text) : value_(text) {}  // NOLINT(google-explicit-constructor)
  FormatArgument(std::string_view text) : value_(text) {}    // NOLINT(google-explicit-constructor)
  FormatArgument(const char* text) : value_(text) {}         // NOLINT(google-explicit-constructor)
  FormatArgument(const Error& error)                         // NOLINT(google-explicit-constructor)
      : value_(error.description()) {}
  FormatArgument(bool flag) : value_(Value::boolean(flag)) {}  // NOLINT(google-explicit-constructor)
  FormatArgument(double number) : value_(Value::real(number)) {}  // NOLINT(google-explicit-constructor)
  FormatArgument(const void* pointer)  // NOLINT(google-explicit-constructor)
      : value_(Value::unsignedInteger(reinterpret_cast<std::uintptr_t>(pointer))), isPointer_(true) {}
  template <typename Integer>
    requires(std::is_integral_v<Integer> && !std::is_same_v<Integer, bool> &&
             !std::is_same_v<Integer, char>)
  FormatArgument(Integer number)  // NOLINT(google-explicit-constructor)
      : value_(std::is_signed_v<Integer>
                   ? Value::integer(static_cast<std::int64_t>(number))
                   : Value::unsignedInteger(static_cast<std::uint64_t>(number))) {}

  const Value& value() const { return value_; }
  bool isPointer() const { return isPointer_; }

 private:
  Value value_;
  bool isPointer_ = false;
};

std::string formatString(std::string_view format, std::span<const FormatArgument> arguments);

inline std::string formatString(std::string_view format,
                                std::initializer_list<FormatArgument> arguments) {
  return formatString(format, std::span<const FormatArgument>(arguments.begin(), arguments.size()));
}

}  // namespace trovadex::foundation
