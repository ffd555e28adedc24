// Rate control: which coding passes go into which quality layer, by rate-distortion slope (post-compression
// rate-distortion optimisation; ISO/IEC 15444-1, J.14).
#pragma once

#include <span>
#include <vector>

#include "j2k_block_encoder.h"

namespace zmc::j2k {

class RateControl {
 public:
  // The blocks outlive the rate control.
  explicit RateControl(std::span<EncodedBlock> blocks);

  // Sets the end of `layer` in every block so that the layers up to it have at most `bytes` of codewords together.
  void FillToLength(size_t layer, int64_t bytes);
  // ... so that they remove at least `distortion` in all, or everything there is.
  void FillToDistortion(size_t layer, double distortion);

  int64_t TotalLength() const;
  double TotalDistortion() const;

 private:
  // A place on the upper convex hull of distortion over length: cut anywhere else, a block would pay more for less.
  struct Cut {
    int passes;
    uint32_t length;
    double distortion;
    double slope;  // of the hull's edge that ends here
  };
  static std::vector<Cut> Hull(const EncodedBlock& block);
  // The block's cut when every edge at least as steep as `slope` is taken; null: nothing.
  static const Cut* Choose(const std::vector<Cut>& hull, double slope);
  // The least slope with which `fits` still holds.
  template <typename Fits>
  double Search(const Fits& fits) const;
  void Assign(size_t layer, double slope);

  std::span<EncodedBlock> blocks_;
  std::vector<std::vector<Cut>> hulls_;
};

}  // namespace zmc::j2k
