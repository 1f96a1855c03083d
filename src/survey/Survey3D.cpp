#include "survey/Survey3D.h"

#include "seisfile/SdsPC.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>

double CSurvey3D::MIN_DIST = 0.001;
bool CSurvey3D::s_bShotIdListShown = false;

namespace {

// Longest survey line taken at once; the rest of a longer line is read as
// the next line.
const int SURVEY_LINE_CHARS = 298;

const char* const MSG_STOPPED = "The computation is stopped.\n";

bool survey_IsComment(const char* szLine) { return szLine[0] == ';' || szLine[0] == '#'; }

// True when every axis differs by less than MIN_DIST.
bool survey_IsNear(const C3DPointR& a, const C3DPointR& b) {
  return std::fabs(a.x - b.x) < CSurvey3D::MIN_DIST && std::fabs(a.y - b.y) < CSurvey3D::MIN_DIST &&
         std::fabs(a.z - b.z) < CSurvey3D::MIN_DIST;
}

// Reads the source point at the start of a line as the full parse would and
// tells whether it lies within MIN_DIST of A.
bool survey_SourceNear(const char* szLine, const C3DPointR& A) {
  C3DPointR p;
  double* v[3] = {&p.x, &p.y, &p.z};
  const char* q = szLine;
  for (double* d : v) {
    char* end;
    *d = strtod(q, &end);
    if (end == q)
      return false;
    q = end;
  }
  return survey_IsNear(p, A);
}

// Index of a point near p, or -1. The lines of a shot usually come together,
// so the point found last time (nHint) is tried first; any match will do.
int survey_FindNear(const std::vector<C3DPointR>& v, const C3DPointR& p, size_t& nHint) {
  if (nHint < v.size() && survey_IsNear(v[nHint], p))
    return (int)nHint;
  for (size_t i = 0; i < v.size(); i++)
    if (survey_IsNear(v[i], p)) {
      nHint = i;
      return (int)i;
    }
  return -1;
}

// Index of id in v, or -1; the hint as above.
int survey_FindId(const std::vector<int>& v, int id, size_t& nHint) {
  if (nHint < v.size() && v[nHint] == id)
    return (int)nHint;
  for (size_t i = 0; i < v.size(); i++)
    if (v[i] == id) {
      nHint = i;
      return (int)i;
    }
  return -1;
}

// A survey named as a SEG-Y file is read from its trace headers.
bool survey_IsSgyName(const char* szFile) {
  TYPEFILE type;
  return CSdsPC::GetTypeFromFileName(szFile, type) && type == SGY;
}

// One parsed line of a text survey.
struct CSurveyLine {
  C3DPointR src, rcv;
  int inl, xl, id, traceId, fileId;
  CShotTauK tau;
};

bool survey_ReadLine(const char* szLine, CSurveyLine& l) {
  if (survey_IsComment(szLine))
    return false;
  return CSurvey3D::InterpretSurveyFileLine(szLine, l.src.x, l.src.y, l.src.z, l.rcv.x, l.rcv.y, l.rcv.z, l.inl, l.xl,
                                            l.id, l.tau.k11, l.tau.k22, l.tau.k33, l.tau.k12, l.tau.k13, l.tau.k23,
                                            l.traceId, l.fileId) == 0;
}

// Record of trace i of an open file, from its table in memory or on demand.
bool survey_TraceInfo(CSdsPC& sds, int i, SDS_TRACEINFO& r) {
  if (SDS_TRACEINFO* pAll = sds.GetTraceInfoAll()) {
    r = pAll[i];
    return true;
  }
  return sds.Set_pSR(i, &r);
}

void survey_PrintNoFileName() {
  u_Error("Error! Survey acquisition geometry file has not been provided.\n");
  u_Print("Please specify survey acquisition geometry file in '[Survey]/Geometry' section in "
          "'runtask.ini'.\n");
  u_Print(MSG_STOPPED);
}

} // namespace

