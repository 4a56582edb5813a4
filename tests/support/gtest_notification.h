// GoogleTest on MinGW's win32 thread model, whose C++ library (GCC 12) has no std::mutex
// or std::condition_variable: GoogleTest's only use of them is Notification, which it
// uses to start threads in its own tests and never on the path of ours. This stands in
// for it, waiting on an atomic flag. Force-included where the compiler lacks std::mutex.
#pragma once
#ifdef __cplusplus
#include <atomic>
#include <thread>

#define GTEST_HAS_NOTIFICATION_ 1

namespace testing {
namespace internal {

class Notification {
public:
    Notification() = default;
    Notification(const Notification&) = delete;
    Notification& operator=(const Notification&) = delete;
    void Notify() { notified_.store(true); }
    void WaitForNotification() {
        while (!notified_.load()) std::this_thread::yield();
    }

private:
    std::atomic<bool> notified_{false};
};

}  // namespace internal
}  // namespace testing
#endif
