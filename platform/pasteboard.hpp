// Pasteboard and PasteboardServer: named, process-shared stores of typed property lists.
//
// A batch of results travels as one property list written to a pasteboard under one declared
// type; only the pasteboard's name crosses the bus. Pasteboards have identity: the server hands
// out shared handles, and looking a name up returns the very object that any holder still has
// for that name. Each pasteboard also carries a small tag slot (the platform's associated
// objects) that the plug-in uses to remember which query and client a batch belongs to; tags
// live only in this process. All operations are safe from any thread.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/value.hpp"

namespace trovadex::platform {

class Pasteboard {
 public:
  virtual ~Pasteboard();

  virtual std::string name() const = 0;

  // Removes every type and its data.
  virtual void clearContents() = 0;
  // Declares the types that the pasteboard will hold; owner identifies the writer and may be null.
  virtual void declareTypes(const std::vector<std::string>& types, const void* owner) = 0;
  // Stores a property list under a type. Returns whether it was stored.
  virtual bool setPropertyList(const foundation::Value& propertyList, const std::string& type) = 0;
  // The property list stored under a type, or nil.
  virtual foundation::Value propertyListForType(const std::string& type) const = 0;
  // Gives the pasteboard up in the server: its contents are gone for every process.
  virtual void releaseGlobally() = 0;

  // The tag slot. A nil value removes the tag.
  foundation::Value tag(std::string_view key) const {
    std::lock_guard lock(tagsMutex_);
    auto found = tags_.find(key);
    return found == tags_.end() ? foundation::Value() : found->second;
  }
  void setTag(std::string_view key, foundation::Value value) {
    std::lock_guard lock(tagsMutex_);
    if (value.isNil()) {
      if (auto found = tags_.find(key); found != tags_.end()) tags_.erase(found);
    } else {
      tags_.insert_or_assign(std::string(key), std::move(value));
    }
  }

 private:
  mutable std::mutex tagsMutex_;
  std::map<std::string, foundation::Value, std::less<>> tags_;  // Guarded by tagsMutex_.
};

class PasteboardServer {
 public:
  virtual ~PasteboardServer();

  // A new pasteboard with a name that no live pasteboard has.
  virtual std::shared_ptr<Pasteboard> pasteboardWithUniqueName() = 0;
  // The pasteboard of that name: the same object for the same name while anyone holds it. A name
  // the server cannot use yields a pasteboard that holds nothing and stores nothing.
  virtual std::shared_ptr<Pasteboard> pasteboardWithName(const std::string& name) = 0;
};

}  // namespace trovadex::platform
