#include "picture.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace zmc::demo {
namespace {

struct Colour {
  float r, g, b;
};
Colour operator*(Colour c, float f) { return {c.r * f, c.g * f, c.b * f}; }
Colour Mix(Colour a, Colour b, float t) {
  t = std::clamp(t, 0.0f, 1.0f);
  return {a.r + (b.r - a.r) * t, a.g + (b.g - a.g) * t, a.b + (b.b - a.b) * t};
}
float Smooth(float from, float to, float x) {
  const float t = std::clamp((x - from) / (to - from), 0.0f, 1.0f);
  return t * t * (3 - 2 * t);
}

// A value in 0..1 for each point of the integer grid.
float Hash(int x, int y) {
  uint32_t h = static_cast<uint32_t>(x) * 0x9E3779B1u ^ static_cast<uint32_t>(y) * 0x85EBCA77u;
  h = (h ^ (h >> 15)) * 0x2C1B3C6Du;
  h = (h ^ (h >> 12)) * 0x297A2D39u;
  return static_cast<float>((h ^ (h >> 15)) >> 8) / 16777216.0f;
}

float ValueNoise(float x, float y) {
  const float fx = std::floor(x), fy = std::floor(y);
  const int ix = static_cast<int>(fx), iy = static_cast<int>(fy);
  const float tx = Smooth(0, 1, x - fx), ty = Smooth(0, 1, y - fy);
  const float top = Hash(ix, iy) + (Hash(ix + 1, iy) - Hash(ix, iy)) * tx;
  const float bottom = Hash(ix, iy + 1) + (Hash(ix + 1, iy + 1) - Hash(ix, iy + 1)) * tx;
  return top + (bottom - top) * ty;
}

// Octaves of noise with halving weights: the spectrum of natural textures.
float Fractal(float x, float y, int octaves) {
  float sum = 0, weight = 0.5f;
  for (int i = 0; i < octaves; ++i, x *= 2.03f, y *= 2.03f, weight *= 0.5f) sum += weight * ValueNoise(x, y);
  return sum;
}

// u runs from 0 to the aspect ratio, v from 0 (top) to 1.
Colour Landscape(float u, float v) {
  const Colour zenith = {60, 110, 190}, haze = {225, 215, 200};
  Colour colour = Mix(zenith, haze, v / 0.55f);
  const float cloud = Fractal(u * 3, v * 7, 6);
  colour = Mix(colour, {250, 248, 245}, Smooth(0.5f, 0.75f, cloud) * (1 - v));
  const float sun = std::hypot(u - 1.15f, v - 0.18f);
  colour = Mix(colour, {255, 244, 210}, std::exp(-sun * sun * 60));
  for (int ridge = 0; ridge < 3; ++ridge) {
    const float depth = static_cast<float>(ridge);
    const float top = 0.42f + 0.07f * depth - 0.16f * (Fractal(u * (2 + depth) + 9 * depth, depth, 6) - 0.4f);
    if (v < top) continue;
    const float rock = Fractal(u * 30 + depth * 5, v * 40, 5);
    const Colour stone = Mix({70, 78, 92}, {150, 140, 125}, rock);
    colour = Mix(Mix(haze, stone, 0.45f + 0.25f * depth), {38, 70, 40}, 0.25f * depth);
  }
  const float meadow = 0.68f + 0.02f * std::sin(u * 5);
  if (v > meadow) {
    const float near = (v - meadow) / (1 - meadow);
    const float blades = Fractal(u * 160 / (0.3f + near), v * 50, 5);
    colour = Mix({40, 66, 22}, {150, 165, 70}, blades * 1.1f);
    if (Hash(static_cast<int>(u * 220), static_cast<int>(v * 220)) > 0.985f) colour = {215, 60, 70};
  }
  return colour;
}

// A head and shoulders about (cu, cv); returns how much of the background it covers.
float Portrait(float u, float v, float cu, float cv, Colour& colour) {
  const float x = (u - cu) / 0.14f, y = (v - cv) / 0.19f;
  const float face = std::hypot(x, y);
  const float shoulders = std::hypot(x / 1.9f, (y - 2.3f) / 1.35f);
  float cover = Smooth(1.02f, 0.98f, shoulders);
  const float weave = 0.8f + 0.2f * std::sin(x * 60) * std::sin(y * 60);
  colour = Colour{120, 40, 52} * (weave * (1.1f - 0.25f * std::abs(x)));
  const float hair = std::hypot(x / 1.18f, (y + 0.2f) / 1.15f);
  if (hair < 1 && y < 0.6f) {
    const float strand = Fractal(x * 30 + std::sin(y * 3), y * 3, 4);
    colour = Mix({28, 18, 14}, {120, 82, 52}, strand);
    cover = std::max(cover, Smooth(1.0f, 0.97f, hair));
  }
  const bool neck = std::abs(x) < 0.45f && y > 0.5f && y < 1.35f;
  if (face < 1 || neck) {
    const float light = 0.72f + 0.3f * Smooth(1.1f, -0.9f, x + 0.4f * y);
    const float pores = 0.97f + 0.06f * Fractal(x * 45, y * 45, 3);
    Colour skin = Colour{228, 178, 148} * (light * pores);
    skin = Mix(skin, {214, 120, 104},
               0.35f * std::exp(-8 * ((std::abs(x) - 0.45f) * (std::abs(x) - 0.45f) + (y - 0.3f) * (y - 0.3f))));
    const float eye = std::hypot((std::abs(x) - 0.36f) / 0.17f, (y + 0.12f) / 0.08f);
    if (eye < 1)
      skin = std::hypot(std::abs(x) - 0.36f, y + 0.12f) < 0.075f ? Colour{52, 66, 70} : Colour{240, 236, 230};
    if (std::abs(y + 0.36f - 0.2f * (std::abs(x) - 0.36f)) < 0.035f && std::abs(std::abs(x) - 0.37f) < 0.2f)
      skin = {60, 40, 30};
    if (std::abs(x) < 0.3f && std::abs(y - 0.6f + 0.5f * x * x) < 0.05f) skin = {178, 74, 78};
    skin = Mix(skin, skin * 0.75f, Smooth(0.12f, 0.0f, std::hypot(x / 1.2f, y - 0.22f)));
    const float inside = neck ? 1.0f : Smooth(1.0f, 0.97f, face);
    colour = Mix(colour, skin, face < 1 ? inside : 1.0f);
    if (neck && face >= 1) colour = colour * 0.8f;
    cover = std::max(cover, inside);
  }
  return cover;
}

// Rows of five dots from the top, the left one in bit 4.
struct Glyph {
  char character;
  std::array<uint8_t, 7> rows;
};
constexpr Glyph kGlyphs[] = {
    {'A', {14, 17, 17, 31, 17, 17, 17}}, {'B', {30, 17, 17, 30, 17, 17, 30}}, {'C', {14, 17, 16, 16, 16, 17, 14}},
    {'D', {30, 17, 17, 17, 17, 17, 30}}, {'E', {31, 16, 16, 30, 16, 16, 31}}, {'F', {31, 16, 16, 30, 16, 16, 16}},
    {'G', {14, 17, 16, 23, 17, 17, 15}}, {'H', {17, 17, 17, 31, 17, 17, 17}}, {'I', {14, 4, 4, 4, 4, 4, 14}},
    {'J', {7, 2, 2, 2, 2, 18, 12}},      {'K', {17, 18, 20, 24, 20, 18, 17}}, {'L', {16, 16, 16, 16, 16, 16, 31}},
    {'M', {17, 27, 21, 21, 17, 17, 17}}, {'N', {17, 25, 21, 19, 17, 17, 17}}, {'O', {14, 17, 17, 17, 17, 17, 14}},
    {'P', {30, 17, 17, 30, 16, 16, 16}}, {'Q', {14, 17, 17, 17, 21, 18, 13}}, {'R', {30, 17, 17, 30, 20, 18, 17}},
    {'S', {15, 16, 16, 14, 1, 1, 30}},   {'T', {31, 4, 4, 4, 4, 4, 4}},       {'U', {17, 17, 17, 17, 17, 17, 14}},
    {'V', {17, 17, 17, 17, 17, 10, 4}},  {'W', {17, 17, 17, 21, 21, 27, 17}}, {'X', {17, 17, 10, 4, 10, 17, 17}},
    {'Y', {17, 17, 10, 4, 4, 4, 4}},     {'Z', {31, 1, 2, 4, 8, 16, 31}},     {'0', {14, 17, 19, 21, 25, 17, 14}},
    {'1', {4, 12, 4, 4, 4, 4, 14}},      {'2', {14, 17, 1, 6, 8, 16, 31}},    {'3', {30, 1, 1, 14, 1, 1, 30}},
    {'4', {2, 6, 10, 18, 31, 2, 2}},     {'5', {31, 16, 30, 1, 1, 17, 14}},   {'6', {14, 16, 30, 17, 17, 17, 14}},
    {'7', {31, 1, 2, 4, 8, 8, 8}},       {'8', {14, 17, 17, 14, 17, 17, 14}}, {'9', {14, 17, 17, 15, 1, 1, 14}},
    {'.', {0, 0, 0, 0, 0, 12, 12}},      {':', {0, 12, 12, 0, 12, 12, 0}},    {',', {0, 0, 0, 0, 12, 4, 8}},
    {'-', {0, 0, 0, 31, 0, 0, 0}},       {'/', {1, 2, 2, 4, 8, 8, 16}},
};

uint8_t ToByte(float value) { return static_cast<uint8_t>(std::clamp(value + 0.5f, 0.0f, 255.0f)); }

}  // namespace

