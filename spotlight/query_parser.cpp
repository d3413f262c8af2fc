#include "spotlight/query_parser.hpp"

#include <cctype>
#include <charconv>
#include <optional>

namespace trovadex::spotlight {
namespace {

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(a[i])) !=
        std::tolower(static_cast<unsigned char>(b[i]))) {
      return false;
    }
  }
  return true;
}

const char* operatorText(CompareOp op) {
  switch (op) {
    case CompareOp::Equal:
      return "==";
    case CompareOp::NotEqual:
      return "!=";
    case CompareOp::Less:
      return "<";
    case CompareOp::Greater:
      return ">";
    case CompareOp::LessEqual:
      return "<=";
    case CompareOp::GreaterEqual:
      return ">=";
  }
  return "?";
}

// [+|-] (digits [. digits*] | . digits) [(e|E) [+|-] digits], the whole text.
}  // namespace

std::optional<double> parseNumberLiteral(std::string_view text) {
  std::size_t i = 0;
  auto digits = [&] {
    std::size_t start = i;
    while (i < text.size() && std::isdigit(static_cast<unsigned char>(text[i]))) ++i;
    return i - start;
  };
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) ++i;
  std::size_t intDigits = digits();
  std::size_t fracDigits = 0;
  if (i < text.size() && text[i] == '.') {
    ++i;
    fracDigits = digits();
  }
  if (intDigits == 0 && fracDigits == 0) return std::nullopt;
  if (i < text.size() && (text[i] == 'e' || text[i] == 'E')) {
    ++i;
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) ++i;
    if (digits() == 0) return std::nullopt;
  }
  if (i != text.size()) return std::nullopt;
  std::string_view body = text;
  if (body.front() == '+') body.remove_prefix(1);
  double value = 0;
  auto [end, ec] = std::from_chars(body.data(), body.data() + body.size(), value);
  if (ec != std::errc() || end != body.data() + body.size()) return std::nullopt;
  return value;
}

namespace {

bool isNameStart(char c) {
  return std::isalpha(static_cast<unsigned char>(c)) || c == '_' || c == ':' ||
         static_cast<unsigned char>(c) >= 0x80;
}

bool isNameChar(char c) {
  return isNameStart(c) || std::isdigit(static_cast<unsigned char>(c)) || c == '.' || c == '-';
}

class Parser {
 public:
  Parser(std::string_view query, std::vector<Token> tokens)
      : query_(query), tokens_(std::move(tokens)) {}

  ParseResult run() {
    if (peek().kind == Token::Kind::End) return {fail(0, "the query is empty")};
    std::optional<Node> root = parseOr();
    if (!root) return {*error_};
    if (peek().kind != Token::Kind::End) {
      return {fail(peek().offset,
                   "unexpected " + describeToken(peek()) + " after a complete expression")};
    }
    return {std::move(*root)};
  }

 private:
  const Token& peek(std::size_t ahead = 0) const {
    std::size_t i = std::min(index_ + ahead, tokens_.size() - 1);
    return tokens_[i];
  }
  const Token& take() {
    const Token& t = tokens_[index_];
    if (index_ + 1 < tokens_.size()) ++index_;
    return t;
  }

  ParseError fail(std::size_t offset, std::string message) {
    if (!error_) error_ = ParseError{offset, std::move(message)};
    return *error_;
  }
  std::nullopt_t failed(std::size_t offset, std::string message) {
    fail(offset, std::move(message));
    return std::nullopt;
  }

  std::optional<Node> parseOr() { return parseChain(Token::Kind::Or, Node::Kind::Or); }

