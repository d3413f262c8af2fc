#include "mailstore/html_text.hpp"

#include <glib.h>

#include <array>
#include <cctype>
#include <charconv>
#include <string>

namespace trovadex::mailstore {
namespace {

struct NamedReference {
  std::string_view name;
  std::string_view text;
};

constexpr std::array<NamedReference, 12> kNamedReferences{{
    {"amp", "&"},
    {"lt", "<"},
    {"gt", ">"},
    {"quot", "\""},
    {"apos", "'"},
    {"nbsp", " "},
    {"shy", ""},
    {"ndash", "\u2013"},
    {"mdash", "\u2014"},
    {"hellip", "\u2026"},
    {"euro", "\u20AC"},
    {"copy", "\u00A9"},
}};

// Tags after which the text continues on a new line.
constexpr std::array<std::string_view, 12> kBlockTags{
    "br", "p", "div", "tr", "li", "h1", "h2", "h3", "h4", "table", "blockquote", "hr"};

std::string lowerName(std::string_view tag) {
  std::size_t at = tag.front() == '/' ? 1 : 0;
  std::string name;
  while (at < tag.size() && std::isalnum(static_cast<unsigned char>(tag[at]))) {
    name += static_cast<char>(std::tolower(static_cast<unsigned char>(tag[at++])));
  }
  return name;
}

void appendCodePoint(std::string& out, unsigned long codePoint) {
  if (codePoint == 0 || codePoint > 0x10FFFF || (codePoint >= 0xD800 && codePoint <= 0xDFFF)) {
    codePoint = 0xFFFD;
  }
  char buffer[6];
  const int length = g_unichar_to_utf8(static_cast<gunichar>(codePoint), buffer);
  out.append(buffer, static_cast<std::size_t>(length));
}

// Decodes the reference at html[at] == '&'; returns the number of bytes consumed (0: not one).
std::size_t decodeReference(std::string_view html, std::size_t at, std::string& out) {
  const std::size_t end = html.find(';', at);
  if (end == std::string_view::npos || end - at > 10) return 0;
  const std::string_view body = html.substr(at + 1, end - at - 1);
  if (body.size() > 1 && body.front() == '#') {
    const bool hex = body[1] == 'x' || body[1] == 'X';
    const std::string_view digits = body.substr(hex ? 2 : 1);
    unsigned long codePoint = 0;
    const auto [ptr, error] =
        std::from_chars(digits.data(), digits.data() + digits.size(), codePoint, hex ? 16 : 10);
    if (error != std::errc() || ptr != digits.data() + digits.size()) return 0;
    appendCodePoint(out, codePoint);
    return end - at + 1;
  }
  for (const auto& reference : kNamedReferences) {
    if (reference.name == body) {
      out += reference.text;
      return end - at + 1;
    }
  }
  return 0;
}

}  // namespace

std::string htmlToText(std::string_view html) {
  std::string out;
  out.reserve(html.size() / 2);
  std::size_t at = 0;
  while (at < html.size()) {
    const char c = html[at];
    if (c == '<') {
      if (html.substr(at, 4) == "<!--") {
        const std::size_t end = html.find("-->", at + 4);
        at = end == std::string_view::npos ? html.size() : end + 3;
        continue;
      }
      const std::size_t end = html.find('>', at);
      if (end == std::string_view::npos) break;
      const std::string name = lowerName(html.substr(at + 1, end - at - 1));
      at = end + 1;
      if (name == "script" || name == "style") {
        const std::string closing = "</" + name;
        std::size_t close = at;
        for (; close < html.size(); ++close) {
          if (html[close] == '<' &&
              g_ascii_strncasecmp(html.data() + close, closing.c_str(), closing.size()) == 0) {
            break;
          }
        }
        const std::size_t closeEnd = html.find('>', close);
        at = closeEnd == std::string_view::npos ? html.size() : closeEnd + 1;
        if (!out.empty() && out.back() != '\n' && out.back() != ' ') out += ' ';
        continue;
      }
      bool block = false;
      for (const auto tag : kBlockTags) block = block || tag == name;
      if (!out.empty() && out.back() != '\n' && out.back() != ' ') out += block ? '\n' : ' ';
      continue;
    }
    if (c == '&') {
      if (const std::size_t used = decodeReference(html, at, out); used > 0) {
        at += used;
        continue;
      }
    }
    if (c == '\r' || c == '\n' || c == '\t' || c == ' ') {
      if (!out.empty() && out.back() != ' ' && out.back() != '\n') out += ' ';
    } else {
      out += c;
    }
    ++at;
  }
  while (!out.empty() && (out.back() == ' ' || out.back() == '\n')) out.pop_back();
  return out;
}

}  // namespace trovadex::mailstore
