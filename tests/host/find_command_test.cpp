// The find command, run as a user runs it, over a sample store whose index an indexer built.
#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

#include "host/library_layout.hpp"
#include "mailstore/indexer.hpp"
#include "mailstore/sample_generator.hpp"
#include "mailstore/store.hpp"
#include "spotlight/engine.hpp"
#include "tests/linux/linux_test_support.hpp"

namespace trovadex::host::testing {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

struct CommandOutcome {
  int status = -1;
  std::string output;
  std::string errors;
};

CommandOutcome runHost(const std::vector<std::string>& arguments) {
  std::vector<const gchar*> argv{TROVADEX_MAILHOST};
  for (const auto& argument : arguments) argv.push_back(argument.c_str());
  argv.push_back(nullptr);
  CommandOutcome outcome;
  GError* error = nullptr;
  GSubprocess* process = g_subprocess_newv(
      argv.data(),
      GSubprocessFlags(G_SUBPROCESS_FLAGS_STDOUT_PIPE | G_SUBPROCESS_FLAGS_STDERR_PIPE), &error);
  if (process == nullptr) {
    ADD_FAILURE() << error->message;
    g_error_free(error);
    return outcome;
  }
  gchar* output = nullptr;
  gchar* errors = nullptr;
  if (g_subprocess_communicate_utf8(process, nullptr, nullptr, &output, &errors, &error)) {
    outcome.output = output ? output : "";
    outcome.errors = errors ? errors : "";
    if (g_subprocess_get_if_exited(process)) outcome.status = g_subprocess_get_exit_status(process);
  } else {
    ADD_FAILURE() << error->message;
    g_error_free(error);
  }
  g_free(output);
  g_free(errors);
  g_object_unref(process);
  return outcome;
}

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

class FindCommandTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    library_ = new fs::path(linux_platform::testing::freshFolder("find") + "/Library");
    auto store = mailstore::Store::open(*library_);
    ASSERT_TRUE(store.ok());
    mailstore::SampleOptions options;
    options.messageCount = 300;
    options.seed = 5;
    auto manifest = mailstore::generateSampleMail(*store.value(), options);
    ASSERT_TRUE(manifest.ok());
    withAttachments_ = manifest.value().withAttachments;
    auto engine = spotlight::Engine::open(searchIndexPath(*library_).string());
    ASSERT_TRUE(engine.ok());
    mailstore::Indexer indexer(store.value(), engine.value()->indexFactory()->indexWithName("Mail"),
                               engine.value()->queryFactory(), nullptr);
    indexer.start();
    ASSERT_TRUE(indexer.waitUntilInStep(120s));
    indexer.stop();
    engine.value()->shutdown();
  }
  static void TearDownTestSuite() { delete library_; }

  static fs::path* library_;
  static std::int64_t withAttachments_;
};

fs::path* FindCommandTest::library_ = nullptr;
std::int64_t FindCommandTest::withAttachments_ = 0;

constexpr const char* kAttached = "kMDItemAttachmentNames == \"*\"";

TEST_F(FindCommandTest, PrintsEachMatchWithItsMessageFileInLibraryIDOrder) {
  const auto outcome = runHost({"find", "--library", library_->string(), kAttached});
  ASSERT_EQ(outcome.status, 0) << outcome.errors;
  const auto lines = linesOf(outcome.output);
  ASSERT_EQ(static_cast<std::int64_t>(lines.size()), withAttachments_);
  long long previous = 0;
  for (const auto& line : lines) {
    const auto tab = line.find('\t');
    ASSERT_NE(tab, std::string::npos) << line;
    const long long id = std::stoll(line.substr(0, tab));
    EXPECT_GT(id, previous);
    previous = id;
    const fs::path path = line.substr(tab + 1);
    EXPECT_TRUE(fs::is_regular_file(path)) << line;
    EXPECT_TRUE(path.filename().string().starts_with(std::to_string(id) + ".")) << line;
  }

  const auto counted = runHost({"find", "--library", library_->string(), "--count", kAttached});
  EXPECT_EQ(counted.status, 0);
  EXPECT_EQ(counted.output, std::to_string(withAttachments_) + "\n");
}

TEST_F(FindCommandTest, PrintsChosenAttributesAsJsonLines) {
  const auto outcome =
      runHost({"find", "--library", library_->string(), "--attr", "kMDItemAttachmentNames",
               "--attr", "kMDItemNoSuchThing", kAttached});
  ASSERT_EQ(outcome.status, 0) << outcome.errors;
  const auto lines = linesOf(outcome.output);
  ASSERT_EQ(static_cast<std::int64_t>(lines.size()), withAttachments_);
  for (const auto& line : lines) {
    EXPECT_TRUE(line.starts_with("{\"libraryID\":")) << line;
    EXPECT_NE(line.find(",\"path\":\"/"), std::string::npos) << line;
    EXPECT_NE(line.find(",\"kMDItemAttachmentNames\":[\""), std::string::npos) << line;
    EXPECT_TRUE(line.ends_with(",\"kMDItemNoSuchThing\":null}")) << line;
  }
}

TEST_F(FindCommandTest, ExplainsAPlanAndRefusesAMalformedQueryWithStatusFour) {
  const auto plan = runHost(
      {"find", "--library", library_->string(), "--explain", "kMDItemTextContent == \"budget\""});
  EXPECT_EQ(plan.status, 0) << plan.errors;
  EXPECT_NE(plan.output.find("kMDItemTextContent"), std::string::npos) << plan.output;

  for (const auto& flags : std::vector<std::vector<std::string>>{{}, {"--count"}, {"--explain"}}) {
    std::vector<std::string> arguments{"find", "--library", library_->string()};
    arguments.insert(arguments.end(), flags.begin(), flags.end());
    arguments.push_back("kMDItemSubject == ");
    const auto outcome = runHost(arguments);
    EXPECT_EQ(outcome.status, 4);
    EXPECT_TRUE(outcome.output.empty());
    EXPECT_NE(outcome.errors.find("Invalid query at byte"), std::string::npos) << outcome.errors;
  }
}

TEST_F(FindCommandTest, SaysSoWhenTheLibraryHasNoIndexYet) {
  const std::string empty = linux_platform::testing::freshFolder("find-empty");
  const auto outcome = runHost({"find", "--library", empty, kAttached});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_NE(outcome.errors.find("there is no search index"), std::string::npos) << outcome.errors;
  EXPECT_FALSE(fs::exists(searchIndexPath(empty))) << "find only reads";
}

}  // namespace
}  // namespace trovadex::host::testing
