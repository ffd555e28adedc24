/*
 * zmcj: image-compression primitives for JPEG (ISO/IEC 10918-1, baseline and progressive Huffman modes) and for the
 * transform and block-coding stages of JPEG 2000 (ISO/IEC 15444-1).
 *
 * Common to every function unless its own comment says otherwise:
 *
 * - Status: zero is success, negative is an error, positive a warning with complete outputs. Arguments are checked in
 *   the order that the comment lists, before anything is written; the first failure is returned.
 * - Steps: the distance in bytes from the start of one row to the start of the next, for every sample type; at least 1,
 *   otherwise any value: odd steps and rows at odd addresses are legal. Steps are not compared with the width.
 * - Sizes: in samples (or pixels) and rows.
 * - Overlap: source and destination regions do not overlap, except in the in-place forms.
 * - Alignment: any address works. 64-byte alignment gives the best speed. Where alignment selects between two
 *   arithmetics, the function says so.
 * - Threads: every function is re-entrant and keeps no state between calls. A record (Huffman state, encoder handle) is
 *   used by one thread at a time; different records are independent.
 * - Results: the same bits on every machine and at every instruction-set level.
 *
 * Names: zmci, the operation, _JPEG or _JPEG2K, source and destination types (8u, 16s, 16u, 32s, 32f; 1u is a bit
 * stream) and the layout. C1, C3, C4: interleaved channels in one buffer. P3, P4: planes, as an array of pointers. R: a
 * region with a row step. I: in place. LS: the JPEG level shift of 128 is applied. MCU: whole minimum coded units of
 * 8x8 blocks.
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

/*
 * The Huffman coders' records: a specification per table, made from a DHT segment, and a state per scan, which carries
 * bits and runs from one block to the next. A state is initialised at the start of every scan and after every restart
 * marker; the encoders' flush does it by itself. A specification is only read once it is made, and may then be shared
 * by threads; a state belongs to one thread at a time.
 */
typedef struct ZmciEncodeHuffmanSpec_JPEG_8u ZmciEncodeHuffmanSpec_JPEG_8u;
typedef struct ZmciEncodeHuffmanState_JPEG_8u ZmciEncodeHuffmanState_JPEG_8u;
typedef struct ZmciDecodeHuffmanSpec_JPEG_8u ZmciDecodeHuffmanSpec_JPEG_8u;
typedef struct ZmciDecodeHuffmanState_JPEG_8u ZmciDecodeHuffmanState_JPEG_8u;

/*
 * GetBufSize: the bytes of a record in *pSize (1024, 1048, 1644, 16 in the order below).
 *
 * Init: makes a record in the caller's memory of that size, at any address (32-byte alignment is fastest). A
 * specification is made from 16 counts of codes by length, pListBits, and as many symbols as they add up to, at most
 * 256, in pListVals (ISO/IEC 10918-1, C.2). A symbol listed twice keeps its last code; a table without symbols is
 * legal. A state comes out empty.
 *
 * InitAlloc: the same in memory that the library allocates. The record's pointer is stored whenever there was memory,
 * also when the table turns out bad: it is to be freed either way.
 *
 * Free: releases a record from InitAlloc, and no other.
 *
 * Checks: a null pointer: zmcStatusNullPointer; no memory in InitAlloc: zmcStatusNullPointer, with *pp unchanged; more
 * than 256 symbols: zmcStatusBadHuffmanTable; in an encoder's table, a code of all ones or more codes of a length than
 * there are: zmcStatusBadHuffmanTable. A decoder's table may have such codes: those that do not fit are never decoded,
 * and a 16-bit code of all ones makes all codes of 16 bits undecodable. After zmcStatusBadHuffmanTable the record must
 * not be used.
 */
ZMCJ_API ZmcStatus zmciEncodeHuffmanSpecGetBufSize_JPEG_8u(int* pSize);
ZMCJ_API ZmcStatus zmciEncodeHuffmanSpecInit_JPEG_8u(const uint8_t* pListBits, const uint8_t* pListVals,
                                                     ZmciEncodeHuffmanSpec_JPEG_8u* pEncHuffSpec);
ZMCJ_API ZmcStatus zmciEncodeHuffmanSpecInitAlloc_JPEG_8u(const uint8_t* pListBits, const uint8_t* pListVals,
                                                          ZmciEncodeHuffmanSpec_JPEG_8u** ppEncHuffSpec);
ZMCJ_API ZmcStatus zmciEncodeHuffmanSpecFree_JPEG_8u(ZmciEncodeHuffmanSpec_JPEG_8u* pEncHuffSpec);
ZMCJ_API ZmcStatus zmciEncodeHuffmanStateGetBufSize_JPEG_8u(int* pSize);
ZMCJ_API ZmcStatus zmciEncodeHuffmanStateInit_JPEG_8u(ZmciEncodeHuffmanState_JPEG_8u* pEncHuffState);
ZMCJ_API ZmcStatus zmciEncodeHuffmanStateInitAlloc_JPEG_8u(ZmciEncodeHuffmanState_JPEG_8u** ppEncHuffState);
ZMCJ_API ZmcStatus zmciEncodeHuffmanStateFree_JPEG_8u(ZmciEncodeHuffmanState_JPEG_8u* pEncHuffState);
ZMCJ_API ZmcStatus zmciDecodeHuffmanSpecGetBufSize_JPEG_8u(int* pSize);
ZMCJ_API ZmcStatus zmciDecodeHuffmanSpecInit_JPEG_8u(const uint8_t* pListBits, const uint8_t* pListVals,
                                                     ZmciDecodeHuffmanSpec_JPEG_8u* pDecHuffSpec);
ZMCJ_API ZmcStatus zmciDecodeHuffmanSpecInitAlloc_JPEG_8u(const uint8_t* pListBits, const uint8_t* pListVals,
                                                          ZmciDecodeHuffmanSpec_JPEG_8u** ppDecHuffSpec);
ZMCJ_API ZmcStatus zmciDecodeHuffmanSpecFree_JPEG_8u(ZmciDecodeHuffmanSpec_JPEG_8u* pDecHuffSpec);
ZMCJ_API ZmcStatus zmciDecodeHuffmanStateGetBufSize_JPEG_8u(int* pSize);
ZMCJ_API ZmcStatus zmciDecodeHuffmanStateInit_JPEG_8u(ZmciDecodeHuffmanState_JPEG_8u* pDecHuffState);
ZMCJ_API ZmcStatus zmciDecodeHuffmanStateInitAlloc_JPEG_8u(ZmciDecodeHuffmanState_JPEG_8u** ppDecHuffState);
ZMCJ_API ZmcStatus zmciDecodeHuffmanStateFree_JPEG_8u(ZmciDecodeHuffmanState_JPEG_8u* pDecHuffState);

/* ---- JPEG: baseline Huffman encoding and statistics -------------------------------------------------------------- */

/*
 * Encodes one block of a sequential scan (ISO/IEC 10918-1, F.1.2): 64 quantised coefficients in row-major order, of
 * which the first is DC, become bits behind the first *pDstCurrPos bytes of pDst, which holds dstLenBytes in all. Full
 * bytes are written, with a 0x00 behind every 0xFF, and *pDstCurrPos moves on; up to seven bits wait in pEncHuffState.
 * *pLastDC is the component's previous DC value, 0 at the start of a scan and after a restart; it becomes this block's.
 *
 * bFlush other than 0: encodes nothing, but fills the last byte with 1-bits and makes the state new. Only pDst,
 * dstLenBytes, pDstCurrPos and pEncHuffState are used then, the others may be null.
 *
 * Checks: pDst null: zmcStatusNullPointer; dstLenBytes below 1: zmcStatusBadSize; pDstCurrPos or pEncHuffState null:
 * zmcStatusNullPointer; *pDstCurrPos below 0 or a state that no Init made: zmcStatusBadArgument; without bFlush, any
 * other pointer null: zmcStatusNullPointer. While encoding: a symbol without a code: zmcStatusBadHuffmanTable; no room
 * for the next byte, or for the 0x00 behind 0xFF: zmcStatusBufferExhausted. The scan is lost then: *pLastDC is updated,
 * the position stands behind the bytes that were written, the state is as before the write that failed (a code and the
 * bits that follow it are two writes). The magnitudes are not limited to those of 8-bit pictures.
 */
ZMCJ_API ZmcStatus zmciEncodeHuffman8x8_JPEG_16s1u_C1(const int16_t* pSrc, uint8_t* pDst, int dstLenBytes,
                                                      int* pDstCurrPos, int16_t* pLastDC,
                                                      const ZmciEncodeHuffmanSpec_JPEG_8u* pDcTable,
                                                      const ZmciEncodeHuffmanSpec_JPEG_8u* pAcTable,
                                                      ZmciEncodeHuffmanState_JPEG_8u* pEncHuffState, int bFlush);