void CSurvey3D::Clear() {
  m_strFile.Empty();
  m_vShots.clear();
  m_vExcitePoints.clear();
  m_vShotIds.clear();
  m_vTauK.clear();
  m_vReceivers.clear();
  m_vRcvInline.clear();
  m_vRcvCrossline.clear();
  m_vRcvTraceId.clear();
  m_vRcvFileId.clear();
  m_nActiveShot = -1;
  m_nActiveIndex = 0;
  m_bMomentTensors = false;
  m_bFromSgy = false;
}

int CSurvey3D::InterpretSurveyFileLine(const char* szLine, double& sx, double& sy, double& sz, double& rx, double& ry,
                                       double& rz, int& inl, int& xl, int& id, float& k11, float& k22, float& k33,
                                       float& k12, float& k13, float& k23, int& traceId, int& fileId) {
  sx = sy = sz = rx = ry = rz = UNSET_VALUE;
  inl = xl = 0;
  id = -1;
  k11 = (float)UNSET_VALUE;
  k22 = k33 = k12 = k13 = k23 = 0.f;
  traceId = fileId = -1;
  if (!szLine)
    return 1;
  int n = sscanf(szLine, "%lf %lf %lf %lf %lf %lf %d %d %d %f %f %f %f %f %f %d %d", &sx, &sy, &sz, &rx, &ry, &rz, &inl,
                 &xl, &id, &k11, &k22, &k33, &k12, &k13, &k23, &traceId, &fileId);
  if (n < 6)
    return 1;
  if (k11 == 0.f && k22 == 0.f && k33 == 0.f && k12 == 0.f && k13 == 0.f && k23 == 0.f)
    k11 = (float)UNSET_VALUE;
  if (id < 0)
    id = -1;
  return 0;
}

void CSurvey3D::PrintErrorOnOpenFile(const char* szFile) {
  u_Error("Error! Unable to read the survey acquisition geometry file %s.\nPlease make sure the "
          "file exists and you have permissions to read it.\n",
          szFile ? szFile : "");
  u_Print(MSG_STOPPED);
}

int CSurvey3D::LoadSurvey(const char* szFile, bool bMomentTensors) {
  Clear();
  m_bMomentTensors = bMomentTensors;
  if (!szFile || !*szFile) {
    survey_PrintNoFileName();
    return 1;
  }
  shared_ptr1<FILE> f(fopen(szFile, "r"), file_deleter);
  if (!f.get()) {
    PrintErrorOnOpenFile(szFile);
    return 1;
  }
  if (survey_IsSgyName(szFile)) {
    f.reset();
    return LoadFromSgy(szFile);
  }
  m_strFile = szFile;

  std::vector<C3DPointR> points;
  size_t nLastId = 0, nLastPt = 0;
  std::set<int> sharedIds; // ids met at a second source point
  const size_t kSharedIdsListed = 10;
  char szLine[SURVEY_LINE_CHARS + 2];
  CSurveyLine l;
  while (fgets(szLine, SURVEY_LINE_CHARS + 1, f.get())) {
    if (!survey_ReadLine(szLine, l))
      continue;
    if (!m_bShotsDefinedByCoordinates && l.id >= 0 && points.size() == m_vShotIds.size()) {
      // Every new point so far came with an id: this line is told by its id.
      const int k = survey_FindId(m_vShotIds, l.id, nLastId);
      if (k < 0) {
        points.push_back(l.src);
        m_vShotIds.push_back(l.id);
      } else if (!m_bUseShotId && !survey_IsNear(points[k], l.src) && sharedIds.insert(l.id).second &&
                 sharedIds.size() <= kSharedIdsListed) {
        // Shots are numbered by their first source point, so the lines of
        // the other point never take part.
        u_Warning("Warning! Shot id %d of survey file '%s' is given to two source points, (%g, %g, %g) and (%g, %g, "
                  "%g): with UseShotId off only the first is computed.\n",
                  l.id, szFile, points[k].x, points[k].y, points[k].z, l.src.x, l.src.y, l.src.z);
      }
    } else if (survey_FindNear(points, l.src, nLastPt) < 0) {
      points.push_back(l.src);
      if (l.id >= 0)
        m_vShotIds.push_back(l.id);
    }
  }
  f.reset();
  if (sharedIds.size() > kSharedIdsListed)
    u_Warning("Warning! %d shot ids of survey file '%s' are given to more than one source point: only the first "
              "point of each is computed.\n",
              (int)sharedIds.size(), szFile);

  if (!m_vShotIds.empty() && m_vShotIds.size() != points.size()) {
    u_Warning("Inconsistent shot point id in survey geometry file '%s'. Shot point IDs will be "
              "ignored.\n",
              szFile);
    m_vShotIds.clear();
  }
  if (points.empty()) {
    u_Error("Error! No source points in the survey acquisition geometry file %s.\nPlease make sure "
            "it is properly formatted file.\n",
            szFile);
    u_Print(MSG_STOPPED);
    return 1;
  }
  m_vShots = points;
  return 0;
}

