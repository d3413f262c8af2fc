#include "foundation/format.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>

namespace trovadex::foundation {
namespace {

// Widths and precisions above this are clamped, so that "%999999999d" cannot ask for gigabytes.
constexpr std::size_t kMaximumWidth = 4096;

struct Spec {
  bool leftAlign = false;  // '-'
  bool zeroPad = false;    // '0'
  bool plusSign = false;   // '+'
  bool blankSign = false;  // ' '
  std::size_t width = 0;
  bool hasPrecision = false;
  std::size_t precision = 0;
};

// Counts code points: a UTF-8 continuation byte adds nothing.
std::size_t characterCount(std::string_view text) {
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
    return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
  }));
}

// The first `characters` code points of text.
std::string_view firstCharacters(std::string_view text, std::size_t characters) {
  std::size_t seen = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if ((static_cast<unsigned char>(text[i]) & 0xC0) != 0x80) {
      if (seen == characters) return text.substr(0, i);
      ++seen;
    }
  }
  return text;
}

void appendPadded(std::string& out, std::string_view text, const Spec& spec) {
  const std::size_t length = characterCount(text);
  const std::size_t padding = spec.width > length ? spec.width - length : 0;
  if (!spec.leftAlign) out.append(padding, ' ');
  out += text;
  if (spec.leftAlign) out.append(padding, ' ');
}

// Text directives (%@ %s): width and precision count characters.
void appendText(std::string& out, std::string_view text, const Spec& spec) {
  appendPadded(out, spec.hasPrecision ? firstCharacters(text, spec.precision) : text, spec);
}

// A number made of a sign ("", "-", "+", " "), a prefix ("0x") and digits; zero padding goes
// between the prefix and the digits.
void appendNumber(std::string& out, std::string_view sign, std::string_view prefix,
                  std::string_view digits, const Spec& spec, bool zeroPadAllowed) {
  const std::size_t length = sign.size() + prefix.size() + digits.size();
  const std::size_t padding = spec.width > length ? spec.width - length : 0;
  if (spec.leftAlign) {
    out += sign;
    out += prefix;
    out += digits;
    out.append(padding, ' ');
  } else if (spec.zeroPad && zeroPadAllowed) {
    out += sign;
    out += prefix;
    out.append(padding, '0');
    out += digits;
  } else {
    out.append(padding, ' ');
    out += sign;
    out += prefix;
    out += digits;
  }
}

std::string_view signFor(bool negative, const Spec& spec) {
  if (negative) return "-";
  if (spec.plusSign) return "+";
  if (spec.blankSign) return " ";
  return "";
}

// Integer directives: digits of the magnitude in the given base, at least `precision` of them
// (C's rule: precision 0 and value 0 print no digits); '0' is ignored when a precision is given.
// Only the signed directives (%d %i) print a sign; the others print the bare magnitude.
void appendInteger(std::string& out, std::uint64_t magnitude, bool isSigned, bool negative,
                   int base, bool upper, const Spec& spec, std::string_view prefix = "") {
  char buffer[72];
  auto [end, error] = std::to_chars(buffer, buffer + sizeof buffer, magnitude, base);
  std::string digits(buffer, end);
  if (upper)
    std::transform(digits.begin(), digits.end(), digits.begin(), [](char c) {
      return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c;
    });
  if (spec.hasPrecision) {
    if (spec.precision == 0 && magnitude == 0) digits.clear();
    if (digits.size() < spec.precision) digits.insert(0, spec.precision - digits.size(), '0');
  }
  appendNumber(out, isSigned ? signFor(negative, spec) : "", prefix, digits, spec,
               !spec.hasPrecision);
}

void appendReal(std::string& out, double number, char conversion, const Spec& spec) {
  const bool upper = conversion == 'F' || conversion == 'E' || conversion == 'G';
  const bool negative = std::signbit(number);
  std::string digits;
  if (std::isnan(number)) {
    digits = "nan";
  } else if (std::isinf(number)) {
    digits = "inf";
  } else {
    std::chars_format format = std::chars_format::fixed;
    if (conversion == 'e' || conversion == 'E') format = std::chars_format::scientific;
    if (conversion == 'g' || conversion == 'G') format = std::chars_format::general;
    const std::size_t precision = spec.hasPrecision ? spec.precision : 6;
    // Fixed notation of the largest double needs 309 digits before the point.
    digits.resize(400 + precision);
    const auto result = std::to_chars(digits.data(), digits.data() + digits.size(),
                                      std::fabs(number), format, static_cast<int>(precision));
    digits.resize(result.ec == std::errc() ? static_cast<std::size_t>(result.ptr - digits.data())
                                           : 0);
  }
  if (upper)
    std::transform(digits.begin(), digits.end(), digits.begin(), [](char c) {
      return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c;
    });
  appendNumber(out, signFor(negative, spec), "", digits, spec, std::isfinite(number));
}

