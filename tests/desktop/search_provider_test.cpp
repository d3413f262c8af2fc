// The desktop shell's search provider on a private bus that starts the build tree's provider and
// host on demand: every method of org.gnome.Shell.SearchProvider2 called as the shell calls them,
// with no host running at first; a search without hits; terms the text translator refuses; a
// result opened through the desktop's program for message/rfc822 and a search handed to the
// terminal (both stand-ins that record what they were given).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "linux/atomic_file.hpp"
#include "linux/mail_host_bus_name.hpp"
#include "linux/pasteboard_folder.hpp"
#include "linux/session_bus.hpp"
#include "mailstore/emlx.hpp"
#include "tests/desktop/desktop_test_support.hpp"
#include "tests/e2e/e2e_support.hpp"

namespace trovadex::desktop_testing {
namespace {

namespace lp = linux_platform;

constexpr const char* kProviderName = "org.trovadex.SearchProvider";
constexpr const char* kProviderPath = "/org/trovadex/SearchProvider";
constexpr const char* kInterface = "org.gnome.Shell.SearchProvider2";
constexpr std::size_t kMostResults = 40;

// The answer of one call, or the D-Bus error's name and message.
struct CallResult {
  lp::GVariantPtr reply;
  std::string errorName;
  std::string errorMessage;
};

class ShellCaller {
 public:
  ShellCaller() {
    auto bus = lp::openSessionBus();
    if (!bus) {
      ADD_FAILURE() << bus.error().localizedDescription;
      return;
    }
    bus_ = std::move(bus).value();
  }

  CallResult call(const char* method, GVariant* arguments, const char* replyType) {
    CallResult result;
    GError* error = nullptr;
    result.reply.reset(
        g_dbus_connection_call_sync(bus_.get(), kProviderName, kProviderPath, kInterface, method,
                                    arguments, G_VARIANT_TYPE(replyType), G_DBUS_CALL_FLAGS_NONE,
                                    static_cast<int>(e2e::kStepTimeout.count()), nullptr, &error));
    if (error != nullptr) {
      gchar* remote = g_dbus_error_get_remote_error(error);
      result.errorName = remote != nullptr ? remote : "";
      g_free(remote);
      result.errorMessage = error->message;
      g_error_free(error);
    }
    return result;
  }

  std::vector<std::string> initialResultSet(const std::vector<std::string>& terms) {
    auto result =
        call("GetInitialResultSet", g_variant_new("(^as)", termVector(terms).data()), "(as)");
    EXPECT_TRUE(result.reply) << result.errorName << ": " << result.errorMessage;
    return result.reply ? identifiers(result.reply.get()) : std::vector<std::string>{};
  }

  std::vector<std::string> subsearchResultSet(const std::vector<std::string>& previous,
                                              const std::vector<std::string>& terms) {
    auto result = call(
        "GetSubsearchResultSet",
        g_variant_new("(^as^as)", termVector(previous).data(), termVector(terms).data()), "(as)");
    EXPECT_TRUE(result.reply) << result.errorName << ": " << result.errorMessage;
    return result.reply ? identifiers(result.reply.get()) : std::vector<std::string>{};
  }

  // Each meta's "id", "name" and "description".
  std::vector<std::array<std::string, 3>> resultMetas(const std::vector<std::string>& ids) {
    std::vector<std::array<std::string, 3>> metas;
    auto result =
        call("GetResultMetas", g_variant_new("(^as)", termVector(ids).data()), "(aa{sv})");
    EXPECT_TRUE(result.reply) << result.errorName << ": " << result.errorMessage;
    if (!result.reply) return metas;
    GVariantIter* iter = nullptr;
    g_variant_get(result.reply.get(), "(aa{sv})", &iter);
    GVariant* meta = nullptr;
    while (g_variant_iter_next(iter, "@a{sv}", &meta)) {
      std::array<std::string, 3> fields;
      const char* keys[] = {"id", "name", "description"};
      for (int i = 0; i < 3; ++i) {
        const gchar* text = nullptr;
        if (g_variant_lookup(meta, keys[i], "&s", &text)) fields[i] = text;
      }
      metas.push_back(fields);
      g_variant_unref(meta);
    }
    g_variant_iter_free(iter);
    return metas;
  }

