// Sorting one delivery of found items by the query's sorting attribute.
//
// Sorting on a file-system date adds two tie-breakers (the content creation date, then the date
// the message was received), all in the query's direction; every other attribute sorts on its
// own key. Items lacking a key sort before those that have it (ascending), and equal items keep
// the engine's order. Pure functions: safe from any thread.
#pragma once

#include <string>
#include <vector>

#include "foundation/value.hpp"
#include "platform/searchable_item.hpp"

namespace trovadex::plugin {

// The attribute names to sort on, first the sorting attribute itself.
std::vector<std::string> sortKeysForAttribute(const std::string& sortingAttribute);

// Orders two attribute values: negative, zero or positive. Nil comes first; numbers compare by
// value, strings by their bytes, dates by time; values of different kinds by kind.
int compareAttributeValues(const foundation::Value& a, const foundation::Value& b);

// Stable sort of items by keys, every key in the same direction.
void sortFoundItems(std::vector<platform::SearchableItem*>& items,
                    const std::vector<std::string>& keys, bool ascending);

}  // namespace trovadex::plugin
