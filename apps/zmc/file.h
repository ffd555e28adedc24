// Whole files in and out. Output appears under its name only when it is complete.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace zmc {

std::vector<uint8_t> ReadFile(const std::string& path);

// Writes under a temporary name in the same directory; Commit renames. Without Commit nothing is left. Throws Failure.
class OutputFile {
 public:
  explicit OutputFile(std::string path);
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  void Write(const void* data, size_t size);
  // Overwrites bytes written before, for lengths known only later.
  void Patch(int64_t position, const void* data, size_t size);
  int64_t position() const { return position_; }
  std::FILE* stream() { return stream_; }
  void Commit();

 private:
  std::string path_;
  std::string temporary_;
  std::FILE* stream_ = nullptr;
  int64_t position_ = 0;
};

}  // namespace zmc
