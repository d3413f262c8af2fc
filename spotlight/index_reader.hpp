// IndexReader: one read connection to the index and the look-ups the planner and the query
// runner make through it.
//
// Look-ups that return item ids look inside a window of ids and take a cap: they give up
// (return none) as soon as they would return more than cap ids, so that the planner can find
// the most selective clause cheaply. Returned ids are sorted and unique. Owns its connection: one
// thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/error.hpp"
#include "spotlight/index_layout.hpp"
#include "spotlight/sqlite_handle.hpp"

namespace trovadex::spotlight {

using ItemIds = std::vector<std::int64_t>;

// A half-open window [low, high) of item ids; the default covers every id.
struct IdRange {
  std::int64_t low = std::numeric_limits<std::int64_t>::min();
  std::int64_t high = std::numeric_limits<std::int64_t>::max();
};

struct StoredItem {
  std::int64_t id = 0;
  std::string indexName;
  std::string identifier;
  std::string domain;
  std::optional<std::string> filePath;
  std::string encodedAttributes;
};

class IndexReader {
 public:
  // The database must already have been created by an IndexWriter.
  static foundation::Result<std::unique_ptr<IndexReader>> open(const std::string& path);
  ~IndexReader();

  // A read transaction: everything read until end() sees one snapshot. begin() also reloads
  // the attribute codes.
  foundation::Status begin();
  void end();
  const AttributeCodes& codes() const { return codes_; }

  // Items whose words match an FTS5 expression built by the planner.
  std::optional<ItemIds> wordMatches(const std::string& expression, IdRange range, std::size_t cap);
  // Walks the term dictionary over terms that begin with prefix, in order, until visit says no.
  bool walkTerms(std::string_view prefix, const std::function<bool(std::string_view)>& visit);
  // Items with a whole-value row of the attribute equal to folded.
  std::optional<ItemIds> valuesEqual(std::int64_t code, std::string_view folded, IdRange range,
                                     std::size_t cap);
  // Items with a whole-value row that begins with prefix (presence markers excluded).
  std::optional<ItemIds> valuesWithPrefix(std::int64_t code, std::string_view prefix, IdRange range,
                                          std::size_t cap);
  // Items with a whole-value row beginning with prefix that keep accepts.
  std::optional<ItemIds> valuesWhere(std::int64_t code, std::string_view prefix,
                                     const std::function<bool(std::string_view)>& keep,
                                     IdRange range, std::size_t cap);
  // Items with a number or date of the attribute in the range.
  std::optional<ItemIds> numbersBetween(std::int64_t code, double low, bool lowInclusive,
                                        double high, bool highInclusive, IdRange range,
                                        std::size_t cap);
  // Items with any value of the attribute.
  std::optional<ItemIds> present(std::int64_t code, IdRange range, std::size_t cap);
  // The highest item id, 0 when the index is empty.
  std::int64_t maxItemId();

  // Reads the item into out, reusing out's buffers; false when there is no such item.
  bool item(std::int64_t id, StoredItem& out);
  // Up to limit items with ids above afterId, in id order.
  std::vector<StoredItem> itemsAfter(std::int64_t afterId, std::size_t limit);
  // True once any statement has failed since begin().
  bool failed() const { return failed_; }
  foundation::Error lastError() const { return database_->lastError("reading the index failed"); }

 private:
  explicit IndexReader(std::unique_ptr<Database> database);
  std::optional<ItemIds> collect(Statement& statement, int idColumn, std::size_t cap,
                                 const std::function<bool(Statement&)>& keep = {});
  Statement& statement(std::unique_ptr<Statement>& slot, const char* sql);

  std::unique_ptr<Database> database_;
  AttributeCodes codes_;
  bool failed_ = false;
  std::unique_ptr<Statement> words_, terms_, equal_, prefix_, where_, numbers_[4], presentText_,
      presentNumbers_, item_, itemsAfter_, maxId_;
};

}  // namespace trovadex::spotlight
