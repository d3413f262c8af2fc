#include "mailstore/commands.hpp"

#include <charconv>
#include <chrono>
#include <cmath>
#include <map>
#include <optional>
#include <vector>

#include "mailstore/importer.hpp"
#include "mailstore/library_folder.hpp"
#include "mailstore/sample_generator.hpp"
#include "mailstore/store.hpp"
#include "mailstore/store_error.hpp"

namespace trovadex::mailstore {
namespace {

constexpr std::string_view kImportUsage = "import [--library DIR] [--mailbox NAME] PATH...";
constexpr std::string_view kSampleUsage =
    "sample [--library DIR] --messages N [--seed S] [--maildir DIR]";

struct Arguments {
  std::map<std::string, std::string, std::less<>> options;
  std::vector<std::string> positional;
  bool help = false;
};

// Every option takes a value, as "--name value" or "--name=value"; "--" ends the options.
std::optional<std::string> parseArguments(std::span<const std::string> words,
                                          std::span<const std::string_view> known,
                                          Arguments& parsed) {
  bool optionsEnded = false;
  for (std::size_t index = 0; index < words.size(); ++index) {
    const std::string& word = words[index];
    if (optionsEnded || !word.starts_with("--")) {
      parsed.positional.push_back(word);
      continue;
    }
    if (word == "--") {
      optionsEnded = true;
      continue;
    }
    if (word == "--help") {
      parsed.help = true;
      continue;
    }
    const std::size_t equals = word.find('=');
    const std::string name =
        word.substr(2, equals == std::string::npos ? std::string::npos : equals - 2);
    bool isKnown = false;
    for (const auto option : known) isKnown = isKnown || option == name;
    if (!isKnown) return "unknown option --" + name;
    if (equals != std::string::npos) {
      parsed.options[name] = word.substr(equals + 1);
    } else if (index + 1 < words.size()) {
      parsed.options[name] = words[++index];
    } else {
      return "--" + name + " needs a value";
    }
  }
  return std::nullopt;
}

std::optional<std::uint64_t> parseCount(const std::string& text) {
  std::uint64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || text.empty()) {
    return std::nullopt;
  }
  return value;
}

int usageError(std::string_view program, std::string_view usage, const std::string& problem,
               std::ostream& err) {
  err << program << ": " << problem << "\n"
      << "usage: " << program << " " << usage << "\n";
  return kExitUsage;
}

std::filesystem::path libraryOf(const Arguments& arguments) {
  const auto chosen = arguments.options.find("library");
  return chosen != arguments.options.end() ? std::filesystem::path(chosen->second)
                                           : defaultLibraryFolder();
}

// Writes "<program>: <count> messages (<rate>/s)" to err at most once a second.
class ProgressLine {
 public:
  ProgressLine(std::string_view program, std::ostream& err) : program_(program), err_(err) {}

  void update(std::size_t count) {
    const auto now = Clock::now();
    if (now - lastShown_ < std::chrono::seconds(1)) return;
    lastShown_ = now;
    err_ << program_ << ": " << count << " messages (" << rate(count) << "/s)" << std::endl;
  }
  long long rate(std::size_t count) const {
    const double seconds = std::chrono::duration<double>(Clock::now() - start_).count();
    return seconds > 0 ? std::llround(static_cast<double>(count) / seconds) : 0;
  }
  double seconds() const { return std::chrono::duration<double>(Clock::now() - start_).count(); }

 private:
  using Clock = std::chrono::steady_clock;
  std::string_view program_;
  std::ostream& err_;
  const Clock::time_point start_ = Clock::now();
  Clock::time_point lastShown_ = start_;
};

}  // namespace

std::string_view importUsage() { return kImportUsage; }
std::string_view sampleUsage() { return kSampleUsage; }

