// The query parser: a hand-written recursive-descent parser for the Spotlight query language.
//
// Grammar (white space may separate any two tokens):
//   query      = or
//   or         = and { "||" and }              lowest precedence
//   and        = unary { "&&" unary }
//   unary      = "!" unary | primary
//   primary    = "(" or ")" | InRange "(" attribute "," bound "," bound ")" | true | false
//              | attribute op [ "[" mods "]" ] value
//   attribute  = "*" | "**" | name [ "[" mods "]" ]
//   value      = quoted [ mods glued to the quote ] | $time... | number | bare [ mods ]
// A query longer than kMaxQueryLength bytes or nested deeper than kMaxQueryDepth is refused.
// The first error wins and carries its byte offset. Safe from any thread.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "spotlight/query_lexer.hpp"
#include "spotlight/query_syntax.hpp"

namespace trovadex::spotlight {

inline constexpr std::size_t kMaxQueryLength = 64 * 1024;
inline constexpr std::size_t kMaxQueryDepth = 100;

struct ParseResult {
  std::variant<Node, ParseError> outcome;
  bool ok() const { return outcome.index() == 0; }
  const Node& tree() const { return std::get<0>(outcome); }
  const ParseError& error() const { return std::get<1>(outcome); }
};

ParseResult parseQuery(std::string_view query);

// A number literal: [+|-](digits[.digits]|.digits)[(e|E)[+|-]digits], the whole text, or none.
std::optional<double> parseNumberLiteral(std::string_view text);

// "Invalid query at byte 12: expected a value after '=='", the text a -2002 error carries.
std::string describeParseError(const ParseError& error);

}  // namespace trovadex::spotlight