/*
 * The same without a state and without a length: the bits go to bit position *pDstBitsLen of pDst (bit 0 is the top bit
 * of byte 0), which moves on by them and by the stuffed bytes. The bits already in the byte of that position stay,
 * those behind the last bit written are 0; when the bits end with a byte, the byte behind it is set to 0. A symbol
 * without a code is passed over. The caller pads the last byte, and provides for 540 bytes per block.
 *
 * Checks: a null pointer: zmcStatusNullPointer; *pDstBitsLen below 0, or so high that the block's end might not be
 * counted in an int: zmcStatusBadArgument.
 */
ZMCJ_API ZmcStatus zmciEncodeHuffman8x8_Direct_JPEG_16s1u_C1(const int16_t* pSrc, uint8_t* pDst, int* pDstBitsLen,
                                                             int16_t* pLastDC,
                                                             const ZmciEncodeHuffmanSpec_JPEG_8u* pDcTable,
                                                             const ZmciEncodeHuffmanSpec_JPEG_8u* pAcTable);

/*
 * Counts the symbols that encoding the block would take: adds to two arrays of 256 counters by symbol, which the caller
 * clears at the start, and updates *pLastDC as encoding does. (Fifteen zeros before -32768 make a symbol 256, which no
 * table can have: it is not counted, and encoding reports it.)
 *
 * Checks: a null pointer: zmcStatusNullPointer.
 */
ZMCJ_API ZmcStatus zmciGetHuffmanStatistics8x8_JPEG_16s_C1(const int16_t* pSrc, int* pDcStatistics, int* pAcStatistics,
                                                           int16_t* pLastDC);

/* ---- JPEG: baseline Huffman decoding ----------------------------------------------------------------------------- */

/*
 * Decodes one block of a sequential scan (ISO/IEC 10918-1, F.2.2) from the nSrcLenBytes of pSrc, of which *pSrcCurrPos
 * are read, into 64 quantised coefficients in row-major order; pDst is cleared first. *pLastDC as in encoding. The
 * state holds up to 32 bits read ahead.
 *
 * *pMarker is 0 at the start. A 0xFF followed by anything but 0x00 is a marker: its second byte goes into *pMarker, the
 * position stands behind it, and nothing more is read while *pMarker is not 0. Blocks are decoded from the held bits as
 * long as they last, so the status does not tell of every marker: look at *pMarker after each block.
 *
 * Checks: pSrc null: zmcStatusNullPointer; nSrcLenBytes below 0: zmcStatusBadArgument; any other pointer null:
 * zmcStatusNullPointer; *pSrcCurrPos below 0 or a state that no Init made: zmcStatusBadArgument. Results:
 * zmcStatusMarkerFound (a warning): the last coefficient's bits were read up to a marker; zmcStatusBufferExhausted: the
 * data or the bits before the marker do not suffice, or a fill found a 0xFF as the last byte; zmcStatusBadHuffmanData:
 * a code that the table does not have. The coefficients decoded so far stand in pDst then. Runs of zeros that lead past
 * the end of the block end it and write nothing outside it.
 */
ZMCJ_API ZmcStatus zmciDecodeHuffman8x8_JPEG_1u16s_C1(const uint8_t* pSrc, int nSrcLenBytes, int* pSrcCurrPos,
                                                      int16_t* pDst, int16_t* pLastDC, int* pMarker,
                                                      const ZmciDecodeHuffmanSpec_JPEG_8u* pDcTable,
                                                      const ZmciDecodeHuffmanSpec_JPEG_8u* pAcTable,
                                                      ZmciDecodeHuffmanState_JPEG_8u* pDecHuffState);

/*
 * The same without a state: *pPrefetchedBits holds the bits read ahead, the last one lowest, *pNumValidPrefetchedBits
 * how many of them are unused (both 0 at the start of a scan). *pSrcBitsLen counts source bits and comes back as eight
 * times the index of the next unread byte.
 *
 * There is no length: pSrc has to end in a marker (any, EOI for instance), and no byte behind that marker is read.
 * Unlike above, any number of 0xFF bytes may stand before a marker's second byte or a stuffed 0x00.
 *
 * Checks: pSrc or pSrcBitsLen null: zmcStatusNullPointer; *pSrcBitsLen below 0: zmcStatusBadArgument; pDst, pLastDC,
 * pMarker, pPrefetchedBits or pNumValidPrefetchedBits null: zmcStatusNullPointer; *pNumValidPrefetchedBits below 0 or
 * above 32: zmcStatusBadArgument; pDcTable or pAcTable null: zmcStatusNullPointer. Results as above, but data that end
 * before a symbol give zmcStatusOk with the block as decoded so far (*pNumValidPrefetchedBits is then 0 if it was an AC
 * symbol); data that end before a coefficient's bits give zmcStatusBufferExhausted.
 */
ZMCJ_API ZmcStatus zmciDecodeHuffman8x8_Direct_JPEG_1u16s_C1(const uint8_t* pSrc, int* pSrcBitsLen, int16_t* pDst,
                                                             int16_t* pLastDC, int* pMarker, uint32_t* pPrefetchedBits,
                                                             int* pNumValidPrefetchedBits,
                                                             const ZmciDecodeHuffmanSpec_JPEG_8u* pDcTable,
                                                             const ZmciDecodeHuffmanSpec_JPEG_8u* pAcTable);

/* ---- JPEG: optimal Huffman tables -------------------------------------------------------------------------------- */

/*
 * Makes the table that codes symbols of the given counts in the fewest bits, as ISO/IEC 10918-1, K.2 does it: codes of
 * at most 16 bits, none of all ones. 16 bytes go to pListBits, the symbols that were counted (at most 256) to
 * pListVals: what a DHT segment and zmciEncodeHuffmanSpecInit_JPEG_8u take. Among equal counts the higher symbol gets
 * the longer code; symbols of one length (before the limit of 16 bits) are listed upwards. A count above 1000000000
 * gets no code.
 *
 * Checks: a null pointer: zmcStatusNullPointer; a negative count: zmcStatusBadArgument; no count at all, or counts so
 * skewed that a code would have more than 32 bits before it is limited: zmcStatusBadHuffmanTable. Nothing is written
 * then.
 */
ZMCJ_API ZmcStatus zmciEncodeHuffmanRawTableInit_JPEG_8u(const int pStatistics[256], uint8_t* pListBits,
                                                         uint8_t* pListVals);

/* ---- JPEG: progressive coding of DC coefficients ----------------------------------------------------------------- */

/*
 * The DC coefficients of a progressive image (ISO/IEC 10918-1, G.1.2.1): the first scan codes the values shifted right
 * by Al (arithmetically), each refining scan the bit Al. Blocks are 64 coefficients in row-major order, of which only
 * the first is read or written; the decoders leave the others as they are. Al is 0 to 13. *pLastDC is the component's
 * previous value, already shifted; it is 0 at the start of a scan and after a restart. Destination, position, state and
 * bFlush as in zmciEncodeHuffman8x8_JPEG_16s1u_C1; source, position, marker and state as in
 * zmciDecodeHuffman8x8_JPEG_1u16s_C1.
 *
 * Checks of the encoders: pDst null: zmcStatusNullPointer; dstLenBytes below 1: zmcStatusBadSize; pDstCurrPos or
 * pEncHuffState null: zmcStatusNullPointer; *pDstCurrPos below 0 or a state that no Init made: zmcStatusBadArgument;
 * and without bFlush: pSrc or pLastDC null: zmcStatusNullPointer; Al out of range: zmcStatusBadArgument; pDcTable null:
 * zmcStatusNullPointer. While encoding: a difference of more than 11 bits: zmcStatusBadHuffmanData, with *pLastDC
 * updated and nothing written; zmcStatusBadHuffmanTable and zmcStatusBufferExhausted as in baseline encoding.
 *
 * Checks of the counting form: a null pointer: zmcStatusNullPointer; Al out of range: zmcStatusBadArgument. A
 * difference of more than 11 bits: zmcStatusBadHuffmanData, not counted.
 *
 * Checks of the decoders: pSrc null: zmcStatusNullPointer; nSrcLenBytes below 1: zmcStatusBadSize; pSrcCurrPos, pDst,
 * pLastDC or pMarker null: zmcStatusNullPointer; Al out of range: zmcStatusBadArgument; pDcTable or pDecHuffState null:
 * zmcStatusNullPointer; *pSrcCurrPos below 0 or a state that no Init made: zmcStatusBadArgument. Results:
 * zmcStatusMarkerFound (a warning) when the value's bits were read up to a marker; zmcStatusBufferExhausted or
 * zmcStatusBadHuffmanData, with the block unchanged.
 */
ZMCJ_API ZmcStatus zmciEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1(const int16_t* pSrc, uint8_t* pDst, int dstLenBytes,
                                                              int* pDstCurrPos, int16_t* pLastDC, int Al,
                                                              const ZmciEncodeHuffmanSpec_JPEG_8u* pDcTable,
                                                              ZmciEncodeHuffmanState_JPEG_8u* pEncHuffState,
                                                              int bFlush);
