#include "foundation/property_list.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace trovadex::foundation {

// Test names show the format by name.
void PrintTo(PropertyListFormat format, std::ostream* out) {
  *out << (format == PropertyListFormat::Binary ? "Binary" : "Xml");
}

namespace {

constexpr std::int64_t kInt64Max = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kInt64Min = std::numeric_limits<std::int64_t>::min();
constexpr std::uint64_t kUInt64Max = std::numeric_limits<std::uint64_t>::max();

class PropertyListRoundTrip : public ::testing::TestWithParam<PropertyListFormat> {
 protected:
  Value roundTrip(const Value& value) {
    Result<std::string> bytes = encodePropertyList(value, GetParam());
    EXPECT_TRUE(bytes.ok()) << (bytes.ok() ? "" : bytes.error().description());
    if (!bytes.ok()) return Value();
    Result<Value> back = decodePropertyList(bytes.value());
    EXPECT_TRUE(back.ok()) << (back.ok() ? "" : back.error().description());
    return back.ok() ? back.value() : Value();
  }
};

INSTANTIATE_TEST_SUITE_P(PropertyListFormats, PropertyListRoundTrip,
                         ::testing::Values(PropertyListFormat::Binary, PropertyListFormat::Xml),
                         [](const auto& info) {
                           return info.param == PropertyListFormat::Binary ? "Binary" : "Xml";
                         });

TEST(PropertyListFormats, BinaryAndXmlLookLikeThemselves) {
  const Value value(Value::Dictionary{{"a", "b"}});
  const Result<std::string> binary = encodePropertyList(value, PropertyListFormat::Binary);
  const Result<std::string> xml = encodePropertyList(value, PropertyListFormat::Xml);
  ASSERT_TRUE(binary.ok());
  ASSERT_TRUE(xml.ok());
  EXPECT_EQ(binary.value().substr(0, 8), "bplist00");
  EXPECT_NE(xml.value().find("<plist version=\"1.0\">"), std::string::npos);
  EXPECT_NE(xml.value().find("<key>a</key>"), std::string::npos);
}

TEST_P(PropertyListRoundTrip, BoolStaysBool) {
  for (const bool flag : {true, false}) {
    const Value back = roundTrip(Value::boolean(flag));
    EXPECT_EQ(back.kind(), Value::Kind::Bool);
    EXPECT_EQ(back.boolValue(), flag);
  }
}

TEST_P(PropertyListRoundTrip, IntegersAreExactAndSigned) {
  for (const std::int64_t number :
       {std::int64_t{0}, std::int64_t{1}, std::int64_t{-5}, std::int64_t{255}, std::int64_t{-129},
        std::int64_t{1} << 40, kInt64Max, kInt64Min}) {
    const Value back = roundTrip(Value::integer(number));
    EXPECT_EQ(back.kind(), Value::Kind::Integer) << number;
    EXPECT_EQ(back.integerValue(), number);
  }
}

TEST_P(PropertyListRoundTrip, UnsignedUpToInt64MaxComesBackAsInteger) {
  const Value back = roundTrip(Value::unsignedInteger(kInt64Max));
  EXPECT_EQ(back.kind(), Value::Kind::Integer);
  EXPECT_EQ(back, Value::unsignedInteger(kInt64Max));
}

TEST_P(PropertyListRoundTrip, UnsignedAboveInt64MaxStaysUnsigned) {
  for (const std::uint64_t number : {kUInt64Max, static_cast<std::uint64_t>(kInt64Max) + 1}) {
    const Value back = roundTrip(Value::unsignedInteger(number));
    EXPECT_EQ(back.kind(), Value::Kind::Unsigned) << number;
    EXPECT_EQ(back.unsignedLongLongValue(), number);
  }
  // And inside containers, next to a negative integer with the same bit pattern.
  const Value mixed(Value::Array{Value::integer(-1), Value::unsignedInteger(kUInt64Max)});
  const Value back = roundTrip(mixed);
  EXPECT_EQ(back.at(0).kind(), Value::Kind::Integer);
  EXPECT_EQ(back.at(0).integerValue(), -1);
  EXPECT_EQ(back.at(1).kind(), Value::Kind::Unsigned);
  EXPECT_EQ(back, mixed);
}

TEST_P(PropertyListRoundTrip, RealStaysRealEvenWhenWhole) {
  for (const double number :
       {3.0, 0.0, -2.5, 0.1, 1.0 / 3, 1e300, 5e-324, 123456789.12345679, HUGE_VAL, -HUGE_VAL}) {
    const Value back = roundTrip(Value::real(number));
    EXPECT_EQ(back.kind(), Value::Kind::Real) << number;
    EXPECT_EQ(back.doubleValue(), number);
  }
  EXPECT_TRUE(std::isnan(roundTrip(Value::real(std::nan(""))).doubleValue()));
}

TEST_P(PropertyListRoundTrip, Strings) {
  for (const char* text : {"", "plain", "caf\xc3\xa9 \xe2\x82\xac \xf0\x9f\x98\x80", "<&>\"'",
                           "]]>", "  spaced\r\n\ttext  ", "\x01 control"}) {
    const Value back = roundTrip(Value(text));
    ASSERT_EQ(back.kind(), Value::Kind::String) << text;
    EXPECT_EQ(*back.asString(), text);
  }
}

TEST_P(PropertyListRoundTrip, Data) {
  Value::Bytes bytes;
  for (int i = 0; i < 300; ++i) bytes.push_back(static_cast<std::uint8_t>(i * 7));
  for (const Value& value : {Value::data({}), Value::data({0}), Value::data(bytes)}) {
    const Value back = roundTrip(value);
    EXPECT_EQ(back.kind(), Value::Kind::Data);
    EXPECT_EQ(back, value);
  }
}

TEST_P(PropertyListRoundTrip, EmptyContainers) {
  EXPECT_EQ(roundTrip(Value(Value::Array{})).kind(), Value::Kind::Array);
  EXPECT_EQ(roundTrip(Value(Value::Dictionary{})).kind(), Value::Kind::Dictionary);
  const Value nested(Value::Dictionary{{"a", Value::Array{}}, {"d", Value::Dictionary{}}});
  EXPECT_EQ(roundTrip(nested), nested);
}

TEST_P(PropertyListRoundTrip, NestedContainersKeepEveryKind) {
  const Value value(Value::Dictionary{
      {"subject",
       "\xc3\x9cn\xc3\xaf"
       "c\xc3\xb6"
       "d\xc3\xa9"},
      {"rowid", Value::integer(42)},
      {"flag", Value::boolean(true)},
      {"score", Value::real(3.0)},
      {"when", Value(Date::withTimeIntervalSinceReferenceDate(800000000))},
      {"blob", Value::data({1, 2, 3})},
      {"lists", Value::Array{Value::Array{"INBOX", "Sent"},
                             Value::Dictionary{{"deep", Value::integer(-7)}}}},
      {"key with spaces & <marks>", "v"},
  });
  const Value back = roundTrip(value);
  EXPECT_EQ(back, value);
  EXPECT_EQ(back["flag"].kind(), Value::Kind::Bool);
  EXPECT_EQ(back["score"].kind(), Value::Kind::Real);
  EXPECT_EQ(back["rowid"].kind(), Value::Kind::Integer);
  EXPECT_EQ(back["when"].kind(), Value::Kind::Date);
  EXPECT_EQ(back["lists"].at(1)["deep"].integerValue(), -7);
}

TEST_P(PropertyListRoundTrip, WholeSecondDates) {
  for (const double seconds : {0.0, 800000000.0, -1.0, -978307200.0, 2147483647.0, -2147483648.0}) {
    const Value back = roundTrip(Value(Date::withTimeIntervalSinceReferenceDate(seconds)));
    ASSERT_NE(back.asDate(), nullptr);
    EXPECT_EQ(back.asDate()->timeIntervalSinceReferenceDate(), seconds);
  }
}

TEST(PropertyListDates, BinaryKeepsFractionsExactly) {
  for (const double seconds : {0.5, -0.5, -1.5, 12345.123456789, 800000000.25, 1e-7, -0.000001}) {
    const Value value(Date::withTimeIntervalSinceReferenceDate(seconds));
    const Result<std::string> bytes = encodePropertyList(value, PropertyListFormat::Binary);
    ASSERT_TRUE(bytes.ok());
    const Result<Value> back = decodePropertyList(bytes.value());
    ASSERT_TRUE(back.ok());
    ASSERT_NE(back.value().asDate(), nullptr);
    EXPECT_EQ(back.value().asDate()->timeIntervalSinceReferenceDate(), seconds);
  }
}

TEST(PropertyListDates, BinaryKeepsDatesBeyondTheInt32Range) {
  // The platform's distant future and distant past.
  for (const double seconds : {63113904000.0, -63114076800.0, 1e15}) {
    const Value value(Date::withTimeIntervalSinceReferenceDate(seconds));
    const Result<std::string> bytes = encodePropertyList(value, PropertyListFormat::Binary);
    ASSERT_TRUE(bytes.ok()) << seconds;
    const Result<Value> back = decodePropertyList(bytes.value());
    ASSERT_TRUE(back.ok());
    EXPECT_EQ(back.value(), value);
  }
}

TEST(PropertyListDates, XmlKeepsWholeSecondsRoundedDown) {
  const std::pair<double, double> cases[] = {
      {0.5, 0.0}, {800000000.75, 800000000.0}, {-0.5, -1.0}, {-1.25, -2.0}};
  for (const auto& [seconds, expected] : cases) {
    const Result<std::string> bytes = encodePropertyList(
        Value(Date::withTimeIntervalSinceReferenceDate(seconds)), PropertyListFormat::Xml);
    ASSERT_TRUE(bytes.ok());
    const Result<Value> back = decodePropertyList(bytes.value());
    ASSERT_TRUE(back.ok());
    EXPECT_EQ(back.value().asDate()->timeIntervalSinceReferenceDate(), expected) << seconds;
  }
  const Result<std::string> bytes =
      encodePropertyList(Value(Date::withUnixTime(1795374313.75)), PropertyListFormat::Xml);
  ASSERT_TRUE(bytes.ok());
  EXPECT_NE(bytes.value().find("<date>2026-11-22T19:05:13Z</date>"), std::string::npos);
}

TEST(PropertyListDates, XmlHoldsTheYears1000To9999) {
  const double first = -30610224000.0;  // 1000-01-01 00:00:00, Unix time
  const double last = 253402300799.0;   // 9999-12-31 23:59:59
  for (const double unixTime : {first, last}) {
    const Value value(Date::withUnixTime(unixTime));
    const Result<std::string> bytes = encodePropertyList(value, PropertyListFormat::Xml);
    ASSERT_TRUE(bytes.ok()) << unixTime;
    const Result<Value> back = decodePropertyList(bytes.value());
    ASSERT_TRUE(back.ok());
    EXPECT_EQ(back.value(), value);
  }
  for (const double unixTime : {first - 1, last + 1}) {
    const Result<std::string> bytes =
        encodePropertyList(Value(Date::withUnixTime(unixTime)), PropertyListFormat::Xml);
    ASSERT_FALSE(bytes.ok()) << unixTime;
    EXPECT_EQ(bytes.error().domain, kPropertyListErrorDomain);
    EXPECT_EQ(bytes.error().code, kPropertyListEncodingError);
  }
}

// ---- what cannot be encoded ----

TEST(PropertyListEncoding, NilCannotBeEncoded) {
  for (const auto format : {PropertyListFormat::Binary, PropertyListFormat::Xml}) {
    const Result<std::string> bytes = encodePropertyList(Value(), format);
    ASSERT_FALSE(bytes.ok());
    EXPECT_EQ(bytes.error().domain, kPropertyListErrorDomain);
    EXPECT_EQ(bytes.error().code, kPropertyListEncodingError);
    EXPECT_FALSE(bytes.error().localizedDescription.empty());
  }
}

TEST(PropertyListEncoding, NonFiniteDatesAreRefused) {
  for (const double seconds : {std::nan(""), HUGE_VAL, -HUGE_VAL}) {
    EXPECT_FALSE(encodePropertyList(Value(Date::withTimeIntervalSinceReferenceDate(seconds)),
                                    PropertyListFormat::Binary)
                     .ok());
  }
}

TEST(PropertyListEncoding, TextThatLibplistWouldAlterIsRefused) {
  for (const std::string& bad :
       {std::string("a\0b", 3), std::string("\xff\xfe"), std::string("a\xc3"),
        std::string("\xed\xa0\x80"), std::string("\xc0\x80")}) {
    for (const auto format : {PropertyListFormat::Binary, PropertyListFormat::Xml}) {
      EXPECT_FALSE(encodePropertyList(Value(bad), format).ok());
      // Deep inside a container and as a key, too.
      EXPECT_FALSE(
          encodePropertyList(Value(Value::Array{Value::Dictionary{{"k", Value(bad)}}}), format)
              .ok());
      EXPECT_FALSE(encodePropertyList(Value(Value::Dictionary{{bad, "v"}}), format).ok());
    }
  }
}

TEST(PropertyListEncoding, ExcessiveNestingIsRefused) {
  Value deep("leaf");
  for (int i = 0; i < 600; ++i) deep = Value(Value::Array{deep});
  const Result<std::string> bytes = encodePropertyList(deep, PropertyListFormat::Binary);
  ASSERT_FALSE(bytes.ok());
  EXPECT_EQ(bytes.error().domain, kPropertyListErrorDomain);
}

// ---- what cannot be decoded ----

void expectDecodingError(std::string_view bytes) {
  const Result<Value> result = decodePropertyList(bytes);
  ASSERT_FALSE(result.ok()) << bytes.size() << " bytes";
  EXPECT_EQ(result.error().domain, kPropertyListErrorDomain);
  EXPECT_EQ(result.error().code, kPropertyListDecodingError);
  EXPECT_FALSE(result.error().localizedDescription.empty());
}

TEST(PropertyListDecoding, MalformedInputGivesAnError) {
  expectDecodingError("");
  expectDecodingError("bplist0");  // 7 bytes
  expectDecodingError("1234567");
  expectDecodingError("this is not a property list at all");
  expectDecodingError("<plist></plist>");
  expectDecodingError(std::string(64, '\0'));
  expectDecodingError("bplist00\x08\x08\x08\x08\x08\x08\x08\x08\x08\x08\x08\x08\x08\x08\x08\x08");
}

// Found by fuzzing: XML text that is not UTF-8 was read, and then could not be written again.
TEST(PropertyListDecoding, XmlTextThatIsNotUtf8GivesAnError) {
  const std::string head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">";
  expectDecodingError(head + "<string>/home/u\xBA/1.emlx</string></plist>");
  expectDecodingError(head + "<dict><key>k\xC3</key><integer>1</integer></dict></plist>");
  const auto fine = decodePropertyList(head + "<string>Straße</string></plist>");
  ASSERT_TRUE(fine.ok());
  EXPECT_EQ(fine.value(), Value("Straße"));
}

TEST(PropertyListDecoding, TruncatedBinaryGivesAnError) {
  const Result<std::string> bytes = encodePropertyList(
      Value(Value::Dictionary{{"a", Value::Array{"x", Value::integer(5)}}, {"b", Value::real(2)}}),
      PropertyListFormat::Binary);
  ASSERT_TRUE(bytes.ok());
  for (std::size_t keep = 0; keep < bytes.value().size(); ++keep) {
    expectDecodingError(std::string_view(bytes.value()).substr(0, keep));
  }
}

// A hand-made binary property list: the objects given, each a reference-size-1 encoding,
// object 0 being the top.
std::string binaryPropertyList(std::initializer_list<std::string_view> objects) {
  std::string bytes = "bplist00";
  std::string table;
  for (const std::string_view object : objects) {
    table += static_cast<char>(bytes.size());
    bytes += object;
  }
  const std::size_t tableOffset = bytes.size();
  std::string trailer(32, '\0');
  trailer[6] = 1;  // offset size
  trailer[7] = 1;  // reference size
  trailer[15] = static_cast<char>(objects.size());
  trailer[31] = static_cast<char>(tableOffset);
  return bytes + table + trailer;
}

// {key = true}, as another writer may produce it.
std::string binaryWithKey(std::string_view keyObject) {
  return binaryPropertyList({std::string_view("\xD1\x01\x02", 3), keyObject, "\x09"});
}

TEST(PropertyListDecoding, OtherWritersEncodings) {
  // A 4-byte real, a 1-byte integer, a keyed-archiver UID.
  Result<Value> back =
      decodePropertyList(binaryPropertyList({std::string_view("\x22\x3f\xc0\x00\x00", 5)}));
  ASSERT_TRUE(back.ok());
  EXPECT_EQ(back.value().kind(), Value::Kind::Real);
  EXPECT_EQ(back.value().doubleValue(), 1.5);
  back = decodePropertyList(binaryPropertyList({"\x10\x05"}));
  ASSERT_TRUE(back.ok());
  EXPECT_EQ(back.value().kind(), Value::Kind::Integer);
  EXPECT_EQ(back.value().integerValue(), 5);
  back = decodePropertyList(binaryPropertyList({"\x80\x07"}));
  ASSERT_TRUE(back.ok());
  EXPECT_EQ(back.value(), Value(Value::Dictionary{{"CF$UID", Value::integer(7)}}));
}

TEST(PropertyListDecoding, HandMadeBinaryIsRead) {
  const Result<Value> back =
      decodePropertyList(binaryWithKey(std::string("\x53"
                                                   "a-b",
                                                   4)));
  ASSERT_TRUE(back.ok()) << back.error().description();
  EXPECT_EQ(back.value(), Value(Value::Dictionary{{"a-b", Value::boolean(true)}}));
}

TEST(PropertyListDecoding, KeysWithNulAreAnErrorNotAnAbort) {
  // libplist 2.2 would fail an assertion on these and abort the process.
  expectDecodingError(
      binaryWithKey(std::string("\x53"
                                "a\0b",
                                4)));
  expectDecodingError(binaryWithKey(std::string("\x62\x00\x61\x00\x00", 5)));  // UTF-16 "a\0"
}

TEST(PropertyListDecoding, ReadsXmlWrittenByOthers) {
  const std::string xml =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<plist version=\"1.0\"><dict>"
      "<key>n</key><integer>-12</integer>"
      "<key>big</key><integer>18446744073709551615</integer>"
      "<key>r</key><real>2</real>"
      "<key>t</key><true/>"
      "<key>d</key><date>2026-11-22T19:05:13Z</date>"
      "<key>b</key><data>AQID</data>"
      "</dict></plist>";
  const Result<Value> back = decodePropertyList(xml);
  ASSERT_TRUE(back.ok()) << back.error().description();
  EXPECT_EQ(back.value()["n"].kind(), Value::Kind::Integer);
  EXPECT_EQ(back.value()["n"].integerValue(), -12);
  EXPECT_EQ(back.value()["big"].kind(), Value::Kind::Unsigned);
  EXPECT_EQ(back.value()["big"].unsignedLongLongValue(), kUInt64Max);
  EXPECT_EQ(back.value()["r"].kind(), Value::Kind::Real);
  EXPECT_EQ(back.value()["t"].kind(), Value::Kind::Bool);
  EXPECT_EQ(back.value()["d"], Value(Date::withUnixTime(1795374313)));
  EXPECT_EQ(back.value()["b"], Value::data({1, 2, 3}));
}

TEST(PropertyListDecoding, RandomBytesNeverCrash) {
  std::mt19937 random(7);
  const Result<std::string> sample = encodePropertyList(
      Value(Value::Dictionary{{"list", Value::Array{"a", Value::integer(-1), Value::real(0.5)}},
                              {"when", Value(Date::withTimeIntervalSinceReferenceDate(1.5))},
                              {"data", Value::data({1, 2, 3})}}),
      PropertyListFormat::Binary);
  ASSERT_TRUE(sample.ok());
  for (int round = 0; round < 2000; ++round) {
    std::string bytes = sample.value();
    // Flip a few bytes of a valid file, so that the reader gets past the header.
    const int flips = 1 + static_cast<int>(random() % 4);
    for (int i = 0; i < flips; ++i)
      bytes[random() % bytes.size()] = static_cast<char>(random() % 256);
    const Result<Value> result = decodePropertyList(bytes);
    if (!result.ok()) {
      EXPECT_EQ(result.error().domain, kPropertyListErrorDomain);
    }
  }
}

}  // namespace
}  // namespace trovadex::foundation
