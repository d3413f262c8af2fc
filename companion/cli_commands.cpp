#include "companion/cli_commands.hpp"

#include <glib-unix.h>

#include <csignal>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "companion/client.hpp"
#include "companion/desktop_entry.hpp"
#include "companion/exit_codes.hpp"
#include "companion/progress_line.hpp"
#include "companion/result_printer.hpp"
#include "companion/sorted_results.hpp"
#include "foundation/format.hpp"
#include "linux/glib_ptr.hpp"

namespace trovadex::companion {

using foundation::formatString;

namespace {

void say(std::FILE* err, const std::string& text) {
  std::fprintf(err, "trovadex: %s\n", text.c_str());
  std::fflush(err);
}

std::string secondsText(std::chrono::milliseconds timeout) {
  return formatString("%g", {static_cast<double>(timeout.count()) / 1000.0});
}

// Runs onSignal on the context when the process gets SIGINT or SIGTERM, for as long as it lives.
class TerminationSignals {
 public:
  TerminationSignals(GMainContext* context, std::function<void()> onSignal)
      : onSignal_(std::move(onSignal)) {
    for (int signal : {SIGINT, SIGTERM}) {
      linux_platform::GSourcePtr source(g_unix_signal_source_new(signal));
      g_source_set_callback(
          source.get(),
          [](gpointer data) -> gboolean {
            (*static_cast<std::function<void()>*>(data))();
            return G_SOURCE_CONTINUE;
          },
          &onSignal_, nullptr);
      g_source_attach(source.get(), context);
      sources_.push_back(std::move(source));
    }
  }
  ~TerminationSignals() {
    for (auto& source : sources_) g_source_destroy(source.get());
  }
  TerminationSignals(const TerminationSignals&) = delete;
  TerminationSignals& operator=(const TerminationSignals&) = delete;

