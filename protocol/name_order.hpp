// NameOrder: the order of the registry's keys, which are whatever values a companion sent.
//
// Query, client and lineage names are meant to be strings, but a command's values are used as
// they came: a number, a date, data, an array or a dictionary names a query or a client just as
// well. NameOrder is a strict weak order under which two names are equivalent exactly when they
// are isEqual: (the Integer 7 and the Real 7.0 are one name, as are true and 1; the string "7" is
// another), which lets the registry's maps hold any kind of name. Pure functions: safe from any
// thread.
#pragma once

#include "foundation/value.hpp"

namespace trovadex::protocol {

// Negative, zero or positive. Zero exactly when a.isEqual(b), with one addition: a date whose
// time is NaN is equivalent to every other such date, so that every key equals itself.
int compareNames(const foundation::Value& a, const foundation::Value& b);

struct NameOrder {
  bool operator()(const foundation::Value& a, const foundation::Value& b) const {
    return compareNames(a, b) < 0;
  }
};

}  // namespace trovadex::protocol
