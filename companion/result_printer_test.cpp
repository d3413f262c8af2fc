#include "companion/result_printer.hpp"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "foundation/date.hpp"

namespace trovadex::companion {
namespace {

using foundation::Date;
using foundation::Value;

FoundMessage message(std::int64_t libraryID, const std::string& subject) {
  const Value record = Value::Dictionary{
      {"attributes",
       Value::Dictionary{{"kMDItemSubject", subject},
                         {"kMDItemAuthors", Value::Array{"Ann Example", "Bob"}},
                         {"com_apple_mail_dateReceived", Date::withUnixTime(1795374313)}}},
      {"kMDItemPath", "/mail/" + std::to_string(libraryID) + ".emlx"},
      {"libraryID", Value::integer(libraryID)}};
  return *FoundMessage::fromRecord(record);
}

std::vector<std::string> lines(const std::string& text) {
  std::vector<std::string> result;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) result.push_back(line);
  return result;
}

TEST(TableCell, PadsCutsAndBlanksControlCharacters) {
  EXPECT_EQ(tableCell("abc", 5), "abc  ");
  EXPECT_EQ(tableCell("abcdef", 5), "abcd…");
  EXPECT_EQ(tableCell("abcde", 5), "abcde");
  EXPECT_EQ(tableCell("a\nb\tc", 5), "a b c");
  // Characters, not bytes, fill the column.
  EXPECT_EQ(tableCell("Grüße", 5), "Grüße");
  EXPECT_EQ(tableCell("東京東京東京", 4), "東京東…");
  EXPECT_EQ(tableCell("ok\xff", 4), "ok\xEF\xBF\xBD ");
  EXPECT_EQ(tableCell("", 2), "  ");
}

TEST(ResultPrinter, PrintsATableWithOneHeader) {
  std::ostringstream out;
  ResultPrinter printer(out, OutputFormat::Table, false);
  printer.printFound({message(1, "Hello")});
  printer.printFound({message(2, "Again")});
  const auto printed = lines(out.str());
  ASSERT_EQ(printed.size(), 3u);
  EXPECT_EQ(printed[0].rfind("DATE", 0), 0u);
  EXPECT_EQ(printed[1].rfind("2026-11-22 19:05  Ann Example", 0), 0u) << printed[1];
  EXPECT_NE(printed[1].find("Hello"), std::string::npos);
  EXPECT_TRUE(printed[2].ends_with("/mail/2.emlx"));
}

TEST(ResultPrinter, PrintsEachRecordAsOneJsonLine) {
  std::ostringstream out;
  ResultPrinter printer(out, OutputFormat::Json, false);
  printer.printFound({message(1, "two\nlines"), message(2, "b")});
  const auto printed = lines(out.str());
  ASSERT_EQ(printed.size(), 2u);
  EXPECT_EQ(printed[0].rfind("{\"attributes\":{", 0), 0u);
  EXPECT_NE(printed[0].find(R"("kMDItemSubject":"two\nlines")"), std::string::npos);
  EXPECT_NE(printed[0].find(R"("com_apple_mail_dateReceived":"2026-11-22T19:05:13Z")"),
            std::string::npos);
  EXPECT_TRUE(printed[1].ends_with(R"("kMDItemPath":"/mail/2.emlx","libraryID":2})"));
}

TEST(ResultPrinter, PrintsPathsAndSkipsMessagesWithoutOne) {
  std::ostringstream out;
  ResultPrinter printer(out, OutputFormat::Paths, false);
  auto pathless = *FoundMessage::fromRecord(Value::Dictionary{{"libraryID", Value::integer(3)}});
  printer.printFound({message(1, "a"), pathless, message(2, "b")});
  EXPECT_EQ(out.str(), "/mail/1.emlx\n/mail/2.emlx\n");
}

TEST(ResultPrinter, MarksAdditionsAndRemovalsOfALiveSearch) {
  std::ostringstream table;
  ResultPrinter tablePrinter(table, OutputFormat::Table, true);
  tablePrinter.printFound({message(1, "a")});
  tablePrinter.printRemoved({"1", "9"}, {message(1, "a")});
  const auto rows = lines(table.str());
  ASSERT_EQ(rows.size(), 4u);
  EXPECT_EQ(rows[1].rfind("+ 2026", 0), 0u);
  EXPECT_EQ(rows[2].rfind("- 2026", 0), 0u);
  EXPECT_NE(rows[3].find("(message 9)"), std::string::npos);

  std::ostringstream json;
  ResultPrinter jsonPrinter(json, OutputFormat::Json, true);
  jsonPrinter.printRemoved({"1", "9"}, {message(1, "a")});
  EXPECT_EQ(json.str(),
            "{\"kMDItemPath\":\"/mail/1.emlx\",\"removed\":\"1\"}\n"
            "{\"removed\":\"9\"}\n");

  std::ostringstream paths;
  ResultPrinter pathsPrinter(paths, OutputFormat::Paths, true);
  pathsPrinter.printRemoved({"1", "9"}, {message(1, "a")});
  EXPECT_EQ(paths.str(), "- /mail/1.emlx\n- 9\n");
}

}  // namespace
}  // namespace trovadex::companion
