#include "host/command_line.hpp"

#include <gtest/gtest.h>

#include <array>

namespace trovadex::host {
namespace {

constexpr std::array<OptionSpec, 3> kSpecs{{
    {"library", true, false},
    {"attr", true, true},
    {"count", false, false},
}};

foundation::Result<ParsedCommandLine> parse(std::vector<std::string> arguments) {
  return parseCommandLine(arguments, kSpecs);
}

TEST(CommandLine, ReadsValuesFlagsRepeatsAndOperandsInEitherSpelling) {
  auto parsed = parse({"--library", "/lib", "--attr=kMDItemSubject", "q1", "--count", "--attr",
                       "kMDItemAuthors", "--", "--not-an-option"});
  ASSERT_TRUE(parsed.ok()) << parsed.error().localizedDescription;
  EXPECT_EQ(parsed.value().value("library"), "/lib");
  EXPECT_EQ(parsed.value().values("attr"),
            (std::vector<std::string>{"kMDItemSubject", "kMDItemAuthors"}));
  EXPECT_TRUE(parsed.value().has("count"));
  EXPECT_FALSE(parsed.value().value("absent").has_value());
  EXPECT_EQ(parsed.value().operands, (std::vector<std::string>{"q1", "--not-an-option"}));
}

TEST(CommandLine, KeepsAValueThatLooksLikeAnOptionWhenAnOptionNeedsOne) {
  auto parsed = parse({"--library", "--count"});
  ASSERT_TRUE(parsed.ok());
  EXPECT_EQ(parsed.value().value("library"), "--count");
  EXPECT_FALSE(parsed.value().has("count"));
}

TEST(CommandLine, RefusesWhatItCannotRead) {
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
      {{"--bogus"}, "unknown option --bogus"},
      {{"-x"}, "unknown option -x"},
      {{"--library"}, "option --library needs a value"},
      {{"--count=yes"}, "option --count takes no value"},
      {{"--library", "a", "--library=b"}, "option --library may be given only once"},
  };
  for (const auto& [arguments, message] : cases) {
    auto parsed = parse(arguments);
    ASSERT_FALSE(parsed.ok()) << arguments.front();
    EXPECT_EQ(parsed.error().localizedDescription, message);
  }
}

TEST(CommandLine, ReadsNumbersWithinTheirRangeOnly) {
  EXPECT_EQ(readIntegerOption("messages", "2000", 1, 5000).value(), 2000);
  for (const char* text : {"", "0", "5001", "12x", "-3", " 7", "1e3"}) {
    EXPECT_FALSE(readIntegerOption("messages", text, 1, 5000).ok()) << text;
  }
  EXPECT_EQ(readUnsignedOption("seed", "18446744073709551615").value(), UINT64_MAX);
  EXPECT_FALSE(readUnsignedOption("seed", "18446744073709551616").ok());
  EXPECT_FALSE(readUnsignedOption("seed", "-1").ok());
}

}  // namespace
}  // namespace trovadex::host
