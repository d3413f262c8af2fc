#include "linux/defaults_file.hpp"

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "foundation/property_list.hpp"
#include "linux/atomic_file.hpp"

namespace trovadex::linux_platform {

using foundation::Status;
using foundation::Value;

namespace {

std::string configHome() {
  if (const char* configured = std::getenv("XDG_CONFIG_HOME");
      configured != nullptr && configured[0] == '/') {
    return configured;
  }
  const char* home = std::getenv("HOME");
  return std::string(home != nullptr ? home : "") + "/.config";
}

std::string parentOf(const std::string& path) {
  const auto slash = path.rfind('/');
  return slash == std::string::npos ? std::string(".") : path.substr(0, slash);
}

}  // namespace

std::string DefaultsFile::defaultPath() {
  return configHome() + "/trovadex-mailhost/defaults.plist";
}

DefaultsFile::DefaultsFile(std::string path, std::shared_ptr<platform::Console> console,
                           std::chrono::milliseconds writeDelay)
    : path_(std::move(path)), console_(std::move(console)), writeDelay_(writeDelay) {
  load();
  writer_ = std::thread([this] { writerLoop(); });
}

DefaultsFile::~DefaultsFile() { shutdown(); }

void DefaultsFile::load() {
  auto bytes = readWholeFile(path_);
  if (!bytes) {
    if (bytes.error().code != ENOENT && console_) {
      console_->writeLine("User defaults: " + bytes.error().localizedDescription);
    }
    return;
  }
  auto decoded = foundation::decodePropertyList(bytes.value());
  if (decoded && decoded.value().isDictionary()) {
    values_ = *decoded.value().asDictionary();
    return;
  }
  // Keep the unreadable file for whoever wants to look at it; the next write starts afresh.
  const std::string aside = path_ + ".unreadable";
  std::rename(path_.c_str(), aside.c_str());
  if (console_) {
    console_->writeLine("User defaults: " + path_ +
                        " is not a property-list dictionary; moved to " + aside +
                        " and starting empty");
  }
}

Value DefaultsFile::objectForKey(const std::string& key) const {
  std::lock_guard lock(mutex_);
  auto found = values_.find(key);
  return found == values_.end() ? Value() : found->second;
}

void DefaultsFile::setObject(const Value& value, const std::string& key) {
  {
    std::lock_guard lock(mutex_);
    if (value.isNil()) {
      if (values_.erase(key) == 0) return;
    } else {
      values_.insert_or_assign(key, value);
    }
    dirty_ = true;
    ++changes_;
  }
  changed_.notify_one();
}

void DefaultsFile::removeObjectForKey(const std::string& key) { setObject(Value(), key); }

Status DefaultsFile::flush() {
  std::lock_guard writeLock(writeMutex_);
  Value snapshot;
  {
    std::lock_guard lock(mutex_);
    if (!dirty_) return {};
    snapshot = Value(values_);
    dirty_ = false;
  }
  Status written;
  auto encoded = foundation::encodePropertyList(snapshot, foundation::PropertyListFormat::Xml);
  if (!encoded) {
    written = encoded.error();
  } else if (Status made = ensurePrivateDirectory(parentOf(path_)); !made) {
    written = made;
  } else {
    written = writeFileAtomically(path_, encoded.value(), true);
  }
  if (!written) {
    {
      std::lock_guard lock(mutex_);
      dirty_ = true;  // try again with the next change or flush
    }
    if (console_) console_->writeLine("User defaults: " + written.error().localizedDescription);
  }
  return written;
}

void DefaultsFile::shutdown() {
  std::lock_guard joinLock(joinMutex_);
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  changed_.notify_one();
  if (writer_.joinable()) writer_.join();
  flush();
}

void DefaultsFile::writerLoop() {
  std::unique_lock lock(mutex_);
  // After a failed write the writer waits for the next change rather than retrying at once.
  std::uint64_t seen = 0;
  for (;;) {
    changed_.wait(lock, [&] { return stopping_ || (dirty_ && changes_ != seen); });
    if (stopping_) return;
    // Gather the changes of the next writeDelay into one write.
    const auto due = std::chrono::steady_clock::now() + writeDelay_;
    changed_.wait_until(lock, due, [this] { return stopping_; });
    if (stopping_) return;
    seen = changes_;
    lock.unlock();
    flush();
    lock.lock();
  }
}

}  // namespace trovadex::linux_platform
