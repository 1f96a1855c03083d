// CSdsPC: writing gathers, model volumes and 3-D trace files.
#include <sys/time.h>
#include <unistd.h>

#include <cmath>
#include <ctime>
#include <new>
#include <string>
#include <strings.h>
#include <vector>

#include "SdsPC.h"
#include "SgyCodec.h"

static double now_seconds() {
  timeval tv;
  gettimeofday(&tv, nullptr);
  return tv.tv_sec + tv.tv_usec * 1e-6;
}

bool CSdsPC::OnSave(const char* name, float* pData, const CRectR& rect, const CSizeN& size, int /*nReserved1*/,
                    int /*nReserved2*/, bool bAlongY, SDS_TRACEINFO* pInfo, DATAUNIT unit) {
  if (unit == DU_SAME)
    unit = m_nUnit;
  TYPEFILE type;
  if (!GetTypeFromFileName(name, type)) {
    u_Print("File name '%s' has incorrect extension. It have to be from the set '.sgy', '.rec', '.zpl'!\n", name);
    return false;
  }
  const int cx = size.cx, cy = size.cy;
  if (cx < 1 || cy < 2) {
    u_Print("Buffer size error\n");
    return false;
  }
  // A rewritten file leaves the trace-table cache of its old content behind.
  for (const char* szSide : {".cr2", ".cr0"})
    remove((std::string(name) + szSide).c_str());

  if (type == ZPL)
    return SaveZpl(name, pData, rect, size, pInfo, unit);
  std::vector<unsigned char> tmp;
  try {
    tmp.assign((size_t)cy * 4, 0);
  } catch (const std::bad_alloc&) {
    u_Print("Memory allocation error pTmp==NULL\n");
    return false;
  }
  const double dX = cx > 1 ? (rect.x1 - rect.x0) / (cx - 1) : 0.0;
  FILE* fp = fopen(name, "wb");
  if (!fp) {
    u_Print("File '%s' is not opened.\n", name);
    return false;
  }
  double u = 1, v = 0;
  const bool bTurn = InverseRotation(u, v);

  double axis[3] = {rect.y0, rect.y1, (rect.y1 - rect.y0) / (cy - 1)};
  bool bOk = true;
  if (type == SGY) {
    SGY_FILEHEADER fh = CreateSGYHeaderFile(cx, axis, unit, 0);
    if (fwrite(fh.m_buf, 1, 3600, fp) != 3600) {
      u_Print("File '%s' is not saved: !fwrite.\n", name);
      bOk = false;
    }
  }
  for (int i = 0; bOk && i < cx; i++) {
    int id = i + 1;
    SDS_TRACEINFO rec;
    if (pInfo) {
      rec = pInfo[i];
    } else {
      memset(&rec, 0, sizeof(rec));
      double p = i * dX + rect.x0;
      double x = bAlongY ? 0.0 : p, y = bAlongY ? p : 0.0;
      if (bTurn) {
        double xr = rX00 + u * x - v * y, yr = rY00 + v * x + u * y;
        x = xr;
        y = yr;
      }
      rec.m_fXs = rec.m_fXr = (float)x;
      rec.m_fYs = rec.m_fYr = (float)y;
    }
    int ids[2] = {id, id};
    const unsigned char* pHeader;
    size_t nHeader;
    SGY_TRACEHEADER th;
    SDS_TRACEHEADER sh;
    if (type == SGY) {
      for (int k = 0; k < cy; k++)
        sgy_float_to_ibm(pData ? pData[(size_t)k * cx + i] : 0.0f, &tmp[(size_t)k * 4]);
      th = CreateSGYHeaderTrace(ids, rec, axis, unit);
      if (USE_NEGATIVE_SRC_RCV_DIST) {
        th.SetInt32(36, (int32_t)std::floor((double)rec.m_fXr - rec.m_fXs));
        sgy_swap32(th.m_buf + 36);
      }
      pHeader = th.m_buf, nHeader = sizeof(th.m_buf);
    } else {
      for (int k = 0; k < cy; k++) {
        const float v = pData ? pData[(size_t)k * cx + i] : 0.0f;
        memcpy(&tmp[(size_t)k * 4], &v, 4);
      }
      sh = CreateSDSHeaderTrace(ids, rec, axis, unit, 0);
      pHeader = sh.m_buf, nHeader = sizeof(sh.m_buf);
    }
    if (fwrite(pHeader, 1, nHeader, fp) != nHeader || fwrite(tmp.data(), 1, tmp.size(), fp) != tmp.size()) {
      u_Print("File '%s' is not saved: !fwrite.\n", name);
      bOk = false;
    }
  }
  if (fclose(fp) != 0)
    bOk = false;
  return bOk;
}