void DrawText(Picture& picture, int x, int y, int scale, const std::string& text, const uint8_t (&colour)[3]) {
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = static_cast<char>(std::toupper(static_cast<unsigned char>(text[i])));
    const auto glyph = std::ranges::find(kGlyphs, c, &Glyph::character);
    if (glyph == std::end(kGlyphs)) continue;
    for (int dot = 0; dot < 35 * scale * scale; ++dot) {
      const int dx = dot % (5 * scale), dy = dot / (5 * scale);
      if (!((glyph->rows[static_cast<size_t>(dy / scale)] >> (4 - dx / scale)) & 1)) continue;
      const int px = x + static_cast<int>(i) * 6 * scale + dx, py = y + dy;
      if (px >= 0 && px < picture.width && py >= 0 && py < picture.height) std::copy_n(colour, 3, picture.at(px, py));
    }
  }
}

Picture Generate(int width, int height) {
  Picture picture(width, height);
  const float unit = 1.0f / static_cast<float>(height);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const float u = static_cast<float>(x) * unit, v = static_cast<float>(y) * unit;
      Colour portrait;
      const float cover = Portrait(u, v, 0.42f, 0.5f, portrait);
      const Colour colour = cover > 0 ? Mix(Landscape(u, v), portrait, cover) : Landscape(u, v);
      uint8_t* pixel = picture.at(x, y);
      pixel[0] = ToByte(colour.r);
      pixel[1] = ToByte(colour.g);
      pixel[2] = ToByte(colour.b);
    }
  }
  // A sign with sharp edges, then the sensor's noise over everything.
  const int left = static_cast<int>(0.82f * static_cast<float>(height)), top = height * 11 / 20;
  const int scale = std::max(1, height / 340), small = std::max(1, scale / 2);
  const int sign_width = 6 * std::max(21 * scale, 33 * small), sign_height = 36 * scale;
  for (int y = top; y < std::min(height, top + sign_height); ++y) {
    for (int x = left; x < std::min(width, left + sign_width); ++x) {
      std::copy_n(std::array<uint8_t, 3>{242, 236, 215}.begin(), 3, picture.at(x, y));
    }
  }
  DrawText(picture, left + 4 * scale, top + 4 * scale, scale, "THE QUICK BROWN FOX", {30, 30, 34});
  DrawText(picture, left + 4 * scale, top + 14 * scale, scale, "JUMPS OVER 13 DOGS", {176, 24, 30});
  DrawText(picture, left + 4 * scale, top + 24 * scale, small, "SMALL PRINT: 0123456789, A-Z/Q.", {20, 50, 140});
  for (size_t i = 0; i < picture.rgb.size(); ++i) {
    const int at = static_cast<int>(i);
    const float noise = Hash(at, 1) + Hash(at, 2) + Hash(at, 3) - 1.5f;
    picture.rgb[i] = ToByte(static_cast<float>(picture.rgb[i]) + 5 * noise);
  }
  return picture;
}

}  // namespace zmc::demo
