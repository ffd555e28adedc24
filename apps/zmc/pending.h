// Functions of the library that are still to come: until then, what needs them ends with a failure.
#pragma once

#include "failure.h"
#include "zmcj.h"

namespace zmc::jpeg {

template <class... Arguments>
ZmcStatus Pending(Arguments...) {
  throw Failure("this version cannot do that yet");
}
#define ZMC_PENDING(name, ...) \
  inline ZmcStatus name(__VA_ARGS__) { return Pending(); }

using Dec = ZmciDecodeHuffmanSpec_JPEG_8u;
using Enc = ZmciEncodeHuffmanSpec_JPEG_8u;
using DecState = ZmciDecodeHuffmanState_JPEG_8u;
using EncState = ZmciEncodeHuffmanState_JPEG_8u;
using U8 = uint8_t;
using S16 = int16_t;

ZMC_PENDING(zmciEncodeHuffmanRawTableInit_JPEG_8u, const int*, U8*, U8*)
ZMC_PENDING(zmciDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1, const U8*, int, int*, S16*, S16*, int*, int, const Dec*,
            DecState*)
ZMC_PENDING(zmciDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1, const U8*, int, int*, S16*, int*, int, DecState*)
ZMC_PENDING(zmciDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1, const U8*, int, int*, S16*, int*, int, int, int, const Dec*,
            DecState*)
ZMC_PENDING(zmciDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1, const U8*, int, int*, S16*, int*, int, int, int, const Dec*,
            DecState*)
ZMC_PENDING(zmciEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1, const S16*, U8*, int, int*, S16*, int, const Enc*, EncState*,
            int)
ZMC_PENDING(zmciEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1, const S16*, U8*, int, int*, int, EncState*, int)
ZMC_PENDING(zmciEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1, const S16*, U8*, int, int*, int, int, int, const Enc*,
            EncState*, int)
ZMC_PENDING(zmciEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1, const S16*, U8*, int, int*, int, int, int, const Enc*,
            EncState*, int)
ZMC_PENDING(zmciGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1, const S16*, int*, S16*, int)
ZMC_PENDING(zmciGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1, const S16*, uint32_t*, int, int, int, EncState*, int)
ZMC_PENDING(zmciGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1, const S16*, uint32_t*, int, int, int, EncState*, int)
#undef ZMC_PENDING

}  // namespace zmc::jpeg
