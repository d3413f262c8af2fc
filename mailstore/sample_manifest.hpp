// SampleManifest: what a generated sample library holds, with the exact counts of its planted
// words and people, so that tests and demonstrations can assert exact numbers of hits.
//
// It is written as an XML property list beside the store, at <library>/Mail/sample-manifest.plist.
// Counts are numbers of messages: a planted word counts the messages whose body, subject or
// attachment names (as the entry's field says) contain it; a person counts the messages they
// wrote (From) and the messages they received (To, Cc or Bcc). Plain values: safe to copy
// between threads.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "foundation/error.hpp"
#include "foundation/value.hpp"

namespace trovadex::mailstore {

inline constexpr std::int64_t kSampleGeneratorVersion = 1;

struct SampleManifest {
  struct Word {
    std::string word;
    std::string field;  // "body", "subject" or "attachmentName"
    std::int64_t messages = 0;
  };
  struct Person {
    std::string name;
    std::string address;
    std::int64_t asAuthor = 0;
    std::int64_t asRecipient = 0;
  };

  std::uint64_t seed = 0;
  std::int64_t generatorVersion = kSampleGeneratorVersion;
  std::int64_t messageCount = 0;
  std::map<std::string, std::int64_t> mailboxes;  // URL to message count
  std::vector<Word> words;
  std::vector<Person> people;
  std::int64_t withAttachments = 0;
  std::int64_t partial = 0;
  std::int64_t unread = 0;
  std::int64_t flagged = 0;
};

std::filesystem::path sampleManifestPath(const std::filesystem::path& libraryFolder);

foundation::Value manifestValue(const SampleManifest& manifest);
// Fails (Unparseable) when the value is not a manifest of this generator version.
foundation::Result<SampleManifest> manifestFromValue(const foundation::Value& value);

foundation::Status writeSampleManifest(const std::filesystem::path& path,
                                       const SampleManifest& manifest);
foundation::Result<SampleManifest> readSampleManifest(const std::filesystem::path& path);

}  // namespace trovadex::mailstore
