/*
 * zmcj: image-compression primitives for JPEG (ISO/IEC 10918-1, baseline and progressive Huffman modes) and for the
 * transform and block-coding stages of JPEG 2000 (ISO/IEC 15444-1).
 *
 * Common to every function unless its own comment says otherwise:
 *
 *   Status     Zero is success, negative is an error, positive a warning with complete outputs. Arguments are checked
 * in the order that the comment lists, before anything is written; the first failure is returned. Steps      The
 * distance in bytes from the start of one row to the start of the next, for every sample type; at least 1, otherwise
 * any value: odd steps and rows at odd addresses are legal. Steps are not compared with the width. Sizes      In
 * samples (or pixels) and rows. Overlap    Source and destination regions do not overlap, except in the in-place forms.
 *   Alignment  Any address works. 32-byte alignment gives the best speed. Where alignment selects between two
 *              arithmetics, the function says so.
 *   Threads    Every function is re-entrant and keeps no state between calls. A record (Huffman state, encoder handle)
 * is used by one thread at a time; different records are independent. Results    The same bits on every machine and at
 * every instruction-set level.
 *
 * Names: zmci + operation + _JPEG or _JPEG2K + source and destination types (8u, 16s, 16u, 32s, 32f; 1u is a bit
 * stream)
 * + layout. C1, C3, C4: interleaved channels in one buffer. P3, P4: planes, as an array of pointers. R: a region with a
 * row step. I: in place. LS: the JPEG level shift of 128 is applied. MCU: whole minimum coded units of 8x8 blocks.
 */
#ifndef ZMCJ_H
#define ZMCJ_H

#include <stdint.h>

#if defined(_WIN32)
#define ZMCJ_API
#else
#define ZMCJ_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Types ------------------------------------------------------------------------------------------------------- */

typedef enum ZmcStatus {
  zmcStatusOk = 0,

  /* Warnings: the outputs are complete. */
  zmcStatusDivisionByZeroWarning = 6, /* a divisor was zero; its result is the type's maximum */
  zmcStatusMarkerFound = 10,          /* a marker was met while reading entropy-coded data */

  /* Errors. */
  zmcStatusStatisticsOverflow = -2,     /* a run/size symbol above 256 */
  zmcStatusBadArgument = -5,            /* an argument outside its range */
  zmcStatusBadSize = -6,                /* a width, height or length below 1 */
  zmcStatusNullPointer = -8,            /* a required pointer is null; a Huffman InitAlloc found no memory */
  zmcStatusNoMemory = -9,               /* the JPEG 2000 encoder's InitAlloc found no memory */
  zmcStatusBadStep = -14,               /* a row step below 1 */
  zmcStatusBadContext = -17,            /* not a handle of the JPEG 2000 code-block encoder */
  zmcStatusBufferExhausted = -62,       /* encoding: the destination is full; decoding: the data ended */
  zmcStatusBadHuffmanData = -63,        /* a value that cannot be coded, or a code that the table does not define */
  zmcStatusBadHuffmanTable = -64,       /* an invalid table, or a symbol that the table gives no code */
  zmcStatusCodeBlockDecodeError = -112, /* a coding pass of a JPEG 2000 code-block found damaged data */
  zmcStatusBadPassNumber = -113         /* a pass index outside the loaded code-block's passes */
} ZmcStatus;

/* Samples per row, and rows. */
typedef struct ZmciSize {
  int32_t width;
  int32_t height;
} ZmciSize;

/* A region's position and size. The wavelets use only the parity of x and y. */
typedef struct ZmciRect {
  int32_t x;
  int32_t y;
  int32_t width;
  int32_t height;
} ZmciRect;

typedef struct ZmcLibraryVersion {
  int32_t major;
  int32_t minor;
  int32_t majorBuild;
  int32_t build;
  char targetCpu[4];
  const char* Name;
  const char* Version;
  const char* BuildDate;
} ZmcLibraryVersion;

/* ---- Version ----------------------------------------------------------------------------------------------------- */

/* The library's version: one constant record, the same pointer on every call. Never null; not to be freed. */
ZMCJ_API const ZmcLibraryVersion* zmcjGetLibVersion(void);