ZMCJ_API ZmcStatus zmciEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(const int16_t* pSrc, uint8_t* pDst, int dstLenBytes,
                                                               int* pDstCurrPos, int Al,
                                                               ZmciEncodeHuffmanState_JPEG_8u* pEncHuffState,
                                                               int bFlush);
ZMCJ_API ZmcStatus zmciGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(const int16_t* pSrc, int* pDcStatistics,
                                                                   int16_t* pLastDC, int Al);
ZMCJ_API ZmcStatus zmciDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1(const uint8_t* pSrc, int nSrcLenBytes, int* pSrcCurrPos,
                                                              int16_t* pDst, int16_t* pLastDC, int* pMarker, int Al,
                                                              const ZmciDecodeHuffmanSpec_JPEG_8u* pDcTable,
                                                              ZmciDecodeHuffmanState_JPEG_8u* pDecHuffState);
ZMCJ_API ZmcStatus zmciDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(const uint8_t* pSrc, int nSrcLenBytes, int* pSrcCurrPos,
                                                               int16_t* pDst, int* pMarker, int Al,
                                                               ZmciDecodeHuffmanState_JPEG_8u* pDecHuffState);

/* ---- JPEG: progressive coding of AC coefficients ----------------------------------------------------------------- */

/*
 * The AC coefficients of a progressive image (ISO/IEC 10918-1, G.1.2.2 and G.1.2.3): zigzag positions Ss to Se of one
 * component's blocks, magnitudes shifted right by Al in a first scan (ACFirst), one more bit in each refining scan
 * (ACRefine). 1 <= Ss <= Se <= 63, 0 <= Al <= 13. Blocks are 64 coefficients in row-major order. Destination, position
 * and state as in zmciEncodeHuffman8x8_JPEG_16s1u_C1; source, position, marker and state as in
 * zmciDecodeHuffman8x8_JPEG_1u16s_C1.
 *
 * Encoding keeps in the state how many blocks' bands have ended since the last code, and the correction bits of a
 * refinement that follow that code; both are written with the next coefficient, at 32767 blocks, at 938 bits or by the
 * flush. bFlush other than 0 encodes nothing, but writes them, fills the last byte with 1-bits and makes the state new;
 * pSrc and the band are not looked at. Where both writes of a flush fail, ACFirst returns the status of the first,
 * ACRefine of the second.
 *
 * The counting forms add to 256 counters by symbol what encoding would emit. They take a state as the encoders do (one
 * of its own, from Init); bFlush counts what is pending and makes the state new.
 *
 * Checks of the encoders: pDst null: zmcStatusNullPointer; nDstLenBytes below 1: zmcStatusBadSize; pDstCurrPos,
 * pAcTable or pEncHuffState null: zmcStatusNullPointer; *pDstCurrPos below 0 or a state that no Init made:
 * zmcStatusBadArgument; and without bFlush: pSrc null: zmcStatusNullPointer; a band out of range: zmcStatusBadArgument.
 * The counting forms: pAcStatistics or pEncHuffState null: zmcStatusNullPointer; then as the encoders. While encoding
 * or counting: a magnitude of more than 11 bits in a first scan: zmcStatusBadHuffmanData; zmcStatusBadHuffmanTable and
 * zmcStatusBufferExhausted as in baseline encoding. The scan is lost then; ACRefine leaves the number of pending
 * correction bits as at entry.
 */
ZMCJ_API ZmcStatus zmciEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1(const int16_t* pSrc, uint8_t* pDst, int nDstLenBytes,
                                                              int* pDstCurrPos, int Ss, int Se, int Al,
                                                              const ZmciEncodeHuffmanSpec_JPEG_8u* pAcTable,
                                                              ZmciEncodeHuffmanState_JPEG_8u* pEncHuffState,
                                                              int bFlush);
ZMCJ_API ZmcStatus zmciEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1(const int16_t* pSrc, uint8_t* pDst, int nDstLenBytes,
                                                               int* pDstCurrPos, int Ss, int Se, int Al,
                                                               const ZmciEncodeHuffmanSpec_JPEG_8u* pAcTable,
                                                               ZmciEncodeHuffmanState_JPEG_8u* pEncHuffState,
                                                               int bFlush);
ZMCJ_API ZmcStatus zmciGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1(const int16_t* pSrc, uint32_t pAcStatistics[256],
                                                                   int Ss, int Se, int Al,
                                                                   ZmciEncodeHuffmanState_JPEG_8u* pEncHuffState,
                                                                   int bFlush);
ZMCJ_API ZmcStatus zmciGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1(const int16_t* pSrc, uint32_t pAcStatistics[256],
                                                                    int Ss, int Se, int Al,
                                                                    ZmciEncodeHuffmanState_JPEG_8u* pEncHuffState,
                                                                    int bFlush);

/*
 * Decoding keeps in the state for how many more blocks the band has ended. The blocks are not cleared: a first scan
 * expects zeros in the band and writes what it decodes; a refining scan works on what the scans before it left. Nothing
 * is written outside positions Ss to Se.
 *
 * Checks: pSrc null: zmcStatusNullPointer; nSrcLenBytes below 1: zmcStatusBadSize; pSrcCurrPos, pDst or pMarker null:
 * zmcStatusNullPointer; a band out of range: zmcStatusBadArgument; pAcTable or pDecHuffState null:
 * zmcStatusNullPointer; *pSrcCurrPos below 0 or a state that no Init made: zmcStatusBadArgument. Results:
 * zmcStatusMarkerFound (a warning) when, since the last symbol, bits were read up to a marker; zmcStatusBufferExhausted
 * or zmcStatusBadHuffmanData, with what was decoded so far in the block. A new coefficient of a refinement is one step
 * whatever size its symbol says.
 */
ZMCJ_API ZmcStatus zmciDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1(const uint8_t* pSrc, int nSrcLenBytes, int* pSrcCurrPos,
                                                              int16_t* pDst, int* pMarker, int Ss, int Se, int Al,
                                                              const ZmciDecodeHuffmanSpec_JPEG_8u* pAcTable,
                                                              ZmciDecodeHuffmanState_JPEG_8u* pDecHuffState);
ZMCJ_API ZmcStatus zmciDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1(const uint8_t* pSrc, int nSrcLenBytes, int* pSrcCurrPos,
                                                               int16_t* pDst, int* pMarker, int Ss, int Se, int Al,
                                                               const ZmciDecodeHuffmanSpec_JPEG_8u* pAcTable,
                                                               ZmciDecodeHuffmanState_JPEG_8u* pDecHuffState);

/* ---- JPEG: whole-image colour conversion ------------------------------------------------------------------------- */

/*
 * Whole images between RGB, BGR, CMYK or packed 16-bit pixels and the full-range YCbCr of JFIF (ITU-T T.871), chroma
 * centred on 128; CMYK goes to YCCK and back with C, M, Y taken for 255 - R, G, B and K copied.
 *
 * Layouts: P3, P4 are three or four planes, an array of pointers with one step for all; C1 one plane; C3, C4
 * interleaved 8-bit components in the order of the name. 555 and 565 are packed pixels of one 16-bit word, the colour
 * named first in the lowest bits, green in bits 5-9 or 5-10, the last-named colour above it; bit 15 of 555 is ignored
 * on input and 0 on output. Packed fields are widened by zero bits below and narrowed by dropping bits.
 *
 * Rounding: the columns below width & ~3 take one fixed-point arithmetic, the remaining columns of a row another, and
 * the two may differ by 1. RGB to YCbCr from planes, from CMYK and from interleaved pixels differ in the same way, as
 * do YCbCr to RGB in planes and interleaved; the two interleaved RGB to Y and the packed forms to YCbCr have one
 * arithmetic for all columns. RGB to Y from planes works in single precision. All are exact to the bit: see
 * src/jpeg/colour/colour_formulas.h.
 *
 * Arguments: source, its step, destination, its step, the region in pixels.
 *
 * Checks: the source pointer or array, the destination pointer or array, each source plane, each destination plane
 * null: zmcStatusNullPointer; srcStep, then dstStep below 1: zmcStatusBadStep; width or height below 1:
 * zmcStatusBadSize.
 *
 * Threads: regions of more than 8192 pixels (the product taken as a wrapping signed 32-bit number) are divided by rows
 * among the threads of an OpenMP parallel region with the runtime's default number of threads; the packed forms run on
 * the calling thread.
 */
ZMCJ_API ZmcStatus zmciRGBToYCbCr_JPEG_8u_P3R(const uint8_t* const pSrc[3], int srcStep, uint8_t* const pDst[3],
                                              int dstStep, ZmciSize roiSize);
ZMCJ_API ZmcStatus zmciRGBToYCbCr_JPEG_8u_C3P3R(const uint8_t* pSrc, int srcStep, uint8_t* const pDst[3], int dstStep,
                                                ZmciSize roiSize);
