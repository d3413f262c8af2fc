// The order of attribute values shared by the plug-in (each delivery) and the companion (a whole
// result set), so that the two always agree.
//
// Sorting on a file-system date adds two tie-breakers (the content creation date, then the date
// the message was received), all in the same direction; every other attribute sorts on its own
// key. Pure functions: safe from any thread.
#pragma once

#include <string>
#include <vector>

#include "foundation/value.hpp"

namespace trovadex::plugin {

// The attribute names to sort on, first the sorting attribute itself.
std::vector<std::string> sortKeysForAttribute(const std::string& sortingAttribute);

// Orders two attribute values: negative, zero or positive. Nil comes first; numbers compare by
// value whatever their kind, strings by their bytes, dates by time; values of different kinds by
// kind.
int compareAttributeValues(const foundation::Value& a, const foundation::Value& b);

}  // namespace trovadex::plugin
