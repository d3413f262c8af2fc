#include "spotlight/index_writer.hpp"

#include "spotlight/attribute_codec.hpp"
#include "spotlight/attribute_names.hpp"
#include "spotlight/text_folding.hpp"

namespace trovadex::spotlight {
namespace {

// The term cache only saves statements; past this size it starts over rather than grow.
constexpr std::size_t kKnownTermsLimit = 400000;

std::string documentFor(const foundation::Value::Dictionary& attributes,
                        const std::function<std::optional<std::int64_t>(std::string_view)>& code) {
  std::string document;
  forEachIndexedValue(attributes, [&](std::string_view name, const IndexedValue& value) {
    if (value.kind != IndexedValue::Kind::Text) return;
    if (std::optional<std::int64_t> c = code(name)) appendDocumentSection(document, *c, value.text);
  });
  return document;
}

}  // namespace

foundation::Result<std::unique_ptr<IndexWriter>> IndexWriter::open(const std::string& path) {
  auto database = Database::open(path);
  if (!database) return database.error();
  auto sink = std::make_unique<TermSink>();
  if (foundation::Status s = registerWordTokenizer(database.value()->handle(), sink.get()); !s) {
    return s.error();
  }
  std::unique_ptr<IndexWriter> writer(
      new IndexWriter(std::move(database.value()), std::move(sink)));
  if (foundation::Status s = writer->prepare(); !s) return s.error();
  return writer;
}

IndexWriter::IndexWriter(std::unique_ptr<Database> database, std::unique_ptr<TermSink> sink)
    : sink_(std::move(sink)), database_(std::move(database)) {}

IndexWriter::~IndexWriter() {
  // Statements go before the connection they belong to.
  findItem_.reset();
  insertItem_.reset();
  updateItem_.reset();
  deleteItem_.reset();
  itemsOfDomain_.reset();
  insertString_.reset();
  deleteString_.reset();
  insertNumber_.reset();
  deleteNumber_.reset();
  insertWords_.reset();
  deleteWords_.reset();
  insertTerm_.reset();
  insertCode_.reset();
  database_.reset();
}

foundation::Status IndexWriter::prepare() {
  Database& db = *database_;
  // A large page cache keeps a batch's B-tree pages in memory until it commits.
  if (auto s = db.execute("PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL; "
                          "PRAGMA cache_size=-65536; PRAGMA temp_store=MEMORY; "
                          "PRAGMA wal_autocheckpoint=16384;");
      !s) {
    return s;
  }
  if (auto s = db.execute(kIndexSchema); !s) return s;
  if (auto s = db.execute("PRAGMA user_version=" + std::to_string(kIndexSchemaVersion)); !s) {
    return s;
  }
  Statement codes(db, "SELECT code, name FROM attributes");
  while (codes.step()) {
    std::string name(codes.columnText(1));
    codes_.byCode[codes.columnInt(0)] = name;
    codes_.byName[name] = codes.columnInt(0);
  }
  auto make = [&](std::unique_ptr<Statement>& out, const char* sql) {
    out = std::make_unique<Statement>(db, sql);
    return out->valid();
  };
  const bool ok =
      make(findItem_, "SELECT id, attributes FROM items WHERE index_name=?1 AND identifier=?2") &&
      make(insertItem_,
           "INSERT INTO items(index_name, identifier, domain, file_path, attributes) "
           "VALUES(?1, ?2, ?3, ?4, ?5)") &&
      make(updateItem_, "UPDATE items SET domain=?2, file_path=?3, attributes=?4 WHERE id=?1") &&
      make(deleteItem_, "DELETE FROM items WHERE id=?1") &&
      make(itemsOfDomain_,
           "SELECT id, identifier, attributes FROM items WHERE index_name=?1 AND domain=?2") &&
      make(insertString_,
           "INSERT OR IGNORE INTO string_values(code, folded, item) VALUES(?1, ?2, ?3)") &&
      make(deleteString_, "DELETE FROM string_values WHERE code=?1 AND folded=?2 AND item=?3") &&
      make(insertNumber_,
           "INSERT OR IGNORE INTO numeric_values(code, value, item) VALUES(?1, ?2, ?3)") &&
      make(deleteNumber_, "DELETE FROM numeric_values WHERE code=?1 AND value=?2 AND item=?3") &&
      make(insertWords_, "INSERT INTO words(rowid, document) VALUES(?1, ?2)") &&
      make(deleteWords_, "INSERT INTO words(words, rowid, document) VALUES('delete', ?1, ?2)") &&
      make(insertTerm_, "INSERT OR IGNORE INTO terms(term) VALUES(?1)") &&
      make(insertCode_, "INSERT INTO attributes(name) VALUES(?1)");
  if (!ok) return db.lastError("cannot prepare the index statements");
  return {};
}

std::optional<std::int64_t> IndexWriter::codeFor(std::string_view canonicalName, bool create) {
  if (const std::int64_t* code = codes_.find(canonicalName)) return *code;
  if (!create) return std::nullopt;
  insertCode_->bind(1, canonicalName);
  if (!insertCode_->run()) return std::nullopt;
  const std::int64_t code = sqlite3_last_insert_rowid(database_->handle());
  codes_.byName[std::string(canonicalName)] = code;
  codes_.byCode[code] = std::string(canonicalName);
  return code;
}

bool IndexWriter::recordTerms() {
  bool ok = true;
  for (std::string& term : sink_->terms) {
    if (knownTerms_.contains(term)) continue;
    insertTerm_->bind(1, term);
    ok = insertTerm_->run() && ok;
    if (knownTerms_.size() >= kKnownTermsLimit) knownTerms_.clear();
    knownTerms_.insert(std::move(term));
  }
  sink_->terms.clear();
  return ok;
}

bool IndexWriter::addRows(std::int64_t id, const foundation::Value::Dictionary& attributes) {
  bool ok = true;
  forEachIndexedValue(attributes, [&](std::string_view name, const IndexedValue& value) {
    std::optional<std::int64_t> code = codeFor(name, /*create=*/true);
    if (!code) {
      ok = false;
      return;
    }
    switch (value.kind) {
      case IndexedValue::Kind::Text:
        if (isFullTextAttribute(name)) return;
        insertString_->bind(1, *code).bind(2, cutIndexedValue(fullyFold(value.text))).bind(3, id);
        ok = insertString_->run() && ok;
        return;
      case IndexedValue::Kind::Presence:
        insertString_->bind(1, *code).bind(2, kPresenceMarker).bind(3, id);
        ok = insertString_->run() && ok;
        return;
      case IndexedValue::Kind::Number:
        insertNumber_->bind(1, *code).bind(2, value.number).bind(3, id);
        ok = insertNumber_->run() && ok;
        return;
    }
  });
  const std::string document =
      documentFor(attributes, [&](std::string_view name) { return codeFor(name, true); });
  if (!document.empty()) {
    sink_->recording = true;
    insertWords_->bind(1, id).bind(2, document);
    ok = insertWords_->run() && ok;
    sink_->recording = false;
    ok = recordTerms() && ok;
  }
  return ok;
}

bool IndexWriter::removeRows(std::int64_t id, const foundation::Value::Dictionary& attributes) {
  bool ok = true;
  forEachIndexedValue(attributes, [&](std::string_view name, const IndexedValue& value) {
    std::optional<std::int64_t> code = codeFor(name, /*create=*/false);
    if (!code) return;
    switch (value.kind) {
      case IndexedValue::Kind::Text:
        if (isFullTextAttribute(name)) return;
        deleteString_->bind(1, *code).bind(2, cutIndexedValue(fullyFold(value.text))).bind(3, id);
        ok = deleteString_->run() && ok;
        return;
      case IndexedValue::Kind::Presence:
        deleteString_->bind(1, *code).bind(2, kPresenceMarker).bind(3, id);
        ok = deleteString_->run() && ok;
        return;
      case IndexedValue::Kind::Number:
        deleteNumber_->bind(1, *code).bind(2, value.number).bind(3, id);
        ok = deleteNumber_->run() && ok;
        return;
    }
  });
  const std::string document =
      documentFor(attributes, [&](std::string_view name) { return codeFor(name, false); });
  if (!document.empty()) {
    deleteWords_->bind(1, id).bind(2, document);
    ok = deleteWords_->run() && ok;
  }
  return ok;
}

bool IndexWriter::removeItem(std::int64_t id, std::string_view encodedAttributes) {
  const bool rowsRemoved = removeRows(id, decodeAttributes(encodedAttributes));
  deleteItem_->bind(1, id);
  return deleteItem_->run() && rowsRemoved;
}

template <typename Body>
foundation::Result<std::vector<IndexChange>> IndexWriter::inTransaction(Body&& body) {
  if (auto s = database_->execute("BEGIN IMMEDIATE"); !s) return s.error();
  std::vector<IndexChange> changes;
  if (!body(changes)) {
    foundation::Error error = database_->lastError("the index could not be changed");
    (void)database_->execute("ROLLBACK");
    // Codes created in the rolled-back transaction are gone; read them again.
    codes_ = AttributeCodes{};
    Statement codes(*database_, "SELECT code, name FROM attributes");
    while (codes.step()) {
      codes_.byCode[codes.columnInt(0)] = std::string(codes.columnText(1));
      codes_.byName[std::string(codes.columnText(1))] = codes.columnInt(0);
    }
    knownTerms_.clear();
    return error;
  }
  if (auto s = database_->execute("COMMIT"); !s) {
    (void)database_->execute("ROLLBACK");
    return s.error();
  }
  return changes;
}

foundation::Result<std::vector<IndexChange>> IndexWriter::addItems(
    const std::string& indexName, const platform::SearchableItems& items) {
  return inTransaction([&](std::vector<IndexChange>& changes) {
    for (const platform::SearchableItem& item : items) {
      const std::string encoded = encodeAttributes(item.attributeSet.attributes);
      findItem_->bind(1, indexName).bind(2, item.uniqueIdentifier);
      std::optional<std::int64_t> existing;
      std::string previous;
      if (findItem_->step()) {
        existing = findItem_->columnInt(0);
        previous = std::string(findItem_->columnBlob(1));
      }
      findItem_->reset();
      std::int64_t id = 0;
      if (existing) {
        id = *existing;
        if (!removeRows(id, decodeAttributes(previous))) return false;
        updateItem_->bind(1, id).bind(2, item.domainIdentifier).bindBlob(4, encoded);
        if (item.filePath) {
          updateItem_->bind(3, *item.filePath);
        } else {
          updateItem_->bindNull(3);
        }
        if (!updateItem_->run()) return false;
      } else {
        insertItem_->bind(1, indexName)
            .bind(2, item.uniqueIdentifier)
            .bind(3, item.domainIdentifier)
            .bindBlob(5, encoded);
        if (item.filePath) {
          insertItem_->bind(4, *item.filePath);
        } else {
          insertItem_->bindNull(4);
        }
        if (!insertItem_->run()) return false;
        id = sqlite3_last_insert_rowid(database_->handle());
      }
      if (!addRows(id, item.attributeSet.attributes)) return false;
      changes.push_back(IndexChange{indexName, item.uniqueIdentifier, item});
    }
    return true;
  });
}

foundation::Result<std::vector<IndexChange>> IndexWriter::deleteItems(
    const std::string& indexName, const std::vector<std::string>& identifiers) {
  return inTransaction([&](std::vector<IndexChange>& changes) {
    for (const std::string& identifier : identifiers) {
      findItem_->bind(1, indexName).bind(2, identifier);
      if (!findItem_->step()) {
        const bool failed = findItem_->failed();
        findItem_->reset();
        if (failed) return false;
        continue;
      }
      const std::int64_t id = findItem_->columnInt(0);
      const std::string encoded(findItem_->columnBlob(1));
      findItem_->reset();
      if (!removeItem(id, encoded)) return false;
      changes.push_back(IndexChange{indexName, identifier, std::nullopt});
    }
    return true;
  });
}

foundation::Result<std::vector<IndexChange>> IndexWriter::deleteDomains(
    const std::string& indexName, const std::vector<std::string>& domainIdentifiers) {
  return inTransaction([&](std::vector<IndexChange>& changes) {
    for (const std::string& domain : domainIdentifiers) {
      struct Doomed {
        std::int64_t id;
        std::string identifier;
        std::string encoded;
      };
      std::vector<Doomed> doomed;
      itemsOfDomain_->bind(1, indexName).bind(2, domain);
      while (itemsOfDomain_->step()) {
        doomed.push_back({itemsOfDomain_->columnInt(0), std::string(itemsOfDomain_->columnText(1)),
                          std::string(itemsOfDomain_->columnBlob(2))});
      }
      const bool failed = itemsOfDomain_->failed();
      itemsOfDomain_->reset();
      if (failed) return false;
      for (const Doomed& item : doomed) {
        if (!removeItem(item.id, item.encoded)) return false;
        changes.push_back(IndexChange{indexName, item.identifier, std::nullopt});
      }
    }
    return true;
  });
}

}  // namespace trovadex::spotlight
