// The command lines of show and open.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "companion/cli_arguments.hpp"

namespace trovadex::companion {
namespace {

foundation::Result<CliCommand> parse(const std::vector<std::string>& words) {
  return parseArguments(words);
}

TEST(MessageArguments, ShowAndOpenTakeOneMessageAndTheirOptions) {
  auto show = parse({"show", "42", "--raw", "--timeout", "2"});
  ASSERT_TRUE(show.ok()) << show.error().localizedDescription;
  const auto& shown = std::get<ShowArguments>(show.value());
  EXPECT_EQ(shown.message, "42");
  EXPECT_TRUE(shown.raw);
  EXPECT_EQ(shown.timeout, std::chrono::seconds(2));
  EXPECT_FALSE(std::get<ShowArguments>(parse({"show", "/m/1.emlx"}).value()).raw);

  auto open = parse({"open", "--", "-odd name.eml"});
  ASSERT_TRUE(open.ok()) << open.error().localizedDescription;
  EXPECT_EQ(std::get<OpenArguments>(open.value()).message, "-odd name.eml");

  EXPECT_EQ(std::get<HelpRequest>(parse({"show", "--help"}).value()).command, "show");
  EXPECT_NE(helpText("show").find("--raw"), std::string::npos);
  EXPECT_NE(helpText("open").find("message/rfc822"), std::string::npos);
}

TEST(MessageArguments, RefuseAMissingExtraOrEmptyMessageAndForeignOptions) {
  const std::vector<std::pair<std::vector<std::string>, const char*>> cases = {
      {{"show"}, "show needs one message"},
      {{"show", "1", "2"}, "show needs one message"},
      {{"show", ""}, "show needs one message"},
      {{"open"}, "open needs one message"},
      {{"open", "1", "--raw"}, "unknown option '--raw' for 'open'"},
      {{"show", "1", "--timeout", "0"}, "--timeout"},
  };
  for (const auto& [words, complaint] : cases) {
    auto parsed = parse(words);
    ASSERT_FALSE(parsed.ok()) << words.front();
    EXPECT_NE(parsed.error().localizedDescription.find(complaint), std::string::npos)
        << parsed.error().localizedDescription;
  }
}

}  // namespace
}  // namespace trovadex::companion
