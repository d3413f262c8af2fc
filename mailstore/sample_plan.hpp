// The sample generator's plan: who writes to whom, when, in which thread and mailbox, with which
// flags and attachments, and where the planted words and people go.
//
// Planning draws every random decision up front from the seed, so that composing and storing the
// messages afterwards is a pure function of the plan. Messages are in date order. A plan is a
// plain value: safe to read from any thread once made.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "mailstore/sample_vocabulary.hpp"

namespace trovadex::mailstore::sample {

// Mailboxes of the sample library, by URL.
struct SampleMailbox {
  std::string url;
  std::string maildirFolder;  // "" for the top folder, ".Sent Messages", ".Archive.2019"
};

struct SamplePerson {
  std::string name;
  std::string address;
  int timeZoneMinutes = 0;  // east of UTC
};

struct PlannedAttachment {
  std::string fileName;
  std::size_t kind = 0;  // index into attachmentKinds()
  std::int64_t size = 0;
};

struct MessagePlan {
  std::uint64_t stream = 0;  // the composer's random stream
  std::size_t mailbox = 0;   // index into SamplePlan::mailboxes
  std::int64_t dateSent = 0;
  std::int64_t dateReceived = 0;
  bool omitDateField = false;  // a few real messages have none
  std::size_t author = 0;      // index into SamplePlan::people
  std::vector<std::size_t> to, cc, bcc;
  std::string messageID;
  std::vector<std::string> references;  // root first; the last is the parent
  bool brokenChain = false;             // a reply whose threading fields were lost
  std::string subject;
  std::int64_t flags = 0;
  std::optional<int> priority;  // X-Priority, when the message carries one
  bool partial = false;
  bool html = false;
  bool latin1 = false;  // body in ISO 8859-1 rather than UTF-8
  std::vector<PlannedAttachment> attachments;
  std::vector<std::string> plantedBodyWords;
};

struct SamplePlan {
  std::vector<SampleMailbox> mailboxes;
  std::vector<SamplePerson> people;  // people[0] is the owner
  std::vector<MessagePlan> messages;
};

SamplePlan planSampleMail(std::uint64_t seed, std::size_t messageCount);

// The Unix time of the newest sample message's day: sample stores span the ten years before it.
inline constexpr std::int64_t kSampleEndTime = 1751241600;  // 2025-06-30 00:00:00 UTC

}  // namespace trovadex::mailstore::sample
