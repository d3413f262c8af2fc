#include "mailstore/html_text.hpp"

#include <libxml/HTMLparser.h>
#include <libxml/parser.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <mutex>

namespace trovadex::mailstore {
namespace {

// Elements after which the text continues on a new line.
constexpr std::array<std::string_view, 34> kBlockElements{
    "address", "article", "aside",    "blockquote", "body",   "br",   "center", "dd",   "div",
    "dl",      "dt",      "fieldset", "figure",     "footer", "form", "h1",     "h2",   "h3",
    "h4",      "h5",      "h6",       "header",     "hr",     "html", "li",     "main", "nav",
    "ol",      "p",       "pre",      "section",    "table",  "tr",   "ul"};

// Elements that sit inside a line of text: a word split by them stays one word.
constexpr std::array<std::string_view, 30> kInlineElements{
    "a",    "abbr",  "acronym", "b",      "bdi",    "bdo", "big",  "cite", "code", "del",
    "dfn",  "em",    "font",    "i",      "ins",    "kbd", "mark", "nobr", "q",    "s",
    "samp", "small", "span",    "strike", "strong", "sub", "sup",  "tt",   "u",    "var"};

enum class Break { None, Word, Line };

Break breakFor(const xmlChar* element) {
  const std::string_view name(reinterpret_cast<const char*>(element));
  if (std::find(kBlockElements.begin(), kBlockElements.end(), name) != kBlockElements.end()) {
    return Break::Line;
  }
  if (std::find(kInlineElements.begin(), kInlineElements.end(), name) != kInlineElements.end()) {
    return Break::None;
  }
  return Break::Word;
}

struct TextCollector {
  std::string text;

  void addBreak(Break kind) {
    if (kind == Break::None || text.empty()) return;
    if (text.back() == ' ') {
      if (kind == Break::Line) text.back() = '\n';
      return;
    }
    if (text.back() != '\n') text += kind == Break::Line ? '\n' : ' ';
  }

  void addText(const xmlChar* characters, int length) {
    const char* at = reinterpret_cast<const char*>(characters);
    for (const char* end = at + length; at < end; ++at) {
      const char c = *at;
      // U+00A0 (no-break space) separates words like a space; U+00AD (soft hyphen) is invisible.
      const bool twoByte = c == '\xC2' && at + 1 < end;
      if (twoByte && at[1] == '\xAD') {
        ++at;
        continue;
      }
      const bool noBreakSpace = twoByte && at[1] == '\xA0';
      if (noBreakSpace) ++at;
      if (noBreakSpace || c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f') {
        if (!text.empty() && text.back() != ' ' && text.back() != '\n') text += ' ';
      } else {
        text += c;
      }
    }
  }
};

TextCollector& collectorOf(void* context) {
  auto* parser = static_cast<htmlParserCtxtPtr>(context);
  return *static_cast<TextCollector*>(parser->_private);
}

// The handler: text and element boundaries only. Script and style contents reach libxml2's
// cdataBlock callback, which drops them; comments reach no callback at all.
htmlSAXHandler textHandler() {
  htmlSAXHandler handler;
  std::memset(&handler, 0, sizeof handler);
  handler.startElement = [](void* context, const xmlChar* name, const xmlChar**) {
    collectorOf(context).addBreak(breakFor(name));
  };
  handler.endElement = [](void* context, const xmlChar* name) {
    collectorOf(context).addBreak(breakFor(name));
  };
  handler.characters = [](void* context, const xmlChar* characters, int length) {
    collectorOf(context).addText(characters, length);
  };
  handler.ignorableWhitespace = handler.characters;
  handler.cdataBlock = [](void*, const xmlChar*, int) {};
  return handler;
}

void ensureLibxmlInitialized() {
  static std::once_flag once;
  std::call_once(once, [] { xmlInitParser(); });
}

}  // namespace

std::string htmlToText(std::string_view html) {
  if (html.empty()) return {};
  ensureLibxmlInitialized();
  TextCollector collector;
  // libxml2 takes an int size; what lies beyond that is not read.
  const int size = static_cast<int>(std::min<std::size_t>(html.size(), INT_MAX));
  htmlParserCtxtPtr parser = htmlNewParserCtxt();
  if (!parser) return {};
  *parser->sax = textHandler();
  parser->_private = &collector;
  xmlDocPtr document =
      htmlCtxtReadMemory(parser, html.data(), size, nullptr, "UTF-8",
                         HTML_PARSE_RECOVER | HTML_PARSE_NOERROR | HTML_PARSE_NOWARNING |
                             HTML_PARSE_NONET | HTML_PARSE_IGNORE_ENC);
  if (document) xmlFreeDoc(document);
  if (parser->myDoc) xmlFreeDoc(parser->myDoc);
  htmlFreeParserCtxt(parser);

  std::string& text = collector.text;
  while (!text.empty() && (text.back() == ' ' || text.back() == '\n')) text.pop_back();
  return std::move(text);
}

}  // namespace trovadex::mailstore
