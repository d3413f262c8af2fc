#include "companion/message_commands.hpp"

#include <memory>

#include "companion/client.hpp"
#include "companion/desktop_launcher.hpp"
#include "companion/exit_codes.hpp"
#include "companion/message_copy.hpp"
#include "companion/message_lookup.hpp"
#include "companion/message_text.hpp"
#include "mailstore/emlx.hpp"
#include "mailstore/mime_message.hpp"

namespace trovadex::companion {

namespace {

constexpr const char* kMessageContentType = "message/rfc822";

void say(std::FILE* err, const std::string& text) {
  std::fprintf(err, "trovadex: %s\n", text.c_str());
  std::fflush(err);
}

// The message file's path, or the exit status after telling why there is none.
struct Located {
  std::string path;
  int failure = exit_code::kFound;
};

Located locate(const std::string& word, std::chrono::milliseconds timeout, std::FILE* err) {
  std::unique_ptr<Client> client;
  if (isLibraryID(word)) {
    ClientOptions options;
    options.problem = [err](const std::string& text) { say(err, text); };
    auto opened = Client::open(std::move(options));
    if (!opened) {
      say(err, "cannot reach the session bus: " + opened.error().localizedDescription);
      return {{}, exit_code::kNoPlugin};
    }
    client = std::move(opened).value();
  }
  auto path = locateMessage(client.get(), word, timeout);
  if (!path) {
    say(err, path.error().localizedDescription);
    return {{},
            path.error().code == kLookupNoPlugin ? exit_code::kNoPlugin : exit_code::kNoneFound};
  }
  return {path.value(), exit_code::kFound};
}

// The RFC 822 bytes of a message file: an .emlx file's message, any other file whole.
foundation::Result<std::string> messageBytes(const std::string& path) {
  auto file = mailstore::readEmlxFile(path);
  if (!file) return file.error();
  return std::move(file.value().message);
}

}  // namespace

int runShowCommand(const ShowArguments& arguments, std::ostream& out, std::FILE* err) {
  const Located located = locate(arguments.message, arguments.timeout, err);
  if (located.failure != exit_code::kFound) return located.failure;
  auto bytes = messageBytes(located.path);
  if (!bytes) {
    say(err, "cannot read " + located.path + ": " + bytes.error().localizedDescription);
    return exit_code::kNoneFound;
  }
  if (arguments.raw) {
    out << bytes.value();
    out.flush();
    return exit_code::kFound;
  }
  auto message = mailstore::parseMessage(bytes.value());
  if (!message) {
    say(err, located.path + " holds no readable message: " + message.error().localizedDescription);
    return exit_code::kNoneFound;
  }
  out << messageText(message.value());
  out.flush();
  return exit_code::kFound;
}

int runOpenCommand(const OpenArguments& arguments, std::ostream& out, std::FILE* err) {
  const Located located = locate(arguments.message, arguments.timeout, err);
  if (located.failure != exit_code::kFound) return located.failure;
  auto copy = writeOpenableCopy(located.path, defaultMessageCopyFolder());
  if (!copy) {
    say(err, copy.error().localizedDescription);
    return exit_code::kNoneFound;
  }
  if (auto opened = openWithDefaultProgram(copy.value(), kMessageContentType); !opened) {
    say(err, opened.error().localizedDescription);
    return exit_code::kNoneFound;
  }
  out << "Opened " << copy.value() << '\n';
  return exit_code::kFound;
}

}  // namespace trovadex::companion
