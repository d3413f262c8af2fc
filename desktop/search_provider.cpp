#include "desktop/search_provider.hpp"

#include <exception>
#include <vector>

#include "companion/desktop_launcher.hpp"
#include "companion/message_copy.hpp"

namespace trovadex::desktop {

using foundation::Error;
using foundation::Result;
using linux_platform::GVariantPtr;

namespace {

constexpr const char* kInterfaceXml = R"(<node>
  <interface name="org.gnome.Shell.SearchProvider2">
    <method name="GetInitialResultSet">
      <arg type="as" name="terms" direction="in"/>
      <arg type="as" name="results" direction="out"/>
    </method>
    <method name="GetSubsearchResultSet">
      <arg type="as" name="previous_results" direction="in"/>
      <arg type="as" name="terms" direction="in"/>
      <arg type="as" name="results" direction="out"/>
    </method>
    <method name="GetResultMetas">
      <arg type="as" name="identifiers" direction="in"/>
      <arg type="aa{sv}" name="metas" direction="out"/>
    </method>
    <method name="ActivateResult">
      <arg type="s" name="identifier" direction="in"/>
      <arg type="as" name="terms" direction="in"/>
      <arg type="u" name="timestamp" direction="in"/>
    </method>
    <method name="LaunchSearch">
      <arg type="as" name="terms" direction="in"/>
      <arg type="u" name="timestamp" direction="in"/>
    </method>
  </interface>
</node>)";

constexpr const char* kInterfaceName = "org.gnome.Shell.SearchProvider2";
constexpr const char* kMessageContentType = "message/rfc822";
constexpr const char* kMailIconName = "mail-message";

// The D-Bus error names the provider answers with.
constexpr const char* kNoPluginError = "org.trovadex.SearchProvider.Error.NoPlugin";
constexpr const char* kQueryFailedError = "org.trovadex.SearchProvider.Error.QueryFailed";
constexpr const char* kUnknownResultError = "org.trovadex.SearchProvider.Error.UnknownResult";
constexpr const char* kOpenFailedError = "org.trovadex.SearchProvider.Error.OpenFailed";
constexpr const char* kInternalError = "org.trovadex.SearchProvider.Error.Internal";

std::vector<std::string> stringArray(GVariant* array) {
  std::vector<std::string> strings;
  GVariantIter iter;
  g_variant_iter_init(&iter, array);
  const gchar* text = nullptr;
  while (g_variant_iter_next(&iter, "&s", &text)) strings.emplace_back(text);
  return strings;
}

void returnError(GDBusMethodInvocation* invocation, const char* name, const std::string& text) {
  g_dbus_method_invocation_return_dbus_error(invocation, name, text.c_str());
}

GDBusInterfaceInfo* interfaceInfo() {
  // Parsed once; the node is kept for the life of the process, as GDBus keeps the interface.
  static GDBusNodeInfo* node = g_dbus_node_info_new_for_xml(kInterfaceXml, nullptr);
  return g_dbus_node_info_lookup_interface(node, kInterfaceName);
}

}  // namespace

Result<std::unique_ptr<SearchProvider>> SearchProvider::exportOn(GDBusConnection* connection,
                                                                 SearchProviderOptions options) {
  std::unique_ptr<SearchProvider> provider(new SearchProvider(connection, std::move(options)));
  static const GDBusInterfaceVTable kVTable{&SearchProvider::onMethodCall, nullptr, nullptr, {}};
  GError* error = nullptr;
  provider->registration_ =
      g_dbus_connection_register_object(connection, kSearchProviderObjectPath, interfaceInfo(),
                                        &kVTable, provider.get(), nullptr, &error);
  if (provider->registration_ == 0) {
    Error failure{"TrovadexSearchProviderErrorDomain", 1,
                  std::string("Could not export the search provider: ") +
                      (error != nullptr ? error->message : "unknown error")};
    g_clear_error(&error);
    return failure;
  }
  return provider;
}

SearchProvider::SearchProvider(GDBusConnection* connection, SearchProviderOptions options)
    : connection_(G_DBUS_CONNECTION(g_object_ref(connection))),
      options_(std::move(options)),
      search_(options_.timeout) {}

SearchProvider::~SearchProvider() {
  if (registration_ != 0) g_dbus_connection_unregister_object(connection_.get(), registration_);
}

void SearchProvider::onMethodCall(GDBusConnection*, const gchar*, const gchar*, const gchar*,
                                  const gchar* method, GVariant* parameters,
                                  GDBusMethodInvocation* invocation, gpointer data) {
  auto* self = static_cast<SearchProvider*>(data);
  // No exception may unwind through GDBus; every call gets an answer.
  try {
    self->serve(method, parameters, invocation);
  } catch (const std::exception& exception) {
    returnError(invocation, kInternalError, exception.what());
  } catch (...) {
    returnError(invocation, kInternalError, "unknown exception");
  }
  if (self->options_.onCall) self->options_.onCall();
}

