#include "plugin/tracing_search.hpp"

#include <string_view>

#include "foundation/format.hpp"

namespace trovadex::plugin {

namespace {

using foundation::FormatArgument;
using foundation::Value;

// The names of the traced calls as the platform spells them.
constexpr std::string_view kIndexSearchableItemsSelector =
    "indexSearchableItems:completionHandler:";
constexpr std::string_view kStartSelector = "start";

void trace(platform::Console* console, std::string_view format,
           std::initializer_list<FormatArgument> arguments) {
  if (console) console->writeLine(foundation::formatString(format, arguments));
}

Value stringArray(const std::vector<std::string>& strings) {
  Value::Array array;
  array.reserve(strings.size());
  for (const std::string& text : strings) array.emplace_back(text);
  return Value(std::move(array));
}

// An empty identifier stands for none, as the platform would leave it nil.
Value identifierValue(const std::string& identifier) {
  return identifier.empty() ? Value() : Value(identifier);
}

// How an item reads in a trace: its identifiers and its attributes.
Value itemDescription(const platform::SearchableItem& item) {
  return Value(Value::Dictionary{
      {"uniqueIdentifier", identifierValue(item.uniqueIdentifier)},
      {"domainIdentifier", identifierValue(item.domainIdentifier)},
      {"attributeSet", Value(item.attributeSet.attributes)},
  });
}

Value attributeNames(const platform::SearchableItemAttributeSet& attributeSet) {
  Value::Array names;
  names.reserve(attributeSet.attributes.size());
  for (const auto& entry : attributeSet.attributes) names.emplace_back(entry.first);
  return Value(std::move(names));
}

}  // namespace

// ---- TracingSearchableIndex ---------------------------------------------------------------------

TracingSearchableIndex::TracingSearchableIndex(std::shared_ptr<platform::SearchableIndex> inner,
                                               std::shared_ptr<platform::Console> console)
    : inner_(std::move(inner)), console_(std::move(console)) {}

std::string TracingSearchableIndex::name() const { return inner_->name(); }

void TracingSearchableIndex::indexSearchableItems(const platform::SearchableItems& items,
                                                  Completion completion) {
  Value::Array described;
  described.reserve(items.size());
  for (const platform::SearchableItem& item : items) described.push_back(itemDescription(item));
  const platform::SearchableItem* first = items.empty() ? nullptr : &items.front();
  trace(console_.get(), "%@ %@", {kIndexSearchableItemsSelector, Value(std::move(described))});
  trace(console_.get(), "domainIdentifier %@",
        {first ? identifierValue(first->domainIdentifier) : Value()});
  trace(console_.get(), "attributes %@", {first ? attributeNames(first->attributeSet) : Value()});
  inner_->indexSearchableItems(items, std::move(completion));
}

void TracingSearchableIndex::deleteSearchableItemsWithIdentifiers(
    const std::vector<std::string>& identifiers, Completion completion) {
  inner_->deleteSearchableItemsWithIdentifiers(identifiers, std::move(completion));
}

void TracingSearchableIndex::deleteSearchableItemsWithDomainIdentifiers(
    const std::vector<std::string>& domainIdentifiers, Completion completion) {
  inner_->deleteSearchableItemsWithDomainIdentifiers(domainIdentifiers, std::move(completion));
}

// ---- TracingSearchableIndexFactory --------------------------------------------------------------

TracingSearchableIndexFactory::TracingSearchableIndexFactory(
    std::shared_ptr<platform::SearchableIndexFactory> inner,
    std::shared_ptr<platform::Console> console)
    : inner_(std::move(inner)), console_(std::move(console)) {}

std::shared_ptr<platform::SearchableIndex> TracingSearchableIndexFactory::indexWithName(
    const std::string& name) {
  auto index = inner_->indexWithName(name);
  return index ? std::make_shared<TracingSearchableIndex>(std::move(index), console_) : nullptr;
}

std::shared_ptr<platform::SearchableIndex> TracingSearchableIndexFactory::indexWithName(
    const std::string& name, const std::string& protectionClass) {
  auto index = inner_->indexWithName(name, protectionClass);
  return index ? std::make_shared<TracingSearchableIndex>(std::move(index), console_) : nullptr;
}

// ---- TracingSearchQuery -------------------------------------------------------------------------

TracingSearchQuery::TracingSearchQuery(std::shared_ptr<platform::SearchQuery> inner,
                                       std::shared_ptr<platform::Console> console)
    : inner_(std::move(inner)), console_(std::move(console)) {}

void TracingSearchQuery::setFoundItemsHandler(FoundItemsHandler handler) {
  inner_->setFoundItemsHandler(std::move(handler));
}

void TracingSearchQuery::setCompletionHandler(CompletionHandler handler) {
  inner_->setCompletionHandler(std::move(handler));
}

bool TracingSearchQuery::respondsToSetRemovedItemsHandler() const {
  return inner_->respondsToSetRemovedItemsHandler();
}

void TracingSearchQuery::setRemovedItemsHandler(RemovedItemsHandler handler) {
  inner_->setRemovedItemsHandler(std::move(handler));
}

bool TracingSearchQuery::respondsToSetGatherEndedHandler() const {
  return inner_->respondsToSetGatherEndedHandler();
}

void TracingSearchQuery::setGatherEndedHandler(GatherEndedHandler handler) {
  inner_->setGatherEndedHandler(std::move(handler));
}

std::shared_ptr<platform::SearchQueryContext> TracingSearchQuery::queryContext() {
  return inner_->queryContext();
}

void TracingSearchQuery::start() {
  trace(console_.get(), "%@ %@ %@", {kStartSelector, description(), fetchAttributes()});
  trace(console_.get(), "options %@", {options()});
  trace(console_.get(), "scopes %@", {scopes()});
  trace(console_.get(), "queryString %@", {queryString()});
  trace(console_.get(), "fetchAttributes %@", {fetchAttributes()});
  inner_->start();
}

void TracingSearchQuery::cancel() { inner_->cancel(); }
bool TracingSearchQuery::isCancelled() const { return inner_->isCancelled(); }
std::uint64_t TracingSearchQuery::foundItemCount() const { return inner_->foundItemCount(); }
std::string TracingSearchQuery::queryString() const { return inner_->queryString(); }
foundation::Value TracingSearchQuery::fetchAttributes() const { return inner_->fetchAttributes(); }
foundation::Value TracingSearchQuery::options() const { return inner_->options(); }
foundation::Value TracingSearchQuery::scopes() const { return inner_->scopes(); }
std::string TracingSearchQuery::description() const { return inner_->description(); }

// ---- TracingSearchQueryFactory ------------------------------------------------------------------

TracingSearchQueryFactory::TracingSearchQueryFactory(
    std::shared_ptr<platform::SearchQueryFactory> inner, std::shared_ptr<platform::Console> console)
    : inner_(std::move(inner)), console_(std::move(console)) {}

std::shared_ptr<platform::SearchQuery> TracingSearchQueryFactory::makeQuery(
    const std::string& queryString, const std::optional<std::vector<std::string>>& attributes) {
  trace(console_.get(), "queryString %@", {queryString});
  trace(console_.get(), "attributes %@", {attributes ? stringArray(*attributes) : Value()});
  auto query = inner_->makeQuery(queryString, attributes);
  return query ? std::make_shared<TracingSearchQuery>(std::move(query), console_) : nullptr;
}

bool TracingSearchQueryFactory::attributeSetsRespondToAttributes() const {
  return inner_->attributeSetsRespondToAttributes();
}

}  // namespace trovadex::plugin