  std::optional<Node> parseChain(Token::Kind separator, Node::Kind kind) {
    const std::size_t offset = peek().offset;
    std::optional<Node> first =
        kind == Node::Kind::Or ? parseChain(Token::Kind::And, Node::Kind::And) : parseUnary();
    if (!first) return std::nullopt;
    if (peek().kind != separator) return first;
    Node chain;
    chain.kind = kind;
    chain.offset = offset;
    chain.children.push_back(std::move(*first));
    while (peek().kind == separator) {
      take();
      std::optional<Node> next =
          kind == Node::Kind::Or ? parseChain(Token::Kind::And, Node::Kind::And) : parseUnary();
      if (!next) return std::nullopt;
      chain.children.push_back(std::move(*next));
    }
    return chain;
  }

  std::optional<Node> parseUnary() {
    if (peek().kind != Token::Kind::Not) return parsePrimary();
    const Token& bang = take();
    if (++depth_ > kMaxQueryDepth) return failed(bang.offset, "the query is nested too deeply");
    std::optional<Node> operand = parseUnary();
    --depth_;
    if (!operand) return std::nullopt;
    Node node;
    node.kind = Node::Kind::Not;
    node.offset = bang.offset;
    node.children.push_back(std::move(*operand));
    return node;
  }

  std::optional<Node> parsePrimary() {
    const Token& t = peek();
    switch (t.kind) {
      case Token::Kind::LeftParen: {
        take();
        if (++depth_ > kMaxQueryDepth) return failed(t.offset, "the query is nested too deeply");
        std::optional<Node> inner = parseOr();
        --depth_;
        if (!inner) return std::nullopt;
        if (peek().kind != Token::Kind::RightParen) {
          return failed(peek().offset, "expected ')' to close the '(' at byte " +
                                           std::to_string(t.offset) + ", found " +
                                           describeToken(peek()));
        }
        take();
        return inner;
      }
      case Token::Kind::Word: {
        const Token& after = peek(1);
        if (equalsIgnoringCase(t.raw, "InRange") && after.kind == Token::Kind::LeftParen) {
          return parseRange();
        }
        if ((equalsIgnoringCase(t.raw, "true") || equalsIgnoringCase(t.raw, "false")) &&
            after.kind != Token::Kind::Operator) {
          take();
          Node node;
          node.kind = Node::Kind::Constant;
          node.offset = t.offset;
          node.constant = equalsIgnoringCase(t.raw, "true");
          return node;
        }
        return parseComparison();
      }
      case Token::Kind::End:
        return failed(t.offset, "expected a comparison but the query ends");
      default:
        return failed(t.offset, "expected a comparison, found " + describeToken(t));
    }
  }

  // Reads an attribute word; a trailing "[mods]" goes into modifiers.
  std::optional<AttributeRef> parseAttribute(Modifiers& modifiers) {
    const Token& t = peek();
    if (t.kind != Token::Kind::Word) {
      return failed(t.offset, "expected an attribute name, found " + describeToken(t));
    }
    take();
    AttributeRef ref;
    std::string_view name = t.raw;
    if (name == "*") {
      ref.kind = AttributeRef::Kind::AnyString;
      return ref;
    }
    if (name == "**") {
      ref.kind = AttributeRef::Kind::AnyIncludingText;
      return ref;
    }
    if (name.size() > 2 && name.back() == ']') {
      std::size_t open = name.find('[');
      if (open != std::string_view::npos && open > 0) {
        if (!parseModifierLetters(name.substr(open + 1, name.size() - open - 2),
                                  t.offset + open + 1, modifiers)) {
          return std::nullopt;
        }
        name = name.substr(0, open);
      }
    }
    if (name.empty() || !isNameStart(name.front())) {
      return failed(t.offset, "expected an attribute name, found " + describeToken(t));
    }
    for (std::size_t i = 0; i < name.size(); ++i) {
      if (!isNameChar(name[i])) {
        return failed(t.offset + i, "the attribute name '" + std::string(name) +
                                        "' contains the character '" + name[i] + "'");
      }
    }
    ref.name = std::string(name);
    return ref;
  }