ZMCJ_API ZmcStatus zmciBGRToYCbCr_JPEG_8u_C3P3R(const uint8_t* pSrc, int srcStep, uint8_t* const pDst[3], int dstStep,
                                                ZmciSize roiSize);
ZMCJ_API ZmcStatus zmciRGBToY_JPEG_8u_P3C1R(const uint8_t* const pSrc[3], int srcStep, uint8_t* pDst, int dstStep,
                                            ZmciSize roiSize);
ZMCJ_API ZmcStatus zmciRGBToY_JPEG_8u_C3C1R(const uint8_t* pSrc, int srcStep, uint8_t* pDst, int dstStep,
                                            ZmciSize roiSize);
ZMCJ_API ZmcStatus zmciBGRToY_JPEG_8u_C3C1R(const uint8_t* pSrc, int srcStep, uint8_t* pDst, int dstStep,
                                            ZmciSize roiSize);
ZMCJ_API ZmcStatus zmciCMYKToYCCK_JPEG_8u_P4R(const uint8_t* const pSrc[4], int srcStep, uint8_t* const pDst[4],
                                              int dstStep, ZmciSize roiSize);
ZMCJ_API ZmcStatus zmciCMYKToYCCK_JPEG_8u_C4P4R(const uint8_t* pSrc, int srcStep, uint8_t* const pDst[4], int dstStep,
                                                ZmciSize roiSize);
ZMCJ_API ZmcStatus zmciYCbCrToRGB_JPEG_8u_P3R(const uint8_t* const pSrc[3], int srcStep, uint8_t* const pDst[3],
                                              int dstStep, ZmciSize roiSize);
ZMCJ_API ZmcStatus zmciYCbCrToRGB_JPEG_8u_P3C3R(const uint8_t* const pSrc[3], int srcStep, uint8_t* pDst, int dstStep,
                                                ZmciSize roiSize);
ZMCJ_API ZmcStatus zmciYCbCrToBGR_JPEG_8u_P3C3R(const uint8_t* const pSrc[3], int srcStep, uint8_t* pDst, int dstStep,
                                                ZmciSize roiSize);
ZMCJ_API ZmcStatus zmciYCCKToCMYK_JPEG_8u_P4R(const uint8_t* const pSrc[4], int srcStep, uint8_t* const pDst[4],
                                              int dstStep, ZmciSize roiSize);
ZMCJ_API ZmcStatus zmciYCCKToCMYK_JPEG_8u_P4C4R(const uint8_t* const pSrc[4], int srcStep, uint8_t* pDst, int dstStep,
                                                ZmciSize roiSize);
ZMCJ_API ZmcStatus zmciRGB555ToYCbCr_JPEG_16u8u_C3P3R(const uint16_t* pSrc, int srcStep, uint8_t* const pDst[3],
                                                      int dstStep, ZmciSize roiSize);
ZMCJ_API ZmcStatus zmciBGR555ToYCbCr_JPEG_16u8u_C3P3R(const uint16_t* pSrc, int srcStep, uint8_t* const pDst[3],
                                                      int dstStep, ZmciSize roiSize);
ZMCJ_API ZmcStatus zmciRGB565ToYCbCr_JPEG_16u8u_C3P3R(const uint16_t* pSrc, int srcStep, uint8_t* const pDst[3],
                                                      int dstStep, ZmciSize roiSize);
ZMCJ_API ZmcStatus zmciBGR565ToYCbCr_JPEG_16u8u_C3P3R(const uint16_t* pSrc, int srcStep, uint8_t* const pDst[3],
                                                      int dstStep, ZmciSize roiSize);
ZMCJ_API ZmcStatus zmciYCbCrToRGB555_JPEG_8u16u_P3C3R(const uint8_t* const pSrc[3], int srcStep, uint16_t* pDst,
                                                      int dstStep, ZmciSize roiSize);
ZMCJ_API ZmcStatus zmciYCbCrToBGR555_JPEG_8u16u_P3C3R(const uint8_t* const pSrc[3], int srcStep, uint16_t* pDst,
                                                      int dstStep, ZmciSize roiSize);
ZMCJ_API ZmcStatus zmciYCbCrToRGB565_JPEG_8u16u_P3C3R(const uint8_t* const pSrc[3], int srcStep, uint16_t* pDst,
                                                      int dstStep, ZmciSize roiSize);
ZMCJ_API ZmcStatus zmciYCbCrToBGR565_JPEG_8u16u_P3C3R(const uint8_t* const pSrc[3], int srcStep, uint16_t* pDst,
                                                      int dstStep, ZmciSize roiSize);

/* ---- JPEG: sampling of planes and rows --------------------------------------------------------------------------- */

/*
 * Halve or double the resolution of one 8-bit plane, horizontally (H2V1) or in both directions (H2V2). Output sample i
 * of a row, with >> dropping bits:
 *
 *   Down, box, H2V1       (s[2i] + s[2i+1] + b) >> 1, b = 0, 1, 0, 1, ... from column 0
 *   Down, box, H2V2       (sum of the four + b) >> 2, b = 1, 2, 1, 2, ...; rows 2j and 2j+1 make row j
 *   Up, triangle, H2V1    out[2i] = (3 s[i] + s[i-1] + 1) >> 2, out[2i+1] = (3 s[i] + s[i+1] + 2) >> 2
 *   Up, triangle, H2V2    v[i] = 3 near[i] + far[i]; out[2i] = (3 v[i] + v[i-1] + 8) >> 4,
 *                         out[2i+1] = (3 v[i] + v[i+1] + 7) >> 4; rows 2j and 2j+1 have row j near, and rows j-1 and
 *                         j+1 far
 *
 * Planes: the destination region decides how many rows and samples are made, and so which are read; the caller passes
 * regions that agree (twice or half), which is not checked. Up-sampling reads one sample before each source row used,
 * and one after it: the caller provides them (replicated edge samples). SampleUpH2V2 takes no rows from outside the
 * source region: the first and the last row stand for those before and after them.
 *
 * Checks of the plane forms: pSrc null: zmcStatusNullPointer; srcStep below 1: zmcStatusBadStep; a side of srcSize
 * below 1: zmcStatusBadSize; then pDst, dstStep and dstSize likewise.
 *
 * Threads: as the colour conversions, by the destination region; SampleUpH2V1 runs on the calling thread.
 */
ZMCJ_API ZmcStatus zmciSampleDownH2V1_JPEG_8u_C1R(const uint8_t* pSrc, int srcStep, ZmciSize srcSize, uint8_t* pDst,
                                                  int dstStep, ZmciSize dstSize);
ZMCJ_API ZmcStatus zmciSampleDownH2V2_JPEG_8u_C1R(const uint8_t* pSrc, int srcStep, ZmciSize srcSize, uint8_t* pDst,
                                                  int dstStep, ZmciSize dstSize);
ZMCJ_API ZmcStatus zmciSampleUpH2V1_JPEG_8u_C1R(const uint8_t* pSrc, int srcStep, ZmciSize srcSize, uint8_t* pDst,
                                                int dstStep, ZmciSize dstSize);
ZMCJ_API ZmcStatus zmciSampleUpH2V2_JPEG_8u_C1R(const uint8_t* pSrc, int srcStep, ZmciSize srcSize, uint8_t* pDst,
                                                int dstStep, ZmciSize dstSize);

/*
 * One output row from one or two source rows of srcWidth samples, by the same filters. Down: srcWidth / 2 samples; an
 * odd last source sample is left out. Up: 2 srcWidth samples; nothing outside the rows is read, and the first and the
 * last sample stand for those before and after them. pSrc1 is the nearer row of the triangle, pSrc2 the farther.
 *
 * Checks: a pointer null: zmcStatusNullPointer; srcWidth below 1: zmcStatusBadSize.
 */
ZMCJ_API ZmcStatus zmciSampleDownRowH2V1_Box_JPEG_8u_C1(const uint8_t* pSrc, int srcWidth, uint8_t* pDst);
ZMCJ_API ZmcStatus zmciSampleDownRowH2V2_Box_JPEG_8u_C1(const uint8_t* pSrc1, const uint8_t* pSrc2, int srcWidth,
                                                        uint8_t* pDst);
ZMCJ_API ZmcStatus zmciSampleUpRowH2V1_Triangle_JPEG_8u_C1(const uint8_t* pSrc, int srcWidth, uint8_t* pDst);
ZMCJ_API ZmcStatus zmciSampleUpRowH2V2_Triangle_JPEG_8u_C1(const uint8_t* pSrc1, const uint8_t* pSrc2, int srcWidth,
                                                           uint8_t* pDst);

/* ---- JPEG: pixels of one MCU to blocks --------------------------------------------------------------------------- */

