#include "mailstore/importer.hpp"

#include <algorithm>
#include <map>
#include <system_error>
#include <vector>

#include "mailstore/emlx.hpp"
#include "mailstore/file_io.hpp"
#include "mailstore/maildir.hpp"
#include "mailstore/mbox_reader.hpp"
#include "mailstore/store_error.hpp"

namespace trovadex::mailstore {
namespace {

constexpr std::string_view kDefaultMailbox = "INBOX";
constexpr std::string_view kMailboxFolderSuffix = ".mbox";

bool hasExtension(const std::filesystem::path& path, std::string_view extension) {
  return path.extension() == extension;
}

// Files a folder walk leaves alone: hidden files and the mail library's own metadata.
bool isIgnoredFile(const std::filesystem::path& path) {
  const std::string name = path.filename().string();
  return name.starts_with(".") || hasExtension(path, ".plist");
}

// The attachment bodies of partial messages in a mail library's tree, which are no messages.
bool isStoredAttachmentsFolder(const std::filesystem::path& path) {
  std::error_code error;
  return path.filename() == "Attachments" &&
         std::filesystem::is_directory(path.parent_path() / "Messages", error);
}

std::vector<std::filesystem::path> sortedChildren(const std::filesystem::path& folder,
                                                  std::error_code& error) {
  std::vector<std::filesystem::path> children;
  for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
    children.push_back(entry.path());
  }
  std::sort(children.begin(), children.end());
  return children;
}

std::string mailboxNameOfFile(const std::filesystem::path& path) {
  const std::string name = path.filename().string();
  if (hasExtension(path, ".mbox") || hasExtension(path, ".mbx")) return path.stem().string();
  return name;
}

std::optional<std::int64_t> numericRemoteID(const foundation::Value& value) {
  const std::string* text = value.asString();
  if (!text || text->empty() || text->find_first_not_of("0123456789") != std::string::npos ||
      text->size() > 18) {
    return std::nullopt;
  }
  return std::stoll(*text);
}

class Importer {
 public:
  Importer(Store& store, const ImportOptions& options) : store_(store), options_(options) {}

  foundation::Status run(std::span<const std::filesystem::path> paths) {
    for (const auto& path : paths) {
      importPath(path, true);
      if (fatal_) return *fatal_;
    }
    flush();
    if (fatal_) return *fatal_;
    return {};
  }

  const ImportCounts& counts() const { return counts_; }

 private:
  // The mailbox a source goes into: the one the user named, else the source's own.
  std::string target(const std::string& ownName) const {
    return options_.mailbox ? *options_.mailbox : ownName;
  }

  void importPath(const std::filesystem::path& path, bool named) {
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (error || !std::filesystem::exists(status)) {
      problem(path.string(),
              fileSystemError("cannot read", path.string(), error ? error.value() : ENOENT));
      return;
    }
    if (std::filesystem::is_directory(status)) {
      importFolder(path);
    } else if (named || !isIgnoredFile(path)) {
      importFile(path);
    }
  }

  void importFolder(const std::filesystem::path& folder) {
    if (isMaildir(folder)) {
      const std::string base = target(std::string(kDefaultMailbox));
      importMaildir(folder, base);
      for (const auto& sub : maildirSubfolders(folder)) {
        importMaildir(sub.path, options_.mailbox ? base + "/" + sub.mailboxPath : sub.mailboxPath);
      }
      return;
    }
    const std::string name = folder.filename().string();
    if (name.ends_with(kMailboxFolderSuffix) && name.size() > kMailboxFolderSuffix.size()) {
      const std::string ownName = name.substr(0, name.size() - kMailboxFolderSuffix.size());
      if (std::error_code error; std::filesystem::is_regular_file(folder / "mbox", error)) {
        importMbox(folder / "mbox", target(ownName));
        return;
      }
      walk(folder, target(ownName));
      return;
    }
    walk(folder, std::nullopt);
  }

  // Every file below folder; messages go into mailbox, or by their own kind's rule when none.
  void walk(const std::filesystem::path& folder, const std::optional<std::string>& mailbox) {
    std::error_code error;
    const auto children = sortedChildren(folder, error);
    if (error) {
      problem(folder.string(), fileSystemError("cannot list", folder.string(), error.value()));
      return;
    }
    for (const auto& child : children) {
      if (fatal_) return;
      if (isIgnoredFile(child) || isStoredAttachmentsFolder(child)) continue;
      if (std::filesystem::is_directory(child, error)) {
        if (mailbox && !isMaildir(child)) {
          walk(child, mailbox);
        } else {
          importFolder(child);
        }
      } else {
        importFile(child, mailbox, WalkedFile{folder});
      }
    }
  }

  // A file met while walking a folder, rather than named by the user.
  struct WalkedFile {
    std::filesystem::path folder;
  };

  void importFile(const std::filesystem::path& path,
                  const std::optional<std::string>& mailbox = std::nullopt,
                  std::optional<WalkedFile> walked = std::nullopt) {
    if (hasExtension(path, ".emlx")) {
      importEmlx(path, mailbox.value_or(target(std::string(kDefaultMailbox))));
      return;
    }
    auto bytes = readWholeFile(path);
    if (!bytes) {
      problem(path.string(), bytes.error());
      return;
    }
    if (looksLikeMbox(bytes.value())) {
      // A walked folder's file that holds one message is one message of the folder, like a loose
      // .eml file: exports that write one "From "-headed file per message make one mailbox, not
      // one per file.
      const std::string loose = mailbox.value_or(target(std::string(kDefaultMailbox)));
      importMbox(path, mailbox.value_or(target(mailboxNameOfFile(path))),
                 walked ? std::optional<std::string>(loose) : std::nullopt);
      return;
    }
    add(mailbox.value_or(target(std::string(kDefaultMailbox))),
        NewMessage{.bytes = std::move(bytes).value()}, path.string());
  }

