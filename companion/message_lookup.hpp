// Finding the file of a message named on the command line: by its library ID, through the
// plug-in, or by the path of its file.
//
// A word of decimal digits is a library ID: the plug-in is asked for the message whose
// "_kMDItemExternalID" is that number (one search, one message). Anything else is a path, which
// must name a file. Single-threaded: the search runs on the client's own context.
#pragma once

#include <chrono>
#include <string>

#include "companion/client.hpp"
#include "foundation/error.hpp"

namespace trovadex::companion {

inline constexpr const char* kMessageLookupErrorDomain = "TrovadexMessageLookupErrorDomain";
// Codes of kMessageLookupErrorDomain.
inline constexpr std::int64_t kNoSuchMessage = 1;   // no message has the ID, or no file the path
inline constexpr std::int64_t kLookupNoPlugin = 2;  // the plug-in did not answer or failed

// Whether the word names a message by its library ID.
bool isLibraryID(const std::string& word);

// The query string that finds the message with the library ID.
std::string libraryIDQuery(const std::string& libraryID);

// The path of the message file the word names; client is used (and connected) only for an ID,
// and may be null for a path.
foundation::Result<std::string> locateMessage(Client* client, const std::string& word,
                                              std::chrono::milliseconds timeout);

}  // namespace trovadex::companion
