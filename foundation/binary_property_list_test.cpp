#include "foundation/binary_property_list.hpp"

#include <gtest/gtest.h>
#include <plist/plist.h>

#include <cstdlib>
#include <limits>
#include <memory>
#include <random>
#include <string>

#include "foundation/property_list.hpp"

namespace trovadex::foundation {
namespace {

struct PlistFree {
  void operator()(void* node) const { plist_free(static_cast<plist_t>(node)); }
};
using PlistPtr = std::unique_ptr<void, PlistFree>;

// A results batch shaped like the plug-in's: records of strings, numbers, dates and arrays.
Value sampleBatch(int records) {
  Value::Array messages;
  for (int i = 0; i < records; ++i) {
    messages.emplace_back(Value::Dictionary{
        {"attributes",
         Value::Dictionary{
             {"kMDItemSubject", "Quarterly figures, draft " + std::to_string(i)},
             {"kMDItemAuthors", Value::Array{"Zoë Quillfeather", "Robin Sample"}},
             {"kMDItemContentType", "public.email-message"},
             {"kMDItemContentCreationDate",
              Value(Date::withTimeIntervalSinceReferenceDate(700000000.0 + i))},
             {"kMDItemFSSize", Value::integer(1000 + i)},
             {"kMDItemIsFlagged", Value::boolean(i % 2 == 0)},
             {"kMDItemStarRating", Value::real(2.5)},
         }},
        {"kMDItemPath", "/mail/V10/INBOX.mbox/Messages/" + std::to_string(i) + ".emlx"},
        {"libraryID", Value::integer(i + 1)},
        {"index", Value::unsignedInteger(static_cast<std::uint64_t>(i))},
    });
  }
  return Value(Value::Dictionary{{"messages", Value(std::move(messages))},
                                 {"foundItemCount", Value::unsignedInteger(2000)},
                                 {"uniqueName", "client-1-1"}});
}

Value roundTrip(const Value& value) {
  const Result<std::string> bytes = encodeBinaryPropertyList(value);
  EXPECT_TRUE(bytes.ok()) << bytes.error().description();
  if (!bytes.ok()) return {};
  const Result<Value> back = decodeBinaryPropertyList(bytes.value());
  EXPECT_TRUE(back.ok()) << back.error().description();
  return back.ok() ? back.value() : Value();
}

TEST(BinaryPropertyList, LargeBatchesComeBackEqual) {
  const Value batch = sampleBatch(2000);
  EXPECT_EQ(roundTrip(batch), batch);
}

TEST(BinaryPropertyList, IntegersKeepTheirValueAtEveryWidth) {
  constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();
  constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
  for (std::int64_t n : {std::int64_t{0}, std::int64_t{255}, std::int64_t{256}, std::int64_t{65535},
                         std::int64_t{65536}, std::int64_t{4294967295}, std::int64_t{4294967296},
                         kMax, std::int64_t{-1}, kMin}) {
    const Value back = roundTrip(Value::integer(n));
    EXPECT_EQ(back.kind(), Value::Kind::Integer) << n;
    EXPECT_EQ(back.integerValue(), n);
  }
  const Value huge = roundTrip(Value::unsignedInteger(std::numeric_limits<std::uint64_t>::max()));
  EXPECT_EQ(huge.kind(), Value::Kind::Unsigned);
  EXPECT_EQ(huge.unsignedLongLongValue(), std::numeric_limits<std::uint64_t>::max());
}

TEST(BinaryPropertyList, TextOfEveryLengthAndScript) {
  for (const std::string& text :
       {std::string(), std::string("short"), std::string(14, 'x'), std::string(15, 'y'),
        std::string(70000, 'z'), std::string("Straße, Zoë, 日本語"),
        std::string("mail \xF0\x9F\x93\xAC")}) {
    EXPECT_EQ(roundTrip(Value(text)), Value(text)) << text.substr(0, 20);
  }
}

TEST(BinaryPropertyList, RepeatedKeysAndShortTextsAreStoredOnce) {
  // A batch repeats every attribute name in every record, and many short values.
  const std::string key = "kMDItemContentCreationDate";
  const std::string text = "Quarterly report for the northern region";
  auto record = [&] { return Value(Value::Dictionary{{key, Value(text)}}); };
  const Result<std::string> once = encodeBinaryPropertyList(Value(Value::Array{record()}));
  const Result<std::string> tenTimes = encodeBinaryPropertyList(Value(Value::Array(10, record())));
  ASSERT_TRUE(once.ok() && tenTimes.ok());
  // Each further record costs its dictionary marker, two references and an offset.
  EXPECT_LT(tenTimes.value().size(), once.value().size() + 9 * 8);
  EXPECT_EQ(decodeBinaryPropertyList(tenTimes.value()).value(), Value(Value::Array(10, record())));
}

// What we write, libplist reads as the same tree; what libplist writes, we read.
TEST(BinaryPropertyList, AgreesWithLibplistBothWays) {
  const Value batch = sampleBatch(50);
  const Result<std::string> ours = encodeBinaryPropertyList(batch);
  ASSERT_TRUE(ours.ok());
  plist_t parsed = nullptr;
  plist_from_bin(ours.value().data(), static_cast<std::uint32_t>(ours.value().size()), &parsed);
  PlistPtr tree(parsed);
  ASSERT_NE(tree, nullptr);
  char* xml = nullptr;
  std::uint32_t length = 0;
  plist_to_xml(tree.get(), &xml, &length);
  ASSERT_NE(xml, nullptr);
  const Result<Value> viaXml = decodePropertyList(std::string_view(xml, length));
  plist_to_xml_free(xml);
  ASSERT_TRUE(viaXml.ok());
  EXPECT_EQ(viaXml.value(), batch);  // the sample's dates are whole seconds

  char* theirs = nullptr;
  plist_to_bin(tree.get(), &theirs, &length);
  ASSERT_NE(theirs, nullptr);
  const Result<Value> back = decodeBinaryPropertyList(std::string_view(theirs, length));
  plist_to_bin_free(theirs);
  ASSERT_TRUE(back.ok()) << back.error().description();
  EXPECT_EQ(back.value(), batch);
}

TEST(BinaryPropertyList, RefusesWhatCannotBeWritten) {
  EXPECT_FALSE(encodeBinaryPropertyList(Value()).ok());
  EXPECT_FALSE(encodeBinaryPropertyList(Value(std::string("a\0b", 3))).ok());
  EXPECT_FALSE(encodeBinaryPropertyList(Value(Value::Array{std::string("\xC3\x28")})).ok());
  EXPECT_FALSE(
      encodeBinaryPropertyList(Value(Value::Dictionary{{std::string("k\xFF"), "v"}})).ok());
  EXPECT_FALSE(encodeBinaryPropertyList(Value(Date::withTimeIntervalSinceReferenceDate(
                                            std::numeric_limits<double>::infinity())))
                   .ok());
}

// A hand-made file: the objects given, references and offsets one byte wide, object 0 on top.
std::string handMade(std::initializer_list<std::string_view> objects) {
  std::string bytes = "bplist00";
  std::string table;
  for (const std::string_view object : objects) {
    table += static_cast<char>(bytes.size());
    bytes += object;
  }
  const std::size_t tableOffset = bytes.size();
  std::string trailer(32, '\0');
  trailer[6] = 1;
  trailer[7] = 1;
  trailer[15] = static_cast<char>(objects.size());
  trailer[31] = static_cast<char>(tableOffset);
  return bytes + table + trailer;
}

// Found by fuzzing: a date of infinity or NaN was read, and then could not be written again.
TEST(BinaryPropertyList, DatesThatAreNotFiniteAreErrors) {
  using namespace std::string_view_literals;
  EXPECT_FALSE(decodeBinaryPropertyList(handMade({"\x33\x7F\xF0\0\0\0\0\0\0"sv})).ok());
  EXPECT_FALSE(decodeBinaryPropertyList(handMade({"\x33\x7F\xF8\0\0\0\0\0\0"sv})).ok());
  const auto finite = decodeBinaryPropertyList(handMade({"\x33\x41\xC0\0\0\0\0\0\0"sv}));
  ASSERT_TRUE(finite.ok());
  EXPECT_EQ(finite.value(), Value(Date::withTimeIntervalSinceReferenceDate(536870912.0)));
}

TEST(BinaryPropertyList, HostileReferencesAreErrors) {
  using namespace std::string_view_literals;
  // An array that holds itself.
  EXPECT_FALSE(decodeBinaryPropertyList(handMade({"\xA1\x00"sv})).ok());
  // A reference to an object that does not exist.
  EXPECT_FALSE(decodeBinaryPropertyList(handMade({"\xA1\x05"sv})).ok());
  // A dictionary whose key is a number.
  EXPECT_FALSE(decodeBinaryPropertyList(handMade({"\xD1\x01\x01"sv, "\x10\x01"sv})).ok());
  // A string whose count runs past the objects.
  EXPECT_FALSE(decodeBinaryPropertyList(handMade({"\x5F\x10\xF0"sv})).ok());
  // Twenty arrays each holding the next one twice: a tiny file, a value of a million leaves.
  std::vector<std::string> objects;
  for (int i = 0; i < 20; ++i) {
    objects.push_back(std::string{'\xA2', static_cast<char>(i + 1), static_cast<char>(i + 1)});
  }
  objects.emplace_back("\x09");
  std::string bytes = "bplist00";
  std::string table;
  for (const std::string& object : objects) {
    table += static_cast<char>(bytes.size());
    bytes += object;
  }
  std::string trailer(32, '\0');
  trailer[6] = 1;
  trailer[7] = 1;
  trailer[15] = static_cast<char>(objects.size());
  trailer[31] = static_cast<char>(bytes.size());
  const Result<Value> exploded = decodeBinaryPropertyList(bytes + table + trailer);
  ASSERT_FALSE(exploded.ok());
  EXPECT_EQ(exploded.error().domain, kPropertyListErrorDomain);
}

TEST(BinaryPropertyList, DamagedBatchesNeverCrash) {
  const Result<std::string> sample = encodeBinaryPropertyList(sampleBatch(20));
  ASSERT_TRUE(sample.ok());
  std::mt19937 random(11);
  for (int round = 0; round < 3000; ++round) {
    std::string bytes = sample.value();
    const int flips = 1 + static_cast<int>(random() % 6);
    for (int i = 0; i < flips; ++i) {
      bytes[random() % bytes.size()] = static_cast<char>(random() % 256);
    }
    const Result<Value> result = decodeBinaryPropertyList(bytes);
    if (!result.ok()) {
      EXPECT_EQ(result.error().domain, kPropertyListErrorDomain);
    }
  }
}

}  // namespace
}  // namespace trovadex::foundation
