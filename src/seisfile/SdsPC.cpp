// CSdsPC: state, type detection, record table queries, local frame and
// file positioning.
#include "SdsPC.h"

#include <algorithm>
#include <cmath>
#include <strings.h>

int CSdsPC::COOR_SCALER = 1;
int CSdsPC::ELEV_SCALER = 1;
float CSdsPC::VALUE_SCALE_SAVE = 1.0f;
int16_t CSdsPC::COMPONENT_SAVE = 0;
bool CSdsPC::USE_NEGATIVE_SRC_RCV_DIST = true;
bool CSdsPC::ZERO_TOP = false;
bool CSdsPC::ELEV_TO_Z = false;
bool CSdsPC::PROMAX = false;
bool CSdsPC::LINES_ALONG_Y = false;
int CSdsPC::INLINE_START = 1;
int CSdsPC::INLINE_STEP = 1;
int CSdsPC::CROSSLINE_START = 1;
int CSdsPC::CROSSLINE_STEP = 1;
int CSdsPC::bFOOT = 0;
bool CSdsPC::bRotate = false;
int CSdsPC::nGridStep = 0;
double CSdsPC::rX00 = 0.0;
double CSdsPC::rY00 = 0.0;
double CSdsPC::rXx0 = 1.0;
double CSdsPC::rYx0 = 0.0;
std::vector<CString> CSdsPC::arPathSubst;
const char* CSdsPC::COMPONENT_ALPHABET = "PQRZXCSTVDELFN";

CSdsPC::CSdsPC() : m_pSR(nullptr), m_fp(nullptr) {
  Reset();
  SetDefaultInfo(); // the rows of a SEG-Y file until a file says otherwise
}

CSdsPC::~CSdsPC() { Reset(); }

void CSdsPC::Reset() {
  delete[] m_pSR;
  m_pSR = nullptr;
  if (m_fp)
    fclose(m_fp);
  m_fp = nullptr;
  m_szFileName[0] = 0;
  m_bInfoSaved = 0;
  m_nTraceCount = 0;
  m_nTraceLen = 0;
  m_rT0 = m_rT1 = m_rDT = 0.0;
  m_rX0 = m_rX1 = m_rDX = 0.0;
  m_nfp = -1;
  m_Type = SGY;
  m_bSwap = 0;
  m_nParts = 1;
  m_cComponent = ' ';
  memset(m_szComponents, 0, sizeof(m_szComponents));
  m_DataType = SGY_NONE;
  m_nUnit = DU_MSEC;
  m_rValueScale = 1.0;
  m_nFileLen = 0;
  m_bWrite = 0;
  m_nTraceBytes = 0;
  m_nSlice = 0;
  m_rY0 = m_rY1 = m_rDY = 0.0;
  m_bLargeFile = false;
  m_bFileFoot = 0;
  m_nPlacement = PLACE_RECEIVER;
  m_nFirstInline = m_nFirstCrossline = 0;
}

char CSdsPC::ComponentLetter(int nIndex) {
  if (nIndex < 1 || nIndex > 14)
    return '?';
  return COMPONENT_ALPHABET[nIndex - 1];
}

int CSdsPC::ComponentIndex(char c) {
  for (int i = 0; i < 14; i++)
    if (COMPONENT_ALPHABET[i] == c)
      return i + 1;
  return 0;
}

bool CSdsPC::GetTypeFromFileName(const char* name, TYPEFILE& type) {
  type = ZPL;
  if (!name)
    return false;
  size_t n = strlen(name);
  if (n < 5)
    return false;
  const char* ext = name + n - 4;
  if (!strcasecmp(ext, ".rec") || !strcasecmp(ext, ".sec")) {
    type = REC;
    return true;
  }
  if (!strcasecmp(ext, ".sgy")) {
    type = SGY;
    return true;
  }
  if (n >= 6 && !strcasecmp(name + n - 5, ".segy")) {
    type = SGY;
    return true;
  }
  if (!strcasecmp(ext, ".zpl")) {
    type = ZPL;
    return true;
  }
  return false;
}

void CSdsPC::GetTraceParam(double* p) {
  p[0] = m_rT0;
  p[1] = m_rT1;
  p[2] = m_rDT;
}

bool CSdsPC::Set_pSR(int nTrace, SDS_TRACEINFO* pOut) {
  if (!m_pSR || !m_fp)
    return false;
  if (pOut)
    *pOut = m_pSR[nTrace];
  return true;
}

bool CSdsPC::GetCoord(int nTrace, C3DPointR& src, C3DPointR& rec) {
  if (!m_pSR || nTrace < 0 || nTrace >= m_nTraceCount)
    return false;
  const SDS_TRACEINFO& r = m_pSR[nTrace];
  src = C3DPointR(r.m_fXs, r.m_fYs, r.m_fZs);
  rec = C3DPointR(r.m_fXr, r.m_fYr, r.m_fZr);
  return true;
}

