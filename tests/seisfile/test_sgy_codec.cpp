// Sample encodings and text conversion of SEG-Y files.
#include <cmath>
#include <random>

#include "SeisTestUtil.h"
#include "seisfile/SgyCodec.h"

static std::vector<unsigned char> ibm_bytes(float v) {
  std::vector<unsigned char> b(4);
  sgy_float_to_ibm(v, b.data());
  return b;
}

TEST(SgyCodec, IbmEncodingExamplesAreExact) {
  EXPECT_EQ(ibm_bytes(1.0f), (std::vector<unsigned char>{0x41, 0x10, 0x00, 0x00}));
  EXPECT_EQ(ibm_bytes(0.5f), (std::vector<unsigned char>{0x40, 0x80, 0x00, 0x00}));
  EXPECT_EQ(ibm_bytes(-0.25f), (std::vector<unsigned char>{0xC0, 0x40, 0x00, 0x00}));
  EXPECT_EQ(ibm_bytes(0.03125f), (std::vector<unsigned char>{0x3F, 0x80, 0x00, 0x00}));
  // The classic reference value -118.625 = C2 76 A0 00.
  EXPECT_EQ(ibm_bytes(-118.625f), (std::vector<unsigned char>{0xC2, 0x76, 0xA0, 0x00}));
}

TEST(SgyCodec, TinyValuesAndZeroEncodeAsZero) {
  const std::vector<unsigned char> zero{0, 0, 0, 0};
  EXPECT_EQ(ibm_bytes(0.0f), zero);
  EXPECT_EQ(ibm_bytes(-0.0f), zero);
  EXPECT_EQ(ibm_bytes(9.9e-7f), zero);
  EXPECT_EQ(ibm_bytes(-5e-7f), zero);
  EXPECT_EQ(ibm_bytes(1e-30f), zero);
  EXPECT_NE(ibm_bytes(1.1e-6f), zero);
  unsigned char b[4] = {0x42, 0, 0, 0}; // exponent without mantissa
  EXPECT_EQ(sgy_ibm_to_float(b), 0.0f);
}

TEST(SgyCodec, IbmDecodesKnownPatterns) {
  const unsigned char one[4] = {0x41, 0x10, 0, 0}, neg[4] = {0xC2, 0x76, 0xA0, 0};
  const unsigned char small[4] = {0x3F, 0x80, 0, 0}, big[4] = {0x46, 0x0F, 0x42, 0x40};
  EXPECT_EQ(sgy_ibm_to_float(one), 1.0f);
  EXPECT_EQ(sgy_ibm_to_float(neg), -118.625f);
  EXPECT_EQ(sgy_ibm_to_float(small), 0.03125f);
  EXPECT_EQ(sgy_ibm_to_float(big), 1000000.0f);
}

// Our encoder truncates to the IBM mantissa: at most 3 bits of the float's
// 24 can be lost, so the relative error stays below 2^-20.
TEST(SgyCodec, RandomValuesRoundTripWithinIbmPrecision) {
  std::mt19937 rng(12345);
  std::uniform_real_distribution<float> mant(-1.0f, 1.0f);
  std::uniform_int_distribution<int> ex(-19, 60);
  for (int i = 0; i < 20000; i++) {
    float v = std::ldexp(mant(rng), ex(rng));
    if (std::fabs(v) < 1e-6f)
      continue;
    unsigned char b[4];
    sgy_float_to_ibm(v, b);
    float back = sgy_ibm_to_float(b);
    ASSERT_LE(std::fabs(back - v), std::fabs(v) * 9.6e-7) << v;
    ASSERT_LE(std::fabs(back), std::fabs(v)) << "truncation never grows the magnitude " << v;
    ASSERT_EQ(std::signbit(back), std::signbit(v));
  }
}

#ifdef KELVO_HAVE_SEGYIO
TEST(SgyCodec, AgreesWithIndependentImplementation) {
  std::mt19937 rng(777);
  std::uniform_real_distribution<float> mant(-1.0f, 1.0f);
  std::uniform_int_distribution<int> ex(-19, 40);
  int nExact = 0;
  for (int i = 0; i < 20000; i++) {
    float v = i < 4 ? std::vector<float>{0.0f, 1.0f, -2.5f, 3.0e-6f}[i] : std::ldexp(mant(rng), ex(rng));
    // Their encoding, our decoding.
    float f = v;
    segy_from_native(SEGY_IBM_FLOAT_4_BYTE, 1, &f);
    unsigned char theirs[4];
    memcpy(theirs, &f, 4);
    float ours = sgy_ibm_to_float(theirs);
    ASSERT_LE(std::fabs(ours - v), std::fabs(v) * 9.6e-7 + 1e-30) << v;
    // Our encoding, their decoding.
    unsigned char mine[4];
    sgy_float_to_ibm(v, mine);
    float g;
    memcpy(&g, mine, 4);
    segy_to_native(SEGY_IBM_FLOAT_4_BYTE, 1, &g);
    if (std::fabs(v) < 1e-6f)
      ASSERT_EQ(g, 0.0f);
    else
      ASSERT_LE(std::fabs(g - v), std::fabs(v) * 9.6e-7) << v;
    if (g == ours)
      nExact++;
  }
  EXPECT_GT(nExact, 10000); // most values survive both ways bit for bit
}
#endif

TEST(SgyCodec, BigEndianIeeeAndSwaps) {
  const unsigned char one[4] = {0x3F, 0x80, 0, 0}, inf[4] = {0x7F, 0x80, 0, 0}, nan[4] = {0xFF, 0xC0, 0, 1};
  EXPECT_EQ(sgy_ieee_be_to_float(one), 1.0f);
  EXPECT_EQ(sgy_ieee_be_to_float(inf), 0.0f);
  EXPECT_EQ(sgy_ieee_be_to_float(nan), 0.0f);
  unsigned char b[4] = {1, 2, 3, 4};
  sgy_swap32(b);
  EXPECT_EQ(b[0], 4);
  EXPECT_EQ(b[3], 1);
  EXPECT_EQ(b[1], 3);
  sgy_swap16(b);
  EXPECT_EQ(b[0], 3);
  EXPECT_EQ(b[1], 4);
}

TEST(SgyCodec, EbcdicTableRoundTrips) {
  EXPECT_EQ(sgy_ascii_to_ebcdic(' '), 0x40);
  EXPECT_EQ(sgy_ascii_to_ebcdic('C'), 0xC3);
  EXPECT_EQ(sgy_ascii_to_ebcdic('0'), 0xF0);
  EXPECT_EQ(sgy_ascii_to_ebcdic('_'), 0x6D);
  EXPECT_EQ(sgy_ascii_to_ebcdic('~'), 0xA1);
  for (int c = 0x20; c <= 0x7E; c++)
    EXPECT_EQ(sgy_ebcdic_to_ascii(sgy_ascii_to_ebcdic((unsigned char)c)), c) << c;
}