void appendCodePoint(std::string& out, std::uint32_t cp) {
  if (cp == 0 || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return;
  if (cp < 0x80) {
    out += static_cast<char>(cp);
  } else if (cp < 0x800) {
    out += static_cast<char>(0xC0 | (cp >> 6));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else if (cp < 0x10000) {
    out += static_cast<char>(0xE0 | (cp >> 12));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (cp >> 18));
    out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  }
}

bool isConversion(char c) {
  switch (c) {
    case '@':
    case 's':
    case 'd':
    case 'i':
    case 'u':
    case 'o':
    case 'x':
    case 'X':
    case 'f':
    case 'F':
    case 'e':
    case 'E':
    case 'g':
    case 'G':
    case 'p':
    case 'c':
      return true;
    default:
      return false;
  }
}

bool isLengthModifier(char c) {
  return c == 'h' || c == 'l' || c == 'q' || c == 'z' || c == 'j' || c == 't' || c == 'L';
}

void appendArgument(std::string& out, char conversion, const FormatArgument& argument,
                    const Spec& spec) {
  const Value& value = argument.value();
  switch (conversion) {
    case '@':
      appendText(out, value.description(), spec);
      return;
    case 's':
      if (const std::string* text = value.asString()) {
        appendText(out, *text, spec);
      } else {
        appendText(out, value.description(), spec);
      }
      return;
    case 'd':
    case 'i': {
      const std::int64_t number = value.integerValue();
      const std::uint64_t magnitude =
          number < 0 ? 0 - static_cast<std::uint64_t>(number) : static_cast<std::uint64_t>(number);
      appendInteger(out, magnitude, true, number < 0, 10, false, spec);
      return;
    }
    case 'u':
      appendInteger(out, value.unsignedLongLongValue(), false, false, 10, false, spec);
      return;
    case 'o':
      appendInteger(out, value.unsignedLongLongValue(), false, false, 8, false, spec);
      return;
    case 'x':
    case 'X':
      appendInteger(out, value.unsignedLongLongValue(), false, false, 16, conversion == 'X', spec);
      return;
    case 'p':
      appendInteger(out, value.unsignedLongLongValue(), false, false, 16, false, spec, "0x");
      return;
    case 'c': {
      std::string character;
      if (const std::string* text = value.asString()) {
        std::size_t length = text->empty() ? 0 : 1;
        while (length < text->size() &&
               (static_cast<unsigned char>((*text)[length]) & 0xC0) == 0x80) {
          ++length;
        }
        character = text->substr(0, length);
      } else {
        const std::int64_t code = value.integerValue();
        if (code > 0 && code <= 0x10FFFF)
          appendCodePoint(character, static_cast<std::uint32_t>(code));
      }
      Spec plain = spec;
      plain.hasPrecision = false;
      appendText(out, character, plain);
      return;
    }
    default:
      appendReal(out, value.doubleValue(), conversion, spec);
      return;
  }
}

}  // namespace

std::string formatString(std::string_view format, std::span<const FormatArgument> arguments) {
  std::string out;
  out.reserve(format.size() + 16 * arguments.size());
  std::size_t nextArgument = 0;
  std::size_t i = 0;
  while (i < format.size()) {
    const std::size_t percent = format.find('%', i);
    if (percent == std::string_view::npos) {
      out += format.substr(i);
      break;
    }
    out += format.substr(i, percent - i);
    std::size_t j = percent + 1;
    if (j >= format.size()) break;  // a trailing lone % is dropped
    if (format[j] == '%') {
      out += '%';
      i = j + 1;
      continue;
    }
    Spec spec;
    for (; j < format.size(); ++j) {
      const char c = format[j];
      if (c == '-')
        spec.leftAlign = true;
      else if (c == '0')
        spec.zeroPad = true;
      else if (c == '+')
        spec.plusSign = true;
      else if (c == ' ')
        spec.blankSign = true;
      else
        break;
    }
    for (; j < format.size() && format[j] >= '0' && format[j] <= '9'; ++j) {
      spec.width =
          std::min(kMaximumWidth, spec.width * 10 + static_cast<std::size_t>(format[j] - '0'));
    }
    if (j < format.size() && format[j] == '.') {
      spec.hasPrecision = true;
      for (++j; j < format.size() && format[j] >= '0' && format[j] <= '9'; ++j) {
        spec.precision = std::min(kMaximumWidth,
                                  spec.precision * 10 + static_cast<std::size_t>(format[j] - '0'));
      }
    }
    while (j < format.size() && isLengthModifier(format[j])) ++j;
    if (j >= format.size()) {  // an unfinished directive at the end ("%-5") is copied as it stands
      out += format.substr(percent);
      break;
    }
    const char conversion = format[j];
    if (conversion == '%') {
      out += '%';
    } else if (!isConversion(conversion)) {
      out += format.substr(percent, j + 1 - percent);  // not a directive: copied as it stands
    } else if (nextArgument >= arguments.size()) {
      Spec plain = spec;
      plain.hasPrecision = false;
      appendText(out, "(null)", plain);
    } else {
      appendArgument(out, conversion, arguments[nextArgument++], spec);
    }
    i = j + 1;
  }
  return out;
}

}  // namespace trovadex::foundation