CPointR CSdsPC::GetSrc(int nTrace) {
  if (!m_pSR || nTrace < 0 || nTrace >= m_nTraceCount)
    return CPointR(0, 0);
  return CPointR(m_pSR[nTrace].m_fXs, m_pSR[nTrace].m_fYs);
}

CPointR CSdsPC::GetRec(int nTrace) {
  if (!m_pSR || nTrace < 0 || nTrace >= m_nTraceCount)
    return CPointR(0, 0);
  return CPointR(m_pSR[nTrace].m_fXr, m_pSR[nTrace].m_fYr);
}

// A trace belongs to source src when src is unset or the trace's source lies
// within one unit of it (strict in X, inclusive in Y).
static bool belongs_to_source(const SDS_TRACEINFO& r, const CPointR& src) {
  if (src.x == UNSET_VALUE || src.y == UNSET_VALUE)
    return true;
  return std::fabs(src.x - r.m_fXs) < 1.0 && std::fabs(src.y - r.m_fYs) <= 1.0;
}

static void widen(double& lo, double& hi, double v) {
  if (lo == UNSET_VALUE || v < lo)
    lo = v;
  if (hi == UNSET_VALUE || v > hi)
    hi = v;
}

CRectR CSdsPC::GetXYRect(int bReceiversOnly, CPointR src) {
  CRectR rc;
  for (int i = 0; m_pSR && i < m_nTraceCount; i++) {
    const SDS_TRACEINFO& r = m_pSR[i];
    if (!belongs_to_source(r, src))
      continue;
    widen(rc.x0, rc.x1, r.m_fXr);
    widen(rc.y0, rc.y1, r.m_fYr);
    if (!bReceiversOnly) {
      widen(rc.x0, rc.x1, r.m_fXs);
      widen(rc.y0, rc.y1, r.m_fYs);
    }
  }
  bool bReal = src.x != UNSET_VALUE && src.y != UNSET_VALUE;
  if (rc.IsEmpty() && bReal)
    return GetXYRect(bReceiversOnly, CPointR(UNSET_VALUE, UNSET_VALUE));
  return rc;
}

C3DSizeN CSdsPC::GetXYSize(CPointR src) {
  CRectR rc = GetXYRect(1, src);
  double stepX = 0.0, stepY = 0.0;
  int nKept = 0;
  const SDS_TRACEINFO* pPrev = nullptr;
  for (int i = 0; m_pSR && i < m_nTraceCount - 1; i++) {
    const SDS_TRACEINFO& r = m_pSR[i];
    if (!belongs_to_source(r, src))
      continue;
    nKept++;
    if (pPrev) {
      double dX = std::fabs((double)r.m_fXr - pPrev->m_fXr);
      double dY = std::fabs((double)r.m_fYr - pPrev->m_fYr);
      if (dX > 1.0 && (stepX == 0.0 || dX < stepX))
        stepX = dX;
      if (dY > 1.0 && (stepY == 0.0 || dY < stepY))
        stepY = dY;
    }
    pPrev = &r;
  }
  // Points along one side; 1 without a step, and for sides that no int holds
  // (coordinates of a damaged file).
  auto points = [&rc](double width, double step) {
    const double v = step > 0.0 && !rc.IsEmpty() ? width / step + 1.1 : 1.0;
    return v >= 1.0 && v < 2e9 ? (int)v : 1;
  };
  int nx = points(rc.x1 - rc.x0, stepX), ny = points(rc.y1 - rc.y0, stepY);
  int n = (int)std::min<int64_t>((int64_t)nx * ny, 0x7FFFFFFF);
  if (n < nKept / 2) {
    // Irregular sampling: the smallest step underestimated the grid.
    if (nx < 2) {
      nx = nKept / ny;
      if (nx < 1)
        nx = 1;
    } else {
      ny = nKept / nx;
      if (ny < 1)
        ny = 1;
    }
  }
  bool bReal = src.x != UNSET_VALUE && src.y != UNSET_VALUE;
  if (nKept < 4 && bReal)
    return GetXYSize(CPointR(UNSET_VALUE, UNSET_VALUE));
  return C3DSizeN(nx, ny, n);
}

static double header_field(const unsigned char* h, const SDS_INFOROW& row) {
  int off = (int)row.m_rValue - 1;
  if (row.m_nType == 0) {
    int16_t v;
    memcpy(&v, h + off, 2);
    return v;
  }
  int32_t v;
  memcpy(&v, h + off, 4);
  return v;
}

static bool row_usable(const SDS_INFOROW& row, int nHeaderBytes) {
  if (row.m_nType == -1 || !(row.m_rValue > 0))
    return false;
  int width = row.m_nType == 0 ? 2 : 4;
  return (int)row.m_rValue - 1 + width <= nHeaderBytes;
}

static double scaler_factor(double v) {
  if (v >= 2)
    return v;
  if (v <= -2)
    return 1.0 / std::fabs(v);
  return 1.0;
}

