// ZPL grid files: sections of a 296-byte header followed at once by a
// regular array of little-endian floats, with up to four axes and up to
// eight interleaved components. Element (j, i, u, s) of a section, component
// j, index i on the first axis, u on the second, s on the third and fourth
// together (s = s4 * n3 + s3), stands at float ((s * n2 + u) * n1 + i) * nc + j.
#pragma once

#include <cstdint>
#include <cstdio>

#pragma pack(push, 1)

struct ZPL_FILEHEADER {
  char m_szFormat[20];  // "Binary. FD-Grid ___"
  char m_szTitle[80];   // "Model"
  char m_szCreator[16]; // "QuarzinePro"
  char m_szName[16];    // first 16 characters of the file name
  float m_fX0, m_fX1;   // first axis range
  float m_fDX;          // first axis step
  float m_fXs;          // source X
  float m_fT0, m_fT1;   // second axis range, seconds when it is time
  float m_fDT;          // second axis step
  float m_fZs;          // source Z; in a snapshot the time of the first frame
  float m_fY0, m_fY1;   // third axis range
  float m_fDY;          // third axis step
  char m_reserved1[20]; //
  int32_t m_n[4];       // sizes of the four axes
  char m_reserved2[20]; //
  int32_t m_nOne;       // 1
  int32_t m_nSections;  // sections in the file
  int32_t m_nSection;   // index of this section, from 0
  int32_t m_nComps;     // interleaved components
  int32_t m_nAxes;      // axes in use
  char m_szComps[8];    // component letters, zero-padded
  char m_szAxes[4];     // axis letters, fastest first: "XZTY" or "XTZY"
  int32_t m_nZero;      // 0
  char m_szClass[28];   // "Gath", "Modl" or "Snap"
};

#pragma pack(pop)

static_assert(sizeof(ZPL_FILEHEADER) == 296, "ZPL_FILEHEADER must be 296 bytes");

const int ZPL_HEADER_BYTES = 296;
const int ZPL_MAX_COMPONENTS = 8;

// A zeroed header of one section (n4 = 1) with the fixed texts, the first 16
// characters of szName, and the axis and class texts.
void zpl_InitHeader(ZPL_FILEHEADER& h, const char* szName, const char* szAxes, const char* szClass);

// Whether the sizes and the component count describe a section that can be
// addressed: each size at least 1, 1 to 8 components, and a byte length that
// fits 63 bits.
bool zpl_IsValid(const ZPL_FILEHEADER& h);

// Floats of a section (all components), and of one frame: nc * n1 * n2.
int64_t zpl_SectionFloats(const ZPL_FILEHEADER& h);
int64_t zpl_FrameFloats(const ZPL_FILEHEADER& h);
// Frames of a section: n3 * n4.
int64_t zpl_FrameCount(const ZPL_FILEHEADER& h);

// Up to nc component letters of the header as a zero-terminated text.
void zpl_ComponentText(const ZPL_FILEHEADER& h, char szOut[ZPL_MAX_COMPONENTS + 1]);

// Interleaves nPlanes planes of nPoints floats each into out
// (nPlanes * nPoints floats): out[p * nPlanes + k] = planes[k][p].
void zpl_Interleave(const float* const* planes, int nPlanes, int64_t nPoints, float* out);
// The reverse: component k of an interleaved array into a plane.
void zpl_Extract(const float* in, int nPlanes, int64_t nPoints, int k, float* plane);

// Plain stream I/O at absolute positions (64-bit). False on any failure.
bool zpl_ReadAt(FILE* fp, int64_t nPos, void* p, int64_t nBytes);
bool zpl_WriteAt(FILE* fp, int64_t nPos, const void* p, int64_t nBytes);

// Reads the header of the section at nPos and checks it with zpl_IsValid.
bool zpl_ReadHeader(FILE* fp, int64_t nPos, ZPL_FILEHEADER& h);
// Reads frame nFrame (0 .. n3 * n4 - 1) of the section at nPos whose header
// is h: zpl_FrameFloats(h) interleaved floats.
bool zpl_ReadFrame(FILE* fp, int64_t nPos, const ZPL_FILEHEADER& h, int64_t nFrame, float* out);
// Writes a whole file of one section: header and zpl_SectionFloats(h) floats.
bool zpl_WriteFile(const char* szFile, const ZPL_FILEHEADER& h, const float* pData);
