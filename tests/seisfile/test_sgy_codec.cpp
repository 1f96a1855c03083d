// Sample encodings and text conversion of SEG-Y files.
#include <cmath>
#include <random>

#include "SeisTestUtil.h"
#include "seisfile/SgyCodec.h"

TEST(SgyCodec, IbmExamplesEncodeAndDecodeExactly) {
  const struct {
    float v;
    unsigned char b[4];
  } cases[] = {{1.0f, {0x41, 0x10, 0, 0}},
               {0.5f, {0x40, 0x80, 0, 0}},
               {-0.25f, {0xC0, 0x40, 0, 0}},
               {0.03125f, {0x3F, 0x80, 0, 0}},
               {-118.625f, {0xC2, 0x76, 0xA0, 0}}};
  for (const auto& c : cases) {
    unsigned char b[4];
    sgy_float_to_ibm(c.v, b);
    EXPECT_EQ(0, memcmp(b, c.b, 4)) << c.v;
    EXPECT_EQ(sgy_ibm_to_float(c.b), c.v);
  }
  const unsigned char unnormalised[4] = {0x46, 0x0F, 0x42, 0x40};
  EXPECT_EQ(sgy_ibm_to_float(unnormalised), 1000000.0f);
  // Zero, negative zero and magnitudes below 1e-6 are written as zero.
  for (float v : {0.0f, -0.0f, 9.9e-7f, -5e-7f, 1e-30f}) {
    unsigned char b[4] = {1, 1, 1, 1};
    sgy_float_to_ibm(v, b);
    EXPECT_EQ(be32(b), 0) << v;
  }
  unsigned char b[4];
  sgy_float_to_ibm(1.1e-6f, b);
  EXPECT_NE(be32(b), 0);
  const unsigned char noMantissa[4] = {0x42, 0, 0, 0};
  EXPECT_EQ(sgy_ibm_to_float(noMantissa), 0.0f);
}

// The encoder truncates to the IBM mantissa: at most 3 bits of the float's 24
// are lost, so the relative error stays below 2^-20, and segyio agrees.
TEST(SgyCodec, RandomValuesRoundTripAndAgreeWithIndependentImplementation) {
  std::mt19937 rng(777);
  std::uniform_real_distribution<float> mant(-1.0f, 1.0f);
  std::uniform_int_distribution<int> ex(-19, 60);
  int nExact = 0, n = 0;
  for (int i = 0; i < 20000; i++) {
    const float v = std::ldexp(mant(rng), ex(rng));
    if (std::fabs(v) < 1e-6f)
      continue;
    n++;
    unsigned char mine[4];
    sgy_float_to_ibm(v, mine);
    const float back = sgy_ibm_to_float(mine);
    ASSERT_LE(std::fabs(back - v), std::fabs(v) * 9.6e-7) << v;
    ASSERT_LE(std::fabs(back), std::fabs(v)) << "truncation never grows the magnitude " << v;
    ASSERT_EQ(std::signbit(back), std::signbit(v));
#ifdef KELVO_HAVE_SEGYIO
    float theirs = v, g;
    segy_from_native(SEGY_IBM_FLOAT_4_BYTE, 1, &theirs);
    const float ours = sgy_ibm_to_float((const unsigned char*)&theirs);
    ASSERT_LE(std::fabs(ours - v), std::fabs(v) * 9.6e-7) << v;
    memcpy(&g, mine, 4);
    segy_to_native(SEGY_IBM_FLOAT_4_BYTE, 1, &g);
    ASSERT_EQ(g, back) << v;
    nExact += g == ours;
#endif
  }
#ifdef KELVO_HAVE_SEGYIO
  EXPECT_GT(nExact, n / 2); // most values survive both ways bit for bit
#endif
}

TEST(SgyCodec, BigEndianIeeeAndEbcdic) {
  const unsigned char one[4] = {0x3F, 0x80, 0, 0}, inf[4] = {0x7F, 0x80, 0, 0}, nan[4] = {0xFF, 0xC0, 0, 1};
  EXPECT_EQ(sgy_ieee_be_to_float(one), 1.0f);
  EXPECT_EQ(sgy_ieee_be_to_float(inf), 0.0f);
  EXPECT_EQ(sgy_ieee_be_to_float(nan), 0.0f);
  EXPECT_EQ(sgy_ascii_to_ebcdic(' '), 0x40);
  EXPECT_EQ(sgy_ascii_to_ebcdic('C'), 0xC3);
  EXPECT_EQ(sgy_ascii_to_ebcdic('0'), 0xF0);
  EXPECT_EQ(sgy_ascii_to_ebcdic('_'), 0x6D);
  for (int c = 0x20; c <= 0x7E; c++)
    EXPECT_EQ(sgy_ebcdic_to_ascii(sgy_ascii_to_ebcdic((unsigned char)c)), c) << c;
}

// The decoder scales by a table of powers of 16: for every exponent and sign,
// and fractions from the smallest to the largest, it gives the bits of the
// direct evaluation in long double, underflow, overflow and zero included.
TEST(SgyCodec, IbmDecodingMatchesDirectEvaluationForEveryExponent) {
  std::mt19937 gen(3);
  std::uniform_int_distribution<uint32_t> frac(0, 0xFFFFFF);
  for (int e = 0; e < 256; e++) {
    for (int k = 0; k < 64; k++) {
      const uint32_t m = k == 0 ? 0 : k == 1 ? 1 : k == 2 ? 0xFFFFFF : k == 3 ? 0x100000 : frac(gen);
      const unsigned char b[4] = {(unsigned char)e, (unsigned char)(m >> 16), (unsigned char)(m >> 8),
                                  (unsigned char)m};
      long double v = m == 0 ? 0.0L : (long double)m * powl(16.0L, (long double)((e & 0x7F) - 70));
      if ((e & 0x80) && m)
        v = -v;
      const float want = (float)v, got = sgy_ibm_to_float(b);
      ASSERT_EQ(0, memcmp(&want, &got, 4)) << "exponent byte " << e << " fraction " << m;
    }
  }
}
