// The store seen through the mail-library port: the library class, the library, its database,
// the database's read connections and its messages.
//
// The database hands out read-only connections to the Envelope Index, one per read block, with
// the raw sqlite3 handle. Data path kind 0 is the message's whole .emlx file and kind 1 its
// .partial.emlx file, whether or not that file exists; a message's path is whichever of the two
// exists. Safe from any thread; a read block runs synchronously on the calling thread.
#pragma once

#include <memory>

#include "mailstore/store.hpp"
#include "platform/host_classes.hpp"
#include "platform/mail_library.hpp"

namespace trovadex::mailstore {

class StoreMailLibrary final : public platform::MailLibrary {
 public:
  explicit StoreMailLibrary(std::shared_ptr<Store> store);

  bool respondsToLibraryDatabase() const override { return true; }
  std::shared_ptr<platform::MailDatabase> libraryDatabase() override;
  bool respondsToDataPathForMessage() const override { return true; }
  std::optional<std::string> dataPathForMessage(std::int64_t libraryID, std::int64_t mailboxID,
                                                int type) override;
  std::shared_ptr<platform::MailMessage> messageWithLibraryID(std::int64_t libraryID) override;

 private:
  const std::shared_ptr<Store> store_;
  const std::shared_ptr<platform::MailDatabase> database_;
};

// The host's library class: its default library is the one it was made with.
class StoreMailLibraryClass final : public platform::MailLibraryClass {
 public:
  explicit StoreMailLibraryClass(std::shared_ptr<platform::MailLibrary> library)
      : library_(std::move(library)) {}
  std::shared_ptr<platform::MailLibrary> defaultLibrary() override { return library_; }

 private:
  const std::shared_ptr<platform::MailLibrary> library_;
};

}  // namespace trovadex::mailstore
