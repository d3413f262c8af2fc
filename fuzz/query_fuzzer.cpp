// Any text as a Spotlight query string, the way a client's query reaches the engine: parsing
// ends in a tree or an error with an offset inside the text; a tree compiles and evaluates
// against a few records without crashing.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "foundation/date.hpp"
#include "foundation/value.hpp"
#include "spotlight/compiled_query.hpp"
#include "spotlight/evaluator.hpp"
#include "spotlight/query_parser.hpp"

namespace {

using trovadex::foundation::Date;
using trovadex::foundation::Value;
namespace spotlight = trovadex::spotlight;

const Value::Dictionary& record(int which) {
  static const Value::Dictionary records[] = {
      {{"kMDItemSubject", Value("Quarterly report, Straße 7")},
       {"kMDItemAuthors", Value(Value::Array{Value("Anna Berg"), Value("anna@example.org")})},
       {"kMDItemContentCreationDate", Value(Date::withTimeIntervalSinceReferenceDate(7.9e8))},
       {"kMDItemFSSize", Value::integer(4096)},
       {"kMDItemTextContent", Value("plantedword and some text in Zoë's mail")}},
      {{"kMDItemDisplayName", Value("日本語の件名")},
       {"com_apple_mail_flagged", Value::boolean(true)}},
      {},
  };
  return records[which];
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const spotlight::ParseResult parsed = spotlight::parseQuery(text);
  if (!parsed.ok()) {
    if (parsed.error().offset > text.size()) std::abort();
    (void)spotlight::describeParseError(parsed.error());
    return 0;
  }
  spotlight::QueryTime time;
  time.now = 7.9e8;
  time.timeZone = "UTC";
  time.locale = "en_US";
  const spotlight::Predicate query = spotlight::compileQuery(parsed.tree(), time);
  for (int which = 0; which < 3; ++which) (void)spotlight::matchesQuery(query, record(which));
  return 0;
}
