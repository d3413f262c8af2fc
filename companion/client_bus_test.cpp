// The client library and the `trovadex` program on a private session bus, against a fake
// plug-in that lives in the test: it answers Connect, and answers Search as each test scripts.
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <functional>
#include <string>
#include <vector>

#include "companion/client.hpp"
#include "companion/companion_test_support.hpp"
#include "linux/bus_notification.hpp"
#include "linux/glib_ptr.hpp"
#include "linux/session_bus.hpp"

namespace trovadex::companion {
namespace {

using foundation::Value;
using linux_platform::GObjectPtr;
using linux_platform::PasteboardFolder;
using testing::messageRecord;
using testing::TemporaryFolder;

constexpr std::chrono::milliseconds kEventTimeout{10000};

// Iterates context until done() holds or timeout passes; returns whether done() held.
bool iterateUntil(GMainContext* context, const std::function<bool()>& done,
                  std::chrono::milliseconds timeout = kEventTimeout) {
  bool timedOut = false;
  linux_platform::GSourcePtr timer(g_timeout_source_new(static_cast<guint>(timeout.count())));
  g_source_set_callback(
      timer.get(),
      [](gpointer flag) -> gboolean {
        *static_cast<bool*>(flag) = true;
        return G_SOURCE_REMOVE;
      },
      &timedOut, nullptr);
  g_source_attach(timer.get(), context);
  while (!done() && !timedOut) g_main_context_iteration(context, TRUE);
  g_source_destroy(timer.get());
  return done();
}

struct ReceivedCommand {
  std::string suffix;
  Value userInfo;
};

// A plug-in reduced to its wire behaviour, on a bus connection of its own.
class FakePlugin {
 public:
  FakePlugin(GMainContext* context, std::string pasteboardRoot)
      : context_(context), pasteboards_(std::move(pasteboardRoot)) {
    auto connection = linux_platform::openSessionBus();
    if (!connection) {
      ADD_FAILURE() << connection.error().localizedDescription;
      return;
    }
    connection_ = std::move(connection).value();
    g_main_context_push_thread_default(context_);
    subscription_ = g_dbus_connection_signal_subscribe(
        connection_.get(), nullptr, "org.trovadex.MailPlugin", nullptr, nullptr, nullptr,
        G_DBUS_SIGNAL_FLAGS_NONE, &FakePlugin::onSignal, this, nullptr);
    g_main_context_pop_thread_default(context_);
  }
  ~FakePlugin() {
    if (subscription_ != 0) g_dbus_connection_signal_unsubscribe(connection_.get(), subscription_);
  }

  // Posts an answer the way the plug-in does: with its version and protocol version.
  void post(const std::string& suffix, Value::Dictionary userInfo) {
    userInfo["version"] = Value("7.1");
    userInfo["compatibilityVersion"] = Value::integer(1);
    auto body = linux_platform::encodeNotificationBody(Value(), userInfo);
    ASSERT_TRUE(body.ok());
    ASSERT_TRUE(g_dbus_connection_emit_signal(connection_.get(), nullptr,
                                              "/org/trovadex/MailPlugin", "org.trovadex.MailPlugin",
                                              suffix.c_str(), body.value().get(), nullptr));
  }

  // Writes a results batch and announces it, echoing the Search as the plug-in does.
  void postResultsBatch(const Value& search, const std::string& batchName,
                        std::uint64_t batchNumber, const Value::Array& messages,
                        Value::Array pending = {}) {
    const std::string uniqueName = *stringForKey(search, "uniqueName");
    testing::writeResultsBatch(pasteboards_, batchName, uniqueName, batchNumber, messages);
    Value::Dictionary userInfo = *search.asDictionary();
    userInfo["batchName"] = Value(batchName);
    userInfo["batchNumber"] = Value::unsignedInteger(batchNumber);
    userInfo["foundItemCount"] = Value::unsignedInteger(messages.size());
    userInfo["pendingBatches"] = Value(std::move(pending));
    post("QueryHasUpdates", std::move(userInfo));
  }

