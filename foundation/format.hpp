// formatString: printf-style formatting with the platform's %@ directive for Values.
//
// A directive is '%', then flags (any of '-' '0' '+' and blank), a decimal width, a '.' and a
// decimal precision, length modifiers (h hh l ll q z j t L, accepted and ignored), and one of:
//   %@        the argument's description (Value::description)
//   %s        a string argument's text; any other argument's description
//   %d %i     the argument's integerValue
//   %u %o %x %X  its unsignedLongLongValue in decimal, octal, hex (a negative Integer prints as
//             its 64-bit two's complement, as C would)
//   %f %F %e %E %g %G  its doubleValue, precision 6 by default, always with a '.' (no locale)
//   %p        "0x" and the hex of a pointer argument (a null pointer prints "0x0")
//   %c        the character whose code point is the argument's integerValue (UTF-8), or the first
//             character of a string argument; code 0 and invalid code points print nothing
//   %%        a '%'
// Width and precision of %@ %s %c count characters (code points), not bytes; the precision of
// %d-style directives is a minimum digit count; '0' pads numbers after the sign or "0x" and is
// ignored with '-', with an integer precision and for inf and nan; '+' and blank apply to %d %i
// and reals. Widths and precisions above 4096 count as 4096. '*' widths are not supported.
//
// The formatter never reads past the arguments it is given: a directive without an argument
// prints "(null)" (padded to its width). A '%' followed by anything that is not a directive is
// copied as it stands, through the character that ends it ("%q", "%*d" -> "%*d"), and consumes
// no argument; an unfinished directive at the very end ("%-5") is copied too, and a lone trailing
// '%' is dropped. Nothing ever crashes, whatever the format. Safe from any thread.
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
  FormatArgument(Value::Array elements)                      // NOLINT(google-explicit-constructor)
      : value_(std::move(elements)) {}
  FormatArgument(Value::Dictionary entries)  // NOLINT(google-explicit-constructor)
      : value_(std::move(entries)) {}
  FormatArgument(Date date) : value_(date) {}                // NOLINT(google-explicit-constructor)
  FormatArgument(const std::string& text) : value_(text) {}  // NOLINT(google-explicit-constructor)
  FormatArgument(std::string_view text) : value_(text) {}    // NOLINT(google-explicit-constructor)
  FormatArgument(const char* text) : value_(text) {}         // NOLINT(google-explicit-constructor)
  FormatArgument(const Error& error)                         // NOLINT(google-explicit-constructor)
      : value_(error.description()) {}
  FormatArgument(bool flag)
      : value_(Value::boolean(flag)) {}  // NOLINT(google-explicit-constructor)
  FormatArgument(double number)
      : value_(Value::real(number)) {}  // NOLINT(google-explicit-constructor)
  FormatArgument(const void* pointer)   // NOLINT(google-explicit-constructor)
      : value_(Value::unsignedInteger(reinterpret_cast<std::uintptr_t>(pointer))),
        isPointer_(true) {}
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