  std::optional<Node> parseComparison() {
    Node node;
    node.kind = Node::Kind::Comparison;
    node.offset = peek().offset;
    std::optional<AttributeRef> attribute = parseAttribute(node.modifiers);
    if (!attribute) return std::nullopt;
    node.attribute = std::move(*attribute);
    const Token& opToken = peek();
    if (opToken.kind != Token::Kind::Operator) {
      return failed(opToken.offset,
                    "expected an operator (==, !=, <, >, <=, >=) after the "
                    "attribute, found " +
                        describeToken(opToken));
    }
    take();
    node.op = opToken.op;
    // "==[cd]": bracket modifiers between the operator and the value.
    const Token& maybeBracket = peek();
    if (maybeBracket.kind == Token::Kind::Word && maybeBracket.raw.size() >= 2 &&
        maybeBracket.raw.front() == '[' && maybeBracket.raw.back() == ']' &&
        isValueStart(peek(1))) {
      take();
      if (!parseModifierLetters(
              std::string_view(maybeBracket.raw).substr(1, maybeBracket.raw.size() - 2),
              maybeBracket.offset + 1, node.modifiers)) {
        return std::nullopt;
      }
    }
    const Token& valueToken = peek();
    if (!isValueStart(valueToken)) {
      return failed(valueToken.offset, std::string("expected a value after '") +
                                           operatorText(node.op) + "', found " +
                                           describeToken(valueToken));
    }
    std::optional<Literal> value = parseValue(node.modifiers, /*allowModifiers=*/true);
    if (!value) return std::nullopt;
    node.value = std::move(*value);
    return node;
  }

  static bool isValueStart(const Token& t) {
    return t.kind == Token::Kind::Quoted || t.kind == Token::Kind::Word ||
           t.kind == Token::Kind::Time;
  }

  static bool closesValue(const Token& t) {
    return t.kind == Token::Kind::RightParen || t.kind == Token::Kind::And ||
           t.kind == Token::Kind::Or || t.kind == Token::Kind::End;
  }

  static bool looksLikeModifiers(std::string_view word) {
    if (word.empty()) return false;
    for (std::size_t i = 0; i < word.size(); ++i) {
      const char c = word[i];
      if (c == 'c' || c == 'd' || c == 'w' || c == 't') continue;
      if (c == 'f' && i + 3 < word.size() &&
          std::isdigit(static_cast<unsigned char>(word[i + 1])) &&
          std::isdigit(static_cast<unsigned char>(word[i + 2])) &&
          std::isdigit(static_cast<unsigned char>(word[i + 3]))) {
        i += 3;
        continue;
      }
      return false;
    }
    return true;
  }

  std::optional<Literal> parseValue(Modifiers& modifiers, bool allowModifiers) {
    const Token& t = take();
    Literal literal;
    switch (t.kind) {
      case Token::Kind::Quoted:
        literal.kind = Literal::Kind::Text;
        literal.quoted = true;
        literal.pattern = t.pattern;
        literal.spelling = t.spelling;
        if (!t.suffix.empty()) {
          if (!allowModifiers) {
            return failed(t.suffixOffset, "modifiers are not allowed here");
          }
          if (!parseModifierLetters(t.suffix, t.suffixOffset, modifiers)) return std::nullopt;
        }
        return literal;
      case Token::Kind::Time:
        literal.kind = Literal::Kind::Time;
        literal.time = t.time;
        return literal;
      case Token::Kind::Word: {
        if (std::optional<double> number = parseNumberLiteral(t.raw)) {
          literal.kind = Literal::Kind::Number;
          literal.number = *number;
          literal.spelling = t.raw;
          return literal;
        }
        if (t.raw == "NULL") {
          literal.kind = Literal::Kind::Null;
          literal.spelling = t.raw;
          return literal;
        }
        literal.kind = Literal::Kind::Text;
        literal.pattern = t.pattern;
        literal.spelling = t.spelling;
        // The "search* cdw" form: letters after a bare value, just before a closer.
        const Token& mods = peek();
        if (allowModifiers && mods.kind == Token::Kind::Word && looksLikeModifiers(mods.raw) &&
            closesValue(peek(1))) {
          take();
          if (!parseModifierLetters(mods.raw, mods.offset, modifiers)) return std::nullopt;
        }
        return literal;
      }
      default:
        return failed(t.offset, "expected a value, found " + describeToken(t));
    }
  }

