#include "core/memory.h"
#include "support/testing.h"

namespace zmcj::testing {
namespace {

TEST(Memory, AlignedBlocksAreUsableAndReleased) {
  EXPECT_EQ(AlignedAllocate(0), nullptr);
  EXPECT_EQ(AlignedAllocate(-5), nullptr);
  EXPECT_EQ(AlignedAllocate(INT64_MAX), nullptr);
  for (int64_t n = 1; n < 200; ++n) {
    void* block = AlignedAllocate(n);
    ASSERT_NE(block, nullptr);
    ASSERT_EQ(reinterpret_cast<uintptr_t>(block) % 32, 0u);
    const auto lead = static_cast<char*>(block) - static_cast<char**>(block)[-1];
    ASSERT_GE(lead, static_cast<ptrdiff_t>(sizeof(void*)));
    ASSERT_LE(lead, 31 + static_cast<ptrdiff_t>(sizeof(void*)));
    ASSERT_EQ(ZeroFill(block, n), zmcStatusOk);
    AlignedFree(block);
  }
  AlignedFree(nullptr);
}

TEST(Memory, ZeroFillsExactlyTheBytesNamed) {
  EXPECT_EQ(ZeroFill(nullptr, 0), zmcStatusNullPointer);
  char byte = 7;
  EXPECT_EQ(ZeroFill(&byte, 0), zmcStatusBadSize);
  EXPECT_EQ(byte, 7);
  for (const size_t n : {size_t{1}, size_t{15}, size_t{100}, size_t{512 * 1024}, size_t{512 * 1024 + 37}}) {
    std::vector<unsigned char> memory(n + 64, 0x5A);
    for (size_t offset = 0; offset < 17; offset += 4) {
      std::fill(memory.begin(), memory.end(), 0x5A);
      ASSERT_EQ(ZeroFill(memory.data() + 16 + offset, static_cast<int64_t>(n)), zmcStatusOk);
      for (size_t i = 0; i < memory.size(); ++i) {
        ASSERT_EQ(memory[i], i >= 16 + offset && i < 16 + offset + n ? 0 : 0x5A) << i;
      }
    }
  }
}

TEST(Version, IsOneConstantRecord) {
  const ZmcLibraryVersion* version = zmcjGetLibVersion();
  EXPECT_EQ(version, zmcjGetLibVersion());
  EXPECT_EQ(version->major, 4);
  EXPECT_EQ(version->minor, 0);
  EXPECT_EQ(version->majorBuild, 19);
  EXPECT_EQ(version->build, 55);
  EXPECT_EQ(std::memcmp(version->targetCpu, "t7\0\0", 4), 0);
  EXPECT_STREQ(version->Name, "zmcjt7.dll");
  EXPECT_STREQ(version->Version, "v4.0");
  EXPECT_STREQ(version->BuildDate, "Oct 15 2003");
}

TEST(Levels, EveryFamilyTakesTheLevelAskedForOrTheNextWeaker) {
  ASSERT_NE(FamilyBase::First(), nullptr);
  for (const Level level : Levels()) {
    AtLevel at(level);
    for (FamilyBase* f = FamilyBase::First(); f != nullptr; f = f->next())
      EXPECT_LE(f->active_level(), level) << f->name();
  }
}

}  // namespace
}  // namespace zmcj::testing
