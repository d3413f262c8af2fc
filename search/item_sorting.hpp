// Sorting one delivery of found items by the query's sorting attribute, in the order of
// sort_order.hpp. Items lacking a key sort before those that have it (ascending), and equal items
// keep the engine's order. Pure functions: safe from any thread.
#pragma once

#include <string>
#include <vector>

#include "platform/searchable_item.hpp"
#include "search/sort_order.hpp"

namespace trovadex::plugin {

// Stable sort of items by keys, every key in the same direction.
void sortFoundItems(std::vector<platform::SearchableItem*>& items,
                    const std::vector<std::string>& keys, bool ascending);

}  // namespace trovadex::plugin