/*
 * One MCU of interleaved pixels to the blocks that the forward DCT takes: colour conversion, chroma sampling and level
 * shift in one pass.
 *
 * pSrc, srcStep: the MCU's top left pixel, and the row step in bytes. 444 is 8x8 pixels, 422 is 16 wide and 8 high, 411
 * is 16x16; exactly these pixels are read.
 *   RGB, BGR         three bytes a pixel, in that order
 *   BGR555, BGR565   one 16-bit word, at any address, blue in the low bits; a field of five or six bits is shifted up
 *                    to eight with zeros below; bit 15 of 555 is ignored
 *   CMYK             four bytes
 *   SampleDown       three bytes: Y, Cb, Cr already, or any three components
 *   Split422         two bytes a pixel: Y0 Cb Y1 Cr
 *
 * pDst: three block pointers (four for CMYK): luminance, Cb, Cr, K. A block is 64 values, row by row. The luminance
 * blocks follow each other: left, right in 422; top left, top right, bottom left, bottom right in 411. All values are
 * level-shifted: luminance and K are -128..127, chroma is -128..128 (pure blue rounds up to 128).
 *
 * Arithmetic, >> rounding down, with R, G, B = 255 - C, M, Y for CMYK:
 *   Y  = (4899 R + 9617 G + 1868 B - 128 * 16384 + 8192) >> 14
 *   Cb = (-2764 SR - 5428 SG + 8192 SB + n * 8192) >> (14 + log2 n)
 *   Cr = (8192 SR - 6860 SG - 1332 SB + n * 8192) >> (14 + log2 n)
 * where SR, SG, SB are sums over the n = 1, 2 or 4 pixels that share the chroma value. The colour conversions of 411
 * have a second form, taken when pDst[0] is not a multiple of 16:
 *   Y  = ((19595 R + 38470 G + 7471 B) >> 16) - 128
 *   Cb = (-11059 SR - 21709 SG + 32768 SB) >> 18
 *   Cr = (32768 SR - 27439 SG - 5329 SB) >> 18
 * K, and the second and third component of SampleDown, are the mean of the n samples (a half rounds up) minus 128.
 *
 * Checks: pSrc or pDst null: zmcStatusNullPointer; srcStep below 1: zmcStatusBadStep; pDst[0], pDst[1], ... null:
 * zmcStatusNullPointer.
 */
ZMCJ_API ZmcStatus zmciRGBToYCbCr444LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]);
ZMCJ_API ZmcStatus zmciRGBToYCbCr422LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]);
ZMCJ_API ZmcStatus zmciRGBToYCbCr411LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]);
ZMCJ_API ZmcStatus zmciBGRToYCbCr444LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]);
ZMCJ_API ZmcStatus zmciBGRToYCbCr422LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]);
ZMCJ_API ZmcStatus zmciBGRToYCbCr411LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]);
ZMCJ_API ZmcStatus zmciBGR555ToYCbCr444LS_MCU_16u16s_C3P3R(const uint16_t* pSrc, int srcStep, int16_t* const pDst[3]);
ZMCJ_API ZmcStatus zmciBGR555ToYCbCr422LS_MCU_16u16s_C3P3R(const uint16_t* pSrc, int srcStep, int16_t* const pDst[3]);
ZMCJ_API ZmcStatus zmciBGR555ToYCbCr411LS_MCU_16u16s_C3P3R(const uint16_t* pSrc, int srcStep, int16_t* const pDst[3]);
ZMCJ_API ZmcStatus zmciBGR565ToYCbCr444LS_MCU_16u16s_C3P3R(const uint16_t* pSrc, int srcStep, int16_t* const pDst[3]);
ZMCJ_API ZmcStatus zmciBGR565ToYCbCr422LS_MCU_16u16s_C3P3R(const uint16_t* pSrc, int srcStep, int16_t* const pDst[3]);
ZMCJ_API ZmcStatus zmciBGR565ToYCbCr411LS_MCU_16u16s_C3P3R(const uint16_t* pSrc, int srcStep, int16_t* const pDst[3]);
ZMCJ_API ZmcStatus zmciCMYKToYCCK444LS_MCU_8u16s_C4P4R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[4]);
ZMCJ_API ZmcStatus zmciCMYKToYCCK422LS_MCU_8u16s_C4P4R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[4]);
ZMCJ_API ZmcStatus zmciCMYKToYCCK411LS_MCU_8u16s_C4P4R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[4]);
ZMCJ_API ZmcStatus zmciSampleDown444LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]);
ZMCJ_API ZmcStatus zmciSampleDown422LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]);
ZMCJ_API ZmcStatus zmciSampleDown411LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]);
ZMCJ_API ZmcStatus zmciSplit422LS_MCU_8u16s_C2P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]);

/* ---- JPEG: blocks of one MCU to pixels --------------------------------------------------------------------------- */

/*
 * The blocks of one MCU, as the inverse DCT leaves them, to interleaved pixels: level shift, replication of chroma to
 * its 1, 2 or 2x2 pixels and colour conversion in one pass.
 *
 * pSrc: three block pointers (four for YCCK), laid out as the forward conversions write them. All 16-bit values are
 * allowed; results are clamped to 0..255.
 *
 * pDst, dstStep: the MCU's top left pixel, and the row step in bytes. Pixels are those of the forward conversions.
 * Fields of 555 and 565 take the high bits of their colour, bit 15 of 555 is 0. C, M, Y = 255 - R, G, B; K is the K
 * value plus 128. Exactly the MCU's pixels are written, in ascending rows.
 *
 * Arithmetic, >> rounding down, when pSrc[0], pSrc[1] and pSrc[2] are all multiples of 16 (pSrc[3] does not count),
 * where the shifted term, and then the sum, saturate to 16 bits before the clamp:
 *   R = clamp(Y + ((22970 Cr + 128 * 16384 + 8192) >> 14))
 *   G = clamp(Y + ((-5638 Cb - 11700 Cr + 128 * 16384 + 8192) >> 14))
 *   B = clamp(Y + ((29032 Cb + 128 * 16384 + 8192) >> 14))
 * Otherwise, with no limit before the clamp:
 *   R = clamp(Y + (91881 Cr >> 16) + 128)
 *   G = clamp(Y + ((-22554 Cb - 46802 Cr) >> 16) + 128)
 *   B = clamp(Y + (116130 Cb >> 16) + 128)
 * SampleUp, and Join422 with two bytes a pixel (Y0 Cb Y1 Cr), add 128 and clamp.
 *
 * Checks: pSrc or pDst null: zmcStatusNullPointer; pSrc[0], pSrc[1], ... null: zmcStatusNullPointer; dstStep below 1:
 * zmcStatusBadStep.
 */
ZMCJ_API ZmcStatus zmciYCbCr444ToRGBLS_MCU_16s8u_P3C3R(const int16_t* const pSrc[3], uint8_t* pDst, int dstStep);
ZMCJ_API ZmcStatus zmciYCbCr422ToRGBLS_MCU_16s8u_P3C3R(const int16_t* const pSrc[3], uint8_t* pDst, int dstStep);
ZMCJ_API ZmcStatus zmciYCbCr411ToRGBLS_MCU_16s8u_P3C3R(const int16_t* const pSrc[3], uint8_t* pDst, int dstStep);
ZMCJ_API ZmcStatus zmciYCbCr444ToBGRLS_MCU_16s8u_P3C3R(const int16_t* const pSrc[3], uint8_t* pDst, int dstStep);
ZMCJ_API ZmcStatus zmciYCbCr422ToBGRLS_MCU_16s8u_P3C3R(const int16_t* const pSrc[3], uint8_t* pDst, int dstStep);
ZMCJ_API ZmcStatus zmciYCbCr411ToBGRLS_MCU_16s8u_P3C3R(const int16_t* const pSrc[3], uint8_t* pDst, int dstStep);
ZMCJ_API ZmcStatus zmciYCbCr444ToBGR555LS_MCU_16s16u_P3C3R(const int16_t* const pSrc[3], uint16_t* pDst, int dstStep);
ZMCJ_API ZmcStatus zmciYCbCr422ToBGR555LS_MCU_16s16u_P3C3R(const int16_t* const pSrc[3], uint16_t* pDst, int dstStep);
ZMCJ_API ZmcStatus zmciYCbCr411ToBGR555LS_MCU_16s16u_P3C3R(const int16_t* const pSrc[3], uint16_t* pDst, int dstStep);
ZMCJ_API ZmcStatus zmciYCbCr444ToBGR565LS_MCU_16s16u_P3C3R(const int16_t* const pSrc[3], uint16_t* pDst, int dstStep);
ZMCJ_API ZmcStatus zmciYCbCr422ToBGR565LS_MCU_16s16u_P3C3R(const int16_t* const pSrc[3], uint16_t* pDst, int dstStep);
ZMCJ_API ZmcStatus zmciYCbCr411ToBGR565LS_MCU_16s16u_P3C3R(const int16_t* const pSrc[3], uint16_t* pDst, int dstStep);
ZMCJ_API ZmcStatus zmciYCCK444ToCMYKLS_MCU_16s8u_P4C4R(const int16_t* const pSrc[4], uint8_t* pDst, int dstStep);
ZMCJ_API ZmcStatus zmciYCCK422ToCMYKLS_MCU_16s8u_P4C4R(const int16_t* const pSrc[4], uint8_t* pDst, int dstStep);
ZMCJ_API ZmcStatus zmciYCCK411ToCMYKLS_MCU_16s8u_P4C4R(const int16_t* const pSrc[4], uint8_t* pDst, int dstStep);
ZMCJ_API ZmcStatus zmciSampleUp444LS_MCU_16s8u_P3C3R(const int16_t* const pSrc[3], uint8_t* pDst, int dstStep);
ZMCJ_API ZmcStatus zmciSampleUp422LS_MCU_16s8u_P3C3R(const int16_t* const pSrc[3], uint8_t* pDst, int dstStep);
ZMCJ_API ZmcStatus zmciSampleUp411LS_MCU_16s8u_P3C3R(const int16_t* const pSrc[3], uint8_t* pDst, int dstStep);
ZMCJ_API ZmcStatus zmciJoin422LS_MCU_16s8u_P3C2R(const int16_t* const pSrc[3], uint8_t* pDst, int dstStep);

