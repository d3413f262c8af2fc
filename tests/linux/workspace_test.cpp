// Applications: installed through desktop entries, running while their bus name has an owner,
// terminated when the name loses its last owner.
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "linux/desktop_workspace.hpp"
#include "linux/main_loop.hpp"
#include "linux/session_bus.hpp"
#include "tests/linux/linux_test_support.hpp"

namespace trovadex::linux_platform {
namespace {

using foundation::Value;
using testing::kEventTimeout;
using testing::PeerProcess;

const std::string kCompanion = "org.trovadex.Trovadex";
const std::string kStoreEdition = "org.trovadex.Trovadex.Store";
const std::string kNoEntry = "org.trovadex.NoEntry";

// Desktop entries must exist before the process first asks GIO about applications, since
// GIO reads the application folders once and then follows changes asynchronously.
std::string installDesktopEntries() {
  const std::string folder = std::string(std::getenv("XDG_DATA_HOME")) + "/applications";
  for (const auto& id : {kCompanion, kStoreEdition}) {
    std::ofstream(folder + "/" + id + ".desktop")
        << "[Desktop Entry]\nType=Application\nName=Trovadex\nExec=true\nDBusActivatable=true\n";
  }
  return folder;
}

// Every change of owner of one bus name, as the bus announces it.
class OwnerChanges {
 public:
  OwnerChanges(GDBusConnection* bus, const std::string& name) : bus_(bus) {
    subscription_ = g_dbus_connection_signal_subscribe(
        bus, "org.freedesktop.DBus", "org.freedesktop.DBus", "NameOwnerChanged",
        "/org/freedesktop/DBus", name.c_str(), G_DBUS_SIGNAL_FLAGS_NONE,
        [](GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*,
           GVariant* parameters, gpointer data) {
          const gchar* newOwner = nullptr;
          g_variant_get(parameters, "(&s&s&s)", nullptr, nullptr, &newOwner);
          static_cast<OwnerChanges*>(data)->newOwners.emplace_back(newOwner);
        },
        this, nullptr);
    testing::syncWithBus(bus);
  }
  ~OwnerChanges() { g_dbus_connection_signal_unsubscribe(bus_, subscription_); }

  std::vector<std::string> newOwners;

 private:
  GDBusConnection* bus_;
  guint subscription_ = 0;
};

class Workspace : public ::testing::Test {
 protected:
  std::string applications_ = installDesktopEntries();
  MainLoop loop_;
  GObjectPtr<GDBusConnection> bus_{openSessionBus().value()};
  DesktopWorkspace workspace_{loop_, bus_.get(), nullptr};
  std::vector<platform::Notification> terminations_;
  platform::Subscription watch_ = workspace_.notificationCenter().addObserver(
      std::string(platform::kWorkspaceDidTerminateApplicationNotification),
      [this](const platform::Notification& n) { terminations_.push_back(n); });

  void SetUp() override { testing::syncWithBus(bus_.get()); }

  std::size_t running(const std::string& id) {
    return workspace_.runningApplicationsWithBundleIdentifier(id).size();
  }
};

TEST_F(Workspace, FindsInstalledApplicationsByTheirDesktopEntry) {
  EXPECT_EQ(workspace_.absolutePathForAppBundleWithIdentifier(kCompanion),
            applications_ + "/" + kCompanion + ".desktop");
  EXPECT_EQ(workspace_.absolutePathForAppBundleWithIdentifier(kStoreEdition),
            applications_ + "/" + kStoreEdition + ".desktop");
  for (const std::string& missing : {kNoEntry, std::string("../x"), std::string(""),
                                     std::string(":1.5"), std::string("org.trovadex")}) {
    EXPECT_FALSE(workspace_.absolutePathForAppBundleWithIdentifier(missing)) << missing;
  }
}

TEST_F(Workspace, FollowsAnApplicationFromFirstOwnerToLastRelease) {
  EXPECT_EQ(running(kCompanion), 0u);
  OwnerChanges changes(bus_.get(), kCompanion);
  PeerProcess first(loop_, {"own", kCompanion});
  ASSERT_EQ(first.readLine(), "owned");
  const auto instances = workspace_.runningApplicationsWithBundleIdentifier(kCompanion);
  ASSERT_EQ(instances.size(), 1u);
  EXPECT_EQ(instances[0]->bundleIdentifier(), Value(kCompanion));

  PeerProcess second(loop_, {"own", kCompanion});
  ASSERT_EQ(second.readLine(), "queued");
  EXPECT_EQ(running(kCompanion), 2u);

  ASSERT_TRUE(first.stop());
  // The queued owner takes the name over: still running, and no termination.
  ASSERT_TRUE(loop_.iterateUntil([&] { return changes.newOwners.size() == 2; }, kEventTimeout));
  EXPECT_NE(changes.newOwners[1], "");
  EXPECT_EQ(running(kCompanion), 1u);
  EXPECT_TRUE(terminations_.empty());
  ASSERT_TRUE(second.stop());
  ASSERT_TRUE(loop_.iterateUntil([&] { return !terminations_.empty(); }, kEventTimeout));
  ASSERT_EQ(terminations_.size(), 1u);
  const platform::Notification& termination = terminations_[0];
  EXPECT_EQ(termination.userInfo[platform::kApplicationBundleIdentifierKey], Value(kCompanion));
  ASSERT_NE(termination.application, nullptr);
  EXPECT_EQ(termination.application->bundleIdentifier(), Value(kCompanion));
  EXPECT_EQ(running(kCompanion), 0u);
}

TEST_F(Workspace, ReportsNothingAboutANameWithoutADesktopEntry) {
  PeerProcess stranger(loop_, {"own", kNoEntry});
  ASSERT_EQ(stranger.readLine(), "owned");
  EXPECT_EQ(running(kNoEntry), 0u);
  PeerProcess companion(loop_, {"own", kStoreEdition});
  ASSERT_EQ(companion.readLine(), "owned");
  ASSERT_TRUE(stranger.stop());
  ASSERT_TRUE(companion.stop());
  // The bus reports owner changes in order, so the stranger's end came before this one.
  ASSERT_TRUE(loop_.iterateUntil([&] { return !terminations_.empty(); }, kEventTimeout));
  ASSERT_EQ(terminations_.size(), 1u);
  EXPECT_EQ(terminations_[0].userInfo[platform::kApplicationBundleIdentifierKey],
            Value(kStoreEdition));
}

}  // namespace
}  // namespace trovadex::linux_platform