  // c d w t in any order and number, f followed by exactly three digits; other letters are
  // ignored (lenient), other characters are errors.
  bool parseModifierLetters(std::string_view letters, std::size_t offset, Modifiers& out) {
    for (std::size_t i = 0; i < letters.size(); ++i) {
      const char c = letters[i];
      switch (c) {
        case 'c':
          out.caseInsensitive = true;
          continue;
        case 'd':
          out.diacriticInsensitive = true;
          continue;
        case 'w':
          out.wordBased = true;
          continue;
        case 't':
          out.tokenized = true;
          continue;
        default:
          break;
      }
      if (c == 'f') {
        int value = 0;
        std::size_t digits = 0;
        while (digits < 3 && i + 1 + digits < letters.size() &&
               std::isdigit(static_cast<unsigned char>(letters[i + 1 + digits]))) {
          value = value * 10 + (letters[i + 1 + digits] - '0');
          ++digits;
        }
        if (digits != 3) {
          fail(offset + i, "the fuzzy modifier 'f' needs a threshold of three digits");
          return false;
        }
        if (value > 100) {
          fail(offset + i,
               "the fuzzy threshold " + std::to_string(value) + " is above 100 percent");
          return false;
        }
        out.fuzzyThreshold = value;
        i += 3;
        continue;
      }
      if (std::isalpha(static_cast<unsigned char>(c))) continue;  // unknown letters: ignored
      fail(offset + i, std::string("'") + c + "' is not a modifier");
      return false;
    }
    return true;
  }

  std::optional<Node> parseRange() {
    Node node;
    node.kind = Node::Kind::Range;
    node.offset = take().offset;  // InRange
    take();                       // "("
    Modifiers ignored;
    std::optional<AttributeRef> attribute = parseAttribute(ignored);
    if (!attribute) return std::nullopt;
    node.attribute = std::move(*attribute);
    std::optional<Literal> low = parseBound();
    if (!low) return std::nullopt;
    std::optional<Literal> high = parseBound();
    if (!high) return std::nullopt;
    node.value = std::move(*low);
    node.high = std::move(*high);
    if (peek().kind != Token::Kind::RightParen) {
      return failed(peek().offset, "expected ')' to close InRange, found " + describeToken(peek()));
    }
    take();
    return node;
  }

  std::optional<Literal> parseBound() {
    if (peek().kind != Token::Kind::Comma) {
      return failed(peek().offset, "expected ',' in InRange, found " + describeToken(peek()));
    }
    take();
    if (!isValueStart(peek())) {
      return failed(peek().offset, "expected a bound in InRange, found " + describeToken(peek()));
    }
    Modifiers ignored;
    return parseValue(ignored, /*allowModifiers=*/false);
  }

  std::string_view query_;
  std::vector<Token> tokens_;
  std::size_t index_ = 0;
  std::size_t depth_ = 0;
  std::optional<ParseError> error_;
};

}  // namespace

ParseResult parseQuery(std::string_view query) {
  if (query.size() > kMaxQueryLength) {
    return {ParseError{kMaxQueryLength,
                       "the query is longer than " + std::to_string(kMaxQueryLength) + " bytes"}};
  }
  LexResult lexed = tokenizeQuery(query);
  if (lexed.error) return {*lexed.error};
  return Parser(query, std::move(lexed.tokens)).run();
}

std::string describeParseError(const ParseError& error) {
  return "Invalid query at byte " + std::to_string(error.offset) + ": " + error.message;
}

}  // namespace trovadex::spotlight
