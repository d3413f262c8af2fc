// The Value <-> GVariant mapping that carries property-list values over the bus.
//
// Sending gives each kind one D-Bus type (table below); receiving is liberal, and whatever has no
// property-list reading is dropped from its container and described in a problems list. Pure
// functions: safe from any thread.
#pragma once

#include <string>
#include <vector>

#include "foundation/error.hpp"
#include "foundation/value.hpp"
#include "linux/glib_ptr.hpp"

namespace trovadex::linux_platform {

// The error domain of values that cannot be sent.
inline constexpr const char* kBusCodingErrorDomain = "TrovadexBusCodingErrorDomain";

// Containers nested deeper than this are refused when sending: the bus disconnects a sender
// whose message nests much deeper, and no message of the protocol comes near it.
inline constexpr int kMaximumEncodeDepth = 16;
// Deeper containers are dropped when receiving (the bus itself allows at most 64).
inline constexpr int kMaximumDecodeDepth = 64;

// Sending: String s, Bool b, Integer x, Unsigned t, Real d, Data ay, Date (d) (seconds since
// 1970-01-01 UTC), Array av, Dictionary a{sv}.
// Receiving: signed integer types read as Integer and unsigned ones as Unsigned, object paths and
// signatures as String, an array of any element type as Array, a dictionary with string keys as
// Dictionary, a variant as its content. Handles, other structures, non-string keys and nesting
// beyond kMaximumDecodeDepth are dropped.

// The D-Bus form of a value, as a non-floating reference. Text that is not valid UTF-8 (or holds
// NUL bytes, which D-Bus strings cannot) is sent with U+FFFD in place of each bad byte. Fails
// for nil and for containers nested deeper than kMaximumEncodeDepth.
foundation::Result<GVariantPtr> encodeValue(const foundation::Value& value);

// The a{sv} form of a dictionary; a nil value gives an empty dictionary.
foundation::Result<GVariantPtr> encodeDictionary(const foundation::Value& dictionary);

// The Value read from any GVariant; nil when nothing of it has a property-list reading. Each
// element or entry that was dropped adds one readable line to problems, naming its place from
// where ("userInfo.messages[3].attributes").
foundation::Value decodeVariant(GVariant* variant, std::vector<std::string>& problems,
                                const std::string& where = "value");

}  // namespace trovadex::linux_platform
