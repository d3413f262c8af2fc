// runGuarded: the wall that keeps C++ exceptions out of GLib callbacks and thread entries.
//
// Every callback that GLib (or a thread of our own) calls into C++ goes through it: an exception
// that escapes the work is caught here and reported as one console line naming where it
// happened, instead of unwinding through C frames. Safe from any thread.
#pragma once

#include <exception>
#include <string>
#include <utility>

#include "platform/console.hpp"

namespace trovadex::linux_platform {

// Reports an escaped exception on console, or on standard error when there is no console.
void reportEscapedException(platform::Console* console, const char* where,
                            const std::string& what) noexcept;

template <typename Work>
void runGuarded(platform::Console* console, const char* where, Work&& work) noexcept {
  try {
    std::forward<Work>(work)();
  } catch (const std::exception& exception) {
    reportEscapedException(console, where, exception.what());
  } catch (...) {
    reportEscapedException(console, where, "unknown exception");
  }
}

}  // namespace trovadex::linux_platform
