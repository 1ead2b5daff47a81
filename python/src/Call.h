// SPDX-License-Identifier: MIT
/// @file
/// Long calls: other Python threads run meanwhile, Ctrl-C and callbacks end them.
#ifndef MONTAGE_PYTHON_CALL_H
#define MONTAGE_PYTHON_CALL_H

#include <atomic>
#include <future>
#include <montage/Progress.h>
#include <mutex>
#include <optional>
#include <pybind11/pybind11.h>
#include <type_traits>

namespace montage_python {

namespace py = pybind11;

/// Whether this thread is the one in which Python handles signals.
bool onMainThread();

/// What watches one call. Made and destroyed with the interpreter's lock held.
class Watch {
 public:
  /// @param[in] callback  None, or called with stage, done and total; False or an exception ends the
  ///   call.
  explicit Watch(py::object callback);

  /// To be handed to the library; takes the interpreter's lock only for the callback.
  [[nodiscard]] montage::Progress progress();

  /// Lets Python handle its signals; what a handler raises ends the call. With the lock held.
  void handleSignals();

  /// Raises what a callback or a signal handler has raised. With the lock held.
  void raiseError();

 private:
  bool report(const montage::ProgressReport& report);
  void keepError();

  py::object callback_;
  std::atomic<bool> stopped_{false};
  std::optional<py::error_already_set> error_;
};

/// Waits for work that runs elsewhere, and handles signals. Without the lock.
void waitFor(const std::future<void>& done, Watch& watch);

/// `work(progress)` without the interpreter's lock. In the main thread the work is done by another
/// one, because only the main thread can handle Ctrl-C.
template <class Work>
auto watched(const py::object& callback, const Work& work) {
  using Result = std::invoke_result_t<Work, const montage::Progress&>;
  Watch watch(callback);
  const montage::Progress progress = watch.progress();
  std::optional<std::conditional_t<std::is_void_v<Result>, bool, Result>> result;
  const auto run = [&] {
    if constexpr (std::is_void_v<Result>) {
      work(progress);
    } else {
      result.emplace(work(progress));
    }
  };
  const bool handlesSignals = onMainThread();
  try {
    const py::gil_scoped_release others;
    if (handlesSignals) {
      std::future<void> done = std::async(std::launch::async, run);
      waitFor(done, watch);
      done.get();
    } else {
      run();
    }
  } catch (const montage::Cancelled&) {
    watch.raiseError();
    throw;
  }
  watch.raiseError();
  if constexpr (!std::is_void_v<Result>) {
    return std::move(*result);
  }
}

/// `work()` of which nobody is told how far it is.
template <class Work>
auto unlocked(const Work& work) {
  return watched(py::none(), [&](const montage::Progress& /*progress*/) { return work(); });
}

}  // namespace montage_python

#endif  // MONTAGE_PYTHON_CALL_H
