#include "file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "failure.h"

namespace zmc {
namespace {

[[noreturn]] void FailSystem(const std::string& path) { throw Failure(path + ": " + std::strerror(errno)); }

// A device or a pipe is written to as it is: a file with its name would take its place.
bool IsSpecial(const std::string& path) {
  struct stat status;
  return ::stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode);
}

}  // namespace

std::vector<uint8_t> ReadFile(const std::string& path) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), std::fclose);
  if (!file) FailSystem(path);
  struct stat status;
  std::vector<uint8_t> bytes;
  if (::fstat(::fileno(file.get()), &status) == 0 && S_ISREG(status.st_mode)) {
    bytes.reserve(static_cast<size_t>(status.st_size));
  }
  constexpr size_t kPiece = size_t{1} << 18;
  for (size_t size = 0;;) {
    bytes.resize(size + kPiece);
    const size_t got = std::fread(bytes.data() + size, 1, kPiece, file.get());
    size += got;
    bytes.resize(size);
    if (got < kPiece) break;
  }
  if (std::ferror(file.get())) FailSystem(path);
  return bytes;
}

OutputFile::OutputFile(std::string path) : path_(std::move(path)) {
  const bool special = IsSpecial(path_);
  if (!special) temporary_ = path_ + ".part-" + std::to_string(::getpid());
  const std::string& name = special ? path_ : temporary_;
  const int flags = O_WRONLY | O_CLOEXEC | (special ? 0 : O_CREAT | O_EXCL);
  const int descriptor = ::open(name.c_str(), flags, 0666);
  if (descriptor < 0) FailSystem(path_);
  stream_ = ::fdopen(descriptor, "wb");
  if (stream_ == nullptr) FailSystem(path_);
}

OutputFile::~OutputFile() {
  if (stream_ != nullptr) std::fclose(stream_);
  if (!temporary_.empty()) ::unlink(temporary_.c_str());
}

void OutputFile::Write(const void* data, size_t size) {
  if (size == 0) return;  // an empty vector's data may be null, which fwrite does not take
  if (std::fwrite(data, 1, size, stream_) != size) FailSystem(path_);
  position_ += static_cast<int64_t>(size);
}

void OutputFile::Patch(int64_t position, const void* data, size_t size) {
  if (::fseeko(stream_, position, SEEK_SET) != 0 || std::fwrite(data, 1, size, stream_) != size ||
      ::fseeko(stream_, position_, SEEK_SET) != 0) {
    FailSystem(path_);
  }
}

void OutputFile::Commit() {
  const bool written = std::fflush(stream_) == 0 && std::ferror(stream_) == 0;
  if (!written) FailSystem(path_);
  const bool closed = std::fclose(stream_) == 0;
  stream_ = nullptr;
  if (!closed) FailSystem(path_);
  if (temporary_.empty()) return;
  if (std::rename(temporary_.c_str(), path_.c_str()) != 0) FailSystem(path_);
  temporary_.clear();
}

}  // namespace zmc