/* ---- JPEG 2000: reversible component transform ------------------------------------------------------------------- */

/*
 * The reversible component transform (ISO/IEC 15444-1, G.2). All sums wrap in 32 bits. Forward, per pixel:
 *   Y = floor((R + 2G + B) / 4), U = B - G, V = R - G
 * Inverse:
 *   G = Y - floor((U + V) / 4), B = U + G, R = V + G
 *
 * C3 is pixels of R, G, B; P3 is three planes with one step, in the order R, G, B or Y, U, V. P3IR overwrites the
 * planes; each pixel is read whole before it is written.
 *
 * Checks: a null buffer or array, then plane 0, 1, 2: zmcStatusNullPointer; a step below 1: zmcStatusBadStep; width or
 * height below 1: zmcStatusBadSize.
 */
ZMCJ_API ZmcStatus zmciRCTFwd_JPEG2K_32s_C3P3R(const int32_t* pSrc, int srcStep, int32_t* const pDst[3], int dstStep,
                                               ZmciSize roiSize);
ZMCJ_API ZmcStatus zmciRCTInv_JPEG2K_32s_P3C3R(const int32_t* const pSrc[3], int srcStep, int32_t* pDst, int dstStep,
                                               ZmciSize roiSize);
ZMCJ_API ZmcStatus zmciRCTFwd_JPEG2K_32s_P3IR(int32_t* const pSrcDst[3], int srcDstStep, ZmciSize roiSize);
ZMCJ_API ZmcStatus zmciRCTInv_JPEG2K_32s_P3IR(int32_t* const pSrcDst[3], int srcDstStep, ZmciSize roiSize);

/* ---- JPEG 2000: 5/3 wavelet -------------------------------------------------------------------------------------- */

/* The line operations' phase: which band the region's first sample belongs to, the parity of its coordinate. */
typedef enum ZmcWTFilterFirst {
  zmcWTFilterFirstLow = 0, /* an even coordinate */
  zmcWTFilterFirstHigh = 1 /* an odd coordinate; so does any other value than 0 */
} ZmcWTFilterFirst;

/*
 * One level of the reversible 5/3 wavelet (ISO/IEC 15444-1, F.3.8.2 and F.4.8.2) along every row (Row) or every column
 * (Col) of a region. Forward: d = x - floor((left + right) / 2) at the high positions, then s = x + floor((left d +
 * right d + 2) / 4) at the low ones. Inverse: the same steps undone in the opposite order. 16s: each d and s wraps to
 * 16 bits before it is used. 32s: all sums wrap in 32 bits.
 *
 * dstRoiSize, srcRoiSize: the size of each band. The interleaved signal has twice the width (Row) or the height (Col).
 * phase: a ZmcWTFilterFirst.
 *
 * Lines are not extended: the caller lays samples (Row) or rows (Col, one step apart) around the region, so many:
 *   forward, first low:   2 before, 1 after             forward, first high:  1 before, 2 after
 *   inverse, first low:   1 high before; 1 low and 1 high after
 *   inverse, first high:  1 low and 1 high before; 1 high after
 * The inverse Col with first high finds the low row above the region srcHighStep bytes above pSrcLow: lay the bands out
 * with equal steps.
 *
 * Checks: a null buffer: zmcStatusNullPointer; a step below 1: zmcStatusBadStep; width or height below 1:
 * zmcStatusBadSize.
 */
ZMCJ_API ZmcStatus zmciWTFwdRow_B53_JPEG2K_16s_C1R(const int16_t* pSrc, int srcStep, int16_t* pDstLow, int dstLowStep,
                                                   int16_t* pDstHigh, int dstHighStep, ZmciSize dstRoiSize, int phase);
ZMCJ_API ZmcStatus zmciWTFwdRow_B53_JPEG2K_32s_C1R(const int32_t* pSrc, int srcStep, int32_t* pDstLow, int dstLowStep,
                                                   int32_t* pDstHigh, int dstHighStep, ZmciSize dstRoiSize, int phase);
ZMCJ_API ZmcStatus zmciWTFwdCol_B53_JPEG2K_16s_C1R(const int16_t* pSrc, int srcStep, int16_t* pDstLow, int dstLowStep,
                                                   int16_t* pDstHigh, int dstHighStep, ZmciSize dstRoiSize, int phase);
ZMCJ_API ZmcStatus zmciWTFwdCol_B53_JPEG2K_32s_C1R(const int32_t* pSrc, int srcStep, int32_t* pDstLow, int dstLowStep,
                                                   int32_t* pDstHigh, int dstHighStep, ZmciSize dstRoiSize, int phase);
ZMCJ_API ZmcStatus zmciWTInvRow_B53_JPEG2K_16s_C1R(const int16_t* pSrcLow, int srcLowStep, const int16_t* pSrcHigh,
                                                   int srcHighStep, ZmciSize srcRoiSize, int16_t* pDst, int dstStep,
                                                   int phase);
ZMCJ_API ZmcStatus zmciWTInvRow_B53_JPEG2K_32s_C1R(const int32_t* pSrcLow, int srcLowStep, const int32_t* pSrcHigh,
                                                   int srcHighStep, ZmciSize srcRoiSize, int32_t* pDst, int dstStep,
                                                   int phase);
ZMCJ_API ZmcStatus zmciWTInvCol_B53_JPEG2K_16s_C1R(const int16_t* pSrcLow, int srcLowStep, const int16_t* pSrcHigh,
                                                   int srcHighStep, ZmciSize srcRoiSize, int16_t* pDst, int dstStep,
                                                   int phase);
ZMCJ_API ZmcStatus zmciWTInvCol_B53_JPEG2K_32s_C1R(const int32_t* pSrcLow, int srcLowStep, const int32_t* pSrcHigh,
                                                   int srcHighStep, ZmciSize srcRoiSize, int32_t* pDst, int dstStep,
                                                   int phase);

/*
 * One level of the reversible 5/3 wavelet in both directions (ISO/IEC 15444-1, F.3.2 and F.4.2), with symmetric
 * extension at the region's borders. Forward: columns, then rows; inverse: rows, then columns. The arithmetic is that
 * of the line operations. A line of length 2 has high = odd - even and low = even + floor((high + 1) / 2). A line of
 * length 1 stays as it is at an even coordinate; at an odd one it is doubled, wrapping, and the inverse halves it
 * toward zero.
 *
 * pTileRect: the region's size, and its position, of which only the parity matters.
 * C1IR, in place: the bands lie LL top left, HL (high horizontally) top right, LH bottom left, HH bottom right, with
 * ceil(width / 2) low columns at an even x, floor(width / 2) at an odd one; rows and y alike. A width or height below
 * 1: nothing is written, and zmcStatusOk returned.
 *
 * C1R: the bands are four images in the order LL, LH, HL, HH, cut out
 * of (or laid into) the in-place layout always as if x and y were even: low halves ceil(n / 2), high halves floor(n /
 * 2). At an odd origin and an odd size the images therefore hold a column or row of the neighbouring band; together
 * they still hold every sample once.
 *
 * pBuffer: work memory of at least the size that the query gives, at any address. Never null, even where the query
 * gives 0. The query: in place, 0 for a region below 3 x 3, else max(width, height) + 4 samples; C1R, besides that a
 * copy of the region with rows rounded up to 32 bytes. A size above INT32_MAX is given as INT32_MAX, and
 * such a region refused with zmcStatusBadSize: cut it into tiles.
 *
 * Checks, in place: pSrcDst null: zmcStatusNullPointer; srcDstStep below 1: zmcStatusBadStep; pTileRect or pBuffer
 * null: zmcStatusNullPointer. C1R: any pointer argument null: zmcStatusNullPointer; the image's step below 1:
 * zmcStatusBadStep; one of the four images null: zmcStatusNullPointer; one of their steps below 1: zmcStatusBadStep;
 * width or height below 1: zmcStatusBadSize. Query: a null pointer: zmcStatusNullPointer.
 */