bool CSdsPC::OnSaveModel(const char* name, float* pP, float* pQ, float* pR, CRectR rect, CSizeN size,
                         SDS_TRACEINFO* pInfo, const char* szComps, DATAUNIT /*unit*/, float* pS) {
  if (!pP || size.cy < 2 || size.cx < 1 || !name)
    return false;
  size_t n = strlen(name);
  const char* ext = n >= 4 ? name + n - 4 : "";
  bool bSgy = !strcasecmp(ext, ".sgy");
  bool bRec = !strcasecmp(ext, ".rec") || !strcasecmp(ext, ".sec");
  if (!strcasecmp(ext, ".zpl")) {
    float* vols[4] = {pP, pQ, pR, pS};
    return SaveModelZpl(name, vols, rect, size, pInfo, szComps);
  }
  if (!bSgy && !bRec) {
    u_Error("Error! Model file '%s': models are written as .sgy, .rec, .sec or .zpl files.\n", name);
    return false;
  }
  float* volumes[4] = {pP, pQ, pR, pS};
  static const char s_default[] = "PQRS";
  for (int k = 0; k < 4; k++) {
    if (!volumes[k])
      continue;
    char c = k == 0 ? 'P' : (szComps && szComps[k] ? szComps[k] : s_default[k]);
    char szName[512];
    if (k == 0) {
      snprintf(szName, sizeof(szName), "%s", name);
    } else {
      char szBase[256];
      snprintf(szBase, sizeof(szBase), "%.255s", name);
      size_t nb = strlen(szBase);
      szBase[nb >= 4 ? nb - 4 : 0] = 0;
      snprintf(szName, sizeof(szName), "%s_%c.%s", szBase, c, bSgy ? "SGY" : "REC");
    }
    COMPONENT_SAVE = (int16_t)ComponentIndex(c);
    if (!OnSave(szName, volumes[k], rect, size, 0, 0, false, pInfo, DU_MSEC)) {
      COMPONENT_SAVE = 0;
      return false;
    }
  }
  return true;
}

