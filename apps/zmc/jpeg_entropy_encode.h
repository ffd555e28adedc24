// Huffman coding of scans: counting symbols, and writing them.
#pragma once

#include "jpeg_coefficients.h"
#include "jpeg_tables.h"
#include "jpeg_write.h"

namespace zmc::jpeg {

enum class ScanKind { kSequential, kDcFirst, kDcRefine, kAcFirst, kAcRefine };
ScanKind KindOf(const Frame& frame, const Scan& scan);

// Tables by number: two of each class do for every file.
struct ScanTables {
  std::array<HuffmanTable, 2> dc, ac;
};
inline const ScanTables kStandardTables = {kStandardDc, kStandardAc};

// Takes the MCUs of one scan in order.
class McuCoder {
 public:
  virtual ~McuCoder() = default;
  // The blocks in coding order, as ShapeOf's places say.
  void Take(const int16_t* const* blocks);
  virtual void Finish() = 0;

 protected:
  McuCoder(const Frame& frame, const Scan& scan, int restart_interval);
  virtual void Code(const int16_t* const* blocks) = 0;
  // Ends an interval of restarts; `number` is that of its marker.
  virtual void Restart(int number) = 0;

  const Scan scan_;
  const ScanShape shape_;
  const ScanKind kind_;
  const int restart_interval_;
  std::array<int16_t, 4> last_dc_{};  // of each scan component

 private:
  int64_t mcus_ = 0;
};

// Counts the symbols of a scan; Finish makes the best tables for them.
class ScanCounter final : public McuCoder {
 public:
  ScanCounter(const Frame& frame, const Scan& scan, int restart_interval);
  void Finish() override;
  const ScanTables& tables() const { return tables_; }

 private:
  void Code(const int16_t* const* blocks) override;
  void Restart(int number) override;
  void EndRun();

  using Counts = std::array<int, 256>;
  std::array<Counts, 2> dc_{};
  std::array<Counts, 2> ac_{};
  EncodeState state_;
  ScanTables tables_;
};

// Writes the entropy-coded data of a scan.
class ScanEncoder final : public McuCoder {
 public:
  ScanEncoder(const Frame& frame, const Scan& scan, int restart_interval, const ScanTables& tables, ByteSink& sink);
  void Finish() override;

 private:
  void Code(const int16_t* const* blocks) override;
  void Restart(int number) override;
  ZmcStatus CodeBlock(const ScanComponent& component, const int16_t* block, int16_t* last_dc);
  void Flush();
  void Drain();

  ByteSink& sink_;
  std::array<EncodeSpec, 2> dc_, ac_;
  EncodeState state_;
  std::vector<uint8_t> buffer_;
  int position_ = 0;
  int capacity_;
  int margin_;  // the most that one MCU can take
};

// Hands a scan's MCUs of a whole picture to a coder. Blocks that only pad to whole MCUs are given as flat ones, which
// cost least. Knows both coders: no call between here and the library is a virtual one.
template <class Coder>
void WalkScan(const Frame& frame, const Scan& scan, const Coefficients& coefficients, Coder& coder);

}  // namespace zmc::jpeg