// Factor of the kmCrd row on both coordinate scales.
static double coord_factor(const SDS_INFOROW& row) {
  return row.m_nType != -1 && row.m_rValue > 0 ? row.m_rValue : 1.0;
}

double CSdsPC::HorizontalScale(const unsigned char* header) const {
  const int nBytes = m_Type == SGY ? 240 : 80;
  double rH = 1.0;
  if (row_usable(m_arInfo[INFO_COORSCALER], nBytes))
    rH = scaler_factor(header_field(header, m_arInfo[INFO_COORSCALER]));
  return rH * coord_factor(m_arInfo[INFO_KMCRD]);
}

bool CSdsPC::SetTraceInfo(SDS_TRACEINFO& info, const unsigned char* header, PARTITITION_INFO* /*pPart*/) {
  const int nBytes = m_Type == SGY ? 240 : 80;
  const double rH = HorizontalScale(header);
  double rV = 1.0;
  if (row_usable(m_arInfo[INFO_ELEVSCALER], nBytes))
    rV = scaler_factor(header_field(header, m_arInfo[INFO_ELEVSCALER]));
  rV *= coord_factor(m_arInfo[INFO_KMCRD]);
  float* pH[4] = {&info.m_fXs, &info.m_fYs, &info.m_fXr, &info.m_fYr};
  for (int row = INFO_SHOTX; row <= INFO_RECVY; row++)
    if (row_usable(m_arInfo[row], nBytes))
      *pH[row] = (float)(header_field(header, m_arInfo[row]) * rH);
  if (row_usable(m_arInfo[INFO_SHOTZ], nBytes))
    info.m_fZs = (float)(header_field(header, m_arInfo[INFO_SHOTZ]) * rV);
  if (row_usable(m_arInfo[INFO_RECVZ], nBytes))
    info.m_fZr = (float)(header_field(header, m_arInfo[INFO_RECVZ]) * rV);
  if (row_usable(m_arInfo[INFO_PART], nBytes))
    info.m_nPart = (int32_t)header_field(header, m_arInfo[INFO_PART]);
  return true;
}

void CSdsPC::Rotate() {
  if (!bRotate && nGridStep < 2)
    return;
  u_Print("Rotate started: bRotate=%d, nGridStep=%d.", (int)bRotate, nGridStep);
  if (bRotate) {
    if (!m_pSR) {
      u_Print("Rotate: coordinates were not rotated because of m_pSR=NULL.");
      return;
    }
    double ax = rXx0 - rX00, ay = rYx0 - rY00;
    double d = std::sqrt(ax * ax + ay * ay);
    if (d < 0.001) {
      u_Print("Rotate: distance between points (X00,Y00) and (Xx0,Yx0) is too small.");
      return;
    }
    double u = ax / d, v = ay / d;
    for (int i = 0; i < m_nTraceCount; i++) {
      SDS_TRACEINFO& r = m_pSR[i];
      float* px[2] = {&r.m_fXs, &r.m_fXr};
      float* py[2] = {&r.m_fYs, &r.m_fYr};
      for (int k = 0; k < 2; k++) {
        double dx = *px[k] - rX00, dy = *py[k] - rY00;
        *px[k] = (float)(u * dx + v * dy);
        *py[k] = (float)(u * dy - v * dx);
      }
    }
    u_Print("Rotate: coordinates have been converted.");
  }
  if (nGridStep > 1 && m_pSR) {
    double s = nGridStep;
    for (int i = 0; i < m_nTraceCount; i++) {
      SDS_TRACEINFO& r = m_pSR[i];
      float* p[4] = {&r.m_fXs, &r.m_fXr, &r.m_fYs, &r.m_fYr};
      for (float* q : p)
        *q = (float)(std::floor(*q / s + 0.5) * s);
    }
    u_Print("Rotate: coordinates have been fitted to the regular grid nodes (with step=%d).", nGridStep);
  }
}

// Unit vector of the local frame for the writers' inverse turn; false when
// no rotation applies.
bool CSdsPC::InverseRotation(double& u, double& v) const {
  if (!bRotate)
    return false;
  double ax = rXx0 - rX00, ay = rYx0 - rY00;
  double d = std::sqrt(ax * ax + ay * ay);
  if (d < 0.001)
    return false;
  u = ax / d;
  v = ay / d;
  return true;
}

static const int64_t LARGE_FILE_POS = 2000000000LL;

bool CSdsPC::SeekTo(FILE* fp, int64_t nPos) {
  if (!fp || nPos < 0)
    return false;
  if (m_nFileLen < LARGE_FILE_POS && nPos < LARGE_FILE_POS && !m_bLargeFile)
    return fseek(fp, (long)(int)nPos, SEEK_SET) == 0;
  return fseeko(fp, (off_t)nPos, SEEK_SET) == 0;
}

int64_t CSdsPC::TellPos(FILE* fp) {
  if (!fp)
    return -1;
  return (int64_t)ftello(fp);
}
