#include "mailstore/sample_generator.hpp"

#include <algorithm>

#include "mailstore/file_io.hpp"
#include "mailstore/maildir.hpp"
#include "mailstore/message_flags.hpp"
#include "mailstore/sample_composer.hpp"
#include "mailstore/sample_plan.hpp"
#include "mailstore/store_error.hpp"

namespace trovadex::mailstore {
namespace {

constexpr std::string_view kFieldNames[] = {"body", "subject", "attachmentName"};

SampleManifest tally(const sample::SamplePlan& plan, std::uint64_t seed) {
  SampleManifest manifest;
  manifest.seed = seed;
  manifest.messageCount = static_cast<std::int64_t>(plan.messages.size());
  for (const auto& mailbox : plan.mailboxes) manifest.mailboxes[mailbox.url] = 0;
  for (const auto& planted : sample::plantedWords()) {
    manifest.words.push_back(
        {std::string(planted.word), std::string(kFieldNames[static_cast<int>(planted.field)]), 0});
  }
  for (const auto& planted : sample::plantedPeople()) {
    manifest.people.push_back({std::string(planted.name), std::string(planted.address), 0, 0});
  }
  for (const auto& message : plan.messages) {
    ++manifest.mailboxes[plan.mailboxes[message.mailbox].url];
    if (!message.attachments.empty()) ++manifest.withAttachments;
    if (message.partial) ++manifest.partial;
    if (!hasFlag(message.flags, kFlagRead)) ++manifest.unread;
    if (hasFlag(message.flags, kFlagFlagged)) ++manifest.flagged;
    for (std::size_t index = 0; index < manifest.words.size(); ++index) {
      const auto& planted = sample::plantedWords()[index];
      const auto contains = [&](const std::string& text) {
        return text.find(planted.word) != std::string::npos;
      };
      bool found = false;
      switch (planted.field) {
        case sample::PlantedField::Body:
          found = std::any_of(message.plantedBodyWords.begin(), message.plantedBodyWords.end(),
                              contains);
          break;
        case sample::PlantedField::Subject:
          found = contains(message.subject);
          break;
        case sample::PlantedField::AttachmentName:
          found = std::any_of(message.attachments.begin(), message.attachments.end(),
                              [&](const auto& a) { return contains(a.fileName); });
          break;
      }
      if (found) ++manifest.words[index].messages;
    }
    for (auto& person : manifest.people) {
      const auto is = [&](std::size_t index) {
        return plan.people[index].address == person.address;
      };
      if (is(message.author)) ++person.asAuthor;
      if (std::any_of(message.to.begin(), message.to.end(), is) ||
          std::any_of(message.cc.begin(), message.cc.end(), is) ||
          std::any_of(message.bcc.begin(), message.bcc.end(), is)) {
        ++person.asRecipient;
      }
    }
  }
  return manifest;
}

foundation::Result<bool> storeIsEmpty(Store& store) {
  bool empty = true;
  std::optional<foundation::Error> failure;
  auto read = store.performRead([&](SqliteDatabase& connection) {
    auto statement = connection.prepare("SELECT EXISTS (SELECT 1 FROM messages)");
    if (!statement) {
      failure = statement.error();
      return;
    }
    auto row = statement.value().step();
    if (!row) {
      failure = row.error();
      return;
    }
    empty = statement.value().int64Column(0) == 0;
  });
  if (!read) return read.error();
  if (failure) return *failure;
  return empty;
}

std::filesystem::path maildirPath(const std::filesystem::path& root,
                                  const sample::SampleMailbox& mailbox,
                                  const sample::MessagePlan& message, std::uint64_t seed) {
  return root / mailbox.maildirFolder / "cur" /
         (std::to_string(message.dateReceived) + ".M" + std::to_string(message.stream) + "P" +
          std::to_string(seed) + ".trovadex" + maildirFlagSuffix(message.flags));
}

class Generator {
 public:
  Generator(Store& store, const SampleOptions& options)
      : store_(store),
        options_(options),
        plan_(sample::planSampleMail(options.seed, options.messageCount)) {}

  foundation::Result<SampleManifest> run() {
    for (const auto& entry : plan_.mailboxes) {
      auto address = parseMailboxURL(entry.url);
      if (!address) return address.error();
      auto mailbox = store_.mailbox(address.value());
      if (!mailbox) return mailbox.error();
      mailboxes_.push_back(std::move(mailbox).value());
      if (options_.maildir) {
        for (const char* part : {"cur", "new", "tmp"}) {
          if (auto made = makeFolders(*options_.maildir / entry.maildirFolder / part); !made) {
            return made.error();
          }
        }
      }
    }
    std::vector<NewMessage> batch;
    std::vector<const Mailbox*> batchMailboxes;
    std::size_t written = 0;
    for (const auto& message : plan_.messages) {
      NewMessage next{.bytes = sample::composeSampleMessage(plan_, message, options_.seed),
                      .flags = message.flags,
                      .dateReceived = message.dateReceived,
                      .kind = message.partial ? MessageDataKind::Partial : MessageDataKind::Whole};
      if (options_.maildir) {
        auto copied = writeNewFile(maildirPath(*options_.maildir, plan_.mailboxes[message.mailbox],
                                               message, options_.seed),
                                   next.bytes);
        if (!copied) return copied.error();
      }
      batch.push_back(std::move(next));
      batchMailboxes.push_back(&mailboxes_[message.mailbox]);
      if (batch.size() >= options_.batchSize) {
        if (auto stored = storeBatch(batch, batchMailboxes); !stored) return stored.error();
        written += batch.size();
        batch.clear();
        batchMailboxes.clear();
        if (options_.progress) options_.progress(written);
      }
    }
    if (!batch.empty()) {
      if (auto stored = storeBatch(batch, batchMailboxes); !stored) return stored.error();
      written += batch.size();
      if (options_.progress) options_.progress(written);
    }
    SampleManifest manifest = tally(plan_, options_.seed);
    if (auto saved = writeSampleManifest(sampleManifestPath(store_.libraryFolder()), manifest);
        !saved) {
      return saved.error();
    }
    return manifest;
  }

 private:
  foundation::Status storeBatch(const std::vector<NewMessage>& batch,
                                const std::vector<const Mailbox*>& mailboxes) {
    auto outcomes = store_.addMessages(mailboxes, batch);
    if (!outcomes) return outcomes.error();
    for (const auto& outcome : outcomes.value()) {
      // Every generated message is new and well formed; anything else is a generator fault.
      if (outcome.result != AddResult::Added) {
        return outcome.error ? *outcome.error
                             : storeError(StoreErrorCode::InvalidArgument,
                                          "a generated message duplicates message " +
                                              std::to_string(outcome.libraryID));
      }
    }
    return {};
  }

  Store& store_;
  const SampleOptions& options_;
  const sample::SamplePlan plan_;
  std::vector<Mailbox> mailboxes_;  // by plan mailbox index
};

}  // namespace

foundation::Result<SampleManifest> generateSampleMail(Store& store, const SampleOptions& options) {
  if (options.messageCount == 0) {
    return storeError(StoreErrorCode::InvalidArgument, "the message count must be at least 1");
  }
  auto empty = storeIsEmpty(store);
  if (!empty) return empty.error();
  if (!empty.value()) {
    return storeError(StoreErrorCode::InvalidArgument,
                      "the library " + store.libraryFolder().string() +
                          " already holds messages; sample mail needs an empty one");
  }
  return Generator(store, options).run();
}

}  // namespace trovadex::mailstore
