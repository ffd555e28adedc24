// Both baseline block decoders on any bytes with any tables. The data are copied to a block of their exact size, so
// that a read outside is found. The levels below the best are run as well.
#include "fuzz_input.h"

#include "core/level.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace zmcj;
  fuzz::Input input(data, size);
  const Level levels[] = {Level::kScalar, Level::kSse4, BestLevel()};
  UseLevel(levels[input.Byte() % 3]);
  fuzz::DecodeSpec dc(input), ac(input);
  const bool direct = (input.Byte() & 1) != 0;
  fuzz::Exact<uint8_t> src = input.Rest();
  if (direct) src.Append({0xFF, 0xD9});
  fuzz::State<ZmciDecodeHuffmanState_JPEG_8u> state(16);
  zmciDecodeHuffmanStateInit_JPEG_8u(state.get());
  int position = 0, marker = 0, count = 0;
  uint32_t bits = 0;
  int16_t last_dc = 0;
  for (int block = 0; block < 64; ++block) {
    fuzz::Exact<int16_t> dst(64);
    const ZmcStatus status =
        direct ? zmciDecodeHuffman8x8_Direct_JPEG_1u16s_C1(src.data(), &position, dst.data(), &last_dc, &marker, &bits,
                                                           &count, dc.get(), ac.get())
               : zmciDecodeHuffman8x8_JPEG_1u16s_C1(src.data(), static_cast<int>(src.size()), &position, dst.data(),
                                                    &last_dc, &marker, dc.get(), ac.get(), state.get());
    if (status < 0) break;
  }
  return 0;
}
