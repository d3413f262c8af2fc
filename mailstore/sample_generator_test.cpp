#include "mailstore/sample_generator.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <set>

#include "mailstore/attributes.hpp"
#include "mailstore/file_io.hpp"
#include "mailstore/importer.hpp"
#include "mailstore/message_flags.hpp"
#include "mailstore/mime_message.hpp"
#include "mailstore/sample_composer.hpp"
#include "mailstore/sample_plan.hpp"
#include "mailstore/test_support.hpp"

namespace trovadex::mailstore {
namespace {

using foundation::Value;

bool contains(const Value& value, const std::string& text) {
  if (const auto* string = value.asString()) return string->find(text) != std::string::npos;
  if (const auto* array = value.asArray()) {
    for (const auto& element : *array) {
      if (contains(element, text)) return true;
    }
  }
  return false;
}

// What the stored messages themselves say, counted the way the manifest counts.
SampleManifest scan(Store& store, const SampleManifest& expected) {
  SampleManifest found;
  for (const auto& word : expected.words) found.words.push_back({word.word, word.field, 0});
  for (const auto& person : expected.people) found.people.push_back({person.name, person.address});
  EXPECT_TRUE(store.forEachMessage([&](const StoredMessage& message) {
    auto item = searchableItemForMessage(messageSourceFor(store, message).value());
    EXPECT_TRUE(item) << item.error().description();
    if (!item) return false;
    const Value a(item.value().attributeSet.attributes);
    ++found.messageCount;
    ++found.mailboxes[item.value().domainIdentifier];
    if (a["kMDItemAttachmentNames"]) ++found.withAttachments;
    if (a["kMDItemFSName"].asString()->ends_with(".partial.emlx")) ++found.partial;
    if (a["com_apple_mail_read"].integerValue() == 0) ++found.unread;
    if (a["com_apple_mail_flagged"].integerValue() == 1) ++found.flagged;
    const std::map<std::string, const char*> fieldAttributes = {
        {"body", "kMDItemTextContent"},
        {"subject", "kMDItemSubject"},
        {"attachmentName", "kMDItemAttachmentNames"}};
    for (auto& word : found.words) {
      if (contains(a[fieldAttributes.at(word.field)], word.word)) ++word.messages;
    }
    for (auto& person : found.people) {
      if (contains(a["kMDItemAuthorEmailAddresses"], person.address)) ++person.asAuthor;
      if (contains(a["kMDItemRecipientEmailAddresses"], person.address)) ++person.asRecipient;
    }
    return true;
  }));
  return found;
}

void expectSameCounts(const SampleManifest& found, const SampleManifest& manifest) {
  ASSERT_EQ(found.words.size(), manifest.words.size());
  for (std::size_t index = 0; index < found.words.size(); ++index) {
    EXPECT_GE(manifest.words[index].messages, 1) << manifest.words[index].word;
    EXPECT_EQ(found.words[index].messages, manifest.words[index].messages)
        << manifest.words[index].word << " in " << manifest.words[index].field;
  }
  ASSERT_EQ(found.people.size(), manifest.people.size());
  for (std::size_t index = 0; index < found.people.size(); ++index) {
    EXPECT_EQ(found.people[index].asAuthor, manifest.people[index].asAuthor)
        << manifest.people[index].address;
    EXPECT_EQ(found.people[index].asRecipient, manifest.people[index].asRecipient)
        << manifest.people[index].address;
  }
}

// Every file under folder, by relative path, with its bytes.
std::map<std::string, std::string> filesBelow(const std::filesystem::path& folder) {
  std::map<std::string, std::string> files;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    if (!entry.is_regular_file()) continue;
    const auto relative = entry.path().lexically_relative(folder).string();
    if (relative.starts_with("MailData/")) continue;  // the database, compared by its contents
    files[relative] = readWholeFile(entry.path()).value();
  }
  return files;
}

SampleManifest generate(const std::filesystem::path& library, std::uint64_t seed, std::size_t count,
                        std::optional<std::filesystem::path> maildir = std::nullopt) {
  auto store = Store::open(library).value();
  SampleOptions options{
      .seed = seed, .messageCount = count, .maildir = std::move(maildir), .batchSize = 97};
  auto manifest = generateSampleMail(*store, options);
  EXPECT_TRUE(manifest) << manifest.error().description();
  return manifest ? manifest.value() : SampleManifest{};
}

TEST(SampleGenerator, WritesTheSameLibraryByteForByteForTheSameSeed) {
  testing::TemporaryFolder folder;
  const auto first = generate(folder.path() / "one", 7, 250);
  const auto second = generate(folder.path() / "two", 7, 250);
  const auto other = generate(folder.path() / "three", 8, 250);
  EXPECT_EQ(manifestValue(first), manifestValue(second));

  const auto oneFiles = filesBelow(folder.path() / "one/Mail/V10");
  const auto twoFiles = filesBelow(folder.path() / "two/Mail/V10");
  EXPECT_EQ(oneFiles.size(), twoFiles.size());
  EXPECT_GE(oneFiles.size(), 250u);
  EXPECT_TRUE(oneFiles == twoFiles);
  EXPECT_FALSE(oneFiles == filesBelow(folder.path() / "three/Mail/V10"));
  EXPECT_EQ(readWholeFile(sampleManifestPath(folder.path() / "one")).value(),
            readWholeFile(sampleManifestPath(folder.path() / "two")).value());
}

TEST(SampleGenerator, ManifestCountsMatchWhatTheStoredMessagesSay) {
  testing::TemporaryFolder folder;
  const auto manifest = generate(folder.path(), 20240601, 700);
  auto store = Store::open(folder.path()).value();
  const SampleManifest found = scan(*store, manifest);
  EXPECT_EQ(found.messageCount, 700);
  EXPECT_EQ(manifest.messageCount, 700);
  expectSameCounts(found, manifest);
  for (const auto& [url, count] : found.mailboxes)
    EXPECT_EQ(manifest.mailboxes.at(url), count) << url;
  EXPECT_EQ(found.withAttachments, manifest.withAttachments);
  EXPECT_EQ(found.partial, manifest.partial);
  EXPECT_GT(manifest.partial, 0);
  EXPECT_EQ(found.unread, manifest.unread);
  EXPECT_EQ(found.flagged, manifest.flagged);

  auto reread = readSampleManifest(sampleManifestPath(folder.path()));
  ASSERT_TRUE(reread) << reread.error().description();
  EXPECT_EQ(manifestValue(reread.value()), manifestValue(manifest));
}

TEST(SampleGenerator, WritesTheSameMessagesAsAMaildirThatImportsToTheSameCounts) {
  testing::TemporaryFolder folder;
  const auto manifest = generate(folder.path() / "library", 3, 300, folder.path() / "Maildir");
  auto imported = Store::open(folder.path() / "imported").value();
  std::vector<std::string> problems;
  ImportOptions options;
  options.problem = [&](const std::string& where, const foundation::Error&) {
    problems.push_back(where);
  };
  auto counts = importMail(*imported, std::vector{folder.path() / "Maildir"}, options);
  ASSERT_TRUE(counts);
  EXPECT_EQ(counts.value().added, 300u);
  EXPECT_TRUE(problems.empty());
  expectSameCounts(scan(*imported, manifest), manifest);
}

TEST(SampleGenerator, RefusesALibraryThatAlreadyHoldsMessages) {
  testing::TemporaryFolder folder;
  generate(folder.path(), 1, 20);
  auto store = Store::open(folder.path()).value();
  auto again = generateSampleMail(*store, SampleOptions{.seed = 2, .messageCount = 20});
  ASSERT_FALSE(again);
  EXPECT_EQ(again.error().code, 5);
  EXPECT_FALSE(generateSampleMail(*Store::open(folder.path() / "empty").value(),
                                  SampleOptions{.messageCount = 0}));
}

TEST(SamplePlan, HasTheShapeOfALivedInMailbox) {
  const auto plan = sample::planSampleMail(99, 5000);
  ASSERT_EQ(plan.messages.size(), 5000u);
  std::size_t sent = 0, withAttachments = 0, replies = 0, nonAsciiAuthors = 0;
  std::set<std::string> ids;
  std::int64_t previous = 0;
  for (const auto& message : plan.messages) {
    EXPECT_GE(message.dateReceived, previous);  // in arrival order
    previous = message.dateReceived;
    EXPECT_GE(message.dateSent, sample::kSampleEndTime - 3653 * 86400);
    EXPECT_FALSE(message.to.empty());
    EXPECT_TRUE(ids.insert(message.messageID).second);
    if (message.author == 0) ++sent;
    if (!message.attachments.empty()) ++withAttachments;
    if (!message.references.empty()) ++replies;
    const std::string& name = plan.people[message.author].name;
    if (std::any_of(name.begin(), name.end(), [](char c) { return c & 0x80; })) ++nonAsciiAuthors;
  }
  EXPECT_GT(sent, 500u);
  EXPECT_LT(sent, 1750u);
  EXPECT_GT(withAttachments, 400u);
  EXPECT_LT(withAttachments, 900u);
  EXPECT_GT(replies, 1500u);
  EXPECT_GT(nonAsciiAuthors, 25u);
}

// The shapes of real-world mail the composer writes read back as what the plan says.
TEST(SampleComposer, RealWorldShapesReadBackAsPlanned) {
  const std::uint64_t seed = 7;
  const auto plan = sample::planSampleMail(seed, 2000);
  std::map<std::string, int> shapes;
  for (const auto& planned : plan.messages) {
    const std::string bytes = sample::composeSampleMessage(plan, planned, seed);
    SCOPED_TRACE(planned.messageID);
    auto parsed = parseMessage(bytes);
    ASSERT_TRUE(parsed) << parsed.error().description();
    const ParsedMessage& m = parsed.value();
    EXPECT_EQ(m.subject, planned.subject);
    ASSERT_EQ(m.from.size(), 1u);
    EXPECT_EQ(m.from[0].name, plan.people[planned.author].name);
    ASSERT_EQ(m.attachments.size(), planned.attachments.size());
    for (std::size_t index = 0; index < m.attachments.size(); ++index) {
      EXPECT_EQ(m.attachments[index].name, planned.attachments[index].fileName);
    }
    if (planned.omitDateField) {
      ++shapes["trace-only date"];
      EXPECT_FALSE(m.dateSent);
      EXPECT_EQ(m.dateLastReceived, planned.dateReceived);
    }
    for (const auto& word : planned.plantedBodyWords) {
      EXPECT_NE(m.bodyText.find(word), std::string::npos) << word;
    }
    const std::string headers = bytes.substr(0, bytes.find("\n\n"));
    if (headers.find("Subject: =?") != std::string::npos &&
        headers.find("?=\n =?") != std::string::npos) {
      ++shapes["folded encoded words"];
      ++shapes[headers.substr(headers.find("Subject: =?") + 11, 5)];
    }
    if (bytes.find("message/rfc822") != std::string::npos) ++shapes["encapsulated"];
    if (bytes.find("</style>\n<") != std::string::npos ||
        bytes.find("</script>\n<") != std::string::npos) {
      ++shapes["malformed html"];
      EXPECT_EQ(bytes.find("multipart/alternative"), std::string::npos);
      EXPECT_FALSE(m.bodyText.empty());
    }
  }
  for (const char* shape : {"trace-only date", "folded encoded words", "encapsulated",
                            "malformed html", "UTF-8", "ISO-2", "KOI8-"}) {
    EXPECT_GT(shapes[shape], 0) << shape;
  }
}

}  // namespace
}  // namespace trovadex::mailstore
