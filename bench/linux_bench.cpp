// Linux adapters: the round trip of a notification through the session bus, and the writing
// and reading of a 2000-message results batch on a pasteboard.
//
// When no session bus is configured the benchmark starts a private one (GLib's test bus), so it
// never touches the user's own; pasteboards go to a temporary folder.
#include <benchmark/benchmark.h>
#include <gio/gio.h>

#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <mutex>
#include <thread>

#include "foundation/property_list.hpp"
#include "linux/dbus_notification_center.hpp"
#include "linux/folder_pasteboard_server.hpp"
#include "linux/main_loop.hpp"
#include "linux/session_bus.hpp"

namespace tl = trovadex::linux_platform;
using trovadex::foundation::Date;
using trovadex::foundation::Value;

namespace {

const std::string kSearch = "org.trovadex.MailPlugin.Search";
const std::string kQueryDidStart = "org.trovadex.MailPlugin.QueryDidStart";
const std::string kResults = "org.trovadex.MailPlugin.ResultsBatch";

// A private session bus for the whole run, unless one is configured already.
class PrivateBus {
 public:
  PrivateBus() {
    const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
    if (address != nullptr && address[0] != '\0') return;
    bus_ = g_test_dbus_new(G_TEST_DBUS_NONE);
    g_test_dbus_up(bus_);
  }
  ~PrivateBus() {
    if (bus_ == nullptr) return;
    g_test_dbus_down(bus_);
    g_object_unref(bus_);
  }

 private:
  GTestDBus* bus_ = nullptr;
};

PrivateBus& privateBus() {
  static PrivateBus bus;
  return bus;
}

// A second bus client on a thread of its own that answers every Search with a QueryDidStart,
// as the plug-in does.
class EchoPeer {
 public:
  EchoPeer() {
    thread_ = std::thread([this] { run(); });
    std::unique_lock lock(mutex_);
    ready_.wait(lock, [this] { return loop_ != nullptr; });
  }
  ~EchoPeer() {
    loop_->quit();
    thread_.join();
  }

