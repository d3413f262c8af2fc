#include "spotlight/index_layout.hpp"

#include "spotlight/attribute_names.hpp"

namespace trovadex::spotlight {

const char* const kIndexSchema = R"sql(
CREATE TABLE IF NOT EXISTS attributes(
  code INTEGER PRIMARY KEY,
  name TEXT NOT NULL UNIQUE);
CREATE TABLE IF NOT EXISTS items(
  id INTEGER PRIMARY KEY,
  index_name TEXT NOT NULL,
  identifier TEXT NOT NULL,
  domain TEXT NOT NULL,
  file_path TEXT,
  attributes BLOB NOT NULL,
  UNIQUE(index_name, identifier));
CREATE INDEX IF NOT EXISTS items_by_domain ON items(index_name, domain);
CREATE TABLE IF NOT EXISTS string_values(
  code INTEGER NOT NULL,
  folded TEXT NOT NULL,
  item INTEGER NOT NULL,
  PRIMARY KEY(code, folded, item)) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS numeric_values(
  code INTEGER NOT NULL,
  value REAL NOT NULL,
  item INTEGER NOT NULL,
  PRIMARY KEY(code, value, item)) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS terms(term TEXT PRIMARY KEY) WITHOUT ROWID;
CREATE VIRTUAL TABLE IF NOT EXISTS words USING fts5(
  document, content='', detail=none, tokenize='trovadex_words');
)sql";

std::string cutIndexedValue(std::string text) {
  if (text.size() <= kIndexedValueLimit) return text;
  std::size_t cut = kIndexedValueLimit;
  // Back up over continuation bytes so that the cut falls between characters.
  while (cut > 0 && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80) --cut;
  text.resize(cut);
  return text;
}

namespace {

void visitValue(std::string_view name, bool fullText, const foundation::Value& value,
                const std::function<void(std::string_view, const IndexedValue&)>& visit,
                int depth) {
  using Kind = foundation::Value::Kind;
  switch (value.kind()) {
    case Kind::String:
      if (fullText) visit(name, IndexedValue{IndexedValue::Kind::Presence, {}, 0});
      visit(name, IndexedValue{IndexedValue::Kind::Text, *value.asString(), 0});
      return;
    case Kind::Bool:
    case Kind::Integer:
    case Kind::Unsigned:
    case Kind::Real:
      visit(name, IndexedValue{IndexedValue::Kind::Number, {}, value.doubleValue()});
      return;
    case Kind::Date:
      visit(name,
            IndexedValue{
                IndexedValue::Kind::Number, {}, value.asDate()->timeIntervalSinceReferenceDate()});
      return;
    case Kind::Array:
      if (depth > 8) return;
      for (const foundation::Value& element : *value.asArray()) {
        visitValue(name, fullText, element, visit, depth + 1);
      }
      return;
    case Kind::Nil:
      return;
    case Kind::Data:
    case Kind::Dictionary:
      visit(name, IndexedValue{IndexedValue::Kind::Presence, {}, 0});
      return;
  }
}

}  // namespace

void forEachIndexedValue(const foundation::Value::Dictionary& attributes,
                         const std::function<void(std::string_view, const IndexedValue&)>& visit) {
  for (const auto& [key, value] : attributes) {
    const std::string_view canonical = canonicalAttributeName(key);
    visitValue(canonical, isFullTextAttribute(canonical), value, visit, 0);
  }
}

}  // namespace trovadex::spotlight
