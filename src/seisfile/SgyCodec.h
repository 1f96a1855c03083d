// Byte-level helpers of the SEG-Y format: byte swapping, IBM floats,
// big-endian IEEE floats and the ASCII/EBCDIC text conversion.
#pragma once

#include <cstdint>

void sgy_swap16(unsigned char* p);
void sgy_swap32(unsigned char* p);

// IBM System/360 single float (4 bytes, big-endian) to float.
float sgy_ibm_to_float(const unsigned char* b);
// float to IBM bytes, big-endian, truncating; |v| < 1e-6 gives 0.
void sgy_float_to_ibm(float v, unsigned char* b);
// IEEE float stored big-endian; infinities and not-a-numbers read as 0.
float sgy_ieee_be_to_float(const unsigned char* b);

unsigned char sgy_ascii_to_ebcdic(unsigned char c);
unsigned char sgy_ebcdic_to_ascii(unsigned char c);