  void postCompleted(const Value& search, Value::Dictionary errorKeys = {}) {
    Value::Dictionary userInfo = *search.asDictionary();
    userInfo["notification"] = Value("completed");
    for (auto& [name, value] : errorKeys) userInfo[name] = value;
    post("QueryDidComplete", std::move(userInfo));
  }

  std::vector<std::string> suffixes() const {
    std::vector<std::string> names;
    for (const auto& command : commands) names.push_back(command.suffix);
    return names;
  }
  const ReceivedCommand* last(const std::string& suffix) const {
    for (auto it = commands.rbegin(); it != commands.rend(); ++it) {
      if (it->suffix == suffix) return &*it;
    }
    return nullptr;
  }
  bool hasOwner(const char* busName) {
    GVariant* reply = g_dbus_connection_call_sync(
        connection_.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "NameHasOwner", g_variant_new("(s)", busName), G_VARIANT_TYPE("(b)"),
        G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
    if (reply == nullptr) return false;
    gboolean owned = FALSE;
    g_variant_get(reply, "(b)", &owned);
    g_variant_unref(reply);
    return owned != FALSE;
  }

  bool answerConnect = true;
  std::function<void(const Value& search)> onSearch;
  std::function<void(const Value& clear)> onClear;
  std::vector<ReceivedCommand> commands;

 private:
  static void onSignal(GDBusConnection*, const gchar*, const gchar*, const gchar*,
                       const gchar* member, GVariant* body, gpointer data) {
    static_cast<FakePlugin*>(data)->receive(member, body);
  }
  void receive(const std::string& member, GVariant* body) {
    static const std::vector<std::string> kCommands = {"Connect", "Search", "Cancel", "Clear",
                                                       "Terminate"};
    if (std::find(kCommands.begin(), kCommands.end(), member) == kCommands.end()) return;
    auto decoded = linux_platform::decodeNotificationBody(body);
    ASSERT_TRUE(decoded.ok());
    const Value userInfo = decoded.value().userInfo;
    commands.push_back({member, userInfo});
    if (member == "Connect" && answerConnect) post("PluginReady", *userInfo.asDictionary());
    if (member == "Search" && onSearch) onSearch(userInfo);
    if (member == "Clear" && onClear) onClear(userInfo);
  }

  GMainContext* context_;
  PasteboardFolder pasteboards_;
  GObjectPtr<GDBusConnection> connection_;
  guint subscription_ = 0;
};

class ClientOnBus : public ::testing::Test {
 protected:
  std::unique_ptr<Client> openClient() {
    ClientOptions options;
    options.clientName = "e2e";
    options.pasteboardRoot = folder.path();
    options.context = context.get();
    options.problem = [this](const std::string& text) { problems.push_back(text); };
    auto client = Client::open(std::move(options));
    EXPECT_TRUE(client.ok()) << (client.ok() ? "" : client.error().localizedDescription);
    return client.ok() ? std::move(client).value() : nullptr;
  }

