#include "mailstore/emlx.hpp"

#include <gtest/gtest.h>

#include "foundation/property_list.hpp"
#include "mailstore/test_support.hpp"

namespace trovadex::mailstore {
namespace {

using foundation::Value;

Value sampleProperties() {
  return Value::Dictionary{
      {"flags", Value::integer(8623689857)},     {"date-received", Value::integer(1516985072)},
      {"date-last-viewed", Value::integer(0)},   {"remote-id", "50758"},
      {"conversation-id", Value::integer(4711)},
  };
}

const std::string kMessage =
    "Subject: Gr\xC3\xBC\xC3\x9F"
    "e\nFrom: a@example.org\n\nLine one\n\xFF raw 8-bit byte\n";

TEST(Emlx, WritesACountLineOfTenColumnsThenTheMessageThenAPropertyList) {
  auto bytes = encodeEmlx(kMessage, sampleProperties());
  ASSERT_TRUE(bytes) << bytes.error().description();
  const std::string expectedCount = std::to_string(kMessage.size());
  EXPECT_EQ(bytes.value().substr(0, 11),
            expectedCount + std::string(10 - expectedCount.size(), ' ') + "\n");
  EXPECT_EQ(bytes.value().substr(11, kMessage.size()), kMessage);
  EXPECT_EQ(bytes.value().substr(11 + kMessage.size(), 5), "<?xml");
}

TEST(Emlx, RoundTripsByteForByte) {
  auto bytes = encodeEmlx(kMessage, sampleProperties());
  ASSERT_TRUE(bytes);
  auto file = decodeEmlx(bytes.value());
  ASSERT_TRUE(file) << file.error().description();
  EXPECT_EQ(file.value().message, kMessage);
  EXPECT_EQ(file.value().properties, sampleProperties());
  EXPECT_EQ(file.value().flags(), 8623689857);
  EXPECT_FALSE(file.value().framingProblem);
  EXPECT_EQ(encodeEmlx(file.value()), bytes.value());
  auto again = encodeEmlx(file.value().message, file.value().properties);
  ASSERT_TRUE(again);
  EXPECT_EQ(again.value(), bytes.value());
}

TEST(Emlx, KeepsAForeignTrailerVerbatimAndAcceptsAnUnpaddedCount) {
  const std::string trailer =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n"
      "\t<key>flags</key>\n\t<integer>33</integer>\n\t<key>color</key>\n\t<string>000000</string>\n"
      "</dict>\n</plist>\n";
  const std::string bytes = std::to_string(kMessage.size()) + "\n" + kMessage + trailer;
  auto file = decodeEmlx(bytes);
  ASSERT_TRUE(file);
  EXPECT_EQ(file.value().message, kMessage);
  EXPECT_EQ(file.value().trailer, trailer);
  EXPECT_EQ(file.value().flags(), 33);
  EXPECT_EQ(file.value().properties["color"], Value("000000"));
}

TEST(Emlx, RepairsDamagedFramingWithoutLosingTheMessage) {
  auto plist =
      foundation::encodePropertyList(sampleProperties(), foundation::PropertyListFormat::Xml);
  ASSERT_TRUE(plist);
  const std::string count = std::to_string(kMessage.size());
  const struct {
    const char* what;
    std::string bytes;
    bool hasProperties;
    bool repaired;
  } cases[] = {
      {"no count line", kMessage + plist.value(), true, true},
      {"count larger than the file, property list kept", "99999\n" + kMessage + plist.value(), true,
       true},
      {"count larger than the file, no property list", "99999\n" + kMessage, false, true},
      {"CRLF after the count", count + " \r\n" + kMessage + plist.value(), true, false},
      {"no property list", count + "\n" + kMessage, false, true},
      {"broken property list", count + "\n" + kMessage + "<?xml version=\"1.0\"?><plist><dict>",
       false, true},
  };
  for (const auto& c : cases) {
    auto file = decodeEmlx(c.bytes);
    ASSERT_TRUE(file) << c.what;
    EXPECT_EQ(file.value().message, kMessage) << c.what;
    EXPECT_EQ(file.value().properties.isDictionary(), c.hasProperties) << c.what;
    EXPECT_EQ(file.value().framingProblem.has_value(), c.repaired) << c.what;
  }
}

TEST(Emlx, RefusesAFileWithoutMessageBytes) {
  for (const std::string& bytes :
       {std::string(), std::string("0         \n"), std::string("12\n\n\n")}) {
    auto file = decodeEmlx(bytes);
    ASSERT_FALSE(file);
    EXPECT_EQ(file.error().code, 3);
  }
}

TEST(EmlxSamples, ReadsEveryRealAndBrokenSampleInPlaceWithoutCrashing) {
  const auto folder = testing::corporaFolder() / "emlx-samples";
  if (!std::filesystem::is_directory(folder)) GTEST_SKIP() << "no sample corpus at " << folder;
  int read = 0;
  int withProperties = 0;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    if (entry.path().extension() != ".emlx") continue;
    auto file = readEmlxFile(entry.path());
    // Every sample holds some message text, even the damaged ones.
    ASSERT_TRUE(file) << entry.path() << ": " << file.error().description();
    EXPECT_FALSE(file.value().message.empty());
    ++read;
    if (file.value().properties.isDictionary()) ++withProperties;
  }
  EXPECT_GE(read, 15);
  EXPECT_GT(withProperties, 0);
}

TEST(EmlxSamples, ReadsKnownSamplesAsTheirFramingSays) {
  const auto messages = testing::corporaFolder() / "emlx-samples/partial-emlx-converter/Messages";
  if (!std::filesystem::is_directory(messages)) GTEST_SKIP() << "no sample corpus";
  auto simple = readEmlxFile(messages / "11507.emlx");
  ASSERT_TRUE(simple);
  EXPECT_EQ(simple.value().message.size(), 3685u);
  EXPECT_FALSE(simple.value().framingProblem);
  EXPECT_EQ(simple.value().flags(), 8623750272);

  auto partial = readEmlxFile(messages / "114892.partial.emlx");
  ASSERT_TRUE(partial);
  EXPECT_EQ(partial.value().flags(), 8623689857);
  EXPECT_EQ(partial.value().properties["remote-id"], foundation::Value("50758"));

  // Trimmed: the count promises more bytes than the file has; the message stops where the
  // property list begins.
  auto truncated = readEmlxFile(messages / "136153.partial.emlx");
  ASSERT_TRUE(truncated);
  EXPECT_TRUE(truncated.value().framingProblem);
  EXPECT_EQ(truncated.value().message.find("<plist"), std::string::npos);
  EXPECT_TRUE(truncated.value().properties.isDictionary());
}

}  // namespace
}  // namespace trovadex::mailstore
