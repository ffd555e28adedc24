// The progressive decoders on any bytes, with any table, in any band.
#include "core/level.h"
#include "fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace zmcj;
  fuzz::Input input(data, size);
  const Level levels[] = {Level::kScalar, Level::kSse4, BestLevel()};
  UseLevel(levels[input.Byte() % 3]);
  fuzz::DecodeSpec table(input);
  const int kind = input.Byte() % 4, al = input.Byte() % 14;
  const int ss = 1 + input.Byte() % 63, se = ss + input.Byte() % (64 - ss);
  int16_t values[64];
  for (int16_t& value : values) value = static_cast<int16_t>(input.Byte() * 257);
  const fuzz::Exact<uint8_t> src = input.Rest();
  const int length = static_cast<int>(src.size());
  fuzz::State<ZmciDecodeHuffmanState_JPEG_8u> state(16);
  zmciDecodeHuffmanStateInit_JPEG_8u(state.get());
  int position = 0, marker = 0;
  int16_t last_dc = 0;
  for (int block = 0; block < 64; ++block) {
    fuzz::Exact<int16_t> dst(values, 64);
    ZmcStatus status = zmcStatusOk;
    if (kind == 0) {
      status = zmciDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1(src.data(), length, &position, dst.data(), &last_dc, &marker,
                                                          al, table.get(), state.get());
    } else if (kind == 1) {
      status = zmciDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(src.data(), length, &position, dst.data(), &marker, al,
                                                           state.get());
    } else {
      const auto decode =
          kind == 2 ? zmciDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1 : zmciDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1;
      status = decode(src.data(), length, &position, dst.data(), &marker, ss, se, al, table.get(), state.get());
    }
    if (status < 0) break;
  }
  return 0;
}
