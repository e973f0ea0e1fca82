// Objects whose __init__ never ran (Model.__new__(Model)) are no arguments: pybind11 by itself
// hands out memory that holds nothing. To be included wherever such an object is taken.
#pragma once

#include <pybind11/pybind11.h>

#include <typeinfo>

#include "fast_lp.h"
#include "follow/model/model.h"
#include "follow/tracking/tracker.h"
#include "follow/training/training.h"
#include "taking_turns.h"

namespace pybind11::detail {

template <class Object>
struct caster_of_made : type_caster_base<Object> {
  bool load(handle source, bool convert) {
    return isMade(source) && type_caster_base<Object>::load(source, convert);
  }

 private:
  static bool isMade(handle source) {
    if (!isinstance<Object>(source)) return true;  // what is said of it, the base decides
    auto* const held = reinterpret_cast<instance*>(source.ptr());
    return held->get_value_and_holder(get_type_info(typeid(Object))).holder_constructed();
  }
};

#define REMORA_ONLY_MADE(Object) \
  template <>                    \
  struct type_caster<Object> : caster_of_made<Object> {}
REMORA_ONLY_MADE(remora::Model);
REMORA_ONLY_MADE(remora::python::TakingTurns<remora::Tracker>);
REMORA_ONLY_MADE(remora::python::TakingTurns<FastShapeTracker>);
REMORA_ONLY_MADE(remora::PointOptions);
REMORA_ONLY_MADE(remora::Disagreement);
REMORA_ONLY_MADE(remora::TrainingResult);
#undef REMORA_ONLY_MADE

}  // namespace pybind11::detail
