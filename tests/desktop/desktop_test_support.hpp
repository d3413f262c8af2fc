// Helpers of the desktop tests: a user's mail library made ready in the default place, and a
// watch on a well-known bus name.
//
// The tests run under run_isolated.sh with a bus that starts the build tree's programs on demand,
// so the default library ($XDG_DATA_HOME/trovadex) is private to the test. Test thread only.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "linux/glib_ptr.hpp"
#include "mailstore/sample_manifest.hpp"

namespace trovadex::desktop_testing {

// Writes a sample store of the given size into the default library and installs the plug-in
// and the companion's desktop entry; with indexFirst, a host indexes the store once and stops,
// so that a host started later has nothing to catch up with. Fails the test (and returns
// nothing) on error.
std::optional<mailstore::SampleManifest> prepareDefaultLibrary(GMainContext* context, int messages,
                                                               int seed, bool indexFirst = true);

// Makes the stand-in mail program in fake_programs/ the desktop's program for message/rfc822; it
// records the files it is given in <test root>/opened.
void installStandInMailReader();

// The file's lines.
std::vector<std::string> fileLines(const std::string& path);

// Iterates the context until the file exists (its folder is watched); false when time runs out.
bool waitForFile(GMainContext* context, const std::string& path, std::chrono::milliseconds timeout);

// Follows whether a well-known name has an owner on the session bus; changes are seen while
// the context is iterated.
class NameWatch {
 public:
  NameWatch(GMainContext* context, const std::string& name);
  ~NameWatch();
  NameWatch(const NameWatch&) = delete;
  NameWatch& operator=(const NameWatch&) = delete;

  // Iterates the context until the name's owner is (or is not) there; false when time runs out.
  bool waitForOwner(bool present, std::chrono::milliseconds timeout);
  bool hasOwner() const { return owned_; }

 private:
  GMainContext* context_;
  linux_platform::GObjectPtr<GDBusConnection> connection_;
  guint watch_ = 0;
  bool known_ = false;  // the watch has reported the name's state
  bool owned_ = false;
};

}  // namespace trovadex::desktop_testing
