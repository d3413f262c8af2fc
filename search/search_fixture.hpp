// SearchFixture: a started plug-in whose searches run scripted fake queries, and found items made
// to measure. For the threaded unit tests of search/.
//
// Each search() queues its script for the query the command makes; a script without a completion
// keeps the query running (live) until it is cancelled, so that its batches stay pending and
// readable. Main thread only; the scripts play on the queries' own threads.
#pragma once

#include <string>

#include <gtest/gtest.h>

#include "platform/fake/fake_search_query.hpp"
#include "platform/fake/script_gate.hpp"
#include "plugin/plugin_harness.hpp"

namespace trovadex::plugin::testing {

// A found message: its library ID in "_kMDItemExternalID" and, unless told otherwise, a file path.
inline platform::SearchableItem mailItem(std::int64_t libraryID,
                                         foundation::Value::Dictionary attributes = {},
                                         bool withPath = true) {
  platform::SearchableItem item;
  item.uniqueIdentifier = "message-" + std::to_string(libraryID);
  item.domainIdentifier = "mail";
  attributes.insert_or_assign("_kMDItemExternalID", foundation::Value::integer(libraryID));
  item.attributeSet.attributes = std::move(attributes);
  if (withPath) item.filePath = "/mail/" + std::to_string(libraryID) + ".emlx";
  return item;
}

// count found messages with library IDs first, first + 1, ...
inline platform::SearchableItems mailItems(std::int64_t first, std::size_t count) {
  platform::SearchableItems items;
  items.reserve(count);
  for (std::size_t i = 0; i < count; ++i)
    items.push_back(mailItem(first + static_cast<std::int64_t>(i)));
  return items;
}

// An item that neither carries a path nor names a message: the lookup drops it.
inline platform::SearchableItem unresolvableItem(int n) {
  platform::SearchableItem item;
  item.uniqueIdentifier = "stray-" + std::to_string(n);
  item.attributeSet.attributes = {{"kMDItemSubject", "stray"}};
  return item;
}

inline platform::fake::FoundItemsStep found(platform::SearchableItems items,
                                            std::optional<std::uint64_t> foundItemCount = {}) {
  return platform::fake::FoundItemsStep{std::move(items), foundItemCount};
}

class SearchFixture : public ::testing::Test {
 protected:
  SearchFixture() : plugin_(harness_.start()) {}

  // Sends Search for uniqueName from client c1 (plus extra keys) with script for its query, and
  // returns the query the engine made (null when it made none).
  std::shared_ptr<platform::fake::FakeSearchQuery> search(
      const std::string& uniqueName, platform::fake::SearchScript script = {},
      foundation::Value::Dictionary extra = {}) {
    // The query waits at a gate until the test holds it: a one-shot script can otherwise run
    // to its completion, and the plug-in let go of the query, before the test looks it up.
    auto held = std::make_shared<platform::fake::ScriptGate>();
    script.insert(script.begin(), platform::fake::GateStep{held});
    harness_.fakes.searchQueryFactory->queueScript(std::move(script));
    extra.insert_or_assign("uniqueName", uniqueName);
    if (!extra.contains("clientName")) extra.emplace("clientName", "c1");
    plugin_.search(PluginHarness::command(protocol::Message::Search, std::move(extra)));
    auto query = harness_.fakes.searchQueryFactory->lastQuery();
    held->release();
    return query;
  }

  // The plug-in's posts of a message and the payloads their pasteboards hold now.
  std::vector<foundation::Value> userInfos(protocol::Message message) const {
    std::vector<foundation::Value> infos;
    for (const auto& post : harness_.posts(message)) infos.push_back(post.userInfo);
    return infos;
  }
  foundation::Value payload(const foundation::Value& userInfo,
                            protocol::PasteboardType type) const {
    const std::string* name = userInfo["batchName"].asString();
    if (name == nullptr) return {};
    return harness_.fakes.pasteboardServer->propertyList(*name, protocol::pasteboardTypeName(type));
  }

  PluginHarness harness_;
  TDMailPlugin& plugin_;
};

}  // namespace trovadex::plugin::testing