ZMCJ_API ZmcStatus zmciWTFwd_B53_JPEG2K_16s_C1IR(int16_t* pSrcDst, int srcDstStep, const ZmciRect* pTileRect,
                                                 uint8_t* pBuffer);
ZMCJ_API ZmcStatus zmciWTFwd_B53_JPEG2K_32s_C1IR(int32_t* pSrcDst, int srcDstStep, const ZmciRect* pTileRect,
                                                 uint8_t* pBuffer);
ZMCJ_API ZmcStatus zmciWTInv_B53_JPEG2K_16s_C1IR(int16_t* pSrcDst, int srcDstStep, const ZmciRect* pTileRect,
                                                 uint8_t* pBuffer);
ZMCJ_API ZmcStatus zmciWTInv_B53_JPEG2K_32s_C1IR(int32_t* pSrcDst, int srcDstStep, const ZmciRect* pTileRect,
                                                 uint8_t* pBuffer);
ZMCJ_API ZmcStatus zmciWTFwd_B53_JPEG2K_16s_C1R(const int16_t* pSrc, int srcStep, const ZmciRect* pTileRect,
                                                int16_t* const pDst[4], const int dstStep[4], uint8_t* pBuffer);
ZMCJ_API ZmcStatus zmciWTFwd_B53_JPEG2K_32s_C1R(const int32_t* pSrc, int srcStep, const ZmciRect* pTileRect,
                                                int32_t* const pDst[4], const int dstStep[4], uint8_t* pBuffer);
ZMCJ_API ZmcStatus zmciWTInv_B53_JPEG2K_16s_C1R(const int16_t* const pSrc[4], const int srcStep[4], int16_t* pDst,
                                                int dstStep, const ZmciRect* pTileRect, uint8_t* pBuffer);
ZMCJ_API ZmcStatus zmciWTInv_B53_JPEG2K_32s_C1R(const int32_t* const pSrc[4], const int srcStep[4], int32_t* pDst,
                                                int dstStep, const ZmciRect* pTileRect, uint8_t* pBuffer);
ZMCJ_API ZmcStatus zmciWTGetBufSize_B53_JPEG2K_16s_C1IR(const ZmciRect* pTileRect, int32_t* pSize);
ZMCJ_API ZmcStatus zmciWTGetBufSize_B53_JPEG2K_32s_C1IR(const ZmciRect* pTileRect, int32_t* pSize);
ZMCJ_API ZmcStatus zmciWTGetBufSize_B53_JPEG2K_16s_C1R(const ZmciRect* pTileRect, int32_t* pSize);
ZMCJ_API ZmcStatus zmciWTGetBufSize_B53_JPEG2K_32s_C1R(const ZmciRect* pTileRect, int32_t* pSize);

/* ---- JPEG 2000: 9/7 wavelet -------------------------------------------------------------------------------------- */

/*
 * One level of the irreversible 9/7 wavelet (ISO/IEC 15444-1, F.3.8.1 and F.4.8.1) along every row or column of a
 * region, in single precision: each lifting step is the sum of the two neighbours times the constant, plus the centre.
 * Forward: alpha, beta, gamma, delta, then low times 1/K and high times K, K = 1.230174065. Inverse: low times K and
 * the first step in one with delta / K, high times 1/K, then -gamma, -beta, -alpha. NaN and infinity pass through the
 * steps; which NaN results is not specified. Forward rows of width 1 with first high are computed by the filters' taps
 * directly.
 *
 * Arguments, order of the checks and what is left to the caller as for the 5/3 line operations, with this border:
 *   forward, first low:   4 before, 3 after             forward, first high:  3 before, 4 after
 *   inverse, first low:   1 low and 2 high before; 2 low and 2 high after
 *   inverse, first high:  2 low and 2 high before; 1 low and 2 high after
 * All rows of a band, those of the border included, are its own step apart.
 */
ZMCJ_API ZmcStatus zmciWTFwdRow_D97_JPEG2K_32f_C1R(const float* pSrc, int srcStep, float* pDstLow, int dstLowStep,
                                                   float* pDstHigh, int dstHighStep, ZmciSize dstRoiSize, int phase);
ZMCJ_API ZmcStatus zmciWTFwdCol_D97_JPEG2K_32f_C1R(const float* pSrc, int srcStep, float* pDstLow, int dstLowStep,
                                                   float* pDstHigh, int dstHighStep, ZmciSize dstRoiSize, int phase);
ZMCJ_API ZmcStatus zmciWTInvRow_D97_JPEG2K_32f_C1R(const float* pSrcLow, int srcLowStep, const float* pSrcHigh,
                                                   int srcHighStep, ZmciSize srcRoiSize, float* pDst, int dstStep,
                                                   int phase);
ZMCJ_API ZmcStatus zmciWTInvCol_D97_JPEG2K_32f_C1R(const float* pSrcLow, int srcLowStep, const float* pSrcHigh,
                                                   int srcHighStep, ZmciSize srcRoiSize, float* pDst, int dstStep,
                                                   int phase);

/*
 * One level of the irreversible 9/7 wavelet in both directions on integers. Order of the passes, layout of the bands,
 * buffer, lines of length 1 and checks as for the 5/3 forms; a line of length 2 has no rule of its own here.
 * 16s: 14-bit fixed point. Every step and every scaling adds (product + 8192) >> 14 and wraps to 16 bits.
 * 32s: single precision; the inverse first scales low by K and high by 1/K. Each pass ends in integers, truncated
 * toward zero: above 2147483648.0 gives INT32_MAX; below -2147483648.0, exactly 2147483648.0, and NaN give INT32_MIN.
 * The query: in place, 0 for a 1 x 1 region, else max(width, height) + 8 samples; C1R adds the region's copy.
 */
ZMCJ_API ZmcStatus zmciWTFwd_D97_JPEG2K_16s_C1IR(int16_t* pSrcDst, int srcDstStep, const ZmciRect* pTileRect,
                                                 uint8_t* pBuffer);
ZMCJ_API ZmcStatus zmciWTFwd_D97_JPEG2K_32s_C1IR(int32_t* pSrcDst, int srcDstStep, const ZmciRect* pTileRect,
                                                 uint8_t* pBuffer);
ZMCJ_API ZmcStatus zmciWTInv_D97_JPEG2K_16s_C1IR(int16_t* pSrcDst, int srcDstStep, const ZmciRect* pTileRect,
                                                 uint8_t* pBuffer);
ZMCJ_API ZmcStatus zmciWTInv_D97_JPEG2K_32s_C1IR(int32_t* pSrcDst, int srcDstStep, const ZmciRect* pTileRect,
                                                 uint8_t* pBuffer);
ZMCJ_API ZmcStatus zmciWTFwd_D97_JPEG2K_16s_C1R(const int16_t* pSrc, int srcStep, const ZmciRect* pTileRect,
                                                int16_t* const pDst[4], const int dstStep[4], uint8_t* pBuffer);
ZMCJ_API ZmcStatus zmciWTFwd_D97_JPEG2K_32s_C1R(const int32_t* pSrc, int srcStep, const ZmciRect* pTileRect,
                                                int32_t* const pDst[4], const int dstStep[4], uint8_t* pBuffer);
ZMCJ_API ZmcStatus zmciWTInv_D97_JPEG2K_16s_C1R(const int16_t* const pSrc[4], const int srcStep[4], int16_t* pDst,
                                                int dstStep, const ZmciRect* pTileRect, uint8_t* pBuffer);
ZMCJ_API ZmcStatus zmciWTInv_D97_JPEG2K_32s_C1R(const int32_t* const pSrc[4], const int srcStep[4], int32_t* pDst,
                                                int dstStep, const ZmciRect* pTileRect, uint8_t* pBuffer);
ZMCJ_API ZmcStatus zmciWTGetBufSize_D97_JPEG2K_16s_C1IR(const ZmciRect* pTileRect, int32_t* pSize);
ZMCJ_API ZmcStatus zmciWTGetBufSize_D97_JPEG2K_32s_C1IR(const ZmciRect* pTileRect, int32_t* pSize);
ZMCJ_API ZmcStatus zmciWTGetBufSize_D97_JPEG2K_16s_C1R(const ZmciRect* pTileRect, int32_t* pSize);
ZMCJ_API ZmcStatus zmciWTGetBufSize_D97_JPEG2K_32s_C1R(const ZmciRect* pTileRect, int32_t* pSize);

/* ---- JPEG 2000: code-block encoder ------------------------------------------------------------------------------- */

