// IndexWriter: applies additions and deletions to the index database, one transaction per call,
// and reports what changed so that live queries can follow.
//
// Adding an item whose identifier the named index already holds replaces it (same row, new
// attributes). Deleting by identifier or by domain removes every row the item contributed. On
// failure the transaction is rolled back and nothing changes. Owns its connection: use it from
// one thread at a time (the engine's writer queue).
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "foundation/error.hpp"
#include "platform/searchable_item.hpp"
#include "spotlight/index_layout.hpp"
#include "spotlight/sqlite_handle.hpp"
#include "spotlight/word_tokenizer.hpp"

namespace trovadex::spotlight {

// One item that changed: its new state, or none when it was deleted.
struct IndexChange {
  std::string indexName;
  std::string identifier;
  std::optional<platform::SearchableItem> item;
};

class IndexWriter {
 public:
  // Opens (creating when needed) the database at path and brings its schema up.
  static foundation::Result<std::unique_ptr<IndexWriter>> open(const std::string& path);
  ~IndexWriter();

  foundation::Result<std::vector<IndexChange>> addItems(const std::string& indexName,
                                                        const platform::SearchableItems& items);
  foundation::Result<std::vector<IndexChange>> deleteItems(
      const std::string& indexName, const std::vector<std::string>& identifiers);
  foundation::Result<std::vector<IndexChange>> deleteDomains(
      const std::string& indexName, const std::vector<std::string>& domainIdentifiers);

 private:
  IndexWriter(std::unique_ptr<Database> database, std::unique_ptr<TermSink> sink);
  foundation::Status prepare();
  std::optional<std::int64_t> codeFor(std::string_view canonicalName, bool create);
  bool addRows(std::int64_t id, const foundation::Value::Dictionary& attributes);
  bool removeRows(std::int64_t id, const foundation::Value::Dictionary& attributes);
  bool removeItem(std::int64_t id, std::string_view encodedAttributes);
  bool recordTerms();
  template <typename Body>
  foundation::Result<std::vector<IndexChange>> inTransaction(Body&& body);

  // Immutable after open.
  std::unique_ptr<TermSink> sink_;  // outlives the connection that points at it
  std::unique_ptr<Database> database_;
  // Used by the writer's thread only.
  AttributeCodes codes_;
  std::unordered_set<std::string> knownTerms_;
  std::unique_ptr<Statement> findItem_, insertItem_, updateItem_, deleteItem_, itemsOfDomain_;
  std::unique_ptr<Statement> insertString_, deleteString_, insertNumber_, deleteNumber_;
  std::unique_ptr<Statement> insertWords_, deleteWords_, insertTerm_, insertCode_;
};

}  // namespace trovadex::spotlight
