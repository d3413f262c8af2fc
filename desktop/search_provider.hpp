// SearchProvider: the desktop shell's search-provider interface (org.gnome.Shell.SearchProvider2)
// for mail, exported on the session bus.
//
// GetInitialResultSet and GetSubsearchResultSet run a ShellSearch for the terms and answer the
// identifiers of the newest messages (none for terms without a word); GetResultMetas describes
// the remembered ones (unknown identifiers are left out); ActivateResult opens the message with
// the desktop's program for message/rfc822, through an .eml copy in the user's cache;
// LaunchSearch runs a live `trovadex search --text` in the user's terminal. Failures reach the
// caller as D-Bus errors named org.trovadex.SearchProvider.Error.*. Every call counts as use
// (onCall). Main thread only: calls are served one at a time, each search blocking until done.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "desktop/shell_search.hpp"
#include "foundation/error.hpp"
#include "linux/glib_ptr.hpp"

namespace trovadex::desktop {

inline constexpr const char* kSearchProviderBusName = "org.trovadex.SearchProvider";
inline constexpr const char* kSearchProviderObjectPath = "/org/trovadex/SearchProvider";

struct SearchProviderOptions {
  std::chrono::milliseconds timeout{10000};  // for the plug-in's answers
  std::string messageCopyFolder;             // where openable copies go
  std::string trovadexProgram = "trovadex";  // what LaunchSearch runs
  std::function<void()> onCall;              // after every call; may be null
};

class SearchProvider {
 public:
  // Exports the object on connection; calls are delivered to the thread-default context.
  static foundation::Result<std::unique_ptr<SearchProvider>> exportOn(
      GDBusConnection* connection, SearchProviderOptions options);
  // Withdraws the object; no call is served afterwards.
  ~SearchProvider();
  SearchProvider(const SearchProvider&) = delete;
  SearchProvider& operator=(const SearchProvider&) = delete;

 private:
  SearchProvider(GDBusConnection* connection, SearchProviderOptions options);
  static void onMethodCall(GDBusConnection*, const gchar*, const gchar*, const gchar*,
                           const gchar* method, GVariant* parameters,
                           GDBusMethodInvocation* invocation, gpointer data);
  void serve(const std::string& method, GVariant* parameters, GDBusMethodInvocation* invocation);
  void answerResultSet(GVariant* terms, GDBusMethodInvocation* invocation);
  void answerResultMetas(GVariant* identifiers, GDBusMethodInvocation* invocation);
  void activateResult(const std::string& identifier, GDBusMethodInvocation* invocation);
  void launchSearch(GVariant* terms, GDBusMethodInvocation* invocation);

  // Immutable after construction.
  const linux_platform::GObjectPtr<GDBusConnection> connection_;
  const SearchProviderOptions options_;

  ShellSearch search_;
  guint registration_ = 0;
};

}  // namespace trovadex::desktop
