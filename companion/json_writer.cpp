#include "companion/json_writer.hpp"

#include <glib.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <memory>
#include <string_view>
#include <utility>

#include "linux/glib_ptr.hpp"

namespace trovadex::companion {

using foundation::Value;

namespace {

void appendHexEscape(std::string& out, unsigned code) {
  char escape[8];
  std::snprintf(escape, sizeof escape, "\\u%04x", code);
  out += escape;
}

// The characters with a short escape; other control characters use \u00XX.
constexpr std::array<std::pair<char, std::string_view>, 7> kShortEscapes{{
    {'"', "\\\""},
    {'\\', "\\\\"},
    {'\b', "\\b"},
    {'\f', "\\f"},
    {'\n', "\\n"},
    {'\r', "\\r"},
    {'\t', "\\t"},
}};

bool appendShortEscape(std::string& out, char c) {
  for (const auto& [character, escape] : kShortEscapes) {
    if (character == c) {
      out += escape;
      return true;
    }
  }
  return false;
}

void appendNumber(std::string& out, const Value& value) {
  switch (value.kind()) {
    case Value::Kind::Bool:
      out += value.boolValue() ? "true" : "false";
      return;
    case Value::Kind::Integer:
      out += std::to_string(value.integerValue());
      return;
    case Value::Kind::Unsigned:
      out += std::to_string(value.unsignedLongLongValue());
      return;
    default: {
      const double number = value.doubleValue();
      if (!std::isfinite(number)) {
        out += "null";
        return;
      }
      // Value's description is the shortest text that reads back exactly ("0.5", "1e+20").
      out += value.description();
      return;
    }
  }
}

void appendValue(std::string& out, const Value& value) {
  switch (value.kind()) {
    case Value::Kind::Nil:
      out += "null";
      return;
    case Value::Kind::String:
      appendJsonString(out, *value.asString());
      return;
    case Value::Kind::Bool:
    case Value::Kind::Integer:
    case Value::Kind::Unsigned:
    case Value::Kind::Real:
      appendNumber(out, value);
      return;
    case Value::Kind::Date: {
      const std::string text = iso8601Text(*value.asDate());
      if (text.empty()) {
        out += "null";
      } else {
        appendJsonString(out, text);
      }
      return;
    }
    case Value::Kind::Data: {
      const auto& bytes = *value.asData();
      linux_platform::GCharPtr encoded(g_base64_encode(bytes.data(), bytes.size()));
      appendJsonString(out, encoded.get());
      return;
    }
    case Value::Kind::Array: {
      out += '[';
      bool first = true;
      for (const Value& element : *value.asArray()) {
        if (!first) out += ',';
        first = false;
        appendValue(out, element);
      }
      out += ']';
      return;
    }
    case Value::Kind::Dictionary: {
      out += '{';
      bool first = true;
      for (const auto& [name, entry] : *value.asDictionary()) {
        if (!first) out += ',';
        first = false;
        appendJsonString(out, name);
        out += ':';
        appendValue(out, entry);
      }
      out += '}';
      return;
    }
  }
}

}  // namespace

void appendJsonString(std::string& out, std::string_view text) {
  out += '"';
  const char* cursor = text.data();
  const char* const end = text.data() + text.size();
  while (cursor < end) {
    const auto c = static_cast<unsigned char>(*cursor);
    if (c < 0x80) {
      if (!appendShortEscape(out, static_cast<char>(c))) {
        if (c < 0x20 || c == 0x7f) {
          appendHexEscape(out, c);
        } else {
          out += static_cast<char>(c);
        }
      }
      ++cursor;
      continue;
    }
    // One UTF-8 sequence as it stands, or U+FFFD for a byte that starts none.
    const gunichar character = g_utf8_get_char_validated(cursor, static_cast<gssize>(end - cursor));
    if (character == static_cast<gunichar>(-1) || character == static_cast<gunichar>(-2)) {
      out += "\xEF\xBF\xBD";
      ++cursor;
      continue;
    }
    const char* next = g_utf8_next_char(cursor);
    // Line and paragraph separators end lines in some readers; keep them out of JSON Lines.
    if (character == 0x2028 || character == 0x2029) {
      appendHexEscape(out, character);
    } else {
      out.append(cursor, next);
    }
    cursor = next;
  }
  out += '"';
}

std::string iso8601Text(foundation::Date date) {
  const double unixTime = date.unixTime();
  if (!std::isfinite(unixTime)) return {};
  const double wholeSeconds = std::floor(unixTime);
  // GDateTime covers the years 1 to 9999.
  constexpr double kYearOne = -62135596800.0;
  constexpr double kYear10000 = 253402300800.0;
  if (wholeSeconds < kYearOne || wholeSeconds >= kYear10000) return {};
  const int milliseconds =
      std::min(999, static_cast<int>(std::floor((unixTime - wholeSeconds) * 1000.0)));

  std::unique_ptr<GDateTime, decltype(&g_date_time_unref)> time(
      g_date_time_new_from_unix_utc(static_cast<gint64>(wholeSeconds)), &g_date_time_unref);
  if (!time) return {};
  linux_platform::GCharPtr text(g_date_time_format(time.get(), "%Y-%m-%dT%H:%M:%S"));
  if (!text) return {};
  std::string result(text.get());
  if (milliseconds > 0) {
    char fraction[16];
    std::snprintf(fraction, sizeof fraction, ".%03d", milliseconds);
    result += fraction;
  }
  return result + "Z";
}

std::string jsonText(const Value& value) {
  std::string out;
  appendValue(out, value);
  return out;
}

}  // namespace trovadex::companion