 private:
  void run() {
    tl::MainLoop loop;
    auto bus = tl::openSessionBus();
    tl::DBusNotificationCenter center(bus.value().get(), nullptr);
    auto subscription = center.addObserver(kSearch, [&](const trovadex::platform::Notification& n) {
      center.postNotification(kQueryDidStart, n.object, n.userInfo, true);
    });
    // The bus answers in order, so once this call returns the subscription is in place.
    GVariant* reply = g_dbus_connection_call_sync(
        bus.value().get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "GetId", nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
    if (reply != nullptr) g_variant_unref(reply);
    {
      std::lock_guard lock(mutex_);
      loop_ = &loop;
    }
    ready_.notify_one();
    loop.run();
  }

  std::mutex mutex_;
  std::condition_variable ready_;
  tl::MainLoop* loop_ = nullptr;  // Guarded by mutex_ until ready.
  std::thread thread_;
};

Value searchRequest() {
  return Value(Value::Dictionary{{"uniqueName", Value("bench-1")},
                                 {"clientName", Value("bench")},
                                 {"lineageName", Value("bench")},
                                 {"queryString", Value("invoice from anna")},
                                 {"sortingAttribute", Value("kMDItemContentCreationDate")},
                                 {"sortAscending", Value::boolean(false)},
                                 {"version", Value("1")}});
}

void BM_SignalRoundTrip(benchmark::State& state) {
  privateBus();
  EchoPeer peer;
  tl::MainLoop loop;
  auto bus = tl::openSessionBus();
  if (!bus) {
    state.SkipWithError(bus.error().localizedDescription.c_str());
    return;
  }
  tl::DBusNotificationCenter center(bus.value().get(), nullptr);
  std::size_t answers = 0;
  auto subscription = center.addObserver(
      kQueryDidStart, [&](const trovadex::platform::Notification&) { ++answers; });
  const Value request = searchRequest();
  for (auto _ : state) {
    const std::size_t expected = answers + 1;
    center.postNotification(kSearch, Value(), request, true);
    if (!loop.iterateUntil([&] { return answers >= expected; }, std::chrono::seconds(5))) {
      state.SkipWithError("no answer within 5 s");
      break;
    }
  }
}
BENCHMARK(BM_SignalRoundTrip)->Unit(benchmark::kMicrosecond)->UseRealTime();

// A batch shaped like the plug-in's: 2000 message records of 40 attributes each.
Value resultsBatch() {
  Value::Array messages;
  for (int i = 0; i < 2000; ++i) {
    Value::Dictionary attributes;
    for (int a = 0; a < 20; ++a) {
      attributes["kMDItemText" + std::to_string(a)] =
          Value("Quarterly invoice " + std::to_string(i) + " attribute " + std::to_string(a));
    }
    for (int a = 0; a < 8; ++a) {
      attributes["kMDItemList" + std::to_string(a)] =
          Value(Value::Array{Value("anna@example.org"), Value("Anna Berg"), Value("INBOX")});
    }
    for (int a = 0; a < 4; ++a) {
      attributes["kMDItemDate" + std::to_string(a)] =
          Value(Date::withTimeIntervalSinceReferenceDate(790000000.0 + i * 60 + a));
    }
    for (int a = 0; a < 6; ++a) {
      attributes["kMDItemCount" + std::to_string(a)] = Value::integer(i * 10 + a);
    }
    attributes["kMDItemFlagged"] = Value::boolean(i % 7 == 0);
    attributes["kMDItemRead"] = Value::boolean(i % 2 == 0);
    messages.push_back(Value(Value::Dictionary{
        {"attributes", Value(std::move(attributes))},
        {"kMDItemPath", Value("/home/user/.local/share/trovadex/Mail/V10/INBOX.mbox/Messages/" +
                              std::to_string(i) + ".emlx")},
        {"libraryID", Value::integer(i)},
        {"index", Value::unsignedInteger(static_cast<std::uint64_t>(i))}}));
  }
  return Value(Value::Dictionary{{"messages", Value(std::move(messages))},
                                 {"foundItemCount", Value::unsignedInteger(2000)},
                                 {"batchNumber", Value::unsignedInteger(1)},
                                 {"queryString", Value("invoice")},
                                 {"uniqueName", Value("bench-1")},
                                 {"clientName", Value("bench")}});
}

const Value& sharedBatch() {
  static const Value batch = resultsBatch();
  return batch;
}

std::string benchFolder() {
  static const std::string folder = [] {
    std::string path =
        (std::filesystem::temp_directory_path() / ("trovadex-bench-" + std::to_string(::getpid())))
            .string();
    std::filesystem::create_directories(path);
    std::atexit([] {
      std::filesystem::remove_all(std::filesystem::temp_directory_path() /
                                  ("trovadex-bench-" + std::to_string(::getpid())));
    });
    return path;
  }();
  return folder;
}

void BM_PasteboardWriteBatch(benchmark::State& state) {
  const Value& batch = sharedBatch();
  tl::FolderPasteboardServer server(tl::PasteboardFolder(benchFolder() + "/write"), nullptr);
  auto pasteboard = server.pasteboardWithUniqueName();
  for (auto _ : state) {
    pasteboard->declareTypes({kResults}, nullptr);
    if (!pasteboard->setPropertyList(batch, kResults)) state.SkipWithError("write failed");
  }
  pasteboard->releaseGlobally();
}
BENCHMARK(BM_PasteboardWriteBatch)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_PasteboardReadBatch(benchmark::State& state) {
  const Value& batch = sharedBatch();
  tl::FolderPasteboardServer server(tl::PasteboardFolder(benchFolder() + "/read"), nullptr);
  auto pasteboard = server.pasteboardWithUniqueName();
  pasteboard->declareTypes({kResults}, nullptr);
  pasteboard->setPropertyList(batch, kResults);
  // A reader in another process holds a handle of its own on the same folder.
  tl::FolderPasteboardServer reader(tl::PasteboardFolder(benchFolder() + "/read"), nullptr);
  auto readerPasteboard = reader.pasteboardWithName(pasteboard->name());
  for (auto _ : state) {
    Value read = readerPasteboard->propertyListForType(kResults);
    if (read.count() == 0) state.SkipWithError("read failed");
    benchmark::DoNotOptimize(read);
  }
  pasteboard->releaseGlobally();
}
BENCHMARK(BM_PasteboardReadBatch)->Unit(benchmark::kMillisecond)->UseRealTime();

// The two forms a pasteboard can hold, on the same batch: why batches are written in binary.
void BM_EncodeBatch(benchmark::State& state) {
  const Value& batch = sharedBatch();
  const auto format = state.range(0) == 0 ? trovadex::foundation::PropertyListFormat::Binary
                                          : trovadex::foundation::PropertyListFormat::Xml;
  std::size_t bytes = 0;
  for (auto _ : state) {
    auto encoded = trovadex::foundation::encodePropertyList(batch, format);
    bytes = encoded ? encoded.value().size() : 0;
  }
  state.SetLabel(state.range(0) == 0 ? "binary" : "xml");
  state.counters["bytes"] = static_cast<double>(bytes);
}
BENCHMARK(BM_EncodeBatch)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
