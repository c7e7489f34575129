// What 64-bit ARM does better. Part of vector.h.
#pragma once

#include <arm_neon.h>

#include "pixels/vector.h"

namespace rastel::pixels {
namespace {

template <>
inline Vector<16> Shuffle(Vector<16> bytes, Vector<16> control) {
  return (Vector<16>)vqtbl1q_u8((uint8x16_t)bytes, (uint8x16_t)control);
}

}  // namespace
}  // namespace rastel::pixels
