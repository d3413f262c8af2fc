// Copies every message of a store into a Maildir, so that other mail tools can be measured on
// exactly the same mail: each .emlx file under STORE becomes one file in MAILDIR/cur, named
// after its position, with the Maildir "seen" flag.
//
//   emlx_to_maildir STORE MAILDIR
//
// The Maildir's new/, cur/ and tmp/ are created; files already there are left alone. Exit status
// 0 when every message was copied, 1 when some could not be read, 2 on a usage error.
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <system_error>

#include "mailstore/emlx.hpp"

namespace fs = std::filesystem;

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: emlx_to_maildir STORE MAILDIR\n";
    return 2;
  }
  const fs::path store = argv[1];
  const fs::path maildir = argv[2];
  std::error_code error;
  for (const char* sub : {"new", "cur", "tmp"}) fs::create_directories(maildir / sub, error);
  if (error) {
    std::cerr << "emlx_to_maildir: cannot make " << maildir << ": " << error.message() << "\n";
    return 2;
  }
  const std::string host = "trovadex-bench";
  std::size_t copied = 0;
  std::size_t unreadable = 0;
  for (auto it = fs::recursive_directory_iterator(store, error);
       !error && it != fs::recursive_directory_iterator(); it.increment(error)) {
    if (!it->is_regular_file() || it->path().extension() != ".emlx") continue;
    auto emlx = trovadex::mailstore::readEmlxFile(it->path());
    if (!emlx) {
      ++unreadable;
      continue;
    }
    const fs::path target =
        maildir / "cur" /
        (std::to_string(copied) + "." + std::to_string(getpid()) + "." + host + ":2,S");
    std::ofstream out(target, std::ios::binary);
    out.write(emlx.value().message.data(),
              static_cast<std::streamsize>(emlx.value().message.size()));
    if (!out) {
      ++unreadable;
      continue;
    }
    ++copied;
  }
  std::cout << "copied " << copied << " messages to " << maildir.string() << "\n";
  if (unreadable > 0) std::cerr << "emlx_to_maildir: " << unreadable << " could not be copied\n";
  return unreadable > 0 ? 1 : 0;
}
