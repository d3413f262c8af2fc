// SearchScript: what a fake search query delivers, step by step, on its own thread.
//
// Steps run in order after start(): found items (with the found-item count the query reports
// from just before that delivery; by default the previous count plus the items), removed items
// (any Value, as the platform may pass anything), gather ended, completion (with or without an
// error; it ends the query), and a gate at which the query's thread waits for the test. A step
// whose handler is not installed passes silently. A script without a completion step leaves
// the query running, as a live query, until it is cancelled. Plain values: safe to copy between
// threads.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <variant>
#include <vector>

#include "foundation/error.hpp"
#include "foundation/value.hpp"
#include "platform/fake/script_gate.hpp"
#include "platform/searchable_item.hpp"

namespace trovadex::platform::fake {

struct FoundItemsStep {
  SearchableItems items;
  std::optional<std::uint64_t> foundItemCount;
};

struct RemovedItemsStep {
  foundation::Value identifiers;
};

struct GatherEndedStep {};

struct CompletionStep {
  std::optional<foundation::Error> error;
};

struct GateStep {
  std::shared_ptr<ScriptGate> gate;
};

using SearchScriptStep =
    std::variant<FoundItemsStep, RemovedItemsStep, GatherEndedStep, CompletionStep, GateStep>;
using SearchScript = std::vector<SearchScriptStep>;

}  // namespace trovadex::platform::fake
