#include "companion/client.hpp"

#include <unistd.h>

#include <algorithm>
#include <utility>

#include "companion/companion_version.hpp"
#include "linux/pasteboard_folder.hpp"

namespace trovadex::companion {

using foundation::Error;
using foundation::Result;
using foundation::Value;
using linux_platform::GMainContextPtr;

Result<std::unique_ptr<Client>> Client::open(ClientOptions options) {
  GMainContextPtr context(options.context != nullptr ? g_main_context_ref(options.context)
                                                     : g_main_context_new());
  std::unique_ptr<Client> client(
      new Client(std::move(context), options.problem, std::move(options.activationName)));
  Client* self = client.get();

  auto link = BusLink::open(
      self->context_.get(),
      [self](std::string_view name, const Value& userInfo) {
        self->core_->receive(name, userInfo);
      },
      options.problem);
  if (!link) return link.error();
  self->link_ = std::move(link).value();

  const pid_t pid = ::getpid();
  std::string clientName = options.clientName.empty() ? "trovadex-" + std::to_string(pid)
                                                      : std::move(options.clientName);
  std::string root = options.pasteboardRoot.empty()
                         ? linux_platform::PasteboardFolder::defaultRoot()
                         : std::move(options.pasteboardRoot);
  // A host that takes its name while connect() waits is asked again.
  if (!self->activationName_.empty()) {
    self->link_->watchNameAppearing(self->activationName_, [self] { ++self->hostAppearances_; });
  }
  self->core_ = std::make_unique<ClientCore>(
      std::move(clientName), pid, std::string(kCompanionVersion),
      linux_platform::PasteboardFolder(std::move(root)),
      [self](Command command, const Value& userInfo) { self->post(command, userInfo); },
      std::move(options.events));

  if (auto owned = self->link_->requestCompanionName(); !owned) return owned.error();
  return client;
}

Client::Client(GMainContextPtr context, ProblemReporter problem, std::string activationName)
    : context_(std::move(context)),
      problem_(std::move(problem)),
      activationName_(std::move(activationName)) {}

Client::~Client() {
  if (core_ && !core_->activeNames().empty()) terminate();
  core_.reset();
}

Result<PluginInfo> Client::connect(std::chrono::milliseconds timeout, bool checkVersion) {
  using Clock = std::chrono::steady_clock;
  const auto deadline = Clock::now() + timeout;
  const auto remaining = [&] {
    return std::max(std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()),
                    std::chrono::milliseconds(0));
  };
  // Only an answer to this Connect counts: one held from earlier says nothing about now.
  const std::uint64_t answersBefore = core_->connectAnswers();
  const auto answered = [&] { return interrupted_ || core_->connectAnswers() > answersBefore; };
  const auto sendConnect = [&]() -> foundation::Status {
    core_->connect(checkVersion);
    return link_->flush();
  };
  if (auto flushed = sendConnect(); !flushed) return flushed.error();

  // A running plug-in answers at once; only then is the host started.
  bool done = iterateUntil(answered, std::min(timeout, kActivationDelay));
  std::shared_ptr<Activation> activation;
  if (!done && !activationName_.empty()) {
    activation = std::make_shared<Activation>();
    link_->startService(activationName_, remaining(), [activation](foundation::Status started) {
      activation->answered = true;
      if (!started) activation->failure = started.error().localizedDescription;
    });
  }
  bool activationSeen = false;
  while (!done) {
    const std::uint64_t appearancesBefore = hostAppearances_;
    const bool event = iterateUntil(
        [&] {
          return answered() || hostAppearances_ != appearancesBefore ||
                 (activation && activation->answered && !activationSeen);
        },
        remaining());
    if (answered()) break;
    if (!event) break;  // the time is up
    const bool hostStarted =
        activation && activation->answered && !activationSeen && !activation->failure;
    if (activation && activation->answered) activationSeen = true;
    // A host that has just started was not listening yet when Connect went out.
    if (hostStarted || hostAppearances_ != appearancesBefore) {
      if (auto flushed = sendConnect(); !flushed) return flushed.error();
    }
  }
  if (interrupted_) {
    return Error{kCompanionErrorDomain, kConnectInterrupted, "Interrupted"};
  }
  if (core_->connectAnswers() == answersBefore || !core_->plugin()) {
    std::string message = "No Trovadex Mail plug-in answered within the timeout";
    if (activation && activation->failure) {
      message += " (the mail host could not be started: " + *activation->failure + ")";
    }
    return Error{kCompanionErrorDomain, kNoPluginAnswered, message};
  }
  return *core_->plugin();
}

std::shared_ptr<SearchSession> Client::startSearch(SearchRequest request, SearchEvents events) {
  return core_->startSearch(std::move(request), std::move(events));
}

void Client::waitForSearch(SearchSession& search, std::chrono::milliseconds answerTimeout) {
  while (!search.ended()) {
    if (!search.awaitingAnswers()) {
      // A live search after its first gathering: it runs until it ends.
      iterateUntil([&] { return search.ended() || search.awaitingAnswers(); }, std::nullopt);
      continue;
    }
    const std::uint64_t answers = search.summary().answers;
    const bool heard = iterateUntil(
        [&] {
          return search.ended() || !search.awaitingAnswers() || search.summary().answers != answers;
        },
        answerTimeout);
    if (!heard) {
      search.giveUp();
      if (auto flushed = link_->flush(); !flushed) report(flushed.error().localizedDescription);
    }
  }
}

SearchSummary Client::runSearch(SearchRequest request, SearchEvents events,
                                std::chrono::milliseconds answerTimeout) {
  auto search = startSearch(std::move(request), std::move(events));
  waitForSearch(*search, answerTimeout);
  return search->summary();
}

bool Client::iterateUntil(const std::function<bool()>& done,
                          std::optional<std::chrono::milliseconds> timeout) {
  if (done()) return true;
  bool timedOut = false;
  linux_platform::GSourcePtr timer;
  if (timeout) {
    const auto milliseconds = std::max<std::chrono::milliseconds::rep>(timeout->count(), 0);
    timer.reset(g_timeout_source_new(
        static_cast<guint>(std::min<std::chrono::milliseconds::rep>(milliseconds, G_MAXUINT))));
    g_source_set_callback(
        timer.get(),
        [](gpointer flag) -> gboolean {
          *static_cast<bool*>(flag) = true;
          return G_SOURCE_REMOVE;
        },
        &timedOut, nullptr);
    g_source_attach(timer.get(), context_.get());
  }
  // Events run inside the iterations, with this context as the thread's default, so that
  // whatever they subscribe to is delivered here too.
  g_main_context_push_thread_default(context_.get());
  bool held = done();
  while (!held && !timedOut) {
    g_main_context_iteration(context_.get(), TRUE);
    held = done();
  }
  g_main_context_pop_thread_default(context_.get());
  if (timer) g_source_destroy(timer.get());
  return held;
}

void Client::post(Command command, const Value& userInfo) {
  if (auto posted = link_->post(command, userInfo); !posted) {
    report(posted.error().localizedDescription);
  }
}

void Client::interrupt() {
  interrupted_ = true;
  core_->interrupt();
  if (auto flushed = link_->flush(); !flushed) report(flushed.error().localizedDescription);
}

void Client::terminate() {
  core_->terminate();
  if (auto flushed = link_->flush(); !flushed) report(flushed.error().localizedDescription);
}

void Client::report(const std::string& text) const {
  if (problem_) problem_(text);
}

}  // namespace trovadex::companion
