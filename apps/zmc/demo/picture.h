// The demonstration's own picture, and lettering.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zmc::demo {

struct Picture {
  int width = 0, height = 0;
  std::vector<uint8_t> rgb;
  Picture() = default;
  Picture(int w, int h) : width(w), height(h), rgb(static_cast<size_t>(w) * static_cast<size_t>(h) * 3) {}
  uint8_t* at(int x, int y) {
    return &rgb[(static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)) * 3];
  }
  const uint8_t* at(int x, int y) const { return const_cast<Picture*>(this)->at(x, y); }
};

// Photograph-like: a sky that shades over, hills and grass of fractal texture, a portrait in skin tones, a sign with
// text, and a sensor's noise over all. Always the same for a size.
Picture Generate(int width, int height);

// Capitals, digits and some signs, of 5 x 7 dots of `scale` pixels.
void DrawText(Picture& picture, int x, int y, int scale, const std::string& text, const uint8_t (&colour)[3]);

}  // namespace zmc::demo
