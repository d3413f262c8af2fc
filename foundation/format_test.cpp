#include "foundation/format.hpp"

#include <gtest/gtest.h>

#include <cstdio>
#include <limits>
#include <random>
#include <vector>

namespace trovadex::foundation {
namespace {

// ---- plain text and stray percents ----

TEST(FormatText, TextWithoutDirectivesIsCopied) {
  EXPECT_EQ(formatString("", {}), "");
  EXPECT_EQ(formatString("hello, world", {}), "hello, world");
  EXPECT_EQ(formatString("caf\xc3\xa9", {}), "caf\xc3\xa9");
}

TEST(FormatText, PercentPercentIsOnePercent) {
  EXPECT_EQ(formatString("100%%", {}), "100%");
  EXPECT_EQ(formatString("%%d", {5}), "%d");
  EXPECT_EQ(formatString("%%%d%%", {5}), "%5%");
}

TEST(FormatText, TrailingLonePercentIsDropped) {
  EXPECT_EQ(formatString("50%", {}), "50");
  EXPECT_EQ(formatString("%", {}), "");
}

TEST(FormatText, UnknownDirectivesAreCopiedAsTheyStand) {
  EXPECT_EQ(formatString("a %q b", {}), "a %q b");
  EXPECT_EQ(formatString("%k%y", {1}), "%k%y");
  EXPECT_EQ(formatString("%5w", {}), "%5w");
  EXPECT_EQ(formatString("%-08.3lY", {}), "%-08.3lY");
  EXPECT_EQ(formatString("%\xc3\xa9", {}), "%\xc3\xa9");
  // '*' widths are not supported: the '*' ends the directive, which is copied.
  EXPECT_EQ(formatString("%*d", {5, 7}), "%*d");
  // An unknown directive consumes no argument.
  EXPECT_EQ(formatString("%q %d", {7}), "%q 7");
}

TEST(FormatText, UnfinishedDirectiveAtTheEndIsCopied) {
  EXPECT_EQ(formatString("x %-5", {1}), "x %-5");
  EXPECT_EQ(formatString("x %ll", {1}), "x %ll");
}

TEST(FormatText, QueryNamesWithPercentSignsAreSafe) {
  // A query named "50% off" with the platform's "%@" rules: "% o" is an octal directive.
  EXPECT_EQ(formatString("query 50%", {}), "query 50");
  EXPECT_EQ(formatString("query %@ started", {"50% off"}), "query 50% off started");
  EXPECT_EQ(formatString("50% off", {}), "50(null)ff");
  EXPECT_EQ(formatString("%@%", {"x"}), "x");
}

// ---- arguments ----

TEST(FormatArguments, MissingArgumentsPrintNull) {
  EXPECT_EQ(formatString("%@", {}), "(null)");
  EXPECT_EQ(formatString("%s and %d", {"one"}), "one and (null)");
  EXPECT_EQ(formatString("%d %f %x %p %c %u", {}), "(null) (null) (null) (null) (null) (null)");
  EXPECT_EQ(formatString("[%8@]", {}), "[  (null)]");
}

TEST(FormatArguments, ExtraArgumentsAreIgnored) { EXPECT_EQ(formatString("%d", {1, 2, 3}), "1"); }

TEST(FormatArguments, SpanOverload) {
  const std::vector<FormatArgument> arguments{Value("a"), Value::integer(2)};
  EXPECT_EQ(formatString("%@-%ld", arguments), "a-2");
  EXPECT_EQ(formatString("%@-%ld-%@", std::span<const FormatArgument>()), "(null)-(null)-(null)");
}

// ---- %@ and %s ----

TEST(FormatObjects, AtPrintsDescriptions) {
  EXPECT_EQ(formatString("%@", {"text"}), "text");
  EXPECT_EQ(formatString("%@", {Value::integer(-5)}), "-5");
  EXPECT_EQ(formatString("%@", {true}), "1");
  EXPECT_EQ(formatString("%@", {0.5}), "0.5");
  EXPECT_EQ(formatString("%@", {Value()}), "(null)");
  EXPECT_EQ(formatString("%@", {Value(Value::Array{"a", "b c"})}), "(\n    a,\n    \"b c\"\n)");
  EXPECT_EQ(formatString("%@", {Value(Value::Dictionary{{"k", Value::integer(1)}})}),
            "{\n    k = 1;\n}");
  const char* nothing = nullptr;
  EXPECT_EQ(formatString("%@|%s", {nothing, nothing}), "(null)|(null)");
}

TEST(FormatObjects, ContainersAndDatesPassDirectly) {
  EXPECT_EQ(formatString("%@", {Value::Array{"x"}}), "(\n    x\n)");
  EXPECT_EQ(formatString("%@", {Value::Dictionary{{"k", "v w"}}}), "{\n    k = \"v w\";\n}");
  EXPECT_EQ(formatString("at %@", {Date::withTimeIntervalSinceReferenceDate(0)}),
            "at 2001-01-01 00:00:00 +0000");
}

TEST(FormatObjects, AtPrintsErrors) {
  EXPECT_EQ(formatString("failed: %@", {Error{"D", 3, "no"}}),
            "failed: Error Domain=D Code=3 \"no\"");
}

TEST(FormatObjects, StringDirective) {
  EXPECT_EQ(formatString("<%s>", {"abc"}), "<abc>");
  EXPECT_EQ(formatString("<%s>", {std::string("abc")}), "<abc>");
  EXPECT_EQ(formatString("<%s>", {std::string_view("abc")}), "<abc>");
  EXPECT_EQ(formatString("<%s>", {Value::integer(12)}), "<12>");
  EXPECT_EQ(formatString("<%s>", {Value(Value::Array{})}), "<()>");
}

TEST(FormatObjects, WidthAndPrecisionCountCharacters) {
  EXPECT_EQ(formatString("[%5s]", {"ab"}), "[   ab]");
  EXPECT_EQ(formatString("[%-5s]", {"ab"}), "[ab   ]");
  EXPECT_EQ(formatString("[%.2s]", {"abcdef"}), "[ab]");
  EXPECT_EQ(formatString("[%5.1s]", {"abcdef"}), "[    a]");
  EXPECT_EQ(formatString("[%.0s]", {"abc"}), "[]");
  EXPECT_EQ(formatString("[%-6@]", {Value::integer(42)}), "[42    ]");
  EXPECT_EQ(formatString("[%4s]", {"\xc3\xa9t\xc3\xa9"}), "[ \xc3\xa9t\xc3\xa9]");
  EXPECT_EQ(formatString("[%.1s]", {"\xc3\xa9t\xc3\xa9"}), "[\xc3\xa9]");
  EXPECT_EQ(formatString("[%2s]", {"abcd"}), "[abcd]");
}

// ---- integers ----

TEST(FormatIntegers, SignedDirectivesAndLengthModifiers) {
  EXPECT_EQ(
      formatString("%d %i %ld %lld %hd %hhd %qd %jd %td %zd", {1, 2, 3, 4, 5, 6, 7, 8, 9, 10}),
      "1 2 3 4 5 6 7 8 9 10");
  EXPECT_EQ(formatString("%ld", {std::numeric_limits<std::int64_t>::min()}),
            "-9223372036854775808");
  EXPECT_EQ(formatString("%lld", {std::numeric_limits<std::int64_t>::max()}),
            "9223372036854775807");
  EXPECT_EQ(formatString("%d", {-17}), "-17");
}

TEST(FormatIntegers, ZeroPaddedCounts) {
  const std::pair<int, const char*> cases[] = {
      {0, "000"}, {7, "007"}, {56, "056"}, {100, "100"}, {5000, "5000"}};
  for (const auto& [number, expected] : cases) {
    EXPECT_EQ(formatString("%03ld", {number}), expected) << number;
  }
  EXPECT_EQ(formatString("%05d", {-42}), "-0042");
  EXPECT_EQ(formatString("%+05d", {42}), "+0042");
}

TEST(FormatIntegers, FlagsWidthAndPrecision) {
  EXPECT_EQ(formatString("[%5d]", {42}), "[   42]");
  EXPECT_EQ(formatString("[%-5d]", {42}), "[42   ]");
  EXPECT_EQ(formatString("[%-05d]", {42}), "[42   ]");  // '-' wins over '0'
  EXPECT_EQ(formatString("[%+d]", {42}), "[+42]");
  EXPECT_EQ(formatString("[% d]", {42}), "[ 42]");
  EXPECT_EQ(formatString("[%+ d]", {42}), "[+42]");
  EXPECT_EQ(formatString("[% d]", {-42}), "[-42]");
  EXPECT_EQ(formatString("[%.4d]", {42}), "[0042]");
  EXPECT_EQ(formatString("[%8.4d]", {-42}), "[   -0042]");
  EXPECT_EQ(formatString("[%08.4d]", {42}), "[    0042]");  // a precision turns '0' off
  EXPECT_EQ(formatString("[%.0d]", {0}), "[]");
}

TEST(FormatIntegers, UnsignedAndHex) {
  EXPECT_EQ(formatString("%u %lu %llu %zu", {1u, 2ul, 3ull, std::size_t{4}}), "1 2 3 4");
  EXPECT_EQ(formatString("%llu", {std::numeric_limits<std::uint64_t>::max()}),
            "18446744073709551615");
  EXPECT_EQ(formatString("%lu", {-1}), "18446744073709551615");  // as C prints it
  EXPECT_EQ(formatString("%x %X %lx", {255, 255, 3054}), "ff FF bee");
  EXPECT_EQ(formatString("%08x", {0xbeef}), "0000beef");
  EXPECT_EQ(formatString("%x", {-1}), "ffffffffffffffff");
  EXPECT_EQ(formatString("%o", {8}), "10");
  EXPECT_EQ(formatString("%+u", {5}), "5");  // no sign on unsigned directives
}

TEST(FormatIntegers, OtherKindsAreReadAsNumbers) {
  EXPECT_EQ(formatString("%d", {true}), "1");
  EXPECT_EQ(formatString("%d", {"42abc"}), "42");
  EXPECT_EQ(formatString("%d", {"abc"}), "0");
  EXPECT_EQ(formatString("%d", {3.9}), "3");
  EXPECT_EQ(formatString("%d", {Value(Value::Array{})}), "0");
  EXPECT_EQ(formatString("%d", {Value()}), "0");
}

TEST(FormatIntegers, Characters) {
  EXPECT_EQ(formatString("[%c]", {65}), "[A]");
  EXPECT_EQ(formatString("[%c]", {0xe9}), "[\xc3\xa9]");
  EXPECT_EQ(formatString("[%3c]", {'x' + 0}), "[  x]");
  EXPECT_EQ(formatString("[%c]", {"xyz"}), "[x]");
  EXPECT_EQ(formatString("[%c]", {0}), "[]");
  EXPECT_EQ(formatString("[%c]", {0x110000}), "[]");
}

TEST(FormatIntegers, Pointers) {
  int object = 0;
  char expected[32];
  std::snprintf(expected, sizeof expected, "0x%llx",
                static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(&object)));
  EXPECT_EQ(formatString("%p", {static_cast<const void*>(&object)}), expected);
  EXPECT_EQ(formatString("%p", {static_cast<const void*>(nullptr)}), "0x0");
  EXPECT_EQ(formatString("[%8p]", {static_cast<const void*>(reinterpret_cast<void*>(0x1f))}),
            "[    0x1f]");
  EXPECT_EQ(formatString("[%08p]", {static_cast<const void*>(reinterpret_cast<void*>(0x1f))}),
            "[0x00001f]");
}

// ---- reals ----

TEST(FormatReals, FixedNotation) {
  EXPECT_EQ(formatString("%f", {3.5}), "3.500000");
  EXPECT_EQ(formatString("%.2f", {3.14159}), "3.14");
  EXPECT_EQ(formatString("%.0f", {2.5}), "2");  // round half to even, as printf
  EXPECT_EQ(formatString("%8.3f|", {-1.5}), "  -1.500|");
  EXPECT_EQ(formatString("%-8.1f|", {1.25}), "1.2     |");
  EXPECT_EQ(formatString("%08.2f", {-1.5}), "-0001.50");
  EXPECT_EQ(formatString("%+.1f", {2.0}), "+2.0");
  EXPECT_EQ(formatString("%F", {1.0}), "1.000000");
  EXPECT_EQ(formatString("%.3f", {1e20}), "100000000000000000000.000");
  EXPECT_EQ(formatString("%f", {7}), "7.000000");
  EXPECT_EQ(formatString("%.1f", {"2.25 s"}), "2.2");
}

TEST(FormatReals, ScientificAndGeneral) {
  EXPECT_EQ(formatString("%e", {1234.5}), "1.234500e+03");
  EXPECT_EQ(formatString("%.2E", {0.000123}), "1.23E-04");
  EXPECT_EQ(formatString("%g", {0.0001}), "0.0001");
  EXPECT_EQ(formatString("%g", {1e-5}), "1e-05");
  EXPECT_EQ(formatString("%g", {100000.0}), "100000");
  EXPECT_EQ(formatString("%g", {1e6}), "1e+06");
  EXPECT_EQ(formatString("%.3g", {3.14159}), "3.14");
  EXPECT_EQ(formatString("%G", {1e-10}), "1E-10");
}

TEST(FormatReals, SpecialValuesAreNeverZeroPadded) {
  EXPECT_EQ(formatString("%f", {std::numeric_limits<double>::infinity()}), "inf");
  EXPECT_EQ(formatString("%F", {-std::numeric_limits<double>::infinity()}), "-INF");
  EXPECT_EQ(formatString("[%06f]", {std::numeric_limits<double>::infinity()}), "[   inf]");
  EXPECT_EQ(formatString("%f", {std::numeric_limits<double>::quiet_NaN()}), "nan");
}

TEST(FormatReals, HugeWidthsAndPrecisionsAreClamped) {
  EXPECT_EQ(formatString("%999999999999999999999d", {1}).size(), 4096u);
  EXPECT_EQ(formatString("%.999999999f", {1.0}).size(), 2u + 4096u);
  EXPECT_EQ(formatString("%.999999999f", {-1.7976931348623157e308}).size(), 1u + 309u + 1u + 4096u);
}

// ---- robustness ----

TEST(FormatRobustness, RandomFormatsNeverCrashOrOverRead) {
  std::mt19937 random(20261122);
  const std::string alphabet = "%%%%-+ 0123456789.*hlqzjtL@sdiuoxXfFeEgGpc%abc\xc3\xa9\xff";
  const FormatArgument pool[] = {Value(),
                                 Value("s"),
                                 Value::integer(-3),
                                 Value::real(2.5),
                                 Value(Value::Array{"a"}),
                                 static_cast<const void*>(nullptr)};
  for (int round = 0; round < 5000; ++round) {
    std::string format;
    const int length = static_cast<int>(random() % 24);
    for (int i = 0; i < length; ++i) {
      // Mostly format characters, sometimes any byte at all (NUL included).
      format += (random() % 5 == 0) ? static_cast<char>(random() % 256)
                                    : alphabet[random() % alphabet.size()];
    }
    const std::size_t count = random() % 4;
    std::vector<FormatArgument> arguments;
    for (std::size_t i = 0; i < count; ++i) arguments.push_back(pool[random() % std::size(pool)]);
    // The formats are heap copies, so that AddressSanitizer sees any read past their end.
    const std::string copy(format);
    const std::string out = formatString(std::string_view(copy), arguments);
    EXPECT_LE(out.size(), 64u * 1024u) << format;
  }
}

TEST(FormatRobustness, EmbeddedNulIsCopied) {
  const std::string format("a\0%d", 4);
  EXPECT_EQ(formatString(format, {5}), std::string("a\0"
                                                   "5",
                                                   3));
}

}  // namespace
}  // namespace trovadex::foundation
