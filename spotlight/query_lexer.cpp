#include "spotlight/query_lexer.hpp"

#include <cctype>
#include <charconv>

#include "spotlight/time_expression.hpp"
#include "spotlight/word_segmenter.hpp"

namespace trovadex::spotlight {
namespace {

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

bool isBareChar(char c) {
  switch (c) {
    case '"':
    case '\'':
    case '(':
    case ')':
    case ',':
    case '&':
    case '|':
    case '!':
    case '=':
    case '<':
    case '>':
      return false;
    default:
      return !isSpace(c);
  }
}

bool isAlnum(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

class Lexer {
 public:
  explicit Lexer(std::string_view query) : q_(query) {}

  LexResult run() {
    LexResult result;
    while (true) {
      while (pos_ < q_.size() && isSpace(q_[pos_])) ++pos_;
      if (pos_ >= q_.size()) {
        Token end;
        end.kind = Token::Kind::End;
        end.offset = q_.size();
        result.tokens.push_back(std::move(end));
        return result;
      }
      std::optional<Token> token = next();
      if (!token) {
        result.error = error_;
        return result;
      }
      result.tokens.push_back(std::move(*token));
    }
  }

 private:
  std::optional<Token> fail(std::size_t offset, std::string message) {
    error_ = ParseError{offset, std::move(message)};
    return std::nullopt;
  }

  Token simple(Token::Kind kind, std::size_t length) {
    Token t;
    t.kind = kind;
    t.offset = pos_;
    t.length = length;
    pos_ += length;
    return t;
  }

  Token op(CompareOp which, std::size_t length) {
    Token t = simple(Token::Kind::Operator, length);
    t.op = which;
    return t;
  }

  std::optional<Token> next() {
    const char c = q_[pos_];
    const char n = pos_ + 1 < q_.size() ? q_[pos_ + 1] : '\0';
    switch (c) {
      case '(':
        return simple(Token::Kind::LeftParen, 1);
      case ')':
        return simple(Token::Kind::RightParen, 1);
      case ',':
        return simple(Token::Kind::Comma, 1);
      case '&':
        if (n == '&') return simple(Token::Kind::And, 2);
        return fail(pos_, "expected '&&' but found a single '&'");
      case '|':
        if (n == '|') return simple(Token::Kind::Or, 2);
        return fail(pos_, "expected '||' but found a single '|'");
      case '!':
        if (n == '=') return op(CompareOp::NotEqual, 2);
        return simple(Token::Kind::Not, 1);
      case '=':
        if (n == '=') return op(CompareOp::Equal, 2);
        return op(CompareOp::Equal, 1);
      case '<':
        if (n == '=') return op(CompareOp::LessEqual, 2);
        return op(CompareOp::Less, 1);
      case '>':
        if (n == '=') return op(CompareOp::GreaterEqual, 2);
        return op(CompareOp::Greater, 1);
      case '"':
      case '\'':
        return quoted();
      default:
        if (q_.substr(pos_).starts_with("$time.")) return time();
        return word();
    }
  }

  std::optional<Token> quoted() {
    Token t;
    t.kind = Token::Kind::Quoted;
    t.offset = pos_;
    const char quote = q_[pos_++];
    while (true) {
      if (pos_ >= q_.size()) return fail(t.offset, "the string is not terminated");
      const char c = q_[pos_];
      if (c == quote) break;
      if (c == '\\') {
        if (pos_ + 1 >= q_.size()) return fail(t.offset, "the string is not terminated");
        t.pattern += q_[pos_ + 1];
        t.spelling += q_[pos_ + 1];
        pos_ += 2;
        continue;
      }
      if (c == '*') {
        t.pattern += kStarMarker;
      } else {
        t.pattern += c;
      }
      t.spelling += c;
      ++pos_;
    }
    ++pos_;  // the closing quote
    t.suffixOffset = pos_;
    while (pos_ < q_.size() && isAlnum(q_[pos_])) t.suffix += q_[pos_++];
    t.length = pos_ - t.offset;
    return t;
  }

  std::optional<Token> word() {
    Token t;
    t.kind = Token::Kind::Word;
    t.offset = pos_;
    while (pos_ < q_.size() && isBareChar(q_[pos_])) {
      const char c = q_[pos_];
      if (c == '\\' && pos_ + 1 < q_.size() && isBareChar(q_[pos_ + 1])) {
        t.pattern += q_[pos_ + 1];
        t.spelling += q_[pos_ + 1];
        pos_ += 2;
        continue;
      }
      if (c == '*') {
        t.pattern += kStarMarker;
      } else {
        t.pattern += c;
      }
      t.spelling += c;
      ++pos_;
    }
    t.length = pos_ - t.offset;
    t.raw = std::string(q_.substr(t.offset, t.length));
    return t;
  }

  // $time.name, optionally followed at once by "(argument)".
  std::optional<Token> time() {
    Token t;
    t.kind = Token::Kind::Time;
    t.offset = pos_;
    pos_ += 6;  // "$time."
    const std::size_t nameBegin = pos_;
    while (pos_ < q_.size() &&
           (std::islower(static_cast<unsigned char>(q_[pos_])) || q_[pos_] == '_')) {
      ++pos_;
    }
    const std::string_view name = q_.substr(nameBegin, pos_ - nameBegin);
    std::optional<TimeName> which = timeNameFromString(name);
    if (!which) {
      return fail(t.offset, "unknown time expression '$time." + std::string(name) + "'");
    }
    t.time.name = *which;
    const bool hasArgument = pos_ < q_.size() && q_[pos_] == '(';
    if (!hasArgument) {
      if (*which == TimeName::Iso) return fail(pos_, "'$time.iso' needs a date in parentheses");
      t.length = pos_ - t.offset;
      return t;
    }
    ++pos_;
    std::optional<std::string> argument = timeArgument();
    if (!argument) return std::nullopt;
    if (*which == TimeName::Iso) {
      std::optional<IsoDateTime> iso = parseIsoDateTime(*argument);
      if (!iso) return fail(argumentOffset_, "'" + *argument + "' is not an ISO 8601 date");
      t.time.iso = *iso;
    } else if (!parseOffset(*argument, t.time)) {
      return fail(argumentOffset_, "'" + *argument +
                                       "' is not a time offset (a signed number, optionally "
                                       "followed by d or w)");
    }
    t.length = pos_ - t.offset;
    return t;
  }

  // The text between the parentheses, unquoted; pos_ ends after ")".
  std::optional<std::string> timeArgument() {
    while (pos_ < q_.size() && isSpace(q_[pos_])) ++pos_;
    argumentOffset_ = pos_;
    std::string argument;
    if (pos_ < q_.size() && (q_[pos_] == '"' || q_[pos_] == '\'')) {
      const char quote = q_[pos_++];
      const std::size_t begin = pos_;
      while (pos_ < q_.size() && q_[pos_] != quote) ++pos_;
      if (pos_ >= q_.size()) {
        return failString(argumentOffset_, "the string is not terminated");
      }
      argument = std::string(q_.substr(begin, pos_ - begin));
      ++pos_;
      while (pos_ < q_.size() && isSpace(q_[pos_])) ++pos_;
      if (pos_ >= q_.size() || q_[pos_] != ')') {
        return failString(pos_, "expected ')' after the time argument");
      }
    } else {
      const std::size_t begin = pos_;
      while (pos_ < q_.size() && q_[pos_] != ')') ++pos_;
      if (pos_ >= q_.size())
        return failString(argumentOffset_, "expected ')' after the time argument");
      std::size_t end = pos_;
      while (end > begin && isSpace(q_[end - 1])) --end;
      argument = std::string(q_.substr(begin, end - begin));
    }
    ++pos_;  // ")"
    return argument;
  }

  std::optional<std::string> failString(std::size_t offset, std::string message) {
    error_ = ParseError{offset, std::move(message)};
    return std::nullopt;
  }

  // [+|-]digits[.digits][d|w], or nothing.
  static bool parseOffset(std::string_view text, TimeExpression& out) {
    if (text.empty()) return true;
    if (text.back() == 'd' || text.back() == 'w') {
      out.unit = text.back();
      text.remove_suffix(1);
    }
    bool negative = false;
    if (!text.empty() && (text.front() == '+' || text.front() == '-')) {
      negative = text.front() == '-';
      text.remove_prefix(1);
    }
    if (text.empty() || !std::isdigit(static_cast<unsigned char>(text.front()))) return false;
    for (std::size_t i = 0, dots = 0; i < text.size(); ++i) {
      if (text[i] == '.') {
        if (++dots > 1 || i + 1 == text.size()) return false;
      } else if (!std::isdigit(static_cast<unsigned char>(text[i]))) {
        return false;
      }
    }
    double value = 0;
    auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (ec != std::errc() || end != text.data() + text.size()) return false;
    out.offset = negative ? -value : value;
    return true;
  }

  std::string_view q_;
  std::size_t pos_ = 0;
  std::size_t argumentOffset_ = 0;
  ParseError error_;
};

}  // namespace

LexResult tokenizeQuery(std::string_view query) { return Lexer(query).run(); }

std::string describeToken(const Token& token) {
  switch (token.kind) {
    case Token::Kind::End:
      return "the end of the query";
    case Token::Kind::LeftParen:
      return "'('";
    case Token::Kind::RightParen:
      return "')'";
    case Token::Kind::Comma:
      return "','";
    case Token::Kind::And:
      return "'&&'";
    case Token::Kind::Or:
      return "'||'";
    case Token::Kind::Not:
      return "'!'";
    case Token::Kind::Operator:
      return "an operator";
    case Token::Kind::Quoted:
      return "a quoted string";
    case Token::Kind::Word:
      return "'" + token.raw + "'";
    case Token::Kind::Time:
      return "a time expression";
  }
  return "a token";
}

}  // namespace trovadex::spotlight
