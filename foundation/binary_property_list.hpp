// The binary property-list form ("bplist00"), written and read directly from and to Values.
//
// Result batches of a few thousand records hold a few hundred thousand objects; libplist 2.2
// uniques objects through a hash table of a fixed 4,096 buckets, so its binary writer slows down
// with the square of the object count, and its reader builds a node tree that then has to be
// copied into Values. This codec goes straight between the two forms in one pass each way.
//
// Writing: strings are uniqued (a repeated key or value is stored once); ASCII strings are
// stored as bytes, others as UTF-16. Integers take the smallest width that keeps them (1, 2 or
// 4 bytes for non-negative values, 8 for negative ones and larger ones, 16 above INT64_MAX).
// The rules of encodePropertyList apply: nil roots, non-finite dates, text with a NUL character
// or invalid UTF-8 and nesting deeper than the limit are refused with an error.
//
// Reading checks every offset, length and reference against the data before it is used, so
// damaged or hostile input gives an error, never a crash: references that loop or that share
// containers so much that the decoded value would dwarf the data are refused. A string with a
// NUL character is refused, as it cannot be written back. Safe from any thread (pure functions).
#pragma once

#include <string>
#include <string_view>

#include "foundation/error.hpp"
#include "foundation/value.hpp"

namespace trovadex::foundation {

// Deeper nesting than this is refused both ways, so that hostile input cannot exhaust the stack.
inline constexpr int kPropertyListMaximumDepth = 512;

bool isBinaryPropertyList(std::string_view bytes);

// Writes value in the binary form; the errors are those of encodePropertyList.
Result<std::string> encodeBinaryPropertyList(const Value& value);

// Reads the binary form; anything malformed gives a decoding error.
Result<Value> decodeBinaryPropertyList(std::string_view bytes);

}  // namespace trovadex::foundation