  void importEmlx(const std::filesystem::path& path, const std::string& mailbox) {
    auto file = readEmlxFile(path);
    if (!file) {
      problem(path.string(), file.error());
      return;
    }
    const foundation::Value& properties = file.value().properties;
    NewMessage message{.bytes = std::move(file.value().message), .flags = file.value().flags()};
    if (const auto& received = properties[kEmlxDateReceivedKey]; received.isNumber()) {
      message.dateReceived = received.integerValue();
    }
    message.dateLastViewed = properties[kEmlxDateLastViewedKey].integerValue();
    message.remoteID = numericRemoteID(properties[kEmlxRemoteIDKey]);
    add(mailbox, std::move(message), path.string());
  }

  // The messages of an mbox file into mailbox; when it holds a single message and singleMailbox is
  // given, that message goes there instead.
  void importMbox(const std::filesystem::path& path, const std::string& mailbox,
                  const std::optional<std::string>& singleMailbox = std::nullopt) {
    auto reader = MboxReader::open(path);
    if (!reader) {
      problem(path.string(), reader.error());
      return;
    }
    std::optional<MboxMessage> first;
    for (;;) {
      auto next = reader.value().next();
      if (!next) {
        problem(path.string(), next.error());
        break;
      }
      if (!next.value() || fatal_) break;
      if (singleMailbox && !first && next.value()->number == 1) {
        first = std::move(*next.value());  // held until the file shows whether more follow
        continue;
      }
      if (first) {
        addMboxMessage(mailbox, path, std::move(*first));
        first.reset();
      }
      addMboxMessage(mailbox, path, std::move(*next.value()));
    }
    if (first && !fatal_) addMboxMessage(*singleMailbox, path, std::move(*first));
  }

  void addMboxMessage(const std::string& mailbox, const std::filesystem::path& path,
                      MboxMessage found) {
    NewMessage message{.flags = mboxStatusFlags(found.bytes),
                       .dateReceived = mboxFromLineTime(found.fromLine)};
    message.bytes = std::move(found.bytes);
    add(mailbox, std::move(message), path.string() + " message " + std::to_string(found.number));
  }

  void importMaildir(const std::filesystem::path& folder, const std::string& mailbox) {
    for (const auto& entry : maildirMessages(folder)) {
      if (fatal_) return;
      auto bytes = readWholeFile(entry.path);
      if (!bytes) {
        problem(entry.path.string(), bytes.error());
        continue;
      }
      add(mailbox,
          NewMessage{.bytes = std::move(bytes).value(),
                     .flags = entry.flags,
                     .dateReceived = entry.deliveryTime},
          entry.path.string());
    }
  }

  void add(const std::string& mailbox, NewMessage message, std::string where) {
    if (batchMailbox_ != mailbox) {
      flush();
      batchMailbox_ = mailbox;
    }
    batch_.push_back(std::move(message));
    batchSources_.push_back(std::move(where));
    if (batch_.size() >= options_.batchSize) flush();
  }

  void flush() {
    if (batch_.empty() || fatal_) return;
    auto mailbox = mailboxNamed(batchMailbox_);
    if (!mailbox) {
      fatal_ = mailbox.error();
      return;
    }
    auto outcomes = store_.addMessages(mailbox.value(), batch_);
    if (!outcomes) {
      fatal_ = outcomes.error();
      return;
    }
    for (std::size_t index = 0; index < outcomes.value().size(); ++index) {
      const AddOutcome& outcome = outcomes.value()[index];
      switch (outcome.result) {
        case AddResult::Added:
          ++counts_.added;
          break;
        case AddResult::Duplicate:
          ++counts_.duplicates;
          break;
        case AddResult::Failed:
          problem(batchSources_[index], *outcome.error);
          break;
      }
    }
    batch_.clear();
    batchSources_.clear();
    if (options_.progress) options_.progress(counts_);
  }

  foundation::Result<Mailbox> mailboxNamed(const std::string& name) {
    if (const auto known = mailboxes_.find(name); known != mailboxes_.end()) return known->second;
    auto address = mailboxForName(name);
    if (!address) return address.error();
    auto mailbox = store_.mailbox(address.value());
    if (mailbox) mailboxes_.emplace(name, mailbox.value());
    return mailbox;
  }

  void problem(const std::string& where, const foundation::Error& error) {
    ++counts_.failed;
    if (options_.problem) options_.problem(where, error);
  }

  Store& store_;
  const ImportOptions& options_;
  ImportCounts counts_;
  std::map<std::string, Mailbox> mailboxes_;
  std::string batchMailbox_;
  std::vector<NewMessage> batch_;
  std::vector<std::string> batchSources_;
  std::optional<foundation::Error> fatal_;
};

}  // namespace

foundation::Result<ImportCounts> importMail(Store& store,
                                            std::span<const std::filesystem::path> paths,
                                            const ImportOptions& options) {
  if (options.mailbox) {
    if (auto valid = mailboxForName(*options.mailbox); !valid) return valid.error();
  }
  Importer importer(store, options);
  if (auto done = importer.run(paths); !done) return done.error();
  return importer.counts();
}

}  // namespace trovadex::mailstore