int CSurvey3D::LoadFromSgy(const char* szFile) {
  Clear();
  if (!szFile || !*szFile) {
    survey_PrintNoFileName();
    return 1;
  }
  CSdsPC sds;
  if (!sds.OnOpen(szFile, 0, 0, 0, 0)) {
    PrintErrorOnOpenFile(szFile);
    return 1;
  }
  m_strFile = szFile;

  // Shot points in the order of their first trace; the energy source point
  // number (bytes 17-20) of that trace is the shot's id while every shot so
  // far has brought a new one.
  std::set<_C3DPoint> points;
  std::set<int> ids;
  std::vector<C3DPointR> newPoints;
  for (int i = 0; i < sds.m_nTraceCount; i++) {
    SDS_TRACEINFO r;
    if (!survey_TraceInfo(sds, i, r))
      break;
    const C3DPointR p(r.m_fXs, r.m_fYs, r.m_fZs);
    if (!points.insert(p.plain()).second)
      continue;
    SGY_TRACEHEADER h;
    if (newPoints.size() == ids.size() && sds.GetTraceHeader(i, h, 1) && ids.insert(h.GetInt32(16)).second)
      m_vShotIds.push_back(h.GetInt32(16));
    newPoints.push_back(p);
  }
  if (!m_vShotIds.empty() && m_vShotIds.size() != newPoints.size()) {
    u_Warning("Duplicate shot point number found in survey file %s. Shot point IDs will be ignored.\n", szFile);
    m_vShotIds.clear();
  }
  m_vShots = newPoints;
  m_bFromSgy = true;
  return 0;
}

int CSurvey3D::GetMinShot() const {
  if (m_bUseShotId && !m_bShotsDefinedByCoordinates && !m_vShotIds.empty()) {
    int n = m_vShotIds[0];
    for (int id : m_vShotIds)
      if (id < n)
        n = id;
    return n;
  }
  return 1;
}

int CSurvey3D::GetMaxShot() const {
  if (m_bUseShotId && !m_bShotsDefinedByCoordinates && !m_vShotIds.empty()) {
    int n = 1;
    for (int id : m_vShotIds)
      if (id > n)
        n = id;
    return n;
  }
  return (int)m_vShots.size();
}

C3DPointR CSurvey3D::GetActiveShotPt() const {
  if (m_nActiveIndex < 0 || m_nActiveIndex >= (int)m_vShots.size())
    return C3DPointR();
  return m_vShots[m_nActiveIndex];
}

CCubeR CSurvey3D::GetObsZone() const { return CCubeR(*this); }

int CSurvey3D::GetActiveShotId() const {
  if (m_nActiveIndex >= 0 && m_nActiveIndex < (int)m_vShotIds.size() && m_vShotIds.size() == m_vShots.size())
    return m_vShotIds[m_nActiveIndex];
  return m_nActiveShot;
}

int CSurvey3D::GetRcvInline(int i) const { return i >= 0 && i < (int)m_vRcvInline.size() ? m_vRcvInline[i] : 0; }

int CSurvey3D::GetRcvCrossline(int i) const {
  return i >= 0 && i < (int)m_vRcvCrossline.size() ? m_vRcvCrossline[i] : 0;
}

int CSurvey3D::GetRcvTraceId(int i) const { return i >= 0 && i < (int)m_vRcvTraceId.size() ? m_vRcvTraceId[i] : -1; }

