// FakePasteboardServer and FakePasteboard: named pasteboards held in memory.
//
// The server keeps each name's contents and counters for the life of the server (as a pasteboard
// server keeps them across processes), while pasteboard objects are registered weakly: looking a
// name up returns the very object that anyone still holds for it, and a fresh object (with an
// empty tag slot) once nobody does. Unique names are "fake-<n>". A name outside the pasteboard
// folder's rule (letters, digits, '.', '_', '-', not starting with '.', at most 200 bytes) yields
// an inert pasteboard that stores nothing and is not recorded. A property list can be stored
// only under a type declared since the last clearContents(). Safe from any thread.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/pasteboard.hpp"

namespace trovadex::platform::fake {

// What the server keeps under one name. Internal to the fakes; reached through the accessors.
struct PasteboardContents;

class FakePasteboard final : public Pasteboard {
 public:
  // contents null: the inert pasteboard of an unusable name.
  FakePasteboard(std::string name, std::shared_ptr<PasteboardContents> contents);
  ~FakePasteboard() override;

  std::string name() const override { return name_; }
  void clearContents() override;
  void declareTypes(const std::vector<std::string>& types, const void* owner) override;
  bool setPropertyList(const foundation::Value& propertyList, const std::string& type) override;
  foundation::Value propertyListForType(const std::string& type) const override;
  void releaseGlobally() override;

  bool isInert() const { return contents_ == nullptr; }
  std::vector<std::string> declaredTypes() const;
  const void* declaredOwner() const;
  std::size_t clearContentsCount() const;
  std::size_t releaseGloballyCount() const;

 private:
  // Immutable after construction.
  const std::string name_;
  const std::shared_ptr<PasteboardContents> contents_;
};

class FakePasteboardServer final : public PasteboardServer {
 public:
  FakePasteboardServer();
  ~FakePasteboardServer() override;

  std::shared_ptr<Pasteboard> pasteboardWithUniqueName() override;
  std::shared_ptr<Pasteboard> pasteboardWithName(const std::string& name) override;

  // Every usable name ever handed out or looked up, in the order first seen.
  std::vector<std::string> namesMade() const;
  // The object someone still holds for that name, or null; never creates one.
  std::shared_ptr<FakePasteboard> livePasteboard(const std::string& name) const;
  // The server's side of a name (0 and nil for a name never made).
  std::size_t clearContentsCount(const std::string& name) const;
  std::size_t releaseGloballyCount(const std::string& name) const;
  foundation::Value propertyList(const std::string& name, const std::string& type) const;

  // Whether the server accepts name, by the pasteboard folder's naming rule.
  static bool isUsableName(const std::string& name);

 private:
  std::shared_ptr<FakePasteboard> pasteboardLocked(const std::string& name);

  mutable std::mutex mutex_;
  // Guarded by mutex_.
  std::size_t nextUnique_ = 1;
  std::vector<std::string> namesMade_;
  std::map<std::string, std::shared_ptr<PasteboardContents>> contents_;
  std::map<std::string, std::weak_ptr<FakePasteboard>> live_;
};

}  // namespace trovadex::platform::fake
