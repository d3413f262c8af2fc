// trovadex-search-provider: the desktop shell's search provider for mail, a session-bus service
// that the bus starts when the shell first asks it (see search_provider.hpp).
//
// It owns org.trovadex.SearchProvider, serves calls until SIGTERM or SIGINT, and, with
// --idle-exit, exits once no call has come for that many seconds; it also exits when the bus
// goes away. Exit status: 0 after a clean
// stop, 1 when the bus or the name cannot be had, 2 for a wrong command line.
#include <glib-unix.h>

#include <charconv>
#include <chrono>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

#include "companion/message_copy.hpp"
#include "desktop/search_provider.hpp"
#include "linux/session_bus.hpp"

namespace {

using namespace trovadex;
namespace lp = linux_platform;

constexpr const char* kUsage =
    "usage: trovadex-search-provider [--idle-exit SECONDS] [--timeout SECONDS]\n"
    "Serves the desktop shell's mail searches on the session bus as org.trovadex.SearchProvider.\n"
    "  --idle-exit SECONDS  exit after SECONDS without a call (default: never)\n"
    "  --timeout SECONDS    how long to wait for each answer of the plug-in (default 10)\n";

struct Options {
  std::optional<std::chrono::seconds> idleExit;
  std::chrono::seconds timeout{10};
};

std::optional<long> seconds(std::string_view text, long minimum) {
  long number = 0;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (text.empty() || error != std::errc() || end != text.data() + text.size() ||
      number < minimum || number > 86400) {
    return std::nullopt;
  }
  return number;
}

std::optional<Options> parse(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string_view word = argv[i];
    if (i + 1 >= argc || (word != "--idle-exit" && word != "--timeout")) return std::nullopt;
    const bool idle = word == "--idle-exit";
    auto value = seconds(argv[++i], idle ? 0 : 1);
    if (!value) return std::nullopt;
    if (idle && *value > 0) options.idleExit = std::chrono::seconds(*value);
    if (!idle) options.timeout = std::chrono::seconds(*value);
  }
  return options;
}

// Quits the loop once no call has come for the idle time; each call starts the time anew.
class IdleExit {
 public:
  IdleExit(GMainLoop* loop, std::optional<std::chrono::seconds> idle) : loop_(loop), idle_(idle) {
    restart();
  }
  ~IdleExit() { stop(); }
  IdleExit(const IdleExit&) = delete;
  IdleExit& operator=(const IdleExit&) = delete;

  void restart() {
    if (!idle_) return;
    stop();
    source_ = g_timeout_add_seconds(
        static_cast<guint>(idle_->count()),
        [](gpointer data) -> gboolean {
          auto* self = static_cast<IdleExit*>(data);
          self->source_ = 0;
          g_main_loop_quit(self->loop_);
          return G_SOURCE_REMOVE;
        },
        this);
  }

 private:
  void stop() {
    if (source_ != 0) g_source_remove(source_);
    source_ = 0;
  }

  GMainLoop* loop_;
  std::optional<std::chrono::seconds> idle_;
  guint source_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc == 2 && (std::string_view(argv[1]) == "--help" || std::string_view(argv[1]) == "-h")) {
    std::fputs(kUsage, stdout);
    return 0;
  }
  auto options = parse(argc, argv);
  if (!options) {
    std::fputs(kUsage, stderr);
    return 2;
  }
  auto bus = lp::openSessionBus();
  if (!bus) {
    std::fprintf(stderr, "trovadex-search-provider: %s\n",
                 bus.error().localizedDescription.c_str());
    return 1;
  }
  lp::GMainLoopPtr loop(g_main_loop_new(nullptr, FALSE));
  IdleExit idle(loop.get(), options->idleExit);

  desktop::SearchProviderOptions providerOptions;
  providerOptions.timeout = options->timeout;
  providerOptions.messageCopyFolder = companion::defaultMessageCopyFolder();
  if (gchar* trovadex = g_find_program_in_path("trovadex")) {
    providerOptions.trovadexProgram = trovadex;
    g_free(trovadex);
  }
  providerOptions.onCall = [&idle] { idle.restart(); };
  auto provider = desktop::SearchProvider::exportOn(bus.value().get(), std::move(providerOptions));
  if (!provider) {
    std::fprintf(stderr, "trovadex-search-provider: %s\n",
                 provider.error().localizedDescription.c_str());
    return 1;
  }

  // The name is asked for once the object is there, so that the first call finds it.
  // The name is lost when another process has it, or when the bus goes away after it was ours.
  struct NameState {
    GMainLoop* loop;
    bool acquired = false;
    bool refused = false;
  } name{loop.get()};
  const guint owner = g_bus_own_name_on_connection(
      bus.value().get(), desktop::kSearchProviderBusName, G_BUS_NAME_OWNER_FLAGS_DO_NOT_QUEUE,
      [](GDBusConnection*, const gchar*, gpointer data) {
        static_cast<NameState*>(data)->acquired = true;
      },
      [](GDBusConnection*, const gchar*, gpointer data) {
        auto* state = static_cast<NameState*>(data);
        if (!state->acquired) state->refused = true;
        g_main_loop_quit(state->loop);
      },
      &name, nullptr);
  // The session is over when the bus closes the connection.
  g_signal_connect(bus.value().get(), "closed",
                   G_CALLBACK(+[](GDBusConnection*, gboolean, GError*, gpointer data) {
                     g_main_loop_quit(static_cast<GMainLoop*>(data));
                   }),
                   loop.get());
  for (int signal : {SIGTERM, SIGINT}) {
    g_unix_signal_add(
        signal,
        [](gpointer data) -> gboolean {
          g_main_loop_quit(static_cast<GMainLoop*>(data));
          return G_SOURCE_CONTINUE;
        },
        loop.get());
  }
  g_main_loop_run(loop.get());
  g_bus_unown_name(owner);
  provider.value().reset();
  g_dbus_connection_flush_sync(bus.value().get(), nullptr, nullptr);
  if (name.refused) {
    std::fprintf(stderr, "trovadex-search-provider: the bus name %s is not ours\n",
                 desktop::kSearchProviderBusName);
    return 1;
  }
  return 0;
}
