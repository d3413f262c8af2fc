// The tokenizer of the query language: turns a query string into tokens with byte offsets.
//
// Longest match wins ("==" over "=", "!=" over "!", "**" over "*"). Quoted strings take both
// quote characters, backslash escapes and the letters glued to the closing quote; bare words
// run until white space or one of  " ' ( ) , & | ! = < >;  a word that begins with "$time." is
// read as a time expression, argument included. The first lexical error ends tokenizing.
// Safe from any thread (no shared state).
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "spotlight/query_syntax.hpp"

namespace trovadex::spotlight {

struct ParseError {
  std::size_t offset = 0;
  std::string message;  // without the offset; see describeParseError
};

struct Token {
  enum class Kind { End, LeftParen, RightParen, Comma, And, Or, Not, Operator, Quoted, Word, Time };
  Kind kind = Kind::End;
  std::size_t offset = 0;
  std::size_t length = 0;
  CompareOp op = CompareOp::Equal;  // Operator
  std::string pattern;              // Quoted, Word: unescaped, kStarMarker for each unescaped star
  std::string spelling;             // Quoted, Word: unescaped, stars literal
  std::string raw;                  // Word: the source text as written
  std::string suffix;               // Quoted: letters and digits glued to the closing quote
  std::size_t suffixOffset = 0;
  TimeExpression time;  // Time
};

struct LexResult {
  std::vector<Token> tokens;  // always ends with an End token when error is empty
  std::optional<ParseError> error;
};

LexResult tokenizeQuery(std::string_view query);

// A readable name of a token for error messages: "'&&'", "the word 'foo'", "the end of the query".
std::string describeToken(const Token& token);

}  // namespace trovadex::spotlight
