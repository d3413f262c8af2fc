// FakeAlertPresenter: answers modal alerts from a script and records every alert and error shown.
//
// Each runModal takes the next scripted answer, or the default answer (the first button, 1000,
// unless set otherwise) when the script is used up. Given a dispatcher, it also notes whether
// each alert and error was shown on the main thread, so that a test can catch one shown from a
// background queue. Safe from any thread (so that such a mistake is recorded, not a race).
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/alert_presenter.hpp"
#include "platform/fake/fake_dispatcher.hpp"

namespace trovadex::platform::fake {

struct ShownAlert {
  Alert alert;
  std::int64_t answer = 0;
  bool onMainThread = true;
};

struct PresentedError {
  foundation::Error error;
  bool onMainThread = true;
};

class FakeAlertPresenter final : public AlertPresenter {
 public:
  explicit FakeAlertPresenter(std::shared_ptr<const FakeDispatcher> dispatcher = nullptr);
  ~FakeAlertPresenter() override;

  std::int64_t runModal(const Alert& alert) override;
  void presentError(const foundation::Error& error) override;

  // Answers for the next alerts, in order.
  void scriptAnswers(const std::vector<std::int64_t>& answers);
  void setDefaultAnswer(std::int64_t answer);

  std::vector<ShownAlert> alertsShown() const;
  std::vector<PresentedError> errorsPresented() const;

 private:
  bool onMainThread() const;

  const std::shared_ptr<const FakeDispatcher> dispatcher_;  // Immutable after construction.

  mutable std::mutex mutex_;
  // Guarded by mutex_.
  std::deque<std::int64_t> answers_;
  std::int64_t defaultAnswer_ = kAlertFirstButtonReturn;
  std::vector<ShownAlert> alerts_;
  std::vector<PresentedError> errors_;
};

}  // namespace trovadex::platform::fake
