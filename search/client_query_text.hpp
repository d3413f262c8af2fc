// The Spotlight text a search runs for the companion's query string, and the way back from it.
//
// Every search is restricted to mail messages: the client's string is wrapped as
// `(kMDItemContentType = "public.email-message") && (<client's string>)`, or the restriction
// alone when the string is empty. The engine reports a malformed query with a byte offset into
// that wrapped text; errorMessageInClientTerms moves such positions back into the client's own
// string, so that a companion can point at the character it sent. Pure functions: safe from any
// thread.
#pragma once

#include <string>
#include <string_view>

namespace trovadex::plugin {

// The text the engine runs for queryString (the client's string, possibly empty).
std::string spotlightTextForQueryString(std::string_view queryString);

// An engine's "Invalid query at byte N: ..." message about the text made from queryString, with
// every position counted in queryString instead. A position in the plug-in's own wrapping is
// told in words: the closing parenthesis after the client's string reads as "the end of the
// query", a parenthesis the client left open or closed once too often is named without an
// offset. Any other message, and every message about an empty queryString, comes back as it is.
std::string errorMessageInClientTerms(std::string_view message, std::string_view queryString);

}  // namespace trovadex::plugin
