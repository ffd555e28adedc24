// The code-block coder's parts, against the standard's own figures where it has them.
#include "jpeg2k/t1/block_state.h"
#include "jpeg2k/t1/mq_decoder.h"
#include "jpeg2k/t1/mq_encoder.h"
#include "jpeg2k/t1/raw_reader.h"
#include "support/testing.h"

namespace zmcj::testing {
namespace {

using namespace zmcj::t1;

// The test sequence of ITU-T T.88, H.2, for the coder that both standards share: 256 bits in one context that starts in
// state 0, and the bytes they become, without the marker FF AC at their end.
constexpr uint8_t kBits[] = {0x00, 0x02, 0x00, 0x51, 0x00, 0x00, 0x00, 0xC0, 0x03, 0x52, 0x87,
                             0x2A, 0xAA, 0xAA, 0xAA, 0xAA, 0x82, 0xC0, 0x20, 0x00, 0xFC, 0xD7,
                             0x9E, 0xF6, 0xBF, 0x7F, 0xED, 0x90, 0x4F, 0x46, 0xA3, 0xBF};
const std::vector<uint8_t> kCode = {0x84, 0xC7, 0x3B, 0xFC, 0xE1, 0xA1, 0x43, 0x04, 0x02, 0x20, 0x00, 0x00, 0x41, 0x0D,
                                    0xBB, 0x86, 0xF4, 0x31, 0x7F, 0xFF, 0x88, 0xFF, 0x37, 0x47, 0x1A, 0xDB, 0x6A, 0xDF};
constexpr int kOneContext = kSignCoding;  // any that starts in state 0

int BitAt(int i) { return kBits[i / 8] >> (7 - i % 8) & 1; }

TEST(MqCoder, EncodesTheStandardsSequence) {
  std::vector<uint8_t> decisions(257);
  for (int i = 0; i < 256; ++i) decisions[static_cast<size_t>(i)] = static_cast<uint8_t>(2 * kOneContext + BitAt(i));
  for (const Level level : Levels()) {
    AtLevel at(level);
    MqEncoder encoder;
    MqContexts contexts;
    contexts.Reset();
    std::vector<uint8_t> out(1000);
    uint8_t* end = kernels->encode(encoder, contexts, decisions.data(), 256, out.data());
    end = encoder.Terminate(Termination::kFlush, end);
    out.resize(static_cast<size_t>(end - out.data()));
    EXPECT_EQ(out, kCode) << LevelName(level);
  }
}

TEST(MqCoder, DecodesTheStandardsSequence) {
  MqDecoder decoder;
  decoder.Open(kCode.data(), static_cast<int64_t>(kCode.size()));
  for (int i = 0; i < 256; ++i) ASSERT_EQ(decoder.Decode(kOneContext), BitAt(i)) << i;
}

TEST(RawCoder, StuffsPadsAndChecks) {
  const auto bit = [](int i) { return i < 8 || i % 3 == 0; };
  for (int n = 1; n < 40; ++n) {
    RawPacker packer;
    std::vector<uint8_t> out(16);
    uint8_t* end = out.data();
    for (int i = 0; i < n; ++i) end = packer.Put(bit(i), end);
    end = packer.Terminate(end);
    out.resize(static_cast<size_t>(end - out.data()));
    // A byte of ones, then one with a stuffed 0, then plain ones.
    ASSERT_EQ(end - out.data(), n <= 8 ? (n + 7) / 8 : 1 + (n - 8 + 1 + 7) / 8);
    RawReader reader(out.data(), end - out.data());
    for (int i = 0; i < n; ++i) ASSERT_EQ(reader.Bit(), bit(i));
    EXPECT_FALSE(reader.EndFault()) << n;
    RawReader short_of_data(out.data(), end - out.data() - 1);
    for (int i = 0; i < n; ++i) static_cast<void>(short_of_data.Bit());
    EXPECT_TRUE(short_of_data.EndFault()) << n;
  }
}

// The fast layout at any address stays inside the buffer whose size the query tells.
TEST(BlockState, FitsTheQueriedBuffer) {
  for (int width = 1; width <= 1200; ++width) {
    for (int height = 1; height <= 80; ++height)
      ASSERT_LE(BlockState::Bytes({width, height}), WorkBytes(width, height)) << width << "x" << height;
  }
}

}  // namespace
}  // namespace zmcj::testing
