// A mail bundle for the loader's tests. Built three ways: TEST_BUNDLE_REGISTERS registers itself
// with the host and checks that it was handed its own Info.plist; TEST_BUNDLE_REFUSES answers
// that it did not load; TEST_BUNDLE_SILENT exports no loading entry at all.
#include "platform/ports.hpp"

#if defined(TEST_BUNDLE_REGISTERS)
extern "C" __attribute__((visibility("default"))) bool trovadex_mailbundle_load(
    const trovadex::platform::Ports* ports) noexcept {
  if (ports == nullptr || !ports->pluginBundle || !ports->hostClasses || !ports->console) {
    return false;
  }
  const auto identifier = ports->pluginBundle->objectForInfoDictionaryKey("CFBundleIdentifier");
  ports->console->writeLine("test bundle loading as " + identifier.description());
  auto mailBundle = ports->hostClasses->mailBundleClass();
  if (!mailBundle) return false;
  mailBundle->registerBundle();
  return true;
}
#elif defined(TEST_BUNDLE_REFUSES)
extern "C" __attribute__((visibility("default"))) bool trovadex_mailbundle_load(
    const trovadex::platform::Ports*) noexcept {
  return false;
}
#else
extern "C" __attribute__((visibility("default"))) int trovadex_test_bundle_without_entry() {
  return 0;
}
#endif
