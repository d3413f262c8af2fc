// The on-disk layout of the index: its schema and the rules by which an item's attributes
// become rows, shared by the writer that stores them and the planner that looks them up.
//
//   items           id, index name, identifier, domain, file path, encoded attribute dictionary
//   attributes      code <-> canonical attribute name
//   string_values   (code, fully folded value cut to kIndexedValueLimit bytes, item): whole-value
//                   lookups; text content and non-scalar values get kPresenceMarker instead
//   numeric_values  (code, number or CFAbsoluteTime, item): numbers, booleans and dates
//   words           FTS5, contentless, no positions: the word terms of every string value
//   terms           every word term ever indexed: the dictionary that wildcard and fuzzy walk
// Safe from any thread (constants and pure functions).
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "foundation/value.hpp"

namespace trovadex::spotlight {

inline constexpr int kIndexSchemaVersion = 1;
extern const char* const kIndexSchema;

// Longest folded value kept in string_values; longer values are cut at a character boundary.
inline constexpr std::size_t kIndexedValueLimit = 240;
// Marks "has a value" for values that have no whole-value row: never valid UTF-8, so it never
// equals or begins with a folded text.
inline constexpr std::string_view kPresenceMarker = "\xFF";

std::string cutIndexedValue(std::string text);

// Attribute name <-> code, as stored in the attributes table.
struct AttributeCodes {
  std::map<std::string, std::int64_t, std::less<>> byName;
  std::map<std::int64_t, std::string> byCode;
  const std::int64_t* find(std::string_view name) const {
    auto it = byName.find(name);
    return it == byName.end() ? nullptr : &it->second;
  }
};

// What one attribute value contributes to the index.
struct IndexedValue {
  enum class Kind { Text, Number, Presence };
  Kind kind;
  std::string_view text;  // Text: the value as stored
  double number = 0;      // Number
};

// Calls visit(canonicalName, value) for each scalar of each attribute, arrays flattened.
void forEachIndexedValue(
    const foundation::Value::Dictionary& attributes,
    const std::function<void(std::string_view canonicalName, const IndexedValue&)>& visit);

}  // namespace trovadex::spotlight