bool CSdsPC::Create3D_file(const char* name, C3DSizeN size, CCubeR cube, float /*fReserved*/, DATAUNIT unit,
                           int /*nReserved*/, C3DPointR* pSource) {
  const double tStart = now_seconds();
  time_t tNow = time(nullptr);
  u_Print("Create3D_file started in %s\n", ctime(&tNow));
  if (!name)
    return false;
  const char* slash = strrchr(name, '/');
  if (slash && slash != name) {
    std::string strDir(name, slash - name);
    if (access(strDir.c_str(), F_OK) != 0) {
      u_Print("Create3D_file error: %s is not accessed\n", strDir.c_str());
      return false;
    }
  }
  const char* sides[3] = {".inf", ".cr2", ".cr0"};
  for (const char* s : sides)
    remove((std::string(name) + s).c_str());

  size_t n = strlen(name);
  if (n < 5 || name[n - 4] != '.')
    return false;
  const char* ext = name + n - 4;
  const bool bRec = !strcasecmp(ext, ".rec") || !strcasecmp(ext, ".sec");
  if (strcasecmp(ext, ".sgy") != 0 && !bRec) {
    u_Print("Create3D_file (%s) error: format is not supported\n", name);
    return false;
  }
  const int nx = size.cx, ny = size.cy, nz = size.cz;
  if (ny == 1 && nx >= 2 && nz >= 2)
    return OnSave(name, nullptr, CRectR(cube.x0, cube.z0, cube.x1, cube.z1), CSizeN(nx, nz), 0, 0, false, nullptr,
                  DU_SAME);
  if (nx == 1 && ny >= 2 && nz >= 2)
    return OnSave(name, nullptr, CRectR(cube.y0, cube.z0, cube.y1, cube.z1), CSizeN(ny, nz), 0, 0, true, nullptr,
                  DU_SAME);
  if (nx < 2 || ny < 2 || nz < 2) {
    u_Print("Create3D_file (%s), size error: X=%d, Y=%d, Z=%d\n", name, nx, ny, nz);
    return false;
  }
  FILE* fp = fopen(name, "wb");
  if (!fp) {
    u_Print("Create3D_file (%s), open file error", name);
    return false;
  }
  const double dx = (cube.x1 - cube.x0) / (nx - 1);
  const double dy = (cube.y1 - cube.y0) / (ny - 1);
  const double dz = (cube.z1 - cube.z0) / (nz - 1);
  std::vector<unsigned char> zeros;
  try {
    zeros.assign((size_t)nz * 4, 0);
  } catch (const std::bad_alloc&) {
    u_Print("Memory allocation error %dB", nz * 4);
    fclose(fp);
    return false;
  }
  u_Print("File length is %d MB",
          (int)((bRec ? (int64_t)nx * ny * (4LL * nz + 80) : (int64_t)nx * ny * (4LL * nz + 240) + 3600) / 1000000));

  double u = 1, v = 0;
  const bool bTurn = InverseRotation(u, v);
  auto turn = [&](double& x, double& y) {
    if (!bTurn)
      return;
    double xr = rX00 + u * x - v * y, yr = rY00 + v * x + u * y;
    x = xr;
    y = yr;
  };
  double axis[3] = {cube.z0, cube.z1, dz};
  SGY_FILEHEADER fh = CreateSGYHeaderFile(nx * ny, axis, unit, 0);
  if (!bRec && fwrite(fh.m_buf, 1, 3600, fp) != 3600) {
    u_Print("Create3D_file (%s), write error\n", name);
    fclose(fp);
    return false;
  }
  // SDS: one header made once; each trace sets its ids and positions in it.
  int ids0[2] = {1, 1};
  SDS_TRACEINFO rec0;
  memset(&rec0, 0, sizeof(rec0));
  SDS_TRACEHEADER sh = CreateSDSHeaderTrace(ids0, rec0, axis, unit, 0);
  bool bWritten = true;
  for (int y = 0; y < ny && bWritten; y++) {
    double sx = cube.x0, sy = cube.y0 + y * dy;
    turn(sx, sy);
    for (int x = 0; x < nx; x++) {
      double px = cube.x0 + x * dx, py = cube.y0 + y * dy;
      turn(px, py);
      SDS_TRACEINFO rec;
      memset(&rec, 0, sizeof(rec));
      rec.m_fXr = (float)px;
      rec.m_fYr = (float)py;
      if (pSource) {
        rec.m_fXs = (float)pSource->x;
        rec.m_fYs = (float)pSource->y;
        rec.m_fZs = (float)pSource->z;
      } else if (PROMAX) {
        rec.m_fXs = (float)px;
        rec.m_fYs = (float)py;
      } else {
        rec.m_fXs = (float)sx;
        rec.m_fYs = (float)sy;
      }
      rec.m_nPart = y;
      bool bHeader;
      if (bRec) {
        int ids[2] = {nx * y + x, x};
        SetSDSTraceFields(sh, ids, rec);
        bHeader = fwrite(sh.m_buf, 1, 80, fp) == 80;
      } else {
        int ids[2] = {nx * y + x + 1, x + 1};
        SGY_TRACEHEADER th = CreateSGYHeaderTrace(ids, rec, axis, unit);
        bHeader = fwrite(th.m_buf, 1, 240, fp) == 240;
      }
      if (!bHeader || fwrite(zeros.data(), 1, zeros.size(), fp) != zeros.size()) {
        u_Print("Create3D_file (%s), write error: X=%g (point=%d), Y=%g (point=%d)\n", name, px, x, py, y);
        bWritten = false;
        break;
      }
    }
  }
  // A full disk may show only when the buffered tail is written out.
  if (fclose(fp) != 0 && bWritten) {
    u_Print("Create3D_file (%s), write error\n", name);
    bWritten = false;
  }
  if (!bWritten)
    return false;

  // A step too large for the 16-bit interval field is stored in a coarser
  // unit; the .inf file tells the reader the factor.
  double km = 1.0;
  if (!bRec && unit == DU_SEC) {
    if (dz / 0.001 / 0.001 > 32000)
      km = 1000.0;
    if (dz / 0.001 > 32000)
      km = 1000000.0;
  } else if (!bRec && dz / 0.001 > 32000) {
    km = 1000.0;
  }
  if (km != 1.0) {
    // Without its factor the cube would be read with the wrong step.
    FILE* fi = fopen((std::string(name) + ".inf").c_str(), "wt");
    const bool bInf = fi && fprintf(fi, "[Reform]\nkmTrs=%f\n", km) > 0;
    if (!fi || fclose(fi) != 0 || !bInf) {
      u_Print("Create3D_file (%s), the .inf file could not be written\n", name);
      return false;
    }
  }
  u_Print("Create3D_file(%s) elapsed time %6.0f seconds.\n\n", name, now_seconds() - tStart);
  return true;
}