/* ---- JPEG: level shift ------------------------------------------------------------------------------------------- */

/*
 * Removes the centre from 8-bit samples: pDst = pSrc - 128, in -128..127 (ISO/IEC 10918-1, A.3.1).
 * Region of roiSize samples; steps in bytes.
 * Checks: pSrc or pDst null: zmcStatusNullPointer; srcStep or dstStep below 1: zmcStatusBadStep; width or height below
 * 1: zmcStatusBadSize.
 */
ZMCJ_API ZmcStatus zmciSub128_JPEG_8u16s_C1R(const uint8_t* pSrc, int srcStep, int16_t* pDst, int dstStep,
                                             ZmciSize roiSize);

/*
 * Puts the centre back: pDst = pSrc + 128, clamped to 0..255 (ISO/IEC 10918-1, A.3.1).
 * Region of roiSize samples; steps in bytes.
 * Checks, pointer and step by pairs: pSrc null: zmcStatusNullPointer; srcStep below 1: zmcStatusBadStep; pDst null:
 * zmcStatusNullPointer; dstStep below 1: zmcStatusBadStep; width or height below 1: zmcStatusBadSize.
 */
ZMCJ_API ZmcStatus zmciAdd128_JPEG_16s8u_C1R(const int16_t* pSrc, int srcStep, uint8_t* pDst, int dstStep,
                                             ZmciSize roiSize);

/* ---- JPEG: quantisation ------------------------------------------------------------------------------------------ */

/*
 * Tables of 64. A raw table holds 8-bit quantisers in zigzag order, as a DQT segment does (ISO/IEC 10918-1, B.2.4.1).
 * The working tables and the blocks are in row order: entry 8 * row + column.
 */

/*
 * Scales a raw table in place by a quality factor: the common meaning of 1 (coarsest) to 100 (every quantiser 1), with
 * 50 for the table as it is. With scale = 5000 / factor below 50, else 200 - 2 * factor, each quantiser becomes
 * (quantiser * scale + 50) / 100, held in 1..255; divisions truncate.
 * The factor is not checked: 0 counts as 1, negative factors and those above 99 make every quantiser 1 (from about 2^22
 * upwards the 32-bit arithmetic wraps, and the table's contents mean nothing).
 * Check: pQuantRawTable null: zmcStatusNullPointer.
 */
ZMCJ_API ZmcStatus zmciQuantFwdRawTableInit_JPEG_8u(uint8_t* pQuantRawTable, int qualityFactor);

/*
 * Forward table of a raw one: reciprocals with 15 fraction bits, 32768 / quantiser to the nearest integer. A quantiser
 * of 0 gives 65535 and, with the table complete, the warning zmcStatusDivisionByZeroWarning.
 * Check: a pointer null: zmcStatusNullPointer.
 */
ZMCJ_API ZmcStatus zmciQuantFwdTableInit_JPEG_8u16u(const uint8_t* pQuantRawTable, uint16_t* pQuantFwdTable);

/* Inverse table of a raw one: the quantisers themselves. Check: a pointer null: zmcStatusNullPointer. */
ZMCJ_API ZmcStatus zmciQuantInvTableInit_JPEG_8u16u(const uint8_t* pQuantRawTable, uint16_t* pQuantInvTable);

/*
 * Quantises a block in place: coefficient * table entry / 32768, rounded to the nearest integer, ties to even,
 * saturated to 16 bits (ISO/IEC 10918-1, A.3.4). Table entries are read as unsigned; all values are legal. Check: a
 * pointer null: zmcStatusNullPointer.
 */
ZMCJ_API ZmcStatus zmciQuantFwd8x8_JPEG_16s_C1I(int16_t* pSrcDst, const uint16_t* pQuantFwdTable);

/*
 * Dequantises a block in place: coefficient * table entry, saturated to 16 bits (ISO/IEC 10918-1, A.3.4).
 * Check: a pointer null: zmcStatusNullPointer.
 */
