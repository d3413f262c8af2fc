#include "linux/glib_dispatcher.hpp"

namespace trovadex::linux_platform {

GlibDispatcher::GlibDispatcher(MainLoop& loop, std::shared_ptr<platform::Console> console,
                               int poolThreads)
    : console_(std::move(console)),
      mainQueue_(loop.context(), console_.get()),
      pool_(poolThreads, console_.get()) {}

GlibDispatcher::~GlibDispatcher() { shutdown(); }

void GlibDispatcher::dispatchAsyncMain(std::function<void()> work) {
  mainQueue_.push(std::move(work));
}

void GlibDispatcher::performOnMainThread(std::function<void()> work) {
  mainQueue_.push(std::move(work));
}

void GlibDispatcher::dispatchAsyncGlobal(std::function<void()> work) {
  pool_.submit(std::move(work));
}

void GlibDispatcher::shutdown() {
  pool_.shutdown();
  mainQueue_.close();
}

}  // namespace trovadex::linux_platform
