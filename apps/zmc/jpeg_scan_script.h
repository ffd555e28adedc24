// Which scans a file is made of: the usual ones, and those that a script asks for.
#pragma once

#include <string>

#include "jpeg_format.h"

namespace zmc::jpeg {

// All coefficients of all components.
Scan WholeScan(const Frame& frame, Colour colour);

// Sequential: one scan if an MCU may hold that many blocks, else one for each component. Progressive (which the frame's
// process tells): ten scans for YCbCr, six for grey; for others, as many for each component as for grey.
std::vector<Scan> UsualScans(const Frame& frame, Colour colour);

// The Huffman tables' number that a component uses: 0, or 1 for chroma.
int TableNumber(Colour colour, int component);

// A script: entries "components: Ss-Se, Ah, Al;", components counted from 0 and separated by commas or spaces. Without
// what follows the colon an entry codes all coefficients at once. A # starts a comment. Throws Failure for a script
// that is no valid sequence of scans for the frame.
struct Script {
  std::vector<Scan> scans;
  bool progressive = false;
};
Script ParseScript(const std::string& text, const Frame& frame, Colour colour);

}  // namespace zmc::jpeg
