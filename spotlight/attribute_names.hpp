// Attribute names: the alias table that maps both spellings of an attribute to one name.
//
// Queries may name an attribute by its item-attribute-set property ("subject", "authorNames")
// or by its metadata key ("kMDItemSubject", "kMDItemAuthors"); both reach the same values. The
// canonical name is the metadata key where one exists. Full-text attributes (text content) are
// always matched word by word and never delivered back. Safe from any thread (constant tables).
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace trovadex::spotlight {

// The canonical spelling of an attribute name (the name itself when it has no alias).
std::string_view canonicalAttributeName(std::string_view name);

// Every spelling of the attribute, the canonical one first.
std::span<const std::string_view> attributeSpellings(std::string_view canonicalName,
                                                     std::string_view& single);

// Whether the attribute holds a body of text (kMDItemTextContent) rather than a short value.
bool isFullTextAttribute(std::string_view canonicalName);

}  // namespace trovadex::spotlight
