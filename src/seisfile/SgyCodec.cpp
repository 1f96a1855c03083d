#include "SgyCodec.h"

#include <cmath>
#include <cstring>

void sgy_swap16(unsigned char* p) {
  unsigned char t = p[0];
  p[0] = p[1];
  p[1] = t;
}

void sgy_swap32(unsigned char* p) {
  unsigned char t = p[0];
  p[0] = p[3];
  p[3] = t;
  t = p[1];
  p[1] = p[2];
  p[2] = t;
}

namespace {

// 16^(e - 70) for each 7-bit IBM exponent e: the value of a 24-bit fraction
// taken as an integer. Powers of two, exact in a double.
struct CIbmScale {
  double f[128];
  CIbmScale() {
    for (int e = 0; e < 128; e++)
      f[e] = std::ldexp(1.0, 4 * (e - 70));
  }
};

} // namespace

float sgy_ibm_to_float(const unsigned char* b) {
  static const CIbmScale scale;
  const uint32_t m = (uint32_t(b[1]) << 16) | (uint32_t(b[2]) << 8) | uint32_t(b[3]);
  // The product is exact in a double, so the one rounding is that to float.
  const double v = (double)m * scale.f[b[0] & 0x7F];
  return (float)((b[0] & 0x80) && m ? -v : v);
}

void sgy_float_to_ibm(float v, unsigned char* b) {
  if (std::fabs(v) < 1e-6f) {
    b[0] = b[1] = b[2] = b[3] = 0;
    return;
  }
  uint32_t bits;
  memcpy(&bits, &v, 4);
  int e = int((bits >> 23) & 0xFF);
  int q = e - 126;
  // floor((q + 3) / 4) for negative q too
  int n = q + 3;
  int ex = n >= 0 ? n / 4 : -((-n + 3) / 4);
  unsigned char b0 = (unsigned char)((ex + 64) & 0x7F);
  if (bits & 0x80000000u)
    b0 |= 0x80;
  int r = q % 4; // sign of q
  int shift = r <= 0 ? -r : 4 - r;
  uint32_t sig = (bits & 0x7FFFFFu) | 0x800000u;
  sig >>= shift;
  b[0] = b0;
  b[1] = (unsigned char)((sig >> 16) & 0xFF);
  b[2] = (unsigned char)((sig >> 8) & 0xFF);
  b[3] = (unsigned char)(sig & 0xFF);
}

float sgy_ieee_be_to_float(const unsigned char* b) {
  uint32_t bits = (uint32_t(b[0]) << 24) | (uint32_t(b[1]) << 16) | (uint32_t(b[2]) << 8) | uint32_t(b[3]);
  if (((bits >> 23) & 0xFF) == 0xFF)
    return 0.0f;
  float v;
  memcpy(&v, &bits, 4);
  return v;
}

// EBCDIC codes of the printable ASCII characters 0x20..0x7E.
static const unsigned char s_ebcdic[95] = {
    0x40, 0x4F, 0x7F, 0x7B, 0x5B, 0x6C, 0x50, 0x7D, 0x4D, 0x5D, 0x5C, 0x4E, 0x6B, 0x60, 0x4B, 0x61, // 0x20
    0xF0, 0xF1, 0xF2, 0xF3, 0xF4, 0xF5, 0xF6, 0xF7, 0xF8, 0xF9, 0x7A, 0x5E, 0x4C, 0x7E, 0x6E, 0x6F, // 0x30
    0x7C, 0xC1, 0xC2, 0xC3, 0xC4, 0xC5, 0xC6, 0xC7, 0xC8, 0xC9, 0xD1, 0xD2, 0xD3, 0xD4, 0xD5, 0xD6, // 0x40
    0xD7, 0xD8, 0xD9, 0xE2, 0xE3, 0xE4, 0xE5, 0xE6, 0xE7, 0xE8, 0xE9, 0x4A, 0xE0, 0x5A, 0x5F, 0x6D, // 0x50
    0x79, 0x81, 0x82, 0x83, 0x84, 0x85, 0x86, 0x87, 0x88, 0x89, 0x91, 0x92, 0x93, 0x94, 0x95, 0x96, // 0x60
    0x97, 0x98, 0x99, 0xA2, 0xA3, 0xA4, 0xA5, 0xA6, 0xA7, 0xA8, 0xA9, 0xC0, 0x6A, 0xD0, 0xA1};      // 0x70

unsigned char sgy_ascii_to_ebcdic(unsigned char c) {
  if (c >= 0x20 && c <= 0x7E)
    return s_ebcdic[c - 0x20];
  return c == 0 ? 0 : 0x40;
}

namespace {
struct CEbcdicToAscii {
  unsigned char table[256];
  CEbcdicToAscii() {
    memset(table, ' ', sizeof(table));
    table[0] = 0;
    for (int i = 0; i < 95; i++)
      table[s_ebcdic[i]] = (unsigned char)(0x20 + i);
  }
};
} // namespace

unsigned char sgy_ebcdic_to_ascii(unsigned char c) {
  static const CEbcdicToAscii s_reverse; // built once, thread-safe
  return s_reverse.table[c];
}