 private:
  std::function<void()> onSignal_;
  std::vector<linux_platform::GSourcePtr> sources_;
};

// The client, or nothing after telling why there is none.
std::unique_ptr<Client> openClient(const std::string& clientName, ProblemReporter problem,
                                   std::FILE* err) {
  ClientOptions options;
  options.clientName = clientName;
  options.problem = std::move(problem);
  auto client = Client::open(std::move(options));
  if (!client) {
    say(err, "cannot reach the session bus: " + client.error().localizedDescription);
    return nullptr;
  }
  return std::move(client).value();
}

int statusOfSearch(const SearchSummary& summary, std::FILE* err,
                   std::chrono::milliseconds timeout) {
  switch (summary.outcome) {
    case SearchOutcome::Failed: {
      const QueryFailure& failure = *summary.failure;
      say(err, formatString("query error: %@ (%@ %lld)",
                            {failure.message, failure.domain, failure.code}));
      return exit_code::kQueryError;
    }
    case SearchOutcome::NoAnswer:
      say(err, "the plug-in did not answer within " + secondsText(timeout) + " seconds");
      return exit_code::kNoPlugin;
    case SearchOutcome::PluginQuit:
      say(err, "the plug-in quit while the search ran");
      return exit_code::kNoPlugin;
    case SearchOutcome::Running:
    case SearchOutcome::Completed:
    case SearchOutcome::LimitReached:
    case SearchOutcome::Interrupted:
    case SearchOutcome::Replaced:
      break;
  }
  return summary.messages > 0 ? exit_code::kFound : exit_code::kNoneFound;
}

}  // namespace

int runSearchCommand(const SearchArguments& arguments, std::ostream& out, std::FILE* err) {
  ProgressLine progress(err, ProgressLine::isTerminal(err));
  auto client = openClient(
      arguments.clientName,
      [&](const std::string& text) {
        progress.erase();
        say(err, text);
      },
      err);
  if (!client) return exit_code::kNoPlugin;
  TerminationSignals signals(client->context(), [&] { client->interrupt(); });

  auto plugin = client->connect(arguments.timeout);
  if (!plugin) {
    if (client->interrupted()) return exit_code::kNoneFound;
    say(err,
        "no Trovadex Mail plug-in answered within " + secondsText(arguments.timeout) + " seconds");
    return exit_code::kNoPlugin;
  }
  if (!plugin.value().isCompatible()) {
    say(err, "warning: the plug-in speaks protocol version " +
                 plugin.value().compatibilityVersion.description() + ", this trovadex 1");
  }

  // The plug-in sorts each delivery of the engine on its own. A one-shot search with --sort
  // gathers its whole first result set, sorts it and only then cuts it at --limit and prints it;
  // a live search prints as it goes, so its order holds within each batch only.
  const bool sortWholeResult = !arguments.sortingAttribute.empty() && !arguments.live;
  std::optional<SortedResults> sorted;
  if (sortWholeResult) {
    sorted.emplace(arguments.sortingAttribute, arguments.sortAscending, arguments.limit);
  }

  SearchRequest request;
  request.queryString = arguments.queryString;
  request.sortingAttribute = arguments.sortingAttribute;
  request.sortAscending = arguments.sortAscending;
  request.live = arguments.live;
  if (!sortWholeResult) request.limit = arguments.limit;

  ResultPrinter printer(out, arguments.format, arguments.live);
  std::shared_ptr<SearchSession> search;
  SearchEvents events;
  events.found = [&](const BatchReport& batch) {
    progress.erase();
    if (sorted) {
      sorted->add(batch.messages);
    } else {
      printer.printFound(batch.messages);
    }
    progress.show(search->summary());
  };
  events.removed = [&](const RemovalReport& removal) {
    progress.erase();
    printer.printRemoved(removal.identifiers, removal.knownMessages);
    progress.show(search->summary());
  };
  events.gathered = [&] {
    if (!ProgressLine::isTerminal(err)) return;
    progress.erase();
    say(err, formatString("%llu found; watching for changes (Ctrl-C to stop)",
                          {search->summary().messages}));
  };
  events.problem = [&](const std::string& text) {
    progress.erase();
    say(err, text);
  };
  if (client->interrupted()) return exit_code::kNoneFound;
  search = client->startSearch(std::move(request), std::move(events));
  client->waitForSearch(*search, arguments.timeout);
  progress.erase();
  // An interrupted sorted search still prints, in order, what it had gathered.
  if (sorted && search->summary().outcome != SearchOutcome::Failed) {
    printer.printFound(sorted->take());
  }
  if (!client->interrupted()) client->terminate();
  return statusOfSearch(search->summary(), err, arguments.timeout);
}

int runStatusCommand(const StatusArguments& arguments, std::ostream& out, std::FILE* err) {
  auto client = openClient(
      arguments.clientName, [err](const std::string& text) { say(err, text); }, err);
  if (!client) return exit_code::kNoPlugin;
  TerminationSignals signals(client->context(), [&] { client->interrupt(); });
  auto plugin = client->connect(arguments.timeout);
  if (!plugin) {
    if (client->interrupted()) return exit_code::kNoPlugin;
    out << "No Trovadex Mail plug-in answered within " << secondsText(arguments.timeout)
        << " seconds.\n";
    return exit_code::kNoPlugin;
  }
  const PluginInfo& info = plugin.value();
  out << "Trovadex Mail plug-in: answering\n"
      << "  version: " << (info.version.empty() ? "(not given)" : info.version) << '\n'
      << "  protocol compatibility version: " << info.compatibilityVersion.description()
      << (info.isCompatible() ? " (compatible)" : " (NOT compatible with this trovadex)") << '\n'
      << "  client name: " << client->clientName() << '\n';
  return exit_code::kFound;
}

int runInstallDesktopEntryCommand(const InstallDesktopEntryArguments& arguments, std::ostream& out,
                                  std::FILE* err) {
  auto executable = runningExecutablePath();
  if (!executable) {
    say(err, executable.error().localizedDescription);
    return exit_code::kNoneFound;
  }
  auto path = installDesktopEntry(arguments.dataHome.value_or(userDataHome()), executable.value());
  if (!path) {
    say(err, path.error().localizedDescription);
    return exit_code::kNoneFound;
  }
  out << "Installed " << path.value() << '\n';
  return exit_code::kFound;
}

}  // namespace trovadex::companion
