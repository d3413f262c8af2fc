// AlertPresenter: modal questions to the user, and the error panel.
//
// runModal blocks its caller until the user answers and returns the answer as the platform
// numbers buttons: 1000 for the first button added, 1001 for the second, and so on. Main thread
// only.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "foundation/error.hpp"

namespace trovadex::platform {

enum class AlertStyle : int { Warning = 0, Informational = 1, Critical = 2 };

inline constexpr std::int64_t kAlertFirstButtonReturn = 1000;

struct Alert {
  std::string messageText;
  std::string informativeText;
  AlertStyle style = AlertStyle::Warning;
  std::vector<std::string> buttons;  // in the order they were added
};

class AlertPresenter {
 public:
  virtual ~AlertPresenter();
  virtual std::int64_t runModal(const Alert& alert) = 0;
  // Shows an error to the user (the application's error panel).
  virtual void presentError(const foundation::Error& error) = 0;
};

}  // namespace trovadex::platform