int CSurvey3D::GetRcvFileId(int i) const { return i >= 0 && i < (int)m_vRcvFileId.size() ? m_vRcvFileId[i] : -1; }

bool CSurvey3D::UseShotIdInForce() const {
  return m_bUseShotId && !m_bShotsDefinedByCoordinates && !m_vShotIds.empty() && m_vShotIds.size() == m_vShots.size();
}

void CSurvey3D::AddReceiver(const C3DPointR& r, int inl, int xl, int traceId, int fileId) {
  m_vReceivers.push_back(r);
  m_vRcvInline.push_back(inl);
  m_vRcvCrossline.push_back(xl);
  Expand(r);
  if (traceId >= 0)
    m_vRcvTraceId.push_back(traceId);
  if (fileId >= 0)
    m_vRcvFileId.push_back(fileId);
}

int CSurvey3D::SetActiveShot(int nShot) {
  const int nShots = (int)m_vShots.size();
  bool bById = false;
  if (nShot < 0) {
    m_nActiveShot = -1;
    m_nActiveIndex = 0;
  } else {
    if (m_bUseShotId && !m_bShotsDefinedByCoordinates && m_vShotIds.size() != m_vShots.size())
      u_Warning("Warning! ShotId information is not present in the survey file. Use ordinal shot "
                "numbers from 1 to %d.\n",
                nShots);
    bById = UseShotIdInForce();
    if (bById) {
      int nIndex = -1;
      for (size_t i = 0; i < m_vShotIds.size(); i++)
        if (m_vShotIds[i] == nShot) {
          nIndex = (int)i;
          break;
        }
      if (nIndex < 0) {
        u_Warning("Warning! Incorrect shot point #%d specified. No such shot point in file '%s'.\n", nShot,
                  (const char*)m_strFile);
        if (!s_bShotIdListShown) {
          s_bShotIdListShown = true;
          CString strIds;
          for (size_t i = 0; i < m_vShotIds.size(); i++)
            strIds.AppendFormat(i ? ", %d" : "%d", m_vShotIds[i]);
          u_Print("List of registeres shot points: %s\n", (const char*)strIds);
        }
        u_Print("Shot point skipped.\n");
        return -35;
      }
      m_nActiveShot = nShot;
      m_nActiveIndex = nIndex;
    } else {
      if (nShot < 1 || nShot > nShots) {
        u_Error("Error! Incorrect shot point #%d specified. Shot points in range 1..%d.\n", nShot, nShots);
        u_Print(MSG_STOPPED);
        return 1;
      }
      m_nActiveShot = nShot;
      m_nActiveIndex = nShot - 1;
    }
  }

  const C3DPointR A = nShot < 0 ? C3DPointR(0, 0, 0) : m_vShots[m_nActiveIndex];
  m_vReceivers.clear();
  m_vExcitePoints.clear();
  m_vTauK.clear();
  m_vRcvInline.clear();
  m_vRcvCrossline.clear();
  m_vRcvTraceId.clear();
  m_vRcvFileId.clear();
  SetEmpty();
  if (nShot >= 0) {
    // The zone always holds the shot's position at depth 0.
    x0 = x1 = A.x;
    y0 = y1 = A.y;
    z0 = z1 = 0;
  }

  CShotTauK T{(float)UNSET_VALUE, 0.f, 0.f, 0.f, 0.f, 0.f};
  int nRes = m_bFromSgy ? CollectFromSgy(nShot, A) : CollectFromText(nShot, A, bById, T);
  if (nRes)
    return nRes;

  if (m_vExcitePoints.empty()) {
    m_vExcitePoints.push_back(A);
    if (m_bMomentTensors && T.k11 != (float)UNSET_VALUE)
      m_vTauK.push_back(T);
  } else {
    for (const C3DPointR& p : m_vExcitePoints)
      Expand(p);
  }
  if (m_bMomentTensors && m_vTauK.size() != m_vExcitePoints.size()) {
    u_Error("Error! Moment tensor specified for %d of %d excitement points of shot point #%d "
            "(%g,%g,%g) in file '%s'.\n",
            (int)m_vTauK.size(), (int)m_vExcitePoints.size(), nShot, A.x, A.y, A.z, (const char*)m_strFile);
    u_Print(MSG_STOPPED);
    return 1;
  }
  if (m_vReceivers.empty()) {
    u_Error("Error! No receivers corresponds to source point #%d (%g,%g,%g).\n", nShot, A.x, A.y, A.z);
    u_Print(MSG_STOPPED);
    return 1;
  }
  // Header numbers given for only some receivers are not used at all.
  if (m_vRcvTraceId.size() != m_vReceivers.size())
    m_vRcvTraceId.clear();
  if (m_vRcvFileId.size() != m_vReceivers.size())
    m_vRcvFileId.clear();
  return 0;
}

