#include "search/client_query_text.hpp"

#include <gtest/gtest.h>

#include <string>

namespace trovadex::plugin {
namespace {

constexpr const char* kRestriction = "kMDItemContentType = \"public.email-message\"";

// Where the engine would report a position inside the client's string.
std::size_t wrappedOffset(const std::string& queryString, std::size_t offsetInQuery) {
  const std::string text = spotlightTextForQueryString(queryString);
  return text.find(queryString) + offsetInQuery;
}

std::string engineMessage(std::size_t offset, const std::string& rest) {
  return "Invalid query at byte " + std::to_string(offset) + ": " + rest;
}

TEST(ClientQueryText, WrapsTheClientsStringInTheMailRestriction) {
  EXPECT_EQ(spotlightTextForQueryString("a == 1"),
            std::string("(") + kRestriction + ") && (a == 1)");
  EXPECT_EQ(spotlightTextForQueryString(""), kRestriction);
}

TEST(ClientQueryText, ErrorPositionsCountInTheClientsOwnString) {
  const std::string query = "kMDItemSubject == (";
  EXPECT_EQ(
      errorMessageInClientTerms(
          engineMessage(wrappedOffset(query, 18), "expected a value after '==', found '('"), query),
      "Invalid query at byte 18: expected a value after '==', found '('");
  EXPECT_EQ(errorMessageInClientTerms(engineMessage(wrappedOffset(query, 0), "x"), query),
            "Invalid query at byte 0: x");
}

TEST(ClientQueryText, TheWrappingsClosingParenthesisReadsAsTheEndOfTheQuery) {
  const std::string query = "kMDItemSubject ==";
  const std::size_t end = wrappedOffset(query, query.size());
  EXPECT_EQ(errorMessageInClientTerms(engineMessage(end, "expected a value after '==', found ')'"),
                                      query),
            "Invalid query at byte 17: expected a value after '==', found the end of the query");
  EXPECT_EQ(errorMessageInClientTerms(
                engineMessage(end, "unexpected ')' after a complete expression"), "a == 1)"),
            "Invalid query at byte 7: the query has a ')' without a matching '('");
}

TEST(ClientQueryText, AParenthesisTheClientLeftOpenIsNamedWithoutTheWrappingsOffset) {
  const std::string query = "a == 1 && (b == 2";
  const std::size_t end = wrappedOffset(query, query.size());
  const std::size_t wrappingOpening = end - query.size() - 1;
  EXPECT_EQ(
      errorMessageInClientTerms(engineMessage(end + 1, "expected ')' to close the '(' at byte " +
                                                           std::to_string(wrappingOpening) +
                                                           ", found the end of the query"),
                                query),
      "Invalid query at byte 17: expected ')' to close a '(' of the query, found the end of the "
      "query");
  // A parenthesis inside the client's string keeps its own position.
  const std::string nested = "((a == 1) || b";
  EXPECT_EQ(errorMessageInClientTerms(
                engineMessage(wrappedOffset(nested, 9),
                              "expected ')' to close the '(' at byte " +
                                  std::to_string(wrappedOffset(nested, 1)) + ", found '||'"),
                nested),
            "Invalid query at byte 9: expected ')' to close the '(' at byte 1, found '||'");
}

TEST(ClientQueryText, LeavesOtherMessagesAlone) {
  EXPECT_EQ(errorMessageInClientTerms("The query is not valid.", "a =="),
            "The query is not valid.");
  EXPECT_EQ(errorMessageInClientTerms("Invalid query at byte x: y", "a =="),
            "Invalid query at byte x: y");
  EXPECT_EQ(errorMessageInClientTerms("Invalid query at byte 3: y", ""),
            "Invalid query at byte 3: y");
}

}  // namespace
}  // namespace trovadex::plugin