ZMCJ_API ZmcStatus zmciQuantInv8x8_JPEG_16s_C1I(int16_t* pSrcDst, const uint16_t* pQuantInvTable);

/* ---- JPEG: discrete cosine transform with quantisation ----------------------------------------------------------- */

/*
 * The 8x8 transform pair of JPEG (ISO/IEC 10918-1, A.3.3) joined with quantisation. Blocks are 64 coefficients or
 * centred samples in row order in a buffer of their own; in the LS forms the samples are an 8x8 region of bytes with a
 * step, and 128 is taken off or added. Tables are those of zmciQuantFwdTableInit_JPEG_8u16u (forward) and
 * zmciQuantInvTableInit_JPEG_8u16u (inverse).
 *
 * The arithmetic is fixed-point and the same everywhere. Forward: within one unit of the exact transform rounded,
 * before quantisation as by zmciQuantFwd8x8_JPEG_16s_C1I. Inverse: within the limits of IEEE 1180-1990. Samples are
 * meant to stay in -256..255; far outside, sums saturate at 16 bits (and the forward input, taken eightfold, wraps).
 * Dequantisation inside the inverse keeps the low 16 bits of each product, unlike zmciQuantInv8x8_JPEG_16s_C1I.
 *
 * Checks, in order: pSrc or pDst (or pSrcDst) null: zmcStatusNullPointer; a step below 1: zmcStatusBadStep; the table
 * null: zmcStatusNullPointer.
 */
ZMCJ_API ZmcStatus zmciDCTQuantFwd8x8_JPEG_16s_C1(const int16_t* pSrc, int16_t* pDst, const uint16_t* pQuantFwdTable);
ZMCJ_API ZmcStatus zmciDCTQuantFwd8x8_JPEG_16s_C1I(int16_t* pSrcDst, const uint16_t* pQuantFwdTable);
ZMCJ_API ZmcStatus zmciDCTQuantFwd8x8LS_JPEG_8u16s_C1R(const uint8_t* pSrc, int srcStep, int16_t* pDst,
                                                       const uint16_t* pQuantFwdTable);
ZMCJ_API ZmcStatus zmciDCTQuantInv8x8_JPEG_16s_C1(const int16_t* pSrc, int16_t* pDst, const uint16_t* pQuantInvTable);
ZMCJ_API ZmcStatus zmciDCTQuantInv8x8_JPEG_16s_C1I(int16_t* pSrcDst, const uint16_t* pQuantInvTable);
ZMCJ_API ZmcStatus zmciDCTQuantInv8x8LS_JPEG_16s8u_C1R(const int16_t* pSrc, uint8_t* pDst, int dstStep,
                                                       const uint16_t* pQuantInvTable);

/* ---- JPEG: Huffman tables and coder state ------------------------------------------------------------------------ */

/* ---- JPEG: baseline Huffman encoding and statistics -------------------------------------------------------------- */

/* ---- JPEG: baseline Huffman decoding ----------------------------------------------------------------------------- */

/* ---- JPEG: optimal Huffman tables -------------------------------------------------------------------------------- */

/* ---- JPEG: progressive coding of DC coefficients ----------------------------------------------------------------- */

/* ---- JPEG: progressive coding of AC coefficients ----------------------------------------------------------------- */

/* ---- JPEG: whole-image colour conversion ------------------------------------------------------------------------- */

/* ---- JPEG: sampling of planes and rows --------------------------------------------------------------------------- */

/* ---- JPEG: pixels of one MCU to blocks --------------------------------------------------------------------------- */

/* ---- JPEG: blocks of one MCU to pixels --------------------------------------------------------------------------- */

/* ---- JPEG 2000: reversible component transform ------------------------------------------------------------------- */

/* ---- JPEG 2000: 5/3 wavelet -------------------------------------------------------------------------------------- */

/* ---- JPEG 2000: 9/7 wavelet -------------------------------------------------------------------------------------- */

/* ---- JPEG 2000: code-block encoder ------------------------------------------------------------------------------- */

/* ---- JPEG 2000: code-block decoder ------------------------------------------------------------------------------- */

#ifdef __cplusplus
}
#endif

#endif /* ZMCJ_H */
