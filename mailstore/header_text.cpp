#include "mailstore/header_text.hpp"

#include <glib.h>

#include <algorithm>
#include <optional>

#include "mailstore/gmime_support.hpp"

namespace trovadex::mailstore {
namespace {

constexpr std::size_t kLongestCharsetName = 64;

bool sameCharset(std::string_view a, std::string_view b) {
  return a.size() == b.size() && g_ascii_strncasecmp(a.data(), b.data(), a.size()) == 0;
}

bool isWhiteSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

struct EncodedWord {
  std::size_t end = 0;       // one past the closing "?="
  std::string_view charset;  // without an RFC 2231 language suffix
  std::string bytes;         // the decoded octets, still in charset
};

std::string decodedQ(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] == '_') {
      out += ' ';
    } else if (text[at] == '=' && at + 2 < text.size() && g_ascii_isxdigit(text[at + 1]) &&
               g_ascii_isxdigit(text[at + 2])) {
      out += static_cast<char>(g_ascii_xdigit_value(text[at + 1]) * 16 +
                               g_ascii_xdigit_value(text[at + 2]));
      at += 2;
    } else {
      out += text[at];
    }
  }
  return out;
}

std::optional<std::string> decodedB(std::string_view text) {
  for (const char c : text) {
    if (!g_ascii_isalnum(c) && c != '+' && c != '/' && c != '=') return std::nullopt;
  }
  std::string out((text.size() / 4 + 1) * 3, '\0');
  gint state = 0;
  guint save = 0;
  const gsize length = g_base64_decode_step(text.data(), text.size(),
                                            reinterpret_cast<guchar*>(out.data()), &state, &save);
  out.resize(length);
  return out;
}

// The encoded word "=?charset?B|Q?text?=" that starts at raw[at], if one does.
std::optional<EncodedWord> encodedWordAt(std::string_view raw, std::size_t at) {
  if (raw.substr(at, 2) != "=?") return std::nullopt;
  const std::size_t charsetEnd = raw.find('?', at + 2);
  if (charsetEnd == std::string_view::npos || charsetEnd == at + 2 ||
      charsetEnd - at - 2 > kLongestCharsetName || charsetEnd + 3 >= raw.size() ||
      raw[charsetEnd + 2] != '?') {
    return std::nullopt;
  }
  const char encoding = g_ascii_toupper(raw[charsetEnd + 1]);
  if (encoding != 'B' && encoding != 'Q') return std::nullopt;
  const std::size_t textStart = charsetEnd + 3;
  const std::size_t textEnd = raw.find("?=", textStart);
  if (textEnd == std::string_view::npos) return std::nullopt;
  const std::string_view text = raw.substr(textStart, textEnd - textStart);
  if (std::any_of(text.begin(), text.end(), [](char c) { return isWhiteSpace(c) || c == '?'; })) {
    return std::nullopt;
  }
  std::string_view charset = raw.substr(at + 2, charsetEnd - at - 2);
  if (std::any_of(charset.begin(), charset.end(), isWhiteSpace)) return std::nullopt;
  charset = charset.substr(0, charset.find('*'));
  EncodedWord word{.end = textEnd + 2, .charset = charset};
  if (encoding == 'Q') {
    word.bytes = decodedQ(text);
  } else if (auto bytes = decodedB(text)) {
    word.bytes = std::move(*bytes);
  } else {
    return std::nullopt;
  }
  return word;
}

}  // namespace

std::string joinAdjacentEncodedWords(std::string_view raw) {
  if (raw.find("?=") == std::string_view::npos) return std::string(raw);
  std::string out;
  out.reserve(raw.size());
  std::size_t at = 0;
  while (at < raw.size()) {
    const std::size_t start = raw.find("=?", at);
    if (start == std::string_view::npos) break;
    out.append(raw, at, start - at);
    auto first = encodedWordAt(raw, start);
    if (!first) {
      out += "=?";
      at = start + 2;
      continue;
    }
    std::string bytes = std::move(first->bytes);
    std::size_t end = first->end;
    int words = 1;
    for (;;) {
      std::size_t next = end;
      while (next < raw.size() && isWhiteSpace(raw[next])) ++next;
      auto word = next > end ? encodedWordAt(raw, next) : std::nullopt;
      if (!word || !sameCharset(word->charset, first->charset)) break;
      bytes += word->bytes;
      end = word->end;
      ++words;
    }
    if (words == 1) {
      out.append(raw, start, end - start);
    } else {
      out += "=?";
      out += first->charset;
      out += "?B?";
      out +=
          takeGString(g_base64_encode(reinterpret_cast<const guchar*>(bytes.data()), bytes.size()));
      out += "?=";
    }
    at = end;
  }
  if (at < raw.size()) out.append(raw, at, std::string_view::npos);
  return out;
}

std::string collapsedWhiteSpace(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (const char c : text) {
    if (isWhiteSpace(c)) {
      if (!out.empty() && out.back() != ' ') out += ' ';
    } else {
      out += c;
    }
  }
  if (!out.empty() && out.back() == ' ') out.pop_back();
  return out;
}

bool hasEightBitBytes(std::string_view text) {
  return std::any_of(text.begin(), text.end(),
                     [](char c) { return static_cast<unsigned char>(c) >= 0x80; });
}

}  // namespace trovadex::mailstore
