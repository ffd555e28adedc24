// Takes a fuzzer's input apart into tables, parameters and memory of exact sizes.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <numeric>

#include "zmcj.h"

namespace fuzz {

// n elements on the heap and nothing behind them: a sanitizer sees every access outside.
template <class T>
class Exact {
 public:
  explicit Exact(size_t n) : data_(new T[n]()), size_(n) {}
  Exact(const T* from, size_t n) : Exact(n) { std::copy(from, from + n, data_.get()); }
  T* data() const { return data_.get(); }
  size_t size() const { return size_; }
  void Append(std::initializer_list<T> more) {
    Exact longer(size_ + more.size());
    std::copy(data(), data() + size_, longer.data());
    std::copy(more.begin(), more.end(), longer.data() + size_);
    *this = std::move(longer);
  }

 private:
  std::unique_ptr<T[]> data_;
  size_t size_;
};

class Input {
 public:
  Input(const uint8_t* data, size_t size) : data_(data), left_(size) {}
  int Byte() {
    if (left_ == 0) return 0;
    --left_;
    return *data_++;
  }
  Exact<uint8_t> Rest() const { return Exact<uint8_t>(data_, left_); }

 private:
  const uint8_t* data_;
  size_t left_;
};

// An opaque record in memory of its exact size.
template <class Record>
class State {
 public:
  explicit State(size_t n) : memory_(n) {}
  Record* get() const { return reinterpret_cast<Record*>(memory_.data()); }

 private:
  Exact<uint8_t> memory_;
};

// A decoder's table from 16 counts and its symbols, overfull ones included; an empty one where there are too many.
class DecodeSpec : public State<ZmciDecodeHuffmanSpec_JPEG_8u> {
 public:
  explicit DecodeSpec(Input& input) : State(1644) {
    uint8_t bits[16], values[256] = {};
    for (uint8_t& n : bits) n = static_cast<uint8_t>(input.Byte());
    const int symbols = std::accumulate(bits, bits + 16, 0);
    if (symbols > 256) std::fill(bits, bits + 16, uint8_t{0});
    for (int i = 0; i < symbols && symbols <= 256; ++i) values[i] = static_cast<uint8_t>(input.Byte());
    zmciDecodeHuffmanSpecInit_JPEG_8u(bits, values, get());
  }
};

}  // namespace fuzz
