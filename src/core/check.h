// Argument checks. Each yields a status, and FirstFailure picks the first that failed, so that an exported function
// shows its contract in one expression: FirstFailure(NotNull(src, dst), Steps(src_step, dst_step), Size(roi)).
//
// Checks that read through a pointer must not share a FirstFailure with the check of that pointer: all are evaluated.
#pragma once

#include "zmcj.h"

namespace zmcj {

constexpr ZmcStatus Require(bool condition, ZmcStatus otherwise) { return condition ? zmcStatusOk : otherwise; }

template <class... Pointers>
constexpr ZmcStatus NotNull(const Pointers*... pointers) {
  return Require(((pointers != nullptr) && ...), zmcStatusNullPointer);
}

template <class... Ints>
constexpr ZmcStatus Steps(Ints... steps) {
  return Require(((steps >= 1) && ...), zmcStatusBadStep);
}

constexpr ZmcStatus Size(ZmciSize size) { return Require(size.width >= 1 && size.height >= 1, zmcStatusBadSize); }

// A count of bytes or samples that must be at least one.
constexpr ZmcStatus Length(int length) { return Require(length >= 1, zmcStatusBadSize); }

template <class... Statuses>
constexpr ZmcStatus FirstFailure(Statuses... statuses) {
  ZmcStatus first = zmcStatusOk;
  static_cast<void>((((first = statuses) != zmcStatusOk) || ...));
  return first;
}

// Every one of the planes that an array of pointers names; the array itself has been checked.
template <class Pointer>
constexpr ZmcStatus PlanesNotNull(Pointer const* planes, int count) {
  for (int i = 0; i < count; ++i) {
    if (planes[i] == nullptr) return zmcStatusNullPointer;
  }
  return zmcStatusOk;
}

}  // namespace zmcj