int runImportCommand(std::string_view programName, std::span<const std::string> words,
                     std::ostream& out, std::ostream& err) {
  static constexpr std::string_view kOptions[] = {"library", "mailbox"};
  Arguments arguments;
  if (auto problem = parseArguments(words, kOptions, arguments)) {
    return usageError(programName, kImportUsage, *problem, err);
  }
  if (arguments.help) {
    out << "usage: " << programName << " " << kImportUsage << "\n";
    return kExitDone;
  }
  if (arguments.positional.empty()) {
    return usageError(programName, kImportUsage, "nothing to import", err);
  }
  const std::filesystem::path library = libraryOf(arguments);
  auto store = Store::open(library);
  if (!store) {
    err << programName << ": " << store.error().localizedDescription << "\n";
    return kExitFailed;
  }

  ProgressLine progress(programName, err);
  ImportOptions options;
  if (const auto mailbox = arguments.options.find("mailbox"); mailbox != arguments.options.end()) {
    options.mailbox = mailbox->second;
  }
  options.problem = [&](const std::string& where, const foundation::Error& error) {
    err << programName << ": skipped " << where << ": " << error.localizedDescription << "\n";
  };
  options.progress = [&](const ImportCounts& counts) { progress.update(counts.seen()); };
  const std::vector<std::filesystem::path> paths(arguments.positional.begin(),
                                                 arguments.positional.end());
  auto counts = importMail(*store.value(), paths, options);
  if (!counts) {
    err << programName << ": " << counts.error().localizedDescription << "\n";
    return counts.error().code == static_cast<int>(StoreErrorCode::InvalidArgument) ? kExitUsage
                                                                                    : kExitFailed;
  }
  const ImportCounts& done = counts.value();
  out << "Imported " << done.added << " messages into " << library.string() << " ("
      << done.duplicates << " already there, " << done.failed << " skipped) in "
      << std::llround(progress.seconds() * 1000) << " ms, " << progress.rate(done.seen())
      << " messages/s\n";
  return done.failed > 0 ? kExitSkipped : kExitDone;
}

int runSampleCommand(std::string_view programName, std::span<const std::string> words,
                     std::ostream& out, std::ostream& err) {
  static constexpr std::string_view kOptions[] = {"library", "messages", "seed", "maildir"};
  Arguments arguments;
  if (auto problem = parseArguments(words, kOptions, arguments)) {
    return usageError(programName, kSampleUsage, *problem, err);
  }
  if (arguments.help) {
    out << "usage: " << programName << " " << kSampleUsage << "\n";
    return kExitDone;
  }
  if (!arguments.positional.empty()) {
    return usageError(programName, kSampleUsage, "unexpected " + arguments.positional.front(), err);
  }
  SampleOptions options;
  const auto messages = arguments.options.find("messages");
  const auto count =
      messages == arguments.options.end() ? std::nullopt : parseCount(messages->second);
  if (!count || *count == 0) {
    return usageError(programName, kSampleUsage, "--messages needs a number of at least 1", err);
  }
  options.messageCount = static_cast<std::size_t>(*count);
  if (const auto seed = arguments.options.find("seed"); seed != arguments.options.end()) {
    const auto parsed = parseCount(seed->second);
    if (!parsed) return usageError(programName, kSampleUsage, "--seed needs a number", err);
    options.seed = *parsed;
  }
  if (const auto maildir = arguments.options.find("maildir"); maildir != arguments.options.end()) {
    options.maildir = maildir->second;
  }
  const std::filesystem::path library = libraryOf(arguments);
  auto store = Store::open(library);
  if (!store) {
    err << programName << ": " << store.error().localizedDescription << "\n";
    return kExitFailed;
  }
  ProgressLine progress(programName, err);
  options.progress = [&](std::size_t written) { progress.update(written); };
  auto manifest = generateSampleMail(*store.value(), options);
  if (!manifest) {
    err << programName << ": " << manifest.error().localizedDescription << "\n";
    return kExitFailed;
  }
  out << "Wrote " << manifest.value().messageCount << " sample messages (seed " << options.seed
      << ") into " << library.string() << " in " << std::llround(progress.seconds() * 1000)
      << " ms, " << progress.rate(options.messageCount) << " messages/s\n"
      << "Manifest: " << sampleManifestPath(library).string() << "\n";
  if (options.maildir) out << "Maildir: " << options.maildir->string() << "\n";
  return kExitDone;
}

}  // namespace trovadex::mailstore
