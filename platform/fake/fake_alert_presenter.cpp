#include "platform/fake/fake_alert_presenter.hpp"

#include <utility>

namespace trovadex::platform::fake {

FakeAlertPresenter::FakeAlertPresenter(std::shared_ptr<const FakeDispatcher> dispatcher)
    : dispatcher_(std::move(dispatcher)) {}

FakeAlertPresenter::~FakeAlertPresenter() = default;

bool FakeAlertPresenter::onMainThread() const {
  return dispatcher_ == nullptr || dispatcher_->isMainThread();
}

std::int64_t FakeAlertPresenter::runModal(const Alert& alert) {
  const bool onMain = onMainThread();
  std::lock_guard lock(mutex_);
  std::int64_t answer = defaultAnswer_;
  if (!answers_.empty()) {
    answer = answers_.front();
    answers_.pop_front();
  }
  alerts_.push_back(ShownAlert{alert, answer, onMain});
  return answer;
}

void FakeAlertPresenter::presentError(const foundation::Error& error) {
  const bool onMain = onMainThread();
  std::lock_guard lock(mutex_);
  errors_.push_back(PresentedError{error, onMain});
}

void FakeAlertPresenter::scriptAnswers(const std::vector<std::int64_t>& answers) {
  std::lock_guard lock(mutex_);
  answers_.insert(answers_.end(), answers.begin(), answers.end());
}

void FakeAlertPresenter::setDefaultAnswer(std::int64_t answer) {
  std::lock_guard lock(mutex_);
  defaultAnswer_ = answer;
}

std::vector<ShownAlert> FakeAlertPresenter::alertsShown() const {
  std::lock_guard lock(mutex_);
  return alerts_;
}

std::vector<PresentedError> FakeAlertPresenter::errorsPresented() const {
  std::lock_guard lock(mutex_);
  return errors_;
}

}  // namespace trovadex::platform::fake