/*
 * The encoder of code-blocks (tier 1, ISO/IEC 15444-1 Annexes C and D). For each block: load it once, which codes all
 * its passes, then store until nothing is left, then ask for lengths and distortions. A handle serves any number of
 * blocks up to its limits, one after another, and is used by one thread at a time.
 *
 * Common checks: pState null: zmcStatusNullPointer; a handle without its tag: zmcStatusBadContext; then the others.
 */
typedef struct ZmciEncodeState_JPEG2K ZmciEncodeState_JPEG2K;

/*
 * Makes a handle for blocks of up to maxWidth x maxHeight samples, any sizes from 1 up.
 * Checks: pState null: zmcStatusNullPointer; maxWidth or maxHeight below 1: zmcStatusBadSize; no memory, or sizes whose
 * buffers no memory can hold: zmcStatusNoMemory with *pState null.
 */
ZMCJ_API ZmcStatus zmciEncodeInitAlloc_JPEG2K(ZmciEncodeState_JPEG2K** pState, int maxWidth, int maxHeight);

/* Releases a handle. Check: pState null: zmcStatusNullPointer; the tag is not looked at. */
ZMCJ_API ZmcStatus zmciEncodeFree_JPEG2K(ZmciEncodeState_JPEG2K* pState);

/*
 * Codes all passes of a block of two's complement coefficients; what the handle held before is discarded.
 *   pSrc, srcStep    the coefficients, rows srcStep bytes apart, at any address
 *   orientation      2 for HL, 3 for HH, anything else for LL and LH
 *   magnitudeBits    M, 1 to 31: magnitudes are taken modulo 2^M; any other value counts as 31
 *   passParameter    how MQ segments end: 1 as short as possible, 2 predictably (D.4.2), anything else by FLUSH (C.2.9)
 *   spareParameter   ignored
 *   flags            sum of: 0x1 vertically causal contexts; 0x2 selective arithmetic-coding bypass; 0x4 every pass
 *                    ends its segment; 0x8 contexts reset after each MQ pass; 0x10 segmentation symbols; 0x20 MQ
 *                    segments end predictably, whatever passParameter says. Other bits are ignored.
 *   pNOfBitPlanes    the bit length of the largest magnitude, 0 to 31
 *   pNOfPasses       3 * planes - 2, or 0 for a block of zeros
 *   pNOfSegments     codeword segments: a new one begins where passes change between MQ and raw, with 0x4 at each pass
 * Checks after the common ones: pNOfBitPlanes, pNOfPasses or pNOfSegments null: zmcStatusNullPointer; width or height
 * below 1 or above the handle's: zmcStatusBadSize; pSrc null: zmcStatusNullPointer; srcStep below 1: zmcStatusBadStep.
 */
ZMCJ_API ZmcStatus zmciEncodeLoadCodeBlock_JPEG2K_32s_C1R(const int32_t* pSrc, int srcStep, ZmciSize size,
                                                          ZmciEncodeState_JPEG2K* pState, int orientation,
                                                          int magnitudeBits, int passParameter, int spareParameter,
                                                          int flags, uint32_t* pNOfBitPlanes, uint32_t* pNOfPasses,
                                                          uint32_t* pNOfSegments);

/*
 * Writes the loaded block's codeword, all segments one after another, in as many calls as the rooms require: every
 * division into rooms gives the same bytes. *pDstLen: in, room at pDst in bytes; out, bytes written. *pIsNotFinished: 1
 * while bytes remain, 0 when the codeword is complete (at once for a block without passes).
 * Checks after the common ones: pDst, pDstLen or pIsNotFinished null: zmcStatusNullPointer; room below 1:
 * zmcStatusBadSize.
 */
ZMCJ_API ZmcStatus zmciEncodeStoreBits_JPEG2K_1u(uint8_t* pDst, int32_t* pDstLen, ZmciEncodeState_JPEG2K* pState,
                                                 int32_t* pIsNotFinished);

/*
 * The length in bytes, from the codeword's first byte, that suffices for the passes 0 to passIndex; exact at a
 * segment's end, a close upper estimate inside one, never decreasing. Complete once storing has reported the end;
 * before that, a pass not yet stored has length 0. Checks after the common ones: pRate null: zmcStatusNullPointer;
 * passIndex outside 0 .. passes - 1: zmcStatusBadPassNumber.
 */
ZMCJ_API ZmcStatus zmciEncodeGetRate_JPEG2K(const ZmciEncodeState_JPEG2K* pState, int passIndex, uint32_t* pRate);

/*
 * The squared error that the passes 0 to passIndex remove from the block, in units of the coefficients' own step, when
 * the decoder reconstructs at midpoints: exact to 31 bits a pass. Known from loading on.
 * Checks as for zmciEncodeGetRate_JPEG2K, with pDist.
 */
ZMCJ_API ZmcStatus zmciEncodeGetDist_JPEG2K(const ZmciEncodeState_JPEG2K* pState, int passIndex, double* pDist);

/*
 * The length in bytes of one codeword segment; passIndex counts segments from 0. The lengths sum to the codeword's
 * length. Known once storing has reported the end.
 * Checks after the common ones: pLength null: zmcStatusNullPointer; passIndex outside 0 .. segments - 1:
 * zmcStatusBadPassNumber.
 */
ZMCJ_API ZmcStatus zmciEncodeGetTermPassLen_JPEG2K(const ZmciEncodeState_JPEG2K* pState, int passIndex,
                                                   uint32_t* pLength);

/* ---- JPEG 2000: code-block decoder ------------------------------------------------------------------------------- */

/*
 * The size in bytes of the work buffer for blocks of width x height samples: S * ((height + 1) / 2 + 2), where S is
 * width * 4 + 8 rounded up to a multiple of 32. The sizes are not checked; a result beyond 32 bits is 2^32 - 1.
 * Check: pSize null: zmcStatusNullPointer.
 */
ZMCJ_API ZmcStatus zmciDecodeGetBufSize_JPEG2K(int width, int height, uint32_t* pSize);

/*
 * Decodes one code-block (tier 1, ISO/IEC 15444-1 Annexes C and D) to sign-magnitude words: bit 31 is the sign, bits 0
 * to 30 the magnitude. Damaged data may give any coefficients, but no access outside the segments, block and buffer.
 *   pSrc             the compressed data, all segments one after another; data missing at a segment's end count as 0xFF
 *   pDst, dstStep    the coefficients, rows dstStep bytes apart, at any address
 *   orientation      2 for HL, 3 for HH, anything else for LL and LH
 *   nBitPlanes       magnitude bit-planes, up to 31; the first coded plane is nBitPlanes - 1; below 1: nothing is done
 *   nPasses          coding passes to decode; below 1 nothing is decoded
 *   pSegmentLengths  nSegments lengths in bytes; where the passes need more segments, the further ones are empty
 *   flags            sum of: 0x1 vertically causal contexts; 0x2 selective arithmetic-coding bypass; 0x4 every pass
 *                    ends its segment; 0x8 contexts reset after each MQ pass; 0x10 segmentation symbols; 0x10000 on
 *                    damaged data reconstruct from the planes above; 0x20000 the destination is zero already; 0x40000
 *                    keep the half-step bit below the last plane; 0x80000 the work buffer is zero already; 0x100000
 *                    check the ends of terminated segments, which must have been made by predictable termination
 *                    (D.4.2). Other bits are ignored.
 *   pErrorBitPlane   may be null; receives the plane of the pass that found damage, otherwise left alone
 *   pBuffer          work buffer at any address, of the size that zmciDecodeGetBufSize_JPEG2K tells; its contents
 *                    afterwards are unspecified
 * The segments follow from the options: a segment of MQ passes lasts until the next raw pass and the other way round,
 * with 0x4 every pass has its own. Raw are, with 0x2, the first two passes of the planes below nBitPlanes - 4.
 * Without 0x40000 the bits below the last plane reached are zero in the end; with it, or after damage, a coefficient
 * stands at the midpoint of what is known.
 * Checks: pSrc or pBuffer null: zmcStatusNullPointer; width or height below 1: zmcStatusBadSize; pSegmentLengths or
 * pDst null: zmcStatusNullPointer; dstStep below 1: zmcStatusBadStep; nBitPlanes above 31: zmcStatusBadArgument; a work
 * buffer of 2^32 bytes or more: zmcStatusBadSize. A pass that finds its segment damaged (the ends checked with
 * 0x100000, the padding of raw segments, the segmentation symbols) ends decoding: zmcStatusCodeBlockDecodeError. What
 * was decoded stays in pDst.
 */
ZMCJ_API ZmcStatus zmciDecodeCodeBlock_JPEG2K_1u32s_C1R(const uint8_t* pSrc, int32_t* pDst, int dstStep, ZmciSize size,
                                                        int orientation, int nBitPlanes, int nPasses,
                                                        const uint32_t* pSegmentLengths, uint32_t nSegments, int flags,
                                                        int32_t* pErrorBitPlane, uint8_t* pBuffer);

#ifdef __cplusplus
}
#endif

#endif /* ZMCJ_H */
