#include "mailstore/sample_manifest.hpp"

#include "foundation/property_list.hpp"
#include "mailstore/file_io.hpp"
#include "mailstore/store_error.hpp"

namespace trovadex::mailstore {

using foundation::Value;

std::filesystem::path sampleManifestPath(const std::filesystem::path& libraryFolder) {
  return libraryFolder / "Mail" / "sample-manifest.plist";
}

Value manifestValue(const SampleManifest& manifest) {
  Value::Dictionary mailboxes;
  for (const auto& [url, count] : manifest.mailboxes) mailboxes.emplace(url, Value::integer(count));
  Value::Array words;
  for (const auto& word : manifest.words) {
    words.emplace_back(Value::Dictionary{
        {"word", word.word}, {"field", word.field}, {"messages", Value::integer(word.messages)}});
  }
  Value::Array people;
  for (const auto& person : manifest.people) {
    people.emplace_back(Value::Dictionary{{"name", person.name},
                                          {"address", person.address},
                                          {"asAuthor", Value::integer(person.asAuthor)},
                                          {"asRecipient", Value::integer(person.asRecipient)}});
  }
  // The seed is written as text: it may exceed what a signed property-list integer holds.
  return Value::Dictionary{
      {"seed", std::to_string(manifest.seed)},
      {"generatorVersion", Value::integer(manifest.generatorVersion)},
      {"messageCount", Value::integer(manifest.messageCount)},
      {"mailboxes", Value(std::move(mailboxes))},
      {"plantedWords", Value(std::move(words))},
      {"plantedPeople", Value(std::move(people))},
      {"messagesWithAttachments", Value::integer(manifest.withAttachments)},
      {"partialMessages", Value::integer(manifest.partial)},
      {"unreadMessages", Value::integer(manifest.unread)},
      {"flaggedMessages", Value::integer(manifest.flagged)},
  };
}

foundation::Result<SampleManifest> manifestFromValue(const Value& value) {
  if (!value.isDictionary() ||
      value["generatorVersion"].integerValue() != kSampleGeneratorVersion ||
      !value["seed"].isString()) {
    return storeError(StoreErrorCode::Unparseable, "not a sample manifest of this version");
  }
  SampleManifest manifest;
  manifest.seed = std::stoull(*value["seed"].asString());
  manifest.messageCount = value["messageCount"].integerValue();
  if (const auto* mailboxes = value["mailboxes"].asDictionary()) {
    for (const auto& [url, count] : *mailboxes) manifest.mailboxes[url] = count.integerValue();
  }
  if (const auto* words = value["plantedWords"].asArray()) {
    for (const auto& word : *words) {
      manifest.words.push_back({word["word"].description(), word["field"].description(),
                                word["messages"].integerValue()});
    }
  }
  if (const auto* people = value["plantedPeople"].asArray()) {
    for (const auto& person : *people) {
      manifest.people.push_back({person["name"].description(), person["address"].description(),
                                 person["asAuthor"].integerValue(),
                                 person["asRecipient"].integerValue()});
    }
  }
  manifest.withAttachments = value["messagesWithAttachments"].integerValue();
  manifest.partial = value["partialMessages"].integerValue();
  manifest.unread = value["unreadMessages"].integerValue();
  manifest.flagged = value["flaggedMessages"].integerValue();
  return manifest;
}

foundation::Status writeSampleManifest(const std::filesystem::path& path,
                                       const SampleManifest& manifest) {
  auto bytes =
      foundation::encodePropertyList(manifestValue(manifest), foundation::PropertyListFormat::Xml);
  if (!bytes) return bytes.error();
  return writeFileAtomically(path, bytes.value());
}

foundation::Result<SampleManifest> readSampleManifest(const std::filesystem::path& path) {
  auto bytes = readWholeFile(path);
  if (!bytes) return bytes.error();
  auto value = foundation::decodePropertyList(bytes.value());
  if (!value) return value.error();
  return manifestFromValue(value.value());
}

}  // namespace trovadex::mailstore
