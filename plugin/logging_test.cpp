#include <gtest/gtest.h>

#include "plugin/log_history.hpp"
#include "plugin/plugin_harness.hpp"

namespace trovadex::plugin {
namespace {

using foundation::Value;
using testing::PluginHarness;

class LogQueryName : public ::testing::Test {
 protected:
  void log(const Value& name, std::string_view format,
           std::initializer_list<foundation::FormatArgument> arguments = {}) {
    TDMailPlugin::logQueryName(harness_.context, name, format, arguments);
  }
  void storeHistoryAged(std::initializer_list<double> ages) {
    const foundation::Date now = harness_.fakes.clock->now();
    Value::Array history;
    int line = 0;
    for (double age : ages) {
      history.emplace_back(Value::Array{Value(now.addingTimeInterval(-age)), "n/a",
                                        Value("old " + std::to_string(++line))});
    }
    harness_.fakes.userDefaults->setObject(Value(history), std::string(kLogHistoryKey));
  }
  std::vector<std::string> historyMessages() const {
    std::vector<std::string> messages;
    for (const Value& entry : harness_.logHistory()) messages.push_back(entry.at(2).description());
    return messages;
  }

  PluginHarness harness_;
};

TEST_F(LogQueryName, WritesAPrefixedConsoleLineAndADatedHistoryEntry) {
  log("q7", "TDMailPlugin found items %@", {Value::unsignedInteger(12)});

  EXPECT_EQ(harness_.fakes.console->lines(),
            std::vector<std::string>{"TrovadexMailPlugin - q7 - TDMailPlugin found items 12"});
  const Value::Array history = harness_.logHistory();
  ASSERT_EQ(history.size(), 1u);
  EXPECT_EQ(history[0], Value(Value::Array{Value(harness_.fakes.clock->now()), "q7",
                                           "TDMailPlugin found items 12"}));
}

TEST_F(LogQueryName, UsesNoneForANilAndAnEmptyName) {
  log(Value(), "first");
  log("", "second");
  EXPECT_EQ(harness_.fakes.console->lines(),
            (std::vector<std::string>{"TrovadexMailPlugin - none - first",
                                      "TrovadexMailPlugin - none - second"}));
  for (const Value& entry : harness_.logHistory()) EXPECT_EQ(entry.at(1), Value("none"));
}

TEST_F(LogQueryName, PrintsANameOfAnotherKindAsPercentAtWould) {
  log(Value::integer(7), "a");
  log(Value(Value::Array{"x"}), "b");
  EXPECT_EQ(harness_.fakes.console->lines(),
            (std::vector<std::string>{"TrovadexMailPlugin - 7 - a",
                                      "TrovadexMailPlugin - (\n    x\n) - b"}));
  EXPECT_EQ(harness_.logHistory()[0].at(1), Value("7"));
}

TEST_F(LogQueryName, SurvivesFormatDirectivesInsideTheQueryName) {
  const std::string name = "50%@%s%d%n%%%";
  log(name, "TDMailPlugin cancel query %@", {Value("x")});

  const auto lines = harness_.fakes.console->lines();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].rfind("TrovadexMailPlugin - 50", 0), 0u);
  const Value::Array history = harness_.logHistory();
  ASSERT_EQ(history.size(), 1u);
  EXPECT_EQ(history[0].at(1), Value(name)) << "the history keeps the name as given";
  EXPECT_EQ(history[0].at(2), Value("TDMailPlugin cancel query x"));
}

TEST_F(LogQueryName, KeepsAtMostFiveHundredEntriesDroppingTheOldest) {
  for (int line = 1; line <= 501; ++line) log("n/a", "line %d", {line});
  const auto messages = historyMessages();
  ASSERT_EQ(messages.size(), kLogHistoryCapacity);
  EXPECT_EQ(messages.front(), "line 2");
  EXPECT_EQ(messages.back(), "line 501");
}

TEST_F(LogQueryName, DropsFrontEntriesOlderThanAnHourButNotOldOnesBehindYoungOnes) {
  storeHistoryAged({7200, 3600, 3599, 5000});
  log("n/a", "new");
  EXPECT_EQ(historyMessages(), (std::vector<std::string>{"old 3", "old 4", "new"}));
}

TEST_F(LogQueryName, DropsFrontEntriesThatDoNotStartWithADate) {
  harness_.fakes.userDefaults->setObject(
      Value(Value::Array{Value("junk"), Value(Value::Array{"no date", "n/a", "x"})}),
      std::string(kLogHistoryKey));
  log("n/a", "new");
  EXPECT_EQ(historyMessages(), std::vector<std::string>{"new"});
}

TEST_F(LogQueryName, NeverLeavesTheHistoryEmptyAfterAWrite) {
  storeHistoryAged({90000, 80000});
  harness_.fakes.clock->advance(100000);
  log("n/a", "only");
  EXPECT_EQ(historyMessages(), std::vector<std::string>{"only"});
}

TEST_F(LogQueryName, StartsAFreshHistoryOverAValueOfTheWrongKind) {
  harness_.fakes.userDefaults->setObject(Value("not an array"), std::string(kLogHistoryKey));
  log("n/a", "new");
  EXPECT_EQ(historyMessages(), std::vector<std::string>{"new"});
}

}  // namespace
}  // namespace trovadex::plugin
