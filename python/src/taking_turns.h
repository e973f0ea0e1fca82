// Objects that are used by one thread at a time, for callers who need not know.
#pragma once

#include <pybind11/pybind11.h>

#include <memory>
#include <mutex>
#include <utility>

#include "follow/error.h"

namespace remora::python {

// Holds an object until it is closed. Threads take turns with it, and other threads of the
// interpreter go on meanwhile.
template <class Object>
class TakingTurns {
 public:
  explicit TakingTurns(std::unique_ptr<Object> object) : object_(std::move(object)) {}

  // What `use` returns; it must not touch Python.
  template <class Use>
  auto run(const Use& use) {
    const pybind11::gil_scoped_release others_go_on;
    const std::lock_guard<std::mutex> my_turn(mutex_);
    if (object_ == nullptr) throw Error("the tracker is closed");
    return use(*object_);
  }

  void close() {
    const pybind11::gil_scoped_release others_go_on;
    const std::lock_guard<std::mutex> my_turn(mutex_);
    object_.reset();
  }

 private:
  std::mutex mutex_;
  std::unique_ptr<Object> object_;
};

}  // namespace remora::python
