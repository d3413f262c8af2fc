// Test support for the store's tests: a temporary folder and messages written out in full.
//
// Each test makes its own TemporaryFolder, so tests never share files. Used from one thread.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <ostream>
#include <string>
#include <system_error>

#include "foundation/value.hpp"

namespace trovadex::foundation {
// Lets failing expectations print values readably.
inline void PrintTo(const Value& value, std::ostream* out) { *out << value.description(); }
}  // namespace trovadex::foundation

namespace trovadex::mailstore::testing {

class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string pattern =
        (std::filesystem::temp_directory_path() / "mailstore-test-XXXXXX").string();
    path_ = ::mkdtemp(pattern.data());
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

// The shared sample corpora, when this checkout has them (they are not part of the repository).
inline std::filesystem::path corporaFolder() {
  if (const char* overridden = std::getenv("TROVADEX_CORPORA")) return overridden;
  return TROVADEX_CORPORA_DIR;
}

// A small, valid message; the parameters are what the tests vary.
inline std::string simpleMessage(const std::string& messageID, const std::string& subject,
                                 const std::string& body = "Hello there.\n") {
  return "From: Alice Example <alice@example.org>\n"
         "To: Bob Example <bob@example.org>\n"
         "Subject: " +
         subject +
         "\n"
         "Date: Tue, 14 Nov 2023 22:13:20 +0000\n"
         "Message-ID: <" +
         messageID +
         ">\n"
         "MIME-Version: 1.0\n"
         "Content-Type: text/plain; charset=utf-8\n"
         "\n" +
         body;
}

// A multipart message with one PDF attachment (named with an RFC 2231 UTF-8 file name).
inline std::string messageWithAttachment(const std::string& messageID) {
  return "From: =?UTF-8?Q?J=C3=BCrgen_M=C3=BCller?= <juergen@example.de>\n"
         "To: \"Smith, Anna\" <anna@example.org>, carol@example.org\n"
         "Cc: =?UTF-8?B?5bGx55Sw5aSq6YOO?= <yamada@example.jp>\n"
         "Subject: =?UTF-8?Q?Quartalsbericht_f=C3=BCr_Q3?=\n"
         "Date: Wed, 15 Nov 2023 08:00:00 +0100\n"
         "Message-ID: <" +
         messageID +
         ">\n"
         "MIME-Version: 1.0\n"
         "Content-Type: multipart/mixed; boundary=\"b1\"\n"
         "\n"
         "--b1\n"
         "Content-Type: text/plain; charset=utf-8\n"
         "\n"
         "Der Bericht liegt bei.\n"
         "--b1\n"
         "Content-Type: application/pdf\n"
         "Content-Disposition: attachment; filename*=UTF-8''%C3%9Cbersicht%207.pdf\n"
         "Content-Transfer-Encoding: base64\n"
         "\n"
         "JVBERi0xLjQKJcOkw7zDtsOfCjIgMCBvYmoKPDwvTGVuZ3RoIDMgMCBSPj4Kc3RyZWFtCg==\n"
         "--b1--\n";
}

}  // namespace trovadex::mailstore::testing
