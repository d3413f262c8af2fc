#include "host/json_text.hpp"

#include <glib.h>

#include <cmath>
#include <cstdio>
#include <ctime>

namespace trovadex::host {
namespace {

using foundation::Value;

std::string isoDate(const foundation::Date& date) {
  const double unix = date.unixTime();
  if (!std::isfinite(unix)) return "null";
  const double whole = std::floor(unix);
  const std::time_t seconds = static_cast<std::time_t>(whole);
  std::tm utc{};
  if (gmtime_r(&seconds, &utc) == nullptr) return "null";
  char text[64];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &utc);
  std::string result = text;
  const double fraction = unix - whole;
  if (fraction > 0) {
    char digits[16];
    std::snprintf(digits, sizeof digits, "%.6f", fraction);  // "0.250000"
    std::string decimals = digits + 1;                       // ".250000"
    while (decimals.size() > 2 && decimals.back() == '0') decimals.pop_back();
    if (decimals != ".0" && decimals != ".") result += decimals;
  }
  return "\"" + result + "Z\"";
}

std::string realText(double number) {
  if (!std::isfinite(number)) return "null";
  char text[32];
  std::snprintf(text, sizeof text, "%.17g", number);
  return text;
}

void appendJson(std::string& out, const Value& value) {
  switch (value.kind()) {
    case Value::Kind::Nil:
      out += "null";
      return;
    case Value::Kind::String:
      out += jsonString(*value.asString());
      return;
    case Value::Kind::Bool:
      out += value.boolValue() ? "true" : "false";
      return;
    case Value::Kind::Integer:
    case Value::Kind::Unsigned:
      out += value.description();
      return;
    case Value::Kind::Real:
      out += realText(value.doubleValue());
      return;
    case Value::Kind::Date:
      out += isoDate(*value.asDate());
      return;
    case Value::Kind::Data: {
      const auto& bytes = *value.asData();
      gchar* encoded = g_base64_encode(bytes.data(), bytes.size());
      out += jsonString(encoded);
      g_free(encoded);
      return;
    }
    case Value::Kind::Array: {
      out += '[';
      bool first = true;
      for (const auto& element : *value.asArray()) {
        if (!first) out += ',';
        first = false;
        appendJson(out, element);
      }
      out += ']';
      return;
    }
    case Value::Kind::Dictionary: {
      out += '{';
      bool first = true;
      for (const auto& [key, element] : *value.asDictionary()) {
        if (!first) out += ',';
        first = false;
        out += jsonString(key);
        out += ':';
        appendJson(out, element);
      }
      out += '}';
      return;
    }
  }
}

}  // namespace

std::string jsonString(std::string_view text) {
  gchar* valid = g_utf8_make_valid(text.data(), static_cast<gssize>(text.size()));
  std::string out = "\"";
  for (const char* c = valid; *c != '\0'; ++c) {
    const unsigned char byte = static_cast<unsigned char>(*c);
    switch (byte) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      case '\t':
        out += "\\t";
        break;
      default:
        if (byte < 0x20) {
          char escape[8];
          std::snprintf(escape, sizeof escape, "\\u%04x", byte);
          out += escape;
        } else {
          out += static_cast<char>(byte);
        }
    }
  }
  g_free(valid);
  out += '"';
  return out;
}

std::string jsonText(const Value& value) {
  std::string out;
  appendJson(out, value);
  return out;
}

}  // namespace trovadex::host
