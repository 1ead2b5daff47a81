// SPDX-License-Identifier: MIT
#include "Call.h"

#include <chrono>
#include <utility>

namespace montage_python {

bool onMainThread() {
  const py::object main = py::module_::import("threading").attr("main_thread")();
  return main.attr("ident").cast<unsigned long>() == PyThread_get_thread_ident();
}

Watch::Watch(py::object callback) : callback_(std::move(callback)) {
  if (!callback_.is_none() && PyCallable_Check(callback_.ptr()) == 0) {
    throw py::type_error("progress: a function of (stage, done, total) or None is expected");
  }
}

montage::Progress Watch::progress() {
  return [this](const montage::ProgressReport& report) { return this->report(report); };
}

bool Watch::report(const montage::ProgressReport& report) {
  if (stopped_) {
    return false;
  }
  if (callback_.is_none()) {
    return true;
  }
  const py::gil_scoped_acquire lock;
  try {
    const py::object answer = callback_(montage::nameOf(report.stage), report.done, report.total);
    return answer.is_none() || answer.cast<bool>();
  } catch (py::error_already_set& error) {
    error.restore();
    keepError();
  } catch (const py::cast_error&) {
    PyErr_SetString(PyExc_TypeError, "progress: None, True or False is expected as its answer");
    keepError();
  }
  return false;
}

void Watch::handleSignals() {
  if (PyErr_CheckSignals() != 0) {
    keepError();
  }
}

/// Keeps the first of them.
void Watch::keepError() {
  py::error_already_set error;
  if (!error_) {
    error_.emplace(std::move(error));
  }
  stopped_ = true;
}

void Watch::raiseError() {
  if (error_) {
    py::error_already_set error = std::move(*error_);
    error_.reset();
    throw error;
  }
}

void waitFor(const std::future<void>& done, Watch& watch) {
  constexpr std::chrono::milliseconds kBetweenLooks(50);
  while (done.wait_for(kBetweenLooks) != std::future_status::ready) {
    const py::gil_scoped_acquire lock;
    watch.handleSignals();
  }
}

}  // namespace montage_python
