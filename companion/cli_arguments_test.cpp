#include "companion/cli_arguments.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "search/query_string_translator.hpp"

namespace trovadex::companion {
namespace {

using Words = std::vector<std::string>;

foundation::Result<CliCommand> parse(const Words& words) { return parseArguments(words); }

SearchArguments parseSearch(const Words& words) {
  auto parsed = parse(words);
  EXPECT_TRUE(parsed.ok()) << (parsed.ok() ? "" : parsed.error().localizedDescription);
  if (!parsed.ok() || !std::holds_alternative<SearchArguments>(parsed.value())) {
    ADD_FAILURE() << "not a search";
    return {};
  }
  return std::get<SearchArguments>(parsed.value());
}

TEST(CliArguments, SearchTakesAQueryAndOptionsOnEitherSide) {
  const auto arguments = parseSearch({"search", "--live", "kMDItemSubject == \"x*\"", "--sort",
                                      "kMDItemFSSize", "--ascending", "--limit=25", "--format",
                                      "json", "--timeout", "2.5", "--client", "me"});
  EXPECT_EQ(arguments.queryString, "kMDItemSubject == \"x*\"");
  EXPECT_FALSE(arguments.fromText);
  EXPECT_TRUE(arguments.live);
  EXPECT_EQ(arguments.sortingAttribute, "kMDItemFSSize");
  EXPECT_TRUE(arguments.sortAscending);
  EXPECT_EQ(arguments.limit, 25u);
  EXPECT_EQ(arguments.format, OutputFormat::Json);
  EXPECT_EQ(arguments.timeout, std::chrono::milliseconds(2500));
  EXPECT_EQ(arguments.clientName, "me");
}

TEST(CliArguments, SearchDefaultsToATableWithinTenSeconds) {
  const auto arguments = parseSearch({"search", ""});
  EXPECT_EQ(arguments.queryString, "");
  EXPECT_FALSE(arguments.live);
  EXPECT_EQ(arguments.format, OutputFormat::Table);
  EXPECT_EQ(arguments.timeout, std::chrono::seconds(10));
  EXPECT_FALSE(arguments.limit);
  EXPECT_TRUE(arguments.clientName.empty());
}

TEST(CliArguments, DoubleDashLetsAQueryStartWithADash) {
  EXPECT_EQ(parseSearch({"search", "--", "-odd"}).queryString, "-odd");
}

TEST(CliArguments, TextIsTranslatedWithTheGivenThreshold) {
  const auto plain = parseSearch({"search", "--text", "john smith"});
  EXPECT_TRUE(plain.fromText);
  EXPECT_EQ(plain.queryString, *plugin::translateSearchString("john smith", std::nullopt));
  EXPECT_NE(plain.queryString.find("\"john smith*\"cdwtf056"), std::string::npos);

  const auto fuzzy = parseSearch({"search", "--fuzzy", "30", "--text=invoice"});
  EXPECT_EQ(fuzzy.queryString, *plugin::translateSearchString("invoice", 30));
}

TEST(CliArguments, HelpAndVersionAreRecognisedAnywhereTheyBelong) {
  EXPECT_TRUE(std::holds_alternative<HelpRequest>(parse({"--help"}).value()));
  EXPECT_EQ(std::get<HelpRequest>(parse({"search", "x", "-h"}).value()).command, "search");
  EXPECT_EQ(std::get<HelpRequest>(parse({"help", "status"}).value()).command, "status");
  EXPECT_TRUE(std::holds_alternative<VersionRequest>(parse({"--version"}).value()));
}

TEST(CliArguments, StatusAndInstallTakeTheirOptions) {
  auto status = parse({"status", "--timeout", "0.2"});
  ASSERT_TRUE(status.ok());
  EXPECT_EQ(std::get<StatusArguments>(status.value()).timeout, std::chrono::milliseconds(200));

  auto install = parse({"install-desktop-entry", "--xdg-data-home", "/tmp/d"});
  ASSERT_TRUE(install.ok());
  EXPECT_EQ(std::get<InstallDesktopEntryArguments>(install.value()).dataHome, "/tmp/d");
  EXPECT_FALSE(
      std::get<InstallDesktopEntryArguments>(parse({"install-desktop-entry"}).value()).dataHome);
}

TEST(CliArguments, TimeoutsRoundUpToWholeMilliseconds) {
  EXPECT_EQ(parseSearch({"search", "q", "--timeout", "0.0001"}).timeout,
            std::chrono::milliseconds(1));
  EXPECT_EQ(parseSearch({"search", "q", "--timeout", "3"}).timeout, std::chrono::seconds(3));
}

struct UsageCase {
  Words words;
  const char* complaint;  // a part of the message
};

TEST(CliArguments, RefusesWrongCommandLinesWithAMessageNamingTheFault) {
  const std::vector<UsageCase> cases = {
      {{}, "a command is needed"},
      {{"find", "x"}, "unknown command 'find'"},
      {{"--verbose"}, "unknown option '--verbose'"},
      {{"search"}, "needs a QUERY or --text"},
      {{"search", "a", "b"}, "one QUERY"},
      {{"search", "a", "--text", "b"}, "not both"},
      {{"search", "--text", " \t "}, "needs words"},
      {{"search", "a", "--fuzzy", "10"}, "--fuzzy works only with --text"},
      {{"search", "--text", "a", "--fuzzy", "101"}, "0 to 100"},
      {{"search", "--text", "a", "--fuzzy", "-1"}, "0 to 100"},
      {{"search", "--text", "a", "--fuzzy", "5x"}, "0 to 100"},
      {{"search", "a", "--ascending"}, "--ascending works only with --sort"},
      {{"search", "a", "--sort"}, "--sort needs a value"},
      {{"search", "a", "--sort="}, "attribute name"},
      {{"search", "a", "--limit", "0"}, "above 0"},
      {{"search", "a", "--limit", "-3"}, "above 0"},
      {{"search", "a", "--limit", "1.5"}, "above 0"},
      {{"search", "a", "--limit", "99999999999999999999999"}, "above 0"},
      {{"search", "a", "--format", "xml"}, "table, json or paths"},
      {{"search", "a", "--timeout", "0"}, "--timeout"},
      {{"search", "a", "--timeout", "-2"}, "--timeout"},
      {{"search", "a", "--timeout", "nan"}, "--timeout"},
      {{"search", "a", "--timeout", "inf"}, "--timeout"},
      {{"search", "a", "--timeout", "1e9"}, "--timeout"},
      {{"search", "a", "--timeout", "2s"}, "--timeout"},
      {{"search", "a", "--live=yes"}, "--live takes no value"},
      {{"search", "a", "--limit", "1", "--limit", "2"}, "given twice"},
      {{"search", "a", "--client", ""}, "--client needs a name"},
      {{"search", "a", "--client", "a\nb"}, "control characters"},
      {{"search", "a", "--xdg-data-home", "/x"}, "unknown option '--xdg-data-home'"},
      {{"status", "extra"}, "status takes no arguments"},
      {{"status", "--live"}, "unknown option '--live' for 'status'"},
      {{"install-desktop-entry", "--xdg-data-home="}, "needs a folder"},
      {{"help", "a", "b"}, "at most one"},
  };
  for (const auto& usage : cases) {
    auto parsed = parse(usage.words);
    std::string line;
    for (const auto& word : usage.words) line += "[" + word + "] ";
    ASSERT_FALSE(parsed.ok()) << line;
    EXPECT_EQ(parsed.error().domain, kUsageErrorDomain);
    EXPECT_NE(parsed.error().localizedDescription.find(usage.complaint), std::string::npos)
        << line << "-> " << parsed.error().localizedDescription;
  }
}

TEST(CliArguments, HelpTextDocumentsEveryExitStatus) {
  const std::string overview = helpText("");
  for (const char* status : {"0  ", "1  ", "2  ", "3  ", "4  "}) {
    EXPECT_NE(overview.find(std::string("  ") + status), std::string::npos) << status;
  }
  EXPECT_NE(helpText("search").find("--fuzzy"), std::string::npos);
  EXPECT_NE(helpText("install-desktop-entry").find("--xdg-data-home"), std::string::npos);
}

}  // namespace
}  // namespace trovadex::companion