 private:
  static std::vector<const gchar*> termVector(const std::vector<std::string>& terms) {
    std::vector<const gchar*> vector;
    for (const auto& term : terms) vector.push_back(term.c_str());
    vector.push_back(nullptr);
    return vector;
  }
  static std::vector<std::string> identifiers(GVariant* reply) {
    std::vector<std::string> ids;
    GVariantIter* iter = nullptr;
    g_variant_get(reply, "(as)", &iter);
    const gchar* id = nullptr;
    while (g_variant_iter_next(iter, "&s", &id)) ids.emplace_back(id);
    g_variant_iter_free(iter);
    return ids;
  }

  lp::GObjectPtr<GDBusConnection> bus_;
};

// A person the sample store has as the author of some messages.
std::string authorName(const mailstore::SampleManifest& manifest) {
  for (const auto& person : manifest.people) {
    if (person.asAuthor > 0 && person.name.find(' ') != std::string::npos) return person.name;
  }
  return {};
}

// The result batches still held in pasteboards: the type files inside the pasteboard folders.
std::vector<std::string> heldBatches() {
  std::vector<std::string> held;
  std::error_code error;
  const std::string root = lp::PasteboardFolder::defaultRoot();
  for (const auto& pasteboard : std::filesystem::directory_iterator(root, error)) {
    for (const auto& file : std::filesystem::directory_iterator(pasteboard.path(), error)) {
      if (file.path().filename().string().front() != '.') held.push_back(file.path().string());
    }
  }
  return held;
}

TEST(SearchProvider, AnswersEveryMethodOfTheShellStartingTheHostOnDemand) {
  lp::GMainContextPtr context(g_main_context_new());
  const auto manifest = prepareDefaultLibrary(context.get(), 300, 9);
  ASSERT_TRUE(manifest);
  const std::string name = authorName(*manifest);
  ASSERT_FALSE(name.empty());
  const std::string givenName = name.substr(0, name.find(' '));
  const std::string surname = name.substr(name.rfind(' ') + 1);
  installStandInMailReader();
  NameWatch host(context.get(), std::string(lp::kMailHostBusName));
  ASSERT_TRUE(host.waitForOwner(false, e2e::kStepTimeout)) << "a host runs before the search";

  ShellCaller shell;
  const auto ids = shell.initialResultSet({surname});
  ASSERT_FALSE(ids.empty()) << "nothing found for " << surname;
  EXPECT_LE(ids.size(), kMostResults);
  EXPECT_TRUE(host.waitForOwner(true, e2e::kStepTimeout)) << "the host was started";

  // Metas in the order asked, an unknown identifier left out, the newest message first.
  std::vector<std::string> asked = ids;
  asked.insert(asked.begin() + 1, "no-such-result");
  const auto metas = shell.resultMetas(asked);
  ASSERT_EQ(metas.size(), ids.size());
  std::vector<std::string> dates;
  for (std::size_t i = 0; i < metas.size(); ++i) {
    EXPECT_EQ(metas[i][0], ids[i]);
    EXPECT_FALSE(metas[i][1].empty());
    // "Sender — 2025-06-21 17:17": the minute closes the description.
    const std::string& description = metas[i][2];
    ASSERT_GE(description.size(), 16u) << description;
    dates.push_back(description.substr(description.size() - 16));
  }
  EXPECT_TRUE(std::is_sorted(dates.rbegin(), dates.rend())) << "not newest first";

  // Narrowing the search: the shell sends the earlier results and the longer terms.
  const auto narrowed = shell.subsearchResultSet(ids, {givenName, surname});
  EXPECT_FALSE(narrowed.empty()) << givenName << " " << surname;
  EXPECT_LE(narrowed.size(), kMostResults);

  // Activating a result hands an .eml copy of its message to the desktop's mail program.
  const std::vector<const gchar*> terms{surname.c_str(), nullptr};
  auto activated = shell.call(
      "ActivateResult", g_variant_new("(s^asu)", ids.front().c_str(), terms.data(), 0u), "()");
  ASSERT_TRUE(activated.reply) << activated.errorName << ": " << activated.errorMessage;
  const std::string root = e2e::testRoot();
  ASSERT_TRUE(waitForFile(context.get(), root + "/opened", e2e::kStepTimeout));
  const auto opened = fileLines(root + "/opened");
  ASSERT_EQ(opened.size(), 1u);
  EXPECT_TRUE(opened.front().ends_with("/trovadex/messages/" + ids.front() + ".eml"))
      << opened.front();
  auto copy = lp::readWholeFile(opened.front());
  ASSERT_TRUE(copy.ok());
  EXPECT_FALSE(copy.value().empty());
  EXPECT_TRUE(mailstore::decodeEmlx(copy.value()).ok());
  EXPECT_EQ(copy.value().find("<?xml"), std::string::npos) << "the .emlx trailer was copied";

  // Launching the search opens a live text search in the user's terminal.
  const std::vector<const gchar*> launchTerms{surname.c_str(), "report", nullptr};
  auto launched = shell.call("LaunchSearch", g_variant_new("(^asu)", launchTerms.data(), 0u), "()");
  ASSERT_TRUE(launched.reply) << launched.errorName << ": " << launched.errorMessage;
  ASSERT_TRUE(waitForFile(context.get(), root + "/terminal", e2e::kStepTimeout));
  const auto terminal = fileLines(root + "/terminal");
  ASSERT_EQ(terminal.size(), 6u);
  EXPECT_EQ(terminal[0], "-e");
  EXPECT_TRUE(terminal[1].ends_with("trovadex")) << terminal[1];
  EXPECT_EQ(std::vector<std::string>(terminal.begin() + 2, terminal.end()),
            (std::vector<std::string>{"search", "--text", surname + " report", "--live"}));

  // The provider hands every batch back and cancels each search once it has its results: once
  // a later search (sent after those commands, on the same connection) is answered, no batch is
  // held any more.
  EXPECT_TRUE(shell.initialResultSet({"zzqxvorpnotaword"}).empty());
  const auto held = heldBatches();
  EXPECT_TRUE(held.empty()) << held.size() << " batches held, the first "
                            << (held.empty() ? "" : held.front());
}

TEST(SearchProvider, AnswersNoResultsForNoHitsAndForTermsWithoutWords) {
  lp::GMainContextPtr context(g_main_context_new());
  ASSERT_TRUE(prepareDefaultLibrary(context.get(), 60, 4));
  ShellCaller shell;

  EXPECT_TRUE(shell.initialResultSet({"zzqxvorpnotaword"}).empty());
  // The translator refuses blank text: no search, no error.
  EXPECT_TRUE(shell.initialResultSet({" ", "\t"}).empty());
  EXPECT_TRUE(shell.initialResultSet({}).empty());
  EXPECT_TRUE(shell.subsearchResultSet({"1", "2"}, {""}).empty());
  EXPECT_TRUE(shell.resultMetas({"1", "2"}).empty()) << "nothing was found, so nothing is known";

  auto unknown = shell.call(
      "ActivateResult",
      g_variant_new("(s^asu)", "12345", std::vector<const gchar*>{"x", nullptr}.data(), 0u), "()");
  EXPECT_FALSE(unknown.reply);
  EXPECT_EQ(unknown.errorName, "org.trovadex.SearchProvider.Error.UnknownResult");

  // Arguments of the wrong type are refused by the bus layer, and the provider still answers.
  auto wrong = shell.call("GetInitialResultSet", g_variant_new("(s)", "mail"), "(as)");
  EXPECT_FALSE(wrong.reply);
  EXPECT_EQ(wrong.errorName, "org.freedesktop.DBus.Error.InvalidArgs");
  EXPECT_TRUE(shell.initialResultSet({"zzqxvorpnotaword"}).empty());
}

}  // namespace
}  // namespace trovadex::desktop_testing