  TemporaryFolder folder;
  linux_platform::GMainContextPtr context{g_main_context_new()};
  FakePlugin plugin{context.get(), folder.path()};
  std::vector<std::string> problems;
};

TEST_F(ClientOnBus, ConnectsHoldingTheCompanionBusNameWhileOpen) {
  auto client = openClient();
  ASSERT_TRUE(client);
  EXPECT_TRUE(plugin.hasOwner("org.trovadex.Trovadex"));

  auto info = client->connect(kEventTimeout);
  ASSERT_TRUE(info.ok()) << info.error().localizedDescription;
  EXPECT_EQ(info.value().version, "7.1");
  EXPECT_TRUE(info.value().isCompatible());
  const ReceivedCommand* connect = plugin.last("Connect");
  ASSERT_NE(connect, nullptr);
  EXPECT_EQ(connect->userInfo["clientName"], Value("e2e"));
  EXPECT_EQ(connect->userInfo["checkVersion"], Value::boolean(true));

  client.reset();
  EXPECT_FALSE(plugin.hasOwner("org.trovadex.Trovadex"));
  EXPECT_TRUE(problems.empty());
}

TEST_F(ClientOnBus, ConnectFailsClearlyWhenNoPluginAnswers) {
  plugin.answerConnect = false;
  auto client = openClient();
  ASSERT_TRUE(client);
  auto info = client->connect(std::chrono::milliseconds(200));
  ASSERT_FALSE(info.ok());
  EXPECT_EQ(info.error().domain, kCompanionErrorDomain);
  EXPECT_EQ(info.error().code, kNoPluginAnswered);
}

TEST_F(ClientOnBus, RunsASearchReadsItsBatchClearsItAndCompletes) {
  plugin.onSearch = [&](const Value& search) {
    plugin.post("QueryDidStart", *search.asDictionary());
    plugin.postResultsBatch(search, "trovadex-1-1-aa", 1,
                            {messageRecord(3, "a"), messageRecord(4, "b")});
  };
  plugin.onClear = [&](const Value& clear) {
    if (clear["batchName"] == Value("trovadex-1-1-aa")) {
      plugin.postCompleted(plugin.last("Search")->userInfo);
    }
  };
  auto client = openClient();
  ASSERT_TRUE(client);
  ASSERT_TRUE(client->connect(kEventTimeout).ok());

  std::vector<std::string> paths;
  SearchEvents events;
  events.found = [&](const BatchReport& batch) {
    for (const auto& message : batch.messages) paths.push_back(*message.path);
  };
  const SearchSummary summary = client->runSearch(
      {.queryString = "kMDItemSubject == \"*\"", .sortingAttribute = "kMDItemFSSize"}, events,
      kEventTimeout);

  EXPECT_EQ(summary.outcome, SearchOutcome::Completed);
  EXPECT_TRUE(summary.started);
  EXPECT_EQ(summary.resultBatches, 1u);
  EXPECT_EQ(paths, (std::vector<std::string>{"/mail/V10/3.emlx", "/mail/V10/4.emlx"}));
  // The Cancel was flushed when the search ended; wait for it to come round.
  ASSERT_TRUE(iterateUntil(context.get(), [&] { return plugin.last("Cancel") != nullptr; }));
  EXPECT_EQ(plugin.suffixes(), (std::vector<std::string>{"Connect", "Search", "Clear", "Cancel"}));
  const Value& search = plugin.last("Search")->userInfo;
  EXPECT_EQ(search["uniqueName"], Value("e2e-" + std::to_string(::getpid()) + "-1"));
  EXPECT_EQ(search["sortingAttribute"], Value("kMDItemFSSize"));
  EXPECT_EQ(plugin.last("Clear")->userInfo,
            Value(Value::Dictionary{{"uniqueName", search["uniqueName"]},
                                    {"clientName", "e2e"},
                                    {"batchName", "trovadex-1-1-aa"}}));
  EXPECT_TRUE(problems.empty());
}

TEST_F(ClientOnBus, GivesUpOnASilentPluginAndCancels) {
  auto client = openClient();
  ASSERT_TRUE(client);
  const SearchSummary summary =
      client->runSearch({.queryString = "x"}, {}, std::chrono::milliseconds(200));
  EXPECT_EQ(summary.outcome, SearchOutcome::NoAnswer);
  ASSERT_TRUE(iterateUntil(context.get(), [&] { return plugin.last("Cancel") != nullptr; }));
}

TEST_F(ClientOnBus, InterruptingALiveSearchCancelsItAndTerminatesTheClient) {
  plugin.onSearch = [&](const Value& search) {
    plugin.postResultsBatch(search, "trovadex-1-1-bb", 1, {messageRecord(8, "a")});
    plugin.postCompleted(search);
  };
  auto client = openClient();
  ASSERT_TRUE(client);
  auto search = client->startSearch({.queryString = "", .live = true});
  ASSERT_TRUE(client->iterateUntil([&] { return search->summary().gathered; }, kEventTimeout));
  EXPECT_FALSE(search->ended());

  client->interrupt();
  EXPECT_EQ(search->summary().outcome, SearchOutcome::Interrupted);
  ASSERT_TRUE(iterateUntil(context.get(), [&] { return plugin.last("Terminate") != nullptr; }));
  EXPECT_EQ(plugin.suffixes(),
            (std::vector<std::string>{"Search", "Clear", "Cancel", "Terminate"}));
  EXPECT_EQ(plugin.last("Terminate")->userInfo,
            Value(Value::Dictionary{{"clientName", "e2e"},
                                    {"activeNames", Value::Array{search->uniqueName()}}}));
}

// ---- The `trovadex` program against the fake plug-in ---------------------------------------

struct ProgramRun {
  int status = -1;
  std::string out;
  std::string err;
};

class ProgramOnBus : public ::testing::Test {
 protected:
  // Runs trovadex to its end while the fake plug-in answers on this thread; afterClear, when
  // given, runs once on the process after the plug-in's first Clear arrives.
  ProgramRun run(const std::vector<std::string>& arguments,
                 const std::function<void(GSubprocess*)>& afterClear = {}) {
    std::vector<const char*> argv = {TROVADEX_CLI};
    for (const auto& argument : arguments) argv.push_back(argument.c_str());
    argv.push_back(nullptr);
    GError* error = nullptr;
    GObjectPtr<GSubprocess> process(
        g_subprocess_newv(argv.data(),
                          static_cast<GSubprocessFlags>(G_SUBPROCESS_FLAGS_STDOUT_PIPE |
                                                        G_SUBPROCESS_FLAGS_STDERR_PIPE),
                          &error));
    ProgramRun result;
    if (!process) {
      ADD_FAILURE() << error->message;
      g_error_free(error);
      return result;
    }
    struct Outcome {
      bool done = false;
      gchar* out = nullptr;
      gchar* err = nullptr;
    } outcome;
    g_main_context_push_thread_default(context.get());
    g_subprocess_communicate_utf8_async(
        process.get(), nullptr, nullptr,
        [](GObject* source, GAsyncResult* asyncResult, gpointer data) {
          auto* state = static_cast<Outcome*>(data);
          g_subprocess_communicate_utf8_finish(G_SUBPROCESS(source), asyncResult, &state->out,
                                               &state->err, nullptr);
          state->done = true;
        },
        &outcome);
    g_main_context_pop_thread_default(context.get());
    if (afterClear) {
      if (iterateUntil(context.get(), [&] { return plugin.last("Clear") != nullptr; })) {
        afterClear(process.get());
      } else {
        ADD_FAILURE() << "the program cleared no batch";
      }
    }
    if (!iterateUntil(
            context.get(), [&] { return outcome.done; }, std::chrono::seconds(30))) {
      ADD_FAILURE() << "trovadex did not finish";
      g_subprocess_force_exit(process.get());
      iterateUntil(context.get(), [&] { return outcome.done; });
    }
    result.out = outcome.out != nullptr ? outcome.out : "";
    result.err = outcome.err != nullptr ? outcome.err : "";
    g_free(outcome.out);
    g_free(outcome.err);
    // Wait for the exit status itself.
    bool exited = false;
    g_main_context_push_thread_default(context.get());
    g_subprocess_wait_async(
        process.get(), nullptr,
        [](GObject* source, GAsyncResult* asyncResult, gpointer data) {
          g_subprocess_wait_finish(G_SUBPROCESS(source), asyncResult, nullptr);
          *static_cast<bool*>(data) = true;
        },
        &exited);
    g_main_context_pop_thread_default(context.get());
    iterateUntil(context.get(), [&] { return exited; });
    if (g_subprocess_get_if_exited(process.get())) {
      result.status = g_subprocess_get_exit_status(process.get());
    }
    return result;
  }

