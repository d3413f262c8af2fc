// composeSampleMessage: the RFC 822 text of one planned sample message.
//
// Headers are encoded as mail clients write them (RFC 2047 words for non-ASCII names and subjects,
// RFC 2231 or RFC 2047 for attachment names); bodies are UTF-8 or, for a few messages, ISO 8859-1
// text, optionally with an HTML alternative; attachments are base64. Some messages take shapes of
// real-world mail: subjects and names folded as adjacent base64 words in one of several charsets,
// HTML-only bodies with malformed markup, attachments inside an attached message, and a Received
// trace field as the only date. Every byte follows from the plan and the seed. Safe from any
// thread.
#pragma once

#include <cstdint>
#include <string>

#include "mailstore/sample_plan.hpp"

namespace trovadex::mailstore::sample {

std::string composeSampleMessage(const SamplePlan& plan, const MessagePlan& message,
                                 std::uint64_t seed);

// "Tue, 14 Nov 2023 22:13:20 +0100" for a Unix time shown in a zone east of UTC by minutes.
std::string rfc822Date(std::int64_t unixTime, int zoneMinutes);

}  // namespace trovadex::mailstore::sample
