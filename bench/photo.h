// A picture with the statistics of a photograph: smooth light, texture whose strength falls with frequency, hard edges
// between objects, and the grain of a sensor. The same bytes on every run.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

namespace zmcj::bench {

struct Photo {
  int width, height;
  std::vector<uint8_t> rgb;  // three bytes a pixel, no padding
  const uint8_t* at(int x, int y) const {
    return rgb.data() + 3 * (static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x));
  }
};

namespace photo {

inline uint32_t Hash(uint32_t x, uint32_t y, uint32_t seed) {
  uint32_t h = x * 0x9E3779B1u ^ (y * 0x85EBCA77u + seed * 0xC2B2AE3Du);
  h = (h ^ (h >> 15)) * 0x2C1B3C6Du;
  h = (h ^ (h >> 12)) * 0x297A2D39u;
  return h ^ (h >> 15);
}
inline float Uniform(uint32_t x, uint32_t y, uint32_t seed) {
  return static_cast<float>(Hash(x, y, seed) >> 8) / 8388608.0f - 1.0f;
}

// Values at the corners of a grid, joined smoothly.
inline float Noise(float x, float y, uint32_t seed) {
  const float fx = std::floor(x), fy = std::floor(y);
  const auto ix = static_cast<uint32_t>(static_cast<int>(fx)), iy = static_cast<uint32_t>(static_cast<int>(fy));
  const auto smooth = [](float t) { return t * t * (3 - 2 * t); };
  const float u = smooth(x - fx), v = smooth(y - fy);
  const float top = std::lerp(Uniform(ix, iy, seed), Uniform(ix + 1, iy, seed), u);
  const float bottom = std::lerp(Uniform(ix, iy + 1, seed), Uniform(ix + 1, iy + 1, seed), u);
  return std::lerp(top, bottom, v);
}

// Octaves from a cell of `cell` pixels down to one of two pixels, each `persistence` as strong as the one before.
inline float Texture(float x, float y, float cell, float persistence, uint32_t seed) {
  float sum = 0, strength = 1;
  for (; cell >= 2; cell /= 2, strength *= persistence) sum += strength * Noise(x / cell, y / cell, seed++);
  return sum;
}

struct Object {
  float x, y, radius, rgb[3], texture;
};

}  // namespace photo

inline Photo MakePhoto(int width, int height) {
  using namespace photo;
  std::vector<Object> objects;
  for (uint32_t i = 0; i < 40; ++i) {
    const auto random = [i](uint32_t k) { return Uniform(i, k, 99) * 0.5f + 0.5f; };
    Object o{random(0) * static_cast<float>(width), random(1) * static_cast<float>(height), 0, {}, 8 + random(5) * 40};
    o.radius = (0.02f + 0.12f * random(6) * random(7)) * static_cast<float>(width);
    const float light = 40 + 170 * random(2);
    for (uint32_t c = 0; c < 3; ++c) o.rgb[c] = light + 45 * (random(8 + c) - 0.5f);
    objects.push_back(o);
  }
  Photo picture{width, height, {}};
  picture.rgb.reserve(static_cast<size_t>(width) * static_cast<size_t>(height) * 3);
  for (int iy = 0; iy < height; ++iy) {
    const auto y = static_cast<float>(iy);
    for (int ix = 0; ix < width; ++ix) {
      const auto x = static_cast<float>(ix);
      const float sky = y / static_cast<float>(height);
      float rgb[3] = {120 + 60 * sky, 150 + 30 * sky, 205 - 90 * sky}, strength = 14;
      // The outline of an object wavers a little, as leaves and hair do.
      const float waver = 1 + 0.15f * Noise(x / 24, y / 24, 7);
      const auto inside = [&](const Object& o) {
        const float dx = x - o.x, dy = y - o.y;
        return dx * dx + dy * dy < o.radius * o.radius * waver;
      };
      const Object* last = nullptr;
      for (const Object& o : objects) {
        if (inside(o)) last = &o;
      }
      if (last != nullptr) {
        const float shade = 1 - 0.35f * (x - last->x + y - last->y) / last->radius * 0.5f;
        for (int c = 0; c < 3; ++c) rgb[c] = last->rgb[c] * shade;
        strength = last->texture;
      }
      const float luma = strength * Texture(x, y, 64, 0.8f, 1000);
      const float warm = 0.25f * strength * Noise(x / 20, y / 20, 500);
      for (uint32_t c = 0; c < 3; ++c) {
        const float grain = 4.0f * Uniform(static_cast<uint32_t>(3 * ix) + c, static_cast<uint32_t>(iy), 31337);
        const float v = rgb[c] + luma + warm * (1.0f - static_cast<float>(c)) + grain;
        picture.rgb.push_back(static_cast<uint8_t>(std::lround(std::clamp(v, 0.0f, 255.0f))));
      }
    }
  }
  return picture;
}

}  // namespace zmcj::bench