  // Answers every Search with one batch of the given records and completion after its Clear.
  void answerWithOneBatch(Value::Array records) {
    plugin.onSearch = [this, records](const Value& search) {
      plugin.post("QueryDidStart", *search.asDictionary());
      if (records.empty()) {
        plugin.postCompleted(search);
      } else {
        plugin.postResultsBatch(search, "trovadex-9-1-cc", 1, records);
      }
    };
    plugin.onClear = [this](const Value&) {
      plugin.postCompleted(plugin.last("Search")->userInfo);
    };
  }

  linux_platform::GMainContextPtr context{g_main_context_new()};
  // The program reads the user's own pasteboard folder, which the test's private runtime
  // folder holds.
  FakePlugin plugin{context.get(), PasteboardFolder::defaultRoot()};
};

TEST_F(ProgramOnBus, PrintsThePathsOfWhatItFindsAndExitsZero) {
  answerWithOneBatch({messageRecord(1, "a"), messageRecord(2, "b")});
  const auto result = run({"search", "kMDItemSubject == \"*\"", "--format", "paths"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out, "/mail/V10/1.emlx\n/mail/V10/2.emlx\n");
  // Not a terminal: no progress line.
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(plugin.last("Search")->userInfo["queryString"], Value("kMDItemSubject == \"*\""));
  EXPECT_EQ(plugin.suffixes(),
            (std::vector<std::string>{"Connect", "Search", "Clear", "Cancel", "Terminate"}));
}

TEST_F(ProgramOnBus, SendsTheTranslationOfTextAndPrintsJsonLines) {
  answerWithOneBatch({messageRecord(5, "Invoice")});
  const auto result = run({"search", "--text", "invoice", "--fuzzy", "70", "--format", "json"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_NE(result.out.find(R"("kMDItemSubject":"Invoice")"), std::string::npos);
  const std::string* query = stringForKey(plugin.last("Search")->userInfo, "queryString");
  ASSERT_NE(query, nullptr);
  EXPECT_NE(query->find("kMDItemSubject = \"invoice*\"cdwtf070"), std::string::npos);
}

TEST_F(ProgramOnBus, ExitsOneWhenNothingIsFound) {
  answerWithOneBatch({});
  const auto result = run({"search", "kMDItemSubject == \"nothing\""});
  EXPECT_EQ(result.status, 1) << result.err;
  EXPECT_EQ(result.out, "");
}

TEST_F(ProgramOnBus, ExitsFourWithTheQueryErrorMessage) {
  plugin.onSearch = [this](const Value& search) {
    plugin.postCompleted(search, {{"errorCode", Value::integer(-2002)},
                                  {"errorDomain", "CSSearchQueryErrorDomain"},
                                  {"errorMessage", "Unbalanced parenthesis at 3"}});
  };
  const auto result = run({"search", "(("});
  EXPECT_EQ(result.status, 4);
  EXPECT_NE(result.err.find("Unbalanced parenthesis at 3"), std::string::npos) << result.err;
}

TEST_F(ProgramOnBus, ExitsThreeWhenNoPluginAnswers) {
  plugin.answerConnect = false;
  const auto result = run({"search", "x", "--timeout", "0.3"});
  EXPECT_EQ(result.status, 3);
  EXPECT_NE(result.err.find("no Trovadex Mail plug-in answered"), std::string::npos);
  const auto status = run({"status", "--timeout", "0.3"});
  EXPECT_EQ(status.status, 3);
}

TEST_F(ProgramOnBus, StatusShowsThePluginVersion) {
  const auto result = run({"status"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_NE(result.out.find("version: 7.1"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("1 (compatible)"), std::string::npos) << result.out;
}

TEST_F(ProgramOnBus, CtrlCEndsALiveSearchWithCancelAndTerminate) {
  plugin.onSearch = [this](const Value& search) {
    plugin.postResultsBatch(search, "trovadex-9-1-dd", 1, {messageRecord(6, "live")});
    plugin.postCompleted(search);
  };
  const auto result = run({"search", "--live", "", "--format", "paths"},
                          [](GSubprocess* process) { g_subprocess_send_signal(process, SIGINT); });
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out, "/mail/V10/6.emlx\n");
  ASSERT_TRUE(iterateUntil(context.get(), [&] { return plugin.last("Terminate") != nullptr; }));
  EXPECT_EQ(plugin.suffixes(),
            (std::vector<std::string>{"Connect", "Search", "Clear", "Cancel", "Terminate"}));
  const Value& search = plugin.last("Search")->userInfo;
  EXPECT_EQ(plugin.last("Terminate")->userInfo["activeNames"],
            Value(Value::Array{search["uniqueName"]}));
}

}  // namespace
}  // namespace trovadex::companion