int CSurvey3D::CollectFromText(int nShot, const C3DPointR& A, bool bById, CShotTauK& T) {
  shared_ptr1<FILE> f(fopen(m_strFile, "r"), file_deleter);
  if (!f.get()) {
    PrintErrorOnOpenFile(m_strFile);
    return 1;
  }
  // Receivers already taken, for the modes that keep each position once.
  std::set<_C3DPoint> seen;
  auto addIfNew = [&](const CSurveyLine& l) {
    if (seen.insert(l.rcv.plain()).second)
      AddReceiver(l.rcv, l.inl, l.xl, l.traceId, l.fileId);
  };

  char szLine[SURVEY_LINE_CHARS + 2];
  CSurveyLine l;
  // By coordinates only lines whose source is at A count: the others are
  // passed over after reading three numbers.
  const bool bPrefilter = nShot >= 0 && !bById;
  while (fgets(szLine, SURVEY_LINE_CHARS + 1, f.get())) {
    if (bPrefilter && !survey_SourceNear(szLine, A))
      continue;
    if (!survey_ReadLine(szLine, l))
      continue;
    if (nShot < 0) {
      addIfNew(l);
    } else if (bById && l.id >= 0) {
      if (l.id != m_nActiveShot)
        continue;
      bool bKnown = false;
      for (const C3DPointR& p : m_vExcitePoints)
        if (survey_IsNear(p, l.src)) {
          bKnown = true;
          break;
        }
      if (!bKnown) {
        m_vExcitePoints.push_back(l.src);
        if (m_bMomentTensors && l.tau.k11 != (float)UNSET_VALUE)
          m_vTauK.push_back(l.tau);
      }
      addIfNew(l);
    } else if (survey_IsNear(l.src, A)) {
      if (m_bMomentTensors && l.tau.k11 != (float)UNSET_VALUE && T.k11 == (float)UNSET_VALUE)
        T = l.tau;
      AddReceiver(l.rcv, l.inl, l.xl, l.traceId, l.fileId);
    }
  }
  return 0;
}

int CSurvey3D::CollectFromSgy(int nShot, const C3DPointR& A) {
  CSdsPC sds;
  if (!sds.OnOpen(m_strFile, 0, 0, 0, 0)) {
    PrintErrorOnOpenFile(m_strFile);
    return 1;
  }
  std::set<_C3DPoint> seen;
  // Trace and file numbers are passed on only while every record is at hand.
  bool bIds = true;
  for (int i = 0; i < sds.m_nTraceCount; i++) {
    SDS_TRACEINFO r;
    if (!survey_TraceInfo(sds, i, r)) {
      bIds = false;
      continue;
    }
    const C3DPointR src(r.m_fXs, r.m_fYs, r.m_fZs), rcv(r.m_fXr, r.m_fYr, r.m_fZr);
    const int nTraceId = bIds ? r.m_nTraceNo : -1, nFileId = bIds ? r.m_nPartNo : -1;
    if (nShot < 0) {
      if (seen.insert(rcv.plain()).second)
        AddReceiver(rcv, 0, 0, nTraceId, nFileId);
    } else if (src.x == A.x && src.y == A.y && src.z == A.z) {
      SGY_TRACEHEADER h;
      const bool bHeader = sds.GetTraceHeader(i, h, 1);
      AddReceiver(rcv, bHeader ? h.GetInt32(188) : 0, bHeader ? h.GetInt32(192) : 0, nTraceId, nFileId);
    }
  }
  return 0;
}
