#include "linux/gvariant_codec.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "linux/bus_notification.hpp"

namespace trovadex::linux_platform {
namespace {

using foundation::Date;
using foundation::Value;

// Reads a GVariant from its text form, as `gdbus` would send it.
GVariantPtr parse(const char* type, const char* text) {
  GError* error = nullptr;
  GVariant* parsed =
      g_variant_parse(type ? G_VARIANT_TYPE(type) : nullptr, text, nullptr, nullptr, &error);
  if (error != nullptr) {
    ADD_FAILURE() << error->message;
    g_error_free(error);
  }
  return adoptVariant(parsed);
}

Value roundTrip(const Value& value) {
  auto encoded = encodeValue(value);
  EXPECT_TRUE(encoded.ok());
  if (!encoded) return {};
  std::vector<std::string> problems;
  Value decoded = decodeVariant(encoded.value().get(), problems);
  EXPECT_TRUE(problems.empty());
  return decoded;
}

Value nestedDictionaries(int depth) {
  Value value("bottom");
  for (int i = 0; i < depth; ++i) value = Value(Value::Dictionary{{"next", value}});
  return value;
}

TEST(GVariantCodec, MapsEveryKindToItsBusType) {
  const std::vector<std::pair<Value, const char*>> cases = {
      {Value("text"), "s"},
      {Value::boolean(true), "b"},
      {Value::integer(-5), "x"},
      {Value::unsignedInteger(5), "t"},
      {Value::real(0.25), "d"},
      {Value::data({1, 2}), "ay"},
      {Value(Date::withUnixTime(1.5)), "(d)"},
      {Value(Value::Array{Value("a")}), "av"},
      {Value(Value::Dictionary{{"k", Value("v")}}), "a{sv}"},
  };
  for (const auto& [value, type] : cases) {
    auto encoded = encodeValue(value);
    ASSERT_TRUE(encoded.ok());
    EXPECT_STREQ(g_variant_get_type_string(encoded.value().get()), type) << value.description();
  }
}

TEST(GVariantCodec, RoundTripsEveryKindKeepingItsKind) {
  const Value::Dictionary all = {
      {"string", Value("Ünïcödé")},
      {"bool", Value::boolean(false)},
      {"integer", Value::integer(INT64_MIN)},
      {"unsigned", Value::unsignedInteger(UINT64_MAX)},
      {"real", Value::real(-1.5e300)},
      {"date", Value(Date::withTimeIntervalSinceReferenceDate(800000000.25))},
      {"data", Value::data({0, 255, 7})},
      {"emptyData", Value::data({})},
      {"array", Value(Value::Array{Value("x"), Value::integer(1), Value(Value::Array{})})},
      {"dictionary", Value(Value::Dictionary{{"inner", Value(Value::Dictionary{})}})},
  };
  const Value decoded = roundTrip(Value(all));
  ASSERT_TRUE(decoded.isDictionary());
  EXPECT_EQ(decoded, Value(all));
  for (const auto& [key, value] : all) {
    EXPECT_EQ(decoded[key].kind(), value.kind()) << key;
  }
  EXPECT_EQ(decoded["date"].asDate()->timeIntervalSinceReferenceDate(), 800000000.25);
}

TEST(GVariantCodec, ReadsOtherIntegerTypesBySignedness) {
  auto body = parse("a{sv}",
                    "{'y': <byte 200>, 'n': <int16 -3>, 'q': <uint16 4>, 'i': <int32 -5>, "
                    "'u': <uint32 6>}");
  std::vector<std::string> problems;
  const Value decoded = decodeVariant(body.get(), problems);
  EXPECT_TRUE(problems.empty());
  EXPECT_EQ(decoded["y"].kind(), Value::Kind::Unsigned);
  EXPECT_EQ(decoded["y"].integerValue(), 200);
  EXPECT_EQ(decoded["n"].kind(), Value::Kind::Integer);
  EXPECT_EQ(decoded["n"].integerValue(), -3);
  EXPECT_EQ(decoded["q"].kind(), Value::Kind::Unsigned);
  EXPECT_EQ(decoded["i"].integerValue(), -5);
  EXPECT_EQ(decoded["u"].kind(), Value::Kind::Unsigned);
}

TEST(GVariantCodec, ReadsTypedArraysDictionariesPathsAndNestedVariants) {
  auto body = parse("a{sv}",
                    "{'as': <['a', 'b']>, 'ax': <[int64 1, 2]>, 'ass': <{'k': 'v'}>, "
                    "'path': <objectpath '/a/b'>, 'sig': <signature 'a{sv}'>, "
                    "'deep': <<<'inner'>>>, 'keysArePaths': <{objectpath '/p': 1}>}");
  std::vector<std::string> problems;
  const Value decoded = decodeVariant(body.get(), problems);
  EXPECT_TRUE(problems.empty());
  EXPECT_EQ(decoded["as"], Value(Value::Array{Value("a"), Value("b")}));
  EXPECT_EQ(decoded["ax"], Value(Value::Array{Value::integer(1), Value::integer(2)}));
  EXPECT_EQ(decoded["ass"], Value(Value::Dictionary{{"k", Value("v")}}));
  EXPECT_EQ(decoded["path"], Value("/a/b"));
  EXPECT_EQ(decoded["sig"], Value("a{sv}"));
  EXPECT_EQ(decoded["deep"], Value("inner"));
  EXPECT_EQ(decoded["keysArePaths"]["/p"].integerValue(), 1);
}

TEST(GVariantCodec, DropsWhatHasNoPropertyListReadingAndSaysWhy) {
  auto body = parse("a{sv}",
                    "{'kept': <'yes'>, 'pair': <(1, 2)>, 'handle': <handle 3>, "
                    "'intKeys': <{1: 'a'}>, 'list': <[<'a'>, <handle 1>, <'b'>]>}");
  std::vector<std::string> problems;
  const Value decoded = decodeVariant(body.get(), problems, "userInfo");
  EXPECT_EQ(decoded["kept"], Value("yes"));
  EXPECT_TRUE(decoded["pair"].isNil());
  EXPECT_TRUE(decoded["handle"].isNil());
  EXPECT_TRUE(decoded["intKeys"].isNil());
  EXPECT_EQ(decoded["list"], Value(Value::Array{Value("a"), Value("b")}));
  ASSERT_EQ(problems.size(), 4u);
  std::string all;
  for (const auto& problem : problems) all += problem + "\n";
  for (const char* place :
       {"userInfo.pair: a structure of type (ii)", "userInfo.handle: type h",
        "userInfo.intKeys: a dictionary of type a{is}", "userInfo.list[1]: type h"}) {
    EXPECT_NE(all.find(place), std::string::npos) << place << " not in\n" << all;
  }
}

TEST(GVariantCodec, RepairsTextThatIsNotValidUtf8) {
  const std::string broken = std::string("a\xff") + '\0' + "b";
  const Value decoded = roundTrip(Value(Value::Dictionary{{broken, Value(broken)}}));
  ASSERT_EQ(decoded.count(), 1u);
  const std::string repaired =
      "a\xEF\xBF\xBD\xEF\xBF\xBD"
      "b";  // two U+FFFD
  EXPECT_EQ(decoded[repaired], Value(repaired));
}

TEST(GVariantCodec, RefusesNilAndNestingTheBusWouldRejectWhenSending) {
  EXPECT_FALSE(encodeValue(Value()).ok());
  EXPECT_TRUE(encodeValue(nestedDictionaries(kMaximumEncodeDepth)).ok());
  auto tooDeep = encodeValue(nestedDictionaries(kMaximumEncodeDepth + 1));
  ASSERT_FALSE(tooDeep.ok());
  EXPECT_EQ(tooDeep.error().domain, kBusCodingErrorDomain);
}

TEST(GVariantCodec, DropsContainersNestedBeyondTheDecodingLimit) {
  GVariant* deepest = g_variant_new_string("bottom");
  for (int i = 0; i < kMaximumDecodeDepth + 5; ++i) deepest = g_variant_new_variant(deepest);
  GVariantPtr deep = adoptVariant(deepest);
  std::vector<std::string> problems;
  EXPECT_TRUE(decodeVariant(deep.get(), problems).isNil());
  ASSERT_EQ(problems.size(), 1u);
  EXPECT_NE(problems[0].find("nested"), std::string::npos);
}

TEST(NotificationBody, CarriesObjectAndUserInfoAsStringAndDictionary) {
  auto body = encodeNotificationBody(Value("client"), Value(Value::Dictionary{{"k", Value("v")}}));
  ASSERT_TRUE(body.ok());
  EXPECT_STREQ(g_variant_get_type_string(body.value().get()), "(sa{sv})");
  auto decoded = decodeNotificationBody(body.value().get());
  ASSERT_TRUE(decoded.ok());
  EXPECT_EQ(decoded.value().object, Value("client"));
  EXPECT_EQ(decoded.value().userInfo["k"], Value("v"));
}

TEST(NotificationBody, ReadsEmptyObjectAndEmptyUserInfoAsNil) {
  auto body = encodeNotificationBody(Value(), Value());
  ASSERT_TRUE(body.ok());
  auto decoded = decodeNotificationBody(body.value().get());
  ASSERT_TRUE(decoded.ok());
  EXPECT_TRUE(decoded.value().object.isNil());
  EXPECT_TRUE(decoded.value().userInfo.isNil());
}

TEST(NotificationBody, ReadsAUserInfoSentAlone) {
  auto body = parse("(a{sv})", "({'clientName': <'c'>},)");
  auto decoded = decodeNotificationBody(body.get());
  ASSERT_TRUE(decoded.ok());
  EXPECT_TRUE(decoded.value().object.isNil());
  EXPECT_EQ(decoded.value().userInfo["clientName"], Value("c"));
}

TEST(NotificationBody, RefusesBodiesOfAnyOtherShape) {
  for (const auto& [type, text] : std::vector<std::pair<const char*, const char*>>{
           {"(s)", "('x',)"}, {"(sa{ss})", "('x', {'k': 'v'})"}, {"(ii)", "(1, 2)"}}) {
    auto body = parse(type, text);
    EXPECT_FALSE(decodeNotificationBody(body.get()).ok()) << type;
  }
  EXPECT_FALSE(decodeNotificationBody(nullptr).ok());
}

TEST(NotificationBody, RefusesAnObjectThatIsNotAStringOrAUserInfoThatIsNotADictionary) {
  EXPECT_FALSE(encodeNotificationBody(Value::integer(1), Value()).ok());
  EXPECT_FALSE(encodeNotificationBody(Value(), Value("text")).ok());
}

TEST(SignalName, SplitsANotificationNameAtItsLastDot) {
  const auto name = signalNameForNotification("org.trovadex.MailPlugin.QueryHasUpdates");
  ASSERT_TRUE(name.has_value());
  EXPECT_EQ(name->interfaceName, "org.trovadex.MailPlugin");
  EXPECT_EQ(name->member, "QueryHasUpdates");
}

TEST(SignalName, RefusesNamesThatAreNoInterfaceAndMember) {
  for (const char* bad : {"Search", "org.trovadex.MailPlugin.Search-Results", "org.1x.Search",
                          "org.trovadex.MailPlugin.", ".Search", ""}) {
    EXPECT_FALSE(signalNameForNotification(bad).has_value()) << bad;
  }
}

}  // namespace
}  // namespace trovadex::linux_platform