void CSdsPC::SetTrace(int nTrace, float* data, int n) {
  if (!m_pSR || nTrace < 0 || nTrace >= m_nTraceCount || (m_fp == nullptr && m_nfp == -1)) {
    u_Print("m_pSR==NULL || nNumTr<0 || nNumTr>=m_nTraceCount || (m_fp==NULL&&m_nfp==-1)\n");
    return;
  }
  if (n > m_nTraceLen)
    n = m_nTraceLen;
  if (n <= 0)
    return;
  if (m_rValueScale != 1.0 && m_rValueScale != 0.0)
    for (int i = 0; i < n; i++)
      data[i] = (float)(data[i] / m_rValueScale);
  if (m_Type == REC) {
    SetTraceREC(nTrace, data, n);
    return;
  }
  if (m_Type != SGY) {
    u_Print("Saving to this format is not supported\n");
    return;
  }
  const int64_t nTarget = m_pSR[nTrace].m_nPos + 240;
  size_t nBytes;
  unsigned char* p = reinterpret_cast<unsigned char*>(data);
  switch (m_DataType) {
  case SGY_FLOAT: nBytes = (size_t)n * 4; break;
  case SGY_IBM:
    for (int i = 0; i < n; i++) {
      unsigned char b[4];
      sgy_float_to_ibm(data[i], b);
      if (!m_bSwap)
        sgy_swap32(b); // little-endian file
      memcpy(p + 4 * i, b, 4);
    }
    nBytes = (size_t)n * 4;
    break;
  case SGY_INT2:
    for (int i = 0; i < n; i++) {
      int16_t s = (int16_t)std::floor(data[i] + 0.5f);
      unsigned char b[2] = {(unsigned char)((s >> 8) & 0xFF), (unsigned char)(s & 0xFF)};
      if (!m_bSwap)
        sgy_swap16(b);         // little-endian file
      memcpy(p + 2 * i, b, 2); // never overtakes the floats still to be read
    }
    nBytes = (size_t)n * 2;
    break;
  default:
    u_Print("SetTrace SGY: the data type saving is not supported. (Only FLOAT and SHORT values are supported.)\n");
    return;
  }
  if (!SeekTo(m_fp, nTarget)) {
    u_Print("SetTrace SGY file writing error: !fseek (%lld from %lld)\n", (long long)nTarget, (long long)m_nFileLen);
    return;
  }
  if (fwrite(p, 1, nBytes, m_fp) != nBytes) {
    u_Print("SetTrace SGY file writing error: !fwrite\n");
  }
}
