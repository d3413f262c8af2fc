#include "spotlight/index_reader.hpp"

#include <algorithm>
#include <limits>

#include "spotlight/word_tokenizer.hpp"

namespace trovadex::spotlight {
namespace {

// The end of a prefix range: every UTF-8 text that begins with prefix sorts below it.
std::string prefixEnd(std::string_view prefix) {
  std::string end(prefix);
  end.push_back('\xFF');
  return end;
}

std::int64_t limitFor(std::size_t cap) {
  return cap >= static_cast<std::size_t>(std::numeric_limits<std::int64_t>::max() - 1)
             ? -1
             : static_cast<std::int64_t>(cap) + 1;
}

}  // namespace

foundation::Result<std::unique_ptr<IndexReader>> IndexReader::open(const std::string& path) {
  auto database = Database::open(path);
  if (!database) return database.error();
  if (auto s = registerWordTokenizer(database.value()->handle(), nullptr); !s) return s.error();
  return std::unique_ptr<IndexReader>(new IndexReader(std::move(database.value())));
}

IndexReader::IndexReader(std::unique_ptr<Database> database) : database_(std::move(database)) {}

IndexReader::~IndexReader() {
  words_.reset();
  terms_.reset();
  equal_.reset();
  prefix_.reset();
  where_.reset();
  for (auto& s : numbers_) s.reset();
  presentText_.reset();
  presentNumbers_.reset();
  item_.reset();
  itemsAfter_.reset();
  maxId_.reset();
  database_.reset();
}

Statement& IndexReader::statement(std::unique_ptr<Statement>& slot, const char* sql) {
  if (!slot) slot = std::make_unique<Statement>(*database_, sql);
  if (!slot->valid()) failed_ = true;
  return *slot;
}

foundation::Status IndexReader::begin() {
  failed_ = false;
  if (auto s = database_->execute("BEGIN"); !s) return s;
  codes_ = AttributeCodes{};
  Statement codes(*database_, "SELECT code, name FROM attributes");
  while (codes.step()) {
    codes_.byCode[codes.columnInt(0)] = std::string(codes.columnText(1));
    codes_.byName[std::string(codes.columnText(1))] = codes.columnInt(0);
  }
  if (codes.failed() || !codes.valid()) {
    foundation::Error error = database_->lastError("cannot read the index");
    end();
    return error;
  }
  return {};
}

void IndexReader::end() { (void)database_->execute("COMMIT"); }

std::optional<ItemIds> IndexReader::collect(Statement& s, int idColumn, std::size_t cap,
                                            const std::function<bool(Statement&)>& keep) {
  ItemIds ids;
  bool over = false;
  while (s.step()) {
    if (keep && !keep(s)) continue;
    ids.push_back(s.columnInt(idColumn));
    if (ids.size() > cap) {
      over = true;
      break;
    }
  }
  if (s.failed()) failed_ = true;
  s.reset();
  if (over) return std::nullopt;
  std::sort(ids.begin(), ids.end());
  ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
  return ids;
}

std::optional<ItemIds> IndexReader::wordMatches(const std::string& expression, IdRange range,
                                                std::size_t cap) {
  Statement& s = statement(
      words_, "SELECT rowid FROM words WHERE words MATCH ?1 AND rowid>=?3 AND rowid<?4 LIMIT ?2");
  s.bind(1, expression).bind(2, limitFor(cap)).bind(3, range.low).bind(4, range.high);
  return collect(s, 0, cap);
}

bool IndexReader::walkTerms(std::string_view prefix,
                            const std::function<bool(std::string_view)>& visit) {
  Statement& s = statement(terms_, "SELECT term FROM terms WHERE term >= ?1 AND term < ?2");
  s.bind(1, prefix).bind(2, prefixEnd(prefix));
  while (s.step()) {
    if (!visit(s.columnText(0))) break;
  }
  if (s.failed()) failed_ = true;
  s.reset();
  return !failed_;
}

std::optional<ItemIds> IndexReader::valuesEqual(std::int64_t code, std::string_view folded,
                                                IdRange range, std::size_t cap) {
  Statement& s = statement(equal_,
                           "SELECT item FROM string_values WHERE code=?1 AND folded=?2 AND "
                           "item>=?4 AND item<?5 LIMIT ?3");
  s.bind(1, code).bind(2, folded).bind(3, limitFor(cap)).bind(4, range.low).bind(5, range.high);
  return collect(s, 0, cap);
}

std::optional<ItemIds> IndexReader::valuesWithPrefix(std::int64_t code, std::string_view prefix,
                                                     IdRange range, std::size_t cap) {
  Statement& s = statement(prefix_,
                           "SELECT item FROM string_values WHERE code=?1 AND folded>=?2 AND "
                           "folded<?3 AND item>=?5 AND item<?6 LIMIT ?4");
  s.bind(1, code).bind(2, prefix).bind(3, prefixEnd(prefix)).bind(4, limitFor(cap));
  s.bind(5, range.low).bind(6, range.high);
  return collect(s, 0, cap);
}

std::optional<ItemIds> IndexReader::valuesWhere(std::int64_t code, std::string_view prefix,
                                                const std::function<bool(std::string_view)>& keep,
                                                IdRange range, std::size_t cap) {
  Statement& s = statement(where_,
                           "SELECT item, folded FROM string_values WHERE code=?1 AND "
                           "folded>=?2 AND folded<?3 AND item>=?4 AND item<?5");
  s.bind(1, code).bind(2, prefix).bind(3, prefixEnd(prefix)).bind(4, range.low);
  s.bind(5, range.high);
  return collect(s, 0, cap, [&](Statement& row) { return keep(row.columnText(1)); });
}

std::optional<ItemIds> IndexReader::numbersBetween(std::int64_t code, double low, bool lowInclusive,
                                                   double high, bool highInclusive, IdRange range,
                                                   std::size_t cap) {
  static const char* const kSql[4] = {
      "SELECT item FROM numeric_values WHERE code=?1 AND value>?2 AND value<?3 "
      "AND item>=?5 AND item<?6 LIMIT ?4",
      "SELECT item FROM numeric_values WHERE code=?1 AND value>=?2 AND value<?3 "
      "AND item>=?5 AND item<?6 LIMIT ?4",
      "SELECT item FROM numeric_values WHERE code=?1 AND value>?2 AND value<=?3 "
      "AND item>=?5 AND item<?6 LIMIT ?4",
      "SELECT item FROM numeric_values WHERE code=?1 AND value>=?2 AND value<=?3 "
      "AND item>=?5 AND item<?6 LIMIT ?4",
  };
  const int which = (lowInclusive ? 1 : 0) + (highInclusive ? 2 : 0);
  Statement& s = statement(numbers_[which], kSql[which]);
  s.bind(1, code).bind(2, low).bind(3, high).bind(4, limitFor(cap));
  s.bind(5, range.low).bind(6, range.high);
  return collect(s, 0, cap);
}

std::optional<ItemIds> IndexReader::present(std::int64_t code, IdRange range, std::size_t cap) {
  Statement& text =
      statement(presentText_,
                "SELECT item FROM string_values WHERE code=?1 AND item>=?3 AND item<?4 LIMIT ?2");
  text.bind(1, code).bind(2, limitFor(cap)).bind(3, range.low).bind(4, range.high);
  std::optional<ItemIds> ids = collect(text, 0, cap);
  if (!ids) return std::nullopt;
  Statement& numbers =
      statement(presentNumbers_,
                "SELECT item FROM numeric_values WHERE code=?1 AND item>=?3 AND item<?4 LIMIT ?2");
  numbers.bind(1, code).bind(2, limitFor(cap)).bind(3, range.low).bind(4, range.high);
  std::optional<ItemIds> more = collect(numbers, 0, cap);
  if (!more) return std::nullopt;
  ItemIds merged;
  std::set_union(ids->begin(), ids->end(), more->begin(), more->end(), std::back_inserter(merged));
  if (merged.size() > cap) return std::nullopt;
  return merged;
}

std::int64_t IndexReader::maxItemId() {
  Statement& s = statement(maxId_, "SELECT coalesce(max(id), 0) FROM items");
  std::int64_t id = s.step() ? s.columnInt(0) : 0;
  if (s.failed()) failed_ = true;
  s.reset();
  return id;
}

bool IndexReader::item(std::int64_t id, StoredItem& out) {
  Statement& s = statement(item_,
                           "SELECT id, index_name, identifier, domain, file_path, attributes "
                           "FROM items WHERE id=?1");
  s.bind(1, id);
  const bool found = s.step();
  if (found) {
    // assign() keeps the buffers of the previous item, so a walk over many items does not
    // allocate for each one.
    out.id = s.columnInt(0);
    out.indexName.assign(s.columnText(1));
    out.identifier.assign(s.columnText(2));
    out.domain.assign(s.columnText(3));
    if (s.columnIsNull(4)) {
      out.filePath.reset();
    } else if (out.filePath) {
      out.filePath->assign(s.columnText(4));
    } else {
      out.filePath.emplace(s.columnText(4));
    }
    out.encodedAttributes.assign(s.columnBlob(5));
  }
  if (s.failed()) failed_ = true;
  s.reset();
  return found;
}

std::vector<StoredItem> IndexReader::itemsAfter(std::int64_t afterId, std::size_t limit) {
  Statement& s = statement(itemsAfter_,
                           "SELECT id, index_name, identifier, domain, file_path, attributes "
                           "FROM items WHERE id>?1 ORDER BY id LIMIT ?2");
  s.bind(1, afterId).bind(2, static_cast<std::int64_t>(limit));
  std::vector<StoredItem> out;
  while (s.step()) {
    out.push_back(StoredItem{
        s.columnInt(0), std::string(s.columnText(1)), std::string(s.columnText(2)),
        std::string(s.columnText(3)),
        s.columnIsNull(4) ? std::nullopt : std::optional<std::string>(std::string(s.columnText(4))),
        std::string(s.columnBlob(5))});
  }
  if (s.failed()) failed_ = true;
  s.reset();
  return out;
}

}  // namespace trovadex::spotlight
