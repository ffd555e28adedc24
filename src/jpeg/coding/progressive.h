// What the progressive coders share: the parameters of a scan.
#pragma once

#include "core/check.h"

namespace zmcj {

// Zigzag positions ss to se of the blocks, values without their lowest al bits.
struct Band {
  int ss;
  int se;
  int al;
};

constexpr ZmcStatus PointTransform(int al) { return Require(al >= 0 && al <= 13, zmcStatusBadArgument); }

constexpr ZmcStatus AcBand(const Band& band) {
  return FirstFailure(Require(band.ss >= 1 && band.ss <= 63, zmcStatusBadArgument),
                      Require(band.se >= band.ss && band.se <= 63, zmcStatusBadArgument), PointTransform(band.al));
}

}  // namespace zmcj