void SearchProvider::serve(const std::string& method, GVariant* parameters,
                           GDBusMethodInvocation* invocation) {
  // GDBus has checked the arguments against the interface before the call reaches here.
  if (method == "GetInitialResultSet") {
    GVariantPtr terms(g_variant_get_child_value(parameters, 0));
    answerResultSet(terms.get(), invocation);
  } else if (method == "GetSubsearchResultSet") {
    // A fresh search: the engine is quick, and the previous results may have changed.
    GVariantPtr terms(g_variant_get_child_value(parameters, 1));
    answerResultSet(terms.get(), invocation);
  } else if (method == "GetResultMetas") {
    GVariantPtr identifiers(g_variant_get_child_value(parameters, 0));
    answerResultMetas(identifiers.get(), invocation);
  } else if (method == "ActivateResult") {
    const gchar* identifier = nullptr;
    g_variant_get_child(parameters, 0, "&s", &identifier);
    activateResult(identifier, invocation);
  } else if (method == "LaunchSearch") {
    GVariantPtr terms(g_variant_get_child_value(parameters, 0));
    launchSearch(terms.get(), invocation);
  } else {
    g_dbus_method_invocation_return_error(invocation, G_DBUS_ERROR, G_DBUS_ERROR_UNKNOWN_METHOD,
                                          "No method %s", method.c_str());
  }
}

void SearchProvider::answerResultSet(GVariant* terms, GDBusMethodInvocation* invocation) {
  auto results = search_.find(stringArray(terms));
  if (!results) {
    const bool noPlugin = results.error().code == kNoPlugin;
    returnError(invocation, noPlugin ? kNoPluginError : kQueryFailedError,
                results.error().localizedDescription);
    return;
  }
  GVariantBuilder identifiers;
  g_variant_builder_init(&identifiers, G_VARIANT_TYPE("as"));
  for (const auto& result : results.value()) {
    g_variant_builder_add(&identifiers, "s", result.identifier.c_str());
  }
  g_dbus_method_invocation_return_value(invocation, g_variant_new("(as)", &identifiers));
}

void SearchProvider::answerResultMetas(GVariant* identifiers, GDBusMethodInvocation* invocation) {
  GVariantBuilder metas;
  g_variant_builder_init(&metas, G_VARIANT_TYPE("aa{sv}"));
  for (const auto& identifier : stringArray(identifiers)) {
    const ShellResult* result = search_.remembered(identifier);
    if (result == nullptr) continue;
    GVariantBuilder meta;
    g_variant_builder_init(&meta, G_VARIANT_TYPE("a{sv}"));
    g_variant_builder_add(&meta, "{sv}", "id", g_variant_new_string(result->identifier.c_str()));
    // Texts from mail may hold anything; GVariant strings must be valid UTF-8.
    gchar* title = g_utf8_make_valid(result->title().c_str(), -1);
    gchar* description = g_utf8_make_valid(result->description().c_str(), -1);
    g_variant_builder_add(&meta, "{sv}", "name", g_variant_new_take_string(title));
    g_variant_builder_add(&meta, "{sv}", "description", g_variant_new_take_string(description));
    g_variant_builder_add(&meta, "{sv}", "gicon", g_variant_new_string(kMailIconName));
    g_variant_builder_add_value(&metas, g_variant_builder_end(&meta));
  }
  g_dbus_method_invocation_return_value(invocation, g_variant_new("(aa{sv})", &metas));
}

void SearchProvider::activateResult(const std::string& identifier,
                                    GDBusMethodInvocation* invocation) {
  const ShellResult* result = search_.remembered(identifier);
  if (result == nullptr) {
    returnError(invocation, kUnknownResultError, "No result " + identifier + " was found");
    return;
  }
  auto copy = companion::writeOpenableCopy(result->path, options_.messageCopyFolder);
  if (!copy) {
    returnError(invocation, kOpenFailedError, copy.error().localizedDescription);
    return;
  }
  if (auto opened = companion::openWithDefaultProgram(copy.value(), kMessageContentType); !opened) {
    returnError(invocation, kOpenFailedError, opened.error().localizedDescription);
    return;
  }
  g_dbus_method_invocation_return_value(invocation, nullptr);
}

void SearchProvider::launchSearch(GVariant* terms, GDBusMethodInvocation* invocation) {
  const std::string text = joinedTerms(stringArray(terms));
  if (text.find_first_not_of(" \t") == std::string::npos) {
    g_dbus_method_invocation_return_value(invocation, nullptr);
    return;
  }
  if (auto started =
          companion::runInTerminal({options_.trovadexProgram, "search", "--text", text, "--live"});
      !started) {
    returnError(invocation, kOpenFailedError, started.error().localizedDescription);
    return;
  }
  g_dbus_method_invocation_return_value(invocation, nullptr);
}

}  // namespace trovadex::desktop
