// `trovadex show` and `trovadex open` as a user runs them: a message named by its library ID
// (found through the plug-in of a host started on demand) or by its file's path, a library ID
// no message has, a path that names nothing, and the desktop's mail program handed a copy.
#include <gtest/gtest.h>

#include <algorithm>
#include <regex>

#include "linux/atomic_file.hpp"
#include "mailstore/emlx.hpp"
#include "tests/desktop/desktop_test_support.hpp"
#include "tests/e2e/e2e_support.hpp"

namespace trovadex::desktop_testing {
namespace {

TEST(MessageCommands, ShowAndOpenAMessageByLibraryIDOrPath) {
  linux_platform::GMainContextPtr context(g_main_context_new());
  const auto manifest = prepareDefaultLibrary(context.get(), 120, 6);
  ASSERT_TRUE(manifest);
  const auto word = std::find_if(
      manifest->words.begin(), manifest->words.end(),
      [](const auto& planted) { return planted.field == "body" && planted.messages > 0; });
  ASSERT_NE(word, manifest->words.end());
  installStandInMailReader();

  const auto found = e2e::runProgram(
      context.get(), {TROVADEX_CLI, "search", "kMDItemTextContent == \"" + word->word + "\"cd",
                      "--format", "json", "--limit", "1", "--timeout", "60"});
  ASSERT_EQ(found.status, 0) << found.err;
  std::smatch match;
  ASSERT_TRUE(std::regex_search(found.out, match, std::regex("\"libraryID\":([0-9]+)")));
  const std::string libraryID = match[1];
  ASSERT_TRUE(std::regex_search(found.out, match, std::regex("\"kMDItemPath\":\"([^\"]+)\"")));
  const std::string path = match[1];

  // By library ID: the header fields, then the body that holds the planted word.
  const auto shown =
      e2e::runProgram(context.get(), {TROVADEX_CLI, "show", libraryID, "--timeout", "60"});
  ASSERT_EQ(shown.status, 0) << shown.err;
  EXPECT_EQ(shown.out.rfind("From: ", 0), 0u) << shown.out;
  EXPECT_NE(shown.out.find("\nSubject: "), std::string::npos) << shown.out;
  const auto body = shown.out.find("\n\n");
  ASSERT_NE(body, std::string::npos);
  EXPECT_NE(shown.out.find(word->word, body), std::string::npos) << shown.out;

  // By path, raw: the message's bytes exactly (8-bit ones too, so they go through a file),
  // without the .emlx framing.
  const std::string rawCopy = e2e::testRoot() + "/raw.eml";
  const auto raw = e2e::runProgram(
      context.get(),
      {"/bin/sh", "-c", "exec \"$0\" show \"$1\" --raw > \"$2\"", TROVADEX_CLI, path, rawCopy});
  ASSERT_EQ(raw.status, 0) << raw.err;
  auto file = mailstore::readEmlxFile(path);
  ASSERT_TRUE(file.ok());
  auto rawBytes = linux_platform::readWholeFile(rawCopy);
  ASSERT_TRUE(rawBytes.ok());
  EXPECT_EQ(rawBytes.value(), file.value().message);

  const auto unknownID =
      e2e::runProgram(context.get(), {TROVADEX_CLI, "show", "987654321", "--timeout", "60"});
  EXPECT_EQ(unknownID.status, 1);
  EXPECT_NE(unknownID.err.find("No message has the ID 987654321"), std::string::npos)
      << unknownID.err;
  const auto noFile =
      e2e::runProgram(context.get(), {TROVADEX_CLI, "show", e2e::testRoot() + "/none.emlx"});
  EXPECT_EQ(noFile.status, 1);
  EXPECT_NE(noFile.err.find("No message file at"), std::string::npos) << noFile.err;

  // Open hands an .eml copy to the desktop's program for message/rfc822.
  const auto opened =
      e2e::runProgram(context.get(), {TROVADEX_CLI, "open", libraryID, "--timeout", "60"});
  ASSERT_EQ(opened.status, 0) << opened.err;
  const std::string record = e2e::testRoot() + "/opened";
  ASSERT_TRUE(waitForFile(context.get(), record, e2e::kStepTimeout));
  const auto openedFiles = fileLines(record);
  ASSERT_EQ(openedFiles.size(), 1u);
  EXPECT_TRUE(openedFiles.front().ends_with(".eml")) << openedFiles.front();
  EXPECT_NE(opened.out.find(openedFiles.front()), std::string::npos) << opened.out;
}

}  // namespace
}  // namespace trovadex::desktop_testing
