// Message identity: the numbers by which the store recognises a message and its thread.
//
// messageIDHash is the Envelope Index's integer form of a Message-ID (the first 8 bytes of the
// MD5 of the ID without angle brackets, read little-endian as a signed number; 0 for no ID).
// contentDigest fingerprints the stored bytes, so that importing the same message twice keeps one
// copy. Plain functions: safe from any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "mailstore/mime_message.hpp"

namespace trovadex::mailstore {

std::int64_t messageIDHash(std::string_view messageID);

// SHA-256 of the bytes, 32 raw bytes.
std::string contentDigest(std::string_view bytes);

// The thread a message belongs to: the hash of the first ID of its References, else of its
// In-Reply-To, else of its own Message-ID, so that a reply joins its thread without a look-up.
// Never negative.
std::int64_t conversationIDFor(const ParsedMessage& message);

// Splits "Re: Fwd: Budget" into the reply/forward prefix "Re: Fwd: " and the base "Budget".
std::pair<std::string, std::string> splitSubjectPrefix(std::string_view subject);

}  // namespace trovadex::mailstore
