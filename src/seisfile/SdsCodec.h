// Sample codings of the SDS trace format that are not plain machine values.
#pragma once

// The 8-bit difference coding "T1": n samples in n bytes. Byte 0 and byte
// n-1 hold the low and high byte of the first sample rounded to 16 bits;
// bytes 1..n-2 the rounded differences, each taken from the value that a
// reader has reconstructed so far, so that rounding errors do not add up.
// A difference outside -128..127 keeps its low 8 bits. The last sample is not
// stored: a reader repeats the one before it.
// For |sample 0| <= 32767 and steps between neighbouring samples below 127 in
// magnitude, samples 0..n-2 read back within 0.5 of what was written.
void sds_EncodeT1(const float* in, int n, unsigned char* out);
void sds_DecodeT1(const unsigned char* in, int n, float* out);
